// The LED test: puts the LED driver into its factory mode and out of it.
#pragma once

#include "platform/include/diag.h"

// Both answer with one status byte: 0 done, 1 the driver's node did not take the mode, 2 (entry only) there is no node.
DiagHandler ftm_diag_led_entry_dispatch;  // subsystem 171, command 518; request byte 4: the LED mode
DiagHandler ftm_diag_led_exit_dispatch;   // subsystem 171, command 262; an absent driver is no error

extern const DiagDispatchTable ftm_diag_led_table;
