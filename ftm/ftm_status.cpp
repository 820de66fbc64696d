// Factory flags and simple status: software version, board number, SIM, storage, battery, lights, device model.
#include "ftm/ftm_status.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "ftm/ftm_message.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/properties.h"
#include "support/files.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kSwVersionFile[] = "/cache/sw_ver_num";
constexpr char kBoardNumberFile[] = "/cache/board_number";
constexpr char kEfsRecoveryNode[] = "/sys/devices/platform/orb_ftm/orb_ftm/efs_recovery";
constexpr char kKphProperty[] = "sys.kphdaemon.enable";
constexpr char kSwVersionFlag[] = "sw_ver_flag";
constexpr char kFactoryReset[] = "factory.reset";
constexpr char kFirstEnter[] = "factory.first_enter";
constexpr char kUserLogRecord[] = "vendor.factory.log";
constexpr char kUserLogProperty[] = "persist.sys.orblog.enable";
constexpr char kCustomFolder[] = "/factoryinfo/customfolder";
constexpr char kBootDevice[] = "/dev/block/bootdevice";
constexpr char kBatteryStatusNode[] = "/sys/class/power_supply/battery/status";
constexpr char kBatteryPresentNode[] = "/sys/class/power_supply/battery/present";
constexpr char kBreathLedNode[] = "/sys/module/orb_misc/parameters/is_breath_led_exist";
constexpr char kLedRgbNode[] = "/sys/class/leds/aw22xxx_led/rgb";
constexpr char kFanLightRecord[] = "fanlight";
constexpr char kFanLightFile[] = "/mnt/vendor/persist/fan_light";

constexpr unsigned char kReadFailed = 255;  // message of a value that could not be read
constexpr unsigned char kFlagMissing = 2;   // "ReadFactoryFlag": there was no flag
constexpr unsigned char kStoreFailed = 3;   // "openfanlight": the file or the record
constexpr size_t kRecordText = 64;          // buffer of a configuration record's text

// Whole content of a file; `readable` is false for an empty or missing one.
struct NodeText {
    UniqueText memory;
    bool readable;
    const char* text() const { return memory != nullptr ? memory.get() : "(null)"; }
};

NodeText read_node(const char* path) {
    uint32_t length = 0;
    UniqueText memory(ftm_GetConfFileItem(path, &length));
    const bool readable = memory != nullptr && length >= 1;
    return {std::move(memory), readable};
}

// A record of `N` bytes: the first N - 1 argument bytes, whatever the text's length, and a zero.
template <size_t N>
std::array<unsigned char, N> padded_record(const unsigned char* req_args) {
    std::array<unsigned char, N> record{};
    std::copy_n(req_args, N - 1, record.begin());
    return record;
}

int set_kph(const char* name, const unsigned char* req_args, unsigned char* rsp_status, const char* value) {
    ALOGD("%s: e\n", name);
    ALOGD("%s: req_args: %d\n", name, req_args[0]);
    return ftm_finish(name, rsp_status, property_set(kKphProperty, value) >= 0);
}

// `slot`: 1 or 2, which is also its byte of the record. Kept: the line says "card1" for both.
int read_sim_slot(const char* name, size_t slot, unsigned char* rsp_msg, unsigned char* rsp_status) {
    ALOGD("%s: e\n", name);
    std::array<uint8_t, 4> cards{};
    if (modem_get_all_cards_status(cards.data()) != 0) {
        ALOGE("%s: modem_get_all_cards_status failed!\n", name);
        *rsp_msg = kReadFailed;
        return ftm_finish(name, rsp_status, false);
    }
    ALOGD("%s: card1 status: %d\n", name, cards[slot]);
    *rsp_msg = cards[slot];
    return ftm_finish(name, rsp_status, true);
}

// True when the battery driver's word says that the phone charges or is full.
bool is_charging(const char* status) {
    return strncasecmp(status, "Charging", 8) == 0 || strncasecmp(status, "Full", 4) == 0;
}

}  // namespace

