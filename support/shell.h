// Programs that a command runs, and what is kept of their output. The limits are what the factory tool sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

constexpr size_t kExecLineRoom = 1024;  // what executeCMD may append beyond its limit
constexpr size_t kMd5TextSize = 33;     // 32 digits and a terminator

// Runs a shell command (cut at 1023 bytes) and appends its output to `out`, line by line, until the text's length has
// reached `size` - 1; `out` needs room for `size` + kExecLineRoom bytes. Returns the status of closing the pipe, or the
// byte count of the error line when the command cannot be started.
int executeCMD(const char* command, char* out, size_t size);

// Runs a command through executeCMD with the limit of 512 bytes and returns its output.
std::string run_and_capture(const char* command);

// Reads at most `max` bytes of a stream into `buf` (`max` + 1 bytes), terminated. False on a read error.
bool fread_file_content(FILE* stream, char* buf, uint32_t* len, int max);

// Runs a command and keeps the first 32 bytes of its output in `out` (kMd5TextSize bytes); `*len` is then 32, whatever
// was read. False when the command cannot be started or read.
bool get_md5_value(const char* command, char* out, uint16_t* len);

// True when the text holds only characters that mean nothing to a shell (letters, digits, . _ : / = + - , @ %), and
// blanks where they are allowed.
bool is_shell_safe(const std::string& text, bool blanks_allowed);
