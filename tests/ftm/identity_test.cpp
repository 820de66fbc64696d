// Device identity: bytes on the wire and in the file, and the step that failed by its status.
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <tuple>

#include "ftm/ftm_digest.h"
#include "tests/support/phone.h"

namespace {

constexpr char kWifiFile[] = "/persist/wifimac.dat";
constexpr char kBtFile[] = "/persist/.bt_nv.bin";
constexpr char kMhlNode[] = "/proc/mhl_version";
constexpr char kCountryFile[] = "/persist/countrycode";
constexpr char kLcdFile[] = "/persist/lcdcurrent";
constexpr char kOmaDmFile[] = "/persist/omadm/oma_dm";

class IdentityTest : public PhoneTest {
   protected:
    IdentityTest() {
        make_dir("/persist/omadm");
        make_cfg_partition();
        write_file("/etc/passwd", "bluetooth:x:" + std::to_string(getuid()) + ":1002::/:\n");
        write_file("/etc/group", "bluetooth:x:" + std::to_string(getgid()) + ":\n");
    }
};

}  // namespace

TEST_F(IdentityTest, AddressesAreStoredWithTheirModesAndReadBack) {
    const mode_t mask = umask(077);
    EXPECT_EQ(ftm("WriteWifimac", hex("00 11 22 aa bb cc")).status, 0);
    EXPECT_EQ(ftm("WriteBTmac", hex("01 23 45 67 89 ab")).status, 0);
    EXPECT_EQ(umask(mask), 077u);
    EXPECT_EQ(read_file_text(kWifiFile), "wifiaddr:0x00 0x11 0x22 0xAA 0xBB 0xCC ");
    EXPECT_EQ(mode_of(kWifiFile), 0644u);
    EXPECT_EQ(read_file_text(kBtFile), std::string("\x01\x00\x06\x01\x23\x45\x67\x89\xab", 9));
    EXPECT_EQ(mode_of(kBtFile), 0664u);
    EXPECT_EQ(to_hex(ftm("ReadWifimac").first(7)), to_hex(hex("00 11 22 aa bb cc 00")));
    EXPECT_EQ(to_hex(ftm("ReadBTmac").first(7)), to_hex(hex("01 23 45 67 89 ab 00")));
    expect_log({D("/persist/.bt_nv.bin created successfully"), D("/persist/.bt_nv.bin created successfuly"), D("0x1 "),
                D("0x23 "), D("0x45 "), D("0x67 "), D("0x89 "), D("0xAB ")});
}

TEST_F(IdentityTest, ARefusedOwnerKeepsTheOldAddressAndAMulticastOneEmptiesIt) {
    write_file(kWifiFile, "wifiaddr:0x00 0x01 0x02 0x03 0x04 0x05 ");
    EXPECT_EQ(ftm("WriteWifimac", hex("01 23 45 67 89 ab")).status, 4) << "multicast";
    EXPECT_EQ(read_file_text(kWifiFile), "");
    write_file("/etc/group", "root:x:0:\n");
    write_bytes(kBtFile, hex("01 00 06 0a 0b 0c 0d 0e 0f"));
    EXPECT_EQ(ftm("WriteBTmac", hex("00 01 02 03 04 05")).status, 2) << "no owner";
    EXPECT_EQ(ftm("ReadBTmac").first(6), hex("0a 0b 0c 0d 0e 0f"));
    expect_log({E("writing bt mac error!!!change bluetooth uid/gid failed!!!")});
}

TEST_F(IdentityTest, BinaryAnswersComeFromCheckedTexts) {
    using Case = std::tuple<const char*, const char*, Bytes, int, const char*>;
    const Case cases[] = {
        {"ReadWifimac", kWifiFile, text_bytes("wifiaddr;0x00 0x11 "), 0, "03 00 00 00 00 00"},
        {"ReadWifimac", kWifiFile, text_bytes("wifiaddr:0x0a 1fF zz"), 0, "0a ff 00 00 00 00"},
        {"ReadBTmac", kBtFile, hex("01 ff 06 0a 0b"), 0, "0a 0b 00 00 00 00"},
        {"ReadBTmac", kBtFile, hex("01 00 07 0a 0b 0c 0d 0e 0f"), 0, "03 00 00 00 00 00"},
        {"ReadMhlVer", kMhlNode, text_bytes("mhlversion:83 34 1ff"), 0, "83 34 ff 00 00 00"},
        {"ReadMhlVer", kMhlNode, text_bytes("mhlversion:82 34 1\n"), 4, "82 34 01 00 00 00"},
        {"ReadMhlVer", kMhlNode, text_bytes("mhlversion:183 34\n"), 4, "83 34 00 00 00 00"},
        {"ReadMhlVer", kMhlNode, text_bytes("mhl 83 34 1\n"), 3, "00 00 00 00 00 00"},
    };
    for (const auto& [command, file, content, status, message] : cases) {
        remove(file);
        EXPECT_EQ(ftm(command).status, 2) << command << " without its file";
        write_bytes(file, content);
        const FtmReply reply = ftm(command);
        EXPECT_EQ(reply.status, status) << to_hex(content);
        EXPECT_EQ(to_hex(reply.first(6)), to_hex(hex(message))) << to_hex(content);
    }
}

