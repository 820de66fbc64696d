// Power and boot-mode commands: what they answer, what their workers do, and when.
#include "ftm/ftm_power.h"

#include "support/modem_connection.h"
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {

const std::string kDownloadMode = "/sys/module/restart/parameters/download_mode";
const std::string kFactoryMode = "/sys/module/orb_misc/parameters/factory_mode";
const std::string kUsbOnline = "/sys/class/power_supply/usb/online";
const std::string kApdp = "/dev/block/bootdevice/by-name/apdp";
const std::string kApdpb = "/dev/block/bootdevice/by-name/apdpb";
const std::string kImage = "/vendor/firmware_mnt/image/apdpfull.mbn";
constexpr uint64_t kSecond = 1'000'000;

using Lines = std::vector<std::string>;
using Delays = std::vector<uint64_t>;

class PowerTest : public PhoneTest {
   protected:
    // The USB supply node reads as the next of `readings` after every delay; empty: it cannot be read.
    void plug_sequence(const Lines& readings) {
        write_file(kUsbOnline, readings.front());
        next_reading_ = 1;
        on_delay([this, readings](uint64_t) {
            if (next_reading_ < readings.size()) {
                EXPECT_EQ(power_calls(), Lines{});  // not while the cable is there
                write_file(kUsbOnline, readings[next_reading_++]);
            }
        });
    }

    void make_apdp(const std::string& image) {
        remove(kImage);
        remove(kApdpb);
        write_file("/vendor/firmware_mnt/image/apdpmini.mbn", "small");
        write_file(kImage, image);
        write_file(kApdp, std::string(12000, '.'));
        write_file(kApdpb, std::string(12000, '.'));
    }

    void open_modem() {
        set_state("modem/qmi", "0");
        (void)vendor_diag_modem_api_init_proc(nullptr);
    }

    // Runs a command to the end of its workers; its message stays 0.
    int run(const std::string& command) {
        const FtmReply reply = ftm_main(command);
        EXPECT_EQ(reply.first(1), Bytes{0}) << command;
        wait_for_workers();
        return reply.status;
    }

    size_t next_reading_ = 0;
};

TEST_F(PowerTest, CommandsAnswerFirstAndActAfterTheirDelays) {
    struct Case {
        const char* command;
        const char* handler;
        Delays delays;
        const char* call;
        std::vector<LogLine> worker;
    };
    const Case cases[] = {
        {"Reboot",
         "ftm_diag_req_cmd_reboot",
         {2 * kSecond, 2 * kSecond},
         "restart2 orb",
         {D("ftm_reboot_thread: e"), E("ftm_reboot_thread,restart_reason :orb"), D("ftm_reboot_thread: x")}},
        {"RebootFtm",
         "ftm_diag_req_cmd_rebootftm",
         {2 * kSecond, 2 * kSecond},
         "restart2 ftmmode",
         {D("ftm_reboot_thread: e"), E("ftm_reboot_thread,restart_reason :ftmmode"), D("ftm_reboot_thread: x")}},
        {"PowerOff", "ftm_diag_req_cmd_poweroff", {kSecond, 3 * kSecond}, "power_off", {D("ftm_poweroff_thread: e")}},
        {"RebootEDL", "ftm_diag_req_cmd_rebootedl", {}, "restart2 edl", {}},
    };
    Delays all_delays;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command);
        clear_log();
        EXPECT_EQ(run(c.command), 0);
        EXPECT_EQ(power_calls().back(), c.call);
        all_delays.insert(all_delays.end(), c.delays.begin(), c.delays.end());
        EXPECT_EQ(delays(), all_delays);
        std::vector<LogLine> lines{D(std::string(c.handler) + ": e"), D(std::string(c.handler) + ": x")};
        lines.insert(lines.end(), c.worker.begin(), c.worker.end());
        expect_log(lines);
    }
    (void)ftm_reboot_thread(nullptr);  // without a reason
    EXPECT_EQ(power_calls(), (Lines{"restart2 orb", "restart2 ftmmode", "power_off", "restart2 edl", "restart"}));
}

