// Holders that close what they hold on every path.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/include/device.h"

// Owns a file descriptor; negative is none.
class UniqueFd {
   public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            (void)close();
            fd_ = other.release();
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { (void)close(); }

    bool ok() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    // Closes now, so that the result (0, or -1 and errno) can be looked at.
    int close() { return fd_ >= 0 ? ::close(release()) : 0; }

   private:
    int fd_ = -1;
};

struct StreamCloser {
    void operator()(FILE* stream) const { (void)fclose(stream); }
};
struct PipeCloser {
    void operator()(FILE* stream) const { (void)device_pclose(stream); }
};
struct DirCloser {
    void operator()(DIR* dir) const { (void)closedir(dir); }
};
struct MallocFree {
    void operator()(void* memory) const { free(memory); }
};

using UniqueStream = std::unique_ptr<FILE, StreamCloser>;  // from device_fopen
using UniquePipe = std::unique_ptr<FILE, PipeCloser>;      // from device_popen
using UniqueDir = std::unique_ptr<DIR, DirCloser>;         // from device_opendir
using UniqueText = std::unique_ptr<char, MallocFree>;      // text from malloc
