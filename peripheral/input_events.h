// The loop over the kernel's input devices: which of them are watched, and who hears of their events. The registry is
// filled before the loop's thread starts and only read afterwards; it has no lock.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMaxInputEntries = 32;    // a device beyond these is refused and closed
constexpr uint32_t kMaxInputDevices = 16;  // a scan stops when an addition makes the count exactly this

// One record as an input device delivers it (24 bytes).
struct InputEvent {
    uint8_t time[16];
    uint16_t type;
    uint16_t code;
    int32_t value;
};
static_assert(sizeof(InputEvent) == 24);

constexpr uint16_t kEventTypeKey = 1;

// Hears of a descriptor's returned events (as poll gives them). The result is ignored.
using InputCallback = int(int fd, short events, void* data);

// Watches every device below "/dev/input" that reports key or relative events; each call adds them again. Always 0.
int ev_init(InputCallback* callback, void* data);

// Waits until a device has something; `timeout` in ms, -1 for ever. 0, or -1 on time-out or error.
int ev_wait(int timeout);

// Calls the callback of every device that has something.
void ev_dispatch();

// Reads one record. 0, or -1 when there is none. A device that has ended or hung up is watched no longer.
int ev_get_input(int fd, short events, InputEvent* event);

// Number of watched devices.
uint32_t ev_count();
