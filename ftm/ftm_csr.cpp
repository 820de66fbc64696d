// The certificate signing request of remote key provisioning: made by the platform's tool, kept in one file.
#include "ftm/ftm_csr.h"

#include <cerrno>
#include <cstring>

#include "ftm/ftm_message.h"
#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "support/files.h"
#include "support/shell.h"

namespace {

constexpr char kCsrCommand[] = "/vendor/bin/rkp_factory_extraction_tool --output_format build+csr";
constexpr char kCsrFile[] = "/mnt/vendor/persist/keybox/csr.json";
constexpr char kMd5Command[] = "/vendor/bin/md5sum /mnt/vendor/persist/keybox/csr.json";
constexpr int kMaxCsr = 4093;      // bytes of the file
constexpr int kMaxCapture = 4089;  // bytes of the tool's output
constexpr size_t kLengthSize = 2;  // the u16 in front of a message

struct Capture {
    char bytes[kMaxCapture + 1];
    uint32_t size;
};

// The names of the two stages as the log shows them.
constexpr char kStageWrite[] = "write_cmd_output_to_file";
constexpr char kStageSize[] = "get_file_size";

// Only the output counts; the tool's exit status does not.
bool capture_tool_output(Capture* out) {
    const UniquePipe pipe(device_popen(kCsrCommand, "r"));
    if (!pipe) {
        ALOGD("%s: failed to run cmd: %s, reason: %s\n", kStageWrite, kCsrCommand, strerror(errno));
        return false;
    }
    return fread_file_content(pipe.get(), out->bytes, &out->size, kMaxCapture);
}

bool store_capture(const Capture& capture) {
    FileReplacement file(kCsrFile, 0666);
    if (!file.ok()) {
        ALOGD("%s: failed to oepn file file write: %s, reason: %s\n", kStageWrite, kCsrFile, strerror(errno));
        return false;
    }
    if (file.store(capture.bytes, capture.size) != WriteStep::kDone) {
        ALOGD("%s: failed to write data, reason: %s\n", kStageWrite, strerror(errno));
        return false;
    }
    ALOGD("%s: read_size: %d, write_size: %zu.\n", kStageWrite, static_cast<int>(capture.size),
          static_cast<size_t>(capture.size));
    return true;
}

// Size of the CSR file, or -1 (logged) when it cannot be told or is too large.
off_t csr_file_size() {
    struct stat st = {};
    if (device_stat(kCsrFile, &st) != 0) {
        ALOGD("%s: failed to stat file: %s, reason: %s\n", kStageSize, kCsrFile, strerror(errno));
        return -1;
    }
    if (st.st_size > kMaxCsr) {
        ALOGD("%s: size overflow file_size: %lld, max_size: %d\n", kStageSize, static_cast<long long>(st.st_size),
              kMaxCsr);
        return -1;
    }
    return st.st_size;
}

bool csr_exists(const char* name) {
    if (is_file_exist(kCsrFile) == 0) {
        return true;
    }
    ALOGD("%s: No csr file %s\n", name, kCsrFile);
    return false;
}

FtmStatus generate(const char* name) {
    Capture capture = {};
    if (!capture_tool_output(&capture) || !store_capture(capture)) {
        ALOGD("%s: failed to write file .\n", name);
        return kFtmFailure;
    }
    if (!csr_exists(name)) {
        return kFtmFailure;
    }
    const off_t size = csr_file_size();
    if (size < 0) {
        ALOGD("%s: failed to get file size.\n", name);
        return kFtmFailure;
    }
    if (size == 0) {
        ALOGD("%s: file size is zero.\n", name);
        (void)ftm_diag_delete_file(kCsrFile);  // the status is a failure either way
        return kFtmFailure;
    }
    return kFtmSuccess;
}

FtmStatus fetch(const char* name, FtmMessage& message) {
    if (!csr_exists(name)) {
        return kFtmFailure;
    }
    if (!read_file_content(kCsrFile, message.bytes)) {
        (void)memset(message.bytes, 0, kFtmMsgSize);  // nothing of a file that could not be read to its end
        return kFtmFailure;
    }
    return kFtmSuccess;
}

FtmStatus fetch_md5(const char* name, FtmMessage& message) {
    char digits[kMd5TextSize] = {};
    uint16_t length = 0;
    if (!csr_exists(name) || !get_md5_value(kMd5Command, digits, &length)) {
        return kFtmFailure;
    }
    put_u16(message.bytes, length);
    (void)memcpy(message.bytes + kLengthSize, digits, sizeof(digits));
    return kFtmSuccess;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_gen_csr(FtmArgs, FtmMessage&) { return generate(__func__); }

FtmStatus ftm_diag_req_cmd_get_csr(FtmArgs, FtmMessage& message) { return fetch(__func__, message); }

FtmStatus ftm_diag_req_cmd_get_md5_of_csr(FtmArgs, FtmMessage& message) { return fetch_md5(__func__, message); }

FtmStatus ftm_diag_req_cmd_clear_csr_data(FtmArgs, FtmMessage&) {
    return ftm_status(csr_exists(__func__) && ftm_diag_delete_file(kCsrFile) == 0);
}
