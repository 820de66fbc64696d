#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstring>
#include <memory>

#include "tests/rdss/uart.h"

namespace {

constexpr const char* kPower = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/power_on";
constexpr const char* kGps = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/bd_gps_sw";
constexpr const char* kWifi = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/bd_wifi_sw";
constexpr uint64_t kSecond = 1000000;
constexpr uint64_t kPause = 200000;

class RdssTest : public UartTest {
   protected:
    RdssTest() {
        for (const char* node : {kPower, kGps, kWifi}) {
            write_file(node, "0");
        }
    }
    std::string nodes() const { return read_file_text(kPower) + read_file_text(kGps) + read_file_text(kWifi); }
    // Starts the test and forgets what that left on the line and in the records.
    void start() {
        ASSERT_EQ(0, ftm("startrchiptest").status);
        (void)chip_hears();
        clear_log();
        started_delays_ = delays().size();
    }
    // The chip answers while the daemon pauses: the last of these answers is repeated.
    void chip_answers(const std::vector<std::string>& answers) {
        on_delay([this, answers, next = std::make_shared<size_t>(0)](uint64_t) {
            chip_says(answers[*next]);
            *next = std::min(*next + 1, answers.size() - 1);
        });
    }
    size_t pauses() const { return delays().size() - started_delays_; }

   private:
    size_t started_delays_ = 0;
};

TEST_F(RdssTest, StartSwitchesAntennasOpensThePortAndPowersTheChip) {
    for (const char* node : {kPower, kGps, kWifi}) {
        write_file(node, "0\n");
    }
    EXPECT_EQ(0, ftm("startrchiptest").status);
    EXPECT_EQ("111", nodes());
    EXPECT_EQ(std::string(1, '\0'), chip_hears());
    EXPECT_EQ(std::vector({kSecond, kSecond}), delays());
    const std::string fd = std::to_string(serial_port.fd);
    expect_in_order({D("[open_ser_com #]opening device: /dev/ttyHS1, baud: 115200"),
                     D("success to get autosuspend_delay: 2000"), D("success to set autosuspend_delay: -1"),
                     D("[open_ser_com #]opening device: /dev/ttyHS1, mSerialDeviceFd: " + fd),
                     D("[rchip_state_init #]Serial Port open state->fd = " + fd),
                     D("[rchip_state_init #]Serial Port setup finished..OK"), D("port_send: port_send 1 bytes"),
                     D("setRchipPower: on = true"), D("successfully written 1 to " + std::string(kPower)),
                     D("ftm_diag_req_cmd_startRchipTest: result = 0,mSerialDeviceFd = " + fd)});
}

TEST_F(RdssTest, CloseSwitchesEverythingOff) {
    start();
    EXPECT_EQ(0, ftm("closerchiptest").status);
    EXPECT_EQ("000", nodes());
    EXPECT_EQ(-1, serial_port.fd);
    EXPECT_EQ("2000", read_file_text(kUartAutosuspendNode));
    clear_log();
    EXPECT_EQ(0, ftm("closerchiptest").status);
    expect_in_order({D("setRchipPower: on = false"), D("setRchipPower: current power state is 0, no need to update"),
                     D("close ser success"), D("ftm_diag_req_cmd_closeRchipTest: result = 0")});
}

TEST_F(RdssTest, FailedStepsAnswerFailureAndGoNoFurther) {
    struct Case {
        const char* command;
        const char* missing;
        std::vector<LogLine> lines;
    };
    const std::string gone = ", error = No such file or directory";
    const Case cases[] = {
        {"startrchiptest",
         kGps,
         {E(std::string("failed to open file ") + kGps + gone), E(std::string("failed to open file ") + kWifi + gone),
          E("startTest failed to open antenna"),
          D("ftm_diag_req_cmd_startRchipTest: result = 1,mSerialDeviceFd = -1")}},
        {"startrchiptest",
         "/dev/ttyHS1",
         {E("[rchip_state_init #]Open serial port fail: /dev/ttyHS1(115200), err_no: 2"),
          E("startTest failed to openSerialDevice"),
          D("ftm_diag_req_cmd_startRchipTest: result = -1,mSerialDeviceFd = -1")}},
        {"startrchiptest", kPower, {E("startTest failed to setRchipPower")}},
        {"closerchiptest", kPower, {E("closeTest failed to setRchipPower")}},
        {"closerchiptest", kWifi, {D("close ser success"), E("closeTest failed to close antenna")}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.command) + " without " + c.missing);
        const std::string kept = host(c.missing) + ".kept";
        ASSERT_EQ(0, rename(host(c.missing).c_str(), kept.c_str()));
        clear_log();
        EXPECT_EQ(1, ftm(c.command).status);
        expect_in_order(c.lines);
        ASSERT_EQ(0, rename(kept.c_str(), host(c.missing).c_str()));
        serial_port = {-1, -1};
    }
    EXPECT_EQ("011", nodes());  // antennas that were switched before a later step failed stay as they are
}

