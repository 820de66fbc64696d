// The numbered factory commands: board data, flags, operator and hardware ids, IMEI signature, keybox transfer.
#include "factory/factory_diag.h"

#include <fcntl.h>
#include <openssl/sha.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

#include "tests/support/faults.h"
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {
constexpr const char* kKeybox = "/mnt/vendor/persist/keybox/keybox.xml";
constexpr uint32_t kMinusOne = 0xFFFFFFFF;

Bytes u32(uint32_t value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 24)};
}
Bytes header(uint8_t code) { return {75, 253, code, 0}; }
Bytes record(const std::string& text) {
    Bytes bytes = text_bytes(text);
    bytes.resize(128);
    return bytes;
}

class FactoryDiag : public PhoneTest {
   protected:
    FactoryDiag() {
        for (const char* path : {"/.sim/board", "/.sim/modem", "/mnt/vendor/persist", "/dev/block/by-name"}) {
            remove(path);
        }
        make_cfg_partition();
        make_dir("/mnt/vendor/persist/keybox");
    }

    // The answer's bytes behind the header.
    Bytes send(uint8_t code, const Bytes& payload = {}) {
        const Bytes answer = exchange(header(code) + payload);
        EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 4), header(code));
        return Bytes(answer.begin() + 4, answer.end());
    }
    std::string stored(const std::string& name) const {
        char value[kCfgValueSize + 1] = {};
        return cfg_get(name.c_str(), value, "<none>") == 1 ? value : "<none>";
    }
    // A handle from the tool's point of view.
    uint32_t open_keybox() {
        const Bytes answer = send(24, u32(1));
        EXPECT_EQ(Bytes(answer.begin() + 4, answer.end()), u32(0));
        return static_cast<uint32_t>(answer[0] | answer[1] << 8);
    }
};

TEST_F(FactoryDiag, AShortRequestIsRefusedWhereTheLengthCounts) {
    // handler, code, longest refused length, payload bytes that are cleared and that are left
    const std::tuple<DiagHandler*, uint8_t, uint16_t, size_t, size_t> cases[] = {
        {factory_diag_board_read_func, 1, 3, 128, 0},
        {factory_diag_board_write_func, 2, 4, 0, 0},
        {factory_diag_manufacture_flag_check_func, 5, 3, 0, 4},
        {factory_diag_manufacture_flag_clear_func, 6, 3, 0, 0},
        {factory_diag_mcf_read_func, 16, 3, 128, 0},
        {factory_diag_mcf_write_func, 17, 4, 0, 0},
        {factory_diag_ccf_check_func, 18, 3, 128, 0},
        {factory_diag_imei_sign_status_read_func, 21, 3, 4, 0},
    };
    for (const auto& [handler, code, length, zeros, unwritten] : cases) {
        clear_log();
        EXPECT_EQ(host_diag_take(handler(header(code).data(), length)),
                  header(code) + u32(1) + Bytes(zeros, 0) + Bytes(unwritten, kPoison));
        expect_log_only({E("Invalid pkt_len: 0x" + std::to_string(length))});
    }
}

TEST_F(FactoryDiag, WithoutARequestOrAResponseNothingIsAnswered) {
    const uint8_t request[12] = {};
    const std::pair<DiagHandler*, const char*> cases[] = {
        {factory_diag_board_read_func, "factory_diag_board_read_func packed_req_ptr ERR : NULL "},
        {factory_diag_manufacture_flag_check_func, "factory_diag_manufacture_flag_read_func packed_req_ptr ERR : NULL"},
        {factory_diag_set_operator_info, "factory_diag_set_operator_info packed_req_ptr ERR : NULL "},
        {factory_diag_clean_imei_sign_func, "factory_diag_clean_imei_sign_func packed_req_ptr ERR : NULL "},
        {factory_diag_open_handler, "factory_diag_open_handler packed_req_ptr ERR : NULL "},
    };
    for (const auto& [handler, null_line] : cases) {
        clear_log();
        EXPECT_EQ(handler(nullptr, 0), nullptr);
        host_diag_fail_alloc(0, 1);
        EXPECT_EQ(handler(request, sizeof(request)), nullptr);
        expect_log_only({E(null_line), E("rsp_ptr ERR:NULL")});
    }
    EXPECT_EQ(host_diag_take(factory_diag_close_handler(nullptr, 0)), header(25) + u32(3));
}

