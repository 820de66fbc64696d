#include "fuzz/fuzz_phone.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "daemon/registration.h"
#include "ftm/ftm_command.h"
#include "platform/host/diag_library.h"
#include "platform/host/host.h"
#include "support/worker.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kMaxPacket = 16384;  // a longer one opens the diag service again, which has no channel here
constexpr uint8_t kErrorBadCommand = 19;
constexpr uint8_t kErrorBadLength = 21;

// Directories of a fresh phone.
constexpr const char* kDirectories[] = {
    ".sim/properties",
    ".sim/modem/efs",
    ".sim/modem/properties",
    ".sim/board/config",
    ".sim/secure",
    "cache/HDCP",
    "cache/logs/factorylog",
    "data/app",
    "dev/block/by-name",
    "dev/input",
    "empty",
    "etc",
    "mnt/vendor/persist/omadm",
    "mnt/vendor/persist/keybox",
    "mnt/vendor/persist/sensors",
    "mnt/vendor/persist/factoryinfo",
    "proc/driver",
    "sdcard",
    "sys/class/power_supply/usb",
    "sys/class/power_supply/battery",
    "sys/class/input/event0/device/capabilities",
    "sys/bus/scsi/devices/0:0:0:0",
    "system/bin",
    "vendor/bin",
    "vendor/etc/firmware",
    "sys/devices/platform/soc/1d84000.ufshc/geometry_descriptor",
};

struct PhoneFile {
    const char* path;
    const char* content;
};
constexpr PhoneFile kFiles[] = {
    {"etc/passwd", "bluetooth:x:1002:1002::/:\n"},
    {"etc/group", "bluetooth:x:1002:\n"},
    {"sys/class/power_supply/usb/online", "0"},  // or a worker waits for ever
    {"sys/class/power_supply/battery/status", "Full\n"},
    {"sys/class/input/event0/device/capabilities/ev", "3"},
    {"cache/HDCP/HDCP2_PEM", "p"},
    {"cache/HDCP/DPS", "d"},
    {"mnt/vendor/persist/wifimac.dat", "wifiaddr:0x00 0x11 0x22 0xAA 0xBB 0xCC "},
    {".sim/modem/qmi", "0"},
    {".sim/modem/deft", "0"},
    {".sim/board/board_id", "BOARD0123456"},
};

// The phone's programs: shell built-ins only.
constexpr PhoneFile kPrograms[] = {
    {"vendor/bin/st_seid", "echo CPLC"},
    {"vendor/bin/st_se_factory", "echo clean chip:true; echo factory_reset:success; echo Program terminated normally"},
    {"vendor/bin/soter_client", "echo \"key $1\""},
    {"vendor/bin/orb_pdt_tool", "echo \"$*\""},
    {"vendor/bin/hdcp2p2prov", "echo done"},
    {"system/bin/alikey_client", "exit 0"},
    {"vendor/bin/md5sum", "echo 0123456789abcdef0123456789abcdef"},
    {"vendor/bin/rkp_factory_extraction_tool", "echo '{\"csr\":\"AAAA\"}'"},
    {"vendor/bin/KmInstallKeybox", "echo 'InstallKeybox is done!'"},
    {"vendor/bin/StoreKeybox", "echo successful"},
    {"vendor/bin/oemcrypto_test", "echo '[       OK ]'"},
    {"system/bin/diag_mdlog", "exit 0"},
};

