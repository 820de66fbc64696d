// Secure provisioning commands: fuses, token backup and boot flags. The RPMB key is in ftm_rpmb.cpp, the keyboxes are
// in ftm_keybox.cpp.
#include "ftm/ftm_secure.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>

#include "ftm/ftm_message.h"
#include "ftm/ftm_partition_copy.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "support/files.h"
#include "vendorcfg/vendorcfg.h"

namespace {

struct FuseNode {
    unsigned char selector;
    const char* path;
};

constexpr FuseNode kFuseNodes[] = {
    {2, "/sys/devices/platform/orb_ftm/orb_ftm/secboot_status"},
    {4, "/sys/devices/platform/orb_ftm/orb_ftm/simlock_status"},
    {6, "/sys/devices/platform/orb_ftm/orb_ftm/perm_status"},
};

struct FuseImage {
    unsigned char selector;
    const char* path;
    const char* fallback;  // empty: none
};

constexpr FuseImage kFuseImages[] = {
    {1, "/firmware/image/secboot.dat", "/vendor/firmware_mnt/image/secboot.dat"},
    {3, "/firmware/image/simlock.dat", ""},
    {5, "/firmware/image/permissi.dat", "/vendor/firmware_mnt/image/permissi.dat"},
};

constexpr char kSecPartition[] = "/dev/block/bootdevice/by-name/sec";
constexpr char kSecdataPartition[] = "/dev/block/bootdevice/by-name/secdata";

constexpr char kTokenFile[] = "/data/app/mcRegistry/00000000.authtokcont";
constexpr mode_t kTokenMode = 0664;  // Kept: of the directory too, which then has no search bit.

// The row of a selector, or null.
template <typename Row, size_t N>
const Row* find_row(const Row (&rows)[N], unsigned char selector) {
    for (const Row& row : rows) {
        if (row.selector == selector) {
            return &row;
        }
    }
    return nullptr;
}

UniqueFd open_logged(const char* name, const char* path) {
    UniqueFd image;
    if (*path == '\0') {
        errno = ENOENT;
    } else {
        image = UniqueFd(device_open(path, kReadFlags));
    }
    if (!image.ok()) {
        ALOGD("%s: failed to open file %s errno: %d!\n", name, path, errno);
    }
    return image;
}

UniqueFd open_sec_partition() {
    UniqueFd partition(device_open(kSecPartition, O_RDWR | O_CLOEXEC));
    return partition.ok() ? std::move(partition) : UniqueFd(device_open(kSecdataPartition, O_RDWR | O_CLOEXEC));
}

// Writes a fuse image to the "sec" partition. True when all of it is there. Kept: the lines name the first image and
// the first partition, whichever were opened.
bool write_fuse_image(const char* name, const FuseImage& image) {
    UniqueFd source = open_logged(name, image.path);
    if (!source.ok()) {
        source = open_logged(name, image.fallback);
    }
    if (!source.ok()) {
        return false;
    }
    const UniqueFd partition = open_sec_partition();
    if (!partition.ok()) {
        ALOGD("%s: failed to open blk %s!\n", name, kSecPartition);
        return false;
    }
    const long long size = image_size(source.get());
    if (size < 0) {
        ALOGD("%s: failed to fstat the input file!\n", name);
        return false;
    }
    ALOGD("%s: input file len: %lld\n", name, size);
    const std::array<int, 1> targets = {partition.get()};
    const ImageCopy end = copy_image(source.get(), size, targets);
    if (end == ImageCopy::kReadFailed) {
        ALOGD("%s: failed to read secboot data from %s!\n", name, image.path);
    } else if (end == ImageCopy::kWriteFailed) {
        ALOGD("%s: failed to write secboot data from %s!\n", name, kSecPartition);
    }
    return end == ImageCopy::kDone;
}

// Copies the token container to the backup and synchronises it. False after a logged failure.
bool copy_token(int source, int backup, const char* backup_path) {
    std::array<char, 512> piece{};
    for (;;) {
        const ssize_t got = read_once(source, piece.data(), piece.size());
        if (got < 0) {
            ALOGE("read file failed: %s, errno = %d", kTokenFile, errno);
            return false;
        }
        if (got == 0) {
            break;
        }
        if (write_once(backup, piece.data(), static_cast<size_t>(got)) != got) {
            ALOGE("write file failed: %s, errno = %d", backup_path, errno);
            return false;
        }
    }
    (void)device_fsync(backup);  // Kept: the backup counts as made even where it cannot be synchronised
    ALOGI("auth token backup is completed: %s->%s", kTokenFile, backup_path);
    return true;
}

// Opens a file of the token backup, with its line on failure.
UniqueFd open_token_file(const char* path, int flags) {
    UniqueFd file(device_open(path, flags | O_CLOEXEC, kTokenMode));
    if (!file.ok()) {
        ALOGE("open file failed: %s, errno = %d", path, errno);
    }
    return file;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_readfuse(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, args[0]);
    const FuseNode* fuse = find_row(kFuseNodes, args[0]);
    if (fuse == nullptr) {
        return kFtmFailure;
    }
    const UniqueFd node(device_open(fuse->path, kReadFlags));
    if (!node.ok()) {
        ALOGD("%s: failed to open %s!\n", __func__, fuse->path);
        return kFtmFailure;
    }
    std::array<char, 5> text{};
    (void)read_once(node.get(), text.data(), text.size() - 1);  // a node that yields nothing reads as 0
    const long value = strtol(text.data(), nullptr, 10);
    ALOGD("%s: read value 1: %s\n", __func__, text.data());
    ALOGD("%s: read value 2: %ld\n", __func__, value);
    message.put(static_cast<unsigned char>(value));
    ALOGD("%s: rsp_msg: %d\n", __func__, message.bytes[0]);
    ALOGD("%s: end\n", __func__);
    return kFtmSuccess;
}

FtmStatus ftm_diag_req_cmd_writefuse(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    const FuseImage* image = find_row(kFuseImages, args[0]);
    if (image == nullptr) {
        ALOGE("%s: bad request\n", __func__);
        return kFtmFailure;
    }
    return ftm_finish(__func__, write_fuse_image(__func__, *image));
}

FtmStatus ftm_diag_req_cmd_tokbackup(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: req_args: %d\n", __func__, args[0]);
    const std::string root = persist_dir();
    const std::string directory = root + "/rsu";
    const std::string backup_path = directory + "/00000000.authtokcont.backup";
    // Neither need be there; a directory that stays makes the next step fail.
    (void)device_remove(backup_path.c_str());
    (void)device_remove(directory.c_str());
    if (device_mkdir(directory.c_str(), kTokenMode) != 0) {
        ALOGE("mkdir failed: %s, errno = %d", directory.c_str(), errno);
        return kFtmFailure;
    }
    UniqueFd source = open_token_file(kTokenFile, O_RDONLY | O_NONBLOCK);
    if (!source.ok()) {
        return kFtmFailure;
    }
    UniqueFd backup = open_token_file(backup_path.c_str(), O_WRONLY | O_NONBLOCK | O_CREAT | O_TRUNC);
    if (!backup.ok()) {
        return kFtmFailure;
    }
    const bool copied = copy_token(source.get(), backup.get(), backup_path.c_str());
    (void)source.close();
    (void)backup.close();
    ALOGD("%s: x\n", __func__);
    return ftm_status(copied);
}

FtmStatus ftm_diag_req_cmd_writeveritycfg(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    const bool stored = cfg_set_int("eioeraseflag", args[0]) > 0;
    if (!stored) {
        ALOGE("%s: eio erase flag set failed!\n", __func__);
    }
    return ftm_finish(__func__, stored);
}

FtmStatus ftm_diag_req_cmd_rmavbrollback(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    const bool stored = cfg_set_int("rmavbrollback", 1) > 0;
    if (!stored) {
        ALOGE("%s: avb rollback reset flag set failed!\n", __func__);
    }
    return ftm_finish(__func__, stored);
}
