#include <cerrno>
#include <cstdlib>

#include "platform/host/host.h"
#include "platform/include/device.h"
#include "platform/include/power.h"
#include "tests/support/phone.h"

namespace {

// The variable NAME in force while this lives.
struct Variable {
    const char* name;
    Variable(const char* variable, const char* value) : name(variable) { setenv(name, value, 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { unsetenv(name); }
};

TEST(HostSettingsTest, ValuesAreCheckedAndTheBadOneIsNamed) {
    const Variable root("VENDORDIAG_ROOT", "/tmp");
    const struct {
        const char* name;
        const char* value;
        bool good;
    } cases[] = {{"VENDORDIAG_TIME_SCALE", "0", true},
                 {"VENDORDIAG_TIME_SCALE", "0.25", true},
                 {"VENDORDIAG_TIME_SCALE", "", false},
                 {"VENDORDIAG_TIME_SCALE", "-1", false},
                 {"VENDORDIAG_TIME_SCALE", "1s", false},
                 {"VENDORDIAG_TIME_SCALE", "1.2.3", false},
                 {"VENDORDIAG_TIME_SCALE", "nan", false},
                 {"VENDORDIAG_TIME_SCALE", "inf", false},
                 {"VENDORDIAG_POWER", "stay", true},
                 {"VENDORDIAG_POWER", "Exit", false},
                 {"VENDORDIAG_LISTEN", "unix:/x,tcp:[::1]:0,pty:/y", true},
                 {"VENDORDIAG_LISTEN", "unix:/x,", false},
                 {"VENDORDIAG_LISTEN", "udp:1", false}};
    for (const auto& c : cases) {
        const Variable variable(c.name, c.value);
        HostSettings settings;
        std::string error;
        EXPECT_EQ(host_settings_from_environment(&settings, &error), c.good) << c.name << "=" << c.value;
        EXPECT_EQ(error.find(c.name) == 0, !c.good) << error;
    }
    const Variable missing("VENDORDIAG_ROOT", "/dev/null/directory");
    HostSettings settings;
    std::string error;
    EXPECT_FALSE(host_settings_from_environment(&settings, &error));
    EXPECT_EQ(error.find("VENDORDIAG_ROOT"), 0U) << error;
}

TEST(HostSettingsTest, DefaultsFollowTheRoot) {
    const Variable root("VENDORDIAG_ROOT", "/tmp/../tmp/");
    HostSettings settings;
    std::string error;
    ASSERT_TRUE(host_settings_from_environment(&settings, &error)) << error;
    EXPECT_EQ(settings.root, "/tmp");
    EXPECT_EQ(settings.listen, std::vector<std::string>{"unix:/tmp/.sim/diag"});
    EXPECT_EQ(settings.time_scale, 1.0);
    EXPECT_TRUE(settings.power_exits);
}

TEST(HostSettingsTest, ABadValueEndsTheProcessAtTheFirstPlatformCall) {
    start_death_tests_afresh();
    const Variable root("VENDORDIAG_ROOT", "/tmp");
    const Variable power("VENDORDIAG_POWER", "maybe");
    EXPECT_EXIT(ALOGD("never seen"), ::testing::ExitedWithCode(255), "^[^\n]*VENDORDIAG_POWER[^\n]*\n$");
}

TEST_F(PhoneTest, APowerCallEndsTheProcessWithStatusZero) {
    start_death_tests_afresh();
    HostSettings exits = settings();
    exits.power_exits = true;
    reconfigure(exits);
    EXPECT_EXIT(device_reboot(kRebootRestart), ::testing::ExitedWithCode(0), "");
}

TEST(HostLog, RecordsAreLinesInThreadtimeForm) {
    start_death_tests_afresh();
    const Variable root("VENDORDIAG_ROOT", "/tmp");
    const std::string head = "[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3} [0-9]+ [0-9]+ ";
    EXPECT_EXIT((ALOGE("one\ntwo %s\n\n", "x"), (void)__android_log_print(4, "cfgutil-impl", "%s", ""), _exit(0)),
                ::testing::ExitedWithCode(0),
                "^" + head + "E vendordiag: one\n" + head + "E vendordiag: two x\n" + head + "I cfgutil-impl: \n$");
}

TEST_F(PhoneTest, DelaysAreHandedOverUnscaledAndTheLogKeepsErrno) {
    device_sleep(2);
    device_usleep(30);
    EXPECT_EQ(delays(), (std::vector<uint64_t>{2000000, 30}));
    const std::string text(3000, 'x');
    ALOGD("%s\n\n", text.c_str());
    expect_log_only({D(text)});
    HostSettings other = settings();
    other.log_sink = [](const HostLogRecord&) { errno = EIO; };
    reconfigure(other);
    errno = ENOTTY;
    ALOGD("text");
    EXPECT_EQ(errno, ENOTTY);
}
}  // namespace