int ftm_diag_req_cmd_writeswversion(const char*, const unsigned char* req_args, unsigned char*,
                                    unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    // Kept: not truncated, so a longer file keeps its tail.
    UniqueFd file(device_open(kSwVersionFile, O_WRONLY | O_CREAT | O_CLOEXEC, 0777));
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, rsp_status, false);
    }
    const auto record = padded_record<64>(req_args);
    const WriteStep step = write_sync_close(std::move(file), record.data(), record.size());
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write software version number error !\n", __func__);
    }
    return ftm_finish(__func__, rsp_status, step == WriteStep::kDone);
}

int ftm_diag_req_cmd_storeboardnum(const char*, const unsigned char* req_args, unsigned char*,
                                   unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    FileReplacement file(kBoardNumberFile, 0777);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, rsp_status, false);
    }
    const auto record = padded_record<20>(req_args);
    const WriteStep step = file.store(record.data(), record.size());
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write board number error !\n", __func__);
    }
    return ftm_finish(__func__, rsp_status, step == WriteStep::kDone);
}

int ftm_diag_req_cmd_writeefsrecovery(const char*, const unsigned char* req_args, unsigned char*,
                                      unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, req_args[0]);
    const UniqueFd node(device_open(kEfsRecoveryNode, O_RDWR | O_CLOEXEC));
    if (!node.ok()) {
        ALOGD("%s: failed to open %s!\n", __func__, kEfsRecoveryNode);
        return ftm_finish(__func__, rsp_status, false);
    }
    // The node takes the whole buffer, its padding included.
    std::array<char, 10> text{};
    (void)snprintf(text.data(), text.size(), "arg: %d\n", req_args[0]);
    const bool written = write(node.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!written) {
        ALOGD("%s: failed to write %s!\n", __func__, kEfsRecoveryNode);
    }
    return ftm_finish(__func__, rsp_status, written);
}

int ftm_diag_req_cmd_startkph(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    return set_kph(__func__, req_args, rsp_status, "true");
}

int ftm_diag_req_cmd_stopkph(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    return set_kph(__func__, req_args, rsp_status, "false");
}

int ftm_diag_req_cmd_readswver(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    int flag = 0;
    if (cfg_get_int(kSwVersionFlag, &flag) < 0) {
        ALOGE("%s: ftm_read_orbcfg_swverflag failed!\n", __func__);
        *rsp_msg = kReadFailed;
        return ftm_finish(__func__, rsp_status, false);
    }
    ALOGD("%s: sw ver flag: %d\n", __func__, flag);
    *rsp_msg = static_cast<unsigned char>(flag);
    return ftm_finish(__func__, rsp_status, true);
}

int ftm_diag_req_cmd_writeswver(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, req_args[0]);
    const bool stored = cfg_set_int(kSwVersionFlag, req_args[0]) > 0;
    if (!stored) {
        ALOGE("%s: ftm write sw ver flag failed!\n", __func__);
    }
    return ftm_finish(__func__, rsp_status, stored);
}

int ftm_diag_req_cmd_checkuserlogflag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    std::array<char, kRecordText> record{};
    char enabled[PROPERTY_VALUE_MAX] = {};
    (void)cfg_get(kUserLogRecord, record.data(), "0");  // a missing record is an unset flag
    (void)property_get(kUserLogProperty, enabled, "0");
    // The answer is what was found; the record is at "0" afterwards.
    const bool record_off = strcmp(record.data(), "0") == 0;
    if (!record_off && cfg_set(kUserLogRecord, "0") < 0) {
        ALOGE("%s: reset vendor.factory.log  failed!\n", __func__);
        return ftm_finish(__func__, rsp_status, false);
    }
    const bool off = record_off && strcmp(enabled, "0") == 0;
    if (!off) {
        ALOGE("%s: flag != 0  :x\n", __func__);
    }
    return ftm_finish(__func__, rsp_status, off);
}

