// Battery level and SD-card presence on the application processor.
#include "factory/ap_commands.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "support/files.h"

namespace {
constexpr uint8_t kBatterySubsystem = 202;
constexpr uint16_t kBatteryCommand = 4;
constexpr unsigned kBatteryResponse = 6;  // u8 state, u8 percent
constexpr uint8_t kCapacityRead = 2;
constexpr const char* kCapacityNode = "/sys/class/power_supply/battery/capacity";

constexpr uint8_t kSdcardSubsystem = 205;
constexpr uint16_t kSdcardCommand = 43;
constexpr unsigned kSdcardResponse = 9;  // u8 result, u32 255 for a card
constexpr const char* kPartitions = "/proc/partitions";
constexpr const char* kBootDevice = "/dev/block/bootdevice";
constexpr size_t kPartitionsSize = 8192;
constexpr size_t kLinkSize = 256;

// The block device that an SD card would be: the first MMC device, unless that is the internal storage.
std::string_view sdcard_name() {
    char target[kLinkSize] = {};
    if (device_readlink(kBootDevice, target, sizeof(target) - 1) < 0) {
        ALOGE("file(%s) read fail, error=%s", kBootDevice, strerror(errno));
    }
    return strstr(target, "ufs") != nullptr ? "mmcblk0" : "mmcblk1";
}

// Passes over the block count that stands before a device's name; the count itself is nobody's business.
void pass_block_count(std::string_view before_name) {
    while (!before_name.empty() && before_name.back() == ' ') {
        before_name.remove_suffix(1);
    }
    const size_t with_digits = before_name.size();
    while (!before_name.empty() && isdigit(static_cast<unsigned char>(before_name.back())) != 0) {
        before_name.remove_suffix(1);
    }
    if (before_name.size() < with_digits) {
        ALOGI("end of digit");
    }
}

bool lists_sdcard(std::string_view partitions) {
    while (!partitions.empty()) {
        const size_t end = partitions.find('\n');
        const std::string_view line = partitions.substr(0, end);
        const size_t name = line.find(sdcard_name());
        if (name != std::string_view::npos) {
            pass_block_count(line.substr(0, name));
            return true;
        }
        partitions.remove_prefix(end == std::string_view::npos ? partitions.size() : end + 1);
    }
    return false;
}

bool is_sdcard_exist() {
    char partitions[kPartitionsSize] = {};
    return read_file(kPartitions, partitions, sizeof(partitions)) == 0 && lists_sdcard(partitions);
}
}  // namespace

void* diag_AP_Get_BatteryState(const void* request, uint16_t length) {
    if (length <= kDiagHeaderSize) {
        ALOGE("BatteryState pkt_len  =%d\n", length);
        return diagpkt_err_rsp(kDiagBadLength, request, length);
    }
    uint8_t* const rsp = subsystem_response(kBatterySubsystem, kBatteryCommand, kBatteryResponse, kNoLine);
    ALOGE("BatteryState battery rsp =%p\n", static_cast<void*>(rsp));
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = 0;
    rsp[5] = 0;
    uint32_t text_length = 0;
    const UniqueText text(GetConfFileItem(kCapacityNode, &text_length));
    if (text && text_length >= 1) {
        ALOGE("\n value:%s\n", text.get());
        rsp[4] = kCapacityRead;
        rsp[5] = static_cast<uint8_t>(strtoll(text.get(), nullptr, 10));
    }
    ALOGE(" battery rsp111111 =%p\n", static_cast<void*>(rsp));
    return rsp;
}

void* diag_AP_SDCard_Test(const void* request, uint16_t length) {
    ALOGE("1@@@@ Enter sdcard_test:pkt_len = %d\n", length);
    if (length < kDiagHeaderSize) {
        ALOGE("sdcard_test pkt_len =%d\n", length);
        return diagpkt_err_rsp(kDiagBadLength, request, length);
    }
    uint8_t* const rsp = subsystem_response(kSdcardSubsystem, kSdcardCommand, kSdcardResponse, kNoLine);
    ALOGE("sdcard_test rsp =%p\n", static_cast<void*>(rsp));
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = 1;  // until it is seen
    put_u32(rsp + 5, 0);
    const bool present = is_sdcard_exist();
    ALOGE("is_sdcard_exist = %d\n", present ? 1 : 0);
    rsp[4] = present ? 0 : 1;
    put_u32(rsp + 5, present ? 255 : 0);
    return rsp;
}

namespace {
constexpr DiagDispatchEntry battery_entries[] = {
    {kBatteryCommand, kBatteryCommand, guarded<diag_AP_Get_BatteryState>},
};
constexpr DiagDispatchEntry sdcard_entries[] = {
    {kSdcardCommand, kSdcardCommand, guarded<diag_AP_SDCard_Test>},
};
}  // namespace

const DiagDispatchTable diag_AP_battery_table = diag_table(kBatterySubsystem, battery_entries);
const DiagDispatchTable diag_AP_sdcard_table = diag_table(kSdcardSubsystem, sdcard_entries);
