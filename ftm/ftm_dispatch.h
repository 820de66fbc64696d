// The FTM command service: its dispatchers and its start-up step.
#pragma once

#include "platform/include/diag.h"

DiagHandler ftm_diag_dispatch;       // subsystem 11, command 32766: the main map
DiagHandler ftm_diag_ext_dispatch;   // subsystem 11, command 32767: the extended map
DiagHandler ftm_diag_batt_dispatch;  // subsystem 11, command 32765: "setfactorymode"
DiagHandler get_usb_serialno;        // subsystem 11, command 54

// Registers the service's tables, publishes the factory information and seeds three properties. Returns 1.
int ftm_diag_init();
