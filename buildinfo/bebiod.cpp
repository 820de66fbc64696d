// The carrier's return-to-new menu: life counters, refurbishment and activation dates in one modem item, and two resets
// that are handed to the system by broadcast.
#include "buildinfo/bebiod.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/properties.h"
#include "support/files.h"

namespace {
constexpr uint8_t kBebiodCommand = 246;
constexpr uint8_t kSubRefurbish = 6;
constexpr uint8_t kSubGetMenu = 11;
constexpr uint8_t kSubSetMenu = 12;
constexpr uint8_t kSubReset = 15;

constexpr unsigned kResetResponse = 3;    // command, u16 sub-command
constexpr unsigned kSetResponse = 3;      // command, sub-command, u8 result
constexpr unsigned kMenuResponse = 127;   // see fill_menu
constexpr uint16_t kShortestSetMenu = 7;  // command, sub-command, status, month, day, u16 year
constexpr uint8_t kSetDone = 0;
constexpr uint8_t kSetFailed = 1;
constexpr size_t kTextField = 20;  // bytes of a text in the menu, terminator included

constexpr NoRoomLine kNoRoom = {"rsp_ptr ERR:NULL", "\n"};
constexpr const char* kUnknown = "unknown";
constexpr const char* kHwVersionNode = "/sys/devices/system/soc/soc0/orb_hw_ver";
constexpr const char* kHwVersionOldNode = "/sys/devices/soc0/orb_hw_ver";

// The modem's return-to-new item: 64 bytes, little-endian; bytes without a name are kept as read.
constexpr int kRtnItem = 1009;
constexpr int kRtnItemSize = 64;
constexpr size_t kRtnLifeTimer = 4;     // u32
constexpr size_t kRtnLifeCalls = 8;     // u32
constexpr size_t kRtnRefurbYear = 16;   // u16
constexpr size_t kRtnActiveYear = 18;   // u16
constexpr size_t kRtnRefurbMonth = 20;  // u8, as all that follow
constexpr size_t kRtnActiveMonth = 21;
constexpr size_t kRtnRefurbDay = 22;
constexpr size_t kRtnActiveDay = 23;
constexpr size_t kRtnRefurbStatus = 24;

struct RtnItem {
    uint8_t bytes[kRtnItemSize];
    int length;  // as the modem returned it
    bool read;
};

// A failed read leaves zeros and the full length.
RtnItem read_rtn_item() {
    RtnItem item = {{}, kRtnItemSize, false};
    item.read = modem_read_efs(kRtnItem, item.bytes, &item.length) == 0;
    item.length = item.read ? std::clamp(item.length, 0, kRtnItemSize) : kRtnItemSize;
    if (!item.read) {
        memset(item.bytes, 0, sizeof(item.bytes));
    }
    return item;
}

// Copies a text into its field of the menu, cut to fit and terminated; the field's rest is zero.
void put_text(uint8_t* field, const char* text) {
    const size_t length = strnlen(text, kTextField - 1);
    memset(field, 0, kTextField);
    memcpy(field, text, length);
}

void put_property(uint8_t* field, const char* name) {
    char value[PROPERTY_VALUE_MAX] = {};
    (void)property_get(name, value, kUnknown);
    put_text(field, value);
}

void put_radio_version(uint8_t* field) {
    put_property(field, "ro.vendor.build.baseband_version");
    if (memcmp(field, kUnknown, strlen(kUnknown)) == 0) {
        put_property(field, "ro.build.baseband_version");
    }
}

void put_hw_version(uint8_t* field) {
    char text[kProcReadSize] = {};
    const int count = proc_read(kHwVersionNode, text);
    ALOGD("file read result is:%d\n", count);
    if (count < 1) {
        (void)proc_read(kHwVersionOldNode, text);  // a failure has been logged and leaves an empty text
    }
    ALOGD("hw_version_buff is:%s\r\n", text);
    put_text(field, text);
}

// Offsets in the menu response. A date is three u16: month, day, year.
constexpr size_t kMenuLifeTimer = 2;
constexpr size_t kMenuLifeCalls = 6;
constexpr size_t kMenuRefurbStatus = 10;
constexpr size_t kMenuRefurbDate = 11;
constexpr size_t kMenuOsVersion = 17;
constexpr size_t kMenuSwVersion = 37;
constexpr size_t kMenuRadioVersion = 57;
constexpr size_t kMenuHwVersion = 77;
constexpr size_t kMenuPrlVersion = 97;
constexpr size_t kMenuPriVersion = 101;
constexpr size_t kMenuActiveDate = 121;
static_assert(kMenuActiveDate + 6 == kMenuResponse);

void put_date(uint8_t* date, uint8_t month, uint8_t day, uint16_t year) {
    put_u16(date, month);
    put_u16(date + 2, day);
    put_u16(date + 4, year);
}

void fill_menu(uint8_t* rsp, const RtnItem& item, uint16_t prl_version) {
    const uint8_t* const rtn = item.bytes;
    put_u32(rsp + kMenuLifeTimer, get_u32(rtn + kRtnLifeTimer));
    put_u32(rsp + kMenuLifeCalls, get_u32(rtn + kRtnLifeCalls));
    rsp[kMenuRefurbStatus] = rtn[kRtnRefurbStatus];
    put_date(rsp + kMenuRefurbDate, rtn[kRtnRefurbMonth], rtn[kRtnRefurbDay], get_u16(rtn + kRtnRefurbYear));
    put_property(rsp + kMenuOsVersion, "ro.build.version.release");
    put_property(rsp + kMenuSwVersion, "ro.product.model");
    put_radio_version(rsp + kMenuRadioVersion);
    put_property(rsp + kMenuPriVersion, "ro.build.pri.version");
    put_hw_version(rsp + kMenuHwVersion);
    put_u32(rsp + kMenuPrlVersion, prl_version);
    put_date(rsp + kMenuActiveDate, rtn[kRtnActiveMonth], rtn[kRtnActiveDay], get_u16(rtn + kRtnActiveYear));
}

void log_menu(const uint8_t* rsp) {
    const auto word = [rsp](size_t offset) { return static_cast<int>(get_u32(rsp + offset)); };
    const auto date = [rsp](size_t offset, size_t part) { return static_cast<int>(get_u16(rsp + offset + 2 * part)); };
    const auto text = [rsp](size_t offset) { return reinterpret_cast<const char*>(rsp + offset); };
    ALOGE("rsp_ptr->lifeTimer:%d\r\n", word(kMenuLifeTimer));
    ALOGE("rsp_ptr->lifeCalls:%d\r\n", word(kMenuLifeCalls));
    ALOGE("rsp_ptr->Refurbishment_Status:%d\r\n", rsp[kMenuRefurbStatus]);
    ALOGE("rsp_ptr->Refurbishment_Date[0]:%d\r\n", date(kMenuRefurbDate, 0));
    ALOGE("rsp_ptr->Refurbishment_Date[1]:%d\r\n", date(kMenuRefurbDate, 1));
    ALOGE("rsp_ptr->Refurbishment_Date[2]:%d\r\n", date(kMenuRefurbDate, 2));
    ALOGE("rsp_ptr->OS_Version:%s\r\n", text(kMenuOsVersion));
    ALOGE("rsp_ptr->SW_Version:%s\r\n", text(kMenuSwVersion));
    ALOGE("rsp_ptr->Radio_Version:%s\r\n", text(kMenuRadioVersion));
    ALOGE("rsp_ptr->HW_Version:%s\r\n", text(kMenuHwVersion));
    ALOGE("rsp_ptr->PRL_Version:%d\r\n", word(kMenuPrlVersion));
    ALOGE("rsp_ptr->PRI_Version:%s\r\n", text(kMenuPriVersion));
    ALOGE("rsp_ptr->Activation_Date[0]:%d\r\n", date(kMenuActiveDate, 0));
    ALOGE("rsp_ptr->Activation_Date[1]:%d\r\n", date(kMenuActiveDate, 1));
    ALOGE("rsp_ptr->Activation_Date[2]:%d\r\n", date(kMenuActiveDate, 2));
}

// Hands one of the resets to the system, once there is a response to answer with.
void* broadcast_reset(const char* name, const char* command, uint8_t sub_command) {
    ALOGD("%s...", name);
    uint8_t* const rsp = toplevel_response(kBebiodCommand, kResetResponse, kNoRoom);
    if (rsp != nullptr) {
        put_u16(rsp + 1, sub_command);
        (void)device_system(command);  // the system's own affair from here on
    }
    return rsp;
}

// Writes the refurbishment record of a request of full length. The result byte of the response.
uint8_t write_refurbishment(RequestView request) {
    RtnItem item = read_rtn_item();
    if (item.read) {  // Kept: these two levels are the wrong way round
        ALOGE("modem_read_efs read efs rtn data successfully.");
    } else {
        ALOGD("modem_read_efs read efs rtn data failed!");
    }
    const uint8_t status = request_u8(request, 2);
    const uint8_t month = request_u8(request, 3);
    const uint8_t day = request_u8(request, 4);
    const uint16_t year = request_u16(request, 5);
    if (month < 1 || month > 12 || day < 1 || day > 31) {
        ALOGE("bebiod_diag_set_rtn_menu invalid parameter!");
        return kSetFailed;
    }
    item.bytes[kRtnRefurbStatus] = status;
    item.bytes[kRtnRefurbMonth] = month;
    item.bytes[kRtnRefurbDay] = day;
    put_u16(item.bytes + kRtnRefurbYear, year);
    ALOGD("refurbishment_status:%d\r\n", status);
    ALOGD("refurbishment_month:%d\r\n", month);
    ALOGD("refurbishment_day:%d\r\n", day);
    ALOGD("refurbishment_year:%d\r\n", year);
    ALOGD("nv_item_data.data_len:%d\r\n", kRtnItemSize);
    if (modem_write_efs(kRtnItem, item.bytes, item.length) != 0) {
        ALOGE("modem_write_efs write efs rtn data error!");
        return kSetFailed;
    }
    return kSetDone;
}

// The answer of the sub-command, or null.
void* serve_sub_command(const void* request, uint16_t length, uint8_t sub_command) {
    switch (sub_command) {
        case kSubRefurbish:
            return broadcast_reset("bebiod_diag_refubrish", "am broadcast -a android.intent.action.MASTER_CLEAR",
                                   sub_command);
        case kSubGetMenu:
            return bebiod_diag_get_rtn_menu();
        case kSubSetMenu:
            return bebiod_diag_set_rtn_menu(request, length);
        case kSubReset:
            return broadcast_reset("bebiod_diag_rtn_reset", "am broadcast -a android.intent.action.FD_RESET",
                                   sub_command);
        default:
            ALOGE("\n Warning:command 0x%x is not defined!\n", sub_command);
            return nullptr;
    }
}

// The request sent back unchanged, so that the tool always receives something.
void* generate_default_rsp(const void* request, uint16_t length) {
    ALOGD("%s\n", __func__);
    uint8_t* const rsp = toplevel_response(kBebiodCommand, std::max<unsigned>(length, 1), kNoLine);
    if (rsp != nullptr && request != nullptr) {
        memcpy(rsp, request, length);
    }
    return rsp;
}
}  // namespace

