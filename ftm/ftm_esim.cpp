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
std::string stored_digest(const unsigned char* req_args) {
    const std::string password(reinterpret_cast<const char*>(req_args + 1),
                               strnlen(reinterpret_cast<const char*>(req_args + 1), req_args[0]));
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

unsigned char write_password(const unsigned char* req_args) {
    const unsigned char reason = length_reason(req_args[0]);
    std::string stored;
    if (reason != kReasonNone) {
        return reason;
    }
    if (read_stored(&stored)) {
        return kReasonSetOrUnset;
    }
    const std::string digest = stored_digest(req_args);
    return digest.empty() || cfg_set(kRecord, digest.c_str()) < 0 ? kReasonStoreOrMismatch : kReasonNone;
}

unsigned char check_password(const unsigned char* req_args) {
    const unsigned char reason = length_reason(req_args[0]);
    std::string stored;
    if (reason != kReasonNone) {
        return reason;
    }
    if (!read_stored(&stored)) {
        return kReasonSetOrUnset;
    }
    const std::string digest = stored_digest(req_args);
    return !digest.empty() && stored.substr(0, kStoredSize) == digest ? kReasonNone : kReasonStoreOrMismatch;
}

// What writing and checking share: both report by the reason alone.
int report(const char* name, unsigned char reason, unsigned char* rsp_msg, unsigned char* rsp_status) {
    rsp_msg[0] = reason;
    *rsp_status = reason == kReasonNone ? kFtmSuccess : kFtmFailure;
    if (reason == kReasonNone) {
        ALOGD("%s: exit\n", name);
    }
    return 0;
}

}  // namespace

void ftm_diag_orb_md5(const char* text, char* output) {
    const std::string digits = md5_hex(text, strlen(text));
    (void)memcpy(output, digits.c_str(), digits.size() + 1);
}

int ftm_diag_req_cmd_DeleteUnlockESIMpwd(const char*, const unsigned char*, unsigned char* rsp_msg,
                                         unsigned char* rsp_status) {
    std::string stored;
    const bool failed = read_stored(&stored) && unsetcfgbyname(kRecord) < 0;
    rsp_msg[0] = failed ? kReasonNotRemoved : kReasonNone;
    *rsp_status = failed ? kFtmFailure : kFtmSuccess;
    return 0;
}

int ftm_diag_req_cmd_WriteUnlockESIMpwd(const char*, const unsigned char* req_args, unsigned char* rsp_msg,
                                        unsigned char* rsp_status) {
    ALOGD("%s: enter\n", __func__);
    return report(__func__, write_password(req_args), rsp_msg, rsp_status);
}

int ftm_diag_req_cmd_CheckUnlockESIMpwd(const char*, const unsigned char* req_args, unsigned char* rsp_msg,
                                        unsigned char* rsp_status) {
    ALOGD("%s: enter\n", __func__);
    return report(__func__, check_password(req_args), rsp_msg, rsp_status);
}
