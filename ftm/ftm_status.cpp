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
constexpr FtmStatus kFlagStays{0};          // "ReadFactoryFlag": there is one, and it could not be removed
constexpr FtmStatus kFlagGone{1};           // the same: there was one, and it is gone now
constexpr FtmStatus kFlagMissing{2};        // the same: there was none
constexpr FtmStatus kStoreFailed{3};        // "openfanlight": the file or the record
constexpr size_t kRecordText = 64;          // buffer of a configuration record's text

// A record of `N` bytes: the first N - 1 argument bytes, whatever the text's length, and a zero.
template <size_t N>
std::array<unsigned char, N> padded_record(FtmArgs args) {
    std::array<unsigned char, N> record{};
    std::copy_n(args.bytes, N - 1, record.begin());
    return record;
}

FtmStatus set_kph(const char* name, FtmArgs args, const char* value) {
    ALOGD("%s: e\n", name);
    ALOGD("%s: req_args: %d\n", name, args[0]);
    return ftm_finish(name, property_set(kKphProperty, value) >= 0);
}

// `slot`: 1 or 2, which is also its byte of the record. Kept: the line says "card1" for both.
FtmStatus read_sim_slot(const char* name, size_t slot, FtmMessage& message) {
    ALOGD("%s: e\n", name);
    std::array<uint8_t, 4> cards{};
    if (modem_get_all_cards_status(cards.data()) != 0) {
        ALOGE("%s: modem_get_all_cards_status failed!\n", name);
        message.put(kReadFailed);
        return ftm_finish(name, false);
    }
    ALOGD("%s: card1 status: %d\n", name, cards[slot]);
    message.put(cards[slot]);
    return ftm_finish(name, true);
}

// True when the battery driver's word says that the phone charges or is full.
bool is_charging(const char* status) {
    return strncasecmp(status, "Charging", 8) == 0 || strncasecmp(status, "Full", 4) == 0;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_writeswversion(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    // Kept: not truncated, so a longer file keeps its tail.
    UniqueFd file(device_open(kSwVersionFile, O_WRONLY | O_NONBLOCK | O_CREAT | O_CLOEXEC, 0777));
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, false);
    }
    const auto record = padded_record<64>(args);
    const WriteStep step = write_sync_close(std::move(file), record.data(), record.size());
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write software version number error !\n", __func__);
    }
    return ftm_finish(__func__, step == WriteStep::kDone);
}

FtmStatus ftm_diag_req_cmd_storeboardnum(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    FileReplacement file(kBoardNumberFile, 0777);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, false);
    }
    const auto record = padded_record<20>(args);
    const WriteStep step = file.store(record.data(), record.size());
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write board number error !\n", __func__);
    }
    return ftm_finish(__func__, step == WriteStep::kDone);
}

FtmStatus ftm_diag_req_cmd_writeefsrecovery(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, args[0]);
    const UniqueFd node(device_open(kEfsRecoveryNode, O_RDWR | O_CLOEXEC));
    if (!node.ok()) {
        ALOGD("%s: failed to open %s!\n", __func__, kEfsRecoveryNode);
        return ftm_finish(__func__, false);
    }
    // The node takes the whole buffer, its padding included.
    std::array<char, 10> text{};
    (void)snprintf(text.data(), text.size(), "arg: %d\n", args[0]);
    const bool written = write_once(node.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!written) {
        ALOGD("%s: failed to write %s!\n", __func__, kEfsRecoveryNode);
    }
    return ftm_finish(__func__, written);
}

FtmStatus ftm_diag_req_cmd_startkph(FtmArgs args, FtmMessage&) { return set_kph(__func__, args, "true"); }

FtmStatus ftm_diag_req_cmd_stopkph(FtmArgs args, FtmMessage&) { return set_kph(__func__, args, "false"); }

FtmStatus ftm_diag_req_cmd_readswver(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    int flag = 0;
    if (cfg_get_int(kSwVersionFlag, &flag) < 0) {
        ALOGE("%s: ftm_read_orbcfg_swverflag failed!\n", __func__);
        message.put(kReadFailed);
        return ftm_finish(__func__, false);
    }
    ALOGD("%s: sw ver flag: %d\n", __func__, flag);
    message.put(static_cast<unsigned char>(flag));
    return ftm_finish(__func__, true);
}

