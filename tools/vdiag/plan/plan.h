// Test plans of a station: a text file with one request on a line, what is expected of its answer, and values that are
// kept for later lines.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/vdiag/plan/phone.h"
#include "tools/vdiag/run/perform.h"

namespace vdiag {

// What a line wants of an answer: "FIELD OPERATOR VALUE".
struct Condition {
    std::string field;
    std::string comparison;  // = != ~ !~ < > <= >=
    std::string value;
};

struct Keep {
    std::string field;
    std::string name;
};

// A number that a line measures, and its limits: decimal texts, in which variables may stand; empty is none.
struct Measure {
    std::string field;
    std::string name;  // in records
    std::string unit;
    std::string low;
    std::string high;
};

enum class StepKind { kRequest, kWait, kSet, kDefault, kReconnect, kCase, kPhone, kRequire, kSecret };

struct PlanStep {
    unsigned line = 0;
    std::string text;  // as it stands in the file, without comment
    StepKind kind = StepKind::kRequest;
    const PhoneLine* phone = nullptr;  // kPhone only
    std::vector<std::string>
        words;  // the request; what stands behind "set", "default", "require", "secret", "wait", "reconnect"
    std::vector<Condition> conditions;
    std::vector<Keep> keeps;
    std::vector<Measure> measures;
    int within_ms = 0;     // repeat until the conditions hold
    bool silence = false;  // no answer is what is wanted
    bool secret = false;   // a secret variable stands on the line
};

struct Plan {
    std::string path;
    std::vector<PlanStep> steps;
    std::set<std::string> names;    // of the variables that can be given
    std::set<std::string> secrets;  // variables whose values are never shown or recorded
};

// What belongs together: the steps from a "case" line to the next; without such lines the whole plan. What stands
// before the first "case" line comes first in each.
struct PlanCase {
    std::string title;  // empty: the plan has no cases
    std::vector<const PlanStep*> steps;
    bool phone = false;  // some step prepares a simulated phone or looks at it
};
std::vector<PlanCase> cases_of(const Plan& plan);

using Variables = std::map<std::string, std::string>;

// Parses a plan and checks everything that can be known without a phone: quotes, names of commands and fields,
// arguments and expected values as far as their variables are known, variables that nobody has set. False: `error` is
// one line with file and line number.
bool plan_parse(const std::string& path, const std::string& content, const Variables& given, Plan* plan,
                std::string* error);

// A decimal number with sign and fraction. No value: the text is none.
std::optional<long double> decimal_parse(const std::string& text);

// Puts the variables' values in the place of $NAME and ${NAME}; $$ is a dollar sign. False: an unknown name.
bool substitute(const std::string& text, const Variables& variables, std::string* out, std::string* error);

// The names of the variables in a text.
std::vector<std::string> variables_in(const std::string& text);

// Whether a condition holds for an answer; if not, `reason` says what was found. On a list (values named "line") one
// of the values behind the first `*from` must be so, and `*from` then stands behind it; "!=" and "!~" want none at all.
bool condition_holds(const Condition& condition, const Answer& answer, size_t* from, std::string* reason);

// The value of a field of an answer, or of "status", "error" or "rest". False: the answer has none.
bool answer_field(const Answer& answer, const std::string& field, Value* value);

}  // namespace vdiag
