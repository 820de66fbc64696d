// The keybox transfer: the tool writes the attestation keybox file through a descriptor that the daemon hands out. A
// handle that comes back is served only while it is a descriptor of that file, so it can do no harm to any other.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>

#include "factory/factory_diag.h"
#include "factory/factory_request.h"
#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "support/files.h"

namespace {
constexpr const char* kKeyboxFile = "/mnt/vendor/persist/keybox/keybox.xml";
constexpr uint32_t kModeWrite = 1;
constexpr size_t kErrorTextSize = 49;

constexpr FactoryCommand kOpen = {
    .code = 24,
    .response_size = 12,  // u32 handle, u32 status
    .shortest = 0,
    .name = "factory_diag_open_handler",
    .null_end = " ",
    .no_room_end = "",
    .status_offset = 8,
};
constexpr FactoryCommand kClose = {
    .code = 25,
    .response_size = 8,
    .shortest = 0,
    .name = "factory_diag_close_handler",
    .takes_null = true,
};
constexpr FactoryCommand kWrite = {
    .code = 26,
    .response_size = 20,  // u32 handle, u32 offset, u32 bytes written, u32 status
    .shortest = 0,
    .name = "factory_diag_write_handler",
    .takes_null = true,
    .status_offset = 16,
};
constexpr size_t kWriteDataOffset = 12;

// Handles that the tool holds; a tool that never closes must not use up what clients need.
constexpr int kFree = -1;
std::array<int, 16> handles = {kFree, kFree, kFree, kFree, kFree, kFree, kFree, kFree,
                               kFree, kFree, kFree, kFree, kFree, kFree, kFree, kFree};

// A descriptor of the keybox file, open for writing, or -1, which has been logged.
int open_keybox() {
    int* const place = std::find(handles.begin(), handles.end(), kFree);
    int fd = -1;
    int error = EMFILE;
    if (place != handles.end()) {
        fd = device_open(kKeyboxFile, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0777);
        error = errno;
    }
    if (fd >= 0) {
        *place = fd;
        return fd;
    }
    ALOGE("fd: %d, errno:%d \n", fd, error);
    char text[kErrorTextSize] = {};
    if (snprintf(text, sizeof(text), "%s", strerror(error)) >= static_cast<int>(sizeof(text))) {
        ALOGE("failed to get str errorno: %d\n", error);
    }
    ALOGE("%s: open keybox file failed! error: %s\n", kOpen.name, text);
    return -1;
}

// True for a descriptor whose file had the keybox's name until it was deleted, as an installation does.
bool was_keybox_descriptor(int fd) {
    constexpr std::string_view kDeleted = "/mnt/vendor/persist/keybox/keybox.xml (deleted)";
    char name[PATH_MAX] = {};
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), name, sizeof(name));
    const std::string_view text(name, size > 0 ? static_cast<size_t>(size) : 0);
    return text.size() >= kDeleted.size() && text.substr(text.size() - kDeleted.size()) == kDeleted;
}

bool is_handle(int fd) { return std::find(handles.begin(), handles.end(), fd) != handles.end(); }

// Whether what is written through a handle reaches the keybox file.
bool is_keybox_descriptor(int fd) {
    struct stat handle = {};
    struct stat keybox = {};
    if (fstat(fd, &handle) != 0) {
        return false;
    }
    if (handle.st_nlink == 0) {
        return was_keybox_descriptor(fd);
    }
    return device_stat(kKeyboxFile, &keybox) == 0 && handle.st_dev == keybox.st_dev && handle.st_ino == keybox.st_ino;
}

// Closes a handle, whatever has become of its file. False: what was written through it may not outlive a power cut.
bool close_keybox(int fd) {
    const bool reaches = is_keybox_descriptor(fd);
    *std::find(handles.begin(), handles.end(), fd) = kFree;
    UniqueFd keybox(fd);
    const bool synced = device_fsync(fd) == 0 && sync_directory_of(kKeyboxFile);
    const bool no_disk = !synced && errno == EINVAL;  // a device in the file's place
    return keybox.close() == 0 && reaches && (synced || no_disk);
}

// Writes the whole of `data` at `offset`. False when the position or a write was refused.
bool write_at(int fd, uint32_t offset, const uint8_t* data, size_t size) {
    if (!is_handle(fd) || !is_keybox_descriptor(fd) || lseek64(fd, offset, SEEK_SET) != off64_t{offset}) {
        return false;
    }
    for (size_t done = 0; done < size;) {
        const ssize_t moved = write(fd, data + done, size - done);
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved <= 0) {
            ALOGE("%s: write file failed!\n", kWrite.name);
            return false;
        }
        done += static_cast<size_t>(moved);
    }
    return true;
}
}  // namespace

void* factory_diag_open_handler(const void* request, uint16_t length) {
    return factory_serve(kOpen, request, length, [](RequestView view, uint8_t* rsp) {
        int handle = -1;
        if (request_u32(view, 4) == kModeWrite) {
            handle = open_keybox();
            if (handle < 0) {
                return kFactoryError;
            }
        }
        put_u32(rsp + 4, static_cast<uint32_t>(handle));
        return kFactoryOk;
    });
}

void* factory_diag_close_handler(const void* request, uint16_t length) {
    return factory_serve(kClose, request, length, [](RequestView view, uint8_t*) {
        const int handle = static_cast<int>(request_u32(view, 4));
        if (handle < 0) {
            ALOGE("%s: file handler error!\n", kClose.name);
            return kFactoryError;
        }
        if (!is_handle(handle) || !close_keybox(handle)) {
            ALOGE("%s: close file failed!\n", kClose.name);
            return kFactoryError;
        }
        return kFactoryOk;
    });
}

void* factory_diag_write_handler(const void* request, uint16_t length) {
    return factory_serve(kWrite, request, length, [](RequestView view, uint8_t* rsp) {
        const int handle = static_cast<int>(request_u32(view, 4));
        const uint32_t offset = request_u32(view, 8);
        const size_t size = view.size > kWriteDataOffset ? view.size - kWriteDataOffset : 0;
        put_u32(rsp + 4, static_cast<uint32_t>(handle));
        put_u32(rsp + 8, offset);
        put_u32(rsp + 12, 0);
        if (handle < 0) {
            return kFactoryError;
        }
        const bool written = write_at(handle, offset, size > 0 ? view.data + kWriteDataOffset : nullptr, size);
        put_u32(rsp + 12, written ? static_cast<uint32_t>(size) : UINT32_MAX);
        return written ? kFactoryOk : kFactoryError;
    });
}
