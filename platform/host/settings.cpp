// The settings in force: read from the environment once, or put in force by a test.
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <mutex>

#include "platform/host/address.h"
#include "platform/host/internal.h"
#include "platform/host/program_path.h"

namespace {
constexpr const char* kRootVariable = "VENDORDIAG_ROOT";
constexpr const char* kListenVariable = "VENDORDIAG_LISTEN";
constexpr const char* kTimeScaleVariable = "VENDORDIAG_TIME_SCALE";
constexpr const char* kPowerVariable = "VENDORDIAG_POWER";
constexpr int kSettingsExitStatus = 255;

// Earlier settings stay alive: a worker may still hold a reference to them.
std::mutex settings_mutex;
std::deque<HostSettings>& settings_ever() {
    static auto* const all = new std::deque<HostSettings>;
    return *all;
}
std::atomic<const HostSettings*> settings_current{nullptr};

bool is_directory(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

std::string absolute_path(const char* path) {
    std::error_code error;
    std::string absolute = std::filesystem::absolute(path, error).lexically_normal().string();
    while (absolute.size() > 1 && absolute.back() == '/') {
        absolute.pop_back();
    }
    return absolute;
}

bool read_root(HostSettings* settings, std::string* error) {
    const char* const value = getenv(kRootVariable);
    if (value != nullptr) {
        settings->root = *value != '\0' ? absolute_path(value) : "";
        if (is_directory(settings->root)) {
            return true;
        }
        *error = std::string(kRootVariable) + ": \"" + value + "\" is no directory";
        return false;
    }
    settings->root = beside_program("device");
    if (is_directory(settings->root)) {
        return true;
    }
    *error = std::string(kRootVariable) + " is not set and there is no directory " + settings->root;
    return false;
}

bool read_listen(HostSettings* settings, std::string* error) {
    const char* const value = getenv(kListenVariable);
    if (value == nullptr) {
        settings->listen = {"unix:" + settings->root + "/.sim/diag"};
        return true;
    }
    const std::string text = value;
    for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find(',', begin);
        const std::string one = text.substr(begin, end == std::string::npos ? end : end - begin);
        Address address;
        std::string reason;
        if (!address_parse(one, &address, &reason)) {
            *error = kListenVariable;
            error->append(": \"").append(one).append("\": ").append(reason);
            return false;
        }
        settings->listen.push_back(one);
    }
    return true;
}

bool read_time_scale(HostSettings* settings, std::string* error) {
    const char* const value = getenv(kTimeScaleVariable);
    if (value == nullptr) {
        return true;
    }
    char* end = nullptr;
    settings->time_scale = strtod(value, &end);
    if (end != value && *end == '\0' && value[strspn(value, "0123456789.")] == '\0' &&
        std::isfinite(settings->time_scale)) {
        return true;
    }
    *error = std::string(kTimeScaleVariable) + ": \"" + value + "\" is no decimal number from 0 up";
    return false;
}

bool read_power(HostSettings* settings, std::string* error) {
    const char* const value = getenv(kPowerVariable);
    const std::string_view text = value != nullptr ? value : "exit";
    if (text == "exit" || text == "stay") {
        settings->power_exits = text == "exit";
        return true;
    }
    *error = std::string(kPowerVariable) + ": \"" + value + "\" is neither \"exit\" nor \"stay\"";
    return false;
}

// Control characters of a value must not make a second line of the message.
void print_error(std::string error) {
    for (char& c : error) {
        if (static_cast<unsigned char>(c) < ' ') {
            c = '?';
        }
    }
    (void)fprintf(stderr, "vendordiag: %s\n", error.c_str());
}

const HostSettings* put_in_force(const HostSettings& settings) {
    settings_ever().push_back(settings);
    settings_current.store(&settings_ever().back(), std::memory_order_release);
    return &settings_ever().back();
}

// A log reader that goes away and a file that may not grow are failed calls, not the daemon's end.
void ignore_ending_signals() {
    (void)signal(SIGPIPE, SIG_IGN);
    (void)signal(SIGXFSZ, SIG_IGN);
}
}  // namespace

bool host_settings_from_environment(HostSettings* settings, std::string* error) {
    *settings = HostSettings{};
    return read_root(settings, error) && read_listen(settings, error) && read_time_scale(settings, error) &&
           read_power(settings, error);
}

const HostSettings& host_settings() {
    if (const HostSettings* const current = settings_current.load(std::memory_order_acquire)) {
        return *current;
    }
    const std::scoped_lock lock(settings_mutex);
    if (const HostSettings* const current = settings_current.load(std::memory_order_acquire)) {
        return *current;
    }
    HostSettings settings;
    std::string error;
    if (!host_settings_from_environment(&settings, &error)) {
        print_error(error);
        (void)fflush(nullptr);
        _exit(kSettingsExitStatus);
    }
    ignore_ending_signals();
    host_guard_stdout();
    return *put_in_force(settings);
}

void host_configure(const HostSettings& settings) {
    const std::scoped_lock lock(settings_mutex);
    (void)put_in_force(settings);
}
