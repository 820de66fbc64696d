// Starting programs, watching their deadlines and collecting their results.
#include "platform/posix/programs.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "platform/include/handles.h"
#include "platform/include/log.h"

namespace {
// What the one who waits for a program and the one who watches its deadline share.
struct Program {
    pid_t pid = -1;
    std::string name;
    std::chrono::milliseconds deadline{};
    std::mutex mutex;
    std::condition_variable ended;
    bool collected = true;  // not begun, or ended: its identifier is nobody's, or another's
    bool late = false;
    // The watch's own: what the program prints, and where whoever reads it waits.
    UniqueFd output;
    UniqueFd reader;
};
using Clock = std::chrono::steady_clock;
using SharedProgram = std::shared_ptr<Program>;

// Programs behind the streams of program_popen.
std::mutex streams_mutex;
std::map<FILE*, SharedProgram> streams;

// Passes what the program prints on to its reader, until the output ends or the time has come: whoever else holds the
// output open does not hold up the reader. What the reader does not want any more is thrown away, so that a program
// that prints more than anybody wants runs to its end all the same.
void pass_output_on(Program* program, Clock::time_point end) {
    char bytes[PIPE_BUF];  // a pipe that takes output takes so much without a pause
    std::string_view held;
    while (Clock::now() < end) {
        const bool sending = !held.empty();
        pollfd waiting{sending ? program->reader.get() : program->output.get(), POLLIN, 0};
        waiting.events = sending ? POLLOUT : POLLIN;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (poll(&waiting, 1, static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX))) <= 0) {
            continue;
        }
        const ssize_t moved = sending ? write(program->reader.get(), held.data(), held.size())
                                      : read(program->output.get(), bytes, sizeof(bytes));
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (!sending && moved <= 0) {
            return;
        }
        if (moved < 0) {  // the reader has left
            (void)program->reader.close();
            held = {};
        } else if (sending) {
            held.remove_prefix(static_cast<size_t>(moved));
        } else if (program->reader.ok()) {
            held = {bytes, static_cast<size_t>(moved)};
        }
    }
}

void* watch(void* arg) {
    const std::unique_ptr<SharedProgram> program(static_cast<SharedProgram*>(arg));
    Program& watched = **program;
    sigset_t hang_up;
    sigemptyset(&hang_up);
    sigaddset(&hang_up, SIGPIPE);
    (void)pthread_sigmask(SIG_BLOCK, &hang_up, nullptr);  // a reader that has left shows in the write
    std::unique_lock lock(watched.mutex);
    const auto end = Clock::now() + watched.deadline;
    if (watched.output.ok()) {
        lock.unlock();
        pass_output_on(&watched, end);
        lock.lock();
    }
    if (Clock::now() < end) {
        (void)watched.output.close();
        (void)watched.reader.close();
    }
    if (!watched.ended.wait_until(lock, end, [&watched] { return watched.collected; })) {
        watched.late = true;
        ALOGE("%s: not ended in time, killed\n", watched.name.c_str());
        (void)kill(-watched.pid, SIGKILL);
    }
    (void)watched.reader.close();
    return nullptr;
}

