// Power and boot-mode commands: restart, power off, special boot modes, shipping mode, the APDP image. A command that
// takes the phone down answers first; its worker acts after the answer has had time to leave.
#include "ftm/ftm_power.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "ftm/ftm_message.h"
#include "ftm/ftm_partition_copy.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/power.h"
#include "platform/include/vendor_utils.h"
#include "support/files.h"
#include "support/modem_connection.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kDownloadModeNode[] = "/sys/module/restart/parameters/download_mode";
constexpr char kFactoryModeNode[] = "/sys/module/orb_misc/parameters/factory_mode";
constexpr char kShipModeNode[] = "/sys/class/qcom-battery/ship_mode_en";
constexpr char kUsbOnlineNode[] = "/sys/class/power_supply/usb/online";

constexpr char kApdpMiniImage[] = "/vendor/firmware_mnt/image/apdpmini.mbn";
constexpr char kApdpFullImage[] = "/vendor/firmware_mnt/image/apdpfull.mbn";
constexpr char kApdpPartition[] = "/dev/block/bootdevice/by-name/apdp";
constexpr char kApdpbPartition[] = "/dev/block/bootdevice/by-name/apdpb";

constexpr FtmStatus kModemNotReady{3};  // the tool waits and tries again

// Restart reasons. Workers take an untyped pointer, so these are not constants; nobody writes to them.
char normal_reason[] = "orb";
char ftm_reason[] = "ftmmode";
char recovery_reason[] = "recovery";
char edl_reason[] = "edl";

// The exit line stands before the worker starts, so that it cannot mix with the worker's own lines.
FtmStatus succeed(const char* name, WorkerBody* worker, void* arg = nullptr) {
    const FtmStatus status = ftm_finish(name, kFtmSuccess);
    (void)start_worker(worker, arg);  // the answer is on its way whether or not the phone follows
    return status;
}

void restart(const char* name, const char* reason) {
    if (reason != nullptr) {
        ALOGE("%s,restart_reason :%s\n", name, reason);
        (void)android_reboot(ANDROID_RB_RESTART2, 0, reason);
    } else {
        (void)device_reboot(kRebootRestart);
    }
    ALOGD("%s: x\n", name);  // reached only when the phone did not go down
}

// True when the USB supply's node says that the cable is gone.
bool reads_removed(const NodeText& online) { return online.readable() && *online.text() == '0'; }

// Writes the one character "1". Negative on failure.
ssize_t raise_flag(int fd) { return write_once(fd, "1", 1); }

}  // namespace

int ftm_diag_power_usb_present() {
    ALOGD("%s: e\n", __func__);
    for (;;) {
        const NodeText online = read_node(kUsbOnlineNode);
        ALOGD("ftm_diag_req_cmd_extendreboot %s\n", online.text());
        if (reads_removed(online)) {
            return 1;
        }
        device_sleep(1);
    }
}

void* ftm_reboot_thread(void* arg) {
    ALOGD("%s: e\n", __func__);
    device_sleep(2);
    device_sync();
    device_sleep(2);
    restart(__func__, static_cast<const char*>(arg));
    return nullptr;
}

void* ftm_extendreboot_thread(void* arg) {
    ALOGD("%s: e\n", __func__);
    (void)ftm_diag_power_usb_present();
    restart(__func__, static_cast<const char*>(arg));
    return nullptr;
}

void* ftm_poweroff_thread(void*) {
    ALOGD("%s: e\n", __func__);
    device_sleep(1);
    device_sync();
    device_sleep(3);
    (void)device_reboot(kRebootPowerOff);
    return nullptr;
}

void* ftm_extendpoweroff_thread(void*) {
    ALOGD("%s: e\n", __func__);
    (void)ftm_diag_power_usb_present();
    (void)device_reboot(kRebootPowerOff);
    return nullptr;
}

void* ftm_reboot_edl_thread(void*) {
    (void)android_reboot(ANDROID_RB_RESTART2, 0, edl_reason);
    return nullptr;
}

FtmStatus ftm_diag_req_cmd_reboot(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_reboot_thread, normal_reason);
}

FtmStatus ftm_diag_req_cmd_rebootftm(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_reboot_thread, ftm_reason);
}

FtmStatus ftm_diag_req_cmd_extendreboot(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_extendreboot_thread, normal_reason);
}

FtmStatus ftm_diag_req_cmd_poweroff(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_poweroff_thread);
}

FtmStatus ftm_diag_req_cmd_extendpoweroff(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_extendpoweroff_thread);
}

FtmStatus ftm_diag_req_cmd_rebootedl(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    return succeed(__func__, ftm_reboot_edl_thread);
}

