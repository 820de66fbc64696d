// What a fuzzer's bytes are taken for, from the front, so that seeds can be written by hand.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

struct FuzzInput {
    const uint8_t* data;
    size_t size;

    bool empty() const { return size == 0; }

    uint8_t byte() {
        if (size == 0) {
            return 0;
        }
        --size;
        return *data++;
    }

    // The next `count` bytes, or what is left.
    std::string bytes(size_t count) {
        const size_t taken = std::min(count, size);
        const std::string text(reinterpret_cast<const char*>(data), taken);
        data += taken;
        size -= taken;
        return text;
    }

    std::string rest() { return bytes(size); }

    // A byte's number of bytes: one of a file of some KiB is 255 times itself.
    std::string counted() {
        const size_t count = byte();
        std::string text = bytes(count);
        if (count == 255) {
            for (int doublings = 0; doublings < 5 && !text.empty(); ++doublings) {
                text += text;
            }
        }
        return text;
    }
};

// An entry of a table, picked by a byte.
template <typename Table>
const auto& fuzz_pick(const Table& table, uint8_t index) {
    return table[index % std::size(table)];
}

// Ends the fuzzer when a fact does not hold.
inline void fuzz_require(bool fact) {
    if (!fact) {
        __builtin_trap();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
