// Programs that a command runs, and what is kept of their output.
#include "support/shell.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/include/handles.h"
#include "platform/include/log.h"

namespace {

constexpr size_t kExecCommandSize = 1024;
constexpr size_t kCaptureLimit = 512;
constexpr int kMd5Digits = 32;

}  // namespace

int executeCMD(const char* command, char* out, size_t size) {
    char line[kExecLineRoom];
    const std::string cut = std::string(command).substr(0, kExecCommandSize - 1);
    FILE* pipe = device_popen(cut.c_str(), "r");
    if (pipe == nullptr) {
        return printf("popen %s error\n", cut.c_str());
    }
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        memcpy(out + strlen(out), line, strlen(line) + 1);
        ALOGD("executeCMD size = %zu,buf_ps = %s", size, line);
        if (strlen(out) + 1 >= size) {
            break;  // tested after the append: the callers' buffers have room for one more line
        }
    }
    return device_pclose(pipe);
}

bool fread_file_content(FILE* stream, char* buf, uint32_t* len, int max) {
    int total = 0;
    size_t count = 0;
    while (total < max) {
        char byte = 0;
        count = fread(&byte, 1, 1, stream);
        if (count != 1) {
            if (ferror(stream) != 0) {
                ALOGD("%s: failed to read data, size=%ld read_size: %d reason: %s\n", __func__,
                      static_cast<long>(count), total, strerror(errno));
                return false;
            }
            break;
        }
        buf[total++] = byte;
    }
    buf[total] = '\0';
    *len = static_cast<uint32_t>(total);
    return true;
}

bool get_md5_value(const char* command, char* out, uint16_t* len) {
    ALOGD("%s: cmd: %s\n", __func__, command);
    UniquePipe pipe(device_popen(command, "r"));
    if (!pipe) {
        ALOGD("%s: failed to run cmd: %s, reason: %s\n", __func__, command, strerror(errno));
        return false;
    }
    uint32_t count = 0;
    if (!fread_file_content(pipe.get(), out, &count, kMd5Digits)) {
        return false;
    }
    pipe.reset();
    ALOGD("%s: read md5: %s\n", __func__, out);
    *len = kMd5Digits;  // Kept: whatever was read, the tool expects 32
    return true;
}

std::string run_and_capture(const char* command) {
    char output[kCaptureLimit + kExecLineRoom] = {};
    (void)executeCMD(command, output, kCaptureLimit);  // only what it printed counts
    return output;
}

bool is_shell_safe(const std::string& text, bool blanks_allowed) {
    return std::all_of(text.begin(), text.end(), [blanks_allowed](char c) {
        const bool letter_or_digit = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        return letter_or_digit || (c == ' ' && blanks_allowed) || (c != '\0' && strchr("._:/=+-,@%", c) != nullptr);
    });
}
