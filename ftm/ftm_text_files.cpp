// Identity texts in files: the OMA-DM record, the country code and the LCD current on persist; the MHL chip's node.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ftm/ftm_identity.h"
#include "ftm/ftm_message.h"
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

constexpr FtmStatus kMhlMissing{2};
constexpr FtmStatus kMhlBadHeader{3};
constexpr FtmStatus kMhlNotAccepted{4};
constexpr FtmStatus kShortWrite{3};

// Sends at most `max` bytes of a file on persist as the message's text; returns the status.
FtmStatus send_text_file(const char* handler, const char* suffix, size_t max, FtmMessage& message) {
    message.put('\0');
    const std::string path = persist_path(suffix);
    char text[kLcdCurrentMax + 1];
    const ssize_t count = read_short_text(path.c_str(), text, max);
    if (count == kTextNotOpened) {
        ALOGE("%s: failed to open %s!\n", handler, path.c_str());
    }
    if (count < 0) {
        return kFtmFailure;
    }
    message.put_text(text);
    return kFtmSuccess;
}

// Stores an argument in a file on persist: the first `kept` bytes of the text and, Kept: zeros for the rest of its
// length. Returns the status.
FtmStatus store_argument(const char* handler, const char* suffix, FtmArgs args, size_t kept) {
    std::string text = args.text();
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

FtmStatus ftm_diag_req_cmd_readomadm(FtmArgs, FtmMessage& message) {
    return send_text_file(__func__, kOmaDmFile, kShortTextMax, message);
}

FtmStatus ftm_diag_req_cmd_writeomadm(FtmArgs args, FtmMessage&) {
    FileReplacement file(persist_path(kOmaDmFile), kTextMode);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", __func__);
        return kFtmFailure;
    }
    unsigned char record[kOmaDmSize] = {};
    memcpy(record, args.bytes, kOmaDmSize - 1);  // Kept: also what lies behind the text's own end
    const WriteStep step = file.store(record, sizeof(record));
    if (step == WriteStep::kWriteFailed) {
        ALOGE("%s: write oma dm error !\n", __func__);
    }
    return ftm_status(step == WriteStep::kDone);
}

FtmStatus ftm_diag_req_cmd_readcountrycode(FtmArgs, FtmMessage& message) {
    return send_text_file(__func__, kCountryCodeFile, kShortTextMax, message);
}

FtmStatus ftm_diag_req_cmd_writecountrycode(FtmArgs args, FtmMessage&) {
    constexpr size_t kBufferSize = 64;
    constexpr size_t kKeptOfLong = 32;  // Kept: of a text that does not fit the buffer
    const size_t length = strlen(args.text());
    const size_t kept = length < kBufferSize ? length : kKeptOfLong;
    return store_argument(__func__, kCountryCodeFile, args, kept);
}

FtmStatus ftm_diag_req_cmd_readlcdcurrent(FtmArgs, FtmMessage& message) {
    return send_text_file(__func__, kLcdCurrentFile, kLcdCurrentMax, message);
}

FtmStatus ftm_diag_req_cmd_writelcdcurrent(FtmArgs args, FtmMessage&) {
    constexpr size_t kBufferSize = 512;
    return store_argument(__func__, kLcdCurrentFile, args, kBufferSize);
}

FtmStatus ftm_diag_req_cmd_readmhlver(FtmArgs, FtmMessage& message) {
    char text[kMhlNodeMax + 1];
    if (read_short_text(kMhlNode, text, kMhlNodeMax) == kTextNotOpened) {
        return kMhlMissing;
    }
    if (strncmp(text, kMhlHeader, strlen(kMhlHeader)) != 0) {
        return kMhlBadHeader;
    }
    unsigned version[3] = {};
    (void)sscanf(text, "mhlversion:%x %x %x ", &version[0], &version[1], &version[2]);
    for (size_t i = 0; i < std::size(version); ++i) {
        message.bytes[i] = static_cast<unsigned char>(version[i]);
    }
    const bool accepted = (version[0] == 0x83 && version[1] == 0x34) || (version[0] == 0x82 && version[1] == 0x40);
    return accepted ? kFtmSuccess : kMhlNotAccepted;
}
