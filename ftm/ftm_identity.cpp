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

constexpr FtmStatus kSourceMissing{2};  // a property or the board identifier
constexpr FtmStatus kStoreFailed{3};
constexpr FtmStatus kModemFailed{4};

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

FtmStatus ftm_diag_req_cmd_writeusbtag(FtmArgs args, FtmMessage& message) {
    char text[sizeof("0xff")];
    (void)snprintf(text, sizeof(text), "0x%02x", static_cast<unsigned>(args[0]));
    if (cfg_set(kUsbTagRecord, text) < 0) {
        ALOGE("%s: write vcfg failed!\n", __func__);
        message.put_text("write file failed\n");
        return kStoreFailed;
    }
    message.put_text("write usb manufacture flag success\n");
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readusbtag(FtmArgs, FtmMessage& message) {
    CfgText text;
    if (!cfg_read(kUsbTagRecord, text)) {
        ALOGE("%s: read vcfg failed!\n", __func__);
        message.put_text("get usbtag failed\n");
        return kFtmFailure;
    }
    unsigned tag = 0;
    (void)sscanf(text, "%x", &tag);
    put_u32(message.bytes, tag);
    return kFtmSuccess;
}

// Message: the argument as received (up to 255 bytes), a zero byte, the value's length, the value.
FtmStatus ftm_diag_req_cmd_readvc(FtmArgs args, FtmMessage& message) {
    const char* argument = args.text();
    const size_t length = vc_length(argument);
    const std::string name = vc_name(argument, length);
    CfgText value;
    if (!cfg_read(name.c_str(), value)) {
        ALOGE("%s: read %s failed!\n", __func__, name.c_str());
        return kFtmFailure;
    }
    ALOGD("%s, %s : {%s}\n", __func__, name.c_str(), value);
    const size_t value_length = strlen(value);
    memcpy(message.bytes, argument, length);
    message.bytes[length] = 0;
    message.bytes[length + 1] = static_cast<unsigned char>(value_length);
    memcpy(message.bytes + length + 2, value, value_length);
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writevc(FtmArgs args, FtmMessage&) {
    const char* argument = args.text();
    const std::string name = vc_name(argument, vc_length(argument));
    const unsigned char* counted = args.bytes + strlen(argument) + 1;
    CfgText value = {};
    memcpy(value, counted + 1, std::min<size_t>(counted[0], kCfgValueSize));
    if (!cfg_fits(name.c_str(), value) || cfg_set(name.c_str(), value) < 0) {
        ALOGE("%s: write %s failed!\n", __func__, name.c_str());
        return kFtmFailure;
    }
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readvariantflag(FtmArgs, FtmMessage& message) {
    char flag[kVariantFlagSize + 1] = {};
    if (getCustVariantFlag(flag) != 1) {
        ALOGE("%s: read %s failed!\n", __func__, kVariantFlag);
        message.put_text("failed\n");
        return kFtmFailure;
    }
    message.put_text(flag);
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writevariantflag(FtmArgs args, FtmMessage& message) {
    const char* const flag = args.text();
    // The library's buffer ends at kVariantFlagSize: what does not fit never reaches it.
    if (strnlen(flag, kVariantFlagSize) == kVariantFlagSize || setCustVariantFlag(flag) != 1) {
        ALOGE("%s: write %s failed!\n", __func__, kVariantFlag);
        message.put_text("failed\n");
        return kStoreFailed;
    }
    message.put_text("success\n");
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_clearvariantflag(FtmArgs, FtmMessage& message) {
    char flag[kVariantFlagSize + 1] = {};
    const bool is_set = getCustVariantFlag(flag) == 1;
    if (is_set && clearVariantFlag() != 1) {
        ALOGE("%s: clear %s failed!\n", __func__, kVariantFlag);
        message.put_text("failed\n");
        return kStoreFailed;
    }
    message.put_text("success\n");
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readdeft(FtmArgs, FtmMessage& message) {
    CfgText value;
    if (!cfg_read(kDeftRecord, value)) {
        ALOGE("%s: read vcfg failed!\n", __func__);
        return kFtmFailure;
    }
    message.put(static_cast<unsigned char>(value[0]));
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writedeft(FtmArgs args, FtmMessage&) {
    const char value[] = {static_cast<char>(args[0]), '\0'};
    if (cfg_set(kDeftRecord, value) < 0) {
        ALOGE("%s: write deft_register_switch failed!\n", __func__);
        return kStoreFailed;
    }
    if (modem_write_deft_info(value, 1) != 0) {
        ALOGE("fail to write modem subsystem file.\n");
        return kModemFailed;
    }
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writeudid(FtmArgs, FtmMessage& message) {
    const std::string source = udid_source();
    if (source.empty()) {
        return kSourceMissing;
    }
    const std::string digits = sha256_hex(source.data(), source.size());
    if (digits.empty() || !udid_store(digits)) {
        ALOGE("%s: write vcfg failed!\n", __func__);
        message.put_text("write file failed\n");
        return kStoreFailed;
    }
    message.put_text("write udid success\n");
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_readudid(FtmArgs, FtmMessage& message) {
    std::string udid;
    for (const UdidPiece& piece : kUdidPieces) {
        CfgText value;
        if (!cfg_read(piece.record, value)) {
            ALOGE("%s: read vcfg failed!\n", __func__);
            message.put_text("get udid failed\n");
            return kFtmFailure;
        }
        udid += value;
    }
    message.put_text(udid.c_str());
    return kFtmSuccess;
}
