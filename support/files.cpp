// Files, nodes and the persist directory.
#include "support/files.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/include/log.h"

namespace {

constexpr size_t kReadFileChunk = 4096;
constexpr off_t kFileItemMax = 64 << 10;  // far more than any of the texts that are read whole
constexpr size_t kTreePathSize = 100;
constexpr size_t kPersistPathSize = 128;

// The two loggers of a whole-file read: one writes to the log, its twin to standard output.
enum class FileItemTrace { kLog, kStdout };

void trace_line(FileItemTrace trace, const char* text) {
    if (trace == FileItemTrace::kLog) {
        ALOGE("%s", text);
    } else {
        (void)fputs(text, stdout);
    }
}

// The size of a file as its reader has room for it: 0 for what is no regular file (kernel nodes are), -1 for a
// directory.
long readable_size(int fd) {
    struct stat st = {};
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        return -1;
    }
    return S_ISREG(st.st_mode) ? static_cast<long>(std::min<off_t>(st.st_size, kFileItemMax)) : 0;
}

// Reads until `size` bytes, the end or an error, which is told by a negative result.
ssize_t read_up_to(int fd, char* out, size_t size) {
    size_t total = 0;
    while (total < size) {
        const ssize_t count = read_once(fd, out + total, size - total);
        if (count <= 0) {
            return count < 0 ? count : static_cast<ssize_t>(total);
        }
        total += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(total);
}

char* file_item_read(const UniqueFd& file, uint32_t* len, FileItemTrace trace) {
    char line[32];
    const off_t end = lseek(file.get(), 0, SEEK_END);
    (void)snprintf(line, sizeof(line), "FileLen = %d\n", static_cast<int>(end));
    trace_line(trace, line);
    (void)lseek(file.get(), 0, SEEK_SET);
    const long size = readable_size(file.get());
    UniqueText content(size >= 0 ? static_cast<char*>(calloc(static_cast<size_t>(size) + 1, 1)) : nullptr);
    // A node may yield less than its nominal size; one that cannot be read yields nothing to go by.
    if (content == nullptr || read_up_to(file.get(), content.get(), static_cast<size_t>(size)) < 0) {
        trace_line(trace, "4Exit WIFI_ReadAddr:open file ERROR");
        return nullptr;
    }
    *len = static_cast<uint32_t>(size);
    return content.release();
}

ssize_t read_chunk(int fd, char (&chunk)[kReadFileChunk]) {
    memset(chunk, 0, sizeof(chunk));
    return read_once(fd, chunk, sizeof(chunk) - 1);
}

// Joins a directory and an entry's name; false when the path has no room.
bool tree_path(const char* directory, const char* name, char (&path)[kTreePathSize]) {
    const size_t length = strlen(directory);
    const char* separator = length > 0 && directory[length - 1] == '/' ? "" : "/";
    return snprintf(path, sizeof(path), "%s%s%s", directory, separator, name) < static_cast<int>(sizeof(path));
}

}  // namespace

