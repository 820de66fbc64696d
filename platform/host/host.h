// The simulated phone's own side: settings, and what tests may look at and change. The daemon never includes this.
#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/include/diag.h"

// One log record, as it was handed in (line feeds untouched).
struct HostLogRecord {
    int priority;
    std::string tag;
    std::string text;
};

struct HostSettings {
    std::string root;                 // absolute host directory that stands for "/"
    std::vector<std::string> listen;  // addresses of the diag service
    double time_scale = 1.0;          // factor of every fixed delay
    bool power_exits = true;          // a power call ends the process
    uint8_t response_fill = 0;        // what response buffers hold beyond their header; tests poison it
    std::function<void(const HostLogRecord&)> log_sink;     // instead of standard error
    std::function<void(uint64_t microseconds)> sleep_sink;  // instead of sleeping
};

// The settings in force. Reads them from the environment at the first use; a malformed value is one line on
// standard error and the end of the process with status 255.
const HostSettings& host_settings();

// Parses the environment; false leaves one line about the first bad value in `error`.
bool host_settings_from_environment(HostSettings* settings, std::string* error);

// Puts other settings in force, for tests. Not while the diag service is attached.
void host_configure(const HostSettings& settings);

// `path` (a device path) below the root; symbolic links are left to the kernel.
std::string host_path(const char* path);

// The library state file `<root>/.sim/<name>`; host_state_read gives no value when it is missing.
std::optional<std::string> host_state_read(const std::string& name);
bool host_state_write(const std::string& name, const std::string& content);
bool host_state_append_line(const std::string& name, const std::string& line);
// A state file's decimal number; `missing` when there is no such file; `malformed`, and one error line, when it holds
// anything but a number from `least` to `most`.
long host_state_number(const std::string& name, long missing, long malformed = -1, long least = INT_MIN,
                       long most = INT_MAX);

// The whole life of one request without a channel: routing by the registered tables, the handler, the library's own
// answers. No value: nothing is sent.
std::optional<std::vector<uint8_t>> host_diag_serve(const std::vector<uint8_t>& packet);

// The bytes of a response that a handler returned, for tests that call handlers themselves; frees the response.
std::vector<uint8_t> host_diag_take(void* response);

// The registered tables, in order of registration.
std::vector<const DiagDispatchTable*> host_diag_tables();

// Makes the next `count` response allocations fail after `skip` good ones.
void host_diag_fail_alloc(unsigned skip, unsigned count);

// The addresses that the attached service listens on, as a client would name them (a picked port filled in).
std::vector<std::string> host_diag_addresses();
