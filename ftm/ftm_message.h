// The contract of the FTM commands that are named by text: a handler takes its arguments and its message, and returns
// its status.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/log.h"

constexpr size_t kFtmMsgSize = 4096;  // bytes of the message that a handler may fill
constexpr size_t kFtmArgsMin = 4096;  // bytes that a handler may read behind the command name's terminator

// How a command ended, as the response's status byte. Families add values of their own.
enum class FtmStatus : uint16_t {};
constexpr FtmStatus kFtmSuccess{0};
constexpr FtmStatus kFtmFailure{1};
constexpr FtmStatus kFtmUnknown{255};  // set by the dispatcher only
// No byte of its own: the status stays as the handler found it, which is 0 or what an earlier row of the same request
// left.
constexpr FtmStatus kFtmAsFound{256};

constexpr FtmStatus ftm_status(bool good) { return good ? kFtmSuccess : kFtmFailure; }
constexpr uint8_t ftm_status_byte(FtmStatus status) { return static_cast<uint8_t>(status); }

// What stands behind the command's name: the request's bytes, then zeros. At least kFtmArgsMin of them can be read, so
// a counted argument (up to 255 bytes) behind a fixed one always ends inside.
struct FtmArgs {
    const uint8_t* bytes;
    uint8_t operator[](size_t i) const { return bytes[i]; }
    // The terminated text from a byte on.
    const char* text(size_t offset = 0) const { return reinterpret_cast<const char*>(bytes) + offset; }
};

// What a command has to say beside its status: zeros at the start of a request. The rows that match one request share
// it: what a handler does not put stays as it found it.
struct FtmMessage {
    uint8_t bytes[kFtmMsgSize + 8];  // a certificate request fills its u16 length, 4093 bytes and two terminators

    void put(uint8_t value) { bytes[0] = value; }  // the message of a command that answers with one byte
    // Puts a terminated text, cut to kFtmMsgSize - 1 characters.
    void put_text(const char* text);
    // Puts the value of a property (default empty) when it is not empty. Returns its length.
    int put_property(const char* property);
    const char* text() const { return reinterpret_cast<const char*>(bytes); }
};

// Runs one command.
using FtmCommandHandler = FtmStatus(FtmArgs args, FtmMessage& message);

// The status of the command `name` as its last step: one that passed (kFtmSuccess) logs its exit line.
inline FtmStatus ftm_finish(const char* name, FtmStatus status) {
    if (status == kFtmSuccess) {
        ALOGD("%s: x\n", name);
    }
    return status;
}

inline FtmStatus ftm_finish(const char* name, bool good) { return ftm_finish(name, ftm_status(good)); }

// Reads at most 4093 bytes of a file into `area` (2 + 4093 + 2 bytes): a little-endian u16 length, then the data. False
// when the file cannot be opened or read.
bool read_file_content(const char* path, uint8_t* area);
