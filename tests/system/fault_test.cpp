// Every command while one of its system calls fails: nothing may crash, hang, leak or spoil what was stored before.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <new>
#include <set>

#include "ftm/ftm_command.h"
#include "platform/include/diag.h"
#include "support/modem_connection.h"
#include "support/worker.h"
#include "tests/support/faults.h"
#include "tests/support/phone.h"

namespace {

// A call and what happens to it: it fails with `error`, or (0) it moves one byte only.
struct Fault {
    Call call;
    int error;
    const char* name;
};
constexpr Fault kFaults[] = {
    {Call::kOpen, EMFILE, "open"},      {Call::kFopen, EMFILE, "fopen"},  {Call::kRead, EIO, "read"},
    {Call::kRead, 0, "short read"},     {Call::kRead, EINTR, "signal"},   {Call::kWrite, ENOSPC, "write"},
    {Call::kWrite, 0, "short write"},   {Call::kWrite, EINTR, "signal"},  {Call::kPread, EIO, "pread"},
    {Call::kPread, 0, "short pread"},   {Call::kPread, EINTR, "signal"},  {Call::kPwrite, EIO, "pwrite"},
    {Call::kPwrite, 0, "short pwrite"}, {Call::kPwrite, EINTR, "signal"}, {Call::kLseek, EIO, "lseek"},
    {Call::kFcntl, EAGAIN, "lock"},     {Call::kFsync, EIO, "fsync"},     {Call::kClose, EIO, "close"},
    {Call::kAccess, EACCES, "access"},  {Call::kStat, EACCES, "stat"},    {Call::kRename, EIO, "rename"},
    {Call::kUnlink, EACCES, "unlink"},  {Call::kMkdir, ENOSPC, "mkdir"},  {Call::kSpawn, EAGAIN, "spawn"},
    {Call::kMalloc, ENOMEM, "malloc"},  {Call::kNew, ENOMEM, "new"},      {Call::kThreadCreate, EAGAIN, "thread"}};
constexpr unsigned kMostCalls = 3000;  // of one kind in one command; more is a loop without an end

// Arguments that lead a command to its last step, and the statuses that it has for its failures.
struct Proper {
    Bytes arguments;
    std::set<int> failures = {1};
    int status = 0;  // without a fault
};
const std::map<std::string, Proper> kProper = {
    {"ReadFactoryFlag", {{}, {1, 2}, 2}},
    {"ReadSWVer", {{}, {1}, 1}},  // nothing is stored yet, as for the others with this status
    {"ReadUsbTag", {{}, {1}, 1}},
    {"ReadUDID", {{}, {1}, 1}},
    {"ReadDEFT", {{}, {1}, 1}},
    {"ReadEdigitalCode", {{}, {1}, 1}},
    {"WriteEdigitalCode", {text_bytes("1"), {1}, 1}},
    {"startrchiptest", {{}, {1}, 1}},  // there is no chip, unless the test brings one
    {"stopRchiptest", {{}, {1}, 1}},
    {"sendRchipCN", {{}, {1}, 1}},
    {"sendRchipNEWCN", {{}, {1}, 1}},
    {"sendrchipCCTCQ", {{}, {1}, 1}},
    {"ReadWifimac", {{}, {2}}},
    {"ReadBTmac", {{}, {2}}},
    {"ReadMhlVer", {{}, {2, 3}}},
    {"WriteWifimac", {hex("00 11 22 aa bb cc"), {2, 3, 4}}},
    {"WriteBTmac", {hex("00 11 22 aa bb cc"), {2, 3, 4}}},
    {"WriteCountryCode", {text_bytes("CN"), {1, 3}}},
    {"WriteLcdCurrent", {text_bytes("22"), {1, 3}}},
    {"openfanlight", {text_bytes("1"), {1, 3}}},
    {"WriteVariantFlag", {text_bytes("flag"), {1, 3}}},
    {"WriteUDID", {text_bytes("1"), {1, 2}}},
    {"ReadVC", {text_bytes("serialno")}},
    {"WriteVC", {text_bytes("color") + hex("00 03 72 65 64")}},
    {"GetEncryptInfo", {hex("01 61")}},
    {"InjectAliPayKey", {text_bytes("1"), {1, 2}}},
    {"WriteHDCP", {hex("01"), {1, 4}}},
    {"ElecAccessNetAuthen", {hex("02")}},
    {"WriteUnlockESIM", {hex("03 61 62 63"), {1}, 1}},  // it is stored from the first time on
    {"CheckUnlockESIM", {hex("03 61 62 63")}},
    {"WriteDEFT", {hex("30"), {1, 4}}},
    {"TokBackup", {hex("01")}},
    {"InstallKeybox", {hex("07") + text_bytes("KEYBOX1") + hex("00 00"), {1, 3}}},
    {"InstallWidevineKey", {hex("01") + Bytes(120, 0x5A) + text_bytes("kbox") + Bytes(4)}},
    {"ReadFuse", {hex("02")}},
    {"WriteFuse", {hex("01")}}};

class FaultTest : public PhoneTest {
   protected:
    FaultTest() {
        EXPECT_EQ(0, system((VENDORDIAG_SOURCE_DIR "/tools/phone/make-phone.sh " + host("")).c_str()));
        write_file("/sys/class/power_supply/usb/online", "0\n");  // nobody waits for the cable
        make_tool("/system/bin/diag_mdlog");
        set_state("modem/qmi", "0");
        (void)vendor_diag_modem_api_init_proc(nullptr);
        EXPECT_EQ(0, ftm("WriteVC", text_bytes("serialno") + hex("00 02 41 31")).status);
        EXPECT_EQ(0U, info_write("operator", "ABCD"));
    }