// What a fuzzer may change. Never a program.
constexpr const char* kChangeable[] = {
    "mnt/vendor/persist/wifimac.dat",
    "mnt/vendor/persist/.bt_nv.bin",
    "mnt/vendor/persist/omadm/oma_dm",
    "mnt/vendor/persist/countrycode",
    "mnt/vendor/persist/lcdcurrent",
    "mnt/vendor/persist/factoryinfo.xml",
    "mnt/vendor/persist/factoryinfo/factoryinfo.xml",
    "mnt/vendor/persist/sensors/light_sen.txt",
    "mnt/vendor/persist/sensors/light_sen_2.txt",
    "mnt/vendor/persist/sensors/vibrate_data.txt",
    "proc/mhl_version",
    "proc/cmdline",
    "proc/bootconfig",
    "proc/driver/board_id",
    "proc/driver/emmc_id",
    "proc/driver/ddr_id",
    "vendor/etc/hwid.conf",
    "vendor/etc/firmware/cos_code.hex",
    "sys/bus/scsi/devices/0:0:0:0/vendor",
    "sys/bus/scsi/devices/0:0:0:0/model",
    "sys/bus/scsi/devices/0:0:0:0/rev",
    "sys/devices/platform/soc/1d84000.ufshc/geometry_descriptor/raw_device_capacity",
    "sys/class/power_supply/battery/status",
    "sys/class/power_supply/battery/present",
    "sys/class/android_usb/android0/iSerial",
    "dev/block/by-name/orbcfg",
    "mnt/vendor/persist/fan_light",
    "mnt/vendor/persist/keybox/csr.json",
    "mnt/vendor/persist/keybox/keybox.xml",
    "mnt/vendor/persist/factoryinfo/customfolder",
    "cache/board_number",
    "cache/sw_ver_num",
    "data/app/mcRegistry/00000000.authtokcont",
    "dev/block/bootdevice/by-name/apdp",
    "dev/block/bootdevice/by-name/apdpb",
    "dev/block/bootdevice/by-name/sec",
    "dev/block/bootdevice/by-name/secdata",
    "vendor/firmware_mnt/image/apdpmini.mbn",
    "vendor/firmware_mnt/image/apdpfull.mbn",
    "proc/partitions",
    "sys/class/leds/aw22xxx_led/rgb",
    "sys/class/leds/aw9523b_led/device/led_ftm_mode",
    "sys/class/power_supply/battery/capacity",
    "sys/class/qcom-battery/ship_mode_en",
    "sys/devices/platform/orb_ftm/orb_ftm/efs_recovery",
    "sys/devices/soc0/orb_hw_ver",
    "sys/module/orb_misc/parameters/factory_mode",
    "sys/module/orb_misc/parameters/is_breath_led_exist",
    "sys/module/restart/parameters/download_mode",
    "sys/devices/platform/soc/soc:orb_rchip/orb-rchip/power_on",
    "sys/devices/platform/soc/soc:orb_rchip/orb-rchip/bd_gps_sw",
    ".sim/modem/efs/0",
    ".sim/modem/eid",
    ".sim/modem/imei",
    ".sim/modem/cards",
    ".sim/modem/sim_tray",
    ".sim/modem/prl",
    ".sim/board/board_id",
    ".sim/board/mcf",
    ".sim/board/ccf",
    ".sim/board/set_result",
    ".sim/board/variant_flag",
    ".sim/board/manufacture_flag",
    ".sim/secure/rpmb",
    ".sim/secure/service",
    ".sim/properties/ro.bootmode",
    ".sim/properties/ro.boot.emmcid",
    ".sim/properties/ro.product.device",
    ".sim/properties/ro.product.manufacturer",
    ".sim/properties/ro.build.sw_internal_version",
    ".sim/properties/ro.vendor.build.hardware_version",
    ".sim/properties/persist.vendor.sys.device.country",
};

struct NumberedCommand {
    uint8_t subsystem;
    uint16_t code;
};
constexpr NumberedCommand kNumbered[] = {
    {253, 1},  {253, 2},  {253, 3},   {253, 4},   {253, 5},  {253, 6},   {253, 7},  {253, 8},  {253, 9},  {253, 10},
    {253, 11}, {253, 12}, {253, 13},  {253, 14},  {253, 15}, {253, 16},  {253, 17}, {253, 18}, {253, 19}, {253, 20},
    {253, 21}, {253, 22}, {253, 23},  {253, 24},  {253, 25}, {253, 26},  {202, 4},  {205, 43}, {171, 7},  {171, 8},
    {171, 9},  {205, 4},  {171, 518}, {171, 262}, {205, 26}, {205, 164}, {11, 54},
};
constexpr uint8_t kTopLevel[] = {56, 57, 60, 246, 41, 0};

enum Kind : uint8_t { kExtended, kMain, kBattery, kSubsystem, kTop, kRaw, kKinds };

std::string root;
std::atomic<size_t> log_bytes{0};  // every line is formatted; nobody keeps it

void remove_root() {
    std::error_code ignored;  // a worker may still be writing there
    fs::remove_all(root, ignored);
}

void put_file(const std::string& path, const std::string& content) {
    std::ofstream(root + "/" + path, std::ios::binary) << content;
}

void lay_out() {
    for (const char* directory : kDirectories) {
        fs::create_directories(root + "/" + directory);
    }
    fs::create_directory_symlink("mnt/vendor/persist", root + "/persist");
    for (const PhoneFile& file : kFiles) {
        put_file(file.path, file.content);
    }
    for (const PhoneFile& program : kPrograms) {
        put_file(program.path, std::string("#!/bin/sh\n") + program.content + "\n");
        (void)chmod((root + "/" + program.path).c_str(), 0755);
    }
    (void)mkfifo((root + "/dev/input/event0").c_str(), 0600);
    put_file("dev/block/by-name/orbcfg", std::string(16384, '\0'));
}

