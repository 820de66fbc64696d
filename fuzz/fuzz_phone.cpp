#include "fuzz/fuzz_phone.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

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

// Stores that a phone at rest does not have yet, and what hides a file of its own.
constexpr const char* kYetToCome[] = {".sim/board/set_result",
                                      ".sim/properties/ro.boot.emmcid",
                                      ".sim/properties/ro.bootmode",
                                      ".sim/properties/ro.build.sw_internal_version",
                                      ".sim/secure/rpmb",
                                      ".sim/secure/service",
                                      "cache/board_number",
                                      "cache/sw_ver_num",
                                      "dev/block/bootdevice/by-name/secdata",
                                      "mnt/vendor/persist/factoryinfo.xml",
                                      "mnt/vendor/persist/factoryinfo/factoryinfo.xml",
                                      "mnt/vendor/persist/fan_light",
                                      "mnt/vendor/persist/keybox/csr.json",
                                      "proc/driver/emmc_id",
                                      "sys/class/leds/aw22xxx_led/rgb"};
constexpr char kUsbOnline[] = "sys/class/power_supply/usb/online";  // while it is 1 a worker waits

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

// A copy of the phone at rest. Of the host's programs its shell finds those that its own ones need.
void lay_out() {
    remove_root();
    const std::string copy = "/bin/cp -aT " VENDORDIAG_DEVICE " " + root + " && /bin/ln -sft " + root +
                             "/tmp /bin/cat /bin/cp /bin/dd /bin/grep /bin/mkdir /usr/bin/wc";
    fuzz_require(system(copy.c_str()) == 0);
    put_file(kUsbOnline, "0");
}

// What a fuzzer may change: every file that is no program, in the order of their names.
std::vector<std::string> changeable_files() {
    std::vector<std::string> files(std::begin(kYetToCome), std::end(kYetToCome));
    for (const auto& entry : fs::recursive_directory_iterator(VENDORDIAG_DEVICE)) {
        const std::string path = entry.path().lexically_relative(VENDORDIAG_DEVICE);
        const bool program = (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
        if (entry.is_regular_file() && !program && path != kUsbOnline && path != ".sim/laid-out") {
            files.push_back(path);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The heads of requests by number: of every subsystem's commands, or of those that have none.
std::vector<std::string> heads(bool of_subsystems) {
    std::vector<std::string> all;
    for (const DiagDispatchTable* table : host_diag_tables()) {
        for (uint16_t i = 0; i < table->count && (table->subsys_id != kDiagNoSubsystem) == of_subsystems; ++i) {
            const uint16_t code = table->entries[i].cmd_code_lo;
            const std::string low(1, static_cast<char>(code));
            all.push_back(of_subsystems ? std::string{75, static_cast<char>(table->subsys_id)} + low +
                                              static_cast<char>(code >> 8)
                                        : low);
        }
    }
    return all;
}

// Once: the phone's place, its settings, and every table.
void start() {
    root = (fs::temp_directory_path() / "vendordiag-fuzz-XXXXXX").string();
    fuzz_require(mkdtemp(root.data()) != nullptr);
    (void)atexit(remove_root);
    (void)setenv("PATH", (root + "/tmp").c_str(), 1);
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
        case kSubsystem:
        case kTop: {
            static const std::vector<std::string> numbered[] = {heads(false), heads(true)};
            return fuzz_pick(numbered[kind == kSubsystem], row) + (counted ? input->counted() : input->rest());
        }
        default:
            return counted ? input->counted() : input->rest();
    }
}

void fuzz_phone_change(FuzzInput* input) {
    static const std::vector<std::string> files = changeable_files();
    const std::string& path = fuzz_pick(files, input->byte());
    const std::string content = input->counted();
    std::error_code ignored;  // what is not there needs no removal
    if (content.empty()) {
        fs::remove_all(root + "/" + path, ignored);
        return;
    }
    fs::create_directories(fs::path(root + "/" + path).parent_path(), ignored);
    put_file(path, content);
}
