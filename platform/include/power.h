// Taking the phone down. The kernel's own reboot call is reachable only through here.
#pragma once

constexpr unsigned ANDROID_RB_RESTART2 = 0xDEAD0003;  // restart with a reason
constexpr int kRebootRestart = 0x01234567;            // kernel command: plain restart
constexpr int kRebootPowerOff = 0x4321FEDC;           // kernel command: power off

// The platform's restart with a reason string. Returns only on failure: a value below 0. Called from a worker's thread,
// after the answer has had its time to leave.
extern "C" int android_reboot(unsigned cmd, int flags, const char* reason);

// reboot(2) with one of the kernel commands above. Returns only on failure: -1 and errno.
int device_reboot(int cmd);

// sync(2).
void device_sync();
