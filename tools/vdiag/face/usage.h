// Texts that the help and the manuals share.
#pragma once

#include <span>
#include <string>

#include "tools/vdiag/catalogue/catalogue.h"

namespace vdiag {

// Commands of the client itself.
struct ToolVerb {
    const char* name;
    const char* usage;
    const char* help;
};
std::span<const ToolVerb> tool_verbs();

struct ExitText {
    int status;
    const char* text;
};
std::span<const ExitText> exit_texts();

std::string usage_of(const Command& command);         // "ReadVC NAME", "rtn show"
std::string typed_name(const Command& command);       // "ftm ReadVC", "rtn show"
std::string address_text_of(const Command& command);  // "subsystem 253, command 3"

}  // namespace vdiag
