// The device's USB serial number: from the gadget, else from the kernel's command line, else from its boot
// configuration.
#include "ftm/ftm_usb_serial.h"

#include <cstring>
#include <string>

#include "ftm/ftm_dispatch.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "support/files.h"

namespace {

constexpr uint16_t kCommand = 54;
constexpr const char* kGadgetNode = "/sys/class/android_usb/android0/iSerial";
constexpr const char* kCmdline = "/proc/cmdline";
constexpr const char* kBootconfig = "/proc/bootconfig";
constexpr const char* kBootSerial = "androidboot.serialno";
constexpr size_t kSerialMax = 31;
constexpr size_t kCmdlineSize = 2048;
constexpr ssize_t kCmdlineMin = 22;
constexpr size_t kBootconfigSize = 4096;
constexpr unsigned kResponseBase = 43;  // the response's size without the gadget's text

// Where the response has its fields; the serial number is followed by a terminator.
constexpr size_t kLengthOffset = 6;
constexpr size_t kStatusOffset = 8;
constexpr size_t kSerialOffset = 10;

std::string gadget_serial(const char* name) {
    const UniqueFd node(device_open(kGadgetNode, kReadFlags));
    if (!node.ok()) {
        ALOGD("%s: failed to open %s\n", name, kGadgetNode);
        return "";
    }
    char text[kSerialMax + 1] = {};
    (void)read_once(node.get(), text, kSerialMax);  // an unreadable node is an empty one
    return text;
}

std::string cmdline_serial(const char* name) {
    const UniqueFd file(device_open(kCmdline, kReadFlags));
    if (!file.ok()) {
        ALOGD("%s: failed to open %s\n", name, kCmdline);
        return "";
    }
    char text[kCmdlineSize] = {};
    const ssize_t count = read_once(file.get(), text, sizeof(text) - 1);
    ALOGD("%s: len=%d\n", name, static_cast<int>(count));
    if (count < kCmdlineMin) {
        return "";
    }
    text[count - 1] = '\0';  // the line end
    const std::string key = std::string(kBootSerial) + "=";
    const char* found = strstr(text, key.c_str());
    if (found == nullptr) {
        return "";
    }
    const std::string value = found + key.size();
    return value.substr(0, value.find_first_of("\n ")).substr(0, kSerialMax);
}

std::string bootconfig_serial() {
    const UniqueFd file(device_open(kBootconfig, kReadFlags));
    if (!file.ok()) {
        ALOGE("open bootconfig failed\n");
        return "";
    }
    char text[kBootconfigSize + 1] = {};
    if (read_once(file.get(), text, kBootconfigSize) < 1) {
        ALOGE("read bootconfig failed\n");
        return "";
    }
    const char* found = strstr(text, kBootSerial);
    if (found == nullptr) {
        return "";
    }
    found += strlen(kBootSerial);
    found += strspn(found, " \"=");
    const char* end = strchr(found, '"');
    if (end == nullptr || static_cast<size_t>(end - found) > kSerialMax) {
        return "";
    }
    std::string value(found, end);
    ALOGD("read bootconfig success %s = %s\n", kBootSerial, value.c_str());
    return value;
}

constexpr DiagDispatchEntry usb_serialno_entries[] = {
    {kCommand, kCommand, guarded<get_usb_serialno>},
};

}  // namespace

const DiagDispatchTable usb_serialno_table = diag_table(kFtmSubsystem, usb_serialno_entries);

void* get_usb_serialno(const void* /*request*/, uint16_t /*length*/) {
    std::string serial = gadget_serial(__func__);
    const auto size = static_cast<unsigned>(serial.size()) + kResponseBase;
    uint8_t* rsp =
        subsystem_response(kFtmSubsystem, kCommand, size, {"ftm_read_file", ": diagpkt_subsys_alloc failed"});
    if (rsp == nullptr) {
        return nullptr;
    }
    memset(rsp + kDiagHeaderSize, 0, size - kDiagHeaderSize);
    put_u16(rsp + kStatusOffset, 1);  // until there is one
    if (serial.empty()) {
        ALOGD("%s: enter proc cmdline\n", __func__);
        serial = cmdline_serial(__func__);
    }
    if (serial.empty()) {
        serial = bootconfig_serial();
    }
    put_u16(rsp + kLengthOffset, static_cast<uint16_t>(serial.size()));
    put_u16(rsp + kStatusOffset, serial.empty() ? 1 : 0);
    memcpy(rsp + kSerialOffset, serial.c_str(), serial.size() + 1);
    return rsp;
}
