// Files of the phone: every device path is resolved below the root, sysfs, input devices and device nodes are played
// by ordinary files and FIFOs.
#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"

namespace {
constexpr mode_t kPermissionBits = 07777;
constexpr mode_t kStreamMode = 0666;  // what fopen creates with
constexpr unsigned long kAnySize = IOCSIZE_MASK;
constexpr unsigned long kEventTypesRequest = EVIOCGBIT(0, 0);

bool begins_with(std::string_view text, std::string_view head) { return text.substr(0, head.size()) == head; }

bool is_kernel_node(std::string_view normal) { return begins_with(normal, "/sys/") || begins_with(normal, "/proc/"); }

// A kernel node holds what was last written: writing only starts afresh, reading and writing never clears.
int kernel_node_flags(int flags) {
    switch (flags & O_ACCMODE) {
        case O_WRONLY:
            return flags | O_TRUNC;
        case O_RDWR:
            return flags & ~O_TRUNC;
        default:
            return flags;
    }
}

// A FIFO opened for both directions opens at once and never reads as ended; without data it must not hold up a reader
// that a second descriptor on the same device was quicker than.
int input_device_flags(int flags) { return (flags & ~O_ACCMODE) | O_RDWR | O_NONBLOCK; }

bool is_fifo(const char* host_file) {
    struct stat st {};
    return stat(host_file, &st) == 0 && S_ISFIFO(st.st_mode);
}

// The flags that fopen's mode stands for; -1: no such mode.
int stream_flags(const char* mode) {
    const bool both = strchr(mode, '+') != nullptr;
    const int common = strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0;
    const int access = common | (both ? O_RDWR : O_WRONLY);
    switch (*mode) {
        case 'r':
            return both ? access : common | O_RDONLY;
        case 'w':
            return access | O_CREAT | O_TRUNC | (strchr(mode, 'x') != nullptr ? O_EXCL : 0);
        case 'a':
            return access | O_CREAT | O_APPEND;
        default:
            return -1;
    }
}

// Name of the input device behind a descriptor ("event3"); empty when it is none.
std::string input_device_name(int fd) {
    constexpr std::string_view kDevices = "/dev/input/";
    const std::string path = host_device_path_of(fd);
    return begins_with(path, kDevices) ? path.substr(kDevices.size()) : "";
}
}  // namespace

std::string host_device_path_of(int fd) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path.data(), path.size());
    const std::string_view file(path.data(), length > 0 ? static_cast<size_t>(length) : 0);
    std::error_code error;
    const std::string root = std::filesystem::canonical(host_settings().root, error).string();
    return !error && begins_with(file, root + "/") ? std::string(file.substr(root.size())) : std::string(file);
}

std::string device_path(const char* path) { return host_path(path); }

int device_open(const char* path, int flags, mode_t mode) {
    const std::string normal = host_normal_path(path);
    const std::string file = host_below_root(normal);
    if (is_kernel_node(normal)) {
        flags = kernel_node_flags(flags);
    } else if (begins_with(normal, "/dev/input/") && is_fifo(file.c_str())) {
        flags = input_device_flags(flags);
    }
    return open(file.c_str(), flags, mode);
}

FILE* device_fopen(const char* path, const char* mode) {
    const int flags = stream_flags(mode);
    if (flags == -1) {
        errno = EINVAL;
        return nullptr;
    }
    UniqueFd fd(device_open(path, flags, kStreamMode));
    FILE* const stream = fd.ok() ? fdopen(fd.get(), mode) : nullptr;
    if (stream != nullptr) {
        (void)fd.release();
    }
    return stream;
}

int device_stat(const char* path, struct stat* st) { return stat(host_path(path).c_str(), st); }
int device_lstat(const char* path, struct stat* st) { return lstat(host_path(path).c_str(), st); }
int device_access(const char* path, int mode) { return access(host_path(path).c_str(), mode); }
ssize_t device_readlink(const char* path, char* buffer, size_t size) {
    return readlink(host_path(path).c_str(), buffer, size);
}
int device_remove(const char* path) { return remove(host_path(path).c_str()); }
int device_unlink(const char* path) { return unlink(host_path(path).c_str()); }
int device_rmdir(const char* path) { return rmdir(host_path(path).c_str()); }
// The daemon on a phone may search any directory; who plays it here as an ordinary user needs the bit for it.
int device_mkdir(const char* path, mode_t mode) {
    return mkdir(host_path(path).c_str(), geteuid() == 0 ? mode : mode | S_IXUSR);
}
int device_rename(const char* from, const char* to) {
    if (host_records()) {
        host_record("rename " + host_normal_path(from) + " " + host_normal_path(to));
    }
    return rename(host_path(from).c_str(), host_path(to).c_str());
}
int device_fsync(int fd) {
    if (host_records()) {
        host_record("fsync " + host_device_path_of(fd));
    }
    return fsync(fd);
}
DIR* device_opendir(const char* path) { return opendir(host_path(path).c_str()); }

int device_mknod(const char* path, mode_t mode, dev_t /*device*/) {
    const std::string file = host_path(path);
    if (S_ISFIFO(mode)) {
        return mkfifo(file.c_str(), mode & kPermissionBits);
    }
    UniqueFd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode & kPermissionBits));
    return fd.ok() ? fd.close() : -1;
}

int device_chown(const char* path, uid_t owner, gid_t group) {
    const int result = chown(host_path(path).c_str(), owner, group);
    return result != 0 && errno == EPERM ? 0 : result;
}

int device_ioctl(int fd, unsigned long request, void* arg) {
    if ((request & ~kAnySize) != kEventTypesRequest) {
        errno = ENOTTY;
        return -1;
    }
    const std::string name = input_device_name(fd);
    const auto bits_text =
        name.empty() ? std::nullopt : host_read_file(host_path("/sys/class/input/") + name + "/device/capabilities/ev");
    char* end = nullptr;
    const unsigned long long bits = bits_text ? strtoull(bits_text->c_str(), &end, 16) : 0;
    if (!bits_text || end == bits_text->c_str()) {
        errno = ENOTTY;
        return -1;
    }
    const size_t size = std::min<size_t>((request & kAnySize) >> IOCSIZE_SHIFT, sizeof bits);
    for (size_t i = 0; i < size; ++i) {
        static_cast<unsigned char*>(arg)[i] = static_cast<unsigned char>(bits >> (8 * i));
    }
    return static_cast<int>(size);
}
