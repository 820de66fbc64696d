// Factory flags and simple status.
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {

using StatusTest = PhoneTest;

const std::string kSwVersion = "/cache/sw_ver_num";
const std::string kBoardNumber = "/cache/board_number";
const std::string kFanLight = "/mnt/vendor/persist/fan_light";

// Text of a record; "-" when there is none.
std::string record(const char* name) {
    char text[64] = {};
    (void)cfg_get(name, text, "-");
    return text;
}

TEST_F(StatusTest, VersionAndBoardNumberAreRecordsOfAFixedSize) {
    write_file(kSwVersion, std::string(70, '#'));
    write_file(kBoardNumber, std::string(70, '#'));
    // What follows the text in the packet is taken too, and the tail of the older version file stays.
    EXPECT_EQ(ftm_main("WriteSWVersion", text_bytes("V1.0") + Bytes{0, 'x'}).status, 0);
    EXPECT_EQ(read_file_text(kSwVersion), std::string("V1.0\0x", 6) + std::string(58, '\0') + "######");
    EXPECT_EQ(ftm_main("WriteSWVersion", Bytes(100, 'v')).status, 0);
    EXPECT_EQ(read_file_text(kSwVersion).substr(62, 3), std::string("v\0#", 3));
    EXPECT_EQ(ftm_main("StoreBoardNum", Bytes(100, 'v')).status, 0);
    EXPECT_EQ(read_file_text(kBoardNumber), std::string(19, 'v') + std::string(1, '\0'));
    expect_log({D("ftm_diag_req_cmd_writeswversion: e"), D("ftm_diag_req_cmd_writeswversion: x"),
                D("ftm_diag_req_cmd_storeboardnum: e"), D("ftm_diag_req_cmd_storeboardnum: x")});
}

TEST_F(StatusTest, RecordsThatCannotBeKeptAreFailures) {
    const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
        {"WriteSWVersion", kSwVersion, "ftm_diag_req_cmd_writeswversion: ", "write software version number error !"},
        {"StoreBoardNum", kBoardNumber, "ftm_diag_req_cmd_storeboardnum: ", "write board number error !"},
    };
    for (const auto& [command, path, name, write_line] : cases) {
        make_dir(path);
        EXPECT_EQ(ftm_main(command).status, 1);
        remove(path);
        link_to_full(path);
        EXPECT_EQ(ftm_main(command).status, 1);
        remove(path);
        link_to_null(path);
        EXPECT_EQ(ftm_main(command).status, 1);  // has no line of its own
        expect_log({E(name + "open file failed!"), E(name + write_line)});
        EXPECT_FALSE(log_contains(name + "x"));
    }
}

TEST_F(StatusTest, EfsRecoveryNodeTakesThePaddedText) {
    const std::string node = "/sys/devices/platform/orb_ftm/orb_ftm/efs_recovery";
    EXPECT_EQ(ftm_main("WriteEfsRecovery", {7}).status, 1);
    write_file(node, "");
    EXPECT_EQ(ftm_main("WriteEfsRecovery", {7}).status, 0);
    EXPECT_EQ(read_file_text(node), std::string("arg: 7\n\0\0\0", 10));
    EXPECT_EQ(ftm_main("WriteEfsRecovery", {255}).status, 0);
    EXPECT_EQ(read_file_text(node), std::string("arg: 255\n\0", 10));
    remove(node);
    link_to_full(node);
    EXPECT_EQ(ftm_main("WriteEfsRecovery", {7}).status, 1);
    const std::string name = "ftm_diag_req_cmd_writeefsrecovery: ";
    expect_log({D(name + "req_args: 7"), D(name + "failed to open " + node + "!"), D(name + "x"),
                D(name + "failed to write " + node + "!")});
}

