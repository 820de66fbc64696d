// Kills the daemon at random moments while it writes its stores, and looks what it finds afterwards: each store must
// hold what was written last or what was being written.
//     crash_test DAEMON ROOT KILLS [SEED]
// ROOT is a simulated phone that nobody else uses. Status 1: a store held something else.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/host/hdlc.h"

namespace {
using Bytes = std::vector<uint8_t>;
using std::chrono::microseconds;
constexpr unsigned kMaxLifeMicroseconds = 20000;  // of a daemon, from its first answers on
constexpr unsigned kSilenceSeconds = 20;          // a daemon that does not answer for so long hangs

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
Bytes text(const std::string& characters) { return {characters.begin(), characters.end()}; }
Bytes counted(const std::string& characters) {
    return Bytes{static_cast<uint8_t>(characters.size())} + text(characters);
}
Bytes u32(size_t value) {
    Bytes bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
    return bytes;
}

// What generation `n` of a store holds: its length changes too, so that a mixture is seen.
std::string value(unsigned n, size_t longest) {
    return std::to_string(n) + ":" + std::string(n % (longest - 12), static_cast<char>('a' + n % 26));
}
Bytes mac(unsigned n) { return Bytes{0x02} + u32(n) + Bytes{static_cast<uint8_t>(n % 251)}; }

Bytes ftm(const std::string& name, const Bytes& arguments = {}) {
    return Bytes{75, 11, 0xFF, 0x7F} + text(name) + Bytes{0} + arguments;
}
Bytes ftm_answer(const Bytes& message) { return Bytes{75, 11, 0xFF, 0x7F, 0} + message; }
Bytes named(const std::string& name, const std::string& content) { return text(name) + Bytes{0} + counted(content); }
Bytes info_groups(unsigned n) {
    return Bytes{2, 0} + counted("operator") + counted(value(n, 200)) + counted("color") + counted(value(n, 60));
}

struct Store {
    const char* name;
    Bytes (*write)(unsigned n);
    Bytes read;
    Bytes (*answer)(unsigned n);  // how the answer to `read` begins when generation `n` is stored
    bool written_once = false;
    unsigned stored = 0;   // the last generation that was acknowledged or found
    unsigned written = 0;  // the last one that was asked for
};

Store stores[] = {
    {"information store",
     [](unsigned n) {
         return Bytes{75, 253, 4, 0} + u32(8 + info_groups(n).size()) + info_groups(n);
     },
     Bytes{75, 253, 3, 0} + u32(25) + Bytes{2, 0} + counted("operator") + counted("color"),
     [](unsigned n) {
         return Bytes{75, 253, 3, 0} + u32(0) + u32(12 + info_groups(n).size()) + info_groups(n);
     }},
    {"configuration record", [](unsigned n) { return ftm("WriteVC", named("crash.test", value(n, 32))); },
     ftm("ReadVC", named("crash.test", "")), [](unsigned n) { return ftm_answer(named("crash.test", value(n, 32))); }},
    {"configuration record of the other area",
     [](unsigned n) { return ftm("WriteVC", named("auth_type", value(n, 32))); }, ftm("ReadVC", named("auth_type", "")),
     [](unsigned n) { return ftm_answer(named("auth_type", value(n, 32))); }},
    {"configuration record that nobody writes again",
     [](unsigned n) { return ftm("WriteVC", named("serialno", value(n, 32))); }, ftm("ReadVC", named("serialno", "")),
     [](unsigned n) { return ftm_answer(named("serialno", value(n, 32))); }, true},
    {"Wi-Fi address", [](unsigned n) { return ftm("WriteWifimac", mac(n)); }, ftm("ReadWifimac"),
     [](unsigned n) { return ftm_answer(mac(n)); }},
    {"Bluetooth address", [](unsigned n) { return ftm("WriteBTmac", mac(n)); }, ftm("ReadBTmac"),
     [](unsigned n) { return ftm_answer(mac(n)); }},
};

[[noreturn]] void fail(const std::string& what) {
    (void)fprintf(stderr, "crash_test: %s\n", what.c_str());
    exit(1);
}

// A running daemon and a connection to it.
class Daemon {
   public:
    Daemon(const char* program, const std::string& root) {
        const std::string setting = "VENDORDIAG_ROOT=" + root;
        std::string words[] = {program, setting};
        char* const arguments[] = {words[0].data(), nullptr};
        char* const environment[] = {words[1].data(), nullptr};
        posix_spawn_file_actions_t quiet;
        posix_spawn_file_actions_init(&quiet);
        posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        if (posix_spawn(&pid_, program, &quiet, nullptr, arguments, environment) != 0) {
            fail(std::string("cannot start ") + program);
        }
        posix_spawn_file_actions_destroy(&quiet);
        connect_to(root + "/.sim/diag");
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon() {
        kill();
        (void)waitpid(pid_, nullptr, 0);
        (void)close(socket_);
    }

    void kill() const { (void)::kill(pid_, SIGKILL); }

    // The answer to a request; empty when the daemon is gone.
    Bytes ask(const Bytes& request) {
        Bytes frame;
        hdlc_encode(request.data(), request.size(), &frame);
        if (send(socket_, frame.data(), frame.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(frame.size())) {
            return {};
        }
        HdlcDecoder decoder;
        for (;;) {
            uint8_t bytes[8192];
            const ssize_t count = recv(socket_, bytes, sizeof(bytes), 0);
            if (count < 0 && errno == EAGAIN) {
                fail("the daemon does not answer");
            }
            HdlcEvent event = HdlcEvent::kNone;
            for (size_t eaten = 0; count > 0 && eaten < static_cast<size_t>(count);) {
                eaten += hdlc_decode(&decoder, bytes + eaten, static_cast<size_t>(count) - eaten, &event);
            }
            if (count <= 0 || event != HdlcEvent::kNone) {
                size_t size = 0;
                const uint8_t* const packet = event == HdlcEvent::kPacket ? hdlc_packet(decoder, &size) : nullptr;
                return {packet, packet + size};
            }
        }
    }

   private:
    void connect_to(const std::string& path) {
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof(address.sun_path)) {
            fail("the root's name is too long");
        }
        std::copy(path.begin(), path.end(), address.sun_path);
        socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const struct timeval silence = {kSilenceSeconds, 0};
        (void)setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof(silence));
        for (int tries = 0; tries < 20000; ++tries) {
            if (connect(socket_, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) == 0) {
                return;
            }
            std::this_thread::sleep_for(microseconds(1000));
        }
        fail("the daemon does not listen");
    }

