// LED mode, key test and the control command. Not built yet: nothing is answered.
#include "peripheral/led_key_control.h"

#include "daemon/diag_packet.h"

void* control_diag_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_led_entry_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_led_exit_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_key_entry_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_key_check_dispatch(const void*, uint16_t) { return nullptr; }

namespace {
constexpr DiagDispatchEntry control_entries[] = {
    {41, 41, control_diag_dispatch},
};
constexpr DiagDispatchEntry led_entries[] = {
    {518, 518, ftm_diag_led_entry_dispatch},
    {262, 262, ftm_diag_led_exit_dispatch},
};
constexpr DiagDispatchEntry key_entries[] = {
    {26, 26, ftm_diag_key_entry_dispatch},
    {164, 164, ftm_diag_key_check_dispatch},
};
}  // namespace

const DiagDispatchTable control_diag_table = diag_table(kDiagNoSubsystem, control_entries);
const DiagDispatchTable ftm_diag_led_table = diag_table(171, led_entries);
const DiagDispatchTable ftm_diag_key_table = diag_table(205, key_entries);
