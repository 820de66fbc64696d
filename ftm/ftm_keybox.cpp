// The Widevine keybox and the attestation keybox: both are handed to vendor programs, whose output or status decides.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "ftm/ftm_message.h"
#include "ftm/ftm_secure.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "platform/include/properties.h"
#include "support/files.h"
#include "support/shell.h"

namespace {

constexpr unsigned char kWidevineKeyType = 1;
constexpr size_t kWidevineKeySize = 128;
constexpr char kWidevineCacheFile[] = "/data/cache/widevine_keybox.bin";

constexpr char kFactoryBootMode[] = "ffbm-99";
constexpr char kStartComposer[] = "start vendor.qti.hardware.display.composer";
constexpr char kStopComposer[] = "stop vendor.qti.hardware.display.composer";
constexpr char kWidevineTest[] = "oemcrypto_test --gtest_filter=OEMCryptoAndroidLMPTest.Level1Required";

constexpr char kKeyboxFile[] = "/mnt/vendor/persist/keybox/keybox.xml";
constexpr char kInstallKeybox[] =
    "LD_LIBRARY_PATH=/vendor/lib64/hw /vendor/bin/KmInstallKeybox /mnt/vendor/persist/keybox/keybox.xml ";
constexpr char kCheckKeybox[] =
    "LD_LIBRARY_PATH=/vendor/lib64/hw /vendor/bin/KmInstallKeybox checkkeybox checkkeybox true true ";

constexpr FtmStatus kChecksumDiffers{2};
constexpr FtmStatus kNoKeyboxFile{3};
constexpr FtmStatus kNoChecksum{4};

// How the output of a program is judged: the last line with a marker decides, no such line is a failure.
struct OutputMarkers {
    const char* program;
    std::array<const char*, 2> good;  // null: no second one
    const char* bad;
};

constexpr OutputMarkers kStoreKeybox = {"StoreKeybox", {"succeeds!", "successful"}, "failed!"};
constexpr OutputMarkers kOemcryptoTest = {"oemcrypto_test", {"[       OK ]", nullptr}, "FAILED"};

constexpr int kPiece = 90;

// Next piece of a program's output: at most 90 characters of a line, and the character behind them dropped, be it the
// line's end or not. Empty lines are skipped. False at the end.
bool next_piece(FILE* output, char (&piece)[kPiece + 1]) {
    for (;;) {
        const int got = fscanf(output, "%90[^\n]%*c", piece);
        if (got == 1) {
            return true;
        }
        if (got == EOF || fgetc(output) == EOF) {  // no piece: a line feed stands next
            return false;
        }
    }
}

bool contains(const char* text, const char* marker) { return marker != nullptr && strstr(text, marker) != nullptr; }

// Runs a command and judges what it prints.
FtmStatus run_and_judge(const char* command, const OutputMarkers& markers) {
    const UniquePipe output(device_popen(command, "r"));
    if (output == nullptr) {
        ALOGE("%s: Error.", markers.program);
        return kFtmFailure;
    }
    FtmStatus status = kFtmFailure;
    char piece[kPiece + 1] = {};
    while (next_piece(output.get(), piece)) {
        ALOGD("%s.cmd.out: %s", markers.program, piece);
        if (contains(piece, markers.good[0]) || contains(piece, markers.good[1])) {
            status = kFtmSuccess;
            ALOGD("%s: OK.", markers.program);
        } else if (contains(piece, markers.bad)) {
            status = kFtmFailure;
            ALOGE("%s: FAILED.", markers.program);
        }
    }
    return status;
}

// True when nothing is there, as opposed to something that cannot be examined.
bool is_missing(const std::string& path, bool logged) {
    struct stat st {};
    if (device_stat(path.c_str(), &st) == 0) {
        return false;
    }
    const int error = errno;
    if (logged) {
        ALOGE("Failed to access %s, errno = %d", path.c_str(), error);
    }
    return error == ENOENT;
}

// Stores the Widevine keybox for the program that installs it. False, with a line, at the first step that fails.
bool store_widevine_key(const char* name, const std::string& path, const unsigned char* key) {
    FileReplacement file(path, 0777);
    if (!file.ok()) {
        ALOGE("%s: open file failed!\n", name);
        return false;
    }
    switch (file.store(key, kWidevineKeySize)) {
        case WriteStep::kDone:
            return true;
        case WriteStep::kWriteFailed:
            ALOGE("%s: keybox error !\n", name);
            return false;
        case WriteStep::kCloseFailed:
            ALOGE("%s: close fd failed !\n", name);
            return false;
        default:
            ALOGE("%s: fsync fd failed !\n", name);
            return false;
    }
}

// Starts a command and waits for it; its output and status do not matter.
bool run_control(const char* name, const char* command) {
    const UniquePipe output(device_popen(command, "r"));
    if (output == nullptr) {
        ALOGE("%s: cmd %s failed in ffbm-99\n", name, command);
        return false;
    }
    return true;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_installwidevinekey(FtmArgs args, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    const std::string directory = persist_path("/keybox");
    const std::string persist_file = directory + "/widevine_keybox.bin";
    if (args[0] != kWidevineKeyType) {
        ALOGE("installwidevinekey: bad opt for keytype.");
        ALOGD("%s: rsp_status = %d", __func__, ftm_status_byte(kFtmFailure));
        return kFtmFailure;
    }
    const bool cached = is_missing(directory, true);
    const std::string file = cached ? kWidevineCacheFile : persist_file;
    if (cached) {
        ALOGD("%s: open keybox file at path: %s\n", __func__, file.c_str());
    } else {
        ALOGD("%s: open keybox file at persist path: %s\n", __func__, file.c_str());
    }
    if (!store_widevine_key(__func__, file, args.bytes + 1)) {
        return kFtmFailure;
    }
    const std::string command =
        std::string("StoreKeybox ") + (is_missing(directory, false) ? kWidevineCacheFile : persist_file.c_str());
    const FtmStatus status = run_and_judge(command.c_str(), kStoreKeybox);
    ALOGD("%s: rsp_status = %d", __func__, ftm_status_byte(status));
    return ftm_finish(__func__, status);
}

FtmStatus ftm_diag_req_cmd_checkwidevinekey(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    char boot_mode[PROPERTY_VALUE_MAX] = {};
    (void)property_get("ro.bootmode", boot_mode, "normal");
    ALOGD("%s: boot_mode = %s...\n", __func__, boot_mode);
    const bool factory_mode = std::string_view(boot_mode).starts_with(kFactoryBootMode);
    // The test draws on the display path, which the factory mode leaves down.
    if (factory_mode && !run_control(__func__, kStartComposer)) {
        return kFtmFailure;
    }
    const FtmStatus status = run_and_judge(kWidevineTest, kOemcryptoTest);
    if (factory_mode) {
        (void)run_control(__func__, kStopComposer);  // the answer is known by now
    }
    return ftm_finish(__func__, status);
}

namespace {

// The argument of "InstallKeybox": n, n identifier bytes, one byte, L, L bytes of the expected checksum.
struct KeyboxRequest {
    std::string identifier;
    std::string_view checksum;  // empty: no check
};

KeyboxRequest parse_keybox_request(FtmArgs args) {
    const auto* bytes = args.text();
    const size_t n = args[0];
    const std::string_view identifier(bytes + 1, n);
    return {std::string(identifier.substr(0, identifier.find('\0'))), std::string_view(bytes + n + 3, args[n + 2])};
}

const char* md5sum_path() {
    const char* path = device_access("/vendor/bin/md5sum", X_OK) == 0 ? "/vendor/bin/md5sum" : "/system/bin/md5sum";
    ALOGD("ftmd gets util path: %s", path);
    return path;
}

// An expected upper-case digit also matches the program's lower-case one.
bool digit_matches(char expected, char printed) {
    const auto want = static_cast<unsigned char>(expected);
    const auto have = static_cast<unsigned char>(printed);
    return have == want || have == want + 32;
}

// Compares the expected checksum with the program's output; the short form of 16 characters is the middle of the
// digest. Output that ends too early does not match.
bool checksum_matches(std::string_view expected, std::string_view output) {
    constexpr size_t kShortForm = 16;
    constexpr size_t kShortFormStart = 8;
    const size_t start = expected.size() == kShortForm ? kShortFormStart : 0;
    if (output.size() < start + expected.size()) {
        return false;
    }
    return std::equal(expected.begin(), expected.end(), output.begin() + static_cast<std::ptrdiff_t>(start),
                      digit_matches);
}

// Success, or the status that ends the command.
FtmStatus check_keybox_file(const char* name, std::string_view checksum) {
    if (is_file_exist(kKeyboxFile) != 0) {
        ALOGD("%s: keybox file does not exsist!\n", name);
        return kNoKeyboxFile;
    }
    if (checksum.empty()) {
        ALOGD("%s: Do not need md5 check!\n", name);
        return kFtmSuccess;
    }
    ALOGD("%s: need md5 check!\n", name);
    const std::string command = std::string(md5sum_path()) + " " + kKeyboxFile;
    const UniquePipe pipe(device_popen(command.c_str(), "r"));
    if (pipe == nullptr) {
        ALOGD("%s: md5sum open fail!\n", name);
        return kNoChecksum;
    }
    std::array<char, 1024 + 1> output{};
    (void)fread(output.data(), 1, output.size() - 1, pipe.get());  // too little is caught by the comparison
    ALOGD("%s: md5_buf ==:%s\n", name, output.data());
    if (!checksum_matches(checksum, output.data())) {
        ALOGD("%s: md5 check fail!\n", name);
        return kChecksumDiffers;
    }
    ALOGD("%s: md5 check succeed!\n", name);
    return kFtmSuccess;
}

// Runs the keybox program.
FtmStatus run_keybox_program(const char* name, const char* command) {
    const int result = device_system(command);
    ALOGD("%s: installKeybox_cmd_status ==: %d\n", name, result);
    return ftm_status(result == 0);
}

void log_keybox_command(const char* name, const std::string& command) {
    ALOGD("%s: InstallKeybox_cmd_len =: %d", name, static_cast<int>(command.size()));
    ALOGD("%s: InstallKeybox_cmd =: %s", name, command.c_str());
}

FtmStatus install_keybox(const char* name, FtmArgs args) {
    const KeyboxRequest request = parse_keybox_request(args);
    if (!is_shell_safe(request.identifier, false)) {
        ALOGE("%s: bad keybox identifier!\n", name);
        return kFtmFailure;
    }
    const std::string command = kInstallKeybox + request.identifier + " true false ";
    log_keybox_command(name, command);
    FtmStatus status = check_keybox_file(name, request.checksum);
    if (status == kFtmSuccess) {
        status = run_keybox_program(name, command.c_str());
        (void)ftm_diag_delete_file(kKeyboxFile);  // used up, whether or not the program liked it
    }
    return status;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_installkeybox(FtmArgs args, FtmMessage&) {
    static int executions = 0;
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: exec_num =: %d", __func__, executions++);
    return ftm_finish(__func__, install_keybox(__func__, args));
}

FtmStatus ftm_diag_req_cmd_checkkeybox(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    log_keybox_command(__func__, kCheckKeybox);
    ALOGD("%s: InstallKeybox_cmd =: %d", __func__, static_cast<int>(strlen(kCheckKeybox)));
    return ftm_finish(__func__, run_keybox_program(__func__, kCheckKeybox));
}
