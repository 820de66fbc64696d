// The FTM dispatchers, the USB serial number and the properties seeded at start-up.
#include "ftm/ftm_dispatch.h"

#include <algorithm>
#include <cstring>

#include "ftm/ftm_command.h"
#include "ftm/ftm_properties.h"
#include "tests/support/phone.h"

namespace {

Bytes ftm_request(uint16_t command, const std::string& name_and_args) {
    return Bytes{75, 11, static_cast<uint8_t>(command & 0xFF), static_cast<uint8_t>(command >> 8)} +
           text_bytes(name_and_args);
}

class FtmDispatch : public PhoneTest {};

TEST_F(FtmDispatch, MainMapWantsTheWholeNameInAnyCase) {
    for (const char* name : {"UFS", "ufs", "uFs"}) {
        EXPECT_EQ(ftm_main(name).status, 0) << name;
    }
    expect_log({D("ftm_diag_dispatch: e"), D("ftm_diag_req_process: e"), D("ftm_diag_req_process: req pkt: cmd: UFS"),
                D("ftm_diag_req_cmd_map[19].cmd = UFS,ftm_diag_req_pkt.cmd = UFS,strlen(ftm_diag_req_cmd_map[19].cmd) "
                  "= 3"),
                D("ftm_diag_req_process: x"), D("ftm_diag_dispatch: x")});
    for (const char* name : {"UFS2", "UF", "", "ReadWifimac"}) {
        const Bytes expected = hex("4b 0b fe 7f ff") + Bytes(251);
        EXPECT_EQ(exchange(ftm_request(32766, std::string(name) + '\0')), expected) << name;
    }
}

TEST_F(FtmDispatch, ExtendedMapWantsOnlyTheBeginning) {
    set_property("ro.product.device", "phone");
    for (const char* name : {"ReadDEVICE", "readdevicexyz"}) {
        EXPECT_EQ(ftm(name).status, 0) << name;
        EXPECT_EQ(ftm(name).text(), "phone") << name;
    }
    clear_log();
    EXPECT_EQ(exchange(ftm_request(32767, std::string("ReadDEVIC") + '\0')), hex("4b 0b ff 7f ff") + Bytes(4091));
    expect_log({E("ftm_diag_ext_dispatch: e"), D("ftm_diag_req_ext_process: e"),
                D("ftm_diag_req_ext_process: req pkt: cmd: ReadDEVIC"),
                D("ftm_diag_req_ext_process: is_diag_handled not found"), D("ftm_diag_req_ext_process: x"),
                E("ftm_diag_ext_dispatch: x")});
}

TEST_F(FtmDispatch, EveryMatchingRowRunsAndTheSecondSeesTheFirstOnesMessage) {
    write_file("/mnt/vendor/persist/sensors/light_sen.txt", "one");
    EXPECT_EQ(ftm("GetLightData2").status, 1);
    EXPECT_EQ(ftm("GetLightData2").text(), "one");
    write_file("/mnt/vendor/persist/sensors/light_sen_2.txt", "2");
    EXPECT_EQ(ftm("GetLightData2").status, 0);
    EXPECT_EQ(ftm("GetLightData2").first(4), text_bytes(std::string("2\0e\0", 4)));
}

TEST_F(FtmDispatch, NameWithoutItsTerminatorAndMissingArgumentsReadAsZeros) {
    set_property("ro.product.device", "phone");
    for (size_t cut = 0; cut <= 14; ++cut) {
        const Bytes whole = ftm_request(32767, "ReadDEVICE");
        const Bytes answer = exchange(Bytes(whole.begin(), whole.begin() + static_cast<long>(cut)));
        if (cut >= 4) {
            EXPECT_EQ(answer.at(4), cut == 14 ? 0 : 255) << cut;
        }
    }
}

TEST_F(FtmDispatch, OverlongRequestIsNotAnsweredAndEverythingIsServedAfterIt) {
    set_state("modem/qmi", "0");
    ASSERT_TRUE(Diag_LSM_Init(nullptr));
    for (uint16_t command = 32765; command <= 32767; ++command) {
        Bytes request = ftm_request(command, "UFS");
        request.resize(16384);
        EXPECT_FALSE(exchange(request).empty()) << command;
        request.resize(16385);
        clear_log();
        EXPECT_TRUE(exchange(request).empty()) << command;
        EXPECT_TRUE(log_contains("_dispatch: pkt length (16385) invalid!"));
        EXPECT_FALSE(host_diag_addresses().empty());  // open again
    }
    EXPECT_EQ(ftm_main("UFS").status, 0);
    for (const Bytes& request : {Bytes{56}, Bytes{246, 99}, hex("4b fd 05 00"), hex("4b cd 2b 00"), hex("4b 0b 36 00"),
                                 hex("4b fd 03 00"), hex("4b ab 06 01")}) {
        const Bytes answer = exchange(request);
        ASSERT_FALSE(answer.empty()) << to_hex(request);
        EXPECT_EQ(answer[0], request[0]) << to_hex(request);
    }
    (void)Diag_LSM_DeInit();
}

TEST_F(FtmDispatch, BatteryCommandAnswersAtOnceAndItsWorkerWaitsForTheCable) {
    write_file("/sys/class/power_supply/usb/online", "0");
    for (const char* name : {"setfactorymode", "SETFACTORYMODE", "setfactorymodeX"}) {
        const Bytes answer = exchange(ftm_request(32765, std::string(name) + '\0'));
        ASSERT_EQ(answer.size(), 256U);
        EXPECT_EQ(to_hex(Bytes(answer.begin(), answer.begin() + 11)), to_hex(hex("4b 0b fd 7f 00 00 00 00 00 00 00")));
        wait_for_workers();
    }
    clear_log();
    EXPECT_EQ(exchange(ftm_request(32765, "setfactory")).at(4), 255);
    expect_log_only({E("ftm_diag_batt_dispatch: e"), D("ftm_diag_req_batt_process: e"),
                     D("ftm_diag_req_batt_process: req pkt: cmd: setfactory"), D("ftm_diag_req_batt_process: x"),
                     E("ftm_diag_batt_dispatch: x")});
}

TEST_F(FtmDispatch, NoBufferMeansNoResponse) {
    const std::pair<uint16_t, const char*> cases[] = {
        {32765, "ftm_diag_batt_dispatch"}, {32766, "ftm_diag_dispatch"}, {32767, "ftm_diag_ext_dispatch"}};
    for (const auto& [command, name] : cases) {
        host_diag_fail_alloc(0, 1);
        clear_log();
        EXPECT_TRUE(exchange(ftm_request(command, "UFS")).empty());
        expect_log({E(std::string(name) + ": diag pkt alloc failed!")});
    }
}

TEST(FtmMaps, RowsThatShareTheirBeginningAreKnown) {
    // Of two rows of which one begins the other, both run: only this pair may be so.
    for (const FtmExtCommandEntry& row : ftm_diag_req_ext_cmd_map) {
        for (const FtmExtCommandEntry& other : ftm_diag_req_ext_cmd_map) {
            if (&row != &other && strncasecmp(row.cmd, other.cmd, strlen(row.cmd)) == 0) {
                EXPECT_STREQ(row.cmd, "GetLightData");
            }
        }
    }
}

class UsbSerial : public PhoneTest {
   protected:
    void expect_serial(const std::string& serial, size_t size = 43) {
        const Bytes answer = exchange(hex("4b 0b 36 00"));
        ASSERT_EQ(answer.size(), size);
        const auto length = static_cast<uint8_t>(serial.size());
        const uint8_t status = serial.empty() ? 1 : 0;
        EXPECT_EQ(to_hex(Bytes(answer.begin(), answer.begin() + 11 + length)),
                  to_hex(hex("4b 0b 36 00 00 00") + Bytes{length, 0, status, 0} + text_bytes(serial) + Bytes{0}));
    }
};

TEST_F(UsbSerial, IsLookedForInThreePlaces) {
    const std::string forty(40, '9');
    struct Case {
        const char* gadget;
        std::string cmdline;
        std::string bootconfig;
        std::string serial;
    };
    const Case cases[] = {
        {"GADGET1", "androidboot.serialno=CMD ", "", "GADGET1"},
        {"", "quiet androidboot.serialno=ABC123 rw\n", "", "ABC123"},
        {"", "quiet androidboot.serialno=ABC1234\n", "", "ABC1234"},
        {"", "quiet androidboot.serialno=ABC1234", "", "ABC123"},  // the last character goes, whatever it is
        {"", "androidboot.serialno=" + forty + " x\n", "", std::string(31, '9')},
        {"", "androidboot.serialno=\n", "androidboot.serialno = \"BOOT7\"\n", "BOOT7"},  // 22 bytes, no value
        {"", "short\n", "a = \"b\"\nandroidboot.serialno=\"X\"\n", "X"},
        {"", "", "androidboot.serialno = \"" + forty + "\"", ""},
        {"", "", "androidboot.serialno = \"open", ""},
        {"", "", "androidboot.serialno", ""},
    };
    for (const Case& c : cases) {
        write_file("/sys/class/android_usb/android0/iSerial", c.gadget);
        write_file("/proc/cmdline", c.cmdline);
        write_file("/proc/bootconfig", c.bootconfig);
        expect_serial(c.serial, 43 + strlen(c.gadget));
    }
    remove("/sys/class/android_usb");
    remove("/proc");
    clear_log();
    expect_serial("");
    expect_log_only({D("get_usb_serialno: failed to open /sys/class/android_usb/android0/iSerial"),
                     D("get_usb_serialno: enter proc cmdline"), D("get_usb_serialno: failed to open /proc/cmdline"),
                     E("open bootconfig failed")});
}

class SeededProperties : public PhoneTest {
   protected:
    static constexpr const char* kCountry = "persist.vendor.sys.device.country";
    static constexpr const char* kFanLight = "persist.vendor.sys.device.fanlight";
    static constexpr const char* kLcdCurrent = "persist.vendor.sys.device.lcdcurrent";
    SeededProperties() {
        write_file("/persist/countrycode", "CN\n");
        write_file("/persist/fan_light", "1");
        write_file("/persist/lcdcurrent", std::string(200, 'L'));
    }
    static void seed() {
        ftm_diag_set_countrycode_prop();
        ftm_diag_set_fanlight_prop();
        ftm_diag_set_lcdcurrent_prop();
    }
};

TEST_F(SeededProperties, TakeTheFilesAsTheyStand) {
    seed();
    EXPECT_EQ(property(kCountry), "CN\n");
    EXPECT_EQ(property(kFanLight), "1");
    EXPECT_EQ(property(kLcdCurrent), std::string(91, 'L'));  // what a property holds
    expect_log({D("ftm_diag_set_countrycode_prop: boot_mode = normal..."),
                D("ftm_diag_set_countrycode_prop: value_get_prop = null..."),
                D("ftm_diag_set_countrycode_prop: value_board = CN\n...")});
}

TEST_F(SeededProperties, MissingFilesGiveNull) {
    remove("/persist");
    seed();
    EXPECT_EQ(property(kCountry), "null");
    EXPECT_EQ(property(kFanLight), "null");
    EXPECT_EQ(property(kLcdCurrent), "null");
}

TEST_F(SeededProperties, OnlyTheLcdCurrentReplacesAValue) {
    set_property(kCountry, "US");
    set_property(kFanLight, "0");
    set_property(kLcdCurrent, "old");
    seed();
    EXPECT_EQ(property(kCountry), "US");
    EXPECT_EQ(property(kFanLight), "0");
    EXPECT_EQ(property(kLcdCurrent), std::string(91, 'L'));
    expect_log({D("countrycode prop exit..."), D("fanlight prop exit...")});
}

TEST_F(SeededProperties, FactoryBootSeedsOnlyTheFanLight) {
    set_property("ro.bootmode", "ffbm-01");
    seed();
    EXPECT_EQ(property(kCountry), "");
    EXPECT_EQ(property(kFanLight), "1");
    EXPECT_EQ(property(kLcdCurrent), "");
}

}  // namespace
