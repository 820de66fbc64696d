// LED mode, key test over real FIFO devices, control command.
#include "peripheral/key_test.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/phone.h"

namespace {

constexpr char kLedNode[] = "/sys/class/leds/aw9523b_led/device/led_ftm_mode";

class LedTest : public PhoneTest {};

TEST_F(LedTest, EntryWritesTheModeAsTwoHexDigits) {
    write_file(kLedNode, "0x00\n and more");
    for (const auto& [mode, text] :
         {std::pair("05", "0x05\n"), std::pair("0a", "0x0a\n"), std::pair("ff", "0xff\n"), std::pair("", "0x00\n")}) {
        EXPECT_EQ(exchange(hex("4b ab 06 02") + hex(mode)), hex("4b ab 06 02 00")) << mode;
        EXPECT_EQ(read_file_text(kLedNode), text);
    }
    EXPECT_EQ(property("debug.entry.ledtest"), "1");
    clear_log();
    (void)exchange(hex("4b ab 06 02 41 42"));
    const std::string name = "ftm_diag_led_entry_dispatch";
    expect_log_only({D(name + ": e"), D(name + ":aw9523b e"), D(name + ": aw9523b req pkt: args: AB"),
                     D(name + ": AW9523B entry write entry mode!"), D(name + ": aw9523b +++dm+++   arg=0x65"),
                     D(name + ": aw9523b req pkt: flag: 0x41"), D(name + ": AW9523B open first pach file SUCCESS!")});
}

TEST_F(LedTest, EntryReportsTheStepThatFailed) {
    remove("/sys/class/leds");
    EXPECT_EQ(exchange(hex("4b ab 06 02 05")), hex("4b ab 06 02 02"));
    expect_log({E("ftm_diag_led_entry_dispatch: aw9523b open file failed")});
    link_to_full(kLedNode);
    EXPECT_EQ(exchange(hex("4b ab 06 02 05")), hex("4b ab 06 02 01"));
    expect_log({E("ftm_diag_led_entry_dispatch: AW9523B write file failed!")});
}

TEST_F(LedTest, ExitWritesFourAndForgivesAnAbsentDriver) {
    write_file(kLedNode, "");
    remove(kLedNode);
    EXPECT_EQ(exchange(hex("4b ab 06 01")), hex("4b ab 06 01 00"));
    EXPECT_FALSE(exists(kLedNode));
    expect_log({E("ftm_diag_led_exit_dispatch: open first pach file failed!")});
    EXPECT_EQ(property("debug.entry.ledtest"), "0");
    write_file(kLedNode, "0x05\n");
    EXPECT_EQ(exchange(hex("4b ab 06 01")), hex("4b ab 06 01 00"));
    EXPECT_EQ(read_file_text(kLedNode), std::string("4\0", 2));
    remove(kLedNode);
    link_to_full(kLedNode);
    EXPECT_EQ(exchange(hex("4b ab 06 01")), hex("4b ab 06 01 01"));
}

class KeyTest : public PhoneTest {
   protected:
    void SetUp() override { remove("/dev/input"); }
    void add_device(int number, const char* types) {
        const std::string name = "event" + std::to_string(number);
        make_dir("/dev/input");
        ASSERT_EQ(mkfifo(host("/dev/input/" + name).c_str(), 0600), 0);
        if (types != nullptr) {
            write_file("/sys/class/input/" + name + "/device/capabilities/ev", types);
        } else {
            remove("/sys/class/input/" + name);
        }
    }
    void send(int number, uint16_t type, uint16_t code, int32_t value) {
        const InputEvent event = {{}, type, code, value};
        const int fd = open(host("/dev/input/event" + std::to_string(number)).c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(write(fd, &event, sizeof(event)), static_cast<ssize_t>(sizeof(event)));
        (void)close(fd);
    }
    static std::ptrdiff_t open_descriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    Bytes start(const char* flag = "01") { return exchange(hex("4b cd 1a 00") + hex(flag)); }
    std::ptrdiff_t count(const LogLine& line) const {
        const std::vector<LogLine> lines = log();
        return std::count(lines.begin(), lines.end(), line);
    }
    Bytes check() { return exchange(hex("4b cd a4 00")); }
    static inline const Bytes kStarted = hex("4b cd 1a 00 01") + Bytes{kPoison, kPoison};
    static inline const Bytes kAll = hex("4b cd a4 00 00 bc 00");
    static inline const Bytes kMissing = hex("4b cd a4 00 01 00 00");
};

TEST_F(KeyTest, ThreeKeysFromAnyDeviceInAnyOrderCompleteTheTest) {
    add_device(0, "3");
    add_device(1, "7\n");
    EXPECT_EQ(start(), kStarted);
    EXPECT_EQ(delays(), std::vector<uint64_t>({1000000}));
    send(1, 1, 61, 1);
    send(0, 1, 62, 0);
    send(0, 2, 60, 1);  // no key event
    send(1, 1, 63, 1);  // no key of the test
    ASSERT_TRUE(eventually([this] { return count(D("PM_KEY FTM ftmkey_success is false")) == 4; }));
    EXPECT_EQ(check(), kMissing);
    send(1, 1, 60, 1);
    ASSERT_TRUE(eventually([this] { return check() == kAll; }));
    expect_log({D("PM_KEY input_key_callback entry ev_power_on = 0"), D("PM_KEY FTM ftmkey_success is true"),
                D("ftm_diag_key_check_dispatch: e"), D("ftm_diag_key_check_dispatch:PM_KEY e"),
                D("ftm_diag_key_check_dispatch: PM_KEY entry write entry mode!"),
                D("PM_KEY -----dm-----  ftmkey_success is true"), D("PM_KEY ftm_diag_rsp_pkt.status = [0x0]")});
    clear_log();
    EXPECT_EQ(start(), kStarted);
    expect_log_only({D("ftm_diag_key_entry_dispatch: e"), D("ftm_diag_key_entry_dispatch:PM_KEY e"),
                     D("ftm_diag_key_entry_dispatch: PM_KEY entry write entry mode!,flag = 1")});
    EXPECT_EQ(ev_count() + delays().size(), 2U + 1U) << "a second start begins nothing anew";
    const uint16_t codes[] = {60, 61, 62};
    for (const uint16_t last : codes) {  // none of the earlier presses counts
        (void)start();
        clear_log();
        for (const uint16_t code : codes) {
            send(0, 1, code == last ? 63 : code, 1);
        }
        ASSERT_TRUE(eventually([this] { return count(D("PM_KEY FTM ftmkey_success is false")) == 3; })) << last;
        EXPECT_EQ(check(), kMissing) << last;
        send(0, 1, last, 1);
        EXPECT_TRUE(eventually([this] { return check() == kAll; })) << last;
    }
}

TEST_F(KeyTest, OtherFlagThanOneStartsNothing) {
    add_device(0, "3");
    EXPECT_EQ(start("00"), hex("4b cd 1a 00 03") + Bytes({kPoison, kPoison}));
    EXPECT_EQ(start(""), hex("4b cd 1a 00 03") + Bytes({kPoison, kPoison}));
    expect_log({D("ftm_diag_key_entry_dispatch: PM_KEY entry write entry mode!,flag = 0"),
                E("PM_KEY ftmkey entry is failed too")});
    EXPECT_EQ(ev_count(), 2U) << "each request adds the device again";
    EXPECT_TRUE(delays().empty());
}

TEST_F(KeyTest, OnlyDevicesWithKeyOrRelativeEventsAreWatched) {
    int number = 0;
    for (const char* types : {"3", "5", "7", "9", "1", "100000", static_cast<const char*>(nullptr)}) {
        add_device(number++, types);
    }
    write_file("/dev/input/mice", "");
    EXPECT_EQ(ev_init(input_key_callback, nullptr), 0);
    EXPECT_EQ(ev_count(), 3U);
    remove("/dev/input");
    EXPECT_EQ(ev_init(input_key_callback, nullptr), 0);
    EXPECT_EQ(ev_count(), 3U);
}

TEST_F(KeyTest, ScanStopsAtExactlySixteenAndTheListsAtThirtyTwo) {
    for (int i = 0; i < 20; ++i) {
        add_device(i, "3");
    }
    (void)check();
    EXPECT_EQ(ev_count(), 16U);
    const auto open_before = open_descriptors();
    (void)check();
    EXPECT_EQ(ev_count(), 32U) << "16 again beyond the stop, four refused";
    (void)check();
    EXPECT_EQ(ev_count(), 32U);
    EXPECT_EQ(open_descriptors(), open_before + 16) << "a refused device stays open";
}

class ControlTest : public PhoneTest {};

TEST_F(ControlTest, ActionTwoRestartsAndEveryRequestIsEchoed) {
    for (const char* request : {"29", "29 01", "29 03 02", "29 00 ff 11 22"}) {
        EXPECT_EQ(exchange(hex(request)), hex(request));
    }
    wait_for_workers();
    EXPECT_TRUE(power_calls().empty());
    EXPECT_EQ(exchange(hex("29 02 77")), hex("29 02 77"));
    wait_for_workers();
    EXPECT_EQ(power_calls(), std::vector<std::string>({"restart2 orb"}));
    EXPECT_EQ(delays(), std::vector<uint64_t>({2000000, 2000000}));
}

// The NFC and audio handlers are here too.
TEST_F(ControlTest, OverlongRequestsOfEveryHandlerGetNoAnswer) {
    for (const char* request : {"29 02", "4b ab 06 02", "4b ab 06 01", "4b cd 1a 00 01", "4b cd a4 00", "4b ab 07 00",
                                "4b ab 08 00", "4b ab 09 00", "4b cd 04 00 01"}) {
        Bytes bytes = hex(request);
        bytes.resize(16385);
        EXPECT_EQ(exchange(bytes), Bytes()) << request;
        EXPECT_TRUE(log().back().text.ends_with("_dispatch: pkt length (16385) invalid!")) << request;
    }
    wait_for_workers();
    EXPECT_TRUE(power_calls().empty() && delays().empty());
    EXPECT_EQ(property("debug.entry.ledtest"), "");
}

}  // namespace