TEST_F(RdssTest, PowerNodeDecidesWhetherItIsWritten) {
    struct Case {
        std::function<void()> prepare;
        int status;
        LogLine line;
    };
    const std::string node = kPower;
    const Case cases[] = {
        {[&] { write_file(node, ""); }, 0, D("read 0 bytes from " + node + ", maybe not set before")},
        {[&] { write_file(node, "1\n"); }, 0, D("setRchipPower: current power state is 1, no need to update")},
        {[&] { remove(node), link_to_full(node); }, 1,
         E("failed to write file " + node + ", error = No space left on device")},
        {[&] { remove(node), make_dir(node); }, 1, E("failed to open file " + node + ", error = Is a directory")},
    };
    for (const Case& c : cases) {
        clear_log();
        c.prepare();
        EXPECT_EQ(c.status, ftm("startrchiptest").status);
        expect_in_order({c.line});
    }
}

TEST_F(RdssTest, SilentChipIsAskedThreeTimes) {
    start();
    EXPECT_EQ(1, ftm("sendRchipCN").status);
    std::string frame = "$QXDFTCNQ,01*hh\r\n";
    frame.resize(32, '\0');
    EXPECT_EQ(frame + frame + frame, chip_hears());
    EXPECT_EQ(33U, pauses());
    EXPECT_EQ(kPause, delays().back());
    const std::string request = "queryCN send start Request mSerialDeviceFd = " + std::to_string(serial_port.fd);
    expect_in_order({D(request), D("port_send: port_send 32 bytes"), E("queryCN receiveResponse ret = -1"),
                     E("[queryCN #]get receiveResponse fail: 0, continue"), D(request),
                     E("[queryCN #]get receiveResponse fail: 2, continue"),
                     D("ftm_diag_req_cmd_sendRchipCN: result = 1")});
    EXPECT_FALSE(log_contains("rsp_msg"));
}

TEST_F(RdssTest, AnswersGiveStatusAndMessage) {
    struct Case {
        const char* command;
        std::vector<std::string> answers;
        int status;
        const char* message;
        size_t pauses;
    };
    const Case cases[] = {
        {"sendRchipCN", {"$QXDFTCNQ,2,41.2*hh\r\n"}, 0, "41.2", 1},
        {"sendRchipCN", {"noise$QXDF", "TCNQ,2,4", "0.7*hh\r", "\n$QXDFTCNQ,2,1\r\n"}, 0, "40.7", 4},
        {"sendRchipNEWCN", {"$BDPWI,1,1,1,30.1,38.5*hh\r\n"}, 0, "38.5", 1},
        {"sendRchipNEWCN", {"$CCPWS,64,3,10*hh\r\n$BDPWI,1,1,1,1,9\r\n"}, 0, "38.5", 1},  // the echo ends the wait
        {"sendRchipNEWCN", {"$BDPWI,1,0,1,30.1,38.5*hh\r\n"}, 1, "", 33},
        {"stopRchiptest", {"$QXDFTSTOP,2,1*hh\r\n", "", "$QXDFTSTOP,2,0*hh\r\n"}, 0, "", 3},
        {"sendrchipCCTCQ", {"$BDFKI,1,TCQ,Y,0,60,1*hh\r\n"}, 0, "", 1},
        {"sendrchipCCTCQ", {"$QXDFTSTOP,2,0*hh\r\n"}, 0, "", 1},  // any positive answer counts
    };
    start();
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.command) + " " + c.answers[0]);
        chip_answers(c.answers);
        const size_t before = pauses();
        const FtmReply reply = ftm(c.command);
        EXPECT_EQ(c.status, reply.status);
        EXPECT_STREQ(c.message, reinterpret_cast<const char*>(reply.message.data()));
        EXPECT_EQ(c.pauses, pauses() - before);
        on_delay(nullptr);
        (void)chip_hears();
    }
    expect_in_order({D("get_rdss_chip_cn: CN value = 41.2"), D("ftm_diag_req_cmd_sendRchipCN: rsp_msg = 41.2"),
                     D("ftm_diag_req_cmd_sendRchipCN: result = 0"),
                     D("queryCNNew send start Request cmd_buff = $CCPWS,64,3,10*hh\r"), D("receiveResponse: ret = 0"),
                     E("queryCNNew receiveResponse ret = 0")});
}

