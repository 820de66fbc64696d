// Payment and content-protection keys: which programs run, and what their output and exit codes become.
#include <sys/stat.h>

#include <tuple>

#include "tests/support/phone.h"

namespace {

class KeysTest : public PhoneTest {
   protected:
    KeysTest() { make_dir("/persist"); }
    // A board record whose byte 68 is `flags`.
    void set_board_flags(char flags) {
        std::string record(128, 'b');
        record[68] = flags;
        set_state("board/board_id", record);
    }
};

}  // namespace

TEST_F(KeysTest, SoterResultLosesItsLineEndAndItsFile) {
    make_tool("/vendor/bin/soter_client", "stat -c 'mode=%a' \"$VENDORDIAG_ROOT/persist/soter200.txt\"");
    const mode_t mask = umask(077);
    const FtmReply reply = ftm("GetSoterKey", {200});
    EXPECT_EQ(umask(mask), 077u);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.text(), "mode=666");
    EXPECT_FALSE(exists("/persist/soter200.txt"));
    const std::string name = "ftm_diag_req_cmd_GetSoterKey:";
    const std::string path = "/persist/soter200.txt";
    expect_log({D(name + " start,args is 200"), D(name + "create " + path + " success"),
                D(name + "File /vendor/bin/soter_client exists"),
                D(name + "cmd is /vendor/bin/soter_client 200 > " + path),
                D(name + " exe cmd end.Begin to read result_file(" + path + ")"), D(name + " len=9"),
                D(name + " result=mode=666,len=9"), D(name + " end"), E("1Enter delete_file"),
                E("5Exit delete_file:delete OK")});
}

TEST_F(KeysTest, SoterOutputDecides) {
    using Case = std::tuple<const char*, int, std::string>;
    const Case cases[] = {
        {"echo init failed", 1, ""},
        {"", 0, ""},
        {"echo key; exit 3", 0, "key"},
        {"printf '%0600d' 0", 0, std::string(510, '0')},
        {"rm \"$VENDORDIAG_ROOT/persist/soter1.txt\"", 1, ""},
    };
    for (const auto& [body, status, text] : cases) {
        make_tool("/system/bin/soter_client", body);
        const FtmReply reply = ftm("GetSoterKey", {1});
        EXPECT_EQ(std::pair(reply.status, reply.text()), std::pair(status, text)) << body;
        EXPECT_FALSE(exists("/persist/soter1.txt"));
    }
    clear_log();
    make_dir("/persist/soter1.txt");
    EXPECT_EQ(ftm("GetSoterKey", {1}).status, 1);
    EXPECT_FALSE(log_contains("delete_file"));
}

TEST_F(KeysTest, AlipayKeyIsInjectedByTheClientThatWorks) {
    EXPECT_EQ(ftm("InjectAliPayKey").status, 2) << "no board record";
    set_board_flags(1);
    EXPECT_EQ(ftm("InjectAliPayKey").status, 1) << "no client";
    EXPECT_TRUE(log_contains("ftm_diag_req_cmd_InjectAliPayKey:/vendor/bin/alikey_client 2 error"));
    make_tool("/system/bin/alikey_client", "exit 1");
    make_tool("/vendor/bin/alikey_client", "[ $1 != 3 ]");
    EXPECT_EQ(ftm("InjectAliPayKey").status, 1);
    make_tool("/vendor/bin/alikey_client");
    EXPECT_EQ(ftm("InjectAliPayKey").status, 0);
    EXPECT_EQ(state("board/board_id")[68], 5);
    make_tool("/system/bin/alikey_client");
    EXPECT_EQ(ftm("InjectAliPayKey").status, 0);
    EXPECT_EQ(calls(),
              (std::vector<std::string>{"alikey_client 2", "alikey_client 2", "alikey_client 3", "alikey_client 2",
                                        "alikey_client 2", "alikey_client 3", "alikey_client 2", "alikey_client 3"}));
    expect_log({D("ftm_diag_req_cmd_InjectAliPayKey : rsp_status = 0,rsp_msg = 0 ")});
}

