// Answers whose bytes say something that no list of fields can.
#pragma once

#include "tools/vdiag/catalogue/codec.h"

namespace vdiag {

// Puts the meaning of a command's special values in the place of their bytes.
void explain_special(const Command& command, Answer* answer);

}  // namespace vdiag
