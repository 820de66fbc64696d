// Identity texts in files: the OMA-DM record, the country code and the LCD current on persist; the MHL chip's node.
#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ftm/ftm_identity.h"
#include "ftm/ftm_message.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "support/files.h"

namespace {

constexpr char kOmaDmFile[] = "/omadm/oma_dm";
constexpr char kCountryCodeFile[] = "/countrycode";
constexpr char kLcdCurrentFile[] = "/lcdcurrent";
constexpr char kMhlNode[] = "/proc/mhl_version";
constexpr char kMhlHeader[] = "mhlversion:";
constexpr mode_t kTextMode = 0644;  // of a new file
constexpr size_t kOmaDmSize = 64;
constexpr size_t kShortTextMax = 63;
constexpr size_t kLcdCurrentMax = 511;
constexpr size_t kMhlNodeMax = 20;

constexpr unsigned char kMhlMissing = 2;
constexpr unsigned char kMhlBadHeader = 3;
constexpr unsigned char kMhlNotAccepted = 4;
constexpr unsigned char kShortWrite = 3;

// Sends at most `max` bytes of a file on persist as the message's text; returns the status.
unsigned char send_text_file(const char* handler, const char* suffix, size_t max, unsigned char* rsp_msg) {
    rsp_msg[0] = '\0';
    const std::string path = persist_path(suffix);
    char text[kLcdCurrentMax + 1];
    const ssize_t count = read_short_text(path.c_str(), text, max);
    if (count == kTextNotOpened) {
        ALOGE("%s: failed to open %s!\n", handler, path.c_str());
    }
    if (count < 0) {
        return kFtmFailure;
    }
    message_text(rsp_msg, text);
    return kFtmSuccess;
}

// Stores an argument in a file on persist: the first `kept` bytes of the text and, Kept: zeros for the rest of its
// length. Returns the status.
unsigned char store_argument(const char* handler, const char* suffix, const unsigned char* req_args, size_t kept) {
    std::string text = reinterpret_cast<const char*>(req_args);
    ALOGD("%s:req_args = %s \n", handler, text.c_str());
    FileReplacement file(persist_path(suffix), kTextMode);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", handler);
        return kFtmFailure;
    }
    std::fill(text.begin() + static_cast<ptrdiff_t>(std::min(kept, text.size())), text.end(), '\0');
    switch (file.store(text.data(), text.size())) {
        case WriteStep::kDone:
            return kFtmSuccess;
        case WriteStep::kWriteFailed:
            return kShortWrite;
        default:
            return kFtmFailure;
    }
}

}  // namespace

int ftm_diag_req_cmd_readomadm(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    *rsp_status = send_text_file(__func__, kOmaDmFile, kShortTextMax, rsp_msg);
    return 0;
}

int ftm_diag_req_cmd_writeomadm(const char*, const unsigned char* req_args, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmFailure;
    FileReplacement file(persist_path(kOmaDmFile), kTextMode);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return 0;
    }
    unsigned char record[kOmaDmSize] = {};
    memcpy(record, req_args, kOmaDmSize - 1);  // Kept: also what lies behind the text's own end
    const WriteStep step = file.store(record, sizeof(record));
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write oma dm error !\n", __func__);
    } else if (step == WriteStep::kDone) {
        *rsp_status = kFtmSuccess;
    }
    return 0;
}

int ftm_diag_req_cmd_readcountrycode(const char*, const unsigned char*, unsigned char* rsp_msg,
                                     unsigned char* rsp_status) {
    *rsp_status = send_text_file(__func__, kCountryCodeFile, kShortTextMax, rsp_msg);
    return 0;
}

int ftm_diag_req_cmd_writecountrycode(const char*, const unsigned char* req_args, unsigned char*,
                                      unsigned char* rsp_status) {
    constexpr size_t kBufferSize = 64;
    constexpr size_t kKeptOfLong = 32;  // Kept: of a text that does not fit the buffer
    const size_t length = strlen(reinterpret_cast<const char*>(req_args));
    const size_t kept = length < kBufferSize ? length : kKeptOfLong;
    *rsp_status = store_argument(__func__, kCountryCodeFile, req_args, kept);
    return 0;
}

int ftm_diag_req_cmd_readlcdcurrent(const char*, const unsigned char*, unsigned char* rsp_msg,
                                    unsigned char* rsp_status) {
    *rsp_status = send_text_file(__func__, kLcdCurrentFile, kLcdCurrentMax, rsp_msg);
    return 0;
}

int ftm_diag_req_cmd_writelcdcurrent(const char*, const unsigned char* req_args, unsigned char*,
                                     unsigned char* rsp_status) {
    constexpr size_t kBufferSize = 512;
    *rsp_status = store_argument(__func__, kLcdCurrentFile, req_args, kBufferSize);
    return 0;
}

int ftm_diag_req_cmd_readmhlver(const char*, const unsigned char*, unsigned char* rsp_msg, unsigned char* rsp_status) {
    char text[kMhlNodeMax + 1];
    if (read_short_text(kMhlNode, text, kMhlNodeMax) == kTextNotOpened) {
        *rsp_status = kMhlMissing;
        return 0;
    }
    if (strncmp(text, kMhlHeader, strlen(kMhlHeader)) != 0) {
        *rsp_status = kMhlBadHeader;
        return 0;
    }
    unsigned version[3] = {};
    (void)sscanf(text, "mhlversion:%x %x %x ", &version[0], &version[1], &version[2]);
    for (size_t i = 0; i < std::size(version); ++i) {
        rsp_msg[i] = static_cast<unsigned char>(version[i]);
    }
    const bool accepted = (version[0] == 0x83 && version[1] == 0x34) || (version[0] == 0x82 && version[1] == 0x40);
    *rsp_status = accepted ? kFtmSuccess : kMhlNotAccepted;
    return 0;
}
