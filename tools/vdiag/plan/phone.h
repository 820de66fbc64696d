// The simulated phone that a plan's lines prepare and look at: "put" a file, "start" the daemon, look at a "file", the
// "log", the "calls". A fresh one is a copy of the phone at rest in a directory of its own and goes with its case; a
// phone that others started is only looked at and prepared.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/include/handles.h"
#include "tools/vdiag/catalogue/codec.h"

namespace vdiag {

struct Phone {
    std::string directory;      // of a fresh phone: everything that goes with it; empty: the phone is not ours
    std::string root;           // stands for the phone's /; empty: there is no simulated phone
    pid_t daemon = -1;          // of a fresh phone; -1: it does not run
    pid_t chip = -1;            // the simulated satellite chip
    bool started = false;       // ever
    bool end_expected = false;  // the plan has looked at the daemon's end
    bool left_out = false;      // this host cannot show what the rest of the case is about
    UniqueFd locked;            // a file whose lock is held
    int end_status = 0;         // as waitpid gives it
    std::vector<std::string> environment;          // for the daemon: NAME=VALUE
    std::vector<std::pair<int, uint64_t>> limits;  // for the daemon: resource and value
    int log_pipe = -1;                             // what the daemon says; read when somebody looks
    std::string log;                               // of it, so far
    size_t log_mark = 0;                           // what stands before is not looked at
    size_t calls_mark = 0;
    size_t programs_mark = 0;
    std::map<std::string, std::string> marked;  // path and state of everything at the mark
};

// A line that acts on the phone or looks at it. What it sees are the values of `answer`; `line` values are a list, on
// which the expectations of one plan line must hold in their order.
struct PhoneLine {
    const char* verb;
    size_t least;  // words behind the verb
    size_t most;
    const char* usage;
    const char* help;
    bool fresh;  // wants a fresh phone
    bool (*run)(Phone*, const std::vector<std::string>& words, Answer* answer, std::string* error);
};
std::span<const PhoneLine> phone_lines();
const PhoneLine* find_phone_line(const std::string& verb);  // null: it is none

// A copy of the phone at rest that stands beside this program (or was installed with it). False: `error`.
bool phone_fresh(Phone* phone, std::string* error);

// The phone whose diag socket `address` is, when it is a simulated one's.
void phone_of_address(const std::string& address, Phone* phone);

// Starts the daemon of a fresh phone unless it was started before, and waits until it serves.
bool phone_serve(Phone* phone, std::string* error);

// In a child: becomes the program that the first word names, with the others as its arguments.
[[noreturn]] void become_program(const std::vector<std::string>& words);

// The program that plays a part of the phone: what the environment's `variable` names, else the one beside this
// program.
std::string phone_program(const std::string& name, const char* variable);

// Takes what the daemon has said so far into `log`.
void phone_listen(Phone* phone);

// Ends the daemon and the chip of a fresh phone and removes it. False: the daemon had ended unasked, or a sanitizer
// has spoken; `error` says what.
bool phone_end(Phone* phone, std::string* error);

}  // namespace vdiag
