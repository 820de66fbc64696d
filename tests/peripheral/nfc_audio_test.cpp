// NFC and audio tests with real child processes: result bytes, waits, the shared flag, the log.
#include "peripheral/nfc_audio.h"

#include "tests/support/phone.h"

namespace {

constexpr uint64_t kSecond = 1000000;

struct Case {
    const char* request;
    const char* tool;  // where the program is
    const char* call;
    uint64_t wait;
    bool nfc;
    const char* handler;
    const char* step;
    const char* thread;
    const char* failure;
};

const Case kCases[] = {
    {"4b ab 08 00", "/system/bin/nfc_test", "nfc_test -1", 1, true, "ftm_diag_nfc_dispatch", "readnfc", "readNFC",
     "NFC read card fail"},
    {"4b ab 09 00", "/system/bin/am", "am broadcast -a android.intent.action.CLOSE_NFC", 2, true,
     "ftm_diag_closenfc_dispatch", "closenfc", "closeNFC", "NFC disable failed"},
    {"4b ab 07 00", "/system/bin/nfc_test", "nfc_test -2", 2, true, "ftm_diag_swptestnfc_dispatch", "swptestnfc",
     "thread_swptest_NFC", "NFC swp test fail"},
    {"4b cd 04 00 01", "/system/bin/audio_path", "audio_path handset_on", 1, false, "ftm_diag_audio_dispatch", "audio",
     "audio", "audio fail"},
    {"4b cd 04 00 02", "/system/bin/audio_path", "audio_path off", 1, false, "ftm_diag_audio_dispatch", "audio",
     "audio", "audio fail"},
    {"4b cd 04 00", "/system/bin/audio_path", "audio_path off", 1, false, "ftm_diag_audio_dispatch", "audio", "audio",
     "audio fail"},
};

class NfcAudioTest : public PhoneTest {
   protected:
    // Every wait lasts until the program has ended.
    void programs_end_in_time() {
        on_delay([this](uint64_t) { wait_for_workers(); });
    }
    // The answer is as long as told, and holds this status and these result bytes and nothing else.
    void expect_answer(const Case& c, bool success, const std::string& fact) {
        Bytes expected(256, kPoison);
        const Bytes request = hex(c.request);
        std::copy_n(request.begin(), 4, expected.begin());
        expected[4] = success ? 0 : 1;
        if (c.nfc) {
            std::fill_n(expected.begin() + 5, 8, static_cast<uint8_t>(success ? 0x00 : 0x11));
        }
        EXPECT_EQ(exchange(request), expected) << c.call << ", " << fact;
    }
};

TEST_F(NfcAudioTest, EndOfTheProgramDecides) {
    const struct {
        const char* fact;
        const char* body;
        bool success;
        const char* status;
        const char* nfc_line;
        const char* audio_line;
    } ends[] = {
        {"passed", "exit 0", true, "0x0", "run shell script successfully.", "set audio_path successfully."},
        {"failed", "exit 7", false, "0x700", "run shell script complete but false, script exit code: 7",
         "set audio_path complete but false, exit code: 7"},
        {"killed", "read name < /proc/$PPID/comm; [ $name = sh ] && kill -9 $PPID; kill -9 $$", false, "0x9",
         "run shell not complete, script exit code: 0", "set audio_path not complete, exit code: 0"},
    };
    programs_end_in_time();
    for (const Case& c : kCases) {
        for (const auto& end : ends) {
            make_tool(c.tool, end.body);
            clear_log();
            expect_answer(c, end.success, end.fact);
            EXPECT_EQ(calls().back(), c.call);
            EXPECT_EQ(delays().back(), c.wait * kSecond);
            const auto level = end.success ? ANDROID_LOG_DEBUG : ANDROID_LOG_ERROR;
            const std::string name = c.handler;
            expect_log({D(name + ": e"),
                        D(name + ": will call ftm_diag_req_cmd_" + c.step + "(), x"),
                        {level, c.nfc ? end.nfc_line : end.audio_line},
                        D(name + ": x")});
            expect_log({D(std::string("exit shell status value = [") + end.status + "]")});
            expect_log({D(name + ": creat " + c.thread + " thread successful"), D(name + ": x")});
            EXPECT_EQ(log_contains(std::string(c.failure) + ",set rsp_msg = 0X11"), !end.success);
        }
    }
}

TEST_F(NfcAudioTest, CardReadAndCloseHaveLinesOfTheirOwn) {
    programs_end_in_time();
    make_tool("/system/bin/nfc_test");
    make_tool("/system/bin/am");
    (void)exchange(hex("4b ab 08 00"));
    expect_log({D("exit shell status value = [0x1]"), D("exit shell status value = [0x0]")});
    clear_log();
    (void)exchange(hex("4b ab 09 00"));
    expect_log({D("ftm_diag_closenfc_dispatch: creat closeNFC thread successful"),
                D("ftm_diag_closenfc_dispatch: creat closeNFC thread successful"),
                D("ftm_diag_closenfc_dispatch: NFC disable successful,set rsp_msg = 0x00")});
    expect_log({D("run shell end, script exit code: 0"), D("exit shell status value = [0x0]")});
}

TEST_F(NfcAudioTest, LateSuccessIsReportedOnceByTheNextNfcRequestOfAnyKind) {
    make_tool("/system/bin/nfc_test", "[ $1 = -2 ] && exit 1; while [ ! -e go ]; do sleep 0.02; done");
    expect_answer(kCases[0], false, "still running");
    make_tool("/system/bin/audio_path", "exit 1");
    write_file("/go", "");
    wait_for_workers();
    programs_end_in_time();
    expect_answer(kCases[3], false, "audio has a flag of its own");
    // The SWP test's program fails only after its handler has looked.
    make_tool("/system/bin/nfc_test", "while [ ! -e go2 ]; do sleep 0.02; done; exit 1");
    on_delay([](uint64_t) {});
    expect_answer(kCases[2], true, "the card read's late success");
    expect_answer(kCases[2], false, "reported once");
    write_file("/go2", "");
    wait_for_workers();
}

}  // namespace
