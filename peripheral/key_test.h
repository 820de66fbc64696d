// The key test: a thread notes which of the three test keys were pressed, the handlers start it and ask.
#pragma once

#include "peripheral/input_events.h"
#include "platform/include/diag.h"
#include "support/worker.h"

// Subsystem 205, command 26; request byte 4: 1 starts. Response byte 4: 1 started, or started anew, 2 no thread, 3 not
// asked to start.
DiagHandler ftm_diag_key_entry_dispatch;
// Subsystem 205, command 164. Response byte 4: 0 when all keys were seen, else 1; byte 5: 0xBC or 0; byte 6: 0.
DiagHandler ftm_diag_key_check_dispatch;

extern const DiagDispatchTable ftm_diag_key_table;

// Takes note of one key event. 0, or -1 when there was none to read.
InputCallback input_key_callback;

// The key thread: watches the input devices for ever.
WorkerBody thread_key_states;
