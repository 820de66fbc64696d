// soak DAEMON ROOT REQUESTS [SEED]: REQUESTS from five clients. Two well-behaved clients send mixed requests and check
// every answer, while two hostile ones send garbage, half frames, floods that they do not read and requests with random
// arguments, and close when they like, and a fifth brings what befalls a phone: programs that do not end, terminals
// that hang up in the middle of a frame, key presses from devices that come and go, keybox handles that nobody closes,
// and crowds of clients beyond the limit on descriptors. ROOT is a simulated phone that nobody else uses. Status 1: an
// answer was missing or wrong, or the daemon has more memory, descriptors or threads than after the warm-up, the first
// tenth of the requests.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/server.h"
#include "platform/host/hdlc.h"

namespace {

namespace fs = std::filesystem;

constexpr long kGrowthKiB = 512;  // what the allocator may add after the warm-up
constexpr rlim_t kDescriptors = 256;

std::atomic<unsigned long> sent{0};
std::atomic<unsigned long> answered{0};  // of the well-behaved clients'
std::atomic<bool> failed{false};

// The hostile ones send without waiting: a part of the requests has to be the others'.
bool more_to_do(unsigned long until) { return (sent < until || answered < until / 50) && !failed; }

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
Bytes text(const std::string& characters) { return Bytes(characters.begin(), characters.end()) + Bytes{0}; }
Bytes framed(const Bytes& packet) {
    Bytes frame;
    hdlc_encode(packet.data(), packet.size(), &frame);
    return frame;
}
Bytes ftm(const std::string& name, const Bytes& arguments = {}) {
    return Bytes{75, 11, 0xFF, 0x7F} + text(name) + arguments;
}
Bytes ftm_answer(const Bytes& message) { return Bytes{75, 11, 0xFF, 0x7F, 0} + message; }

struct Exchange {
    Bytes request;
    Bytes begins;  // how its answer begins
};

// The next request of client `who`, which alone writes its own record.
Exchange next_exchange(std::mt19937& random, unsigned who, unsigned long turn) {
    const std::string digits = std::to_string(turn);
    const Bytes name = text("soak." + std::to_string(who));
    const Bytes value = Bytes{static_cast<uint8_t>(digits.size())} + Bytes(digits.begin(), digits.end());
    switch (random() % 8) {
        case 0:
            return {ftm("WriteVC", name + value), ftm_answer({})};
        case 1:
            return {Bytes{75, 253, 4, 0, 24, 0, 0, 0, 1, 0, 5} + Bytes{'c', 'o', 'l', 'o', 'r', 7} +
                        Bytes{'o', 'r', 'a', 'n', 'g', 'e', '1'},
                    {75, 253, 4, 0, 0, 0, 0, 0}};
        case 2:
            return {Bytes{75, 253, 3, 0, 16, 0, 0, 0, 1, 0, 5, 'c', 'o', 'l', 'o', 'r'}, {75, 253, 3, 0}};
        case 3:
            return {ftm("ReadWifimac"), ftm_answer({0, 0x11, 0x22, 0xAA, 0xBB, 0xCC})};
        case 4:
            return {{0}, {0}};
        case 5:
            return {{0x63, static_cast<uint8_t>(turn)}, {19, 0x63, static_cast<uint8_t>(turn)}};
        case 6:
            return {ftm("NoSuchCommand"), {75, 11, 0xFF, 0x7F, 0xFF}};
        default:
            return {Bytes{75, 253, 20, 0}, {75, 253, 20, 0}};
    }
}

// Reads one packet. Empty: none came in twenty seconds, or something that is none.
Bytes read_packet(int fd) {
    HdlcDecoder decoder;
    HdlcEvent event = HdlcEvent::kNone;
    while (event == HdlcEvent::kNone) {
        pollfd ready{fd, POLLIN, 0};
        uint8_t byte = 0;
        if (poll(&ready, 1, 20000) != 1 || read(fd, &byte, 1) != 1) {
            return {};
        }
        (void)hdlc_decode(&decoder, &byte, 1, &event);
    }
    size_t size = 0;
    const uint8_t* packet = event == HdlcEvent::kPacket ? hdlc_packet(decoder, &size) : nullptr;
    return {packet, packet + size};
}

void good_client(const Server& server, unsigned who, unsigned long until, unsigned seed) {
    std::mt19937 random(seed);
    const int fd = connect_to(server.path);
    for (unsigned long turn = 0; more_to_do(until); ++turn) {
        const Exchange wanted = next_exchange(random, who, turn);
        const Bytes frame = framed(wanted.request);
        (void)!write(fd, frame.data(), frame.size());
        const Bytes answer = read_packet(fd);
        if (answer.size() < wanted.begins.size() ||
            !std::equal(wanted.begins.begin(), wanted.begins.end(), answer.begin())) {
            (void)fprintf(stderr, "client %u, request %lu (%02x %02x %02x): answer of %zu bytes\n", who, turn,
                          wanted.request[0], wanted.request.size() > 1 ? wanted.request[1] : 0,
                          wanted.request.size() > 2 ? wanted.request[2] : 0, answer.size());
            failed = true;
        }
        ++sent;
        ++answered;
    }
    (void)close(fd);
}

Bytes random_bytes(std::mt19937& random, size_t most) {
    Bytes bytes(random() % (most + 1));
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<uint8_t>(random()); });
    return bytes;
}

