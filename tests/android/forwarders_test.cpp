// The seam of a phone, on this machine's files: each function is the call that it is named after.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>

#include "platform/include/device.h"
#include "platform/include/handles.h"

namespace {
std::string scratch() {
    umask(0);
    std::string directory = (std::filesystem::temp_directory_path() / "forwarders-XXXXXX").string();
    return mkdtemp(directory.data()) != nullptr ? directory : "";
}

TEST(Forwarders, FilesAndDirectories) {
    const std::string top = scratch();
    const std::string file = top + "/file";
    const std::string other = top + "/other";
    const std::string link = top + "/link";
    EXPECT_EQ(device_path("vendor/x"), "vendor/x");
    ASSERT_EQ(device_mkdir((top + "/dir").c_str(), 0711), 0);
    UniqueFd fd(device_open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0640));
    ASSERT_EQ(write(fd.get(), "longer", 6), 6);
    EXPECT_EQ(device_fsync(fd.get()), 0);
    ASSERT_EQ(symlink("other", link.c_str()), 0);
    ASSERT_EQ(device_rename(file.c_str(), other.c_str()), 0);
    struct stat st {};
    EXPECT_EQ(device_stat(file.c_str(), &st), -1);
    ASSERT_EQ(device_stat(link.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode, S_IFREG | 0640U);
    ASSERT_EQ(device_lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(device_stat((top + "/dir").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode, S_IFDIR | 0711U);
    char target[5] = "....";
    EXPECT_EQ(device_readlink(link.c_str(), target, 3), 3);
    EXPECT_STREQ(target, "oth.");
    EXPECT_EQ(device_access(other.c_str(), F_OK), 0);
    EXPECT_EQ(device_access(other.c_str(), X_OK), -1);
    EXPECT_TRUE(UniqueStream(device_fopen(other.c_str(), "ae")));
    EXPECT_EQ(std::filesystem::file_size(other), 6U);
    EXPECT_TRUE(UniqueStream(device_fopen(other.c_str(), "we")));
    EXPECT_EQ(std::filesystem::file_size(other), 0U);
    EXPECT_TRUE(UniqueDir(device_opendir(top.c_str())));
    EXPECT_EQ(device_mknod((top + "/pipe").c_str(), S_IFIFO | 0620, 0), 0);
    ASSERT_EQ(device_stat((top + "/pipe").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode, S_IFIFO | 0620U);
    if (geteuid() == 0) {
        ASSERT_EQ(device_chown(link.c_str(), 1002, 3003), 0);
        ASSERT_EQ(device_stat(other.c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, 1002U);
        EXPECT_EQ(st.st_gid, 3003U);
    }
    EXPECT_EQ(device_unlink((top + "/dir").c_str()), -1);
    EXPECT_EQ(device_rmdir(other.c_str()), -1);
    EXPECT_EQ(device_unlink(other.c_str()), 0);
    EXPECT_EQ(device_rmdir((top + "/dir").c_str()), 0);
    EXPECT_EQ(device_remove(link.c_str()), 0);
    EXPECT_EQ(device_remove((top + "/pipe").c_str()), 0);
    EXPECT_EQ(device_remove(top.c_str()), 0) << "something was left";
}

TEST(Forwarders, UsersQueriesAndDelays) {
    ASSERT_NE(device_getpwnam("root"), nullptr);
    EXPECT_EQ(device_getpwnam("root")->pw_uid, 0U);
    ASSERT_NE(device_getgrnam("root"), nullptr);
    EXPECT_EQ(device_getpwnam("nobody of that name"), nullptr);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const UniqueFd reader(ends[0]);
    const UniqueFd writer(ends[1]);
    ASSERT_EQ(write(writer.get(), "abc", 3), 3);
    int waiting = 0;
    EXPECT_EQ(device_ioctl(reader.get(), FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 3);
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    (void)sigaction(SIGALRM, &nothing, nullptr);
    const itimerval often{{0, 50000}, {0, 50000}};  // a signal does not cut a delay short
    (void)setitimer(ITIMER_REAL, &often, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    device_usleep(300000);
    const itimerval never{};
    (void)setitimer(ITIMER_REAL, &never, nullptr);
    device_sleep(1);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took.count(), 1.3);
    EXPECT_LT(took.count(), 3);
}
}  // namespace
