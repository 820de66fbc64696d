// Taking the phone down: the call is recorded and the process ends, as the phone would.
#include "platform/include/power.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/host/diag_library.h"
#include "platform/host/internal.h"

namespace {
constexpr std::chrono::milliseconds kAnswersLeave(2000);

int power_call(const std::string& line) {
    diag_settle(kAnswersLeave);  // a phone takes longer to go down than an answer takes to leave
    host_record("power " + line);
    (void)host_state_append_line("power", line);
    if (host_settings().power_exits) {
        (void)fflush(stdout);
        _exit(0);  // no destructors: other threads go on to the very end
    }
    errno = EPERM;
    return -1;
}
}  // namespace

int android_reboot(unsigned cmd, int /*flags*/, const char* reason) {
    if (cmd != ANDROID_RB_RESTART2) {
        errno = EINVAL;
        return -1;
    }
    return power_call(std::string("restart2 ") + (reason != nullptr ? reason : ""));
}

int device_reboot(int cmd) {
    switch (cmd) {
        case kRebootRestart:
            return power_call("restart");
        case kRebootPowerOff:
            return power_call("power_off");
        default:
            errno = EINVAL;
            return -1;
    }
}

// What the daemon has written lies in the host's cache and outlives the process, so there is nothing to wait for.
void device_sync() { host_record("sync"); }
