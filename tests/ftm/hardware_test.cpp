// Hardware information and sensor results: what the tool gets from nodes, properties, programs and files.
#include <tuple>

#include "tests/support/phone.h"

namespace {

constexpr char kBoardId[] = "/proc/driver/board_id";
constexpr char kSensors[] = "/mnt/vendor/persist/sensors/";

class HardwareTest : public PhoneTest {
   protected:
    using Answer = std::pair<int, std::string>;
    Answer ask(const std::string& name) {
        const FtmReply reply = ftm(name);
        return {reply.status, reply.text()};
    }
};

}  // namespace

TEST_F(HardwareTest, VersionComesFromTheTableOfTheBoard) {
    using Case = std::tuple<const char*, const char*, int, const char*>;  // no board: no node
    const Case cases[] = {
        {"V1.0", "", 0, "V1.0"},       {"A,B,C", "2\n", 0, "C"},
        {"A,B,C", " 2\n", 1, ""},      {"A,B,C", "", 1, ""},
        {",", "0\n", 1, ""},           {"1-EVT,2-DVT", "2\n", 0, "DVT"},
        {"1-EVT,2-DVT", "4\n", 1, ""}, {"1_3-DVT", "259\n", 0, "DVT"},
    };
    for (const auto& [table, board, status, text] : cases) {
        write_file("/vendor/etc/hwid.conf", table);
        remove(kBoardId);
        if (*board != '\0') {
            write_file(kBoardId, board);
        }
        EXPECT_EQ(ask("ReadHWVer"), Answer(status, text)) << table << " " << board;
    }
    write_file("/vendor/etc/hwid.conf", "7-" + std::string(100, 'x'));
    write_file(kBoardId, "7");
    EXPECT_EQ(ftm("ReadHWVer").text(), std::string(92, 'x'));
    write_file("/vendor/etc/hwid.conf", std::string(2000, 'p'));
    EXPECT_EQ(ftm("ReadHWVer").text(), std::string(1023, 'p'));
}

TEST_F(HardwareTest, VersionPropertyStandsInForTheTable) {
    EXPECT_EQ(ftm("ReadHWVer").status, 1);
    EXPECT_TRUE(log_contains("ftm_diag_req_cmd_readhwver: pver_hw11111:"));
    write_file("/vendor/etc/hwid.conf", "");
    set_property("ro.vendor.build.hardware_version", "P1");
    EXPECT_EQ(ftm("ReadHWVer").text(), "P1");
    expect_log({D("ftm_diag_req_cmd_readhwver: pver_hw1: P1"), D("ftm_diag_req_cmd_readhwver: pver_hw22222:")});
}

TEST_F(HardwareTest, ProjectTableIsTracedEntryByEntry) {
    write_file("/vendor/etc/hwid.conf", "1_2-EVT,1_3-DVT,1_4-PVT");
    write_file(kBoardId, "259");
    ASSERT_EQ(ftm("ReadHWVer").status, 0);
    const std::string entry = "HW Version22222 hw_verion[0]= ";
    expect_log({D("ftm_diag_req_cmd_readhwver: board_index: 259"), D("HW Version22222 rsp_msg"),
                D(entry + "69,project_id[0] = 49,HW_id[0] = 50,h8_bit = 1,l8_bit = 3"), D("HW Version22222 rsp_msg"),
                D(entry + "68,project_id[0] = 49,HW_id[0] = 51,h8_bit = 1,l8_bit = 3"),
                D("HW Version333333 rsp_msg= DVT")});
    EXPECT_FALSE(log_contains(entry + "80"));
}

TEST_F(HardwareTest, BoardIdentifierIsDigitsAndALineEnd) {
    EXPECT_EQ(ftm("ReadBoardID").status, 1);
    using Case = std::tuple<const char*, int, std::string>;
    const Case cases[] = {
        {"259\n", 0, "259\n"}, {"1234567\n", 0, "123456"}, {"7", 0, "7"}, {"2x9\n", 1, ""}, {" 2\n", 1, ""},
    };
    for (const auto& [content, status, message] : cases) {
        write_file(kBoardId, content);
        EXPECT_EQ(ask("ReadBoardID"), Answer(status, message)) << content;
    }
    EXPECT_TRUE(log_contains("ftm_diag_req_cmd_readboardid: boardid contains undigit_char, buff_board =  2"));
}

TEST_F(HardwareTest, PropertiesAreReportedWhenSet) {
    EXPECT_EQ(ask("ReadDEVICE"), Answer(1, ""));
    EXPECT_EQ(ask("ReadEMMCID"), Answer(1, ""));
    EXPECT_EQ(ask("ReadSecPatch"), Answer(0, "\xFF"));
    set_property("ro.product.device", "orb1");
    set_property("ro.boot.emmcid", std::string(120, 'e'));
    set_property("ro.build.version.security_patch", "2024-06-05");
    EXPECT_EQ(ftm("ReadDEVICE").text(), "orb1");
    EXPECT_EQ(ftm("ReadEMMCID").text(), std::string(91, 'e'));
    EXPECT_EQ(ftm("ReadSecPatch").text(), "2024-06-05");
    expect_log({D("ftm_diag_req_cmd_readdevice: device_name: orb1"), D("ftm_diag_req_cmd_readdevice: rsp_msg: orb1")});
}

