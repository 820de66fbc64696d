// The LED test.
#include "peripheral/led_test.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "packet/diag_packet.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "platform/include/properties.h"
#include "support/files.h"

namespace {

constexpr uint8_t kLedSubsystem = 171;
constexpr uint16_t kLedEntryCommand = 518;
constexpr uint16_t kLedExitCommand = 262;
constexpr unsigned int kLedResponse = 5;
constexpr char kLedProperty[] = "debug.entry.ledtest";
constexpr char kLedModeNode[] = "/sys/class/leds/aw9523b_led/device/led_ftm_mode";

constexpr DiagDispatchEntry led_entries[] = {
    {kLedEntryCommand, kLedEntryCommand, guarded<ftm_diag_led_entry_dispatch>},
    {kLedExitCommand, kLedExitCommand, guarded<ftm_diag_led_exit_dispatch>},
};

// Each dispatcher's own header, for its recovery from an over-long request.
constexpr DiagDispatchTable led_entry_recovery = diag_table(kLedSubsystem, led_entries);
constexpr DiagDispatchTable led_exit_recovery = diag_table(kLedSubsystem, led_entries);

// The text that a packet carries behind its header, for the log.
std::string packet_text(const void* request, uint16_t length) {
    const RequestView view = request_view(request, length);
    std::string text;
    for (size_t i = kDiagHeaderSize; request_u8(view, i) != 0; ++i) {
        text += static_cast<char>(request_u8(view, i));
    }
    return text;
}

// Writes `size` bytes to the opened mode node. The status of the command.
uint8_t write_led_mode(const char* name, const UniqueFd& node, const void* data, size_t size) {
    if (write_once(node.get(), data, size) != static_cast<ssize_t>(size)) {
        ALOGE("%s: AW9523B write file failed!\n", name);
        return 1;
    }
    ALOGD("%s: AW9523B open first pach file SUCCESS!\n", name);
    return 0;
}

uint8_t enter_led_mode(const char* name, uint8_t mode) {
    const UniqueFd node(device_open(kLedModeNode, O_WRONLY | O_NONBLOCK | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!node.ok()) {
        ALOGE("%s: aw9523b open file failed\n", name);
        return 2;
    }
    char flag[8] = {};
    ALOGD("%s: aw9523b +++dm+++   arg=0x%d\n", name, mode);  // Kept: decimal behind the 0x
    (void)snprintf(flag, sizeof(flag), "0x%02x\n", mode);
    ALOGD("%s: aw9523b req pkt: flag: %s\n", name, flag);
    return write_led_mode(name, node, flag, strlen(flag));
}

uint8_t leave_led_mode(const char* name) {
    const UniqueFd node(device_open(kLedModeNode, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!node.ok()) {
        ALOGE("%s: open first pach file failed!\n", name);
        return 0;  // Kept: an absent LED driver is no error on the way out
    }
    static constexpr char kExitMode[] = "4";
    return write_led_mode(name, node, kExitMode, sizeof(kExitMode));
}

}  // namespace

const DiagDispatchTable ftm_diag_led_table = diag_table(kLedSubsystem, led_entries);

void* ftm_diag_led_entry_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, led_entry_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kLedSubsystem, kLedEntryCommand, kLedResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = 1;                             // until the end says otherwise
    (void)property_set(kLedProperty, "1");  // only a hint for the LED service
    ALOGD("%s:aw9523b e\n", __func__);
    ALOGD("%s: aw9523b req pkt: args: %s\n", __func__, packet_text(request, length).c_str());
    ALOGD("%s: AW9523B entry write entry mode!\n", __func__);
    rsp[4] = enter_led_mode(__func__, request_u8(request_view(request, length), kDiagHeaderSize));
    return rsp;
}

void* ftm_diag_led_exit_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, led_exit_recovery)) {
        return nullptr;
    }
    (void)property_set(kLedProperty, "0");  // the mode ends even when nobody can be told
    uint8_t* rsp = subsystem_response(kLedSubsystem, kLedExitCommand, kLedResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = 1;  // as above
    ALOGD("%s: aw9523b e\n", __func__);
    ALOGD("%s: aw9523b req pkt: cmd: %s\n", __func__, packet_text(request, length).c_str());
    ALOGD("%s: AW9523B entry write exit mode!\n", __func__);
    rsp[4] = leave_led_mode(__func__);
    return rsp;
}
