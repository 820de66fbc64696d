// Number readers of the RDSS chip's sentences. Their results and their many log lines are fixed: the factory's logs are
// compared with them.
#include "rdss/sentence_numbers.h"

#include <cstdint>
#include <cstring>

#include "platform/include/log.h"

namespace {

constexpr size_t kFloatTextSize = 16;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

float digit_value(char c) { return static_cast<float>(c - '0'); }

}  // namespace

unsigned char nmea_checksum(const char* data, size_t size) {
    unsigned char sum = 0;
    for (size_t i = 0; i < size; i++) {
        sum = static_cast<unsigned char>(sum ^ static_cast<unsigned char>(data[i]));
    }
    return sum;
}

int str2int(std::string_view field) {
    uint32_t value = 0;
    for (const char c : field) {
        if (!is_digit(c)) {
            return -1;
        }
        value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    return static_cast<int>(value);
}

double str2float(std::string_view field) {
    if (field.empty() || field.size() >= kFloatTextSize) {
        return 0.0;
    }
    char text[kFloatTextSize] = {};
    memcpy(text, field.data(), field.size());
    ALOGD("%s temp = %s", __func__, text);
    return static_cast<double>(str_atof(text));
}

float str_atof(const char* text) {
    if (*text == '\0') {
        return 0;
    }
    float whole = 0;
    float fraction = 0;
    float sign = 1;
    const char* p = text;
    ALOGD("%s sstart = %s", __func__, p);
    while (*p != '\0' && *p != '.') {
        if (is_digit(*p)) {
            whole = whole * 10 + digit_value(*p);
            ALOGD("%s f0 = %f", __func__, static_cast<double>(whole));
        } else if (*p == '-') {
            sign = -1;
        }
        p++;
        ALOGD("%s sstart = %s", __func__, p);
    }
    for (const char* q = text + strlen(text) - 1; q > p; q--) {
        ALOGD("%s send = %s", __func__, q);
        if (is_digit(*q)) {
            fraction = fraction / 10 + digit_value(*q);
            ALOGD("%s f1 = %f", __func__, static_cast<double>(fraction));
        }
    }
    const float value = sign * (whole + fraction / 10);
    ALOGD("%s cn = %f", __func__, static_cast<double>(value));
    return value;
}
