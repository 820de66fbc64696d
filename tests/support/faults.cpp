// The linker leads every call of these functions to __wrap_<name>; __real_<name> is the function itself.
#include "tests/support/faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "tests/support/disk.h"

namespace {
struct CallPlan {
    std::atomic<unsigned> count{0};
    std::atomic<unsigned> first{0};  // number of the first call to disturb; 0: none
    std::atomic<unsigned> last{0};
    std::atomic<int> error{0};  // 0: cut to `limit` bytes
    std::atomic<size_t> limit{0};
};
std::array<CallPlan, kCallKinds> plans;
std::atomic<bool> active{false};

CallPlan& plan_of(Call call) { return plans[static_cast<size_t>(call)]; }

// Counts a call. False: it has to fail, and errno is set. `size`, if any, is what it may move.
bool admit(Call call, size_t* size = nullptr) {
    if (!active) {
        return true;
    }
    CallPlan& plan = plan_of(call);
    const unsigned number = ++plan.count;
    if (plan.first == 0 || number < plan.first || number > plan.last) {
        return true;
    }
    if (plan.error != 0) {
        errno = plan.error;
        return false;
    }
    if (size != nullptr) {
        *size = std::min<size_t>(*size, plan.limit);
    }
    return true;
}

mode_t mode_argument(int flags, va_list arguments) { return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0; }
}  // namespace

extern "C" {
decltype(open) __real_open, __wrap_open;
decltype(openat) __real_openat, __wrap_openat;
decltype(read) __real_read, __wrap_read;
decltype(write) __real_write, __wrap_write;
decltype(pread) __real_pread, __wrap_pread;
decltype(pwrite) __real_pwrite, __wrap_pwrite;
decltype(lseek) __real_lseek, __wrap_lseek;
decltype(fcntl) __real_fcntl, __wrap_fcntl;
decltype(fsync) __real_fsync, __wrap_fsync;
decltype(close) __real_close, __wrap_close;
decltype(access) __real_access, __wrap_access;
int __real_stat(const char* path, struct stat* st) noexcept;
int __wrap_stat(const char* path, struct stat* st) noexcept;
decltype(lstat) __real_lstat, __wrap_lstat;
decltype(fstat) __real_fstat, __wrap_fstat;
decltype(rename) __real_rename, __wrap_rename;
decltype(unlink) __real_unlink, __wrap_unlink;
decltype(remove) __real_remove, __wrap_remove;
decltype(mkdir) __real_mkdir, __wrap_mkdir;
decltype(fopen) __real_fopen, __wrap_fopen;
decltype(fdopen) __real_fdopen, __wrap_fdopen;
decltype(posix_spawn) __real_posix_spawn, __wrap_posix_spawn;
decltype(pthread_create) __real_pthread_create, __wrap_pthread_create;
decltype(malloc) __real_malloc, __wrap_malloc;
decltype(calloc) __real_calloc, __wrap_calloc;

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    const int fd = admit(Call::kOpen) ? __real_open(path, flags, mode) : -1;
    if (fd >= 0) {
        DiskRecord::opened(fd, flags);
    }
    return fd;
}

int __wrap_openat(int dir, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return admit(Call::kOpen) ? __real_openat(dir, path, flags, mode) : -1;
}

int __wrap_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);  // a number or a pointer; handed on as it is
    va_end(arguments);
    return admit(Call::kFcntl) ? __real_fcntl(fd, command, argument) : -1;
}

