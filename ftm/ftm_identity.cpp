// Device identity in the stores: USB tag, named values, DEFT switch and UDID in configuration records, and the customer
// variant flag. What is kept in files stands in ftm_mac.cpp and ftm_text_files.cpp.
#include "ftm/ftm_identity.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "ftm/ftm_digest.h"
#include "ftm/ftm_message.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/properties.h"
#include "platform/include/variant_flag.h"
#include "platform/include/vendor_utils.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kUsbTagRecord[] = "usbmanutag";
constexpr char kDeftRecord[] = "deft_register_switch";
constexpr char kVariantFlag[] = "orb_variantflag";

constexpr unsigned char kSourceMissing = 2;  // a property or the board identifier
constexpr unsigned char kStoreFailed = 3;
constexpr unsigned char kModemFailed = 4;

// The three records of the UDID and the part of its 64 digits that each holds.
struct UdidPiece {
    const char* record;
    size_t first;
    size_t count;
};
constexpr UdidPiece kUdidPieces[] = {
    {"udid_o", 0, 21},
    {"udid_r", 21, 21},
    {"udid_b", 42, 22},
};

// A record's value, always terminated.
using CfgText = char[kCfgValueSize + 1];

bool cfg_read(const char* name, CfgText& value) {
    memset(value, 0, sizeof(value));
    return cfg_get(name, value, "0") >= 0;
}

// The name of a value on the wire: its length counts modulo 256, and a record's field is as much as is looked up.
std::string vc_name(const char* argument, size_t length) { return {argument, std::min(length, kCfgNameSize)}; }

size_t vc_length(const char* argument) { return strlen(argument) % 256; }

// What the digest is taken of: versions, identifiers and a random number. Empty when one of them is missing.
std::string udid_source() {
    char version[PROPERTY_VALUE_MAX] = {};
    char emmcid[PROPERTY_VALUE_MAX] = {};
    if (property_get("ro.build.sw_internal_version", version, "") <= 0 ||
        property_get("ro.boot.emmcid", emmcid, "") <= 0) {
        return {};
    }
    unsigned char board[kBoardRecordSize + 1] = {};
    int length = kBoardRecordSize;
    if (get_board_id(board, &length) != 1) {
        return {};
    }
    srand(static_cast<unsigned>(time(nullptr)));
    const int draw = rand() % 1000000;
    char text[2 * PROPERTY_VALUE_MAX + 32];
    (void)snprintf(text, sizeof(text), "%s%s%.12s%d", version, emmcid, reinterpret_cast<const char*>(board), draw);
    return text;
}

bool udid_store(const std::string& digits) {
    return std::all_of(std::begin(kUdidPieces), std::end(kUdidPieces), [&digits](const UdidPiece& piece) {
        return cfg_set(piece.record, digits.substr(piece.first, piece.count).c_str()) >= 0;
    });
}

}  // namespace

