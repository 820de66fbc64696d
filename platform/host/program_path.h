// Where the running program lies.
#pragma once

#include <string>

// A file beside the running program.
std::string beside_program(const std::string& name);
