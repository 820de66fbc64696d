// Lock files, exclusive use, speeds, and the way from a USB device to its serial line.
#include "tools/vdiag/wire/serial.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "tools/vdiag/words/text.h"

namespace fs = std::filesystem;

namespace vdiag {
namespace {

constexpr const char* kLocks = "/var/lock/";

struct Speed {
    unsigned rate;
    speed_t code;
};
constexpr Speed kSpeeds[] = {{9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
                             {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
                             {921600, B921600},   {1000000, B1000000}, {1500000, B1500000}, {2000000, B2000000},
                             {3000000, B3000000}, {4000000, B4000000}};

const Speed* find_speed(unsigned rate) {
    const auto* const found =
        std::find_if(std::begin(kSpeeds), std::end(kSpeeds), [&](const Speed& speed) { return speed.rate == rate; });
    return found != std::end(kSpeeds) ? found : nullptr;
}

// "LCK..ttyUSB0" of whatever path leads to it.
std::string lock_file(const std::string& path) {
    char real[PATH_MAX];
    std::string name = realpath(path.c_str(), real) != nullptr ? real : path;
    name = name.starts_with("/dev/") ? name.substr(5) : name.substr(name.rfind('/') + 1);
    std::replace(name.begin(), name.end(), '/', '_');
    return std::string(kLocks) + "LCK.." + name;
}

// The process that a lock file names; 0: none that lives.
pid_t owner_of(const std::string& file) {
    Bytes content;
    std::string error;
    if (!file_read(file, &content, &error)) {
        return 0;
    }
    const long pid = strtol(std::string(content.begin(), content.end()).c_str(), nullptr, 10);
    const bool lives = pid > 0 && pid <= INT_MAX && (kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM);
    return lives ? static_cast<pid_t>(pid) : 0;
}

// False: another program has it. Without a folder for lock files, or the right to write there, there is none.
bool make_lock_file(const std::string& file, bool* made, std::string* error) {
    *made = false;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const UniqueFd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        if (fd.ok()) {
            char text[16];
            const int size = snprintf(text, sizeof(text), "%10d\n", static_cast<int>(getpid()));
            *made = write_all(fd.get(), {text, static_cast<size_t>(size)});
            return true;
        }
        if (errno != EEXIST) {
            return true;
        }
        const pid_t owner = owner_of(file);
        if (owner != 0 && owner != getpid()) {
            *error = "process " + std::to_string(owner) + " uses it";
            return false;
        }
        (void)unlink(file.c_str());  // of a program that has ended
    }
    return true;
}

bool set_raw(int fd, unsigned rate) {
    termios line{};
    if (tcgetattr(fd, &line) != 0) {
        return errno == ENOTTY;  // another kind of character device
    }
    cfmakeraw(&line);
    line.c_cflag |= CLOCAL | CREAD;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    const Speed* speed = find_speed(rate);
    if (speed != nullptr && cfsetspeed(&line, speed->code) != 0) {
        return false;
    }
    return tcsetattr(fd, TCSANOW, &line) == 0 && tcflush(fd, TCIOFLUSH) == 0;
}

std::string attribute(const fs::path& folder, const char* name) {
    Bytes content;
    std::string error;
    (void)file_read((folder / name).string(), &content, &error);
    const std::string text(content.begin(), content.end());
    return text.substr(0, text.find_last_not_of(" \r\n") + 1);
}

// "VENDOR:PRODUCT:SERIAL" of the USB device above a tty, or nothing.
std::string usb_of(const fs::path& tty) {
    std::error_code failure;
    fs::path folder = fs::canonical(tty / "device", failure);
    while (!failure && folder.has_relative_path()) {
        if (fs::exists(folder / "idVendor", failure)) {
            return attribute(folder, "idVendor") + ":" + attribute(folder, "idProduct") + ":" +
                   attribute(folder, "serial");
        }
        folder = folder.parent_path();
    }
    return "";
}

}  // namespace

SerialClaim::SerialClaim(SerialClaim&& other) noexcept
    : file_(std::exchange(other.file_, "")), fd_(std::exchange(other.fd_, -1)) {}

SerialClaim& SerialClaim::operator=(SerialClaim&& other) noexcept {
    if (this != &other) {
        release();
        file_ = std::exchange(other.file_, "");
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

bool SerialClaim::take(const std::string& path, int fd, std::string* error) {
    bool made = false;
    const std::string file = lock_file(path);
    if (!make_lock_file(file, &made, error)) {
        return false;
    }
    file_ = made ? file : "";
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        *error = "another program uses it";
        release();
        return false;
    }
    // A descriptor of its own: the claim may end before or after the caller's is closed.
    fd_ = ioctl(fd, TIOCEXCL) == 0 ? fcntl(fd, F_DUPFD_CLOEXEC, 0) : -1;
    return true;
}

void SerialClaim::release() {
    if (fd_ >= 0) {
        (void)ioctl(fd_, TIOCNXCL);
        (void)close(fd_);
    }
    if (!file_.empty()) {
        (void)unlink(file_.c_str());
    }
    fd_ = -1;
    file_.clear();
}

bool serial_speed_known(unsigned speed) { return find_speed(speed) != nullptr; }

bool serial_open(const std::string& path, unsigned speed, UniqueFd* fd, SerialClaim* claim, std::string* error) {
    UniqueFd opened(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!opened.ok() || fstat(opened.get(), &status) != 0) {
        *error = errno == EBUSY ? "another program uses it" : std::strerror(errno);
        return false;
    }
    if (!S_ISCHR(status.st_mode)) {
        *error = "not a character device";
        return false;
    }
    SerialClaim taken;
    if (!taken.take(path, opened.get(), error)) {
        return false;
    }
    if (!set_raw(opened.get(), speed)) {
        *error = std::strerror(errno);
        return false;
    }
    *claim = std::move(taken);
    *fd = std::move(opened);
    return true;
}

bool serial_find(const std::string& usb, const std::string& classes, std::string* path, std::string* error) {
    std::vector<std::string> found;
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(classes, failure)) {
        const std::string device = usb_of(entry.path());
        const bool serial = std::count(usb.begin(), usb.end(), ':') > 1;
        if (!device.empty() && equal_names(serial ? device : device.substr(0, device.rfind(':')), usb)) {
            found.push_back("/dev/" + entry.path().filename().string());
        }
    }
    std::sort(found.begin(), found.end());
    if (found.size() == 1) {
        *path = found[0];
        return true;
    }
    *error = found.empty() ? "no such USB device has a serial line" : "several serial lines fit:";
    for (const std::string& one : found) {
        *error += " " + one;
    }
    return false;
}

}  // namespace vdiag
