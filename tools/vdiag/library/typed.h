// Typed arguments to the words of a command line.
#pragma once

#include <string>
#include <vector>

#include "tools/vdiag/catalogue/catalogue.h"
#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/library/vdiag.h"

namespace vdiag {

// The command that these words name, all of them; null: none.
const Command* command_of_words(const std::vector<std::string>& words);

// A command's arguments without what it always sends.
std::vector<Field> argument_fields(const Command& command);
bool is_group(const Field& field);  // names, or pairs, to the end

// The words behind a command's name. On a command line some beginnings of a word have a meaning; here a text is a text.
// A null command is one that the catalogue does not know: its arguments have no names. False: `error`.
bool typed_words(const Command* command, const std::vector<libvdiag::Argument>& arguments,
                 std::vector<std::string>* words, std::string* error);

}  // namespace vdiag