TEST_F(FactoryDiag, BoardRecordsPassThrough) {
    for (const auto& [code, file] : {std::pair{1, "board/board_id"}, {16, "board/mcf"}, {18, "board/ccf"}}) {
        clear_log();
        EXPECT_EQ(send(static_cast<uint8_t>(code)), u32(1) + Bytes(128, 0)) << file;
        expect_log({E("read FAIL ")});
        set_state(file, "data of " + std::string(file));
        EXPECT_EQ(send(static_cast<uint8_t>(code)), u32(0) + record("data of " + std::string(file)));
    }
    for (const auto& [code, file] : {std::pair{2, "board/board_id"}, {17, "board/mcf"}}) {
        const auto write_code = static_cast<uint8_t>(code);
        EXPECT_EQ(send(write_code, {'Q'}), u32(0));  // the bytes that are missing count as zeros
        EXPECT_EQ(state(file), std::string("Q") + std::string(127, '\0'));
        clear_log();
        set_state("board/set_result", "2");
        EXPECT_EQ(send(write_code, record("R")), u32(2));
        set_state("board/set_result", "0");
        EXPECT_EQ(send(write_code, record("R")), u32(1));
        set_state("board/set_result", "-1");
        EXPECT_EQ(send(write_code, record("R")), u32(0));
        expect_log_only({E("sync FAIL "), E("write FAIL ")});
        remove("/.sim/board/set_result");
    }
}

TEST_F(FactoryDiag, TheManufactureFlagIsItsLowByte) {
    for (const auto& [flag, answer] : {std::pair{"0", 0}, {"1", 1}, {"7", 1}, {"256", 0}}) {
        set_state("board/manufacture_flag", flag);
        EXPECT_EQ(send(5), u32(0) + Bytes{static_cast<uint8_t>(answer)} + Bytes(3, kPoison)) << flag;
    }
    set_state("board/manufacture_flag", "1");
    EXPECT_EQ(send(6), u32(0));
    EXPECT_EQ(send(5)[4], 0);
}

TEST_F(FactoryDiag, TheSlaveOperatorHasNoSayInTheStatus) {
    EXPECT_EQ(send(13), u32(3) + u32(0) + u32(0));
    set_state("board/config/factory.cfg.slave_operator_id", "22");
    EXPECT_EQ(send(13), u32(3) + u32(0) + u32(22));
    EXPECT_EQ(send(12, u32(46001) + u32(46011)), u32(0));
    EXPECT_EQ(send(13), u32(0) + u32(46001) + u32(46011));
    expect_log({E("factory_diag_get_operator_info entry "), E("factory_diag_set_operator_info entry ")});
}

TEST_F(FactoryDiag, TheHardwareBoardIdIsTheOneThatStoreAndModemShare) {
    EXPECT_EQ(send(14), u32(3) + u32(0));
    expect_log_only({E("factory_diag_get_hw_board_id entry ")});
    set_state("modem/properties/factory.cfg.hw_board_id", "12");
    clear_log();
    EXPECT_EQ(send(14), u32(0) + u32(12));
    expect_log_only({E("factory_diag_get_hw_board_id entry "),
                     D("modem_read_efs read efs hw module ver data success, hw_module_ver = 12"),
                     E("cannot get the hw id of vendorcfg,need to update it")});
    EXPECT_EQ(stored("factory.cfg.hw_board_id"), "12");
    EXPECT_EQ(send(14), u32(0) + u32(12));
    set_state("modem/properties/factory.cfg.hw_board_id", "13");
    EXPECT_EQ(send(14), u32(3) + u32(0));
    expect_log({E("cfg hw board id is not same as modem board id, hw_board_id is 12, hw_module_ver is 13")});
    EXPECT_EQ(stored("factory.cfg.hw_board_id"), "12");
}

