// Contract of the FTM commands that are named by text, and the two command maps.
#pragma once

#include <cstddef>

constexpr size_t kFtmMsgSize = 4096;  // bytes of the message area that a handler may fill
constexpr size_t kFtmArgsMin = 4096;  // bytes that a handler may read behind the command name's terminator
constexpr unsigned char kFtmSuccess = 0;
constexpr unsigned char kFtmFailure = 1;
constexpr unsigned char kFtmUnknown = 255;  // set by the dispatcher only

// Runs one command. `cmd`: the requested name, terminated. `req_args`: the bytes behind it, followed by zeros, at least
// kFtmArgsMin of them readable, so a counted argument (up to 255 bytes) behind a fixed one always ends inside.
// `rsp_msg`: zeroed at the start of the request, kFtmMsgSize bytes and a few to spare. `rsp_status`: 0 at the start of
// the request. The result is ignored; 0.
using FtmCommandHandler = int(const char* cmd, const unsigned char* req_args, unsigned char* rsp_msg,
                              unsigned char* rsp_status);

// How a row's message reaches the response, from byte 5 on.
enum class FtmCopy {
    kText,  // a terminated text
    kSix,   // exactly six bytes
    kId32,  // exactly 32 bytes
    kVc,    // a text, its terminator, a length byte and that many bytes
    kCsr,   // a u16 length and that many bytes, or six bytes on failure
};

// One row of the main map: the name must match whole, without regard to case.
struct FtmCommandEntry {
    const char* cmd;
    FtmCommandHandler* handler;
};

// One row of the extended map: a request that begins with the name, without regard to case, matches.
struct FtmExtCommandEntry {
    const char* cmd;
    FtmCommandHandler* handler;
    FtmCopy copy;
};

constexpr size_t kFtmMainMapSize = 38;
constexpr size_t kFtmExtMapSize = 63;

extern const FtmCommandEntry ftm_diag_req_cmd_map[kFtmMainMapSize];
extern const FtmExtCommandEntry ftm_diag_req_ext_cmd_map[kFtmExtMapSize];
