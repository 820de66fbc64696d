// Shell commands: /bin/sh in the root, with the phone's program directories first and absolute words below the root.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"

namespace {
constexpr int kFirstOwnDescriptor = 3;

// Children behind the streams of device_popen.
std::mutex pipes_mutex;
std::map<FILE*, pid_t> pipes;

// Where a word stands decides how text put before it must be quoted.
enum class Quote : char { kNone = ' ', kSingle = '\'', kDouble = '"' };

bool is_word_character(char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || strchr("/._-+:@%,=", c) != nullptr ||
           static_cast<unsigned char>(c) >= 0x80;
}

std::string quoted(std::string_view text, Quote place) {
    std::string out;
    for (const char c : text) {
        if (place == Quote::kSingle) {
            out += c == '\'' ? std::string("'\\''") : std::string(1, c);
        } else if (place == Quote::kNone && c == '\n') {
            out += "'\n'";
        } else {
            const bool plain = place == Quote::kNone ? is_word_character(c) : strchr("\\\"$`", c) == nullptr;
            out.append(plain ? "" : "\\").append(1, c);
        }
    }
    return out;
}

Quote place_after(Quote place, char c) {
    const auto mark = static_cast<Quote>(c);
    if (place == Quote::kNone) {
        return mark == Quote::kSingle || mark == Quote::kDouble ? mark : place;
    }
    return mark == place ? Quote::kNone : place;
}

std::vector<std::string> child_environment(const std::string& root) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (strncmp(*variable, "VENDORDIAG_ROOT=", 16) != 0 && strncmp(*variable, "PATH=", 5) != 0 &&
            strncmp(*variable, "PWD=", 4) != 0) {
            variables.emplace_back(*variable);
        }
    }
    const char* const path = getenv("PATH");
    variables.push_back("VENDORDIAG_ROOT=" + root);
    variables.push_back("PATH=" + root + "/system/bin:" + root +
                        "/vendor/bin:" + (path != nullptr ? path : "/usr/bin:/bin"));
    variables.push_back("PWD=" + root);
    return variables;
}

// What posix_spawn needs, freed on every path.
struct SpawnPlan {
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};

    SpawnPlan() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
};

// Signals as a program expects them, whatever the daemon's threads ignore or block.
int plan_signals(SpawnPlan* plan) {
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGXFSZ);
    sigaddset(&defaults, SIGXFSZ);
    int error = posix_spawnattr_setsigmask(&plan->attributes, &none);
    error = error != 0 ? error : posix_spawnattr_setsigdefault(&plan->attributes, &defaults);
    return error != 0 ? error
                      : posix_spawnattr_setflags(&plan->attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

// Working directory and descriptors: `end` becomes the child's `child_fd` (none when negative), and nothing else of
// ours reaches it, so that a program left in the background holds no connection open.
int plan_files(SpawnPlan* plan, const std::string& root, int end, int child_fd) {
    int error = posix_spawn_file_actions_addchdir_np(&plan->actions, root.c_str());
    if (error == 0 && end >= 0) {
        error = posix_spawn_file_actions_adddup2(&plan->actions, end, child_fd);
    }
    return error != 0 ? error : posix_spawn_file_actions_addclosefrom_np(&plan->actions, kFirstOwnDescriptor);
}

// Starts a command. Returns its process, or -1 and errno.
pid_t start_shell(const char* command, int end, int child_fd) {
    const std::string& root = host_settings().root;
    std::string text = host_shell_command(command, root);
    std::vector<std::string> variables = child_environment(root);
    std::vector<char*> environment;
    environment.reserve(variables.size() + 1);
    for (std::string& variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, text.data(), nullptr};

    SpawnPlan plan;
    pid_t child = -1;
    int error = plan_signals(&plan);
    error = error != 0 ? error : plan_files(&plan, root, end, child_fd);
    error = error != 0 ? error
                       : posix_spawn(&child, "/bin/sh", &plan.actions, &plan.attributes, arguments, environment.data());
    if (error != 0) {
        errno = error;
        return -1;
    }
    return child;
}

int wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}
}  // namespace

std::string host_shell_command(std::string_view command, std::string_view root) {
    std::string out;
    Quote place = Quote::kNone;
    bool word_begins = true;
    for (size_t i = 0; i < command.size(); ++i) {
        const char c = command[i];
        if (word_begins && c == '/') {
            out += quoted(root, place);
        }
        word_begins = c == ' ' || c == '\t';
        out += c;
        if (c == '\\' && place != Quote::kSingle && i + 1 < command.size()) {
            out += command[++i];
            continue;
        }
        place = place_after(place, c);
    }
    return out;
}

int device_system(const char* command) {
    if (command == nullptr) {
        return 1;
    }
    const pid_t child = start_shell(command, -1, -1);
    return child >= 0 ? wait_for(child) : -1;
}

FILE* device_popen(const char* command, const char* mode) {
    const bool reads = *mode == 'r';
    if (!reads && *mode != 'w') {
        errno = EINVAL;
        return nullptr;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return nullptr;
    }
    UniqueFd ours(ends[reads ? 0 : 1]);
    const UniqueFd theirs(ends[reads ? 1 : 0]);
    const std::scoped_lock lock(pipes_mutex);
    FILE* const stream = fdopen(ours.get(), reads ? "r" : "w");
    if (stream == nullptr) {
        return nullptr;
    }
    (void)ours.release();
    const pid_t child = start_shell(command, theirs.get(), reads ? STDOUT_FILENO : STDIN_FILENO);
    if (child < 0) {
        const int error = errno;
        (void)fclose(stream);
        errno = error;
        return nullptr;
    }
    pipes[stream] = child;
    return stream;
}

int device_pclose(FILE* stream) {
    pid_t child = -1;
    {
        const std::scoped_lock lock(pipes_mutex);
        const auto found = pipes.find(stream);
        if (found == pipes.end()) {
            errno = ECHILD;
            return -1;
        }
        child = found->second;
        pipes.erase(found);
    }
    (void)fclose(stream);  // the child's end is what is reported
    return wait_for(child);
}
