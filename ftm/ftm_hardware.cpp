// Hardware information and sensor results; read only.
#include "ftm/ftm_hardware.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "ftm/ftm_message.h"
#include "ftm/hardware_version.h"
#include "ftm/storage_capacity.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/properties.h"
#include "support/files.h"
#include "support/shell.h"

namespace {

constexpr char kHardwareTable[] = "vendor/etc/hwid.conf";
constexpr char kBoardIdNode[] = "/proc/driver/board_id";
constexpr char kEmmcIdNode[] = "/proc/driver/emmc_id";
constexpr char kDdrIdNode[] = "/proc/driver/ddr_id";
constexpr size_t kHardwareTableMax = 1023;
constexpr size_t kAnswerMax = 92;
constexpr size_t kBoardIdMax = 64;
constexpr size_t kNodeTextMax = 63;
constexpr size_t kEidSize = 16;

constexpr char kTestDone[] = "Program terminated normally";
constexpr char kTestAssert[] = "ASSERT FAILED";

// The nodes that describe a UFS chip, in the order in which they are opened.
struct UfsNode {
    const char* path;
    const char* name;  // in the log
};
enum UfsField { kUfsVendor, kUfsModel, kUfsRevision, kUfsCapacity, kUfsFields };
constexpr UfsNode kUfsNodes[kUfsFields] = {
    {"/sys/bus/scsi/devices/0:0:0:0/vendor", "vendor"},
    {"/sys/bus/scsi/devices/0:0:0:0/model", "model"},
    {"/sys/bus/scsi/devices/0:0:0:0/rev", "rev"},
    {"/sys/devices/platform/soc/1d84000.ufshc/geometry_descriptor/raw_device_capacity", "rev"},  // Kept: "rev" again
};

bool is_digit(char c) { return isdigit(static_cast<unsigned char>(c)) != 0; }

bool contains(const std::string& text, const char* phrase) { return text.find(phrase) != std::string::npos; }

// The version text of the phone: the table file, or the property where there is none.
std::string hardware_version_text() {
    const NodeText table = read_node(kHardwareTable);
    if (table.readable()) {
        return std::string(table.text()).substr(0, kHardwareTableMax);
    }
    char value[PROPERTY_VALUE_MAX] = {};
    (void)property_get("ro.vendor.build.hardware_version", value, "");
    return value;
}

// The board's number; negative when its node gives none.
int board_index(const char* handler) {
    char text[kBoardIdMax + 1];
    if (read_short_text(kBoardIdNode, text, kBoardIdMax) < 0 || !is_digit(text[0])) {
        return -1;
    }
    const int board = leading_number(text);
    ALOGD("%s: board_index: %d", handler, board);
    return board;
}

std::string list_answer(const std::string& table, int board) {
    std::string answer(version_at_position(table, board).substr(0, kAnswerMax));
    if (!answer.empty()) {
        ALOGD("HW Version11 rsp_msg= %s\n", answer.c_str());
    }
    return answer;
}

std::string number_answer(const std::string& table, int board) {
    const NumberedVersion version = version_by_number(table, board);
    std::string answer(version.name.substr(0, kAnswerMax));
    if (answer.empty()) {
        return answer;
    }
    if (version.in_first) {
        ALOGD("HW Version5555 rsp_msg= %s\n", answer.c_str());
    } else {
        ALOGD("HW Version66666 rsp_msg= %s\n", answer.c_str());
    }
    return answer;
}

// Code of a text's first character, as the trace prints it; 0 for an empty one.
int first_code(std::string_view text) { return text.empty() ? 0 : static_cast<unsigned char>(text[0]); }

void trace_project_entry(const ProjectVersion& entry, int board) {
    ALOGD("HW Version22222 rsp_msg\n");
    ALOGD("HW Version22222 hw_verion[0]= %d,project_id[0] = %d,HW_id[0] = %d,h8_bit = %d,l8_bit = %d\n",
          first_code(entry.name), first_code(entry.project), first_code(entry.hardware), (board >> 8) & 0xFF,
          board & 0xFF);
}

std::string project_answer(const std::string& table, int board) {
    const auto entries = split_at_commas(table);
    const bool several = entries.size() > 1;
    for (const std::string_view text : entries) {
        const ProjectVersion entry = parse_project_version(text);
        if (several) {
            trace_project_entry(entry, board);
        }
        if (!project_version_matches(entry, board)) {
            continue;
        }
        std::string answer(entry.name.substr(0, kAnswerMax));
        if (several) {
            ALOGD("HW Version333333 rsp_msg= %s\n", answer.c_str());
        } else {
            ALOGD("HW Version4444444 rsp_msg= %s\n", answer.c_str());
        }
        return answer;
    }
    return {};
}

// The version name of this board; empty when the table has none for it.
std::string hardware_version_answer(const char* handler, const std::string& table) {
    const HardwareVersionForm form = hardware_version_form(table);
    if (form == HardwareVersionForm::kPlain) {
        ALOGD("%s: pver_hw22222:", handler);
        return table;
    }
    const int board = board_index(handler);
    if (board < 0) {
        return {};
    }
    switch (form) {
        case HardwareVersionForm::kByPosition:
            return list_answer(table, board);
        case HardwareVersionForm::kNumberName:
            return number_answer(table, board);
        default:
            return project_answer(table, board);
    }
}

// Sends a property as the message; the status tells whether it is set.
FtmStatus send_property(const char* handler, const char* property, FtmMessage& message) {
    const bool is_set = message.put_property(property) > 0;
    ALOGD("%s: rsp_msg: %s", handler, message.text());
    return ftm_status(is_set);
}

// Sends the text of a node that fits 63 characters. A failure, with one line: it cannot be opened.
FtmStatus send_node(const char* handler, const char* path, FtmMessage& message) {
    char text[kNodeTextMax + 1];
    if (read_short_text(path, text, kNodeTextMax) == kTextNotOpened) {
        ALOGE("%s: failed to open %s!\n", handler, path);
        return kFtmFailure;
    }
    message.put_text(text);
    ALOGD("%s: rsp_msg: %s", handler, text);
    return kFtmSuccess;
}

FtmStatus send_ufs_identity(const char* handler, FtmMessage& message) {
    char text[kUfsFields][kNodeTextMax + 1];
    for (size_t i = 0; i < kUfsFields; ++i) {
        if (read_short_text(kUfsNodes[i].path, text[i], kNodeTextMax) == kTextNotOpened) {
            ALOGE("%s: emmc %s failed to open!\n", handler, kUfsNodes[i].name);
            return kFtmFailure;
        }
    }
    const unsigned long long capacity = storage_capacity_gib(text[kUfsCapacity]);
    ALOGD("%s: emmc_cap = %llu\n", handler, capacity);
    char identity[kNodeTextMax + 1];
    (void)snprintf(identity, sizeof(identity), "%.8s-%.8s-%.4s-00/0000-%llu GB-NA\n", text[kUfsVendor], text[kUfsModel],
                   text[kUfsRevision], static_cast<unsigned long long>(storage_nominal_gib(capacity)));
    message.put_text(identity);
    return kFtmSuccess;
}

// Sends the content of a sensor's result file. Kept: without one the message stays as it is.
FtmStatus send_sensor_file(const char* handler, const char* path, FtmMessage& message) {
    const NodeText content = read_node(path);
    if (!content.readable()) {
        return kFtmFailure;
    }
    ALOGD("%s %s\n", handler, content.text());
    message.put_text(content.text());
    return kFtmSuccess;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_readhwver(FtmArgs, FtmMessage& message) {
    const std::string table = hardware_version_text();
    ALOGD("%s: pver_hw1: %s", __func__, table.c_str());
    if (table.empty()) {
        ALOGE("%s: pver_hw11111:", __func__);
        return kFtmFailure;
    }
    const std::string answer = hardware_version_answer(__func__, table);
    if (answer.empty()) {
        return kFtmFailure;
    }
    message.put_text(answer.c_str());
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readboardid(FtmArgs, FtmMessage& message) {
    char text[kBoardIdMax + 1];
    if (read_short_text(kBoardIdNode, text, kBoardIdMax) == kTextNotOpened) {
        return kFtmFailure;
    }
    const size_t length = strlen(text);
    if (length == 0 || !std::all_of(text, text + length - 1, is_digit)) {
        ALOGE("%s: boardid contains undigit_char, buff_board = %s ", __func__, text);
        return kFtmFailure;
    }
    ALOGD("%s: buff_board = %s", __func__, text);
    message.put_text(text);
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readdevice(FtmArgs, FtmMessage& message) {
    constexpr char kProperty[] = "ro.product.device";
    char name[PROPERTY_VALUE_MAX] = {};
    (void)property_get(kProperty, name, "");
    ALOGD("%s: device_name: %s\n", __func__, name);
    return send_property(__func__, kProperty, message);
}

FtmStatus ftm_diag_req_cmd_reademmcid(FtmArgs, FtmMessage& message) {
    return send_property(__func__, "ro.boot.emmcid", message);
}

FtmStatus ftm_diag_req_cmd_readsecpatch(FtmArgs, FtmMessage& message) {
    message.put(0xFF);  // Kept: what the tool gets for an unset property, as a success
    (void)message.put_property("ro.build.version.security_patch");
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_get_emmc(FtmArgs, FtmMessage& message) {
    const FtmStatus status = send_node(__func__, kEmmcIdNode, message);
    return status == kFtmSuccess ? status : send_ufs_identity(__func__, message);
}

FtmStatus ftm_diag_req_cmd_get_ddr(FtmArgs, FtmMessage& message) { return send_node(__func__, kDdrIdNode, message); }

// Message: 32 upper-case hexadecimal digits, no terminator.
FtmStatus ftm_diag_req_cmd_readeid(FtmArgs, FtmMessage& message) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    (void)modem_api_init_qmi_connection(11, 1);  // the request below shows whether there is a connection
    uint8_t eid[kEidSize] = {};
    int length = kEidSize;
    if (modem_api_get_uim_eid(eid, &length) != 0) {
        return kFtmFailure;
    }
    for (size_t i = 0; i < kEidSize; ++i) {
        message.bytes[2 * i] = static_cast<unsigned char>(kDigits[eid[i] >> 4]);
        message.bytes[2 * i + 1] = static_cast<unsigned char>(kDigits[eid[i] & 0x0F]);
    }
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_GetNfcCplc(FtmArgs, FtmMessage& message) {
    const std::string output = run_and_capture("vendor/bin/st_seid ");
    ALOGD("nfccplc result = %s\n", output.c_str());
    if (output.empty()) {
        return kFtmFailure;
    }
    message.put_text(output.c_str());
    return kFtmSuccess;
}

// Message: one byte, 1 for a clean chip, 0 otherwise (numbers, not digits).
FtmStatus ftm_diag_req_cmd_GetAPPLET(FtmArgs, FtmMessage& message) {
    const std::string output = run_and_capture("/vendor/bin/st_se_factory 1");
    ALOGD("APPLET result = %s\n", output.c_str());
    const bool good =
        contains(output, kTestDone) && !contains(output, kTestAssert) && !contains(output, "This is a test chip");
    const bool clean = contains(output, "clean chip:true");
    const FtmStatus status = ftm_status(good && (clean || contains(output, "clean chip:false")));
    if (status == kFtmSuccess) {
        message.put(clean ? 1 : 0);
    }
    ALOGD("rsp_msg:%d\n", message.bytes[0]);
    ALOGD("rsp_status:%d\n", ftm_status_byte(status));
    return status;
}

FtmStatus ftm_diag_req_cmd_SeReset(FtmArgs, FtmMessage&) {
    const std::string output = run_and_capture("/vendor/bin/st_se_factory 0");
    const FtmStatus status = ftm_status(contains(output, kTestDone) && contains(output, "factory_reset:success") &&
                                        !contains(output, kTestAssert));
    ALOGD("rsp_status:%d\n", ftm_status_byte(status));
    return status;
}

FtmStatus ftm_diag_req_cmd_GetLightData(FtmArgs, FtmMessage& message) {
    return send_sensor_file(__func__, "mnt/vendor/persist/sensors/light_sen.txt", message);
}

FtmStatus ftm_diag_req_cmd_GetLightData2(FtmArgs, FtmMessage& message) {
    return send_sensor_file(__func__, "mnt/vendor/persist/sensors/light_sen_2.txt", message);
}

FtmStatus ftm_diag_req_cmd_GetTofData(FtmArgs, FtmMessage& message) {
    return send_sensor_file(__func__, "mnt/vendor/persist/sensors/tof_sen.txt", message);
}

FtmStatus ftm_diag_req_cmd_GetProximityNoise(FtmArgs, FtmMessage& message) {
    return send_sensor_file(__func__, "mnt/vendor/persist/sensors/proximity_noise.txt", message);
}

FtmStatus ftm_diag_req_cmd_GetVibrateData(FtmArgs, FtmMessage& message) {
    return send_sensor_file(__func__, "mnt/vendor/persist/sensors/vibrate_data.txt", message);
}
