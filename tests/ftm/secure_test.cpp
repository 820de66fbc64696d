// Fuses, RPMB key, token backup, keyboxes and boot flags.
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {

const std::string kSec = "/dev/block/bootdevice/by-name/sec";
const std::string kSecdata = "/dev/block/bootdevice/by-name/secdata";
const std::string kKeybox = "/mnt/vendor/persist/keybox/keybox.xml";
const std::string kToken = "/data/app/mcRegistry/00000000.authtokcont";
const std::string kDigest = "0123456789abcdef0123456789abcdef";
const std::string kTestCall = "oemcrypto_test --gtest_filter=OEMCryptoAndroidLMPTest.Level1Required";

using Lines = std::vector<std::string>;
using SecureTest = PhoneTest;

TEST_F(SecureTest, FuseStatusIsTheNumberInItsNode) {
    const std::string node = "/sys/devices/platform/orb_ftm/orb_ftm/";
    write_file(node + "secboot_status", "1\n");
    write_file(node + "simlock_status", "258xyz");
    EXPECT_EQ(ftm_main("ReadFuse", {2}).first(1), Bytes{1});
    EXPECT_EQ(ftm_main("ReadFuse", {4}).first(1), Bytes{2});  // the low byte
    EXPECT_EQ(ftm_main("ReadFuse", {3}).status, 1);
    EXPECT_FALSE(log_contains("failed to open"));
    EXPECT_EQ(ftm_main("ReadFuse", {6}).status, 1);
    const std::string name = "ftm_diag_req_cmd_readfuse: ";
    expect_log({D(name + "e"), D(name + "req_args: 2"), D(name + "read value 1: 1"), D(name + "read value 2: 1"),
                D(name + "rsp_msg: 1"), D(name + "end"), D(name + "failed to open " + node + "perm_status!")});
}

TEST_F(SecureTest, FuseImageIsFoundByItsSelectorAndItsFallback) {
    const std::tuple<uint8_t, std::string, int> cases[] = {
        {1, "/firmware/image/secboot.dat", 0},  {1, "/vendor/firmware_mnt/image/secboot.dat", 0},
        {3, "/firmware/image/simlock.dat", 0},  {3, "/vendor/firmware_mnt/image/simlock.dat", 1},
        {5, "/firmware/image/permissi.dat", 0}, {5, "/vendor/firmware_mnt/image/permissi.dat", 0},
        {2, "/firmware/image/secboot.dat", 1},
    };
    for (const auto& [selector, image, status] : cases) {
        SCOPED_TRACE(image);
        write_file(kSec, "________");
        write_file(image, image);
        EXPECT_EQ(ftm_main("WriteFuse", {selector}).status, status);
        EXPECT_EQ(read_file_text(kSec), status == 0 ? image : "________");
        remove(image);
    }
    const std::string name = "ftm_diag_req_cmd_writefuse: ";
    expect_log({D(name + "failed to open file /firmware/image/secboot.dat errno: 2!"), D(name + "input file len: 38"),
                D(name + "x"), E(name + "bad request")});
}

TEST_F(SecureTest, FuseImageGoesToTheSecondPartitionWhereTheFirstIsMissing) {
    const std::string image = "/firmware/image/simlock.dat";
    write_file(image, "lock");
    EXPECT_EQ(ftm_main("WriteFuse", {3}).status, 1);
    write_file(kSecdata, "........");
    EXPECT_EQ(ftm_main("WriteFuse", {3}).status, 0);
    EXPECT_EQ(read_file_text(kSecdata), "lock....");
    remove(kSecdata);
    link_to_full(kSecdata);
    EXPECT_EQ(ftm_main("WriteFuse", {3}).status, 1);
    const std::string name = "ftm_diag_req_cmd_writefuse: ";
    expect_log({D(name + "failed to open blk " + kSec + "!"), D(name + "x"),
                D(name + "failed to write secboot data from " + kSec + "!"), D("ftm_diag_req_process: x")});
}

TEST_F(SecureTest, TokenIsBackedUpIntoAFreshDirectoryOrTheFailureNamesItsFile) {
    const std::string backup = "/persist/rsu/00000000.authtokcont.backup";
    make_dir("/persist");
    EXPECT_EQ(ftm_main("TokBackup").status, 1);
    write_file("/persist/rsu/foreign", "");
    EXPECT_EQ(ftm_main("TokBackup").status, 1);
    remove("/persist/rsu/foreign");
    make_dir(kToken);
    EXPECT_EQ(ftm_main("TokBackup").status, 1);
    remove(kToken);
    write_file(kToken, std::string(1300, 't'));
    EXPECT_EQ(ftm_main("TokBackup", {9}).status, 0);
    EXPECT_EQ(read_file_text(backup), std::string(1300, 't'));
    EXPECT_EQ(mode_of("/persist/rsu") & 0111, 0U);
    expect_log({E("open file failed: " + kToken + ", errno = 2"), E("mkdir failed: /persist/rsu, errno = 17"),
                E("read file failed: " + kToken + ", errno = 21"), D("ftm_diag_req_cmd_tokbackup: req_args: 9"),
                I("auth token backup is completed: " + kToken + "->" + backup), D("ftm_diag_req_cmd_tokbackup: x")});
}

TEST_F(SecureTest, RpmbKeyStatusIsMapped) {
    struct Case {
        const char* state;
        const char* result;
        int status;
        uint8_t message;
        LogLine line;
    };
    const Case cases[] = {
        {"secure/rpmb", "0", 0, 0, D("RMPB Key status: RPMB_KEY_PROVISIONED_AND_OK (0)")},
        {"secure/rpmb", "15", 0, 1, D("RMPB Key status: RPMB_KEY_NOT_PROVISIONED (f)")},
        {"secure/rpmb", "10", 0, 2, D("RMPB Key status: RPMB_KEY_PROVISIONED_BUT_MAC_MISMATCH (a)")},
        {"secure/rpmb", "-1", 0, 3, D("RPMB Key status: Others (ffffffff)")},
        {"secure/service", "4", 1, 3, E("IClientEnv_open failed with err: 4")},
        {"secure/client_env", "4", 1, 3, E("TZCom_getClientEnvObject failed with err: 4")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line.text);
        set_state(c.state, c.result);
        clear_log();
        const FtmReply reply = ftm_main("CheckRpmbProvision");
        EXPECT_EQ(reply.status, c.status);
        EXPECT_EQ(reply.first(1), Bytes{c.message});
        expect_log({D("orb_rpmb_check_smci: start in SMCI"), D("orb_rpmb_check_smci start 1."),
                    D("TZCom_getClientEnvObject"), c.line, D("Object_ASSIGN_NULL clientEnv"),
                    D("NOT Object_ASSIGN_NULL rpmbObj"), D("ftm_diag_req_cmd_checkrpmbprovision: end")});
        EXPECT_EQ(log_contains("IRPMBService_rpmbCheckProv"), c.status == 0);
    }
}

TEST_F(SecureTest, RpmbKeyIsProvisionedWhereTheServiceIsReached) {
    EXPECT_EQ(ftm_main("DoRpmbProvision").status, 0);
    EXPECT_EQ(ftm_main("CheckRpmbProvision").first(1), Bytes{0});
    for (const char* state : {"secure/provision", "secure/service", "secure/client_env"}) {
        set_state(state, "-7");
        EXPECT_EQ(ftm_main("DoRpmbProvision").status, 1) << state;
    }
    expect_log({D("orb_rpmb_provision_key_smci: start in SMCI"), D("orb_rpmb_provision_key_smci start."),
                D("IRPMBService_rpmbProvisionKey"), D("RPMB key provisioning completed"),
                D("ftm_diag_req_cmd_dorpmbprovision: end"), E("RPMB key provisioning failed with err: -7"),
                E("IClientEnv_open failed with err: -7"), E("TZCom_getClientEnvObject failed with err: -7")});
}

TEST_F(SecureTest, WidevineKeyIsStoredWholeAndHandedToTheTool) {
    const Bytes key(128, 0x5A);
    make_tool("/vendor/bin/StoreKeybox", "echo keybox install succeeds!");
    make_dir("/data/cache");
    make_dir("/persist");
    EXPECT_EQ(ftm_main("InstallWidevineKey", Bytes{1} + key).status, 0);
    EXPECT_EQ(text_bytes(read_file_text("/data/cache/widevine_keybox.bin")), key);
    make_dir("/persist/keybox");
    EXPECT_EQ(ftm_main("InstallWidevineKey", Bytes{1} + key + Bytes{7, 7}).status, 0);
    EXPECT_EQ(text_bytes(read_file_text("/persist/keybox/widevine_keybox.bin")), key);
    ASSERT_EQ(calls().size(), 2U);
    EXPECT_TRUE(calls()[0].ends_with("/data/cache/widevine_keybox.bin"));
    EXPECT_TRUE(calls()[1].ends_with("/persist/keybox/widevine_keybox.bin"));
    const std::string name = "ftm_diag_req_cmd_installwidevinekey: ";
    expect_log({D(name + "e"), E("Failed to access /persist/keybox, errno = 2"),
                D(name + "open keybox file at path: /data/cache/widevine_keybox.bin"),
                D("StoreKeybox.cmd.out: keybox install succeeds!"), D("StoreKeybox: OK."), D(name + "rsp_status = 0"),
                D(name + "open keybox file at persist path: /persist/keybox/widevine_keybox.bin"), D(name + "x")});
}

TEST_F(SecureTest, WidevineKeyThatIsNotStoredReachesNoTool) {
    const std::string file = "/persist/keybox/widevine_keybox.bin";
    make_tool("/vendor/bin/StoreKeybox", "echo succeeds!");
    make_dir(file);
    EXPECT_EQ(ftm_main("InstallWidevineKey", {2}).status, 1);
    EXPECT_EQ(ftm_main("InstallWidevineKey", {1}).status, 1);
    remove(file);
    link_to_full(file);
    EXPECT_EQ(ftm_main("InstallWidevineKey", {1}).status, 1);
    remove(file);
    link_to_null(file);
    EXPECT_EQ(ftm_main("InstallWidevineKey", {1}).status, 1);
    EXPECT_EQ(calls(), Lines{});
    const std::string name = "ftm_diag_req_cmd_installwidevinekey: ";
    expect_log({E("installwidevinekey: bad opt for keytype."), D(name + "rsp_status = 1"),
                E(name + "open file failed!"), E(name + "keybox error !"), E(name + "fsync fd failed !")});
}

TEST_F(SecureTest, ToolOutputIsJudgedPieceByPiece) {
    const std::pair<std::string, int> cases[] = {
        {"", 1},
        {"nothing to say\n", 1},
        {"[       OK ] a\n", 0},
        {"[      OK ] six blanks\n", 1},
        {"FAILED\n\n\n[       OK ] a\n", 0},
        {"[       OK ] a\n  FAILED  \n", 1},
        {std::string(90, 'x') + "_[       OK ]\n", 0},  // a character is dropped between two pieces
        {std::string(89, 'x') + "[       OK ]\n", 1},   // cut by the piece's end
        {"\n\nFAILED [       OK ]", 0},                 // unterminated
    };
    for (const auto& [output, status] : cases) {
        SCOPED_TRACE(output);
        make_tool("/vendor/bin/oemcrypto_test", "printf '%s' '" + output + "'");
        EXPECT_EQ(ftm_main("CheckWidevineKey").status, status);
    }
    expect_log({D("oemcrypto_test.cmd.out: FAILED"), E("oemcrypto_test: FAILED."),
                D("oemcrypto_test.cmd.out: [       OK ] a"), D("oemcrypto_test: OK."),
                D("oemcrypto_test.cmd.out: " + std::string(90, 'x')), D("oemcrypto_test.cmd.out: [       OK ]")});
}

TEST_F(SecureTest, WidevineCheckRunsTheComposerInTheFactoryModeOnly) {
    for (const char* tool : {"/system/bin/start", "/system/bin/stop", "/vendor/bin/oemcrypto_test"}) {
        make_tool(tool, "echo '[       OK ]'");
    }
    EXPECT_EQ(ftm_main("CheckWidevineKey").status, 0);
    set_property("ro.bootmode", "ffbm-99x");
    EXPECT_EQ(ftm_main("CheckWidevineKey").status, 0);
    const std::string composer = " vendor.qti.hardware.display.composer";
    EXPECT_EQ(calls(), (Lines{kTestCall, "start" + composer, kTestCall, "stop" + composer}));
    expect_log({D("ftm_diag_req_cmd_checkwidevinekey: boot_mode = normal..."),
                D("ftm_diag_req_cmd_checkwidevinekey: boot_mode = ffbm-99x...")});
}

// The argument of "InstallKeybox".
Bytes keybox_args(const std::string& identifier, const std::string& checksum) {
    return Bytes{static_cast<uint8_t>(identifier.size())} + text_bytes(identifier) +
           Bytes{0xEE, static_cast<uint8_t>(checksum.size())} + text_bytes(checksum);
}

TEST_F(SecureTest, KeyboxChecksumDecidesWhetherTheToolRuns) {
    struct Case {
        std::string expected;
        std::string printed;
        int status;
    };
    const Case cases[] = {
        {"", "", 0},
        {kDigest, kDigest, 0},
        {"0123456789ABCDEF0123456789ABCDEF", kDigest, 0},
        {kDigest, "0123456789ABCDEF0123456789ABCDEF", 2},
        {"89ABCDEF01234567", kDigest, 0},
        {"0123456789abcdef", kDigest, 2},
        {"0123456789abcdef0123456789abcdee", kDigest, 2},
        {"\xE0\xE0", "", 2},  // 32 below what a zero byte behind the output would be
    };
    make_tool("/vendor/bin/KmInstallKeybox");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected + "/" + c.printed);
        write_file(kKeybox, "<Keybox/>");
        make_tool("/vendor/bin/md5sum", "printf '%s' '" + c.printed + "'");
        const size_t before = calls().size();
        EXPECT_EQ(ftm("InstallKeybox", keybox_args("ORB-1", c.expected)).status, c.status);
        EXPECT_EQ(exists(kKeybox), c.status != 0);
        EXPECT_EQ(calls().size() - before, (c.expected.empty() ? 0U : 1U) + (c.status == 0 ? 1U : 0U));
    }
    EXPECT_TRUE(calls().front().ends_with(kKeybox + " ORB-1 true false"));
    const std::string name = "ftm_diag_req_cmd_installkeybox: ";
    const std::string command =
        "LD_LIBRARY_PATH=/vendor/lib64/hw /vendor/bin/KmInstallKeybox " + kKeybox + " ORB-1 true false ";
    expect_log({D(name + "e"), D(name + "exec_num =: 0"),
                D(name + "InstallKeybox_cmd_len =: " + std::to_string(command.size())),
                D(name + "InstallKeybox_cmd =: " + command), D(name + "Do not need md5 check!"),
                D(name + "installKeybox_cmd_status ==: 0"), E("1Enter delete_file"), E("5Exit delete_file:delete OK"),
                D(name + "x"), D(name + "exec_num =: 1"), D(name + "need md5 check!"),
                D("ftmd gets util path: /vendor/bin/md5sum"), D(name + "md5_buf ==:" + kDigest),
                D(name + "md5 check succeed!"), D(name + "exec_num =: 3"), D(name + "md5 check fail!")});
}