TEST_F(FactoryDiag, TheHardwareBoardIdGoesToTheStoreFirst) {
    EXPECT_EQ(send(15, u32(kMinusOne)), u32(0));
    EXPECT_EQ(stored("factory.cfg.hw_board_id"), "-1");
    EXPECT_EQ(modem_journal(), std::vector<std::string>{"set_property factory.cfg.hw_board_id -1"});
    expect_log_only({E("factory_diag_set_hw_board_id entry "), E("cfg_service_set_int hw_module_ver data success!"),
                     E("modem_write_efs write efs hw_module_ver data success, hw_board_id = -1")});
    remove("/.sim/modem/properties");
    write_file("/.sim/modem/properties", "in the way");
    EXPECT_EQ(send(15, u32(8)), u32(3));
    EXPECT_EQ(stored("factory.cfg.hw_board_id"), "8");
}

TEST_F(FactoryDiag, TheImeiHashCoversItsFifteenDigits) {
    EXPECT_EQ(send(19), u32(3) + Bytes(32, kPoison));
    expect_log({E("modem_get_imei error.")});
    const std::string imei = "860000000000017";
    set_state("modem/imei", imei);
    Bytes digest(SHA256_DIGEST_LENGTH);
    SHA256(reinterpret_cast<const unsigned char*>(imei.data()), imei.size(), digest.data());
    EXPECT_EQ(send(19), u32(0) + digest);
}

TEST_F(FactoryDiag, TheImeiSignatureIsCutIntoTwelveRecords) {
    EXPECT_EQ(send(20, Bytes(256, 0xFF)), u32(0));
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(stored("imei.sign0." + std::to_string(i)), std::string(31, '/')) << i;
    }
    EXPECT_EQ(stored("imei.sign0.11"), "w==");
    EXPECT_EQ(stored("imei.sign0.12"), "<none>");
    EXPECT_EQ(set_imei_sign(Bytes(93, 0).data(), 93), 1);  // 124 characters: an empty record follows
    EXPECT_EQ(stored("imei.sign0.4"), "");
    EXPECT_EQ(set_imei_sign(Bytes(4096, 0).data(), 4096), -1);
    EXPECT_EQ(send(21), u32(0) + u32(1));  // looks under a name of its own
    expect_log({E("vendor_utils_base64_encode has error."), E("cfg get has failed.")});
    cfg_set("imei.sign.1", "");
    EXPECT_EQ(send(21), u32(0) + u32(1));
    cfg_set("imei.sign.1", "x");
    EXPECT_EQ(send(21), u32(0) + u32(0));
    expect_log({D("cfg get has success."), D("cfg get has success.")});
    EXPECT_EQ(send(22), u32(0));
    EXPECT_EQ(stored("imei.sign0.0"), "<none>");
}

TEST_F(FactoryDiag, ASignatureThatFindsNoRoomKeepsItsFirstRecords) {
    for (int i = 0; i < 30; ++i) {
        cfg_set(("name" + std::to_string(i)).c_str(), "v");
    }
    EXPECT_EQ(send(20), u32(3));
    EXPECT_EQ(stored("imei.sign0.1"), std::string(31, 'A'));
    expect_log({I("FATAL ERROR:cfgdata area is full!"), E("config imei.sign0.2 set failed")});
}

TEST_F(FactoryDiag, OperationByTypeKnowsTypeOne) {
    EXPECT_EQ(send(23, u32(1)), u32(0) + u32(1));
    EXPECT_EQ(send(23, u32(257)), u32(0) + u32(0));
    EXPECT_EQ(send(23), u32(0) + u32(0));
    expect_log_only({D("factory_diag_get_operation_by_type_func type = 1"),
                     D("factory_diag_get_operation_by_type_func type = 257"),
                     D("factory_diag_get_operation_by_type_func type = 0")});
}

