// The life of a fresh simulated phone: laid out, started, ended.
#include "tools/vdiag/plan/phone.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/host/program_path.h"
#include "platform/include/handles.h"
#include "tools/vdiag/wire/link.h"

namespace fs = std::filesystem;

namespace vdiag {
namespace {

constexpr int kPatience = 20000;    // milliseconds for a daemon to start
constexpr int kRegistering = 3000;  // for it to say that its commands are registered
constexpr mode_t kUmask = 027;      // of the daemon: what it wants to be readable by all it must say

// Runs a program and waits for it.
bool run_program(const std::vector<std::string>& words) {
    const pid_t child = fork();
    if (child == 0) {
        become_program(words);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

// In the child: the daemon's settings, then the daemon.
[[noreturn]] void become_daemon(const Phone& phone, const std::string& program, int log) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = open("/dev/null", O_RDONLY);
    (void)dup2(null, STDIN_FILENO);
    (void)dup2(log, STDOUT_FILENO);
    (void)dup2(log, STDERR_FILENO);
    (void)close(null);
    (void)umask(kUmask);
    (void)setenv("VENDORDIAG_ROOT", phone.root.c_str(), 1);
    (void)setenv("VENDORDIAG_LISTEN", ("unix:" + phone.root + "/.sim/diag").c_str(), 1);
    (void)setenv("VENDORDIAG_TIME_SCALE", "0.001", 1);
    (void)unsetenv("VENDORDIAG_POWER");
    for (const std::string& setting : phone.environment) {
        (void)putenv(const_cast<char*>(setting.c_str()));
    }
    for (const auto& [resource, value] : phone.limits) {
        const rlimit limit{value, value};
        (void)prlimit(0, static_cast<__rlimit_resource>(resource), &limit, nullptr);
    }
    execl(program.c_str(), program.c_str(), nullptr);
    _exit(127);
}

// A pipe for what a daemon says, which a limit on its files' size does not touch. Returns the end to write to.
int open_log(Phone* phone) {
    constexpr int kRoom = 1 << 20;  // a daemon drops what finds none
    int ends[2] = {-1, -1};
    phone_listen(phone);  // the last words of the daemon before
    (void)close(phone->log_pipe);
    (void)!pipe2(ends, O_CLOEXEC);
    (void)fcntl(ends[0], F_SETFL, O_NONBLOCK);
    (void)fcntl(ends[0], F_SETPIPE_SZ, kRoom);
    phone->log_pipe = ends[0];
    return ends[1];
}

// Whether somebody takes connections at the phone's socket.
bool serves(const std::string& root) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = root + "/.sim/diag";
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    (void)path.copy(address.sun_path, path.size());
    const UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

std::string end_text(int status) {
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit status " + std::to_string(WEXITSTATUS(status));
}

void kill_and_wait(pid_t* child) {
    if (*child > 0) {
        (void)kill(*child, SIGKILL);
        (void)waitpid(*child, nullptr, 0);
    }
    *child = -1;
}

// The line of a sanitizer's report, if it has written one.
std::string sanitizer_line(const Phone& phone) {
    const std::string& text = phone.log;
    for (const char* mark : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:", "WARNING: Thread"}) {
        const size_t at = text.find(mark);
        if (at != std::string::npos) {
            return text.substr(text.rfind('\n', at) + 1, 4000);
        }
    }
    return "";
}

}  // namespace

bool phone_fresh(Phone* phone, std::string* error) {
    const char* parent = getenv("TMPDIR");
    std::string directory = std::string(parent != nullptr && *parent != '\0' ? parent : "/tmp") + "/vdiag-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        *error = "cannot make " + directory + ": " + strerror(errno);
        return false;
    }
    *phone = Phone();
    phone->directory = directory;
    phone->root = directory + "/phone";
    const std::string beside = beside_program("device");
    const bool built = access(beside.c_str(), F_OK) == 0;
    const std::string installed = beside_program(VDIAG_MAKE_PHONE);
    if (!run_program(built ? std::vector<std::string>{"cp", "-R", "-P", "-p", beside, phone->root}
                           : std::vector<std::string>{installed, phone->root})) {
        *error = "cannot lay out a phone with " + (built ? beside : installed);
        return false;
    }
    std::string ignored;
    (void)fs::remove(phone->root + "/.sim/diag");
    return file_write(phone->root + "/.sim/calls", "", error);
}

void phone_of_address(const std::string& address, Phone* phone) {
    constexpr std::string_view kSocket = "/.sim/diag";
    if (address.starts_with("unix:") && address.ends_with(kSocket)) {
        phone->root = address.substr(5, address.size() - 5 - kSocket.size());
    }
}

namespace {

// The socket takes connections a moment before the commands are registered, of which the daemon says the last.
bool wait_until_served(Phone* phone, std::string* error) {
    constexpr const char* kLastWords = "orb_ftm_build_info_register_init called";
    const size_t before = phone->log.size();
    const Deadline deadline = deadline_in(kPatience);
    const Deadline registered = deadline_in(kRegistering);
    for (;;) {
        if (waitpid(phone->daemon, &phone->end_status, WNOHANG) != 0) {
            phone->daemon = -1;
            *error = "the daemon ended before it served: " + end_text(phone->end_status);
            return false;
        }
        phone_listen(phone);
        const bool told = phone->log.find(kLastWords, before) != std::string::npos;
        if ((told || milliseconds_left(registered) == 0) && serves(phone->root)) {
            return true;
        }
        if (milliseconds_left(deadline) == 0) {
            *error = "the daemon does not serve";
            return false;
        }
        (void)usleep(1000);
    }
}

}  // namespace

bool phone_serve(Phone* phone, std::string* error) {
    if (phone->directory.empty() || phone->daemon > 0) {
        return true;
    }
    if (phone->started) {
        *error = "the daemon does not run any more";
        return false;
    }
    const std::string program = phone_program("vendordiag", "VDIAG_DAEMON");
    phone->started = true;
    const UniqueFd log(open_log(phone));
    phone->daemon = fork();
    if (phone->daemon == 0) {
        become_daemon(*phone, program, log.get());
    }
    return wait_until_served(phone, error);
}

void become_program(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

std::string phone_program(const std::string& name, const char* variable) {
    const char* given = getenv(variable);
    return given != nullptr ? given : beside_program(name);
}

void phone_listen(Phone* phone) {
    char chunk[65536];
    for (ssize_t got = 0; (got = read(phone->log_pipe, chunk, sizeof(chunk))) > 0;) {
        phone->log.append(chunk, static_cast<size_t>(got));
    }
}

bool phone_end(Phone* phone, std::string* error) {
    bool good = true;
    if (phone->directory.empty()) {
        return good;
    }
    if (phone->daemon > 0 && waitpid(phone->daemon, &phone->end_status, WNOHANG) == phone->daemon) {
        phone->daemon = -1;
        good = phone->end_expected;
        *error = "the daemon ended unasked: " + end_text(phone->end_status);
    }
    kill_and_wait(&phone->daemon);
    kill_and_wait(&phone->chip);
    phone_listen(phone);
    (void)close(std::exchange(phone->log_pipe, -1));
    const std::string report = sanitizer_line(*phone);
    if (!report.empty()) {
        good = false;
        *error = report;
    }
    std::error_code ignored;  // a vendor program may still be writing there
    (void)fs::remove_all(phone->directory, ignored);
    return good;
}

}  // namespace vdiag
