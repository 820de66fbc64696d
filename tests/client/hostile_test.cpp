// Requests to a peer that answers late, twice, one request behind, in part, not at all, or with what another request
// would get, in the order of the requests, over every transport: each value that the client takes for an answer must be
// that of its own request.
//     VDIAG_HOSTILE_REQUESTS   how many for each transport (a short run without)
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>
#include <thread>

#include "platform/host/hdlc.h"
#include "platform/include/handles.h"
#include "tests/client/peer.h"
#include "tools/vdiag/wire/session.h"

namespace {

using Clock = std::chrono::steady_clock;
using vdiag::hex_text;

constexpr int kTimeoutMs = 4;

enum class Transport { kUnix, kTcp, kTty };

// A relay in front of a phone: what it has to send goes to whoever is connected by then, in order.
class HostilePeer {
   public:
    HostilePeer(Transport transport, unsigned seed) : random_(seed) {
        (void)signal(SIGPIPE, SIG_IGN);  // a client that gave up has closed its end
        transport == Transport::kTty ? open_tty() : open_socket(transport);
        thread_ = std::thread([this] { run(); });
    }
    ~HostilePeer() {
        stopping_ = true;
        thread_.join();
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }
    HostilePeer(const HostilePeer&) = delete;
    HostilePeer& operator=(const HostilePeer&) = delete;
    const std::string& address() const { return address_; }

   private:
    struct Pending {
        Clock::time_point due;
        Bytes wire;
    };

    void open_tty() {
        int master = -1;
        int slave = -1;
        char name[64];
        ASSERT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
        client_ = UniqueFd(master);
        kept_ = UniqueFd(slave);
        (void)fcntl(master, F_SETFL, O_NONBLOCK);
        const std::string stale = "stale\r\n";  // in cooked mode; the client must set the line raw
        ASSERT_EQ(write(master, stale.data(), stale.size()), static_cast<ssize_t>(stale.size()));
        address_ = std::string("tty:") + name;
    }
    void open_socket(Transport transport) {
        sockaddr_storage address{};
        socklen_t size = sizeof(sockaddr_un);
        if (transport == Transport::kUnix) {
            auto* local = reinterpret_cast<sockaddr_un*>(&address);
            local->sun_family = AF_UNIX;
            path_ = (std::filesystem::temp_directory_path() / ("vdiag-hostile-" + std::to_string(getpid()))).string();
            path_.copy(local->sun_path, sizeof(local->sun_path) - 1);
            address_ = "unix:" + path_;
        } else {
            auto* net = reinterpret_cast<sockaddr_in*>(&address);
            net->sin_family = AF_INET;
            net->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            size = sizeof(sockaddr_in);
        }
        listener_ = UniqueFd(socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        ASSERT_EQ(listen(listener_.get(), 8), 0);
        if (transport == Transport::kTcp) {
            ASSERT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
            address_ = "tcp:localhost:" + std::to_string(ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port));
        }
    }

    void run() {
        while (!stopping_) {
            const auto left = pending_.empty() ? std::chrono::milliseconds(20) : until(pending_.front().due);
            pollfd entries[] = {{listener_.get(), POLLIN, 0}, {client_.get(), POLLIN, 0}};
            (void)poll(entries, 2, static_cast<int>(left.count()));
            if ((entries[0].revents & POLLIN) != 0) {
                client_ = UniqueFd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
                decoder_ = HdlcDecoder();
            } else if ((entries[1].revents & POLLIN) != 0) {
                receive();
            }
            for (; !pending_.empty() && pending_.front().due <= Clock::now(); pending_.pop_front()) {
                send_wire(pending_.front().wire);
            }
        }
    }
    // A client that has just left is no reason to end.
    void send_wire(const Bytes& wire) const {
        (void)!(listener_.ok() ? send(client_.get(), wire.data(), wire.size(), MSG_NOSIGNAL)
                               : write(client_.get(), wire.data(), wire.size()));
    }
    static std::chrono::milliseconds until(Clock::time_point due) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
        return std::max(left, std::chrono::milliseconds(0));
    }
    void receive() {
        Bytes input(4096);
        const ssize_t got = read(client_.get(), input.data(), input.size());
        if (got <= 0 && listener_.ok()) {
            (void)client_.close();
        }
        for (size_t used = 0; got > 0 && used < static_cast<size_t>(got);) {
            HdlcEvent event = HdlcEvent::kNone;
            used += hdlc_decode(&decoder_, input.data() + used, static_cast<size_t>(got) - used, &event);
            if (event == HdlcEvent::kPacket) {
                size_t size = 0;
                const uint8_t* packet = hdlc_packet(decoder_, &size);
                misbehave(is_mark(packet, size) ? mark_echo(packet, size) : good_answer(packet, size));
            }
        }
    }
    // The value is the name that was asked for; nothing else tells one answer from another.
    static Bytes good_answer(const uint8_t* packet, size_t size) {
        constexpr size_t kHead = 11;  // head and "ReadVC"
        Bytes answer = {75, 11, 255, 127, 0, 0};
        answer.push_back(static_cast<uint8_t>(size - kHead - 1));
        answer.insert(answer.end(), packet + kHead, packet + size - 1);
        answer.resize(300);
        return frame(answer);
    }
    unsigned chance(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(random_); }