void* bebiod_diag_get_rtn_menu() {
    ALOGD("%s...", __func__);
    uint8_t* const rsp = toplevel_response(kBebiodCommand, kMenuResponse, kNoRoom);
    if (rsp == nullptr) {
        return nullptr;
    }
    memset(rsp + 1, 0, kMenuResponse - 1);
    rsp[1] = kSubGetMenu;
    const RtnItem item = read_rtn_item();
    if (item.read) {
        ALOGD("modem_read_efs read efs rtn data successfully.");
    } else {
        ALOGE("modem_read_efs read efs rtn data failed!");
    }
    uint16_t prl_version = 0;
    if (modem_get_prl_version(&prl_version) != 0) {
        ALOGE("modem_get_prl_version failed!");
    } else {
        ALOGE("modem_get_prl_version successfully.");
    }
    fill_menu(rsp, item, prl_version);
    log_menu(rsp);
    return rsp;
}

void* bebiod_diag_set_rtn_menu(const void* request, uint16_t length) {
    ALOGD("%s...", __func__);
    if (request == nullptr) {
        ALOGE("%s packed_req_ptr ERR : NULL \n", __func__);
        return nullptr;
    }
    uint8_t* const rsp = toplevel_response(kBebiodCommand, kSetResponse, kNoRoom);
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[1] = kSubSetMenu;
    rsp[2] = kSetFailed;  // until the end says otherwise
    if (length < kShortestSetMenu) {
        ALOGE("Invalid pkt_len: 0x%x\n", length);
        return rsp;
    }
    rsp[2] = write_refurbishment(request_view(request, length));
    return rsp;
}

void* bebiod_diag_handle(const void* request, uint16_t length) {
    if (request == nullptr) {
        ALOGE("%s : receive invalid diag command\n", __func__);
        ALOGE("func_switch:response is null!");
        return generate_default_rsp(request, length);
    }
    const RequestView view = request_view(request, length);
    const uint8_t sub_command = request_u8(view, 1);
    ALOGE("\n print received packet pkt_len=%d \n", length);
    for (size_t i = 0; i < view.size; ++i) {
        ALOGE("\t %x \t", view.data[i]);
    }
    ALOGE("\n print received packet done subcmd=0x%X \n", sub_command);
    if (void* const rsp = serve_sub_command(request, length, sub_command)) {
        ALOGD("func_switch:Got response,subcmd=0x%X", sub_command);
        return rsp;
    }
    ALOGE("func_switch:response is null!");
    return generate_default_rsp(request, length);
}

namespace {
constexpr DiagDispatchEntry bebiod_entries[] = {
    {kBebiodCommand, kBebiodCommand, guarded<bebiod_diag_handle>},
};
}  // namespace

const DiagDispatchTable bebiod_diag_table = diag_table(kDiagNoSubsystem, bebiod_entries);
