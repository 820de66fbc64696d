// The shared file and shell helpers.
#include "support/files.h"
#include "support/shell.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/phone.h"

namespace {

class FtmFiles : public PhoneTest {};

TEST_F(FtmFiles, ProcReadCutsAtNineteenBytes) {
    write_file("/sys/long", std::string(30, 'x'));
    write_file("/sys/empty", "");
    char buf[kProcReadSize];
    memset(buf, 'z', sizeof(buf));
    EXPECT_EQ(proc_read("/sys/long", buf), 19);
    EXPECT_EQ(std::string(buf), std::string(19, 'x'));
    EXPECT_EQ(proc_read("/sys/empty", buf), 0);
    EXPECT_STREQ(buf, "");
    make_dir("/sys/dir");
    EXPECT_LT(proc_read("/sys/dir", buf), 0);
    clear_log();
    EXPECT_EQ(proc_read("/sys/none", buf), 0);
    expect_log_only({E("proc_read /sys/none failed!!!\r")});
}

TEST_F(FtmFiles, ReadFileTerminatesAndDropsOneLineFeed) {
    struct Case {
        const char* content;
        uint32_t size;
        const char* text;
    };
    for (const Case& c : {Case{"abc\n", 16, "abc"},
                          {"abc", 16, "abc"},
                          {"abcdef", 4, "abc"},
                          {"abc", 1, ""},
                          {"", 16, "untouched"},
                          {"ab\n\n", 16, "ab\n"}}) {
        write_file("/f", c.content);
        char out[16] = "untouched";
        EXPECT_EQ(read_file("/f", out, c.size), 0) << c.content;
        EXPECT_STREQ(out, c.text) << c.content;
    }
    write_file("/big", std::string(10000, 'b') + "\n");
    std::string out(20000, '?');
    EXPECT_EQ(read_file("/big", out.data(), 20000), 0);
    EXPECT_EQ(std::string(out.c_str()), std::string(10000, 'b'));
    EXPECT_TRUE(log_contains("read_file file len = 10001"));
    EXPECT_EQ(read_file("/none", out.data(), 10), -1);
    EXPECT_TRUE(log_contains("file(/none) open fail, error=No such file or directory"));
}

TEST_F(FtmFiles, WholeFileComesBackWithItsSize) {
    write_file("/item", {"a\0b\n", 4});
    uint32_t len = 99;
    const UniqueText item(GetConfFileItem("/item", &len));
    ASSERT_TRUE(item);
    EXPECT_EQ(len, 4U);
    EXPECT_EQ(0, memcmp(item.get(), "a\0b\n", 5));
    expect_log_only({E("FileLen = 4")});
    clear_log();
    EXPECT_EQ(GetConfFileItem("/none", &len), nullptr);
    EXPECT_EQ(len, 0U);
    expect_log_only({});
    EXPECT_EQ(ftm_GetConfFileItem("/none", &len), nullptr);
    expect_log_only({E("2Exit ERI_File_Read:open fail")});
}

TEST_F(FtmFiles, DeletingSaysWhatHappened) {
    write_file("/d/f", "x");
    write_file("/full/f", "x");
    EXPECT_EQ(ftm_diag_delete_file(nullptr), 1);
    EXPECT_EQ(ftm_diag_delete_file("/none"), 0);
    EXPECT_EQ(ftm_diag_delete_file("/full"), 1);
    EXPECT_EQ(ftm_diag_delete_file("/d/f"), 0);
    EXPECT_FALSE(exists("/d/f"));
    const LogLine enter = E("1Enter delete_file");
    expect_log_only({enter, E("2Exit delete_file:no file"), enter, E("3Exit delete_file:not exist"), enter,
                     E("4Exit delete_file:delete fail"), enter, E("5Exit delete_file:delete OK")});
}

TEST_F(FtmFiles, EmptyingATreeKeepsItsTopAndLeavesLinksAndWhatIsTooDeep) {
    const std::string deep = "/t/" + std::string(97, 'n');
    write_file("/t/a/b/c", "x");
    write_file("/t/f", "x");
    write_file(deep, "x");
    write_file("/elsewhere/kept", "x");
    make_link("/t/link", "../elsewhere");
    EXPECT_EQ(delete_dirtory("/t"), 0);
    EXPECT_TRUE(exists("/t"));
    EXPECT_FALSE(exists("/t/a"));
    EXPECT_FALSE(exists("/t/f"));
    EXPECT_TRUE(exists("/t/link"));
    EXPECT_TRUE(exists(deep));
    EXPECT_EQ(delete_dirtory("/t/link"), 0);
    EXPECT_TRUE(exists("/elsewhere/kept"));
    expect_log({D("Delete file /t/a/b/c succeed")});
}

TEST_F(FtmFiles, ExecutedCommandAppendsUntilTheLimitIsReached) {
    char out[64 + kExecLineRoom] = "head:";
    EXPECT_EQ(executeCMD("printf 'one\\ntwo'; exit 3", out, 64), 3 << 8);
    EXPECT_STREQ(out, "head:one\ntwo");
    expect_log_only({D("executeCMD size = 64,buf_ps = one"), D("executeCMD size = 64,buf_ps = two")});
    char limited[10 + kExecLineRoom] = {};
    (void)executeCMD("for i in 1 2 3 4 5; do echo 12345; done", limited, 10);
    EXPECT_STREQ(limited, "12345\n12345\n");  // tested after each append
    char quiet[8 + kExecLineRoom] = "same";
    EXPECT_EQ(executeCMD("true", quiet, 8), 0);
    EXPECT_STREQ(quiet, "same");
}

TEST_F(FtmFiles, WritingEndsAtTheStepThatFails) {
    const auto open_for_write = [this](const char* path) {
        return UniqueFd(open(host(path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    };
    EXPECT_EQ(write_sync_close(open_for_write("/f"), "abc", 3), WriteStep::kDone);
    EXPECT_EQ(read_file_text("/f"), "abc");
    make_link("/full", "/dev/full");
    EXPECT_EQ(write_sync_close(open_for_write("/full"), "abc", 3), WriteStep::kWriteFailed);
    make_link("/null", "/dev/null");
    EXPECT_EQ(write_sync_close(open_for_write("/null"), "abc", 3), WriteStep::kSyncFailed);
}

TEST(ShellSafe, OnlyWhatMeansNothingToAShellPasses) {
    EXPECT_TRUE(is_shell_safe("aZ09._:/=+-,@%", false));
    EXPECT_TRUE(is_shell_safe("a b", true));
    EXPECT_FALSE(is_shell_safe("a b", false));
    for (const char c : std::string("`$();|&<>*?[]{}~!#^\"'\\\n\t\r\x7f\x80")) {
        EXPECT_FALSE(is_shell_safe(std::string("a") + c, true)) << static_cast<int>(c);
    }
    EXPECT_FALSE(is_shell_safe(std::string("a\0b", 3), true));
}

}  // namespace
