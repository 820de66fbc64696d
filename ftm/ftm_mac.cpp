// MAC addresses: the Wi-Fi address as a text file, the Bluetooth address as a short binary record, both on persist.
#include <cstdio>
#include <cstring>

#include "ftm/ftm_identity.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "support/files.h"

namespace {

constexpr char kWifiFile[] = "/wifimac.dat";
constexpr char kBtFile[] = "/.bt_nv.bin";
constexpr char kWifiHeader[] = "wifiaddr:";
constexpr size_t kMacSize = 6;
constexpr size_t kMacFileMax = 64;
constexpr unsigned char kBtHeader[] = {0x01, 0x00, 0x06};

constexpr FtmStatus kFileMissing{2};  // or not to be opened, or not to be given to its owner
constexpr FtmStatus kShortWrite{3};
constexpr FtmStatus kRefused{4};         // a multicast address, or a file that cannot be synchronised
constexpr unsigned char kBadHeader = 3;  // in the message

// The last steps of storing an address. Status of the command.
FtmStatus mac_store(FileReplacement* file, const void* data, size_t size) {
    switch (file->store(data, size)) {
        case WriteStep::kDone:
            return kFtmSuccess;
        case WriteStep::kWriteFailed:
            return kShortWrite;
        default:
            return kRefused;
    }
}

// "wifiaddr:0x00 0x11 0x22 0xAA 0xBB 0xCC ", no line end.
std::string wifi_mac_text(const unsigned char* mac) {
    std::string text = kWifiHeader;
    for (size_t i = 0; i < kMacSize; ++i) {
        char byte[sizeof("0xFF ")];
        (void)snprintf(byte, sizeof(byte), "0x%02X ", static_cast<unsigned>(mac[i]));
        text += byte;
    }
    return text;
}

// `written`: where the record of `path` lies for now.
bool give_to_bluetooth(const char* path, const char* written) {
    const struct passwd* user = device_getpwnam("bluetooth");
    const struct group* group = device_getgrnam("bluetooth");
    if (user == nullptr || group == nullptr) {
        ALOGE("writing bt mac error!!!change bluetooth uid/gid failed!!!");
        return false;
    }
    if (device_chown(written, user->pw_uid, group->gr_gid) != 0) {
        ALOGE("chown .bt_nv.bin bluetooth:bluetooth failed!!!");
        return false;
    }
    ALOGD("%s created successfully\n", path);
    return true;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_readwifimac(FtmArgs, FtmMessage& message) {
    char text[kMacFileMax + 1];
    if (read_short_text(persist_path(kWifiFile).c_str(), text, kMacFileMax) == kTextNotOpened) {
        return kFileMissing;
    }
    if (strncmp(text, kWifiHeader, strlen(kWifiHeader)) != 0) {
        message.put(kBadHeader);
        return kFtmAsFound;  // Kept: no failure
    }
    unsigned mac[kMacSize] = {};
    (void)sscanf(text, "wifiaddr:%x %x %x %x %x %x", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4], &mac[5]);
    for (size_t i = 0; i < kMacSize; ++i) {
        message.bytes[i] = static_cast<unsigned char>(mac[i]);
    }
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writewifimac(FtmArgs args, FtmMessage&) {
    FileReplacement file(persist_path(kWifiFile), 0644, FileReplacement::Mode::kExact);
    if (!file.ok()) {
        return kFileMissing;
    }
    if ((args[0] & 1) != 0) {  // Kept: a multicast address is refused when the old one is already gone
        (void)file.commit();
        return kRefused;
    }
    const std::string text = wifi_mac_text(args.bytes);
    return mac_store(&file, text.data(), text.size());
}

FtmStatus ftm_diag_req_cmd_readbtmac(FtmArgs, FtmMessage& message) {
    char record[kMacFileMax + 1];
    if (read_short_text(persist_path(kBtFile).c_str(), record, kMacFileMax) == kTextNotOpened) {
        return kFileMissing;
    }
    if (record[0] != kBtHeader[0] || record[2] != kBtHeader[2]) {
        message.put(kBadHeader);
        return kFtmAsFound;  // Kept: no failure
    }
    memcpy(message.bytes, record + sizeof(kBtHeader), kMacSize);
    for (size_t i = 0; i < kMacSize; ++i) {
        ALOGD("0x%X ", static_cast<unsigned>(message.bytes[i]));
    }
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writebtmac(FtmArgs args, FtmMessage&) {
    const std::string path = persist_path(kBtFile);
    FileReplacement file(path, 0664, FileReplacement::Mode::kExact);
    if (!file.ok()) {
        ALOGE("generate BT MAC Addr failed!!\n");
        return kFileMissing;
    }
    if (!give_to_bluetooth(path.c_str(), file.written_path())) {
        return kFileMissing;
    }
    unsigned char record[sizeof(kBtHeader) + kMacSize];
    memcpy(record, kBtHeader, sizeof(kBtHeader));
    memcpy(record + sizeof(kBtHeader), args.bytes, kMacSize);
    const FtmStatus status = mac_store(&file, record, sizeof(record));
    if (status == kFtmSuccess) {
        ALOGD("%s created successfuly\n", path.c_str());
    }
    return status;
}
