// The carrier's return-to-new menu.
#include "buildinfo/bebiod.h"

#include "tests/support/phone.h"

namespace {
constexpr const char* kItem = "modem/efs/1009";
constexpr const char* kHwNode = "/sys/devices/system/soc/soc0/orb_hw_ver";
constexpr const char* kOldHwNode = "/sys/devices/soc0/orb_hw_ver";

Bytes field(const std::string& text) {
    Bytes bytes = text_bytes(text);
    bytes.resize(20);
    return bytes;
}

class Bebiod : public PhoneTest {
   protected:
    Bebiod() {
        for (const char* path :
             {"/.sim/modem", "/.sim/properties", "/system/build.prop", "/vendor/build.prop", "/sys/devices"}) {
            remove(path);
        }
        make_tool("/system/bin/am");
    }
    static std::string item() {
        std::string bytes;
        for (int i = 0; i < 64; ++i) {
            bytes.push_back(static_cast<char>(0x40 + i));
        }
        return bytes;
    }
};

TEST_F(Bebiod, TheMenuCarriesItemPropertiesAndVersions) {
    set_state(kItem, item());
    set_state("modem/prl", "60001");
    set_property("ro.build.version.release", "14");
    set_property("ro.product.model", "A model name of many characters");
    set_property("ro.build.baseband_version", "BB-2");
    set_property("ro.build.pri.version", "PRI-3");
    write_file(kHwNode, "V1.2-rev-0123456789ABCDEF");
    EXPECT_EQ(exchange({246, 11}), hex("f6 0b 44454647 48494a4b 58 5400 5600 5051") + field("14") +
                                       field("A model name of man") + field("BB-2") + field("V1.2-rev-0123456789") +
                                       hex("61ea0000") + field("PRI-3") + hex("5500 5700 5253"));
    std::string lines;
    for (const LogLine& line : log()) {
        lines += std::to_string(line.priority) + line.text + "|";
    }
    EXPECT_EQ(lines,
              "6\n print received packet pkt_len=2 |6\t f6 \t|6\t b \t|6\n print received packet done subcmd=0xB |"
              "3bebiod_diag_get_rtn_menu...|3modem_read_efs read efs rtn data successfully.|"
              "6modem_get_prl_version successfully.|3file read result is:19|3hw_version_buff is:V1.2-rev-0123456789\r|"
              "6rsp_ptr->lifeTimer:1195787588\r|6rsp_ptr->lifeCalls:1263159624\r|6rsp_ptr->Refurbishment_Status:88\r|"
              "6rsp_ptr->Refurbishment_Date[0]:84\r|6rsp_ptr->Refurbishment_Date[1]:86\r|"
              "6rsp_ptr->Refurbishment_Date[2]:20816\r|6rsp_ptr->OS_Version:14\r|"
              "6rsp_ptr->SW_Version:A model name of man\r|6rsp_ptr->Radio_Version:BB-2\r|"
              "6rsp_ptr->HW_Version:V1.2-rev-0123456789\r|6rsp_ptr->PRL_Version:60001\r|6rsp_ptr->PRI_Version:PRI-3\r|"
              "6rsp_ptr->Activation_Date[0]:85\r|6rsp_ptr->Activation_Date[1]:87\r|"
              "6rsp_ptr->Activation_Date[2]:21330\r|3func_switch:Got response,subcmd=0xB|");
}

TEST_F(Bebiod, APhoneThatKnowsNothingAnswersZerosAndUnknown) {
    write_file(kOldHwNode, "OLD\n");
    EXPECT_EQ(exchange({246, 11}), hex("f6 0b") + Bytes(15, 0) + field("unknown") + field("unknown") +
                                       field("unknown") + field("OLD\n") + Bytes(4, 0) + field("unknown") +
                                       Bytes(6, 0));
    expect_log({E("modem_read_efs read efs rtn data failed!"), E("modem_get_prl_version failed!"),
                D("file read result is:0")});
    set_property("ro.vendor.build.baseband_version", "BB-1");
    set_property("ro.build.baseband_version", "BB-2");
    const Bytes answer = exchange({246, 11});
    EXPECT_EQ(Bytes(answer.begin() + 57, answer.begin() + 77), field("BB-1"));
}

TEST_F(Bebiod, ARefurbishmentIsWrittenIntoItsFieldsOnly) {
    set_state(kItem, item());
    EXPECT_EQ(exchange(hex("f6 0c 02 0c 1f e807 99")), hex("f6 0c 00"));
    std::string expected = item();
    expected.replace(16, 2, "\xe8\x07");
    expected[20] = 12;
    expected[22] = 31;
    expected[24] = 2;
    EXPECT_EQ(state(kItem), expected);
    expect_log({D("bebiod_diag_set_rtn_menu..."), E("modem_read_efs read efs rtn data successfully."),
                D("refurbishment_status:2\r"), D("refurbishment_month:12\r"), D("refurbishment_day:31\r"),
                D("refurbishment_year:2024\r"), D("nv_item_data.data_len:64\r"),
                D("func_switch:Got response,subcmd=0xC")});
    set_state(kItem, item().substr(0, 24));
    EXPECT_EQ(exchange(hex("f6 0c 02 01 01 e807")), hex("f6 0c 00"));
    EXPECT_EQ(modem_journal(), (std::vector<std::string>{"write_efs 1009 64", "write_efs 1009 24"}));
    remove("/.sim/modem/efs");  // an item that cannot be read is written from zeros
    EXPECT_EQ(exchange(hex("f6 0c 01 02 03 e907")), hex("f6 0c 00"));
    EXPECT_EQ(to_hex(text_bytes(state(kItem))), to_hex(Bytes(16, 0) + hex("e907 0000 02 00 03 00 01") + Bytes(39, 0)));
    expect_log({D("modem_read_efs read efs rtn data failed!")});
}

TEST_F(Bebiod, ABadRefurbishmentWritesNothing) {
    for (const char* request : {"f6 0c 01 00 01 e807", "f6 0c 01 0d 01 e807", "f6 0c 01 01 00 e807",
                                "f6 0c 01 01 20 e807", "f6 0c 01 01 01 e8"}) {
        EXPECT_EQ(exchange(hex(request)), hex("f6 0c 01")) << request;
    }
    expect_log({E("bebiod_diag_set_rtn_menu invalid parameter!"), E("Invalid pkt_len: 0x6")});
    EXPECT_EQ(state(kItem), "");
    write_file("/.sim/modem/efs", "in the way");
    EXPECT_EQ(exchange(hex("f6 0c 01 01 01 e807")), hex("f6 0c 01"));
    expect_log({E("modem_write_efs write efs rtn data error!")});
}

TEST_F(Bebiod, TheResetsAreBroadcast) {
    EXPECT_EQ(exchange({246, 6}), hex("f6 0600"));
    EXPECT_EQ(exchange({246, 15, 1}), hex("f6 0f00"));
    EXPECT_EQ(calls(), (std::vector<std::string>{"am broadcast -a android.intent.action.MASTER_CLEAR",
                                                 "am broadcast -a android.intent.action.FD_RESET"}));
    expect_log({D("bebiod_diag_refubrish..."), D("func_switch:Got response,subcmd=0x6"), D("bebiod_diag_rtn_reset..."),
                D("func_switch:Got response,subcmd=0xF")});
}

TEST_F(Bebiod, WhateverElseComesIsSentBack) {
    for (const Bytes& request : {Bytes{246}, Bytes{246, 99, 1, 2, 3}, Bytes(300, 246)}) {
        EXPECT_EQ(exchange(request), request);
    }
    expect_log(
        {E("\n Warning:command 0x63 is not defined!"), E("func_switch:response is null!"), D("generate_default_rsp")});
    clear_log();
    host_diag_fail_alloc(0, 1);
    EXPECT_EQ(exchange({246, 6}), Bytes({246, 6}));
    EXPECT_TRUE(calls().empty());
    expect_log({E("rsp_ptr ERR:NULL"), E("func_switch:response is null!")});
    clear_log();
    EXPECT_EQ(host_diag_take(bebiod_diag_handle(nullptr, 4)), (Bytes{246, kPoison, kPoison, kPoison}));
    expect_log_only({E("bebiod_diag_handle : receive invalid diag command"), E("func_switch:response is null!"),
                     D("generate_default_rsp")});
}
}  // namespace
