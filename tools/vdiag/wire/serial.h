// Serial devices: claimed for this program alone, set up, and found by what is plugged in.
#pragma once

#include <string>

#include "platform/include/handles.h"

namespace vdiag {

// The claim to a device. It must end before the device is closed.
class SerialClaim {
   public:
    SerialClaim() = default;
    SerialClaim(SerialClaim&& other) noexcept;
    SerialClaim& operator=(SerialClaim&& other) noexcept;
    SerialClaim(const SerialClaim&) = delete;
    SerialClaim& operator=(const SerialClaim&) = delete;
    ~SerialClaim() { release(); }

    // Locks a device that is open at `fd`: for this program (a lock file as other programs of serial lines look for,
    // where there is a folder for them), and for this descriptor. False: `error` says who has it.
    bool take(const std::string& path, int fd, std::string* error);
    void release();

   private:
    std::string file_;
    int fd_ = -1;
};

// Opens a character device and claims it. A serial line is set raw, to `speed` bits per second (0: as it is), and what
// waits on it is thrown away. False: `error` says why.
bool serial_open(const std::string& path, unsigned speed, UniqueFd* fd, SerialClaim* claim, std::string* error);

// Whether a line can have this speed.
bool serial_speed_known(unsigned speed);

// The serial device of a USB device, "VENDOR:PRODUCT" or "VENDOR:PRODUCT:SERIAL" (four hexadecimal digits each), looked
// up below `classes` (/sys/class/tty). False: there is none, or more than one.
bool serial_find(const std::string& usb, const std::string& classes, std::string* path, std::string* error);

}  // namespace vdiag
