// The capacity text of a storage chip.
#include "ftm/storage_capacity.h"

namespace {

constexpr unsigned kSectorsPerGibShift = 21;
constexpr uint64_t kCapacityMask = (uint64_t{1} << 34) - 1;

// Value of a digit, or -1. Kept: every letter is a digit, "z" is 35.
int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'Z' ? c - 'A' + 10 : -1;
}

}  // namespace

uint64_t storage_capacity_gib(std::string_view sectors) {
    if (sectors.substr(0, 2) == "0x" || sectors.substr(0, 2) == "0X") {
        sectors.remove_prefix(2);
    }
    uint64_t count = 0;
    for (const char c : sectors) {
        const int digit = digit_value(c);
        if (digit < 0) {
            break;
        }
        count = count * 16 + static_cast<uint64_t>(digit);
    }
    return (count >> kSectorsPerGibShift) & kCapacityMask;
}

uint64_t storage_nominal_gib(uint64_t capacity) {
    if (capacity == 0) {
        return 0;
    }
    for (uint64_t nominal = 4; nominal <= 2048; nominal *= 2) {
        if (capacity <= nominal) {
            return nominal;
        }
    }
    return capacity;
}