// A request with random arguments of a command that neither takes the phone down, nor loses a record, nor keeps devices
// open from then on, as the key test does.
Bytes odd_request(std::mt19937& random) {
    const Bytes heads[] = {{75, 253, 3, 0},  {75, 253, 4, 0}, {75, 253, 20, 0},      {75, 253, 26, 0},
                           {75, 253, 2, 0},  ftm("ReadVC"),   ftm("WriteUDID"),      ftm("ReadBoardNum"),
                           ftm("ReadBTmac"), ftm("StartKPH"), ftm("WriteSWVersion"), ftm("GetDeviceModel")};
    return heads[random() % std::size(heads)] + random_bytes(random, 300);
}

// What one connection of a hostile client sends; what comes back is read seldom.
void misbehave(int fd, std::mt19937& random) {
    const unsigned long count = 1 + random() % 400;
    const auto manner = static_cast<unsigned>(random() % 5);
    for (unsigned long i = 0; i < count && !failed; ++i) {
        Bytes bytes = manner == 0 ? random_bytes(random, 2000) : framed(odd_request(random));
        if (manner == 1) {
            bytes[random() % bytes.size()] ^= static_cast<uint8_t>(1U << random() % 8);
        }
        if (manner == 2) {
            bytes.resize(bytes.size() / 2);
        }
        // A flood that nobody reads fills the socket: then this one goes.
        if (send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
            return;
        }
        ++sent;
        uint8_t answer[512];
        if (manner == 3) {
            (void)!recv(fd, answer, sizeof(answer), MSG_DONTWAIT);
        }
        if (manner == 4) {
            (void)!recv(fd, answer, 1, MSG_DONTWAIT);
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
        }
    }
}

void hostile_client(const Server& server, unsigned long until, unsigned seed) {
    std::mt19937 random(seed);
    while (more_to_do(until)) {
        const int fd = connect_to(server.path);
        misbehave(fd, random);
        (void)close(fd);
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
    }
}

// What befalls a phone. Each leaves the daemon as it found it.

// The command's program holds on to its output and does not end, nor does what it leaves behind.
void hang_a_program(const Server& server) {
    const int fd = connect_to(server.path);
    exchange(fd, framed(ftm("GetMd5ofCSR")));
    (void)close(fd);
}

