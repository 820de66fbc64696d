// Payment and content-protection keys, through the vendor's client programs.
#include "ftm/ftm_keys.h"

#include <fcntl.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ftm/ftm_message.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "platform/include/vendor_utils.h"
#include "support/files.h"
#include "support/shell.h"

namespace {

constexpr char kVendorSoter[] = "/vendor/bin/soter_client";
constexpr char kSystemSoter[] = "/system/bin/soter_client";
constexpr char kSystemAlikey[] = "/system/bin/alikey_client";
constexpr char kVendorAlikey[] = "/vendor/bin/alikey_client";
constexpr char kHdcpPem[] = "/cache/HDCP/HDCP2_PEM";
constexpr char kHdcpDps[] = "/cache/HDCP/DPS";
constexpr char kSecureElementImage[] = "/vendor/etc/firmware/cos_code.hex";
constexpr long kImageVersionOffset = 44;
constexpr size_t kImageVersionSize = 32;
constexpr size_t kSoterResultMax = 511;
constexpr size_t kEncryptCommandMax = 99;

constexpr size_t kProvisionFlags = 68;  // offset in the board identifier record
constexpr unsigned kAliKeyInjected = 4;
constexpr unsigned kRecordClosed = 8;

constexpr FtmStatus kRecordFailed{2};
constexpr FtmStatus kInputsMissing{4};

// The numbers that the Alipay client takes.
enum AliStep { kAliPrepare = 2, kAliInject = 3 };

// Reads a Soter result into the message; returns the status.
FtmStatus soter_result(const char* handler, const char* path, FtmMessage& message) {
    char result[kSoterResultMax + 1];
    const ssize_t count = read_short_text(path, result, kSoterResultMax);
    if (count == kTextNotOpened) {
        ALOGE("%s:open %s failed\n", handler, path);
        return kFtmFailure;
    }
    if (count > 0) {
        result[count - 1] = '\0';  // the client's line end
    }
    ALOGD("%s: len=%d\n", handler, static_cast<int>(count));
    ALOGD("%s: result=%s,len=%d\n", handler, result, static_cast<int>(count));
    if (strstr(result, "fail") != nullptr) {
        ALOGE("%s:exec failed\n", handler);
        return kFtmFailure;
    }
    message.put_text(result);
    ALOGD("%s: end\n", handler);
    return kFtmSuccess;
}

// Lets the Soter client write the result of a key index to `path`.
void run_soter_client(const char* handler, unsigned index, const char* path) {
    const char* client = is_file_exist(kVendorSoter) == 0 ? kVendorSoter : kSystemSoter;
    const std::string command = std::string(client) + " " + std::to_string(index) + " > " + path;
    ALOGD("%s:File %s exists\n", handler, client);
    ALOGD("%s:cmd is %s\n", handler, command.c_str());
    (void)device_system(command.c_str());  // the result file tells
    ALOGD("%s: exe cmd end.Begin to read result_file(%s)\n", handler, path);
}

// Runs a step of an Alipay client; `command` is then what was run.
bool run_alikey(const char* handler, const char* client, AliStep step, std::string* command) {
    *command = std::string(client) + " " + std::to_string(step);
    ALOGD("%s:cmd is %s\n", handler, command->c_str());
    return device_system(command->c_str()) == 0;
}

// Both steps with the client that is there.
bool inject_alikey(const char* handler) {
    const char* client = kSystemAlikey;
    std::string command;
    bool done = run_alikey(handler, client, kAliPrepare, &command);
    if (!done) {
        client = kVendorAlikey;
        done = run_alikey(handler, client, kAliPrepare, &command);
    }
    done = done && run_alikey(handler, client, kAliInject, &command);
    if (!done) {
        ALOGE("%s:%s error\n", handler, command.c_str());
    }
    return done;
}

// Notes the injected key in the board record, unless that is done already.
bool mark_alikey(const char* handler, unsigned char (&record)[kBoardRecordSize]) {
    unsigned char& flags = record[kProvisionFlags];
    if ((flags & (kAliKeyInjected | kRecordClosed)) != 0) {
        return true;
    }
    ALOGD("%s:nv_data[68] = %d\n", handler, flags);
    flags = static_cast<unsigned char>(flags | kAliKeyInjected);
    const int result = set_board_id(record, kBoardRecordSize);
    ALOGD("%s:set_board_id return %d\n", handler, result);
    if (result != 1) {
        ALOGE("%s:set_board_id Failed \n", handler);
    }
    return result == 1;
}

// A program's output as the message; the status tells whether there was any.
FtmStatus output_status(const std::string& output, FtmMessage& message) {
    if (output.empty()) {
        return kFtmFailure;
    }
    message.put_text(output.c_str());
    return kFtmSuccess;
}

FtmStatus run_product_tool(const char* handler, const char* arguments, FtmMessage& message) {
    const std::string command = (std::string("vendor/bin/orb_pdt_tool ") + arguments).substr(0, kEncryptCommandMax);
    if (!is_shell_safe(command, true)) {
        ALOGE("%s: arguments refused\n", handler);
        return kFtmFailure;
    }
    ALOGD("cmd = %s\n", command.c_str());
    const std::string output = run_and_capture(command.c_str());
    ALOGD("pdt_tool result = %s\n", output.c_str());
    return output_status(output, message);
}

FtmStatus secure_element_version(FtmMessage& message) {
    const UniqueFd image(device_open(kSecureElementImage, kReadFlags));
    if (!image.ok()) {
        ALOGE("open file fail");
        return kFtmFailure;
    }
    char version[kImageVersionSize + 1] = {};
    (void)lseek(image.get(), kImageVersionOffset, SEEK_SET);
    (void)read_once(image.get(), version, kImageVersionSize);  // a short image has a short version
    memcpy(message.bytes, version, sizeof(version));
    ALOGD("read cos_code.hex veison = %s\n", version);
    return kFtmSuccess;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_GetSoterKey(FtmArgs args, FtmMessage& message) {
    const unsigned index = args[0];
    ALOGD("%s: start,args is %d\n", __func__, static_cast<int>(index));
    const std::string path = persist_path(("/soter" + std::to_string(index) + ".txt").c_str());
    UniqueFd created(open_exact_mode(path.c_str(), O_RDONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!created.ok()) {
        ALOGE("%s:create %s failed\n", __func__, path.c_str());
        return kFtmFailure;
    }
    (void)created.close();
    ALOGD("%s:create %s success\n", __func__, path.c_str());
    run_soter_client(__func__, index, path.c_str());
    const FtmStatus status = soter_result(__func__, path.c_str(), message);
    (void)ftm_diag_delete_file(path.c_str());  // logs its own result
    return status;
}

FtmStatus ftm_diag_req_cmd_InjectAliPayKey(FtmArgs, FtmMessage& message) {
    ALOGD("Enter %s\n", __func__);
    unsigned char record[kBoardRecordSize] = {};
    int length = kBoardRecordSize;
    if (get_board_id(record, &length) != 1) {
        ALOGE("%s:get_board_id error\n", __func__);
        return kRecordFailed;
    }
    if (!inject_alikey(__func__)) {
        return kFtmFailure;
    }
    if (!mark_alikey(__func__, record)) {
        return kRecordFailed;
    }
    ALOGD("%s : rsp_status = %d,rsp_msg = %d \n", __func__, ftm_status_byte(kFtmSuccess), message.bytes[0]);
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_GetEncryptInfo(FtmArgs args, FtmMessage& message) {
    const int mode = args[0];
    ALOGD("%s: start,args is %d\n", __func__, mode);
    switch (mode) {
        case 1:
            return run_product_tool(__func__, args.text(1), message);
        case 2:
            return secure_element_version(message);
        default:
            return kFtmAsFound;  // Kept: a success without a text
    }
}

FtmStatus ftm_diag_req_cmd_writeHDCP(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: start,args is %d\n", __func__, args[0]);
    if (is_file_exist(kHdcpPem) != 0 || is_file_exist(kHdcpDps) != 0) {
        ALOGE("%s: hdcp file does not exsist!\n", __func__);
        return kInputsMissing;
    }
    const std::string output = run_and_capture("/vendor/bin/hdcp2p2prov /cache/HDCP/HDCP2_PEM  /cache/HDCP/DPS ");
    ALOGD("%s: WRITEHDCP,writeHDCP_result %s\n", __func__, output.c_str());
    return output_status(output, message);
}

FtmStatus ftm_diag_req_cmd_checkHDCP(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: start,args is %d\n", __func__, args[0]);
    const std::string output = run_and_capture("/vendor/bin/hdcp2p2prov -verify ");
    ALOGD("%s: CHECKHDCP,checkHDCP_result %s\n", __func__, output.c_str());
    return output_status(output, message);
}

FtmStatus ftm_diag_req_cmd_getbrandofwechatKey(FtmArgs, FtmMessage& message) {
    const bool is_set = message.put_property("ro.product.manufacturer") > 0;
    ALOGD("s%%: manufacture = %s", message.text());  // Kept: prints "s%"
    return ftm_status(is_set);
}
