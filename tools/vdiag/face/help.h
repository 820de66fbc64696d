// What the client says about itself, all of it from the catalogue and the tables of tasks and options: help, the
// manuals, the completions.
#pragma once

#include <string>
#include <vector>

#include "tools/vdiag/catalogue/catalogue.h"

namespace vdiag {

std::string help_text();                                                 // "vdiag --help"
std::string list_text();                                                 // every command on a line
bool help_for(const std::vector<std::string>& words, std::string* out);  // one command, or the commands of a first word

std::string manual_index();                             // docs/commands.md: a line a command
std::string manual_markdown();                          // every command with its packets
std::string manual_page();                              // for man
std::string completion_script(std::string_view shell);  // bash, zsh or fish; else empty

// A good answer to a command, made up from its fields, for examples.
Bytes sample_answer(const Command& command);

}  // namespace vdiag