int ftm_diag_req_cmd_writeusbtag(const char*, const unsigned char* req_args, unsigned char* rsp_msg,
                                 unsigned char* rsp_status) {
    char text[sizeof("0xff")];
    (void)snprintf(text, sizeof(text), "0x%02x", static_cast<unsigned>(req_args[0]));
    if (cfg_set(kUsbTagRecord, text) < 0) {
        ALOGE("%s: write vcfg failed!\n", __func__);
        message_text(rsp_msg, "write file failed\n");
        *rsp_status = kStoreFailed;
        return 0;
    }
    message_text(rsp_msg, "write usb manufacture flag success\n");
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_readusbtag(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    CfgText text;
    if (!cfg_read(kUsbTagRecord, text)) {
        ALOGE("%s: read vcfg failed!\n", __func__);
        message_text(rsp_msg, "get usbtag failed\n");
        *rsp_status = kFtmFailure;
        return 0;
    }
    unsigned tag = 0;
    (void)sscanf(text, "%x", &tag);
    put_u32(rsp_msg, tag);
    *rsp_status = kFtmSuccess;
    return 0;
}

// Message: the argument as received (up to 255 bytes), a zero byte, the value's length, the value.
int ftm_diag_req_cmd_readvc(const char*, const unsigned char* req_args, unsigned char* rsp_msg,
                            unsigned char* rsp_status) {
    const char* argument = reinterpret_cast<const char*>(req_args);
    const size_t length = vc_length(argument);
    const std::string name = vc_name(argument, length);
    CfgText value;
    if (!cfg_read(name.c_str(), value)) {
        ALOGE("%s: read %s failed!\n", __func__, name.c_str());
        *rsp_status = kFtmFailure;
        return 0;
    }
    ALOGD("%s, %s : {%s}\n", __func__, name.c_str(), value);
    const size_t value_length = strlen(value);
    memcpy(rsp_msg, argument, length);
    rsp_msg[length] = 0;
    rsp_msg[length + 1] = static_cast<unsigned char>(value_length);
    memcpy(rsp_msg + length + 2, value, value_length);
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_writevc(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    const char* argument = reinterpret_cast<const char*>(req_args);
    const std::string name = vc_name(argument, vc_length(argument));
    const unsigned char* counted = req_args + strlen(argument) + 1;
    CfgText value = {};
    memcpy(value, counted + 1, std::min<size_t>(counted[0], kCfgValueSize));
    if (!cfg_fits(name.c_str(), value) || cfg_set(name.c_str(), value) < 0) {
        ALOGE("%s: write %s failed!\n", __func__, name.c_str());
        *rsp_status = kFtmFailure;
        return 0;
    }
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_readvariantflag(const char*, const unsigned char*, unsigned char* rsp_msg,
                                     unsigned char* rsp_status) {
    char flag[kVariantFlagSize + 1] = {};
    if (getCustVariantFlag(flag) != 1) {
        ALOGE("%s: read %s failed!\n", __func__, kVariantFlag);
        message_text(rsp_msg, "failed\n");
        *rsp_status = kFtmFailure;
        return 0;
    }
    message_text(rsp_msg, flag);
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_writevariantflag(const char*, const unsigned char* req_args, unsigned char* rsp_msg,
                                      unsigned char* rsp_status) {
    const char* const flag = reinterpret_cast<const char*>(req_args);
    // The library's buffer ends at kVariantFlagSize: what does not fit never reaches it.
    if (strnlen(flag, kVariantFlagSize) == kVariantFlagSize || setCustVariantFlag(flag) != 1) {
        ALOGE("%s: write %s failed!\n", __func__, kVariantFlag);
        message_text(rsp_msg, "failed\n");
        *rsp_status = kStoreFailed;
        return 0;
    }
    message_text(rsp_msg, "success\n");
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_clearvariantflag(const char*, const unsigned char*, unsigned char* rsp_msg,
                                      unsigned char* rsp_status) {
    char flag[kVariantFlagSize + 1] = {};
    const bool is_set = getCustVariantFlag(flag) == 1;
    if (is_set && clearVariantFlag() != 1) {
        ALOGE("%s: clear %s failed!\n", __func__, kVariantFlag);
        message_text(rsp_msg, "failed\n");
        *rsp_status = kStoreFailed;
        return 0;
    }
    message_text(rsp_msg, "success\n");
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_readdeft(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    CfgText value;
    if (!cfg_read(kDeftRecord, value)) {
        ALOGE("%s: read vcfg failed!\n", __func__);
        *rsp_status = kFtmFailure;
        return 0;
    }
    rsp_msg[0] = static_cast<unsigned char>(value[0]);
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_writedeft(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    const char value[] = {static_cast<char>(req_args[0]), '\0'};
    if (cfg_set(kDeftRecord, value) < 0) {
        ALOGE("%s: write deft_register_switch failed!\n", __func__);
        *rsp_status = kStoreFailed;
        return 0;
    }
    if (modem_write_deft_info(value, 1) != 0) {
        ALOGE("fail to write modem subsystem file.\n");
        *rsp_status = kModemFailed;
        return 0;
    }
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_writeudid(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    const std::string source = udid_source();
    if (source.empty()) {
        *rsp_status = kSourceMissing;
        return 0;
    }
    const std::string digits = sha256_hex(source.data(), source.size());
    if (digits.empty() || !udid_store(digits)) {
        ALOGE("%s: write vcfg failed!\n", __func__);
        message_text(rsp_msg, "write file failed\n");
        *rsp_status = kStoreFailed;
        return 0;
    }
    message_text(rsp_msg, "write udid success\n");
    *rsp_status = kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_readudid(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    std::string udid;
    for (const UdidPiece& piece : kUdidPieces) {
        CfgText value;
        if (!cfg_read(piece.record, value)) {
            ALOGE("%s: read vcfg failed!\n", __func__);
            message_text(rsp_msg, "get udid failed\n");
            *rsp_status = kFtmFailure;
            return 0;
        }
        udid += value;
    }
    message_text(rsp_msg, udid.c_str());
    *rsp_status = kFtmSuccess;
    return 0;
}
