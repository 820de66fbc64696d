// load_bench DAEMON PEER LINKED_PEER DEVICE_TREE: whole processes under load, the daemon against a peer that only
// echoes; LINKED_PEER is the same peer, linked with the daemon's libraries. Every figure is the best of several runs
// that take turns, so that a busy machine hits both alike.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/server.h"
#include "ftm/ftm_command.h"
#include "platform/host/hdlc.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kRuns = 9;
constexpr int kExchanges = 3000;
constexpr int kStarts = 20;
constexpr size_t kWindow = 64;  // requests under way when pipelined

// Microseconds per exchange and client, of `clients` that each wait for every answer.
double round_trip(const Server& server, const Bytes& request, unsigned clients) {
    std::vector<int> fds;
    for (unsigned i = 0; i < clients; ++i) {
        fds.push_back(connect_to(server.path));
        exchange(fds.back(), request);
    }
    const auto begin = Clock::now();
    std::vector<std::thread> threads;
    threads.reserve(fds.size());
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

// Milliseconds from starting a process to its first answer.
double first_answer(const std::vector<std::string>& command, const std::string& path, const Bytes& request) {
    fs::remove(path);
    const auto begin = Clock::now();
    const Server server = start(command, path);
    const int fd = connect_to(path);
    exchange(fd, request);
    const std::chrono::duration<double, std::milli> passed = Clock::now() - begin;
    (void)close(fd);
    stop(server);
    return passed.count();
}

// Nanoseconds to find the last row of each map, as the dispatchers do: they pass over every row.
double worst_lookup() {
    constexpr int kRepeats = 20000;
    const std::string main_name = ftm_diag_req_cmd_map[kFtmMainMapSize - 1].cmd;
    const std::string ext_name = ftm_diag_req_ext_cmd_map[kFtmExtMapSize - 1].cmd;
    volatile int found = 0;
    const auto begin = Clock::now();
    for (int i = 0; i < kRepeats; ++i) {
        for (const FtmCommandEntry& row : ftm_diag_req_cmd_map) {
            found = found + (strcasecmp(row.cmd, main_name.c_str()) == 0 ? 1 : 0);
        }
        for (const FtmExtCommandEntry& row : ftm_diag_req_ext_cmd_map) {
            found = found + (strncasecmp(row.cmd, ext_name.c_str(), strlen(row.cmd)) == 0 ? 1 : 0);
        }
    }
    const std::chrono::duration<double, std::nano> passed = Clock::now() - begin;
    return found >= 2 * kRepeats ? passed.count() / kRepeats : 0;
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

// Start to first answer of the daemon and of a program with the same libraries that only echoes.
Pair best_start(const std::vector<std::string>& daemon, const std::string& daemon_path,
                const std::vector<std::string>& peer, const std::string& peer_path, const Bytes& request) {
    Pair result{1e9, 1e9};
    for (int run = 0; run < kStarts; ++run) {
        result.daemon = std::min(result.daemon, first_answer(daemon, daemon_path, request));
        result.peer = std::min(result.peer, first_answer(peer, peer_path, request));
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
    double round_trip_ns = 0;
    for (const auto& request : requests) {
        Bytes frame;
        hdlc_encode(request.packet.data(), request.packet.size(), &frame);
        const std::string name = request.name;
        for (const unsigned clients : {1U, 4U}) {
            const Pair pair = best([&](const Server& s) { return round_trip(s, frame, clients); }, daemon, peer, false);
            print("round trip, " + name + ", clients: " + std::to_string(clients), "us ", pair);
            round_trip_ns = clients == 1 ? pair.daemon * 1000 : round_trip_ns;
        }
        const auto flood = [&](const Server& s) { return pipelined(s, frame); };
        print("pipelined, " + name + ", frame echo", "1/s", best(flood, daemon, peer, true));
        print("pipelined, " + name + ", byte echo", "1/s", best(flood, daemon, byte_peer, true));
    }
    const double lookup = worst_lookup();
    (void)printf("%-44s %10.0f %10.0f ns    %.2f percent of a round trip\n", "look-up by name, last row of both maps",
                 lookup, round_trip_ns, 100 * lookup / round_trip_ns);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        (void)fprintf(stderr, "usage: %s DAEMON PEER LINKED_PEER DEVICE_TREE\n", argv[0]);
        return 2;
    }
    std::string directory = (fs::temp_directory_path() / "bench-load-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        perror(directory.c_str());
        return 1;
    }
    const std::string root = directory + "/phone";
    fs::copy(argv[4], root, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    (void)setenv("VENDORDIAG_ROOT", root.c_str(), 1);
    (void)unsetenv("VENDORDIAG_LISTEN");
    (void)printf("%-44s %10s %10s\n", "", "daemon", "peer");
    Bytes frame;
    const Bytes version = {0};
    hdlc_encode(version.data(), version.size(), &frame);
    print("start to first answer", "ms ",
          best_start({argv[1]}, root + "/.sim/diag", {argv[3], directory + "/linked"}, directory + "/linked", frame));
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
