// load_bench DAEMON PEER DEVICE_TREE: whole processes under load, the daemon against a peer that only echoes. Every
// figure is the best of several runs that take turns, so that a busy machine hits both alike.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/host/address.h"
#include "platform/host/hdlc.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;

constexpr int kRuns = 9;
constexpr int kExchanges = 3000;
constexpr size_t kWindow = 64;  // requests under way when pipelined

struct Server {
    std::string path;
    pid_t pid = -1;
};

int connect_to(const std::string& path) {
    sockaddr_un name{};
    UniqueFd directory;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (address_unix_name(path, &name, &directory) &&
            connect(fd, static_cast<sockaddr*>(static_cast<void*>(&name)), sizeof(name)) == 0) {
            return fd;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    (void)fprintf(stderr, "nobody listens on %s\n", path.c_str());
    exit(1);
}

Server start(std::vector<std::string> command, const std::string& path) {
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    (void)posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> words;
    std::transform(command.begin(), command.end(), std::back_inserter(words),
                   [](std::string& word) { return word.data(); });
    words.push_back(nullptr);
    Server server{path};
    if (posix_spawn(&server.pid, words[0], &actions, nullptr, words.data(), environ) != 0) {
        perror(words[0]);
        exit(1);
    }
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)close(connect_to(path));
    return server;
}

void stop(const Server& server) {
    (void)kill(server.pid, SIGKILL);
    (void)waitpid(server.pid, nullptr, 0);
}

// Reads until `count` frames have ended.
void read_frames(int fd, size_t count) {
    uint8_t buffer[65536];
    while (count > 0) {
        const ssize_t size = read(fd, buffer, sizeof(buffer));
        if (size <= 0) {
            (void)fprintf(stderr, "the connection ended\n");
            exit(1);
        }
        count -= std::min<size_t>(count, static_cast<size_t>(std::count(buffer, buffer + size, 0x7E)));
    }
}

void exchange(int fd, const Bytes& request) {
    if (write(fd, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
        read_frames(fd, 1);
    }
}

// Microseconds per exchange and client, of `clients` that each wait for every answer.
double round_trip(const Server& server, const Bytes& request, unsigned clients) {
    std::vector<int> fds;
    for (unsigned i = 0; i < clients; ++i) {
        fds.push_back(connect_to(server.path));
        exchange(fds.back(), request);
    }
    const auto begin = Clock::now();
    std::vector<std::thread> threads;
    for (const int fd : fds) {
        threads.emplace_back([fd, &request] {
            for (int i = 0; i < kExchanges; ++i) {
                exchange(fd, request);
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    const std::chrono::duration<double, std::micro> passed = Clock::now() - begin;
    std::for_each(fds.begin(), fds.end(), close);
    return passed.count() / kExchanges;
}

// Requests per second with `kWindow` of them under way.
double pipelined(const Server& server, const Bytes& request) {
    const int fd = connect_to(server.path);
    Bytes window;
    for (size_t i = 0; i < kWindow; ++i) {
        window.insert(window.end(), request.begin(), request.end());
    }
    const auto begin = Clock::now();
    for (size_t done = 0; done < kExchanges; done += kWindow) {
        if (write(fd, window.data(), window.size()) == static_cast<ssize_t>(window.size())) {
            read_frames(fd, kWindow);
        }
    }
    const std::chrono::duration<double> passed = Clock::now() - begin;
    (void)close(fd);
    return kExchanges / passed.count();
}

struct Pair {
    double daemon;
    double peer;
};

Pair best(const std::function<double(const Server&)>& measure, const Server& daemon, const Server& peer, bool highest) {
    Pair result{measure(daemon), measure(peer)};
    for (int run = 1; run < kRuns; ++run) {
        const Pair next{measure(daemon), measure(peer)};
        result.daemon = highest ? std::max(result.daemon, next.daemon) : std::min(result.daemon, next.daemon);
        result.peer = highest ? std::max(result.peer, next.peer) : std::min(result.peer, next.peer);
    }
    return result;
}

void print(const std::string& work, const char* unit, Pair pair) {
    (void)printf("%-44s %10.2f %10.2f %s   ratio %.2f\n", work.c_str(), pair.daemon, pair.peer, unit,
                 pair.daemon / pair.peer);
    (void)fflush(stdout);
}

void measure_all(const Server& daemon, const Server& peer, const Server& byte_peer) {
    struct {
        const char* name;
        Bytes packet;
    } const requests[] = {
        {"unlisted command", {0x63, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
        {"version number", {0}},
    };
    (void)printf("%-44s %10s %10s\n", "", "daemon", "peer");
    for (const auto& request : requests) {
        Bytes frame;
        hdlc_encode(request.packet.data(), request.packet.size(), &frame);
        const std::string name = request.name;
        for (const unsigned clients : {1U, 4U}) {
            print("round trip, " + name + ", clients: " + std::to_string(clients), "us ",
                  best([&](const Server& s) { return round_trip(s, frame, clients); }, daemon, peer, false));
        }
        const auto flood = [&](const Server& s) { return pipelined(s, frame); };
        print("pipelined, " + name + ", frame echo", "1/s", best(flood, daemon, peer, true));
        print("pipelined, " + name + ", byte echo", "1/s", best(flood, daemon, byte_peer, true));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        (void)fprintf(stderr, "usage: %s DAEMON PEER DEVICE_TREE\n", argv[0]);
        return 2;
    }
    std::string directory = (fs::temp_directory_path() / "bench-load-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        perror(directory.c_str());
        return 1;
    }
    const std::string root = directory + "/phone";
    fs::copy(argv[3], root, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    (void)setenv("VENDORDIAG_ROOT", root.c_str(), 1);
    (void)unsetenv("VENDORDIAG_LISTEN");
    const Server daemon = start({argv[1]}, root + "/.sim/diag");
    const Server peer = start({argv[2], directory + "/frames", "frames"}, directory + "/frames");
    const Server byte_peer = start({argv[2], directory + "/bytes"}, directory + "/bytes");
    measure_all(daemon, peer, byte_peer);
    for (const Server& server : {daemon, peer, byte_peer}) {
        stop(server);
    }
    fs::remove_all(directory);
    return 0;
}