    uint32_t info_write(const std::string& key, const std::string& value) {
        const Bytes answer = exchange(info_packet(4, counted(key) + counted(value), 1));
        return answer.size() == 8 ? answer[4] : ~0U;
    }
    std::string info_read(const std::string& key) {
        const Bytes answer = exchange(info_packet(3, counted(key), 1));
        const size_t value = 14 + 1 + key.size();
        return answer.size() > value ? std::string(answer.begin() + static_cast<ptrdiff_t>(value) + 1, answer.end())
                                     : "";
    }
    // The value of a configuration record.
    std::string record(const std::string& name) {
        const FtmReply reply = ftm("ReadVC", text_bytes(name));
        if (reply.status != 0) {
            return "";
        }
        const auto value = reply.message.begin() + static_cast<ptrdiff_t>(name.size()) + 2;
        return {value, value + value[-1]};
    }

    // Runs the request with the n-th call of the fault's kind disturbed. Returns whether there was such a call.
    bool run(const Bytes& request, const Fault& fault, unsigned nth, Bytes* answer) {
        bool hit = false;
        {
            Faults faults;
            fault.error != 0 ? faults.fail(fault.call, nth, fault.error) : faults.shorten(fault.call, nth, 1);
            try {
                *answer = exchange(request);
                wait_for_workers(workers_);
            } catch (const std::bad_alloc&) {  // the test's own memory
            }
            hit = faults.count(fault.call) >= nth;
        }
        wait_for_workers(workers_);
        return hit;
    }

    static std::set<std::string> open_files() {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the iterator's own descriptor
            const auto target = std::filesystem::read_symlink(entry.path(), gone);
            if (!gone && target != "/proc/" + std::to_string(getpid()) + "/fd") {
                files.insert(entry.path().filename().string() + " " + target.string());
            }
        }
        return files;
    }
    static ptrdiff_t threads() {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    }

    // Nothing is left behind, and what was stored before is readable.
    void expect_sound(size_t files) {
        // A program's watch closes its descriptors a moment after the program's end.
        EXPECT_TRUE(eventually([files] { return open_files().size() <= files; }))
            << ::testing::PrintToString(open_files());
        EXPECT_EQ(children_ - 1, waitpid(-1, nullptr, WNOHANG)) << "a child is left";
        EXPECT_EQ("A1", record("serialno"));
        EXPECT_EQ("ABCD", info_read("operator"));
    }
    void expect_status(const Bytes& answer, const std::set<int>& statuses) {
        EXPECT_TRUE(answer.size() >= 5 && statuses.contains(answer[4])) << to_hex(answer);
    }

    // The request survives every fault: `statuses` are those that its byte 4 may carry.
    // Returns the answer without a fault.
    Bytes survives(const std::string& name, const Bytes& request, const std::set<int>& statuses) {
        Bytes good;
        for (int time = 0; time < 2; time++) {  // what is stored once answers otherwise the second time
            prepare_();
            good = exchange(request);
            wait_for_workers(workers_);
        }
        std::set<int> with_failure = statuses;  // of any command that finds no memory
        with_failure.insert(1);
        const size_t files = open_files().size();
        for (const Fault& fault : kFaults) {
            bool hit = true;
            for (unsigned nth = 1; hit && nth < kMostCalls && !HasFailure(); nth++) {
                SCOPED_TRACE(name + ": " + fault.name + " " + std::to_string(nth));
                clear_log();
                prepare_();
                Bytes answer;
                hit = run(request, fault, nth, &answer);
                const bool memory = fault.call == Call::kMalloc || fault.call == Call::kNew;
                const bool refused = memory && (answer.empty() || answer[0] == kDiagBadCommand);
                if (!statuses.empty() && !refused) {
                    expect_status(answer, memory ? with_failure : statuses);
                    if (fault.error == EINTR && unmoved_) {
                        EXPECT_EQ(good[4], answer.at(4));
                    }
                }
                expect_sound(files);
                nth += fault.call == Call::kNew ? nth / 4 : 0;  // there are many
            }
            EXPECT_FALSE(hit) << name << ": " << fault.name << " has no end";
        }
        return good;
    }
    unsigned workers_ = 0;                     // that live on
    bool unmoved_ = false;                     // a signal changes no answer
    pid_t children_ = 0;                       // likewise
    std::function<void()> prepare_ = [this] {  // before every request
        write_file("/mnt/vendor/persist/keybox/keybox.xml", "<Keybox DeviceID=\"KEYBOX1\">");
        write_file("/mnt/vendor/persist/keybox/csr.json", "{}");
    };

