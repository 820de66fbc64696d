// Modem log capture: the platform's log collector is a process of its own, which is launched and killed through the
// shell.
#include "factory/mdlog.h"

#include <cstdio>
#include <string>

#include "factory/factory_request.h"
#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "platform/include/vendor_utils.h"
#include "support/files.h"

namespace {
constexpr const char* kCollector = "/system/bin/diag_mdlog";
constexpr const char* kFactoryLogDir = "/cache/logs/factorylog";
constexpr const char* kStorageLogDir = "sd_logs";
constexpr const char* kStorageMask = "diag_mask.cfg";
constexpr const char* kDefaultMask = "/system/etc/default_diag_logmask.cfg";
constexpr unsigned kFileSize = 100;  // the collector's "-s"
constexpr int kFileCount = 100;      // its "-n"
constexpr size_t kDirSize = 256;
constexpr size_t kCommandSize = 512;

// What this process knows of the collector; one that dies by itself is not noticed.
struct LogCapture {
    unsigned char running;
    unsigned file_size;
    bool path_set;
    char dir[kDirSize];
};
LogCapture capture;

constexpr FactoryCommand kLogStart = {7, 8, kDiagHeaderSize, "factory_diag_log_start"};
constexpr FactoryCommand kLogStop = {8, 8, kDiagHeaderSize, "factory_diag_log_stop"};
constexpr FactoryCommand kLogClear = {9, 8, kDiagHeaderSize, "factory_diag_log_clear"};

// The collector's mask file. With a directory set no storage root is known, and the storage's own mask is not looked
// for.
std::string mask_file(const std::string& storage_root) {
    std::string mask = storage_root + "/" + kStorageMask;
    if (!storage_root.empty() && is_file_exist(mask.c_str()) == 0) {
        return mask;
    }
    if (is_file_exist(kDefaultMask) == 0) {
        return kDefaultMask;
    }
    ALOGE("%s can not find logmask file", "mdlog_start");
    return mask;
}

bool make_log_dir(const std::string& dir) {
    if (is_file_exist(dir.c_str()) == 0) {
        return true;
    }
    ALOGD("%s : begin create dir %s ", "mdlog_start", dir.c_str());
    if (device_mkdir(dir.c_str(), 0777) != 0) {
        ALOGE("%s : create dir %s failed!!!", "mdlog_start", dir.c_str());
        return false;
    }
    return true;
}
}  // namespace

void mdlog_init() {
    capture.file_size = kFileSize;
    capture.path_set = false;
}

void mdlog_set_log_file_path(const char* directory) {
    if (directory != nullptr) {
        (void)snprintf(capture.dir, sizeof(capture.dir), "%s", directory);
        capture.path_set = true;
    }
}

bool mdlog_start(int selector) {
    const std::string storage_root = capture.path_set ? "" : sdcard_path_get_internal(selector);
    const std::string dir = capture.path_set ? capture.dir : storage_root + "/" + kStorageLogDir;
    ALOGD("mdlog_start: path is %s", dir.c_str());
    const std::string mask = mask_file(storage_root);
    if (!make_log_dir(dir)) {
        return false;
    }
    char command[kCommandSize];
    (void)snprintf(command, sizeof(command), "%s -f %s -o %s -c -n %d -s %d &", kCollector, mask.c_str(), dir.c_str(),
                   kFileCount, static_cast<int>(capture.file_size));
    ALOGD("diag_cmd: excute %s", command);
    const int result = device_system(command);
    if (result < 0) {
        ALOGE("mdlog_start: error %d", result);
        return false;
    }
    capture.running = 1;
    return true;
}

bool mdlog_stop() {
    ALOGD("mdlog_stop");
    char command[kCommandSize];
    (void)snprintf(command, sizeof(command), "%s -k", kCollector);
    const int result = device_system(command);
    if (result != 0) {
        ALOGE("mdlog_start: error %d", result);  // Kept: the start's text
        return false;
    }
    capture.running = 0;
    return true;
}

unsigned char mdlog_is_run() { return capture.running; }

void* factory_diag_log_start(const void* request, uint16_t length) {
    return factory_serve(kLogStart, request, length, [](RequestView, uint8_t*) {
        if (mdlog_is_run() == 1) {
            ALOGD("%s MDLOG already start \n", kLogStart.name);
            return kFactoryOk;
        }
        mdlog_set_log_file_path(kFactoryLogDir);
        if (!mdlog_start(0)) {
            ALOGE("%s MDLOG start faild\n", kLogStart.name);
            return kFactoryError;
        }
        return kFactoryOk;
    });
}

void* factory_diag_log_stop(const void* request, uint16_t length) {
    return factory_serve(kLogStop, request, length, [](RequestView, uint8_t*) {
        if (mdlog_is_run() == 0) {
            ALOGD("%s MDLOG already stop \n", kLogStop.name);
            return kFactoryOk;
        }
        if (!mdlog_stop()) {
            ALOGE("%s MDLOG stop faild\n", kLogStop.name);
            return kFactoryError;
        }
        return kFactoryOk;
    });
}

void* factory_diag_log_clear(const void* request, uint16_t length) {
    return factory_serve(kLogClear, request, length, [](RequestView, uint8_t*) {
        (void)delete_dirtory(kFactoryLogDir);  // the command reports only that it ran
        return kFactoryOk;
    });
}
