// Finding out which addresses a phone answers at.
#pragma once

#include <string>
#include <vector>

#include "tools/vdiag/run/report.h"

namespace vdiag {

// The places where a phone usually is: the default address, every address of VENDORDIAG_LISTEN, serial devices.
std::vector<std::string> usual_places();

// Asks each address for its version and prints one line (or JSON object) for each. Returns kExitDone when at least one
// answered, else kExitConnect.
int probe(const std::vector<std::string>& addresses, int timeout_ms, const Style& style, int out_fd);

}  // namespace vdiag