TEST_F(HardwareTest, StorageIdentityComesFromItsNodeElseFromTheUfsNodes) {
    const std::string scsi = "/sys/bus/scsi/devices/0:0:0:0/";
    const std::string name = "ftm_diag_req_cmd_get_emmc: ";
    const std::pair<std::string, std::string> nodes[] = {
        {scsi + "vendor", "emmc vendor failed to open!"},
        {scsi + "model", "emmc model failed to open!"},
        {scsi + "rev", "emmc rev failed to open!"},
        {"/sys/devices/platform/soc/1d84000.ufshc/geometry_descriptor/raw_device_capacity", "emmc rev failed to open!"},
    };
    for (const auto& [path, line] : nodes) {
        clear_log();
        EXPECT_EQ(ftm("emmc_id").status, 1);
        expect_log({E(name + "failed to open /proc/driver/emmc_id!"), E(name + line)});
        write_file(path, path.ends_with("capacity") ? "0x1dcb0000\n" : "AB CDEFGHIJ\n");
    }
    EXPECT_EQ(ask("emmc_id"), Answer(0, "AB CDEFG-AB CDEFG-AB C-00/0000-256 GB-NA\n"));
    EXPECT_TRUE(log_contains(name + "emmc_cap = 238"));
    write_file("/proc/driver/emmc_id", std::string(70, 'm'));
    EXPECT_EQ(ftm("emmc_id").text(), std::string(63, 'm'));
    EXPECT_EQ(ftm("ddr_id").status, 1);
    write_file("/proc/driver/ddr_id", "LP5\n");
    EXPECT_EQ(ftm("ddr_id").text(), "LP5\n");
}

TEST_F(HardwareTest, EidIsSentAsDigitsWithoutTerminator) {
    EXPECT_EQ(ftm("Read_EID").status, 1);
    set_state("modem/eid", "89049032004008882600012345678abc");
    EXPECT_EQ(ask("Read_EID"), Answer(0, "89049032004008882600012345678ABC"));
}

TEST_F(HardwareTest, SecureElementToolOutputDecides) {
    using Case = std::tuple<const char*, const char*, int, const char*>;
    const Case cases[] = {
        {"GetAPPLET", "clean chip:true\nProgram terminated normally", 0, "\x01"},
        {"GetAPPLET", "clean chip:false\nProgram terminated normally", 0, ""},
        {"GetAPPLET", "clean chip:true", 1, ""},
        {"GetAPPLET", "Program terminated normally", 1, ""},
        {"GetAPPLET", "This is a test chip\nclean chip:true\nProgram terminated normally", 1, ""},
        {"GetAPPLET", "ASSERT FAILED\nclean chip:true\nProgram terminated normally", 1, ""},
        {"SeReset", "factory_reset:success\nProgram terminated normally", 0, ""},
        {"SeReset", "factory_reset:success", 1, ""},
        {"SeReset", "ASSERT FAILED factory_reset:success\nProgram terminated normally", 1, ""},
    };
    for (const auto& [command, output, status, text] : cases) {
        make_tool("/vendor/bin/st_se_factory", "printf '%s' '" + std::string(output) + "'");
        EXPECT_EQ(ask(command), Answer(status, text)) << output;
    }
    EXPECT_EQ(calls().front(), "st_se_factory 1");
    EXPECT_EQ(calls().back(), "st_se_factory 0");
    make_tool("/vendor/bin/st_seid", "echo CPLC");
    EXPECT_EQ(ftm("GetNfcCplc").text(), "CPLC\n");
    make_tool("/vendor/bin/st_seid");
    EXPECT_EQ(ftm("GetNfcCplc").status, 1);
}

TEST_F(HardwareTest, SensorResultsAreWholeFiles) {
    const std::pair<const char*, const char*> cases[] = {
        {"GetLightData", "light_sen.txt"},
        {"GetTofData", "tof_sen.txt"},
        {"GetProximityNoise", "proximity_noise.txt"},
        {"GetVibratetData", "vibrate_data.txt"},
    };
    for (const auto& [command, file] : cases) {
        EXPECT_EQ(ask(command), Answer(1, "")) << command;
        write_file(std::string(kSensors) + file, std::string("1,2\n") + file);
        EXPECT_EQ(ask(command), Answer(0, std::string("1,2\n") + file)) << command;
    }
    EXPECT_TRUE(log_contains("ftm_diag_req_cmd_GetVibrateData 1,2"));
    make_dir(std::string(kSensors) + "light_sen_2.txt");
    EXPECT_EQ(ftm("GetLightData2").status, 1);
    write_file(std::string(kSensors) + "tof_sen.txt", std::string(5000, 't'));
    EXPECT_EQ(ftm("GetTofData").text().size(), 4090u);
}

TEST_F(HardwareTest, SecondLightSensorSharesTheMessageOfTheFirst) {
    write_file(std::string(kSensors) + "light_sen.txt", "first");
    EXPECT_EQ(ask("GetLightData2"), Answer(1, "first"));
    write_file(std::string(kSensors) + "light_sen_2.txt", "2nd");
    EXPECT_EQ(ask("GetLightData2"), Answer(0, "2nd"));
}
