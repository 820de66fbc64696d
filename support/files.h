// Files, nodes and the persist directory. The limits are what the factory tool sees.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/include/handles.h"

// How files and nodes are opened for reading: a FIFO in the place of one does not hold up the service.
constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;

constexpr size_t kProcReadSize = 20;  // buffer of proc_read

// Reads a short node: at most 19 bytes into `buf` (kProcReadSize bytes), terminated. Returns the number of bytes read,
// 0 when the node cannot be opened, negative on a read error.
int proc_read(const char* path, char* buf);

// Reads a file into `out` of `size` bytes, terminated; one line feed at the very end is dropped. An empty file leaves
// `out` untouched. Returns 0, or -1 when the file cannot be opened.
int read_file(const char* path, char* out, uint32_t size);

// Reads a whole file (a regular file or a kernel node; at most 64 KiB of it) into a new terminated buffer and stores
// its size in `*len`. Returns null, with `*len` 0, when it cannot be opened or read; the caller frees.
char* GetConfFileItem(const char* path, uint32_t* len);

// The same, with its progress on standard output.
char* ftm_GetConfFileItem(const char* path, uint32_t* len);

// What a node holds, by ftm_GetConfFileItem: `readable` is false for an empty or missing one.
struct NodeText {
    UniqueText memory;
    uint32_t size;
    bool readable() const { return memory != nullptr && size >= 1; }
    const char* text() const { return memory != nullptr ? memory.get() : "(null)"; }  // as the log shows it
};
NodeText read_node(const char* path);

// Removes a file. Returns 0 when it is gone or was not there, 1 for a null path or a failed removal.
int ftm_diag_delete_file(const char* path);

// Empties a directory tree; the directory itself stays. Returns the result of the last file-system call.
int delete_dirtory(const char* path);

// 0 when the path exists, else -1.
int is_file_exist(const char* path);

// The directory of persistent files: "/persist", or "/mnt/vendor/persist" where that does not exist (logged).
const char* persist_dir();
// A path below it, cut to the 127 characters that a path may have.
std::string persist_path(const char* suffix);

// The step of writing a file at which it ended. Only the last one leaves the new content in place.
enum class WriteStep { kDone, kWriteFailed, kSyncFailed, kCloseFailed, kRenameFailed, kNotDurable };
// Writes `size` bytes in one call (a short write is a failure), synchronises and closes. Closes in every case.
WriteStep write_sync_close(UniqueFd fd, const void* data, size_t size);

// Synchronises the directory of a file, so that the file's name outlives a power cut. False: errno tells.
bool sync_directory_of(const std::string& path);

// A file whose content is being replaced as a whole: what is written lies beside it until commit() puts it in place in
// one step, so that a failure, a full disk or a power cut leaves the old content. An existing file keeps its mode and
// owner. Anything but a regular file in its place (a link, a device) is emptied and written through.
class FileReplacement {
   public:
    enum class Mode { kMasked, kExact };           // of a new file: less the process's umask, or these bits
    enum class Place { kRegularOnly, kWhatever };  // kWhatever: also a link is replaced instead of written through
    // Begins; ok() tells whether it could, errno why not.
    FileReplacement(std::string path, mode_t mode, Mode exact = Mode::kMasked, Place place = Place::kRegularOnly);
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    ~FileReplacement();  // takes away what was not committed

    bool ok() const { return fd_.ok(); }
    // Where the new content lies for now: for a change of its owner.
    const char* written_path() const { return beside_.empty() ? path_.c_str() : beside_.c_str(); }
    // Writes in one call (a short write is a failure). kDone or kWriteFailed.
    WriteStep write(const void* data, size_t size);
    // Synchronises, closes, puts in place and synchronises the directory.
    WriteStep commit();
    // Both.
    WriteStep store(const void* data, size_t size);

   private:
    void open_beside(mode_t mode, Mode exact, const struct stat* old);

    std::string path_;
    std::string beside_;  // empty: written through, or committed
    UniqueFd fd_;
};

// Opens a file that is made with exactly these mode bits, whatever the process's umask.
int open_exact_mode(const char* path, int flags, mode_t mode);

// Reads a short text: once, at most `max` bytes into `out` (`max` + 1 bytes), followed by zeros in every case. Returns
// the number of bytes read, -1 on a read error, kTextNotOpened when the file cannot be opened.
constexpr ssize_t kTextNotOpened = -2;
ssize_t read_short_text(const char* path, char* out, size_t max);

// Reads once, repeating a call that a signal interrupted. Result as read(2).
ssize_t read_once(int fd, void* buffer, size_t size);
// Writes once, likewise. Result as write(2).
ssize_t write_once(int fd, const void* data, size_t size);