ssize_t __wrap_read(int fd, void* data, size_t size) {
    return admit(Call::kRead, &size) ? __real_read(fd, data, size) : -1;
}
ssize_t __wrap_write(int fd, const void* data, size_t size) {
    const ssize_t moved = admit(Call::kWrite, &size) ? __real_write(fd, data, size) : -1;
    if (moved > 0) {
        DiskRecord::written(fd, data, static_cast<size_t>(moved), -1);
    }
    return moved;
}
ssize_t __wrap_pread(int fd, void* data, size_t size, off_t at) {
    return admit(Call::kPread, &size) ? __real_pread(fd, data, size, at) : -1;
}
ssize_t __wrap_pwrite(int fd, const void* data, size_t size, off_t at) {
    const ssize_t moved = admit(Call::kPwrite, &size) ? __real_pwrite(fd, data, size, at) : -1;
    if (moved > 0) {
        DiskRecord::written(fd, data, static_cast<size_t>(moved), at);
    }
    return moved;
}
off_t __wrap_lseek(int fd, off_t at, int whence) noexcept {
    return admit(Call::kLseek) ? __real_lseek(fd, at, whence) : -1;
}
int __wrap_fsync(int fd) {
    const int result = admit(Call::kFsync) ? __real_fsync(fd) : -1;
    if (result == 0) {
        DiskRecord::synced(fd);
    }
    return result;
}
int __wrap_close(int fd) {
    const bool good = admit(Call::kClose);  // a failed close has closed all the same
    const int error = errno;
    const int result = __real_close(fd);
    errno = good ? errno : error;
    return good ? result : -1;
}
int __wrap_access(const char* path, int mode) noexcept { return admit(Call::kAccess) ? __real_access(path, mode) : -1; }
int __wrap_stat(const char* path, struct stat* st) noexcept { return admit(Call::kStat) ? __real_stat(path, st) : -1; }
int __wrap_lstat(const char* path, struct stat* st) noexcept {
    return admit(Call::kStat) ? __real_lstat(path, st) : -1;
}
int __wrap_fstat(int fd, struct stat* st) noexcept { return admit(Call::kStat) ? __real_fstat(fd, st) : -1; }
int __wrap_rename(const char* from, const char* to) noexcept {
    const int result = admit(Call::kRename) ? __real_rename(from, to) : -1;
    if (result == 0) {
        DiskRecord::renamed(from, to);
    }
    return result;
}
int __wrap_unlink(const char* path) noexcept {
    const int result = admit(Call::kUnlink) ? __real_unlink(path) : -1;
    if (result == 0) {
        DiskRecord::unlinked(path);
    }
    return result;
}
int __wrap_remove(const char* path) noexcept {
    const int result = admit(Call::kUnlink) ? __real_remove(path) : -1;
    if (result == 0) {
        DiskRecord::unlinked(path);
    }
    return result;
}
int __wrap_mkdir(const char* path, mode_t mode) noexcept { return admit(Call::kMkdir) ? __real_mkdir(path, mode) : -1; }
FILE* __wrap_fopen(const char* path, const char* mode) {
    return admit(Call::kFopen) ? __real_fopen(path, mode) : nullptr;
}
FILE* __wrap_fdopen(int fd, const char* mode) noexcept {
    return admit(Call::kFopen) ? __real_fdopen(fd, mode) : nullptr;
}
int __wrap_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    return admit(Call::kSpawn) ? __real_posix_spawn(child, path, actions, attributes, arguments, environment) : errno;
}
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) noexcept {
    return admit(Call::kThreadCreate) ? __real_pthread_create(thread, attributes, body, argument) : errno;
}
void* __wrap_malloc(size_t size) noexcept { return admit(Call::kMalloc) ? __real_malloc(size) : nullptr; }
void* __wrap_calloc(size_t count, size_t size) noexcept {
    return admit(Call::kMalloc) ? __real_calloc(count, size) : nullptr;
}
}  // extern "C"

// Every other operator is the library's, which finds the same memory.
void* operator new(size_t size) {  // NOLINT(misc-new-delete-overloads)
    static auto* const real = reinterpret_cast<void* (*)(size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
    return admit(Call::kNew) ? real(size) : throw std::bad_alloc();
}

Faults::Faults() {
    reset();
    active = true;
}

Faults::~Faults() {
    active = false;
    reset();
}

void Faults::fail(Call call, unsigned nth, int error, unsigned times) {
    CallPlan& plan = plan_of(call);
    plan.error = error;
    plan.last = plan.count + nth + times - 1;
    plan.first = plan.count + nth;
}

void Faults::shorten(Call call, unsigned nth, unsigned bytes) {
    plan_of(call).limit = bytes;
    fail(call, nth, 0);
}

unsigned Faults::count(Call call) const { return plan_of(call).count; }

unsigned Faults::system_calls() const {
    unsigned total = 0;
    for (const CallPlan& plan : plans) {
        total += plan.count;
    }
    return total - count(Call::kMalloc) - count(Call::kNew);
}

void Faults::reset() {
    for (CallPlan& plan : plans) {
        plan.first = 0;
        plan.count = 0;
    }
}