TEST_F(StatusTest, FlagsAreSetAndReadBack) {
    make_cfg_partition();
    EXPECT_EQ(ftm_main("StartKPH", {3}).status, 0);
    EXPECT_EQ(property("sys.kphdaemon.enable"), "true");
    EXPECT_EQ(ftm_main("StopKPH", {4}).status, 0);
    EXPECT_EQ(property("sys.kphdaemon.enable"), "false");
    FtmReply reply = ftm_main("ReadSWVer");
    EXPECT_EQ(reply.status, 1);
    EXPECT_EQ(reply.first(1), Bytes{255});
    EXPECT_EQ(ftm_main("WriteSWVer", {42}).status, 0);
    reply = ftm_main("ReadSWVer");
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.first(1), Bytes{42});
    expect_log({D("ftm_diag_req_cmd_startkph: req_args: 3"), D("ftm_diag_req_cmd_stopkph: x"),
                E("ftm_diag_req_cmd_readswver: ftm_read_orbcfg_swverflag failed!"),
                D("ftm_diag_req_cmd_writeswver: req_args: 42"), D("ftm_diag_req_cmd_readswver: sw ver flag: 42")});
}

TEST_F(StatusTest, UserLogFlagIsAnsweredAsFoundAndReset) {
    struct Case {
        const char* record;  // empty: none
        const char* property;
        int first;
        int second;
        const char* record_after;
    };
    const Case cases[] = {{"1", "0", 1, 0, "0"}, {"0", "1", 1, 1, "0"}, {"01", "0", 1, 0, "0"},
                          {"", "", 0, 0, "-"},   {"", "00", 1, 1, "-"}, {"0", "0", 0, 0, "0"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.record) + "/" + c.property);
        make_cfg_partition();
        if (*c.record != '\0') {
            ASSERT_EQ(cfg_set("vendor.factory.log", c.record), 1);
        }
        set_property("persist.sys.orblog.enable", c.property);
        EXPECT_EQ(ftm_main("CheckUserLogFlag").status, c.first);
        EXPECT_EQ(record("vendor.factory.log"), c.record_after);
        EXPECT_EQ(ftm_main("CheckUserLogFlag").status, c.second);
    }
    expect_log({E("ftm_diag_req_cmd_checkuserlogflag: flag != 0  :x"), D("ftm_diag_req_cmd_checkuserlogflag: x")});
}

TEST_F(StatusTest, FactoryFlagIsClearedAndAnswered) {
    make_cfg_partition();
    ASSERT_EQ(cfg_set("factory.reset", "1"), 1);
    ASSERT_EQ(cfg_set_int("factory.first_enter", 5), 1);
    EXPECT_EQ(ftm_main("ReadFactoryFlag").status, 1);
    EXPECT_EQ(record("factory.first_enter") + record("factory.reset"), "--");
    EXPECT_EQ(ftm_main("ReadFactoryFlag").status, 2);
    expect_log({D("CFG_FACTORY_RESET=0,CFG_FACTORY_FIRST_ENTER=5,ret2=1 "),
                D("unsetcfgbyname,CFG_FACTORY_RESET,success "), D("unsetcfgbyname,CFG_FACTORY_FIRST_ENTER,success "),
                D("CFG_FACTORY_RESET=0,CFG_FACTORY_FIRST_ENTER=0,ret2=-1 "), D("Factory Reset config not found ")});
    EXPECT_FALSE(log_contains("ftm_diag_req_cmd_read_factory_flag: e"));
}

TEST_F(StatusTest, CustomisationFolderIsRemovedWhenItIsEmpty) {
    const std::string folder = "/persist/factoryinfo/customfolder";
    write_file(folder + "/app", "");
    EXPECT_EQ(ftm_main("cleanapkconfigpara").status, 0);
    EXPECT_EQ(ftm_main("checkapkcleanstatus").status, 1);
    remove(folder + "/app");
    EXPECT_EQ(ftm_main("cleanapkconfigpara").status, 0);
    EXPECT_EQ(ftm_main("checkapkcleanstatus").status, 0);
    EXPECT_EQ(ftm_main("cleanapkconfigpara").status, 0);
    expect_log({E("4Exit delete_file:delete fail"), D("ftm_diag_req_cmd_cleanapkpara: x"),
                D("ftm_diag_req_cmd_checkapkpara:check " + folder + " dir exist"), E("5Exit delete_file:delete OK"),
                D("ftm_diag_req_cmd_checkapkpara:check " + folder + " dir not exist"),
                E("3Exit delete_file:not exist")});
}

