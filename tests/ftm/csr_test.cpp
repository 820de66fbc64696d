// The certificate signing request: made, fetched, digested, deleted.
#include "tests/support/phone.h"

namespace {

constexpr char kTool[] = "/vendor/bin/rkp_factory_extraction_tool";
constexpr char kFile[] = "/mnt/vendor/persist/keybox/csr.json";

class CsrTest : public PhoneTest {
   protected:
    void SetUp() override {
        make_dir("/mnt/vendor/persist/keybox");
        make_tool("/vendor/bin/md5sum", "PATH=/usr/bin:/bin exec md5sum \"$@\"");
    }
    // The tool prints these bytes and ends badly, which nobody looks at.
    void tool_prints(const Bytes& bytes) {
        write_bytes("/output", bytes);
        make_tool(kTool, "cat output; exit 3");
    }
    static Bytes any_bytes(size_t size) {
        Bytes bytes(size);
        for (size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
        }
        return bytes;
    }
    Bytes file() const {
        const std::string text = read_file_text(kFile);
        return {text.begin(), text.end()};
    }
    static Bytes counted(size_t size) { return {static_cast<uint8_t>(size & 0xFF), static_cast<uint8_t>(size >> 8)}; }
};

TEST_F(CsrTest, OutputOfTheToolIsStoredUpToItsLimit) {
    for (const size_t size : {size_t{1}, size_t{4088}, size_t{4089}, size_t{4090}, size_t{70000}}) {
        tool_prints(any_bytes(size));
        EXPECT_EQ(ftm("GenCSR").status, 0) << size;
        EXPECT_EQ(file(), any_bytes(std::min<size_t>(size, 4089))) << size;
    }
    EXPECT_EQ(calls()[0], "rkp_factory_extraction_tool --output_format build+csr");
}

TEST_F(CsrTest, EmptyOutputLeavesNoFile) {
    write_file(kFile, "an older request");
    tool_prints({});
    clear_log();
    EXPECT_EQ(ftm("GenCSR").status, 1);
    EXPECT_FALSE(exists(kFile));
    expect_log({D("write_cmd_output_to_file: read_size: 0, write_size: 0."),
                D("ftm_diag_req_cmd_gen_csr: file size is zero."), E("1Enter delete_file"),
                E("5Exit delete_file:delete OK")});
}

TEST_F(CsrTest, FileThatCannotBeWrittenIsAFailure) {
    tool_prints(any_bytes(100));
    link_to_full(kFile);
    EXPECT_EQ(ftm("GenCSR").status, 1);
    expect_log({D("write_cmd_output_to_file: failed to write data, reason: No space left on device"),
                D("ftm_diag_req_cmd_gen_csr: failed to write file .")});
    EXPECT_TRUE(exists(kFile));
    remove("/mnt/vendor/persist");
    clear_log();
    EXPECT_EQ(ftm("GenCSR").status, 1);
    expect_log({D("write_cmd_output_to_file: failed to oepn file file write: /mnt/vendor/persist/keybox/csr.json, "
                  "reason: No such file or directory"),
                D("ftm_diag_req_cmd_gen_csr: failed to write file .")});
}

TEST_F(CsrTest, FetchedRequestStatesTheFilesLengthAndCarriesWhatFits) {
    for (const size_t size : {size_t{5}, size_t{4089}, size_t{4093}, size_t{9000}}) {
        const size_t told = std::min<size_t>(size, 4093);
        write_bytes(kFile, any_bytes(size));
        const FtmReply reply = ftm("GetCSR");
        EXPECT_EQ(reply.status, 0);
        EXPECT_EQ(reply.first(2), counted(told)) << size;
        const Bytes whole = counted(told) + any_bytes(told) + Bytes(4091, 0);
        EXPECT_EQ(reply.message, Bytes(whole.begin(), whole.begin() + 4091)) << size;
    }
}

TEST_F(CsrTest, DigestIsThirtyTwoDigitsWhateverTheProgramPrints) {
    write_file(kFile, "abc");
    const FtmReply reply = ftm("GetMd5ofCSR");
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.first(34), counted(32) + text_bytes("900150983cd24fb0d6963f7d28e17f72"));
    make_tool("/vendor/bin/md5sum", "printf 1234");
    EXPECT_EQ(ftm("GetMd5ofCSR").first(34), counted(32) + text_bytes("1234") + Bytes(28, 0));
}

TEST_F(CsrTest, WithoutAFileEveryReaderFails) {
    for (const auto& [command, handler] :
         {std::pair("GetCSR", "ftm_diag_req_cmd_get_csr"), std::pair("GetMd5ofCSR", "ftm_diag_req_cmd_get_md5_of_csr"),
          std::pair("ClearCSRData", "ftm_diag_req_cmd_clear_csr_data")}) {
        clear_log();
        const FtmReply reply = ftm(command);
        EXPECT_EQ(reply.status, 1);
        EXPECT_EQ(reply.message, Bytes(4091, 0));
        expect_log({D(std::string(handler) + ": No csr file /mnt/vendor/persist/keybox/csr.json")});
    }
    EXPECT_TRUE(calls().empty());
}

TEST_F(CsrTest, ClearedRequestIsGone) {
    write_file(kFile, "abc");
    EXPECT_EQ(ftm("ClearCSRData").status, 0);
    EXPECT_FALSE(exists(kFile));
    make_dir(std::string(kFile) + "/in use");
    EXPECT_EQ(ftm("ClearCSRData").status, 1);
    const FtmReply reply = ftm("GetCSR");
    EXPECT_EQ(reply.status, 1) << "a directory opens but cannot be read";
    EXPECT_EQ(reply.message, Bytes(4091, 0));
}

}  // namespace
