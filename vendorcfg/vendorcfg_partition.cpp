// Transfers of the store image: every one opens the device, locks it, moves the whole image once, unlocks and closes.
// What the image holds is the business of vendorcfg_record and vendorcfg.
#include "vendorcfg/vendorcfg_partition.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#define LOG_TAG "cfgutil-impl"
#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"

namespace {
constexpr const char* kDefaultPath = "/dev/block/bootdevice/by-name/dip";
constexpr const char* kPrivateNode = "/dev/__vcfg__";
constexpr const char* kBlockClassDir = "/sys/class/block";
constexpr size_t kPathMax = 4096;              // bytes of a path of the scan, terminator included
constexpr std::string_view kPartName = "dip";  // the partition's name begins so

constexpr const char* orbcfg_paths[] = {
    "/dev/block/by-name/orbcfg",
    "/dev/block/bootdevice/by-name/orbcfg",
    "/dev/block/bootdevice/by-name/logs",
    kDefaultPath,
    kPrivateNode,
    nullptr,
};

// One open, locked device; a refusal has been logged and leaves it not ok.
class LockedDevice {
   public:
    LockedDevice(const char* caller, int flags, short lock_type) {
        fd_ = UniqueFd(device_open(vendorcfg_blk_path, flags | O_CLOEXEC));
        // Asked only now, for a path that opens is there: another is chosen when this one is gone.
        if (!fd_.ok() && device_access(vendorcfg_blk_path, F_OK) != 0) {
            get_valid_blk_path();
            fd_ = UniqueFd(device_open(vendorcfg_blk_path, flags | O_CLOEXEC));
        }
        if (!fd_.ok()) {
            ALOGI("Open file(%s) failed\n", vendorcfg_blk_path);
        } else if (!lock(lock_type)) {
            ALOGI("%s: file is locked by other process!\n", caller);
            (void)fd_.close();
        }
    }
    LockedDevice(const LockedDevice&) = delete;
    LockedDevice& operator=(const LockedDevice&) = delete;
    ~LockedDevice() {
        if (fd_.ok()) {
            (void)lock(F_UNLCK);  // closing would let it go as well
        }
    }

    bool ok() const { return fd_.ok(); }
    int get() const { return fd_.get(); }

   private:
    bool lock(short type) const {
        struct flock whole_file = {};
        whole_file.l_type = type;
        whole_file.l_whence = SEEK_SET;
        return fcntl(fd_.get(), F_SETLK, &whole_file) == 0;
    }

    UniqueFd fd_;
};

CfgTransfer transfer_result(ssize_t moved) {
    return moved == ssize_t{kVendorcfgImageSize} ? CfgTransfer::kWhole : CfgTransfer::kShort;
}

// Decimal number behind `prefix`; false when the line does not begin with it.
bool number_after(const char* line, std::string_view prefix, int32_t* number) {
    if (strncmp(line, prefix.data(), prefix.size()) != 0) {
        return false;
    }
    *number = static_cast<int32_t>(strtol(line + prefix.size(), nullptr, 10));
    return true;
}
}  // namespace

uint8_t vendorcfg_workbuffer[kVendorcfgImageSize];
const char* vendorcfg_blk_path = kDefaultPath;
int32_t blk_majorid = 0;
int32_t blk_minorid = 0;

void get_valid_blk_path() {
    for (const char* const* path = orbcfg_paths; *path != nullptr; ++path) {
        if (device_access(*path, F_OK) == 0) {
            vendorcfg_blk_path = *path;
            return;
        }
    }
}

CfgTransfer read_image(uint8_t* buffer) {
    const LockedDevice device("restore", O_RDONLY, F_RDLCK);
    if (!device.ok()) {
        return CfgTransfer::kRefused;
    }
    ssize_t moved = 0;
    do {
        moved = pread(device.get(), buffer, kVendorcfgImageSize, kVendorcfgImageOffset);
    } while (moved < 0 && errno == EINTR);
    const CfgTransfer result = transfer_result(moved);
    if (result != CfgTransfer::kWhole) {
        ALOGI("%s: read file failed!\n", "restore");
    }
    return result;
}

