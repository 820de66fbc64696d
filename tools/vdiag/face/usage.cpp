// Texts that the help and the manuals share.
#include "tools/vdiag/face/usage.h"

#include <cctype>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/words/message.h"

namespace vdiag {
namespace {

// clang-format off
constexpr ToolVerb kToolVerbs[] = {
    {"ftm",        "NAME [ARGUMENT...]",        "a command that is named by text; list shows them"},
    {"raw",        "[HEX...]",                  "a request as it is, from arguments, a file or standard input"},
    {"run",        "PLAN... [NAME=VALUE...]",   "run test plans and report each line's result"},
    {"serve",      "",                          "carry out requests of other programs, one JSON object a line"},
    {"probe",      "[ADDRESS...]",              "which of the given, or the usual, addresses answer?"},
    {"list",       "",                          "every command"},
    {"help",       "[COMMAND]",                 "help, also for one command"},
    {"completion", "SHELL",                     "completion script for bash, zsh or fish"},
};

constexpr ExitText kExitTexts[] = {
    {kExitDone,        "success"},
    {kExitFailure,     "something failed on this side: a file, a key"},
    {kExitUsage,       "wrong command line, argument or plan; nothing was sent"},
    {kExitConnect,     "no connection to the phone"},
    {kExitTimeout,     "no answer in time"},
    {kExitEnded,       "the connection ended, or an answer has the wrong form"},
    {kExitErrorAnswer, "the diag service refused the request with an error answer"},
    {kExitStatus,      "the command answered with a status that is no success"},
    {kExitExpectation, "an expectation of a plan failed"},
};
// clang-format on

}  // namespace

std::span<const ToolVerb> tool_verbs() { return kToolVerbs; }
std::span<const ExitText> exit_texts() { return kExitTexts; }

std::string usage_of(const Command& command) {
    std::vector<Field> fields;
    (void)shape_parse(command.arguments, &fields);
    std::string out = command.name;
    for (const Field& field : fields) {
        if (field.name.empty()) {
            continue;
        }
        std::string name;
        for (const char c : field.name) {
            name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        name = field.type == FieldType::kPairs ? "NAME=VALUE..." : (field.type == FieldType::kKeys ? "NAME..." : name);
        out += field.optional ? " [" + name + "]" : " " + name;
    }
    return out;
}

std::string typed_name(const Command& command) { return (is_ftm(command) ? "ftm " : "") + std::string(command.name); }

std::string address_text_of(const Command& command) {
    const Where& where = command.where;
    if (where.via == Via::kTop) {
        return "command " + std::to_string(where.code) +
               (where.sub >= 0 ? ", sub-command " + std::to_string(where.sub) : "");
    }
    return "subsystem " + std::to_string(where.subsystem) + ", command " + std::to_string(where.code) +
           (is_ftm(command) ? ", by name" : "");
}

}  // namespace vdiag
