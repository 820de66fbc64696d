// A simulated phone for fuzzers. It lies below a temporary directory, its time is virtual, its power stays on, and the
// only programs that its shell finds are the few that it carries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"

// Lays the phone out anew. The first call makes it and registers every table.
void fuzz_phone_reset();

// Replaces a file's content.
void fuzz_phone_write(const std::string& path, const std::string& content);

// Serves one request in a buffer of exactly its size, and waits for the workers that it left behind.
void fuzz_phone_serve(const std::string& packet);

// Takes one request from the input: by command name, by number, or as it stands. Layout: kind, row, then for a named
// command flags (1: other case, 2: more behind the name, 4: the packet ends with the name) and arguments; for a
// numbered one the code and the payload; else the packet. `counted`: arguments are counted, not the rest.
std::string fuzz_request(FuzzInput* input, bool counted);

// Changes one file of the phone: which, and its new content; no content removes it.
void fuzz_phone_change(FuzzInput* input);
