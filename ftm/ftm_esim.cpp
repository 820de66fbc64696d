// The password that unlocks the eSIM functions.
#include "ftm/ftm_esim.h"

#include <cstring>
#include <string>

#include "ftm/ftm_digest.h"
#include "platform/include/log.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kRecord[] = "orb.esim.unlock";
constexpr unsigned char kMaxPassword = 50;
constexpr size_t kStoredFrom = 8;  // the stored digits within the digest
constexpr size_t kStoredSize = 16;
constexpr size_t kMd5Digits = 32;

constexpr unsigned char kReasonNone = 0;
constexpr unsigned char kReasonEmpty = 1;
constexpr unsigned char kReasonTooLong = 2;
constexpr unsigned char kReasonSetOrUnset = 3;
constexpr unsigned char kReasonStoreOrMismatch = 4;
constexpr unsigned char kReasonNotRemoved = 1;

// The reason that refuses a password length, or kReasonNone.
unsigned char length_reason(unsigned char length) {
    if (length == 0) {
        return kReasonEmpty;
    }
    return length > kMaxPassword ? kReasonTooLong : kReasonNone;
}

// What is stored of a password (its length byte, then its bytes). Empty: it could not be computed, and is neither
// stored nor matched.
std::string stored_digest(FtmArgs args) {
    const std::string password(args.text(1), strnlen(args.text(1), args[0]));
    const std::string inner = sha256_hex(password.data(), password.size());
    char digits[kMd5Digits + 1] = {};
    if (!inner.empty()) {
        ftm_diag_orb_md5(inner.c_str(), digits);
    }
    const std::string text = digits;
    return text.size() == kMd5Digits ? text.substr(kStoredFrom, kStoredSize) : "";
}

// Reads the record (at most kCfgValueSize characters). False when no password is stored.
bool read_stored(std::string* value) {
    char text[kCfgValueSize + 1] = {};
    if (cfg_get(kRecord, text, "0") < 0) {
        return false;
    }
    *value = text;
    return true;
}

unsigned char write_password(FtmArgs args) {
    const unsigned char reason = length_reason(args[0]);
    std::string stored;
    if (reason != kReasonNone) {
        return reason;
    }
    if (read_stored(&stored)) {
        return kReasonSetOrUnset;
    }
    const std::string digest = stored_digest(args);
    return digest.empty() || cfg_set(kRecord, digest.c_str()) < 0 ? kReasonStoreOrMismatch : kReasonNone;
}

unsigned char check_password(FtmArgs args) {
    const unsigned char reason = length_reason(args[0]);
    std::string stored;
    if (reason != kReasonNone) {
        return reason;
    }
    if (!read_stored(&stored)) {
        return kReasonSetOrUnset;
    }
    const std::string digest = stored_digest(args);
    return !digest.empty() && stored.substr(0, kStoredSize) == digest ? kReasonNone : kReasonStoreOrMismatch;
}

// What writing and checking share: both report by the reason alone.
FtmStatus report(const char* name, unsigned char reason, FtmMessage& message) {
    message.put(reason);
    if (reason == kReasonNone) {
        ALOGD("%s: exit\n", name);
    }
    return ftm_status(reason == kReasonNone);
}

}  // namespace

void ftm_diag_orb_md5(const char* text, char* output) {
    const std::string digits = md5_hex(text, strlen(text));
    (void)memcpy(output, digits.c_str(), digits.size() + 1);
}

FtmStatus ftm_diag_req_cmd_DeleteUnlockESIMpwd(FtmArgs, FtmMessage& message) {
    std::string stored;
    const bool failed = read_stored(&stored) && unsetcfgbyname(kRecord) < 0;
    message.put(failed ? kReasonNotRemoved : kReasonNone);
    return ftm_status(!failed);
}

FtmStatus ftm_diag_req_cmd_WriteUnlockESIMpwd(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: enter\n", __func__);
    return report(__func__, write_password(args), message);
}

FtmStatus ftm_diag_req_cmd_CheckUnlockESIMpwd(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: enter\n", __func__);
    return report(__func__, check_password(args), message);
}
