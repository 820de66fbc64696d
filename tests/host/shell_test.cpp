#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <new>
#include <thread>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/posix/programs.h"
#include "tests/support/faults.h"
#include "tests/support/phone.h"

using namespace std::chrono_literals;

namespace {
class HostShell : public PhoneTest {
   protected:
    // What a command prints.
    static std::string output(const std::string& command) {
        const UniquePipe pipe(device_popen(command.c_str(), "r"));
        std::array<char, 4096> text{};
        const size_t size = pipe != nullptr ? fread(text.data(), 1, text.size(), pipe.get()) : 0;
        return {text.data(), size};
    }
};

TEST(HostShellWords, ThatBeginWithASlashAreLedByTheRoot) {
    const struct {
        const char* root;
        const char* command;
        const char* becomes;
    } cases[] = {{"/r", "/vendor/bin/tool -o /cache/x", "/r/vendor/bin/tool -o /r/cache/x"},
                 {"/r", "tool a/b ./c >/x 2>&1", "tool a/b ./c >/x 2>&1"},
                 {"/r", "X=/lib /bin/t\t/y  /z", "X=/lib /r/bin/t\t/r/y  /r/z"},
                 {"/r", "sh -c 'ls /data' \"cat /x\"", "sh -c 'ls /r/data' \"cat /r/x\""},
                 {"/r", "", ""},
                 {"/my phone", "ls /a", "ls /my\\ phone/a"},
                 {"/it's", "ls /a 'b /c'", "ls /it\\'s/a 'b /it'\\''s/c'"},
                 {"/$\"x", "echo \"a /b\"", "echo \"a /\\$\\\"x/b\""},
                 {"/a b", "echo \\' /x", "echo \\' /a\\ b/x"}};
    for (const auto& c : cases) {
        EXPECT_EQ(host_shell_command(c.command, c.root), c.becomes);
    }
}

TEST_F(HostShell, CommandsRunInTheRootWithThePhonesProgramsFirst) {
    make_tool("/system/bin/tool", "exit 3");
    make_tool("/vendor/bin/tool", "exit 4");
    EXPECT_EQ(device_system("tool one /two"), W_EXITCODE(3, 0));
    EXPECT_EQ(device_system("vendor/bin/tool three"), W_EXITCODE(4, 0));
    EXPECT_EQ(calls(), (std::vector<std::string>{"tool one /two", "tool three"}));
    const std::string root = settings().root;
    EXPECT_EQ(output("echo $VENDORDIAG_ROOT; env -u PWD pwd; echo ${PATH%%/vendor/*}"),
              root + "\n" + root + "\n" + root + "/system/bin:" + root + "\n");
}

TEST_F(HostShell, RootsMayHoldAnyCharacter) {
    HostSettings odd = settings();
    odd.root = host("it's a \"$HOME\" `phone`\\ ;&|*");
    ASSERT_EQ(mkdir(odd.root.c_str(), 0755), 0);
    reconfigure(odd);
    for (const char* command :
         {"echo x > /file", "echo x >/dev/null && eval 'echo x' > /file", "echo x | tee \t/file >&2"}) {
        EXPECT_EQ(device_system(command), 0) << command;
        EXPECT_EQ(host_read_file(odd.root + "/file"), "x\n") << command;
        EXPECT_EQ(device_unlink("/file"), 0);
    }
    EXPECT_EQ(output("echo \"x /y\" 'x /y'"), "x " + odd.root + "/y x " + odd.root + "/y\n");
}

TEST_F(HostShell, ResultsAreThoseOfTheLibraryCalls) {
    EXPECT_EQ(device_system("exit 7"), W_EXITCODE(7, 0));
    EXPECT_EQ(device_system("no-such-program 2>&-"), W_EXITCODE(127, 0));
    EXPECT_EQ(device_system("kill -9 $$"), SIGKILL);
    EXPECT_EQ(device_pclose(device_popen("exit 5", "r")), W_EXITCODE(5, 0));
    FILE* const in = device_popen("cat > /copy", "w");
    ASSERT_NE(in, nullptr);
    EXPECT_GE(fputs("written", in), 0);
    EXPECT_EQ(device_pclose(in), 0);
    EXPECT_EQ(read_file_text("/copy"), "written");
    EXPECT_EQ(device_popen("true", "x"), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(HostShell, NoDescriptorReachesAChildNotEvenInTheBackground) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);  // no close-on-exec, on purpose
    const UniqueFd reader(ends[0]);
    UniqueFd writer(ends[1]);
    EXPECT_EQ(device_system("exec >&- 2>&-; sleep 5 & echo $! > /pid"), 0);
    writer.close();
    pollfd end{reader.get(), POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 1000), 1) << "somebody else holds the writing end";
    kill(std::stoi(read_file_text("/pid")), SIGKILL);
}
int nothing(posix_spawn_file_actions_t* /*actions*/, short* /*flags*/) { return 0; }

// A watch is begun before its program: without one it has nobody to kill.
TEST_F(HostShell, AProgramForWhichThereIsNoMemoryIsNotKilledEither) {
    const ProgramPlan plan{"none", "true", {"/bin/sh"}, {"A=b"}, 300ms, nothing};
    bool hit = true;
    for (unsigned nth = 1; hit; nth++) {
        Faults faults;
        faults.fail(Call::kNew, nth, ENOMEM);
        try {
            FILE* const stream = program_popen(plan, "r");
            EXPECT_TRUE(stream == nullptr || program_pclose(stream) == 0);
        } catch (const std::bad_alloc&) {
        }
        hit = faults.count(Call::kNew) >= nth;
    }
    std::this_thread::sleep_for(500ms);
    expect_log_only({});
}

// Whoever in its group holds the pipe's other end must be gone too; who has left the group lives, and is not waited
// for.
TEST_F(HostShell, ALateProgramIsKilledWithItsGroupAndFails) {
    const std::string leaving = "echo on; setsid sh -c 'echo $$ > " + host("/pid") + "; exec sleep 60' &";
    for (const std::string& command : {std::string("echo on; sleep 60 & sleep 60"), leaving}) {
        clear_log();
        const ProgramPlan plan{program_name("A=/b /bin/late c=d"), command, {"/none", "/bin/sh"}, {}, 300ms, nothing};
        FILE* const stream = program_popen(plan, "r");
        ASSERT_NE(stream, nullptr);
        char text[8] = {};
        EXPECT_EQ(fread(text, 1, sizeof text, stream), 3U) << command;
        EXPECT_EQ(program_pclose(stream), SIGKILL) << command;
        expect_log_only({E("/bin/late: not ended in time, killed")});
    }
    EXPECT_EQ(kill(std::stoi(read_file_text("/pid")), SIGKILL), 0);
}
}  // namespace
