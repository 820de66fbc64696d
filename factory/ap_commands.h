// Battery level and SD-card presence on the application processor.
#pragma once

#include "platform/include/diag.h"

// Subsystem 202, command 4; the request has five bytes at least, a shorter one gets the library's error response.
// Response: u8 at 4, 2 the capacity was read, 0 not; u8 at 5, percent. Needs: the battery's node capacity.
DiagHandler diag_AP_Get_BatteryState;
// Subsystem 205, command 43; four bytes at least. Response: u8 at 4, 0 there is a card, 1 there is none; u32 at 5, 255
// or 0. A card is mmcblk0 on a phone with UFS storage, else mmcblk1. Needs: /proc/partitions, /dev/block/bootdevice.
DiagHandler diag_AP_SDCard_Test;

extern const DiagDispatchTable diag_AP_battery_table;
extern const DiagDispatchTable diag_AP_sdcard_table;