    void rows_survive(uint16_t command, const char* name) {
        const auto known = kProper.find(name);
        const Proper proper = known != kProper.end() ? known->second : Proper{text_bytes("1")};
        std::set<int> statuses = proper.failures;
        statuses.insert(children_ > 0 ? 0 : proper.status);
        unmoved_ = children_ == 0;  // the chip's answers have their own time
        const Bytes answer = survives(name, ftm_packet(command, name, proper.arguments), statuses);
        unmoved_ = false;
        EXPECT_TRUE(children_ > 0 || proper.status == answer.at(4)) << name << " " << to_hex(answer).substr(0, 20);
    }
};

TEST_F(FaultTest, MainMapSurvives) {
    (void)ftm_main("Reboot");  // a first worker: a sanitizer may bring a thread of its own with it
    wait_for_workers(workers_);
    const ptrdiff_t before = threads();
    for (const FtmCommandEntry& row : ftm_diag_req_cmd_map) {
        rows_survive(32766, row.cmd);
    }
    EXPECT_TRUE(eventually([before] { return threads() <= before; }));
}

TEST_F(FaultTest, FirstHalfOfTheExtendedMapSurvives) {
    for (size_t i = 0; i < kFtmExtMapSize / 2; i++) {
        rows_survive(32767, ftm_diag_req_ext_cmd_map[i].cmd);
    }
}

TEST_F(FaultTest, SecondHalfOfTheExtendedMapSurvives) {
    for (size_t i = kFtmExtMapSize / 2; i < kFtmExtMapSize; i++) {
        rows_survive(32767, ftm_diag_req_ext_cmd_map[i].cmd);
    }
}