TEST_F(IdentityTest, TextsAreStoredWithoutTerminatorAndReadBack) {
    const std::string long_text(70, 'x');
    using Case = std::tuple<const char*, const char*, std::string, std::string>;
    const Case cases[] = {
        {"WriteCountryCode", kCountryFile, "", ""},
        {"WriteCountryCode", kCountryFile, std::string(63, 'y'), std::string(63, 'y')},
        {"WriteCountryCode", kCountryFile, long_text, std::string(32, 'x') + std::string(38, '\0')},
        {"WriteLcdCurrent", kLcdFile, std::string(600, 'z'), std::string(512, 'z') + std::string(88, '\0')},
        {"WriteOMADM", kOmaDmFile, long_text, std::string(63, 'x') + '\0'},
        {"WriteOMADM", kOmaDmFile, std::string("a\0b", 3), std::string("a\0b", 3) + std::string(61, '\0')},
    };
    for (const auto& [command, file, argument, content] : cases) {
        EXPECT_EQ(ftm(command, text_bytes(argument)).status, 0) << command << argument;
        EXPECT_EQ(read_file_text(file), content);
        EXPECT_EQ(mode_of(file), 0644u);
    }
    EXPECT_EQ(ftm("ReadLcdCurrent").text(), std::string(511, 'z'));
    EXPECT_EQ(ftm("ReadOMADM").text(), "a");
    write_file(kCountryFile, "DE-BAYERN");
    EXPECT_EQ(to_hex(ftm("ReadCountryCode").first(7)), to_hex(text_bytes("DE-BAY") + Bytes{0}));
    remove(kCountryFile);
    EXPECT_EQ(ftm("ReadCountryCode").status, 1);
    expect_log({E("ftm_diag_req_cmd_readcountrycode: failed to open /persist/countrycode!")});
}

TEST_F(IdentityTest, StatusTellsTheStepThatFailed) {
    using Case = std::tuple<const char*, const char*, int, int, int>;  // open, write, synchronise
    const Case cases[] = {
        {"WriteWifimac", kWifiFile, 2, 3, 4},   {"WriteBTmac", kBtFile, 2, 3, 4},
        {"WriteOMADM", kOmaDmFile, 1, 1, 1},    {"WriteCountryCode", kCountryFile, 1, 3, 1},
        {"WriteLcdCurrent", kLcdFile, 1, 3, 1},
    };
    for (const auto& [command, file, open_status, write_status, sync_status] : cases) {
        make_dir(file);
        EXPECT_EQ(ftm(command, text_bytes("BCDEFG")).status, open_status) << command;
        remove(file);
        link_to_full(file);
        EXPECT_EQ(ftm(command, text_bytes("BCDEFG")).status, write_status) << command;
        remove(file);
        link_to_null(file);
        EXPECT_EQ(ftm(command, text_bytes("BCDEFG")).status, sync_status) << command;
        remove(file);
    }
}

TEST_F(IdentityTest, UsbTagIsKeptAsText) {
    EXPECT_EQ(ftm("ReadUsbTag").status, 1);
    EXPECT_EQ(to_hex(ftm("WriteUsbTag", hex("ab")).first(7)), to_hex(text_bytes("write ") + Bytes{0}));
    EXPECT_EQ(to_hex(ftm("ReadVC", text_bytes("usbmanutag")).first(16)),
              to_hex(text_bytes("usbmanutag") + hex("00 04") + text_bytes("0xab")));
    EXPECT_EQ(to_hex(ftm("ReadUsbTag").first(6)), to_hex(hex("ab 00 00 00 00 00")));
}