TEST_F(StatusTest, ModemAnswersArePassedThrough) {
    for (const auto& [command, message] :
         {std::pair{"ReadSIMSlot1Status", 255}, {"ReadSIMSlot2Status", 255}, {"checkcardto", 0}}) {
        const FtmReply reply = ftm_main(command);
        EXPECT_EQ(reply.status, 1) << command;
        EXPECT_EQ(reply.first(1), Bytes{static_cast<uint8_t>(message)}) << command;
    }
    set_state("modem/cards", "1 20 30 4");
    EXPECT_EQ(ftm_main("ReadSIMSlot1Status").first(1), Bytes{20});
    EXPECT_EQ(ftm_main("ReadSIMSlot2Status").first(1), Bytes{30});
    for (const auto& [tray, status] : {std::pair{"0", 1}, {"1", 0}, {"2", 1}}) {
        set_state("modem/sim_tray", tray);
        const FtmReply reply = ftm_main("checkcardto");
        EXPECT_EQ(reply.status, status);
        EXPECT_EQ(reply.first(1), text_bytes(tray));
    }
    expect_log({E("ftm_diag_req_cmd_readsimslot1status: modem_get_all_cards_status failed!"),
                D("ftm_diag_req_cmd_readsimslot2status: card1 status: 30"),
                D("ftm_diag_req_cmd_checkcardto: result: 0"), D("ftm_diag_req_cmd_checkcardto: eid_value: 1")});
}

TEST_F(StatusTest, StorageTypeIsReadOffTheBootDevice) {
    EXPECT_EQ(ftm_main("UFS").first(1), Bytes{1});
    expect_log({D("read bootdevice fail"), D("ftm_diag_req_cmd_is_ufs: x")});
    for (const auto& [target, message] : {std::pair{std::string("platform/soc/1d84000.ufshc"), 0},
                                          {"platform/soc/7c4000.sdhci", 1},
                                          {std::string(252, 'a') + "ufs", 0},
                                          {std::string(253, 'a') + "ufs", 1}}) {
        remove("/dev/block/bootdevice");
        make_link("/dev/block/bootdevice", target);
        EXPECT_EQ(ftm_main("UFS").first(1), Bytes{static_cast<uint8_t>(message)}) << target;
    }
}

TEST_F(StatusTest, NodesAreReadIntoTheMessage) {
    const std::string status = "/sys/class/power_supply/battery/status";
    const std::string present = "/sys/class/power_supply/battery/present";
    const std::string breath = "/sys/module/orb_misc/parameters/is_breath_led_exist";
    const std::string rgb = "/sys/class/leds/aw22xxx_led/rgb";
    struct Case {
        const char* command;
        std::string node;
        std::string content;
        int status;
        uint8_t message;
        std::string line;  // the command's own, before the node's text
    };
    const Case cases[] = {
        {"getbatterystatus", status, "", 1, 0, ""},
        {"getbatterystatus", status, "Charging\n", 0, 1, "ftm_diag_req_cmd_get_battery_status "},
        {"getbatterystatus", status, "FULLY", 0, 1, "ftm_diag_req_cmd_get_battery_status "},
        {"getbatterystatus", status, "Not charging", 0, 2, "ftm_diag_req_cmd_get_battery_status "},
        {"getbatterypresent", present, "", 1, 0, ""},
        {"getbatterypresent", present, "1", 0, '1', "ftm_diag_req_cmd_get_battery_present "},
        {"checkbreathled", breath, "1", 0, '1', "ftm_diag_req_cmd_checkbreathled "},
        {"checkbreathled", breath, "0", 1, '0', "ftm_diag_req_cmd_checkbreathled "},
        {"checkbreathled", rgb, "ff", 0, 1, "ftm_diag_req_cmd_checkbreathled kelto "},
        {"checkbreathled", rgb, "", 1, 0, "ftm_diag_req_cmd_checkbreathled kelto "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command + c.content);
        write_file(c.node, c.content);
        clear_log();
        const FtmReply reply = ftm_main(c.command);
        EXPECT_EQ(reply.status, c.status);
        EXPECT_EQ(reply.first(1), Bytes{c.message});
        EXPECT_TRUE(log_contains(c.line + c.content.substr(0, c.content.find('\n'))));
        remove(c.node);
    }
}

