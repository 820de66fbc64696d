// Fixed delays, scaled or handed to a test.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>

#include "platform/host/internal.h"
#include "platform/include/device.h"

namespace {
constexpr uint64_t kMicrosPerSecond = 1000000;
constexpr double kLongestDelay = 1e15;  // microseconds; about thirty years
constexpr double kShortestDelay = 500;  // microseconds; whoever waits in a loop must not spin, whatever the scale

void sleep_micros(uint64_t micros) {
    const auto whole = static_cast<long>(micros / kMicrosPerSecond);
    timespec left{whole, static_cast<long>(micros % kMicrosPerSecond) * 1000};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

void delay(uint64_t micros) {
    const HostSettings& settings = host_settings();
    host_record("sleep " + std::to_string(micros));
    if (settings.sleep_sink) {
        settings.sleep_sink(micros);
        return;
    }
    const double scaled = std::clamp(static_cast<double>(micros) * settings.time_scale, kShortestDelay, kLongestDelay);
    sleep_micros(static_cast<uint64_t>(scaled));
}
}  // namespace

void device_sleep(unsigned int seconds) { delay(seconds * kMicrosPerSecond); }
void device_usleep(unsigned int microseconds) { delay(microseconds); }
