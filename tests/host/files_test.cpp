#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "tests/support/phone.h"

namespace {
using HostFiles = PhoneTest;

TEST(HostPaths, AreNormalAndNeverAboveTheRoot) {
    const struct {
        const char* path;
        const char* normal;
    } cases[] = {{"/persist/wifimac.dat", "/persist/wifimac.dat"},
                 {"vendor/etc/hwid.conf", "/vendor/etc/hwid.conf"},
                 {"//a///b//", "/a/b/"},
                 {"./a/./b", "/a/b"},
                 {"a/../b", "/b"},
                 {"../../etc/passwd", "/etc/passwd"},
                 {"/a/../../..", "/"},
                 {"/a/..b", "/a/..b"},
                 {"/a/b/..", "/a/"},
                 {"/a/.", "/a/"},
                 {"/", "/"},
                 {".", "/"},
                 {"", ""},
                 {nullptr, ""}};
    for (const auto& c : cases) {
        EXPECT_EQ(host_normal_path(c.path), c.normal) << (c.path != nullptr ? c.path : "null");
    }
}

TEST_F(HostFiles, NamesThatNameNothingFailAsInTheKernel) {
    write_file("/file", "x");
    EXPECT_EQ(device_open("", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(device_access("/file/", F_OK), -1);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(device_path("file"), settings().root + "/file");
}

// A node that held 98765 after "ab" has been written to it.
TEST_F(HostFiles, KernelNodesAreClearedExactlyWhenOpenedForWritingOnly) {
    const struct {
        const char* path;
        int flags;
        const char* holds;
    } cases[] = {{"/sys/class/node", O_WRONLY, "ab"},
                 {"proc/node", O_WRONLY, "ab"},
                 {"/data/../sys/node", O_WRONLY, "ab"},
                 {"/sys/class/node", O_RDWR, "ab765"},
                 {"/sys/class/node", O_RDWR | O_CREAT | O_TRUNC, "ab765"},
                 {"/proc/node", O_RDWR | O_TRUNC, "ab765"},
                 {"/data/sys/node", O_WRONLY, "ab765"},
                 {"/system/node", O_WRONLY, "ab765"},
                 {"/data/node", O_RDWR | O_TRUNC, "ab"}};
    for (const auto& c : cases) {
        write_file(c.path[0] == '/' && c.path[1] == 'd' && c.path[6] == '.' ? "/sys/node" : c.path, "98765");
        make_dir("/data");
        UniqueFd fd(device_open(c.path, c.flags | O_CLOEXEC, 0644));
        ASSERT_EQ(write(fd.get(), "ab", 2), 2) << c.path;
        EXPECT_EQ(host_read_file(device_path(c.path)), c.holds) << c.path << " " << c.flags;
    }
}

TEST_F(HostFiles, StreamModesMeanWhatTheyMeanToFopen) {
    const struct {
        const char* mode;
        const char* holds;  // "98765" after "ab"; null: nothing can be written
        bool creates;
    } cases[] = {{"r", nullptr, false}, {"re", nullptr, false},  {"rb+", "ab765", false}, {"we", "ab", true},
                 {"w+", "ab", true},    {"ae", "98765ab", true}, {"x", nullptr, false}};
    for (const auto& c : cases) {
        write_file("/data/file", "98765");
        {
            const UniqueStream stream(device_fopen("/data/file", c.mode));
            EXPECT_EQ(stream != nullptr && fputs("ab", stream.get()) >= 0 && fflush(stream.get()) == 0,
                      c.holds != nullptr)
                << c.mode;
        }
        EXPECT_EQ(read_file_text("/data/file"), c.holds != nullptr ? c.holds : "98765") << c.mode;
        remove("/data/file");
        EXPECT_EQ(UniqueStream(device_fopen("/data/file", c.mode)) != nullptr, c.creates) << c.mode;
    }
}

TEST_F(HostFiles, DeviceNodesAreOrdinaryFilesWithTheirMode) {
    make_dir("/dev");
    EXPECT_EQ(device_mknod("/dev/__vcfg__", S_IFBLK | 0644, 0x801), 0);
    struct stat st {};
    ASSERT_EQ(device_lstat("/dev/__vcfg__", &st), 0);
    EXPECT_EQ(st.st_mode, S_IFREG | 0644U);
    EXPECT_EQ(device_mknod("/dev/__vcfg__", S_IFBLK | 0644, 0x801), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(HostFiles, UsersComeFromThePhonesLists) {
    EXPECT_EQ(device_getpwnam("root"), nullptr);
    write_file("/etc/passwd", "root:x:0:0::/:/bin/sh\nbluetooth:x:1002:1003::/:/bin/sh\n");
    write_file("/etc/group", "root:x:0:\nbluetooth:x:1003:\n");
    ASSERT_NE(device_getpwnam("bluetooth"), nullptr);
    EXPECT_EQ(device_getpwnam("bluetooth")->pw_uid, 1002U);
    EXPECT_EQ(device_getgrnam("bluetooth")->gr_gid, 1003U);
    EXPECT_EQ(device_getpwnam("blue"), nullptr);
    EXPECT_EQ(device_chown("/missing", 0, 0), -1);
}

TEST_F(HostFiles, InputDevicesOpenAtOnceAndCarryEvents) {
    make_dir("/dev/input");
    ASSERT_EQ(device_mknod("/dev/input/event3", S_IFIFO | 0600, 0), 0);
    const UniqueFd device(device_open("/dev/input/event3", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(device.ok());
    pollfd ready{device.get(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 0);
    std::array<char, 24> event{};
    EXPECT_EQ(read(device.get(), event.data(), event.size()), -1);
    const UniqueFd key(open(host("/dev/input/event3").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(write(key.get(), event.data(), event.size()), 24);
    EXPECT_EQ(poll(&ready, 1, 0), 1);
    EXPECT_EQ(read(device.get(), event.data(), event.size()), 24);
}

TEST_F(HostFiles, EventTypesComeFromTheDevicesCapabilities) {
    make_dir("/dev/input");
    ASSERT_EQ(device_mknod("/dev/input/event3", S_IFIFO | 0600, 0), 0);
    const UniqueFd device(device_open("/dev/input/event3", O_RDONLY | O_CLOEXEC));
    std::array<unsigned char, 8> bits{};
    const std::string node = "/sys/class/input/event3/device/capabilities/ev";
    EXPECT_EQ(device_ioctl(device.get(), EVIOCGBIT(0, 8), bits.data()), -1);
    write_file(node, "120013\n");
    EXPECT_GE(device_ioctl(device.get(), EVIOCGBIT(0, 8), bits.data()), 0);
    EXPECT_EQ(bits, (std::array<unsigned char, 8>{0x13, 0x00, 0x12}));
    EXPECT_EQ(device_ioctl(device.get(), EVIOCGBIT(1, 8), bits.data()), -1);
    write_file("/dev/other", "");
    const UniqueFd other(device_open("/dev/other", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(device_ioctl(other.get(), EVIOCGBIT(0, 8), bits.data()), -1);
}

}  // namespace
