// The note of a signal.
#include "tools/vdiag/words/stop.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <csignal>

namespace vdiag {
namespace {

volatile std::sig_atomic_t noted = 0;

extern "C" void note_signal(int signal_number) { noted = signal_number; }

}  // namespace

void stop_on_signals() {
    struct sigaction action {};
    action.sa_handler = note_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    (void)sigaction(SIGINT, &action, nullptr);
    (void)sigaction(SIGTERM, &action, nullptr);
}

int stop_signal() { return noted; }

void pause_ms(int milliseconds) {
    using Clock = std::chrono::steady_clock;
    constexpr int64_t kStep = 100;  // a signal may come just before the wait
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (stop_signal() == 0 && Clock::now() < end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        (void)poll(nullptr, 0, static_cast<int>(std::clamp<int64_t>(left.count(), 0, kStep)));
    }
}

}  // namespace vdiag
