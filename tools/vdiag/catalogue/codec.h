// From words to request bytes and from answer bytes to named values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/vdiag/catalogue/catalogue.h"

namespace vdiag {

// One value of an answer.
struct Value {
    enum class Kind : uint8_t { kNumber, kText, kBytes };
    std::string name;
    Kind kind = Kind::kNumber;
    int64_t number = 0;
    std::string text;      // kText: as it came; kNumber: the value's name, when it has one
    Bytes bytes;           // kBytes
    bool address = false;  // kBytes: a MAC address
    bool record = false;   // read from a list of names and values

    // For people and for comparing: a number in decimal, a text printable, bytes in hexadecimal.
    std::string plain() const;
};

// An error answer of the diag library: the request is not served at all.
struct ErrorAnswer {
    uint8_t code = 0;
    Bytes echo;
};

struct Answer {
    const Command* command = nullptr;  // null: the request is in no row
    std::string title;                 // what was asked, as it is typed
    Bytes request;
    Bytes response;
    std::optional<ErrorAnswer> error;
    std::optional<Status> status;
    std::vector<Value> values;
    Bytes rest;         // bytes that no field covers, without padding
    std::string fault;  // what is wrong with the answer's form; empty when nothing is

    bool good() const { return !error && fault.empty() && (!status || status->success); }
    const Value* find(std::string_view name) const;
};

// Builds a request. Each argument is a word; "hex:" and "text:" in front of one give its bytes as they are, "@FILE" the
// content of a file for byte fields. False: `error` says which argument is missing, too much or out of its limits.
bool encode_request(const Command& command, const std::vector<std::string>& arguments, Bytes* request,
                    std::string* error);

// The bytes of words for a command that no row describes: texts with their zero byte, "hex:" words as they are.
bool encode_free(const std::vector<std::string>& arguments, Bytes* out, std::string* error);

// What a frame is to the request that was sent.
enum class Match { kAnswer, kError, kForeign };
Match match_answer(const Bytes& request, const Command* command, const Bytes& packet);

// Reads a matching answer. Never fails: what cannot be read is a fault, and stays visible.
Answer decode_answer(const Bytes& request, const Bytes& response, const Command* command);

const char* error_name(uint8_t code);
bool is_error_code(uint8_t code);

}  // namespace vdiag
