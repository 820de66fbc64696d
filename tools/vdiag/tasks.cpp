// Tasks that are made of several requests.
#include "tools/vdiag/perform.h"

namespace vdiag {

std::span<const Task> tasks() { return {}; }

}  // namespace vdiag