TEST_F(KeysTest, BoardRecordIsWrittenOnlyWhileItsFlagsAreClear) {
    make_tool("/system/bin/alikey_client");
    set_state("board/set_result", "0");
    for (const char flags : {'\x04', '\x08', '\x0c'}) {
        set_board_flags(flags);
        EXPECT_EQ(ftm("InjectAliPayKey").status, 0);
    }
    EXPECT_FALSE(log_contains("set_board_id"));
    set_board_flags(3);
    EXPECT_EQ(ftm("InjectAliPayKey").status, 2);
    expect_log({D("ftm_diag_req_cmd_InjectAliPayKey:nv_data[68] = 3"),
                D("ftm_diag_req_cmd_InjectAliPayKey:set_board_id return 0")});
}

TEST_F(KeysTest, ProductToolGetsTheArgumentsOfTheRequest) {
    make_tool("/vendor/bin/orb_pdt_tool", "echo done");
    EXPECT_EQ(ftm("GetEncryptInfo", text_bytes("\x01-r 12 key")).text(), "done\n");
    expect_log({D("cmd = vendor/bin/orb_pdt_tool -r 12 key"), D("pdt_tool result = done")});
    EXPECT_EQ(ftm("GetEncryptInfo", Bytes{1} + Bytes(200, 'a')).status, 0);
    EXPECT_EQ(calls(), (std::vector<std::string>{"orb_pdt_tool -r 12 key", "orb_pdt_tool " + std::string(75, 'a')}));
    for (const char* bad : {";reboot", "$(id)", "a\nb", "`id`", "a|b", "a>b", "a&b"}) {
        EXPECT_EQ(ftm("GetEncryptInfo", Bytes{1} + text_bytes(bad)).status, 1) << bad;
    }
    EXPECT_EQ(calls().size(), 2u);
    make_tool("/vendor/bin/orb_pdt_tool");
    EXPECT_EQ(ftm("GetEncryptInfo", {1}).status, 1) << "no output";
}

TEST_F(KeysTest, SecureElementVersionStandsAtItsOffset) {
    const std::string file = "/vendor/etc/firmware/cos_code.hex";
    EXPECT_EQ(ftm("GetEncryptInfo", {2}).status, 1);
    EXPECT_TRUE(log_contains("open file fail"));
    write_file(file, std::string(44, 'x') + std::string(32, 'v') + "rest");
    EXPECT_EQ(ftm("GetEncryptInfo", {2}).text(), std::string(32, 'v'));
    write_file(file, std::string(44, 'x') + "short");
    EXPECT_EQ(ftm("GetEncryptInfo", {2}).text(), "short");
    EXPECT_EQ(ftm("GetEncryptInfo", {3}).status, 0);
}

TEST_F(KeysTest, HdcpNeedsBothInputsAndAnOutput) {
    make_tool("/vendor/bin/hdcp2p2prov", "echo ok");
    write_file("/cache/HDCP/DPS", "d");
    EXPECT_EQ(ftm("WriteHDCP").status, 4);
    EXPECT_TRUE(calls().empty());
    write_file("/cache/HDCP/HDCP2_PEM", "p");
    EXPECT_EQ(ftm("WriteHDCP").text(), "ok\n");
    EXPECT_EQ(ftm("CheckHDCP").text(), "ok\n");
    EXPECT_EQ(calls(),
              (std::vector<std::string>{"hdcp2p2prov /cache/HDCP/HDCP2_PEM /cache/HDCP/DPS", "hdcp2p2prov -verify"}));
    make_tool("/vendor/bin/hdcp2p2prov");
    EXPECT_EQ(ftm("WriteHDCP").status, 1);
    EXPECT_EQ(ftm("CheckHDCP").status, 1);
}

TEST_F(KeysTest, ManufacturerIsCutToSixCharacters) {
    EXPECT_EQ(ftm("GetBrandofWeChatKey").status, 1);
    set_property("ro.product.manufacturer", "Orbital");
    EXPECT_EQ(to_hex(ftm("GetBrandofWeChatKey").first(7)), to_hex(text_bytes("Orbita") + Bytes{0}));
    expect_log({D("s%: manufacture = "), D("s%: manufacture = Orbital")});
}
