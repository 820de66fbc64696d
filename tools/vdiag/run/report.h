// Answers for people and as JSON.
#pragma once

#include <string>

#include "tools/vdiag/catalogue/codec.h"

namespace vdiag {

struct Style {
    bool json = false;
    bool hex = false;  // both packets too
    bool colour = false;
    bool raw = false;  // the answer's bytes instead of its meaning
};

// One answer, with its line ends. JSON: one object on one line.
std::string report_answer(const Answer& answer, const Style& style);

// One line that says why an answer is no success; empty when it is one.
std::string complaint(const Answer& answer);

// The exit status that an answer stands for.
int exit_status_of(const Answer& answer);

// The word for an exit status in everything that is read by programs: "done", "timeout", ...
const char* exit_class(int exit_status);

}  // namespace vdiag