TEST_F(IdentityTest, NamedValuesKeepUpTo32BytesUnderNamesThatFit) {
    const std::string name(31, 'n');
    const std::string value(32, 'v');
    EXPECT_EQ(ftm("WriteVC", text_bytes(name) + hex("00 21") + text_bytes(value + "w")).status, 0);
    EXPECT_EQ(to_hex(ftm("ReadVC", text_bytes(name)).first(66)),
              to_hex(text_bytes(name) + hex("00 20") + text_bytes(value) + Bytes{0}));
    // The length of a name counts modulo 256; the value follows the name's own end.
    EXPECT_EQ(ftm("WriteVC", text_bytes("ab" + std::string(256, 'c')) + hex("00 01 39")).status, 0);
    EXPECT_EQ(to_hex(ftm("ReadVC", text_bytes("ab")).first(5)), to_hex(text_bytes("ab") + hex("00 01 39")));
    EXPECT_EQ(ftm("WriteVC", text_bytes(name + "n") + hex("00 01 31")).status, 1);
    EXPECT_EQ(ftm("ReadVC", text_bytes(name + "no")).status, 1);
    expect_log({D("ftm_diag_req_cmd_readvc, " + name + " : {" + value + "}"),
                E("ftm_diag_req_cmd_writevc: write " + name + "n failed!"),
                E("ftm_diag_req_cmd_readvc: read " + name + "n failed!")});
}

TEST_F(IdentityTest, VariantFlagIsWrittenReadAndCleared) {
    EXPECT_EQ(ftm("ReadVariantFlag").text(), "failed\n");
    EXPECT_EQ(to_hex(ftm("ClearVariantFlag").first(7)), to_hex(text_bytes("succes") + Bytes{0}));
    EXPECT_EQ(ftm("WriteVariantFlag", text_bytes("EU_OPEN")).status, 0);
    EXPECT_EQ(ftm("ReadVariantFlag").text(), "EU_OPEN");
    EXPECT_EQ(ftm("ClearVariantFlag").status, 0);
    EXPECT_EQ(ftm("ReadVariantFlag").status, 1);
}

TEST_F(IdentityTest, DeftSwitchGoesToTheStoreAndToTheModem) {
    set_state("modem/deft", "0");
    EXPECT_EQ(ftm("ReadDEFT").status, 1);
    EXPECT_EQ(ftm("WriteDEFT", text_bytes("7")).status, 0);
    EXPECT_EQ(to_hex(ftm("ReadDEFT").first(2)), to_hex(text_bytes("7") + Bytes{0}));
    set_state("modem/deft", "5");
    EXPECT_EQ(ftm("WriteDEFT", text_bytes("8")).status, 4);
    EXPECT_EQ(modem_journal(), (std::vector<std::string>{"write_deft 7", "write_deft 8"}));
}

TEST_F(IdentityTest, FullStoreIsReportedAndKeepsTheModemOut) {
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(ftm("WriteVC", text_bytes("name" + std::to_string(i)) + hex("00 01 31")).status, 0);
    }
    EXPECT_EQ(ftm("WriteVC", text_bytes("another") + hex("00 01 31")).status, 1);
    EXPECT_EQ(ftm("WriteUsbTag", hex("01")).status, 3);
    EXPECT_EQ(ftm("WriteDEFT", text_bytes("1")).status, 3);
    EXPECT_TRUE(modem_journal().empty());
}

TEST_F(IdentityTest, UdidIsTheDigestOfVersionStorageBoardAndDraw) {
    EXPECT_EQ(ftm("WriteUDID").status, 2);
    set_property("ro.build.sw_internal_version", "SW1");
    EXPECT_EQ(ftm("WriteUDID").status, 2);
    set_property("ro.boot.emmcid", "EMMC");
    EXPECT_EQ(ftm("WriteUDID").status, 2);
    set_state("board/board_id", "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(ftm("ReadUDID").text(), "get udid failed\n");
    const time_t begin = time(nullptr);
    ASSERT_EQ(ftm("WriteUDID").text(), "write udid success\n");
    const std::string udid = ftm("ReadUDID").text();
    bool found = false;
    for (time_t seed = begin; seed <= time(nullptr); ++seed) {
        srand(static_cast<unsigned>(seed));
        const std::string source = "SW1EMMCABCDEFGHIJKL" + std::to_string(rand() % 1000000);
        found = found || udid == sha256_hex(source.data(), source.size());
    }
    EXPECT_TRUE(found) << udid;
}