TEST_F(RdssTest, TestMessageIsOneFrameOfTwoThousandBytes) {
    start();
    chip_answers({"$BDFKI,1,TCQ,Y,0,60,1*hh\r\n"});
    EXPECT_EQ(0, ftm("sendrchipCCTCQ").status);
    const std::string frame = chip_hears();
    ASSERT_EQ(2048U, frame.size());
    EXPECT_EQ(2012U, strlen(frame.c_str()));
    EXPECT_EQ("$CCTCQ,2031958,1,0,1,0,0,高高兴兴高高兴兴开心", frame.substr(0, 25 + 30));
    EXPECT_EQ("开心,1*hh\r\n", frame.substr(2012 - 13, 13));
}

TEST_F(RdssTest, QueryWithoutPortFailsAtOnce) {
    EXPECT_EQ(1, ftm("sendRchipCN").status);
    expect_in_order({E("queryCN failed to port_send"), D("ftm_diag_req_cmd_sendRchipCN: result = -1")});
    EXPECT_TRUE(delays().empty());
}

// The program that plays the chip for people and scripts, beside the daemon.
class ChipProgramTest : public RdssTest {
   protected:
    ~ChipProgramTest() override { end(); }
    void run(std::vector<std::string> options) {
        remove("/dev/ttyHS1");
        on_delay([](uint64_t) { usleep(30000); });  // it takes its time, so a pause must last a little
        options.insert(options.begin(), {VENDORDIAG_RDSS_CHIP, "--root", host("")});
        std::vector<char*> arguments(options.size() + 1);
        std::transform(options.begin(), options.end(), arguments.begin(),
                       [](std::string& text) { return text.data(); });
        ASSERT_EQ(0, posix_spawn(&pid_, VENDORDIAG_RDSS_CHIP, nullptr, nullptr, arguments.data(), environ));
        ASSERT_TRUE(eventually([this] { return exists("/dev/ttyHS1"); }));
    }
    void end() {
        if (pid_ > 0) {
            int status = -1;
            kill(pid_, SIGTERM);
            EXPECT_EQ(pid_, waitpid(pid_, &status, 0));
            EXPECT_EQ(0, status);
            EXPECT_FALSE(exists("/dev/ttyHS1"));
            pid_ = 0;
        }
    }

   private:
    pid_t pid_ = 0;
};

TEST_F(ChipProgramTest, WholeTestRunsHoweverTheChipSends) {
    const std::vector<std::string> ways[] = {
        {},
        {"--noise", "300", "--chunk", "1", "--checksum", "placeholder"},
        {"--noise", "7", "--chunk", "5", "--delay", "120", "--checksum", "bad", "--cn-new", "38.5"},
    };
    for (const auto& options : ways) {
        run(options);
        EXPECT_EQ(0, ftm("startrchiptest").status);
        EXPECT_EQ("41.2", ftm("sendRchipCN").text());
        EXPECT_EQ("38.5", ftm("sendRchipNEWCN").text());
        EXPECT_EQ(0, ftm("sendrchipCCTCQ").status);
        EXPECT_EQ(0, ftm("stopRchiptest").status);
        EXPECT_EQ(0, ftm("closerchiptest").status);
        end();
    }
}

TEST_F(ChipProgramTest, ChipThatIsWrongOrUnpoweredGivesNoPositiveAnswer) {
    run({"--wrong"});
    EXPECT_EQ(0, ftm("startrchiptest").status);
    EXPECT_EQ(1, ftm("stopRchiptest").status);
    EXPECT_TRUE(log_contains("QXDFTSTOP s->cmd: 2, s->result: 1"));
    write_file(kPower, "0");
    clear_log();
    EXPECT_EQ(1, ftm("stopRchiptest").status);
    EXPECT_FALSE(log_contains("rdss_data_reader_addc"));
}

}  // namespace