FtmStatus ftm_diag_req_cmd_writeswver(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, args[0]);
    const bool stored = cfg_set_int(kSwVersionFlag, args[0]) > 0;
    if (!stored) {
        ALOGE("%s: ftm write sw ver flag failed!\n", __func__);
    }
    return ftm_finish(__func__, stored);
}

FtmStatus ftm_diag_req_cmd_checkuserlogflag(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    std::array<char, kRecordText> record{};
    char enabled[PROPERTY_VALUE_MAX] = {};
    (void)cfg_get(kUserLogRecord, record.data(), "0");  // a missing record is an unset flag
    (void)property_get(kUserLogProperty, enabled, "0");
    // The answer is what was found; the record is at "0" afterwards.
    const bool record_off = strcmp(record.data(), "0") == 0;
    if (!record_off && cfg_set(kUserLogRecord, "0") < 0) {
        ALOGE("%s: reset vendor.factory.log  failed!\n", __func__);
        return ftm_finish(__func__, false);
    }
    const bool off = record_off && strcmp(enabled, "0") == 0;
    if (!off) {
        ALOGE("%s: flag != 0  :x\n", __func__);
    }
    return ftm_finish(__func__, off);
}

FtmStatus ftm_diag_req_cmd_readsimslot1status(FtmArgs, FtmMessage& message) {
    return read_sim_slot(__func__, 1, message);
}

FtmStatus ftm_diag_req_cmd_readsimslot2status(FtmArgs, FtmMessage& message) {
    return read_sim_slot(__func__, 2, message);
}

FtmStatus ftm_diag_req_cmd_is_ufs(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    std::array<char, 256> target{};
    if (device_readlink(kBootDevice, target.data(), target.size()) < 0) {
        ALOGD("read bootdevice fail");
    }
    target.back() = '\0';
    message.put(strstr(target.data(), "ufs") != nullptr ? 0 : 1);
    return ftm_finish(__func__, true);
}

FtmStatus ftm_diag_req_cmd_get_battery_status(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    const NodeText battery = read_node(kBatteryStatusNode);
    if (battery.readable()) {
        ALOGE("ftm_diag_req_cmd_get_battery_status %s\n", battery.text());
        message.put(is_charging(battery.text()) ? 1 : 2);
    }
    return ftm_finish(__func__, battery.readable());
}

FtmStatus ftm_diag_req_cmd_get_battery_present(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    const NodeText present = read_node(kBatteryPresentNode);
    if (present.readable()) {
        ALOGE("ftm_diag_req_cmd_get_battery_present %s\n", present.text());
        message.put_text(present.text());
    }
    return ftm_finish(__func__, present.readable());
}

FtmStatus ftm_diag_req_cmd_read_factory_flag(FtmArgs, FtmMessage&) {
    int value = 0;
    const int found = cfg_get_int(kFirstEnter, &value);
    ALOGD("CFG_FACTORY_RESET=%d,CFG_FACTORY_FIRST_ENTER=%d,ret2=%d \n", 0, value, found);
    if (unsetcfgbyname(kFactoryReset) > 0) {
        ALOGD("unsetcfgbyname,CFG_FACTORY_RESET,success \n");
    }
    // The status is the answer here.
    FtmStatus flag = kFlagStays;
    if (found < 0) {
        ALOGD("Factory Reset config not found \n");
        flag = kFlagMissing;
    } else if (unsetcfgbyname(kFirstEnter) > 0) {
        ALOGD("unsetcfgbyname,CFG_FACTORY_FIRST_ENTER,success \n");
        flag = kFlagGone;
    } else {
        ALOGD("unsetcfgbyname,CFG_FACTORY_FIRST_ENTER,failed \n");
    }
    ALOGD("%s: x\n", __func__);
    return flag;
}

FtmStatus ftm_diag_req_cmd_cleanapkpara(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    (void)ftm_diag_delete_file(persist_path(kCustomFolder).c_str());  // Kept: no failure reaches the tool
    return ftm_finish(__func__, true);
}

