// What is wrong with a step of a plan, as far as that can be known before a phone is asked.
#pragma once

#include <set>
#include <string>

#include "tools/vdiag/plan/plan.h"

namespace vdiag {

// What is known at a line: the values of variables, or only that a phone will have given one.
struct PlanCheck {
    Variables given;              // on the command line
    Variables values;             // known now, the given ones among them
    std::set<std::string> kept;   // set by an answer
    std::set<std::string> names;  // used or defaulted so far
    std::set<std::string> secrets;
    bool in_case = false;
    Variables common_values;  // before the first case
    std::set<std::string> common_kept;
};

// Checks one step and notes the variables that it sets. False: `error` says what is wrong.
bool plan_check(const PlanStep& step, PlanCheck* check, std::string* error);

}  // namespace vdiag