TEST_F(FaultTest, ChipTestSurvives) {
    std::string arguments[] = {VENDORDIAG_RDSS_CHIP, "--root", host("")};
    char* const pointers[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
    pid_t chip = 0;
    ASSERT_EQ(0, posix_spawn(&chip, VENDORDIAG_RDSS_CHIP, nullptr, nullptr, pointers, environ));
    ASSERT_TRUE(eventually([this] { return exists("/dev/ttyHS1"); }));
    children_ = 1;
    for (const char* command :
         {"startrchiptest", "sendRchipCN", "sendRchipNEWCN", "sendrchipCCTCQ", "stopRchiptest", "closerchiptest"}) {
        EXPECT_EQ(0, ftm("startrchiptest").status);
        rows_survive(32767, command);
    }
    kill(chip, SIGTERM);
    EXPECT_EQ(chip, waitpid(chip, nullptr, 0));
}

TEST_F(FaultTest, NumberedCommandsSurvive) {
    struct Numbered {
        const char* request;
        std::set<int> statuses;  // empty: the answer has none
    };
    const Numbered commands[] = {{"4b 0b fd 7f 73 65 74 66 61 63 74 6f 72 79 6d 6f 64 65", {0, 1}},
                                 {"4b 0b 36 00", {}},
                                 {"4b fd 04 00 14 00 00 00 01 00 05 63 6f 6c 6f 72 03 72 65 64", {0, 1, 3, 9}},
                                 {"4b fd 03 00 10 00 00 00 01 00 05 63 6f 6c 6f 72", {0, 3, 4, 9}},
                                 {"4b ca 04 00 00", {0, 2}},
                                 {"4b cd 2b 00", {0, 1}},
                                 {"4b ab 08 00", {0, 1}},
                                 {"4b ab 09 00", {0, 1}},
                                 {"4b ab 07 00", {0, 1}},
                                 {"4b cd 04 00 01", {0, 1}},
                                 {"4b ab 06 02 05", {0, 1, 2}},
                                 {"4b ab 06 01", {0, 1}},
                                 {"29 02", {}},
                                 {"38", {}},
                                 {"39", {}},
                                 {"3c", {}},
                                 {"f6 06", {}},
                                 {"f6 0b", {}},
                                 {"f6 0c 01 02 03 e8 07", {}},
                                 {"f6 0f", {}}};
    for (const Numbered& command : commands) {
        survives(command.request, hex(command.request), command.statuses);
    }
    for (const uint8_t code :
         std::initializer_list<uint8_t>{1, 2, 5, 6, 7, 8, 9, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23}) {
        survives("253/" + std::to_string(code), Bytes{75, 253, code, 0} + Bytes(260, 1), {0, 1, 3});
    }
}

// Its thread has no end.
TEST_F(FaultTest, KeyTestSurvives) {
    in_a_fresh_process([this] {
        const Bytes entry = hex("4b cd 1a 00 01");
        Bytes answer;
        EXPECT_TRUE(run(entry, {Call::kThreadCreate, EAGAIN, ""}, 1, &answer));
        EXPECT_EQ(answer.at(4), 2);
        workers_ = 1;
        survives("key entry", entry, {1, 2});
        survives("key check", hex("4b cd a4 00"), {1});
    });
}

TEST_F(FaultTest, KeyboxTransferSurvives) {
    const auto status = [](const Bytes& answer, size_t at) {
        return answer.size() > at && answer[0] == 75 ? answer[at] : -1;
    };
    const std::string content(100, 'k');
    const size_t files = open_files().size();
    for (const Fault& fault : kFaults) {
        bool hit = true;
        for (unsigned nth = 1; hit && !HasFailure(); nth++) {
            SCOPED_TRACE(std::string(fault.name) + " " + std::to_string(nth));
            Bytes handle = hex("ff ff ff ff");
            int written = 0;
            int closed = 0;
            {
                Faults faults;
                fault.error != 0 ? faults.fail(fault.call, nth, fault.error) : faults.shorten(fault.call, nth, 1);
                try {
                    const Bytes opened = exchange(hex("4b fd 18 00 01 00 00 00"));
                    if (status(opened, 8) == 0) {
                        handle.assign(opened.begin() + 4, opened.begin() + 8);
                    }
                    written = status(exchange(hex("4b fd 1a 00") + handle + Bytes(4) + text_bytes(content)), 16);
                    closed = status(exchange(hex("4b fd 19 00") + handle), 4);
                } catch (const std::bad_alloc&) {  // the test's own memory
                    written = -1;
                }
                hit = faults.count(fault.call) >= nth;
            }
            if (written == 0 && closed == 0) {
                EXPECT_EQ(read_file_text("/mnt/vendor/persist/keybox/keybox.xml"), content);
            } else {
                EXPECT_TRUE(written == -1 || closed == -1 || written == 3 || closed == 3) << written << closed;
                for (uint8_t left = 3; left < 32; left++) {  // a tool that has not heard of its handle
                    (void)exchange(Bytes{75, 253, 25, 0, left, 0, 0, 0});
                }
            }
            expect_sound(files);
            nth += fault.call == Call::kNew ? nth / 16 : 0;
        }
    }
}

TEST_F(FaultTest, StatusNamesTheStepThatFailed) {
    struct Case {
        const char* command;
        Call call;
        int error;  // 0: a short write
        int status;
    };
    const Case cases[] = {{"WriteWifimac", Call::kOpen, EACCES, 2},   {"WriteWifimac", Call::kWrite, ENOSPC, 3},
                          {"WriteWifimac", Call::kWrite, 0, 3},       {"WriteWifimac", Call::kFsync, EIO, 4},
                          {"WriteWifimac", Call::kClose, EIO, 4},     {"ReadWifimac", Call::kOpen, EACCES, 2},
                          {"WriteBTmac", Call::kOpen, EACCES, 2},     {"WriteOMADM", Call::kOpen, EACCES, 1},
                          {"WriteOMADM", Call::kWrite, 0, 1},         {"WriteOMADM", Call::kFsync, EIO, 1},
                          {"WriteOMADM", Call::kClose, EIO, 1},       {"WriteCountryCode", Call::kOpen, EACCES, 1},
                          {"WriteCountryCode", Call::kWrite, 0, 3},   {"WriteCountryCode", Call::kFsync, EIO, 1},
                          {"WriteCountryCode", Call::kClose, EIO, 1}, {"WriteLcdCurrent", Call::kWrite, ENOSPC, 3},
                          {"ReadVC", Call::kFcntl, EAGAIN, 1},        {"GetCSR", Call::kAccess, EACCES, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.command) + " " + std::to_string(static_cast<int>(c.call)));
        Bytes answer;
        EXPECT_TRUE(run(ftm_packet(32767, c.command, text_bytes("22")), {c.call, c.error, ""}, 1, &answer));
        ASSERT_GE(answer.size(), 5U);
        EXPECT_EQ(c.status, answer[4]);
    }
}

}  // namespace