int ftm_diag_req_cmd_readsimslot1status(const char*, const unsigned char*, unsigned char* rsp_msg,
                                        unsigned char* rsp_status) {
    return read_sim_slot(__func__, 1, rsp_msg, rsp_status);
}

int ftm_diag_req_cmd_readsimslot2status(const char*, const unsigned char*, unsigned char* rsp_msg,
                                        unsigned char* rsp_status) {
    return read_sim_slot(__func__, 2, rsp_msg, rsp_status);
}

int ftm_diag_req_cmd_is_ufs(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    std::array<char, 256> target{};
    if (device_readlink(kBootDevice, target.data(), target.size()) < 0) {
        ALOGD("read bootdevice fail");
    }
    target.back() = '\0';
    *rsp_msg = strstr(target.data(), "ufs") != nullptr ? 0 : 1;
    return ftm_finish(__func__, rsp_status, true);
}

int ftm_diag_req_cmd_get_battery_status(const char*, const unsigned char*, unsigned char* rsp_msg,
                                        unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    const NodeText battery = read_node(kBatteryStatusNode);
    if (battery.readable) {
        ALOGE("ftm_diag_req_cmd_get_battery_status %s\n", battery.text());
        *rsp_msg = is_charging(battery.text()) ? 1 : 2;
    }
    return ftm_finish(__func__, rsp_status, battery.readable);
}

int ftm_diag_req_cmd_get_battery_present(const char*, const unsigned char*, unsigned char* rsp_msg,
                                         unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    const NodeText present = read_node(kBatteryPresentNode);
    if (present.readable) {
        ALOGE("ftm_diag_req_cmd_get_battery_present %s\n", present.text());
        message_text(rsp_msg, present.text());
    }
    return ftm_finish(__func__, rsp_status, present.readable);
}

int ftm_diag_req_cmd_read_factory_flag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    int value = 0;
    const int found = cfg_get_int(kFirstEnter, &value);
    ALOGD("CFG_FACTORY_RESET=%d,CFG_FACTORY_FIRST_ENTER=%d,ret2=%d \n", 0, value, found);
    if (unsetcfgbyname(kFactoryReset) > 0) {
        ALOGD("unsetcfgbyname,CFG_FACTORY_RESET,success \n");
    }
    // The status is the answer here: 1 says that the flag was there and is gone now.
    if (found < 0) {
        ALOGD("Factory Reset config not found \n");
        *rsp_status = kFlagMissing;
    } else if (unsetcfgbyname(kFirstEnter) > 0) {
        ALOGD("unsetcfgbyname,CFG_FACTORY_FIRST_ENTER,success \n");
        *rsp_status = 1;
    } else {
        ALOGD("unsetcfgbyname,CFG_FACTORY_FIRST_ENTER,failed \n");
        *rsp_status = 0;
    }
    ALOGD("%s: x\n", __func__);
    return 0;
}

int ftm_diag_req_cmd_cleanapkpara(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    (void)ftm_diag_delete_file(persist_path(kCustomFolder).c_str());  // Kept: no failure reaches the tool
    return ftm_finish(__func__, rsp_status, true);
}

int ftm_diag_req_cmd_checkapkpara(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    const std::string path = persist_path(kCustomFolder);
    const bool there = is_file_exist(path.c_str()) == 0;
    *rsp_status = there ? 1 : 0;  // the status is the answer
    if (there) {
        ALOGD("%s:check %s dir exist\n", __func__, path.c_str());
    } else {
        ALOGD("%s:check %s dir not exist", __func__, path.c_str());
    }
    ALOGD("%s: x\n", __func__);
    return 0;
}

int ftm_diag_req_cmd_checkcardto(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    constexpr unsigned char kTrayPresent = 1;
    ALOGD("%s: e\n", __func__);
    *rsp_msg = 0;
    (void)modem_api_init_qmi_connection(11, 1);  // the next call tells whether it worked
    unsigned char tray = 0;
    const int result = modem_api_get_sim_tray_presence_state(&tray);
    ALOGD("%s: result: %d", __func__, result);
    if (result != 0) {
        return ftm_finish(__func__, rsp_status, false);
    }
    ALOGD("%s: eid_value: %d", __func__, tray);
    *rsp_msg = static_cast<unsigned char>(tray + '0');
    return ftm_finish(__func__, rsp_status, tray == kTrayPresent);
}