TEST_F(SecureTest, KeyboxIsUsedUpByAFailingToolButNotByAMissingOne) {
    EXPECT_EQ(ftm("InstallKeybox", keybox_args("ORB-1", kDigest)).status, 3);
    write_file(kKeybox, "<Keybox/>");
    EXPECT_EQ(ftm("InstallKeybox", keybox_args("ORB-1", kDigest)).status, 2);  // no checksum program at all
    EXPECT_TRUE(exists(kKeybox));
    make_tool("/vendor/bin/KmInstallKeybox", "exit 1");
    EXPECT_EQ(ftm("InstallKeybox", keybox_args("ORB-1", "")).status, 1);
    EXPECT_FALSE(exists(kKeybox));
    EXPECT_EQ(ftm("CheckKeybox").status, 1);
    EXPECT_EQ(calls().back(), "KmInstallKeybox checkkeybox checkkeybox true true");
    const std::string name = "ftm_diag_req_cmd_installkeybox: ";
    expect_log({D(name + "keybox file does not exsist!"), D("ftmd gets util path: /system/bin/md5sum"),
                D(name + "md5 check fail!"), D(name + "installKeybox_cmd_status ==: 256"),
                D("ftm_diag_req_cmd_checkkeybox: InstallKeybox_cmd =: 95")});
}