CfgTransfer write_image(const uint8_t* buffer, bool current) {
    // The write itself waits for storage: what has been answered outlives a power cut.
    const LockedDevice device("save", O_RDWR | O_DSYNC, F_WRLCK);
    if (!device.ok()) {
        return CfgTransfer::kRefused;
    }
    ssize_t moved = 0;
    do {
        moved = current ? pwrite(device.get(), buffer, kVendorcfgImageSize, kVendorcfgImageOffset) : 0;
    } while (moved < 0 && errno == EINTR);
    const CfgTransfer result = transfer_result(moved);
    if (result != CfgTransfer::kWhole) {
        ALOGI("%s: write file failed!\n", "save");
    }
    return result;
}

int vendorcfg_restore(uint8_t* buffer) { return read_image(buffer) == CfgTransfer::kWhole ? 0 : -1; }

int vendorcfg_save(const uint8_t* buffer) { return write_image(buffer, true) == CfgTransfer::kWhole ? 0 : -1; }

int vendorcfg_pl_restore(uint8_t* buffer) { return vendorcfg_restore(buffer); }

int vendorcfg_pl_save(const uint8_t* buffer) { return vendorcfg_save(buffer); }

int vendorcfg_clean() {
    memset(vendorcfg_workbuffer, 0, sizeof(vendorcfg_workbuffer));
    const int result = vendorcfg_save(vendorcfg_workbuffer);
    ALOGI("Clean vendorcfg done!\n");
    return result;
}

int vendorcfg_checksize() { return 1; }

int try_uevent(const char* path) {
    const UniqueStream file(device_fopen(path, "re"));
    if (!file) {
        return -1;
    }
    constexpr std::string_view kPartPrefix = "PARTNAME=";
    int32_t major_id = 0;
    int32_t minor_id = 0;
    char* line = nullptr;
    size_t room = 0;
    bool named = false;
    while (!named && getline(&line, &room, file.get()) >= 0) {
        if (number_after(line, "MAJOR=", &major_id) || number_after(line, "MINOR=", &minor_id)) {
            continue;
        }
        named = strncmp(line, kPartPrefix.data(), kPartPrefix.size()) == 0;
    }
    const UniqueText owner(line);
    if (!named) {
        return -1;
    }
    if (strncmp(line + kPartPrefix.size(), kPartName.data(), kPartName.size()) == 0) {
        blk_majorid = major_id;
        blk_minorid = minor_id;
    }
    return 0;
}

int get_major_minor_id() {
    const UniqueDir dir(device_opendir(kBlockClassDir));
    if (!dir) {
        return 0;
    }
    const std::string prefix = std::string(kBlockClassDir) + "/";
    while (const struct dirent* entry = readdir(dir.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || prefix.size() + name.size() + 1 >= kPathMax) {
            continue;
        }
        (void)try_uevent((prefix + entry->d_name + "/uevent").c_str());  // an unreadable one is no match
    }
    ALOGI("Result: blk_majorid = %d blk_minorid=%d\n", blk_majorid, blk_minorid);
    return 0;
}

int create_vendorcfg_node() {
    ALOGI("create_vendorcfg_node enter.\n");
    (void)get_major_minor_id();  // always 0
    if (blk_majorid == 0) {
        ALOGI("Can not find vendorcfg blk device!!!! ERROR.");
        return -1;
    }
    // Kept: the old device number encoding with eight bits of minor number, not makedev's.
    const auto number = (static_cast<uint32_t>(blk_majorid) * 256U) | static_cast<uint32_t>(blk_minorid);
    const int result = device_mknod(kPrivateNode, S_IFBLK | 0644, number);
    ALOGI("create_vendorcfg_node=%d\n", result);
    vendorcfg_blk_path = kPrivateNode;  // a node that was there already serves as well
    return result;
}

int remove_vendorcfg_node() {
    ALOGI("remove_vendorcfg_node enter.\n");
    const int result = device_unlink(kPrivateNode);
    vendorcfg_blk_path = kDefaultPath;
    return result;
}
