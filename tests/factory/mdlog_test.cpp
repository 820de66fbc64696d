// Modem log capture: how the collector is launched and stopped, and what the factory tool is told.
#include "factory/mdlog.h"

#include "tests/support/phone.h"

namespace {
constexpr const char* kTool = "/system/bin/diag_mdlog";
constexpr const char* kDefaultMask = "/system/etc/default_diag_logmask.cfg";

class Mdlog : public PhoneTest {
   protected:
    Mdlog() {
        remove("/cache");
        make_dir("/cache/logs");
        make_tool(kTool);
        write_file(kDefaultMask, "mask");
    }
    uint8_t send(uint8_t code) {
        const Bytes answer = exchange({75, 253, code, 0});
        EXPECT_EQ(answer, Bytes({75, 253, code, 0, answer.at(4), 0, 0, 0}));
        return answer.at(4);
    }
    // The collector runs in the background.
    void wait_for_calls(size_t count) {
        EXPECT_TRUE(eventually([this, count] { return calls().size() == count; }));
    }
};

TEST_F(Mdlog, TheCollectorIsStartedAndStoppedOnce) {
    const std::string arguments = " -f " + std::string(kDefaultMask) + " -o /cache/logs/factorylog -c -n 100 -s 100";
    for (const uint8_t code : Bytes{8, 7, 7}) {
        EXPECT_EQ(send(code), 0);
    }
    EXPECT_EQ(mdlog_is_run(), 1);
    wait_for_calls(1);
    EXPECT_EQ(send(8), 0);
    EXPECT_EQ(mdlog_is_run(), 0);
    EXPECT_EQ(calls(), (std::vector<std::string>{"diag_mdlog" + arguments, "diag_mdlog -k"}));
    expect_log_only({D("factory_diag_log_stop MDLOG already stop "), D("mdlog_start: path is /cache/logs/factorylog"),
                     D("mdlog_start : begin create dir /cache/logs/factorylog "),
                     D("diag_cmd: excute " + (kTool + arguments) + " &"),
                     D("factory_diag_log_start MDLOG already start "), D("mdlog_stop")});
}

TEST_F(Mdlog, FailuresAreReportedAndChangeNothing) {
    remove("/cache");
    remove(kDefaultMask);
    EXPECT_EQ(send(7), 3);
    EXPECT_EQ(mdlog_is_run(), 0);
    expect_log_only({D("mdlog_start: path is /cache/logs/factorylog"), E("mdlog_start can not find logmask file"),
                     D("mdlog_start : begin create dir /cache/logs/factorylog "),
                     E("mdlog_start : create dir /cache/logs/factorylog failed!!!"),
                     E("factory_diag_log_start MDLOG start faild")});
    make_dir("/cache/logs/factorylog");
    make_tool(kTool, "exit 3");
    EXPECT_EQ(send(7), 0);  // what becomes of the collector is not looked at
    EXPECT_EQ(send(8), 3);
    EXPECT_EQ(mdlog_is_run(), 1);
    expect_log({E("mdlog_start: error 768"), E("factory_diag_log_stop MDLOG stop faild")});
    wait_for_calls(2);
}

TEST_F(Mdlog, WithoutADirectoryTheStorageHoldsLogsAndMask) {
    write_file("/sdcard/diag_mask.cfg", "own mask");
    mdlog_set_log_file_path(nullptr);
    EXPECT_TRUE(mdlog_start(0));
    mdlog_set_log_file_path(std::string(300, 'd').c_str());
    EXPECT_TRUE(mdlog_start(0));
    mdlog_init();
    remove("/sdcard/diag_mask.cfg");
    EXPECT_TRUE(mdlog_start(0));
    const auto command = [](const std::string& mask, const std::string& dir) {
        return D("diag_cmd: excute /system/bin/diag_mdlog -f " + mask + " -o " + dir + " -c -n 100 -s 100 &");
    };
    expect_log({D("mdlog_start: path is /sdcard/sd_logs"), command("/sdcard/diag_mask.cfg", "/sdcard/sd_logs"),
                command(kDefaultMask, std::string(255, 'd')), command(kDefaultMask, "/sdcard/sd_logs")});
    wait_for_calls(3);
}

TEST_F(Mdlog, ClearingEmptiesTheDirectoryAndKeepsIt) {
    write_file("/cache/logs/factorylog/a/b.qmdl", "x");
    write_file("/cache/logs/factorylog/c.qmdl", "x");
    EXPECT_EQ(send(9), 0);
    EXPECT_TRUE(exists("/cache/logs/factorylog"));
    EXPECT_FALSE(exists("/cache/logs/factorylog/a") || exists("/cache/logs/factorylog/c.qmdl"));
    clear_log();
    EXPECT_EQ(exchange({75, 253, 9}), Bytes({75, 253, 9, 0, 1, 0, 0, 0}));
    expect_log_only({E("Invalid pkt_len: 0x3")});
}
}  // namespace
