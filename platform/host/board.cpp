// The vendor's utility libraries: board records, manufacture flag, configuration service, storage paths, base64.
#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/host/internal.h"
#include "platform/include/vendor_utils.h"

namespace {
constexpr int kGetFailed = 0;
constexpr int kSetFailed = 0;
constexpr int kDone = 1;

int get_record(const char* name, unsigned char* buffer, int* length) {
    const auto content = host_state_read(name);
    if (!content || buffer == nullptr || length == nullptr || *length < 0) {
        return kGetFailed;
    }
    const int size =
        std::min({static_cast<int>(std::min<size_t>(content->size(), INT_MAX)), *length, kBoardRecordSize});
    memcpy(buffer, content->data(), static_cast<size_t>(size));
    *length = size;
    return kDone;
}

int set_record(const char* name, const unsigned char* data, int length) {
    constexpr long kNoResult = LONG_MIN;
    const long result = host_state_number("board/set_result", kNoResult, kSetFailed);
    if (result != kNoResult) {
        return static_cast<int>(result);
    }
    if (data == nullptr || length < 0 || length > kBoardRecordSize) {
        return kSetFailed;
    }
    const std::string content(data, data + length);
    return host_state_write(name, content) ? kDone : kSetFailed;
}

std::string config_name(const char* name) {
    return name != nullptr && host_plain_name(name) ? std::string("board/config/") + name : "";
}
}  // namespace

int get_board_id(unsigned char* buffer, int* length) { return get_record("board/board_id", buffer, length); }
int set_board_id(const unsigned char* data, int length) { return set_record("board/board_id", data, length); }
int get_mcf(unsigned char* buffer, int* length) { return get_record("board/mcf", buffer, length); }
int set_mcf(const unsigned char* data, int length) { return set_record("board/mcf", data, length); }
int get_ccf(unsigned char* buffer, int* length) { return get_record("board/ccf", buffer, length); }

int log_control_get_flag() { return static_cast<int>(host_state_number("board/manufacture_flag", 0, 0)); }

int log_control_set_flag(int flag) { return host_state_write("board/manufacture_flag", std::to_string(flag)) ? 0 : -1; }

int cfg_service_get_int(const char* name, int* value) {
    constexpr long kNoNumber = LONG_MIN;
    const std::string file = config_name(name);
    const long number = file.empty() ? kNoNumber : host_state_number(file, kNoNumber, kNoNumber);
    if (number == kNoNumber || value == nullptr) {
        return -1;
    }
    *value = static_cast<int>(number);
    return 0;
}

int cfg_service_set_int(const char* name, int value) {
    const std::string file = config_name(name);
    return !file.empty() && host_state_write(file, std::to_string(value)) ? 0 : -1;
}

const char* sdcard_path_get_internal(int /*selector*/) { return "/sdcard"; }

int vendor_utils_base64_encode(const unsigned char* data, int length, char* out) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr int kGroup = 3;  // bytes that make four digits
    if (out == nullptr || length < 0 || (data == nullptr && length > 0)) {
        return -1;
    }
    char* next = out;
    for (int at = 0; at < length; at += kGroup) {
        const int held = std::min(length - at, kGroup);
        uint32_t bits = 0;
        for (int i = 0; i < kGroup; ++i) {
            bits = (bits << 8) | (i < held ? data[at + i] : 0U);
        }
        for (int digit = 0; digit < 4; ++digit) {
            *next++ = digit <= held ? kDigits[(bits >> (18 - 6 * digit)) & 63U] : '=';
        }
    }
    *next = '\0';
    return static_cast<int>(next - out);
}