TEST_F(SecureTest, KeyboxIdentifierReachesTheShellAsATextOnly) {
    make_tool("/vendor/bin/KmInstallKeybox");
    write_file(kKeybox, "<Keybox/>");
    for (const char* identifier : {"a;reboot", "$(id)", "a b", "`id`", "a\nb", "'a'"}) {
        EXPECT_EQ(ftm("InstallKeybox", keybox_args(identifier, "")).status, 1) << identifier;
    }
    EXPECT_TRUE(exists(kKeybox));
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(ftm("InstallKeybox", Bytes{255}).status, 0);  // a count beyond the request: an empty identifier
}

TEST_F(SecureTest, BootFlagsAreStoredAsRecordsWhileThereIsRoom) {
    make_cfg_partition();
    EXPECT_EQ(ftm_main("WriteVerityCfg", {200}).status, 0);
    EXPECT_EQ(ftm_main("RmAvbRollback").status, 0);
    int value = 0;
    EXPECT_TRUE(cfg_get_int("eioeraseflag", &value) == 1 && value == 200);
    EXPECT_TRUE(cfg_get_int("rmavbrollback", &value) == 1 && value == 1);
    make_cfg_partition();
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(cfg_set(("filler" + std::to_string(i)).c_str(), "1"), 1);
    }
    EXPECT_EQ(ftm_main("WriteVerityCfg", {1}).status, 1);
    EXPECT_EQ(ftm_main("RmAvbRollback").status, 1);
    expect_log({E("ftm_diag_req_cmd_writeveritycfg: eio erase flag set failed!"),
                E("ftm_diag_req_cmd_rmavbrollback: avb rollback reset flag set failed!")});
}

}  // namespace