ssize_t read_once(int fd, void* buffer, size_t size) {
    ssize_t count = 0;
    do {
        count = read(fd, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

ssize_t write_once(int fd, const void* data, size_t size) {
    ssize_t count = 0;
    do {
        count = write(fd, data, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

int open_exact_mode(const char* path, int flags, mode_t mode) {
    const mode_t mask = umask(0);
    const int fd = device_open(path, flags, mode);
    const int error = errno;
    (void)umask(mask);
    errno = error;
    return fd;
}

ssize_t read_short_text(const char* path, char* out, size_t max) {
    memset(out, 0, max + 1);
    const UniqueFd file(device_open(path, kReadFlags));
    return file.ok() ? read_once(file.get(), out, max) : kTextNotOpened;
}

int proc_read(const char* path, char* buf) {
    const UniqueFd node(device_open(path, kReadFlags));
    if (!node.ok()) {
        ALOGE("proc_read %s failed!!!\r\n", path);
        buf[0] = '\0';
        return 0;
    }
    const ssize_t count = read_once(node.get(), buf, kProcReadSize - 1);
    buf[std::max<ssize_t>(count, 0)] = '\0';
    return static_cast<int>(count);
}

int read_file(const char* path, char* out, uint32_t size) {
    const UniqueFd file(device_open(path, kReadFlags));
    if (!file.ok()) {
        ALOGE("file(%s) open fail, error=%s\n", path, strerror(errno));
        return -1;
    }
    char chunk[kReadFileChunk];
    ssize_t count = read_chunk(file.get(), chunk);
    if (count <= 0) {
        ALOGD("read_file file len = %d\n", 0);
        return 0;
    }
    const size_t room = size > 0 ? size - 1 : 0;
    size_t total = 0;
    while (count > 0 && total < room) {
        const size_t copied = std::min(static_cast<size_t>(count), room - total);
        memcpy(out + total, chunk, copied);
        total += copied;
        if (total < room) {
            count = read_chunk(file.get(), chunk);
        }
    }
    ALOGD("read_file file len = %d\n", static_cast<int>(total));
    if (total >= 1 && out[total - 1] == '\n') {
        out[total - 1] = '\0';
    } else if (size > 0) {
        out[total] = '\0';
    }
    return 0;
}

char* GetConfFileItem(const char* path, uint32_t* len) {
    *len = 0;
    const UniqueFd file(device_open(path, kReadFlags));
    return file.ok() ? file_item_read(file, len, FileItemTrace::kLog) : nullptr;
}

char* ftm_GetConfFileItem(const char* path, uint32_t* len) {
    *len = 0;
    const UniqueFd file(device_open(path, kReadFlags));
    if (!file.ok()) {
        ALOGE("2Exit ERI_File_Read:open fail");
        return nullptr;
    }
    return file_item_read(file, len, FileItemTrace::kStdout);
}

NodeText read_node(const char* path) {
    NodeText node = {};
    node.memory.reset(ftm_GetConfFileItem(path, &node.size));
    return node;
}

int ftm_diag_delete_file(const char* path) {
    ALOGE("1Enter delete_file\n");
    if (path == nullptr) {
        ALOGE("2Exit delete_file:no file\n");
        return 1;
    }
    // What cannot be looked at may be there.
    if (is_file_exist(path) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        ALOGE("3Exit delete_file:not exist\n");
        return 0;
    }
    if (device_remove(path) != 0) {
        ALOGE("4Exit delete_file:delete fail\n");
        return 1;
    }
    (void)sync_directory_of(path);  // what is gone stays gone, as far as storage allows
    ALOGE("5Exit delete_file:delete OK\n");
    return 0;
}

int delete_dirtory(const char* path) {
    struct stat st = {};
    if (device_lstat(path, &st) != 0 || S_ISREG(st.st_mode)) {
        ALOGD("Delete file %s succeed", path);
        return device_remove(path);
    }
    if (!S_ISDIR(st.st_mode)) {
        return 0;
    }
    UniqueDir dir(device_opendir(path));
    if (!dir) {
        ALOGE("%s is not exist", path);
        return -1;
    }
    while (const struct dirent* entry = readdir(dir.get())) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        char child[kTreePathSize];
        if (!tree_path(path, entry->d_name, child)) {
            ALOGE("%s: path of %s is too long, skipped\n", __func__, entry->d_name);
            continue;
        }
        (void)delete_dirtory(child);
        (void)device_rmdir(child);  // fails harmlessly for a file, which is gone already
    }
    return closedir(dir.release());
}

int is_file_exist(const char* path) { return device_access(path, F_OK) == 0 ? 0 : -1; }

const char* persist_dir() {
    struct stat st = {};
    if (device_stat("/persist", &st) == 0) {
        return "/persist";
    }
    const int error = errno;
    ALOGE("Failed to access %s, errno = %d", "/persist", error);
    return error == ENOENT ? "/mnt/vendor/persist" : "/persist";
}

std::string persist_path(const char* suffix) {
    return (std::string(persist_dir()) + suffix).substr(0, kPersistPathSize - 1);
}

namespace {

bool write_in_one(int fd, const void* data, size_t size) {
    return write_once(fd, data, size) == static_cast<ssize_t>(size);
}

}  // namespace

// What comes before has been done: memory that is short is one more reason why it is not certain.
bool sync_directory_of(const std::string& path) try {
    const UniqueFd dir(device_open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return dir.ok() && device_fsync(dir.get()) == 0;
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
}

WriteStep write_sync_close(UniqueFd fd, const void* data, size_t size) {
    if (!write_in_one(fd.get(), data, size)) {
        return WriteStep::kWriteFailed;
    }
    if (device_fsync(fd.get()) != 0) {
        return WriteStep::kSyncFailed;
    }
    return fd.close() == 0 ? WriteStep::kDone : WriteStep::kCloseFailed;
}

FileReplacement::FileReplacement(std::string path, mode_t mode, Mode exact, Place place) : path_(std::move(path)) {
    struct stat st = {};
    const bool there = device_lstat(path_.c_str(), &st) == 0;
    const bool beside = there ? S_ISREG(st.st_mode) || place == Place::kWhatever : errno == ENOENT;
    if (!beside) {
        // A FIFO that nobody reads refuses instead of holding up the service.
        fd_ = UniqueFd(device_open(path_.c_str(), O_WRONLY | O_TRUNC | O_NONBLOCK | O_CLOEXEC));
        if (!fd_.ok() && errno == ENOENT) {  // a link to nothing yet
            fd_ = UniqueFd(device_open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode));
        }
        return;
    }
    if (there && S_ISREG(st.st_mode) && device_access(path_.c_str(), W_OK) != 0) {
        return;  // what may not be written may not be replaced either
    }
    open_beside(mode, exact, there && S_ISREG(st.st_mode) ? &st : nullptr);
}

// Whatever stands at the name beside it, a link among others, is left over from a process that died.
void FileReplacement::open_beside(mode_t mode, Mode exact, const struct stat* old) {
    beside_ = path_ + ".new";
    (void)device_unlink(beside_.c_str());
    fd_ = UniqueFd(device_open(beside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!fd_.ok()) {
        beside_.clear();
    } else if (old != nullptr) {
        (void)fchmod(fd_.get(), old->st_mode & 07777);       // first: another's file is no longer ours to change
        (void)!fchown(fd_.get(), old->st_uid, old->st_gid);  // as far as that may be had
    } else if (exact == Mode::kExact) {
        (void)fchmod(fd_.get(), mode);
    }
}

FileReplacement::~FileReplacement() {
    if (!beside_.empty()) {
        (void)device_unlink(beside_.c_str());
    }
}

WriteStep FileReplacement::write(const void* data, size_t size) {
    return size == 0 || write_in_one(fd_.get(), data, size) ? WriteStep::kDone : WriteStep::kWriteFailed;
}

WriteStep FileReplacement::commit() {
    if (device_fsync(fd_.get()) != 0) {
        return WriteStep::kSyncFailed;
    }
    if (fd_.close() != 0) {
        return WriteStep::kCloseFailed;
    }
    if (beside_.empty()) {
        return WriteStep::kDone;
    }
    if (device_rename(beside_.c_str(), path_.c_str()) != 0) {
        return WriteStep::kRenameFailed;
    }
    beside_.clear();
    return sync_directory_of(path_) ? WriteStep::kDone : WriteStep::kNotDurable;
}

WriteStep FileReplacement::store(const void* data, size_t size) {
    const WriteStep step = write(data, size);
    return step == WriteStep::kDone ? commit() : step;
}
