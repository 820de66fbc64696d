// Battery level and SD-card presence on the application processor. Not built yet: nothing is answered.
#include "factory/ap_commands.h"

#include "daemon/diag_packet.h"

void* diag_AP_Get_BatteryState(const void*, uint16_t) { return nullptr; }
void* diag_AP_SDCard_Test(const void*, uint16_t) { return nullptr; }

namespace {
constexpr DiagDispatchEntry battery_entries[] = {
    {4, 4, diag_AP_Get_BatteryState},
};
constexpr DiagDispatchEntry sdcard_entries[] = {
    {43, 43, diag_AP_SDCard_Test},
};
}  // namespace

const DiagDispatchTable diag_AP_battery_table = diag_table(202, battery_entries);
const DiagDispatchTable diag_AP_sdcard_table = diag_table(205, sdcard_entries);