    pid_t pid_ = -1;
    int socket_ = -1;
};

bool stores_generation(const Store& store, const Bytes& answer, unsigned n) {
    const Bytes expected = store.answer(n);
    return answer.size() >= expected.size() && std::equal(expected.begin(), expected.end(), answer.begin());
}

// True when a generation that was never acknowledged is the one that is stored.
bool check(Daemon& daemon, Store& store) {
    const Bytes answer = daemon.ask(store.read);
    const bool is_new = stores_generation(store, answer, store.written);
    if (!is_new && !stores_generation(store, answer, store.stored)) {
        std::string bytes;
        for (size_t i = 0; i < answer.size() && i < 64; ++i) {
            char digits[4];
            (void)snprintf(digits, sizeof(digits), "%02x ", answer[i]);
            bytes += digits;
        }
        fail(std::string("the ") + store.name + " holds neither generation " + std::to_string(store.stored) + " nor " +
             std::to_string(store.written) + ": " + bytes);
    }
    const bool unacknowledged = is_new && store.written != store.stored;
    store.stored = store.written = is_new ? store.written : store.stored;
    return unacknowledged;
}

// Writes the store's next generation. False when the daemon died of it.
bool write_next(Daemon& daemon, Store& store) {
    static unsigned generation = 0;
    store.written = ++generation;
    const Bytes answer = daemon.ask(store.write(store.written));
    if (answer.empty()) {
        return false;
    }
    if (answer.size() < 5 || answer[4] != 0) {
        fail(std::string("the ") + store.name + " cannot be written");
    }
    store.stored = store.written;
    return true;
}

// One life of a daemon: looks at every store, then writes until it is killed. Counts the writes that were cut short and
// had done their work.
void live_and_die(Daemon& daemon, unsigned microseconds_to_live, unsigned* done_in_silence) {
    for (Store& store : stores) {
        *done_in_silence += check(daemon, store) ? 1U : 0U;
    }
    std::thread killer([&daemon, microseconds_to_live] {
        std::this_thread::sleep_for(microseconds(microseconds_to_live));
        daemon.kill();
    });
    bool alive = true;
    while (alive) {
        for (size_t i = 0; alive && i < std::size(stores); ++i) {
            alive = stores[i].written_once || write_next(daemon, stores[i]);
        }
    }
    killer.join();
}
}  // namespace

int main(int count, char** words) {
    if (count < 4) {
        (void)fprintf(stderr, "usage: crash_test DAEMON ROOT KILLS [SEED]\n");
        return 2;
    }
    const unsigned long kills = strtoul(words[3], nullptr, 10);
    const unsigned seed = count > 4 ? static_cast<unsigned>(strtoul(words[4], nullptr, 10)) : std::random_device()();
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);
    printf("seed %u\n", seed);
    std::mt19937 random(seed);
    {
        Daemon daemon(words[1], words[2]);
        for (Store& store : stores) {
            (void)write_next(daemon, store);
        }
    }
    unsigned done_in_silence = 0;
    for (unsigned long i = 0; i < kills; ++i) {
        Daemon daemon(words[1], words[2]);
        live_and_die(daemon, static_cast<unsigned>(random() % kMaxLifeMicroseconds), &done_in_silence);
    }
    printf("%lu kills, %u unanswered writes found done, no store lost\n", kills, done_in_silence);
    return 0;
}