    void misbehave(Bytes wire) {
        const unsigned what = chance(16);
        behind_ = behind_ ? what > 4 : what == 1;  // one behind, for some time
        if (behind_) {
            std::swap(wire, held_);
        } else {
            held_ = wire;
        }
        if (what == 0) {  // late, around the time-out
            due_ = std::max(due_, Clock::now()) + std::chrono::microseconds(chance(2000 * kTimeoutMs));
        } else if (what == 2) {  // in part
            wire.resize(chance(static_cast<unsigned>(wire.size())));
        } else if (what == 3) {  // twice, at once or later
            put(wire);
            due_ = std::max(due_, Clock::now()) + std::chrono::microseconds(chance(2) * chance(2000 * kTimeoutMs));
        } else if (what == 4) {  // never
            wire.clear();
        } else if (what == 5) {  // another command's
            put(frame({75, 253, 1, 0, 0, 0, 0, 0}));
        }
        put(wire);
    }
    void put(const Bytes& wire) {
        due_ = std::max(due_, Clock::now());
        pending_.push_back({due_, wire});
    }

    std::mt19937 random_;
    UniqueFd listener_;
    UniqueFd client_;
    UniqueFd kept_;  // the slave stays open, so that the line lives on between two clients
    std::string path_;
    std::string address_;
    HdlcDecoder decoder_;
    std::deque<Pending> pending_;
    Clock::time_point due_ = Clock::now();
    bool behind_ = false;
    Bytes held_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

class HostileTest : public testing::TestWithParam<Transport> {};

TEST_P(HostileTest, NoValueIsEverAnotherRequests) {
    const char* wanted = getenv("VDIAG_HOSTILE_REQUESTS");
    const unsigned requests = wanted != nullptr ? static_cast<unsigned>(strtoul(wanted, nullptr, 10)) : 400;
    HostilePeer peer(GetParam(), requests);
    unsigned answered = 0;
    vdiag::Session session;
    for (unsigned i = 0; i < requests; ++i) {
        if (i == 0 || (i % 50 == 0 && GetParam() == Transport::kTty)) {  // another process would begin so on a line
            session = vdiag::Session();
            session.address = peer.address();
            session.timeout_ms = kTimeoutMs;
            session.quiet = true;
        }
        const std::string name = "name" + std::to_string(i);
        const vdiag::Command* command = vdiag::find_ftm("ReadVC");
        Bytes request = request_head(*command);
        request.insert(request.end(), name.c_str(), name.c_str() + name.size() + 1);
        vdiag::Answer answer;
        vdiag::Failure failure;
        if (!exchange(&session, request, command, &answer, &failure)) {
            ASSERT_TRUE(failure.exit_status == 4 || failure.exit_status == 5) << failure.text;
            continue;
        }
        const vdiag::Value* value = answer.find("value");
        ASSERT_NE(value, nullptr) << hex_text(answer.response);
        ASSERT_EQ(value->text, name) << "of request " << i;
        ++answered;
    }
    EXPECT_GT(answered, requests / 8) << "a client that only waits proves nothing";
}

constexpr const char* kNames[] = {"Unix", "Tcp", "Tty"};
INSTANTIATE_TEST_SUITE_P(Over, HostileTest, testing::Values(Transport::kUnix, Transport::kTcp, Transport::kTty),
                         [](const auto& test) { return kNames[static_cast<size_t>(test.param)]; });

}  // namespace
