// The device seam on a phone: every function is the call that it is named after.
#include "platform/include/device.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "platform/posix/programs.h"

namespace {
constexpr std::chrono::seconds kProgramDeadline(120);

int close_own_descriptors([[maybe_unused]] posix_spawn_file_actions_t* actions, [[maybe_unused]] short* flags) {
#ifdef POSIX_SPAWN_CLOEXEC_DEFAULT  // a phone's C library
    *flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
    return 0;
#else
    return posix_spawn_file_actions_addclosefrom_np(actions, STDERR_FILENO + 1);
#endif
}

// The vendor partition's shell, which a vendor's program may run; the system's where a phone has no other.
ProgramPlan plan_for(const char* command) {
    return {program_name(command), command, {"/vendor/bin/sh", "/system/bin/sh"}, {}, kProgramDeadline,
            close_own_descriptors};
}
}  // namespace

std::string device_path(const char* path) { return path; }

int device_open(const char* path, int flags, mode_t mode) { return open(path, flags, mode); }
FILE* device_fopen(const char* path, const char* mode) { return fopen(path, mode); }
int device_stat(const char* path, struct stat* st) { return stat(path, st); }
int device_lstat(const char* path, struct stat* st) { return lstat(path, st); }
int device_access(const char* path, int mode) { return access(path, mode); }
ssize_t device_readlink(const char* path, char* buffer, size_t size) { return readlink(path, buffer, size); }
int device_remove(const char* path) { return remove(path); }
int device_unlink(const char* path) { return unlink(path); }
int device_rmdir(const char* path) { return rmdir(path); }
int device_mkdir(const char* path, mode_t mode) { return mkdir(path, mode); }
int device_rename(const char* from, const char* to) { return rename(from, to); }
int device_fsync(int fd) { return fsync(fd); }
int device_mknod(const char* path, mode_t mode, dev_t device) { return mknod(path, mode, device); }
int device_chown(const char* path, uid_t owner, gid_t group) { return chown(path, owner, group); }
DIR* device_opendir(const char* path) { return opendir(path); }

int device_ioctl(int fd, unsigned long request, void* arg) {
#ifdef __BIONIC__
    return ioctl(fd, static_cast<int>(request), arg);
#else
    return ioctl(fd, request, arg);
#endif
}

const struct passwd* device_getpwnam(const char* name) { return getpwnam(name); }
const struct group* device_getgrnam(const char* name) { return getgrnam(name); }

int device_system(const char* command) { return command == nullptr ? 1 : program_system(plan_for(command)); }
FILE* device_popen(const char* command, const char* mode) { return program_popen(plan_for(command), mode); }
int device_pclose(FILE* stream) { return program_pclose(stream); }

void device_sleep(unsigned int seconds) {
    while (seconds > 0) {
        seconds = sleep(seconds);  // what a signal left over
    }
}

void device_usleep(unsigned int microseconds) {
    constexpr unsigned kPerSecond = 1000000;
    timespec left{static_cast<time_t>(microseconds / kPerSecond), static_cast<long>(microseconds % kPerSecond) * 1000};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}