FtmStatus ftm_diag_req_cmd_dload(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    UniqueFd node(device_open(kDownloadModeNode, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!node.ok()) {
        ALOGE("%s: open file failed!\n", "ftm_set_dload_mode");
        return ftm_finish(__func__, kFtmFailure);
    }
    if (raise_flag(node.get()) < 0) {
        ALOGE("%s: write file failed!\n", "ftm_set_dload_mode");
        return ftm_finish(__func__, kFtmFailure);
    }
    (void)node.close();
    return succeed(__func__, ftm_reboot_thread, normal_reason);
}

int reset_apdp_data_from_nonhlos(int mini) {
    const char* image = mini == 1 ? kApdpMiniImage : kApdpFullImage;
    const UniqueFd source(device_open(image, kReadFlags));
    if (!source.ok()) {
        ALOGD("%s: failed to open APDP file %s errno: %d!\n", __func__, image, errno);
        return -1;
    }
    const UniqueFd apdp(device_open(kApdpPartition, O_RDWR | O_CLOEXEC));
    if (!apdp.ok()) {
        ALOGD("%s: failed to open APDP blk %s!\n", __func__, kApdpPartition);
        return -1;
    }
    const UniqueFd apdpb(device_open(kApdpbPartition, O_RDWR | O_CLOEXEC));
    if (!apdpb.ok()) {
        ALOGD("%s: failed to open APDPB blk %s!\n", __func__, kApdpbPartition);
        return -1;
    }
    const long long size = image_size(source.get());
    if (size < 0) {
        ALOGD("%s: failed to fstat the input file!\n", __func__);
        return -1;
    }
    ALOGD("%s: input APDP file len: %lld\n", __func__, size);
    const std::array<int, 2> targets = {apdp.get(), apdpb.get()};
    const ImageCopy end = copy_image(source.get(), size, targets);
    if (end == ImageCopy::kReadFailed) {
        ALOGD("%s: failed to read apdp data from %s!\n", __func__, image);
    } else if (end == ImageCopy::kWriteFailed) {
        ALOGD("%s: failed to write apdp data to %s or %s!\n", __func__, kApdpPartition, kApdpbPartition);
    }
    return end == ImageCopy::kDone ? 0 : -1;
}

FtmStatus ftm_diag_req_cmd_resetapdpdata(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    if (reset_apdp_data_from_nonhlos(0) != 0) {
        ALOGE("%s: reset apdp data from nonhlos failed !\n", __func__);
        return ftm_finish(__func__, kFtmFailure);
    }
    return ftm_finish(__func__, kFtmSuccess);
}

FtmStatus ftm_diag_req_cmd_factoryresetdata(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    if (reset_apdp_data_from_nonhlos(1) != 0) {
        ALOGE("%s: reset apdp data from nonhlos failed !\n", __func__);
        return ftm_finish(__func__, kFtmFailure);
    }
    if (cfg_set("recovery.command", "--factory_wipe_data") < 0) {
        ALOGE("%s: set cfg failed !\n", __func__);
        return ftm_finish(__func__, kFtmFailure);
    }
    // Only now: a retry repeats the steps above, which does no harm.
    if (is_qmi_init_done() == 0) {
        ALOGE(" qmi is not ready..., wait and try again\n");
        return ftm_finish(__func__, kModemNotReady);
    }
    ALOGD("%s: modem_restore_qcn_data ...\n", __func__);
    const int result = modem_restore_qcn_data();
    if (result != 0) {
        ALOGD("%s: modem_restore_qcn_data error, result = %d\n", __func__, result);
        return ftm_finish(__func__, kFtmFailure);
    }
    (void)log_control_set_flag(0);  // the flag is no part of what the reset promises
    return succeed(__func__, ftm_reboot_thread, recovery_reason);
}

namespace {

// One reading of the USB supply, logged under `label` when there is one.
bool usb_reads_removed(const char* label) {
    const NodeText online = read_node(kUsbOnlineNode);
    if (online.readable()) {
        ALOGD("%s %s\n", label, online.text());
    }
    return reads_removed(online);
}

// Opens the node that takes the shipping flag: the factory module's, else the battery driver's.
UniqueFd open_shipping_node(const char* name) {
    UniqueFd node(device_open(kFactoryModeNode, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (node.ok()) {
        return node;
    }
    ALOGE("%s: open first pach file failed!\n", name);
    node = UniqueFd(device_open(kShipModeNode, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!node.ok()) {
        ALOGE("%s: open second  pach file failed!\n", name);
    }
    return node;
}

}  // namespace

int ftm_diag_power_usb_present_for_shipmode() {
    ALOGD("%s: e\n", __func__);
    for (;; device_sleep(1)) {
        if (!usb_reads_removed("ftm_diag_usb_present_shipmode")) {
            continue;
        }
        device_sleep(1);  // a single glitch must not send the phone to sleep
        if (usb_reads_removed("ftm_diag_usb_present_shipmode2")) {
            return 1;
        }
    }
}

void* ftm_writefactorymode_thread(void*) {
    (void)ftm_diag_power_usb_present_for_shipmode();
    UniqueFd node = open_shipping_node(__func__);
    if (!node.ok() || raise_flag(node.get()) < 0) {
        return nullptr;
    }
    ALOGE("%s: \n", __func__);
    (void)node.close();
    (void)start_worker(ftm_poweroff_thread, nullptr);  // without a worker the phone stays on, as after a failed write
    return nullptr;
}
