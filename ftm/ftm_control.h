// The control command: restarts the device on request.
#pragma once

#include "platform/include/diag.h"

// Top-level command 41. Request byte 1: 2 restarts the device with the reason "orb", once the response has had time to
// leave; anything else does nothing. The response is the request.
DiagHandler control_diag_dispatch;

extern const DiagDispatchTable control_diag_table;
