// NFC and audio tests: four rows over one handler body and one worker body.
#include "peripheral/nfc_audio.h"

#include <atomic>
#include <cstring>

#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/log.h"
#include "support/worker.h"

namespace {

constexpr unsigned int kResponseSize = 256;
constexpr uint8_t kModeHandset = 1;
constexpr size_t kResultSize = 8;  // bytes 5 to 12 of an NFC response
constexpr int kResultGood = 0x00;
constexpr int kResultBad = 0x11;

// What the log says about a program's end, up to " exit code: %d".
struct EndTexts {
    const char* not_run;
    const char* not_complete;
    const char* failed;
    const char* passed;
};

constexpr EndTexts kNfcEnd = {"run shell not complete, script", "run shell not complete, script",
                              "run shell script complete but false, script", "run shell script successfully."};
constexpr EndTexts kAudioEnd = {"set audio_path failed", "set audio_path not complete,",
                                "set audio_path complete but false,", "set audio_path successfully."};

// What the tests of one subsystem share.
struct ShellFamily {
    uint8_t subsystem;
    bool has_result;  // the response carries the eight result bytes
    const EndTexts* end;
    std::atomic<uint8_t>* flag;
};

// 1: a worker has ended well and no handler has reported it. Kept: the NFC tests share one flag, so a success that
// comes after its own handler's wait is reported by the next NFC request of any kind.
std::atomic<uint8_t> nfc_flag{0};
std::atomic<uint8_t> audio_flag{0};

constexpr ShellFamily kNfc = {171, true, &kNfcEnd, &nfc_flag};
constexpr ShellFamily kAudio = {205, false, &kAudioEnd, &audio_flag};

// The tests that have lines of their own in the log.
enum class Extra { kNone, kReadCard, kClose };

// One test. The two audio modes are two rows, so that the worker has its mode without the request.
struct ShellTest {
    const ShellFamily* family;
    uint16_t cmd_code;
    unsigned int wait;  // seconds
    const char* command;
    const char* step;  // the test's step, its thread and its failure, as the log names them
    const char* thread;
    const char* failure;
    Extra extra;
};

// clang-format off
constexpr ShellTest kReadCard =
    {&kNfc,   8, 1, "system/bin/nfc_test -1", "readnfc", "readNFC", "NFC read card fail", Extra::kReadCard};
constexpr ShellTest kCloseNfc =
    {&kNfc,   9, 2, "am broadcast -a android.intent.action.CLOSE_NFC", "closenfc", "closeNFC", "NFC disable failed",
     Extra::kClose};
constexpr ShellTest kSwpTest =
    {&kNfc,   7, 2, "system/bin/nfc_test -2", "swptestnfc", "thread_swptest_NFC", "NFC swp test fail", Extra::kNone};
constexpr ShellTest kAudioOn =
    {&kAudio, 4, 1, "system/bin/audio_path handset_on", "audio", "audio", "audio fail", Extra::kNone};
constexpr ShellTest kAudioOff =
    {&kAudio, 4, 1, "system/bin/audio_path off", "audio", "audio", "audio fail", Extra::kNone};
// clang-format on

bool program_passed(int status) { return status != -1 && (status & 0xFF7F) == 0; }

void log_program_end(const EndTexts& end, int status) {
    if (status == -1) {
        ALOGE("%s exit code: %d\n", end.not_run, status);
        return;
    }
    ALOGD("exit shell status value = [0x%x]\n", static_cast<unsigned int>(status));
    const int exit_code = (status >> 8) & 0xFF;
    if ((status & 0x7F) != 0) {
        ALOGE("%s exit code: %d\n", end.not_complete, exit_code);
    } else if (exit_code != 0) {
        ALOGE("%s exit code: %d\n", end.failed, exit_code);
    } else {
        ALOGD("%s\n", end.passed);
    }
}

void* run_shell_test(void* arg) {
    const ShellTest& test = *static_cast<const ShellTest*>(arg);
    if (test.extra == Extra::kReadCard) {
        ALOGD("exit shell status value = [0x%x]\n", 1U);
    }
    const int status = device_system(test.command);
    if (test.extra == Extra::kClose) {
        ALOGD("run shell end, script exit code: %d\n", status);
    }
    test.family->flag->store(program_passed(status) ? 1 : 0);
    log_program_end(*test.family->end, status);
    return nullptr;
}

// Starts the worker and waits; a worker that cannot be started costs no time.
void start_and_wait(const char* name, const ShellTest& test) {
    if (test.extra == Extra::kClose) {
        ALOGD("%s: creat %s thread successful\n", name, test.thread);
    }
    if (start_worker(run_shell_test, const_cast<ShellTest*>(&test)) != 0) {
        return;
    }
    ALOGD("%s: creat %s thread successful\n", name, test.thread);
    device_sleep(test.wait);
}

// Consumes the result flag and reports it.
void report(const char* name, const ShellTest& test, uint8_t* rsp) {
    uint8_t passed = 1;
    const bool success = test.family->flag->compare_exchange_strong(passed, 0);
    rsp[4] = success ? 0 : 1;
    if (test.family->has_result) {
        (void)memset(rsp + 5, success ? kResultGood : kResultBad, kResultSize);
    }
    if (!success) {
        ALOGE("%s: %s,set rsp_msg = 0X11\n", name, test.failure);
    } else if (test.extra == Extra::kClose) {
        ALOGD("%s: NFC disable successful,set rsp_msg = 0x00\n", name);
    }
}

// Steps of a request behind the length check.
void* serve(const char* name, const ShellTest& test) {
    uint8_t* rsp = subsystem_response(test.family->subsystem, test.cmd_code, kResponseSize, {name});
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = 1;  // until the end says otherwise
    ALOGD("%s: will call ftm_diag_req_cmd_%s(), x\n", name, test.step);
    start_and_wait(name, test);
    report(name, test, rsp);
    ALOGD("%s: x\n", name);
    return rsp;
}

constexpr DiagDispatchEntry nfc_entries[] = {
    {kReadCard.cmd_code, kReadCard.cmd_code, guarded<ftm_diag_nfc_dispatch>},
    {kCloseNfc.cmd_code, kCloseNfc.cmd_code, guarded<ftm_diag_closenfc_dispatch>},
    {kSwpTest.cmd_code, kSwpTest.cmd_code, guarded<ftm_diag_swptestnfc_dispatch>},
};
constexpr DiagDispatchEntry audio_entries[] = {
    {kAudioOn.cmd_code, kAudioOn.cmd_code, guarded<ftm_diag_audio_dispatch>},
};

// Each dispatcher's own header, for its recovery from an over-long request.
constexpr DiagDispatchTable nfc_recovery = diag_table(kNfc.subsystem, nfc_entries);
constexpr DiagDispatchTable closenfc_recovery = diag_table(kNfc.subsystem, nfc_entries);
constexpr DiagDispatchTable swptestnfc_recovery = diag_table(kNfc.subsystem, nfc_entries);
constexpr DiagDispatchTable audio_recovery = diag_table(kAudio.subsystem, audio_entries);

}  // namespace

const DiagDispatchTable ftm_diag_nfc_table = diag_table(kNfc.subsystem, nfc_entries);
const DiagDispatchTable ftm_diag_audio_table = diag_table(kAudio.subsystem, audio_entries);

void* ftm_diag_nfc_dispatch(const void*, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    return recovered_from_long_request(__func__, length, nfc_recovery) ? nullptr : serve(__func__, kReadCard);
}

void* ftm_diag_closenfc_dispatch(const void*, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    return recovered_from_long_request(__func__, length, closenfc_recovery) ? nullptr : serve(__func__, kCloseNfc);
}

void* ftm_diag_swptestnfc_dispatch(const void*, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    return recovered_from_long_request(__func__, length, swptestnfc_recovery) ? nullptr : serve(__func__, kSwpTest);
}

void* ftm_diag_audio_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    const uint8_t mode = request_u8(request_view(request, length), kDiagHeaderSize);
    return recovered_from_long_request(__func__, length, audio_recovery)
               ? nullptr
               : serve(__func__, mode == kModeHandset ? kAudioOn : kAudioOff);
}
