// The seam to the phone's files, shell, users and clock. Each function mirrors the call that it is named after: on a
// phone it is that call, on a host it resolves the path below the directory that stands for the phone's root.
// Paths are device paths, absolute or relative to "/". Errors are the mirrored call's: its result and errno. All may be
// called from any thread, and two threads may run programs at the same time.
#pragma once

#include <dirent.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdio>
#include <string>

// The path that other libraries must open to reach `path`.
std::string device_path(const char* path);

int device_open(const char* path, int flags, mode_t mode = 0);
FILE* device_fopen(const char* path, const char* mode);
int device_stat(const char* path, struct stat* st);
int device_lstat(const char* path, struct stat* st);
int device_access(const char* path, int mode);
ssize_t device_readlink(const char* path, char* buffer, size_t size);
int device_remove(const char* path);
int device_unlink(const char* path);
int device_rmdir(const char* path);
int device_mkdir(const char* path, mode_t mode);
int device_rename(const char* from, const char* to);
int device_fsync(int fd);  // of a file or a directory
int device_mknod(const char* path, mode_t mode, dev_t device);
int device_chown(const char* path, uid_t owner, gid_t group);
DIR* device_opendir(const char* path);

// ioctl(2) on an input device's descriptor: EVIOCGBIT(0, n) only.
int device_ioctl(int fd, unsigned long request, void* arg);

// Null when there is no such user or group; the result lasts until the next look-up.
const struct passwd* device_getpwnam(const char* name);
const struct group* device_getgrnam(const char* name);

// Shell commands; results as system(3), popen(3) and pclose(3). No descriptor of the daemon reaches the child. Each
// runs in a process group of its own. One that has not ended after 120 s, or whose output somebody still holds open
// then, is killed with its group, named in one error line and counted as failed; what it has printed counts. Whoever
// has left the group lives on and is not waited for.
int device_system(const char* command);
FILE* device_popen(const char* command, const char* mode);
int device_pclose(FILE* stream);

// Fixed delays. A signal does not cut them short.
void device_sleep(unsigned int seconds);
void device_usleep(unsigned int microseconds);
