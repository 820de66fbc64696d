// LED mode, key test and the control command.
#pragma once

#include "platform/include/diag.h"

DiagHandler control_diag_dispatch;
DiagHandler ftm_diag_led_entry_dispatch;
DiagHandler ftm_diag_led_exit_dispatch;
DiagHandler ftm_diag_key_entry_dispatch;
DiagHandler ftm_diag_key_check_dispatch;

// The start-up tables.
extern const DiagDispatchTable control_diag_table;
extern const DiagDispatchTable ftm_diag_led_table;
extern const DiagDispatchTable ftm_diag_key_table;