// Once: the phone's place, its settings, and every table.
void start() {
    root = (fs::temp_directory_path() / "vendordiag-fuzz-XXXXXX").string();
    fuzz_require(mkdtemp(root.data()) != nullptr);
    (void)atexit(remove_root);
    (void)setenv("PATH", (root + "/empty").c_str(), 1);
    (void)freopen("/dev/null", "w", stdout);  // the daemon's own lines
    HostSettings settings;
    settings.root = root;
    settings.time_scale = 0;
    settings.power_exits = false;
    settings.response_fill = 0xA5;
    settings.log_sink = [](const HostLogRecord& record) { log_bytes += strlen(record.text.c_str()); };
    settings.sleep_sink = [](uint64_t) { std::this_thread::yield(); };
    host_configure(settings);
    lay_out();
    register_commands();
}

// The key thread never ends; every other worker does.
void wait_for_workers() {
    static unsigned endless = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (workers_running() > endless) {
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        if (std::chrono::steady_clock::now() > deadline && workers_running() == 1) {
            endless = 1;
        }
    }
}

std::string named_request(uint16_t code, std::string name, FuzzInput* input, bool counted) {
    constexpr unsigned kOtherCase = 1;
    constexpr unsigned kLongerName = 2;
    constexpr unsigned kNameEnds = 4;
    const unsigned flags = input->byte();
    if ((flags & kOtherCase) != 0) {
        for (char& c : name) {
            c = static_cast<char>(c ^ ((c & 0x40) != 0 && c != '_' ? 0x20 : 0));
        }
    }
    const std::string head = {75, 11, static_cast<char>(code), static_cast<char>(code >> 8)};
    name += (flags & kLongerName) != 0 ? "2" : "";
    const std::string args = counted ? input->counted() : input->rest();
    return head + name + ((flags & kNameEnds) != 0 ? "" : std::string(1, '\0') + args);
}

}  // namespace

void fuzz_phone_reset() {
    static const bool started = (start(), true);
    (void)started;
    remove_root();
    lay_out();
}

void fuzz_phone_write(const std::string& path, const std::string& content) { put_file(path, content); }

void fuzz_phone_serve(const std::string& packet) {
    const size_t size = std::min(packet.size(), kMaxPacket);
    if (size == 0) {
        return;
    }
    auto* exact = static_cast<uint8_t*>(malloc(size));
    std::copy_n(packet.data(), size, exact);
    const DiagResponse response = diag_serve(exact, size);
    if (response != nullptr) {
        const auto* bytes = static_cast<const uint8_t*>(response.get());
        fuzz_require(diag_response_size(bytes) >= 1);
        fuzz_require(bytes[0] == exact[0] || bytes[0] == kErrorBadCommand || bytes[0] == kErrorBadLength);
    }
    wait_for_workers();
    free(exact);
}

std::string fuzz_request(FuzzInput* input, bool counted) {
    const uint8_t kind = input->byte() % kKinds;
    const uint8_t row = input->byte();
    switch (kind) {
        case kExtended:
            return named_request(32767, fuzz_pick(ftm_diag_req_ext_cmd_map, row).cmd, input, counted);
        case kMain:
            return named_request(32766, fuzz_pick(ftm_diag_req_cmd_map, row).cmd, input, counted);
        case kBattery:
            return named_request(32765, "setfactorymode", input, counted);
        case kSubsystem: {
            const NumberedCommand& command = fuzz_pick(kNumbered, row);
            const std::string head = {75, static_cast<char>(command.subsystem), static_cast<char>(command.code),
                                      static_cast<char>(command.code >> 8)};
            return head + (counted ? input->counted() : input->rest());
        }
        case kTop:
            return static_cast<char>(fuzz_pick(kTopLevel, row)) + (counted ? input->counted() : input->rest());
        default:
            return counted ? input->counted() : input->rest();
    }
}

void fuzz_phone_change(FuzzInput* input) {
    const std::string path = fuzz_pick(kChangeable, input->byte());
    const std::string content = input->counted();
    std::error_code ignored;  // what is not there needs no removal
    if (content.empty()) {
        fs::remove_all(root + "/" + path, ignored);
        return;
    }
    fs::create_directories(fs::path(root + "/" + path).parent_path(), ignored);
    put_file(path, content);
}
