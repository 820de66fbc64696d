// Library state: the small files below <root>/.sim that hold what the phone's closed libraries would hold.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>

#define LOG_TAG "sim"
#include "platform/host/internal.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"

namespace {
constexpr mode_t kStateMode = 0644;

// Readers inside the process never see a half-written file.
std::mutex state_mutex;

std::string state_path(const std::string& name) { return host_settings().root + "/.sim/" + name; }

bool write_all(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

bool put(const std::string& name, const std::string& content, int flags) {
    const std::scoped_lock lock(state_mutex);
    const std::string path = state_path(name);
    std::error_code ignored;  // the open tells
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, kStateMode));
    return fd.ok() && write_all(fd.get(), content) && fd.close() == 0;
}
}  // namespace

std::optional<std::string> host_read_file(const std::string& host_file) {
    const UniqueFd fd(open(host_file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.ok()) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> chunk{};
    for (;;) {
        const ssize_t n = read(fd.get(), chunk.data(), chunk.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return std::nullopt;
        }
        if (n == 0) {
            return content;
        }
        content.append(chunk.data(), static_cast<size_t>(n));
    }
}

std::optional<std::string> host_state_read(const std::string& name) {
    const std::scoped_lock lock(state_mutex);
    return host_read_file(state_path(name));
}

bool host_state_write(const std::string& name, const std::string& content) { return put(name, content, O_TRUNC); }

bool host_state_append_line(const std::string& name, const std::string& line) {
    return put(name, line + "\n", O_APPEND);
}

bool host_records() { return access(state_path("calls").c_str(), F_OK) == 0; }

void host_record(const std::string& line) {
    const UniqueFd calls(open(state_path("calls").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (calls.ok()) {
        std::string text = line;
        std::replace(text.begin(), text.end(), '\n', ' ');
        (void)write_all(calls.get(), text + "\n");  // a record that cannot be kept must not change what is recorded
    }
}

long host_state_number(const std::string& name, long missing, long malformed, long least, long most) {
    const std::optional<std::string> text = host_state_read(name);
    if (!text) {
        return missing;
    }
    const std::string digits = host_trimmed(*text);
    char* end = nullptr;
    errno = 0;
    const long value = strtol(digits.c_str(), &end, 10);
    if (end != digits.c_str() && *end == '\0' && errno == 0 && value >= least && value <= most) {
        return value;
    }
    ALOGE(".sim/%s holds no number from %ld to %ld", name.c_str(), least, most);
    return malformed;
}

bool host_plain_name(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

std::string host_trimmed(std::string text) {
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}