TEST_F(PowerTest, ExtendedCommandsWaitForTheCableAndActAtOnce) {
    for (const auto& [command, call] : {std::pair{"ExtendPowerOff", "power_off"}, {"ExtendReboot", "restart2 orb"}}) {
        SCOPED_TRACE(command);
        const size_t delays_before = delays().size();
        plug_sequence({"1\n", "1\n", "", "0\n"});
        EXPECT_EQ(run(command), 0);
        EXPECT_EQ(delays().size() - delays_before, 3U);
        EXPECT_EQ(power_calls(), Lines{call});
        remove("/.sim/power");
    }
    expect_log({D("ftm_extendreboot_thread: e"), E("ftm_extendreboot_thread,restart_reason :orb"),
                D("ftm_extendreboot_thread: x")});
}

TEST_F(PowerTest, DownloadModeIsRaisedBeforeTheRestartOrThereIsNone) {
    EXPECT_EQ(run("SwitchToDownload"), 1);
    link_to_full(kDownloadMode);
    EXPECT_EQ(run("SwitchToDownload"), 1);
    expect_log({D("ftm_diag_req_cmd_dload: e"), E("ftm_set_dload_mode: open file failed!")});
    EXPECT_FALSE(log_contains("ftm_diag_req_cmd_dload: x"));
    EXPECT_EQ(power_calls(), Lines{});
    remove(kDownloadMode);
    write_file(kDownloadMode, "0\n");
    EXPECT_EQ(run("SwitchToDownload"), 0);
    EXPECT_EQ(read_file_text(kDownloadMode), "1");
    EXPECT_EQ(power_calls(), Lines{"restart2 orb"});
}

TEST_F(PowerTest, ApdpImageIsWrittenToTheStartOfBothPartitions) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{4096}, size_t{10000}}) {
        SCOPED_TRACE(size);
        std::string image(size, '\0');
        for (size_t i = 0; i < size; ++i) {
            image[i] = static_cast<char>('A' + i / 7 % 26);
        }
        make_apdp(image);
        EXPECT_EQ(run("ResetApdpData"), 0);
        EXPECT_EQ(read_file_text(kApdp), image + std::string(12000 - size, '.'));
        EXPECT_EQ(read_file_text(kApdpb), read_file_text(kApdp));
    }
    expect_log({D("ftm_diag_req_cmd_resetapdpdata: e"), D("reset_apdp_data_from_nonhlos: input APDP file len: 0"),
                D("ftm_diag_req_cmd_resetapdpdata: x")});
}

TEST_F(PowerTest, ApdpFailuresNameTheirStep) {
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { remove(kImage); }, "failed to open APDP file " + kImage + " errno: 2!"},
        {[&] { remove(kApdp); }, "failed to open APDP blk " + kApdp + "!"},
        {[&] { remove(kApdpb); }, "failed to open APDPB blk " + kApdpb + "!"},
        {[&] { remove(kImage), make_dir(kImage); }, "failed to read apdp data from " + kImage + "!"},
        {[&] { remove(kApdpb), link_to_full(kApdpb); },
         "failed to write apdp data to " + kApdp + " or " + kApdpb + "!"},
    };
    for (const auto& [damage, line] : cases) {
        SCOPED_TRACE(line);
        make_apdp("image");
        damage();
        clear_log();
        EXPECT_EQ(run("ResetApdpData"), 1);
        expect_log({D("reset_apdp_data_from_nonhlos: " + line),
                    E("ftm_diag_req_cmd_resetapdpdata: reset apdp data from nonhlos failed !"),
                    D("ftm_diag_req_process: x")});
    }
}

