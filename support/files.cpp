// Files, nodes and the persist directory.
#include "support/files.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/include/log.h"

namespace {

constexpr size_t kReadFileChunk = 4096;
constexpr size_t kTreePathSize = 100;
constexpr size_t kPersistPathSize = 128;

// The two loggers of a whole-file read: one writes to the log, its twin to standard output.
enum class FileItemTrace { kLog, kStdout };

char* file_item_read(FILE* file, uint32_t* len, FileItemTrace trace) {
    (void)fseek(file, 0, SEEK_END);
    const long size = ftell(file);
    if (trace == FileItemTrace::kLog) {
        ALOGE("FileLen = %d\n", static_cast<int>(size));
    } else {
        printf("FileLen = %d\n", static_cast<int>(size));
    }
    const bool sensible = size >= 0 && size < INT32_MAX;  // a directory is endless
    char* content = sensible ? static_cast<char*>(calloc(static_cast<size_t>(size) + 1, 1)) : nullptr;
    if (content == nullptr) {
        if (trace == FileItemTrace::kLog) {
            ALOGE("4Exit WIFI_ReadAddr:open file ERROR");
        } else {
            (void)fputs("4Exit WIFI_ReadAddr:open file ERROR", stdout);
        }
        return nullptr;
    }
    rewind(file);
    (void)fread(content, 1, static_cast<size_t>(size), file);  // a node may yield less than its nominal size
    *len = static_cast<uint32_t>(size);
    return content;
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
    const UniqueFd file(device_open(path, O_RDONLY | O_CLOEXEC));
    return file.ok() ? read_once(file.get(), out, max) : kTextNotOpened;
}

int proc_read(const char* path, char* buf) {
    const UniqueFd node(device_open(path, O_RDONLY | O_CLOEXEC));
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
    const UniqueFd file(device_open(path, O_RDONLY | O_CLOEXEC));
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
    const UniqueStream file(device_fopen(path, "rbe"));
    return file ? file_item_read(file.get(), len, FileItemTrace::kLog) : nullptr;
}

char* ftm_GetConfFileItem(const char* path, uint32_t* len) {
    *len = 0;
    const UniqueStream file(device_fopen(path, "rbe"));
    if (!file) {
        ALOGE("2Exit ERI_File_Read:open fail");
        return nullptr;
    }
    return file_item_read(file.get(), len, FileItemTrace::kStdout);
}

int ftm_diag_delete_file(const char* path) {
    ALOGE("1Enter delete_file\n");
    if (path == nullptr) {
        ALOGE("2Exit delete_file:no file\n");
        return 1;
    }
    if (is_file_exist(path) != 0) {
        ALOGE("3Exit delete_file:not exist\n");
        return 0;
    }
    if (device_remove(path) != 0) {
        ALOGE("4Exit delete_file:delete fail\n");
        return 1;
    }
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

WriteStep write_sync_close(UniqueFd fd, const void* data, size_t size) {
    if (write(fd.get(), data, size) != static_cast<ssize_t>(size)) {
        return WriteStep::kWriteFailed;
    }
    if (device_fsync(fd.get()) != 0) {
        return WriteStep::kSyncFailed;
    }
    return fd.close() == 0 ? WriteStep::kDone : WriteStep::kCloseFailed;
}