FtmStatus ftm_diag_req_cmd_checkapkpara(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    const std::string path = persist_path(kCustomFolder);
    const bool there = is_file_exist(path.c_str()) == 0;
    if (there) {
        ALOGD("%s:check %s dir exist\n", __func__, path.c_str());
    } else {
        ALOGD("%s:check %s dir not exist", __func__, path.c_str());
    }
    ALOGD("%s: x\n", __func__);
    return ftm_status(!there);  // the status is the answer
}

FtmStatus ftm_diag_req_cmd_checkcardto(FtmArgs, FtmMessage& message) {
    constexpr unsigned char kTrayPresent = 1;
    ALOGD("%s: e\n", __func__);
    (void)modem_api_init_qmi_connection(11, 1);  // the next call tells whether it worked
    unsigned char tray = 0;
    const int result = modem_api_get_sim_tray_presence_state(&tray);
    ALOGD("%s: result: %d", __func__, result);
    if (result != 0) {
        return ftm_finish(__func__, false);
    }
    ALOGD("%s: eid_value: %d", __func__, tray);
    message.put(static_cast<unsigned char>(tray + '0'));
    return ftm_finish(__func__, tray == kTrayPresent);
}

FtmStatus ftm_diag_req_cmd_checkbreathled(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    const NodeText led = read_node(kBreathLedNode);
    if (led.readable()) {
        ALOGE("ftm_diag_req_cmd_checkbreathled %s\n", led.text());
        message.put_text(led.text());
        return ftm_finish(__func__, *led.text() == '1');
    }
    const NodeText rgb = read_node(kLedRgbNode);
    ALOGE("ftm_diag_req_cmd_checkbreathled kelto %s\n", rgb.text());
    if (rgb.readable()) {
        message.put(1);  // Kept: the number, where the other node gives the digit.
    }
    return ftm_finish(__func__, rgb.readable());
}

namespace {

constexpr size_t kFanLightBuffer = 64;
constexpr size_t kFanLightCut = 32;  // what is kept of a text that does not fit the buffer

// Puts the fan-light value into its file and its record. Status of the command.
FtmStatus store_fan_light(FileReplacement* file, const std::array<char, kFanLightBuffer>& value, size_t length) {
    if (file->write(value.data(), length) != WriteStep::kDone) {
        return kStoreFailed;
    }
    if (!cfg_fits(kFanLightRecord, value.data()) || cfg_set(kFanLightRecord, value.data()) < 0) {
        return kStoreFailed;
    }
    return ftm_status(file->commit() == WriteStep::kDone);
}

}  // namespace

FtmStatus ftm_diag_req_cmd_openfanlight(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    FileReplacement file(persist_path("/fan_light"), 0755);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return ftm_finish(__func__, false);
    }
    const char* text = args.text();
    const size_t length = strlen(text);
    std::array<char, kFanLightBuffer> value{};
    std::copy_n(text, length < value.size() ? length : kFanLightCut, value.begin());
    ALOGD("%s:req_args = %s \n", __func__, text);
    // Kept: as many bytes as the text is long, so zeros follow the part that was cut.
    const size_t written = std::min(length, value.size());
    return ftm_finish(__func__, store_fan_light(&file, value, written));
}

FtmStatus ftm_diag_req_cmd_checkfanlight(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    std::array<char, kRecordText> record{};
    const int result = cfg_get(kFanLightRecord, record.data(), "1");
    const NodeText file = read_node(kFanLightFile);
    // Kept: "s%" is what the line says.
    ALOGE("s%%: value111 %s, valuecfg %s result %d\n", file.text(), record.data(), result);
    if (result < 0 || !file.readable()) {
        return ftm_finish(__func__, false);
    }
    ALOGE("s%%: value %s, valuecfg %s\n", file.text(), record.data());
    message.put_text(file.text());
    return ftm_finish(__func__, *file.text() == '1' && record[0] == '1');
}

FtmStatus ftm_diag_req_cmd_get_device_model(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    char model[PROPERTY_VALUE_MAX] = {};
    if (property_get("ro.product.model", model, "") <= 0) {
        ALOGD("%s: rsp_msg: %s", __func__, model);
        return ftm_finish(__func__, false);
    }
    ALOGD("%s: device_model: %s\n", __func__, model);
    message.put_text(model);
    return ftm_finish(__func__, true);
}