void hang_up_a_terminal(const std::string& root, std::mt19937& random) {
    const int fd = open((root + "/.sim/pty").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    Bytes frames = framed(odd_request(random)) + framed(odd_request(random));
    frames.resize(frames.size() - random() % 20);
    (void)!write(fd, frames.data(), frames.size());
    (void)close(fd);
}

void press_keys(const Server& server, const std::string& root, std::mt19937& random) {
    const int fd = connect_to(server.path);
    exchange(fd, framed({75, 205, 26, 0, 1}));
    const int device = open((root + "/dev/input/event0").c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    const Bytes events = random_bytes(random, 240);  // whole ones and torn ones
    (void)!write(device, events.data(), events.size());
    (void)close(device);
    exchange(fd, framed({75, 205, 164, 0}));
    (void)close(fd);
}

// More than are to be had; then the tool remembers them.
void keep_keybox_handles(const Server& server) {
    constexpr int kWanted = 40;
    constexpr int kMost = 16;
    const int fd = connect_to(server.path);
    std::vector<Bytes> handles;
    for (int i = 0; i < kWanted; ++i) {
        const Bytes frame = framed({75, 253, 24, 0, 1, 0, 0, 0});
        (void)!write(fd, frame.data(), frame.size());
        const Bytes answer = read_packet(fd);
        if (answer.size() == 12 && answer[8] == 0) {
            handles.emplace_back(answer.begin() + 4, answer.begin() + 8);
        }
    }
    failed = failed || handles.size() != kMost;
    for (const Bytes& handle : handles) {
        exchange(fd, framed(Bytes{75, 253, 25, 0} + handle));
    }
    (void)close(fd);
}

void crowd(const Server& server) {
    std::vector<int> clients(kDescriptors);
    std::generate(clients.begin(), clients.end(), [&server] {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        (void)server.path.copy(name.sun_path, sizeof(name.sun_path) - 1);
        (void)connect(fd, reinterpret_cast<sockaddr*>(&name), sizeof(name));  // a full queue refuses the rest
        return fd;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::for_each(clients.begin(), clients.end(), [](int fd) { (void)close(fd); });
}

void bad_days(const Server& server, const std::string& root, unsigned long until, unsigned seed) {
    std::mt19937 random(seed);
    hang_a_program(server);
    do {
        hang_up_a_terminal(root, random);
        press_keys(server, root, random);
        keep_keybox_handles(server);
        crowd(server);
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 100));
    } while (more_to_do(until));
}

// The phone's own part in it.
void spoil_the_phone(const std::string& root) {
    std::ofstream(root + "/mnt/vendor/persist/keybox/csr.json") << "{}";
    std::ofstream(root + "/vendor/bin/md5sum", std::ios::trunc) << "#!/bin/sh\nsleep 1000 & sleep 1000\n";
    const std::string listen = "unix:" + root + "/.sim/diag,pty:" + root + "/.sim/pty";
    (void)setenv("VENDORDIAG_LISTEN", listen.c_str(), 1);
}

struct Size {
    long memory_kib = 0;
    long threads = 0;
    long descriptors = 0;
};

Size size_of(pid_t pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    Size size;
    std::ifstream status(folder + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            status >> size.memory_kib;
        } else if (word == "Threads:") {
            status >> size.threads;
        }
    }
    size.descriptors = std::distance(fs::directory_iterator(folder + "/fd"), fs::directory_iterator());
    return size;
}

// All five clients until `until` requests have been sent; then waits for the daemon to come to rest.
void run(const Server& server, const std::string& root, unsigned long until, unsigned seed) {
    std::thread clients[] = {
        std::thread(bad_days, server, root, until, seed + 4), std::thread(hostile_client, server, until, seed),
        std::thread(hostile_client, server, until, seed + 1), std::thread(good_client, server, 1, until, seed + 2),
        std::thread(good_client, server, 2, until, seed + 3)};
    std::for_each(std::begin(clients), std::end(clients), [](std::thread& client) { client.join(); });
    const int fd = connect_to(server.path);
    exchange(fd, framed({0}));
    (void)close(fd);
    // What the hostile ones had sent whole is still served.
    long descriptors = 0;
    for (Size now = size_of(server.pid); now.descriptors != descriptors; now = size_of(server.pid)) {
        descriptors = now.descriptors;
        std::this_thread::sleep_for(std::chrono::seconds(2));
    }
}

Size report(const char* when, const Server& server) {
    const Size size = size_of(server.pid);
    printf("%-12s %9lu requests sent, %lu of them answered and right, %ld KiB, %ld threads, %ld descriptors\n", when,
           sent.load(), answered.load(), size.memory_kib, size.threads, size.descriptors);
    (void)fflush(stdout);
    return size;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        (void)fprintf(stderr, "usage: soak DAEMON ROOT REQUESTS [SEED]\n");
        return 2;
    }
    const unsigned long requests = strtoul(argv[3], nullptr, 10);
    const auto seed = static_cast<unsigned>(argc > 4 ? strtoul(argv[4], nullptr, 10) : std::random_device()());
    printf("seed %u\n", seed);
    (void)setenv("VENDORDIAG_ROOT", argv[2], 1);
    (void)setenv("VENDORDIAG_TIME_SCALE", "0", 1);
    spoil_the_phone(argv[2]);
    rlimit own{};
    (void)getrlimit(RLIMIT_NOFILE, &own);
    const rlimit small = {kDescriptors, own.rlim_max};
    (void)setrlimit(RLIMIT_NOFILE, &small);  // of the daemon, which lets clients have half of them
    const Server server = start({argv[1]}, std::string(argv[2]) + "/.sim/diag");
    (void)setrlimit(RLIMIT_NOFILE, &own);
    run(server, argv[2], requests / 10, seed);
    const Size warm = report("warm", server);
    run(server, argv[2], requests, seed + 10);
    const Size end = report("at the end", server);
    stop(server);
    const bool grown = end.memory_kib > warm.memory_kib + kGrowthKiB || end.threads > warm.threads ||
                       end.descriptors > warm.descriptors;
    printf("%s\n", failed ? "a good request was not answered" : grown ? "the daemon has grown" : "nothing has grown");
    return failed || grown ? 1 : 0;
}
