// The two command maps of the FTM commands that are named by text. What their handlers are is ftm_message.h.
#pragma once

#include "ftm/ftm_message.h"

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
