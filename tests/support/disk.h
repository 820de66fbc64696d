// What a power cut leaves of the files below a directory. The record sees the calls that faults.h counts: the daemon's
// own, not those of libraries or programs.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

// Host path and content of every regular file.
using DiskImage = std::map<std::string, std::string>;
DiskImage files_below(const std::string& directory);

// Records from its making to its end. One at a time.
class DiskRecord {
   public:
    explicit DiskRecord(std::string directory);
    ~DiskRecord();
    DiskRecord(const DiskRecord&) = delete;
    DiskRecord& operator=(const DiskRecord&) = delete;

    size_t steps() const;
    // Every state that a cut behind the first `steps` steps may leave. Data that was not synchronised is absent, partly
    // there (its file then ends early, or in zeros) or whole; names that were made, changed or removed without their
    // directory being synchronised are so or not, each by itself. A partition loses whole sectors, never part of one.
    std::set<DiskImage> states(size_t steps) const;

    // Called by the wrapped calls, when they have succeeded.
    static void opened(int fd, int flags);
    static void written(int fd, const void* data, size_t size, long at);  // at: -1 for the file's position
    static void synced(int fd);
    static void renamed(const char* from, const char* to);
    static void unlinked(const char* path);
};