TEST_F(FactoryDiag, AKeyboxIsWrittenThroughItsHandle) {
    write_file(kKeybox, "an older one");
    const uint32_t handle = open_keybox();
    EXPECT_EQ(read_file_text(kKeybox), "");
    Faults faults;
    faults.shorten(Call::kWrite, 1, 2);
    faults.fail(Call::kWrite, 2, EINTR);
    EXPECT_EQ(send(26, u32(handle) + u32(3) + text_bytes("defg")), u32(handle) + u32(3) + u32(4) + u32(0));
    EXPECT_EQ(send(26, u32(handle) + u32(0) + text_bytes("abc")), u32(handle) + u32(0) + u32(3) + u32(0));
    EXPECT_EQ(send(26, u32(handle) + u32(2)), u32(handle) + u32(2) + u32(0) + u32(0));
    EXPECT_EQ(send(26, u32(handle)), u32(handle) + u32(0) + u32(0) + u32(0));
    EXPECT_EQ(read_file_text(kKeybox), "abcdefg");
    EXPECT_EQ(send(26, u32(handle) + u32(0xFFFFFFF0) + Bytes(32, 1)), u32(handle) + u32(0xFFFFFFF0) + u32(32) + u32(0));
    EXPECT_EQ(send(25, u32(handle)), u32(0));
    EXPECT_EQ(send(25, u32(handle)), u32(3));
    expect_log_only({E("factory_diag_close_handler: close file failed!")});
    const uint32_t installed = open_keybox();
    remove(kKeybox);  // as the installation does
    EXPECT_EQ(send(25, u32(installed)), u32(0));
}

TEST_F(FactoryDiag, AHandleThatIsNotTheKeyboxDoesNoHarm) {
    write_file("/other", "untouched");
    const int other = open(host("/other").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(other, 0);
    (void)open_keybox();
    for (const uint32_t handle : {0U, 1U, 2U, static_cast<uint32_t>(other), 1000U, 0x7FFFFFFFU}) {
        clear_log();
        EXPECT_EQ(send(26, u32(handle) + u32(0) + text_bytes("x")), u32(handle) + u32(0) + u32(kMinusOne) + u32(3));
        EXPECT_EQ(send(25, u32(handle)), u32(3));
        expect_log_only({E("factory_diag_close_handler: close file failed!")});
    }
    EXPECT_EQ(fcntl(other, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(read_file_text("/other"), "untouched");
    remove("/other");
    EXPECT_EQ(send(25, u32(static_cast<uint32_t>(other))), u32(3));
    (void)close(other);
    clear_log();
    EXPECT_EQ(send(26, u32(kMinusOne) + u32(5) + text_bytes("x")), u32(kMinusOne) + u32(5) + u32(0) + u32(3));
    EXPECT_EQ(send(25, u32(kMinusOne)), u32(3));
    expect_log_only({E("factory_diag_close_handler: file handler error!")});
}

TEST_F(FactoryDiag, AKeyboxThatCannotBeOpenedOrWrittenIsReported) {
    EXPECT_EQ(send(24, u32(0)), u32(kMinusOne) + u32(0));
    EXPECT_EQ(send(24), u32(kMinusOne) + u32(0));
    EXPECT_FALSE(exists(kKeybox));
    link_to_full(kKeybox);
    const uint32_t handle = open_keybox();
    EXPECT_EQ(send(26, u32(handle) + u32(0) + text_bytes("x")), u32(handle) + u32(0) + u32(kMinusOne) + u32(3));
    EXPECT_EQ(send(25, u32(handle)), u32(0));
    remove("/mnt/vendor/persist/keybox");
    EXPECT_EQ(send(24, u32(1)), Bytes(4, kPoison) + u32(3));
    expect_log_only({E("factory_diag_write_handler: write file failed!"), E("fd: -1, errno:2 "),
                     E("factory_diag_open_handler: open keybox file failed! error: No such file or directory")});
}
}  // namespace
