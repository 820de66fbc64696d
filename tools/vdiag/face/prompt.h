// The interactive prompt: lines are command lines, with history and completion.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vdiag {

// What the word behind `words` can be.
std::vector<std::string> completions(const std::vector<std::string>& words);

// Reads lines until the end of input or "quit", and hands each one's words to `run`.
void prompt_loop(const std::function<void(const std::vector<std::string>&)>& run);

}  // namespace vdiag
