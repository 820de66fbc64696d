// LED mode, key test and the control command.
#pragma once

#include "peripheral/input_events.h"
#include "platform/include/diag.h"
#include "support/worker.h"

DiagHandler control_diag_dispatch;        // request byte 1: 2 restarts the device, anything else is only echoed
DiagHandler ftm_diag_led_entry_dispatch;  // request byte 4: the LED mode
DiagHandler ftm_diag_led_exit_dispatch;
DiagHandler ftm_diag_key_entry_dispatch;  // request byte 4: 1 starts
DiagHandler ftm_diag_key_check_dispatch;

// The start-up tables.
extern const DiagDispatchTable control_diag_table;
extern const DiagDispatchTable ftm_diag_led_table;
extern const DiagDispatchTable ftm_diag_key_table;

// Takes note of one key event. 0, or -1 when there was none to read.
InputCallback input_key_callback;

// The key thread: watches the input devices for ever.
WorkerBody thread_key_states;