// Starts the watch before the program, so that none runs without. Returns 0 or an error number.
int start_watch(const SharedProgram& program) {
    auto holder = std::make_unique<SharedProgram>(program);
    pthread_attr_t attributes;
    pthread_t thread;
    int error = pthread_attr_init(&attributes);
    if (error == 0) {
        (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        error = pthread_create(&thread, &attributes, watch, holder.get());
        (void)pthread_attr_destroy(&attributes);
    }
    if (error == 0) {
        (void)holder.release();  // the watch frees it
    }
    return error;
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

// A group of its own, and signals as a program expects them, whatever the daemon's threads ignore or block.
int set_attributes(posix_spawnattr_t* attributes, short flags) {
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGXFSZ);
    int error = posix_spawnattr_setsigmask(attributes, &none);
    error = error != 0 ? error : posix_spawnattr_setsigdefault(attributes, &defaults);
    error = error != 0 ? error : posix_spawnattr_setpgroup(attributes, 0);
    return error != 0 ? error : posix_spawnattr_setflags(attributes, flags);
}

// `end` becomes the program's `child_fd` (none when negative). Returns its process, or -1 and errno.
pid_t spawn(const ProgramPlan& plan, int end, int child_fd) {
    std::vector<char*> environment;
    for (const std::string& variable : plan.environment) {
        environment.push_back(const_cast<char*>(variable.c_str()));
    }
    environment.push_back(nullptr);
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(plan.command.c_str()), nullptr};

    SpawnPlan set;
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
    int error = end >= 0 ? posix_spawn_file_actions_adddup2(&set.actions, end, child_fd) : 0;
    error = error != 0 ? error : plan.prepare(&set.actions, &flags);
    error = error != 0 ? error : set_attributes(&set.attributes, flags);
    pid_t child = -1;
    if (error == 0) {
        error = ENOENT;
        for (size_t i = 0; error == ENOENT && i < plan.shells.size(); ++i) {
            error = posix_spawn(&child, plan.shells[i].c_str(), &set.actions, &set.attributes, arguments,
                                plan.environment.empty() ? environ : environment.data());
        }
    }
    errno = error;
    return error == 0 ? child : -1;
}

// Starts a program. Its output reaches `reader`, unless that is null. Null: errno tells.
SharedProgram start(const ProgramPlan& plan, int end, int child_fd, UniqueFd* reader) {
    auto program = std::make_shared<Program>();
    UniqueFd output;
    if (reader != nullptr) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return nullptr;
        }
        program->output = UniqueFd(ends[0]);
        output = UniqueFd(ends[1]);
        program->reader = std::move(*reader);
        end = output.get();
    }
    program->name = plan.name;
    program->deadline = plan.deadline;
    const std::unique_lock lock(program->mutex);
    errno = start_watch(program);
    if (errno != 0) {
        return nullptr;
    }
    program->pid = spawn(plan, end, child_fd);
    program->collected = program->pid < 0;
    return program->collected ? nullptr : program;
}

// Waits for the program's end. Its status; that of a killed one when it was late; -1 when it cannot be had.
int collect(Program* program) {
    siginfo_t end{};
    while (waitid(P_PID, static_cast<id_t>(program->pid), &end, WEXITED | WNOWAIT) == -1 && errno == EINTR) {
    }
    const std::scoped_lock lock(program->mutex);
    int status = 0;
    const pid_t collected = waitpid(program->pid, &status, WNOHANG);
    program->collected = true;
    program->ended.notify_all();
    if (collected != program->pid) {
        return -1;
    }
    return program->late ? SIGKILL : status;
}
}  // namespace

std::string program_name(const std::string& command) {
    for (size_t begin = 0; begin < command.size();) {
        const size_t end = std::min(command.find(' ', begin), command.size());
        std::string word = command.substr(begin, end - begin);
        if (!word.empty() && word.find('=') == std::string::npos) {
            return word;
        }
        begin = end + 1;
    }
    return command;
}

int program_system(const ProgramPlan& plan) {
    const SharedProgram program = start(plan, -1, -1, nullptr);
    return program ? collect(program.get()) : -1;
}

FILE* program_popen(const ProgramPlan& plan, const char* mode) {
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
    UniqueFd theirs(ends[reads ? 1 : 0]);
    UniqueStream stream(fdopen(ours.get(), reads ? "r" : "w"));
    if (stream == nullptr) {
        return nullptr;
    }
    (void)ours.release();
    const std::scoped_lock lock(streams_mutex);
    const auto place = streams.try_emplace(stream.get()).first;  // before the program runs: memory may be short
    place->second = reads ? start(plan, -1, STDOUT_FILENO, &theirs) : start(plan, theirs.get(), STDIN_FILENO, nullptr);
    if (!place->second) {
        const int error = errno;
        streams.erase(place);
        stream.reset();
        errno = error;
        return nullptr;
    }
    return stream.release();
}

int program_pclose(FILE* stream) {
    SharedProgram program;
    {
        const std::scoped_lock lock(streams_mutex);
        const auto found = streams.find(stream);
        if (found == streams.end()) {
            errno = ECHILD;
            return -1;
        }
        program = found->second;
        streams.erase(found);
    }
    (void)fclose(stream);  // the program's end is what is reported
    return collect(program.get());
}
