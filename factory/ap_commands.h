// Battery level and SD-card presence on the application processor.
#pragma once

#include "platform/include/diag.h"

DiagHandler diag_AP_Get_BatteryState;
DiagHandler diag_AP_SDCard_Test;

extern const DiagDispatchTable diag_AP_battery_table;
extern const DiagDispatchTable diag_AP_sdcard_table;
