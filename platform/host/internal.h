// What the files of the host platform share among themselves.
#pragma once

#include <string>
#include <string_view>

#include "platform/host/host.h"

// `path` (a device path) in its normal form: absolute, no empty, "." or ".." steps, nothing above "/". A trailing slash
// stays. Empty for a null or empty path, which names nothing.
std::string host_normal_path(const char* path);

// Host path of a path in that form.
std::string host_below_root(const std::string& normal);

// `command` with the root put before every blank-separated word that begins with "/", quoted as its place needs.
std::string host_shell_command(std::string_view command, std::string_view root);

// The numbers behind a state file whose name comes from a caller: false for a name that is no plain file name.
bool host_plain_name(const std::string& name);

// Appends one line to the record of calls, ".sim/calls", when that file exists. Whole lines, also from several threads.
void host_record(const std::string& line);
// Whether there is one: for lines that cost something to compose.
bool host_records();

// The device path of an open descriptor: the file's own path below the root; empty when it has none.
std::string host_device_path_of(int fd);

// Whether a write to a descriptor that is a pipe, a socket or a terminal would not wait for its reader.
bool host_takes_output(int fd);

// From now on lines for a standard output that nobody reads are dropped instead of waited for.
void host_guard_stdout();

// Reads a whole host file. No value: it cannot be read.
std::optional<std::string> host_read_file(const std::string& host_file);

// `text` without the line ends and blanks behind it: state files that people write with an editor.
std::string host_trimmed(std::string text);