TEST_F(StatusTest, FanLightIsKeptInTheFileAndTheRecord) {
    const std::string half(32, '1');
    const std::tuple<size_t, int, std::string, std::string> cases[] = {
        {1, 0, "1", "1"},
        {32, 0, half, half},
        {33, 3, half, "-"},
        {63, 3, half, "-"},
        {64, 0, half + std::string(32, '\0'), half},
        {3000, 0, half + std::string(32, '\0'), half},
    };
    make_dir("/persist");
    for (const auto& [length, status, file, value] : cases) {
        SCOPED_TRACE(length);
        make_cfg_partition();
        EXPECT_EQ(ftm_main("openfanlight", Bytes(length, '1')).status, status);
        EXPECT_EQ(read_file_text("/persist/fan_light"), file);
        EXPECT_EQ(record("fanlight"), value);
    }
    expect_log({D("ftm_diag_req_cmd_openfanlight:req_args = 1 "), D("ftm_diag_req_cmd_openfanlight: x")});
}

TEST_F(StatusTest, FanLightFailuresTellTheStepApart) {
    make_cfg_partition();
    EXPECT_EQ(ftm_main("openfanlight", text_bytes("1")).status, 1);
    expect_log({E("Failed to access /persist, errno = 2"), E("ftm_diag_req_cmd_openfanlight: open file failed!")});
    link_to_full(kFanLight);
    EXPECT_EQ(ftm_main("openfanlight", text_bytes("1")).status, 3);
    EXPECT_EQ(record("fanlight"), "-");
    remove(kFanLight);
    link_to_null(kFanLight);
    EXPECT_EQ(ftm_main("openfanlight", text_bytes("1")).status, 1);
    EXPECT_EQ(record("fanlight"), "1");
}

TEST_F(StatusTest, FanLightIsOnWhenBothStoresSaySo) {
    const std::tuple<const char*, const char*, int, uint8_t> cases[] = {
        {"1", "1", 0, '1'}, {"0", "1", 1, '0'}, {"1", "0", 1, '1'}, {"1", "", 1, 0}, {"", "1", 1, 0}};
    for (const auto& [file, value, status, message] : cases) {
        SCOPED_TRACE(std::string(file) + "/" + value);
        make_cfg_partition();
        write_file(kFanLight, file);
        if (*value != '\0') {
            ASSERT_EQ(cfg_set("fanlight", value), 1);
        }
        const FtmReply reply = ftm_main("checkfanlight");
        EXPECT_EQ(reply.status, status);
        EXPECT_EQ(reply.first(1), Bytes{message});
    }
    expect_log({E("s%: value111 1, valuecfg 1 result 1"), E("s%: value 1, valuecfg 1"),
                D("ftm_diag_req_cmd_checkfanlight: x"), E("s%: value111 1, valuecfg 1 result -1")});
}

TEST_F(StatusTest, DeviceModelIsTheProductsName) {
    EXPECT_EQ(ftm("GetDeviceModel").status, 1);
    set_property("ro.product.model", std::string(91, 'm'));
    const FtmReply reply = ftm("GetDeviceModel");
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.text(), std::string(91, 'm'));
    const std::string name = "ftm_diag_req_cmd_get_device_model: ";
    expect_log({D(name + "rsp_msg: "), D(name + "device_model: " + std::string(91, 'm')), D(name + "x")});
}

}  // namespace
