// The catalogue: every request that the daemon serves, one row each. Requests are built, answers are read, and the
// help, the completions and the manuals are written from these rows alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vdiag/words/text.h"

namespace vdiag {

// How a request is addressed.
enum class Via : uint8_t {
    kTop,         // byte 0 is the command code; `sub`, when not negative, is byte 1
    kSubsystem,   // 75, subsystem, u16 command code
    kFtmMain,     // named by text on subsystem 11, command 32766
    kFtmExt,      // named by text on subsystem 11, command 32767
    kFtmBattery,  // named by text on subsystem 11, command 32765
};

struct Where {
    Via via;
    uint8_t subsystem = 0;  // kSubsystem only
    uint16_t code = 0;      // kTop and kSubsystem
    int sub = -1;           // kTop: a sub-command in byte 1
};

// What a request does to the phone.
enum class Effect : uint8_t {
    kReads,   // changes nothing: may be sent again after a timeout
    kUses,    // changes nothing that stays, but runs a program or uses something up: sent once
    kWrites,  // changes something
    kFinal,   // erases something, or cannot be undone
    kDown,    // takes the phone down
};

// `arguments` and `answer` are lists of fields "name:type", in wire order, separated by blanks. Types:
//   u8 u16 u32 i32   numbers, little-endian; (LOW..HIGH) limits them, {word=NUMBER,...} names values
//   char             one ASCII character
//   mac              six bytes
//   text(N)          argument: at most N characters and a zero byte; answer: text in a field of N bytes
//   text             answer: a text up to its zero byte
//   chars(N)         argument: exactly N characters, no zero byte
//   counted(N)       a length byte and that many bytes (argument: at most N)
//   bytes(N)         exactly N bytes; bytes: all that follow
//   long             answer: a u16 length and that many bytes
//   keys, pairs      arguments to the end: names, or NAME=VALUE groups, of the factory information store
//   records          answer: a u16 count of NAME and VALUE groups
//   =HEX             argument: fixed bytes
//   -N               answer: N bytes that mean nothing; - alone: padding to the end
// An argument type that ends in "?" may be left out. An answer's field counts only in a success, unless its type ends
// in "!". In the answer of a command that is named by text, status and
// padding are understood. The answer's field `status` is judged by `statuses`: "NUMBER text|..."; a number with a
// leading "+" is a success, and when none has one, 0 is.
struct Command {
    const char* name;  // as it is typed: one word for commands that are named by text, else one to three
    Where where;
    Effect effect;
    const char* arguments;
    const char* answer;
    const char* statuses;
    const char* example;  // arguments of an example
    const char* help;     // one line
};

std::span<const Command> catalogue();

bool is_ftm(const Command& command);  // named by text

const char* effect_text(Effect effect);  // for people

// The bytes in front of the arguments: header, sub-command, name.
Bytes request_head(const Command& command);
// The first bytes of an answer: the part of the head that the phone repeats.
Bytes answer_head(const Command& command);

// The row that is named by text, without regard to case; null when there is none.
const Command* find_ftm(std::string_view name);
// The row whose name is made of most of the first words; `used` says how many. Null when there is none.
const Command* find_words(const std::vector<std::string>& words, size_t* used);
// The row of a command that is named by text and stands in no other row: status and message only.
const Command& free_ftm(Via via);
// The row that serves a request, for requests that come as bytes. Null when there is none.
const Command* find_request(const Bytes& request);

struct Status {
    int64_t value;
    bool success;
    std::string_view text;
};
std::vector<Status> statuses_of(const Command& command);
// What a status value means; an unlisted one has no text and is a success only when it is 0.
Status status_of(const Command& command, int64_t value);

}  // namespace vdiag
