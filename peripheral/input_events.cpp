// The loop over the kernel's input devices.
#include "peripheral/input_events.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/include/device.h"
#include "platform/include/handles.h"

namespace {

constexpr char kInputDir[] = "/dev/input";
constexpr char kNamePrefix[] = "event";
constexpr unsigned long kGetEventTypes = 0x80084520UL;  // EVIOCGBIT(0, 8)
constexpr uint8_t kWantedTypes = 0x02 | 0x04;           // key and relative events, in the first byte of the type bits

struct InputHandler {
    InputCallback* callback;
    void* data;
};

// The registry: parallel lists, and how much of them is in use.
struct pollfd ev_fds[kMaxInputEntries];
InputHandler ev_handlers[kMaxInputEntries];
uint32_t ev_used = 0;
uint32_t ev_devices = 0;

// Opens a device that reports events of the wanted types; no descriptor for any other.
UniqueFd open_wanted(const char* name) {
    UniqueFd fd(device_open((std::string(kInputDir) + "/" + name).c_str(), O_RDONLY | O_CLOEXEC));
    uint8_t types[8] = {};
    if (!fd.ok() || device_ioctl(fd.get(), kGetEventTypes, types) < 0 || (types[0] & kWantedTypes) == 0) {
        return UniqueFd();
    }
    return fd;
}

// Takes a device into the registry. False, and the device closed, when the lists are full.
bool add_device(UniqueFd fd, InputCallback* callback, void* data) {
    if (ev_used == kMaxInputEntries) {
        return false;
    }
    ev_fds[ev_used] = {fd.release(), POLLIN, 0};
    ev_handlers[ev_used] = {callback, data};
    ++ev_used;
    ++ev_devices;
    return true;
}

// Takes a device that will never have anything again out of what is waited for. Its entry stays, so that the indices of
// the others do.
void forget_device(int fd) {
    for (uint32_t i = 0; i < ev_used; ++i) {
        if (ev_fds[i].fd == fd) {
            ev_fds[i] = {-1, 0, 0};
            (void)close(fd);
        }
    }
}

}  // namespace

int ev_init(InputCallback* callback, void* data) {
    const UniqueDir dir(device_opendir(kInputDir));
    if (!dir) {
        return 0;
    }
    while (const struct dirent* entry = readdir(dir.get())) {
        if (strncmp(entry->d_name, kNamePrefix, strlen(kNamePrefix)) != 0) {
            continue;
        }
        UniqueFd fd = open_wanted(entry->d_name);
        // Kept: the test is for equality, so a scan that starts beyond the limit adds every device.
        if (fd.ok() && add_device(std::move(fd), callback, data) && ev_devices == kMaxInputDevices) {
            break;
        }
    }
    return 0;
}

int ev_wait(int timeout) { return poll(ev_fds, ev_used, timeout) > 0 ? 0 : -1; }

void ev_dispatch() {
    for (uint32_t i = 0; i < ev_used; ++i) {
        const struct pollfd entry = ev_fds[i];  // the callback may find that the device has ended
        if (ev_handlers[i].callback != nullptr && (entry.revents & entry.events) != 0) {
            (void)ev_handlers[i].callback(entry.fd, entry.revents, ev_handlers[i].data);
        } else if ((entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
            forget_device(entry.fd);
        }
    }
}

int ev_get_input(int fd, short events, InputEvent* event) {
    if ((events & POLLIN) == 0) {
        return -1;
    }
    const ssize_t count = read(fd, event, sizeof(*event));
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        forget_device(fd);
    }
    return count == static_cast<ssize_t>(sizeof(*event)) ? 0 : -1;
}

uint32_t ev_count() { return ev_used; }
