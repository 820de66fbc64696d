// The client, the daemon and the tree of device/ together: the shipped plans on a fresh phone, and on one with a fault.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/client/peer.h"

namespace fs = std::filesystem;

namespace {

std::string plan(const std::string& name) { return VENDORDIAG_SOURCE_DIR "/docs/plans/" + name + ".plan"; }

// A fresh phone with its daemon and its chip.
class WholePhoneTest : public testing::Test {
   protected:
    void SetUp() override {
        directory_ = (fs::temp_directory_path() / "vdiag-phone-XXXXXX").string();
        ASSERT_NE(mkdtemp(directory_.data()), nullptr);
        root_ = directory_ + "/phone";
        ASSERT_EQ(system((VENDORDIAG_SOURCE_DIR "/tools/phone/make-phone.sh " + root_).c_str()), 0);
    }
    void TearDown() override {
        for (const pid_t child : children_) {
            kill(-child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        fs::remove_all(directory_);
    }
    std::string root(const std::string& path) const { return root_ + path; }
    std::string address() const { return "unix:" + root_ + "/.sim/diag"; }

    void start(const std::vector<std::string>& words) {
        std::vector<std::string> variables = {"VENDORDIAG_ROOT=" + root_, "PATH=" + std::string(getenv("PATH"))};
        std::vector<char*> argv;
        std::vector<char*> environment;
        argv.reserve(words.size() + 1);
        environment.reserve(variables.size() + 1);
        for (const std::string& word : words) {
            argv.push_back(const_cast<char*>(word.c_str()));
        }
        for (std::string& variable : variables) {
            environment.push_back(variable.data());
        }
        argv.push_back(nullptr);
        environment.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const std::string log = directory_ + "/log";
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        pid_t child = 0;
        ASSERT_EQ(posix_spawn(&child, argv[0], &actions, &attributes, argv.data(), environment.data()), 0);
        children_.push_back(child);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    void boot() {
        start({VENDORDIAG_RDSS_CHIP, "--root", root_});
        start({VENDORDIAG_DAEMON});
        for (int i = 0; i < 200 && !fs::exists(root_ + "/.sim/diag"); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ClientRun vdiag(std::vector<std::string> words) const {
        words.insert(words.begin(), {"-c", address(), "-t", "30s"});
        return run_client(words);
    }
    ClientRun run_plan(const std::string& name, std::vector<std::string> given = {}) const {
        given.insert(given.begin(), {"run", plan(name)});
        return vdiag(given);
    }

    std::string directory_;
    std::string root_;
    std::vector<pid_t> children_;
};

// The line of a report that begins with "FAIL", and the next.
std::string failure(const std::string& report) {
    const size_t at = report.find("\nFAIL");
    return at == std::string::npos ? "" : report.substr(at + 1, report.find('\n', report.find('\n', at + 1) + 1) - at);
}

TEST_F(WholePhoneTest, SmokePlanPasses) {
    boot();
    const ClientRun run = run_plan("smoke");
    EXPECT_EQ(run.status, 0) << run.out << run.err;
}

TEST_F(WholePhoneTest, ProvisioningPlanPassesTwice) {
    boot();
    const std::vector<std::string> given = {"board=B0123456789",
                                            "wifi=02:00:5e:10:00:01",
                                            "bluetooth=02:00:5e:10:00:02",
                                            "imei=004999010640000",
                                            "label=CTA-2024-0123456",
                                            "device=DEVICE01",
                                            "keybox=" VENDORDIAG_SOURCE_DIR "/docs/plans/keybox.xml",
                                            "widevine=5a*120+6b626f78+00*4",
                                            "signature=5a*256",
                                            "esim=0123456789",
                                            "key=" VENDORDIAG_SOURCE_DIR "/keys/auth_dev_private.pem"};
    const ClientRun run = run_plan("provisioning", given);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    const ClientRun again = run_plan("provisioning", given);
    EXPECT_EQ(again.status, 0) << again.out << again.err;
}

TEST_F(WholePhoneTest, HardwarePlanPasses) {
    boot();
    const ClientRun run = run_plan("hardware");
    EXPECT_EQ(run.status, 0) << run.out << run.err;
}

TEST_F(WholePhoneTest, AMissingNodeAndABrokenToolFailTheirLinesAndSayWhy) {
    fs::remove(root("/mnt/vendor/persist/sensors/tof_sen.txt"));
    std::ofstream(root("/system/bin/nfc_test")) << "#!/bin/sh\nexit 1\n";
    boot();
    const ClientRun run = run_plan("hardware");
    EXPECT_EQ(run.status, 8);
    EXPECT_NE(run.out.find("3 failed, 0 skipped"), std::string::npos) << run.out;
    EXPECT_NE(failure(run.out).find("ftm GetTofData"), std::string::npos) << run.out;
    EXPECT_NE(failure(run.out).find("GetTofData: status 1: failed"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("nfc card: status 1: the test program failed"), std::string::npos) << run.out;
}

TEST_F(WholePhoneTest, UnlockWantsTheRightKey) {
    boot();
    const std::string wrong = directory_ + "/wrong.pem";
    ASSERT_EQ(system(("openssl genrsa -out " + wrong + " 2048 2>/dev/null").c_str()), 0);
    EXPECT_NE(vdiag({"unlock", "--key", wrong}).status, 0);
    EXPECT_EQ(vdiag({"ftm", "WriteEdigitalCode", "LABEL"}).status, 7);
    EXPECT_EQ(vdiag({"unlock", "--key", VENDORDIAG_SOURCE_DIR "/keys/auth_dev_private.pem"}).status, 0);
    EXPECT_EQ(vdiag({"ftm", "WriteEdigitalCode", "LABEL"}).status, 0);
}

}  // namespace
