// The FTM command service: its dispatchers. A request holds the command's name, terminated, and its arguments behind
// it.
#pragma once

#include "platform/include/diag.h"

constexpr uint8_t kFtmSubsystem = 11;

// Subsystem 11, command 32766: the main map, whole names. Response, 256 bytes: status, first byte of the message,
// zeros.
DiagHandler ftm_diag_dispatch;
// Subsystem 11, command 32767: the extended map, names that the request begins with. Response, 4096 bytes: status, the
// message by the row's copy rule, zeros.
DiagHandler ftm_diag_ext_dispatch;
// Subsystem 11, command 32765: "setfactorymode" puts the phone into shipping mode and off once the USB cable is gone.
// Response, 256 bytes: status 0 and six zeros, or status 255 for another name; the rest is unwritten.
DiagHandler ftm_diag_batt_dispatch;

extern const DiagDispatchTable ftm_diag_table;
