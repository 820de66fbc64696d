// The log: records in logcat's threadtime form on standard error, or handed to a test.
#include "platform/include/log.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <new>

#include "platform/host/internal.h"

namespace {
constexpr std::string_view kPriorityLetters = "??VDIWEF";
constexpr size_t kAtomicWrite = 4096;  // what a pipe that takes output takes whole

__attribute__((format(printf, 1, 0))) std::string format_text(const char* fmt, va_list arguments) {
    std::array<char, 1024> small{};
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(small.data(), small.size(), fmt, arguments);
    std::string text;
    if (length >= 0 && static_cast<size_t>(length) < small.size()) {
        text.assign(small.data(), static_cast<size_t>(length));
    } else if (length >= 0) {
        text.resize(static_cast<size_t>(length) + 1);
        (void)vsnprintf(text.data(), text.size(), fmt, again);
        text.pop_back();
    }
    va_end(again);
    return text.substr(0, text.find('\0'));  // a phone's log is made of terminated texts
}

std::string line_prefix(int priority, const char* tag) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 64> head{};
    const auto letter = priority >= 0 && static_cast<size_t>(priority) < kPriorityLetters.size()
                            ? kPriorityLetters[static_cast<size_t>(priority)]
                            : '?';
    (void)snprintf(head.data(), head.size(), "%02d-%02d %02d:%02d:%02d.%03d %d %d %c ", local.tm_mon + 1, local.tm_mday,
                   local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000000), getpid(),
                   gettid(), letter);
    return std::string(head.data()) + tag + ": ";
}

std::string record_lines(const HostLogRecord& record) {
    std::string_view text = record.text;
    text = text.substr(0, text.find_last_not_of('\n') + 1);
    const std::string prefix = line_prefix(record.priority, record.tag.c_str());
    std::string lines = prefix;
    for (const char c : text) {
        lines += c;
        if (c == '\n') {
            lines += prefix;
        }
    }
    return lines + "\n";
}

// One write for the whole record, so that records of several threads and processes never mix. A reader that does not
// read loses it: nothing waits for one.
bool write_record(std::string_view lines) {
    while (!lines.empty()) {
        if (!host_takes_output(STDERR_FILENO)) {
            return false;
        }
        const ssize_t n = write(STDERR_FILENO, lines.data(), std::min(lines.size(), kAtomicWrite));
        if (n < 0 && errno != EINTR) {
            return false;
        }
        lines.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
    return true;
}

// A log that goes to the null device is read by nobody: its records are not even composed.
bool nobody_reads() {
    static const bool null_device = [] {
        struct stat st {};
        return fstat(STDERR_FILENO, &st) == 0 && S_ISCHR(st.st_mode) && st.st_rdev == makedev(1, 3);
    }();
    return null_device;
}
// Standard output likewise: lines for a reader who does not read are dropped.
ssize_t write_stdout(void* /*cookie*/, const char* text, size_t size) {
    size_t done = 0;
    while (done < size && host_takes_output(STDOUT_FILENO)) {
        const ssize_t n = write(STDOUT_FILENO, text + done, std::min(size - done, kAtomicWrite));
        if (n < 0 && errno != EINTR) {
            break;
        }
        done += n > 0 ? static_cast<size_t>(n) : 0;
    }
    return static_cast<ssize_t>(size);
}

// As on a phone, memory that is short costs the record and nothing else.
__attribute__((format(printf, 3, 0))) bool log_record(int priority, const char* tag, const char* fmt,
                                                      va_list arguments) {
    const HostSettings& settings = host_settings();
    if (!settings.log_sink && nobody_reads()) {
        return true;
    }
    try {
        const HostLogRecord record{priority, tag != nullptr ? tag : "", format_text(fmt, arguments)};
        if (settings.log_sink) {
            settings.log_sink(record);
            return true;
        }
        return write_record(record_lines(record));
    } catch (const std::bad_alloc&) {
        return false;
    }
}
}  // namespace

bool host_takes_output(int fd) {
    pollfd output{fd, POLLOUT, 0};
    return poll(&output, 1, 0) != 0;  // an error shows in the write
}

void host_guard_stdout() {
    (void)fflush(stdout);
    FILE* const guarded = fopencookie(nullptr, "w", {nullptr, write_stdout, nullptr, nullptr});
    if (guarded != nullptr) {
        (void)setvbuf(guarded, nullptr, _IOLBF, 0);
        stdout = guarded;
    }
}

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    const int error = errno;  // callers look at errno after they have logged
    va_list arguments;
    va_start(arguments, fmt);
    const bool good = log_record(prio, tag, fmt, arguments);
    va_end(arguments);
    errno = error;
    return good ? 1 : -1;
}