TEST_F(PowerTest, FactoryResetStopsAtItsFirstFailureAndCanBeRetried) {
    make_cfg_partition();
    set_state("modem/qcn", "5");
    set_state("board/manufacture_flag", "1");
    const std::string name = "ftm_diag_req_cmd_factoryresetdata";
    EXPECT_EQ(run("FactoryResetData"), 1);
    make_apdp("large");
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(cfg_set(("filler" + std::to_string(i)).c_str(), "1"), 1);
    }
    EXPECT_EQ(run("FactoryResetData"), 1);
    ASSERT_EQ(unsetcfgbyname("filler0"), 1);
    EXPECT_EQ(run("FactoryResetData"), 3);
    expect_log({D(name + ": e"), E(name + ": reset apdp data from nonhlos failed !"), E(name + ": set cfg failed !"),
                E(" qmi is not ready..., wait and try again")});
    // What stands before the modem is done by then.
    char record[64] = {};
    EXPECT_EQ(cfg_get("recovery.command", record, ""), 1);
    EXPECT_STREQ(record, "--factory_wipe_data");
    EXPECT_EQ(read_file_text(kApdp).substr(0, 6), "small.");
    EXPECT_EQ(modem_journal(), Lines{});
    open_modem();
    EXPECT_EQ(run("FactoryResetData"), 1);
    EXPECT_EQ(state("board/manufacture_flag"), "1");
    EXPECT_EQ(power_calls(), Lines{});

    set_state("modem/qcn", "0");
    EXPECT_EQ(run("FactoryResetData"), 0);
    EXPECT_EQ(modem_journal(), (Lines{"restore_qcn", "restore_qcn"}));
    EXPECT_EQ(state("board/manufacture_flag").substr(0, 1), "0");
    EXPECT_EQ(power_calls(), Lines{"restart2 recovery"});
    expect_log({D(name + ": modem_restore_qcn_data error, result = 5"), D(name + ": modem_restore_qcn_data ..."),
                D(name + ": x"), E("ftm_reboot_thread,restart_reason :recovery")});
}

TEST_F(PowerTest, ShippingModeNeedsTwoReadingsWithoutTheCable) {
    write_file(kFactoryMode, "0");
    plug_sequence({"1", "0", "1", "", "0", "", "0", "0"});
    (void)ftm_writefactorymode_thread(nullptr);
    wait_for_workers();
    Delays expected(8, kSecond);  // between all readings, then the power-off's own
    expected.push_back(3 * kSecond);
    EXPECT_EQ(delays(), expected);
    EXPECT_EQ(power_calls(), Lines{"power_off"});
    EXPECT_EQ(read_file_text(kFactoryMode), "1");
    const std::string first = "ftm_diag_usb_present_shipmode ";
    const std::string second = "ftm_diag_usb_present_shipmode2 ";
    expect_log({D("ftm_diag_power_usb_present_for_shipmode: e"), D(first + "1"), D(first + "0"), D(second + "1"),
                D(first + "0"), D(first + "0"), D(second + "0"), E("ftm_writefactorymode_thread: "),
                D("ftm_poweroff_thread: e")});
}

TEST_F(PowerTest, ShippingModeFallsBackToTheBatteryDriverAndElseLeavesThePhoneOn) {
    plug_sequence({"0"});
    (void)ftm_writefactorymode_thread(nullptr);
    expect_log({E("ftm_writefactorymode_thread: open first pach file failed!"),
                E("ftm_writefactorymode_thread: open second  pach file failed!")});
    link_to_full(kFactoryMode);
    (void)ftm_writefactorymode_thread(nullptr);
    wait_for_workers();
    EXPECT_EQ(power_calls(), Lines{});
    remove(kFactoryMode);
    write_file("/sys/class/qcom-battery/ship_mode_en", "0");
    (void)ftm_writefactorymode_thread(nullptr);
    wait_for_workers();
    EXPECT_EQ(read_file_text("/sys/class/qcom-battery/ship_mode_en"), "1");
    EXPECT_EQ(power_calls(), Lines{"power_off"});
}

}  // namespace