int ftm_diag_req_cmd_checkbreathled(const char*, const unsigned char*, unsigned char* rsp_msg,
                                    unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    const NodeText led = read_node(kBreathLedNode);
    if (led.readable) {
        ALOGE("ftm_diag_req_cmd_checkbreathled %s\n", led.text());
        message_text(rsp_msg, led.text());
        return ftm_finish(__func__, rsp_status, *led.text() == '1');
    }
    const NodeText rgb = read_node(kLedRgbNode);
    ALOGE("ftm_diag_req_cmd_checkbreathled kelto %s\n", rgb.text());
    if (rgb.readable) {
        *rsp_msg = 1;  // Kept: the number, where the other node gives the digit.
    }
    return ftm_finish(__func__, rsp_status, rgb.readable);
}

namespace {

constexpr size_t kFanLightBuffer = 64;
constexpr size_t kFanLightCut = 32;  // what is kept of a text that does not fit the buffer

// Puts the fan-light value into its file and its record. Status of the command.
unsigned char store_fan_light(FileReplacement* file, const std::array<char, kFanLightBuffer>& value, size_t length) {
    if (file->write(value.data(), length) != WriteStep::kDone) {
        return kStoreFailed;
    }
    if (!cfg_fits(kFanLightRecord, value.data()) || cfg_set(kFanLightRecord, value.data()) < 0) {
        return kStoreFailed;
    }
    return file->commit() == WriteStep::kDone ? kFtmSuccess : kFtmFailure;
}

}  // namespace

int ftm_diag_req_cmd_openfanlight(const char*, const unsigned char* req_args, unsigned char*,
                                  unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    FileReplacement file(persist_path("/fan_light"), 0755);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, rsp_status, false);
    }
    const char* text = reinterpret_cast<const char*>(req_args);
    const size_t length = strlen(text);
    std::array<char, kFanLightBuffer> value{};
    std::copy_n(text, length < value.size() ? length : kFanLightCut, value.begin());
    ALOGD("%s:req_args = %s \n", __func__, text);
    // Kept: as many bytes as the text is long, so zeros follow the part that was cut.
    const size_t written = std::min(length, value.size());
    return ftm_finish(__func__, rsp_status, store_fan_light(&file, value, written));
}

int ftm_diag_req_cmd_checkfanlight(const char*, const unsigned char*, unsigned char* rsp_msg,
                                   unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    std::array<char, kRecordText> record{};
    const int result = cfg_get(kFanLightRecord, record.data(), "1");
    const NodeText file = read_node(kFanLightFile);
    // Kept: "s%" is what the line says.
    ALOGE("s%%: value111 %s, valuecfg %s result %d\n", file.text(), record.data(), result);
    if (result < 0 || !file.readable) {
        return ftm_finish(__func__, rsp_status, false);
    }
    ALOGE("s%%: value %s, valuecfg %s\n", file.text(), record.data());
    message_text(rsp_msg, file.text());
    return ftm_finish(__func__, rsp_status, *file.text() == '1' && record[0] == '1');
}

int ftm_diag_req_cmd_get_device_model(const char*, const unsigned char*, unsigned char* rsp_msg,
                                      unsigned char* rsp_status) {
    ALOGD("%s: e\n", __func__);
    rsp_msg[0] = 0;
    char model[PROPERTY_VALUE_MAX] = {};
    if (property_get("ro.product.model", model, "") <= 0) {
        ALOGD("%s: rsp_msg: %s", __func__, model);
        return ftm_finish(__func__, rsp_status, false);
    }
    ALOGD("%s: device_model: %s\n", __func__, model);
    message_text(rsp_msg, model);
    return ftm_finish(__func__, rsp_status, true);
}
