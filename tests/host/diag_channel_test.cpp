// The diag channel from outside: real sockets, terminals and pseudo-terminals, and clients of every manner.
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "platform/host/address.h"
#include "platform/host/hdlc.h"
#include "platform/include/diag.h"
#include "platform/include/handles.h"
#include "tests/support/phone.h"

namespace {

namespace fs = std::filesystem;

constexpr int kPatience = 10000;  // milliseconds
constexpr int kQuiet = 100;       // milliseconds in which nothing is to happen
constexpr uint8_t kTestSubsystem = 77;

const Bytes kVersion = hex("00");
const Bytes kUnknown = hex("63 01 02");
const Bytes kUnknownAnswer = hex("13 63 01 02");

// ---- Handlers of the test's own

std::atomic<bool> gate_open{true};
std::atomic<unsigned> gate_waiting{0};

void* echo_length(const void* request, uint16_t length) {
    auto* const rsp = static_cast<uint8_t*>(diagpkt_subsys_alloc(kTestSubsystem, 0, 8));
    const auto* const bytes = static_cast<const uint8_t*>(request);
    rsp[4] = static_cast<uint8_t>(length);
    rsp[5] = length > 4 ? bytes[4] : 0;
    return rsp;
}

void* wait_at_gate(const void* request, uint16_t length) {
    ++gate_waiting;
    while (!gate_open) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    --gate_waiting;
    return diagpkt_err_rsp(0x80, request, length);
}

void* reopen_service(const void* request, uint16_t length) {
    (void)Diag_LSM_DeInit();
    EXPECT_TRUE(Diag_LSM_Init(nullptr));
    return diagpkt_err_rsp(0x81, request, length);
}

void* answer_nothing(const void*, uint16_t) { return nullptr; }

constexpr DiagDispatchEntry kEntries[] = {{0, 5, echo_length}, {10, 10, wait_at_gate}, {11, 11, reopen_service}};
constexpr DiagDispatchTable kTable = {0, 255, kTestSubsystem, 3, 0, kEntries};
constexpr DiagDispatchEntry kTopEntries[] = {{200, 200, answer_nothing}, {0x4B, 0x4B, answer_nothing}};
constexpr DiagDispatchTable kTopTable = {0, 255, kDiagNoSubsystem, 2, 0, kTopEntries};

const Bytes kEcho = hex("4b 4d 03 00 aa");
const Bytes kEchoAnswer = hex("4b 4d 00 00 05 aa a5 a5");
const Bytes kGate = hex("4b 4d 0a 00");
const Bytes kGateAnswer = hex("80 4b 4d 0a 00");
const Bytes kReopen = hex("4b 4d 0b 00");
const Bytes kSilent = hex("c8");

// ---- One client

struct Client {
    UniqueFd fd;

    explicit Client(int descriptor) : fd(descriptor) {}

    void send(const Bytes& bytes) const {
        EXPECT_EQ(::write(fd.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void ask(const Bytes& packet) const { send(framed(packet)); }

    // The next answer in hexadecimal; "end", or "" when there is none in time.
    std::string hear(int patience = kPatience) const {
        Bytes frame;
        for (pollfd readable = {fd.get(), POLLIN, 0}; poll(&readable, 1, patience) == 1;) {
            uint8_t byte = 0;
            if (read(fd.get(), &byte, 1) != 1) {
                return "end";
            }
            frame.push_back(byte);
            if (byte == 0x7E) {
                return unframed(frame);
            }
        }
        return "";
    }
    std::string exchange(const Bytes& packet) const {
        ask(packet);
        return hear();
    }
};

Client connect_to(const std::string& text) {
    Address address;
    std::string error;
    EXPECT_TRUE(address_parse(text, &address, &error)) << error;
    if (address.kind != AddressKind::kTcp) {
        sockaddr_un name{};
        UniqueFd directory;
        EXPECT_TRUE(address_unix_name(address.path, &name, &directory));
        Client client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(connect(client.fd.get(), reinterpret_cast<sockaddr*>(&name), sizeof(name)), 0) << text;
        return client;
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    EXPECT_EQ(getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &found), 0);
    Client client(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(client.fd.get(), found->ai_addr, found->ai_addrlen), 0) << text;
    freeaddrinfo(found);
    return client;
}

class DiagChannelTest : public PhoneTest {
   protected:
    DiagChannelTest() {
        gate_open = true;
        diagpkt_tbl_reg(&kTable);
        diagpkt_tbl_reg(&kTopTable);
    }
    ~DiagChannelTest() override {
        gate_open = true;
        (void)Diag_LSM_DeInit();
    }

    void listen_on(const std::vector<std::string>& addresses) {
        HostSettings changed = settings();
        changed.listen = addresses;
        reconfigure(changed);
    }
    void serve() { ASSERT_TRUE(Diag_LSM_Init(nullptr)); }
    Client client() const { return connect_to(host_diag_addresses().front()); }
    std::string socket_path() const { return settings().root + "/.sim/diag"; }
    std::string pty_path() const { return settings().root + "/line"; }
    Client open_pty() const { return Client(open(pty_path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)); }
    bool gate_has(unsigned waiting) const {
        return eventually([waiting] { return gate_waiting == waiting; });
    }
};

// Time enough for the service to see something, where nothing tells that it has.
void wait_a_while() { std::this_thread::sleep_for(std::chrono::milliseconds(kQuiet)); }

std::set<int> open_descriptors() {
    std::set<int> all;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) >= 0) {
            all.insert(fd);
        }
    }
    return all;
}

// How often the service's thread has gone to sleep.
std::string service_sleeps() {
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        bool named = false;
        for (std::string line; std::getline(status, line);) {
            named = named || line == "Name:\tdiag";
            if (named && line.rfind("voluntary_ctxt_switches", 0) == 0) {
                return line;
            }
        }
    }
    return "no thread";
}

// ---- Requests and answers

TEST_F(DiagChannelTest, RequestsAreRoutedByTableAndTheRestIsAnsweredByTheLibrary) {
    serve();
    const Client tool = client();
    struct {
        const char* name;
        Bytes request;
        std::string answer;
    } const cases[] = {
        {"table", kEcho, to_hex(kEchoAnswer)},
        {"range", hex("4b 4d 05 00"), to_hex(hex("4b 4d 00 00 04 00 a5 a5"))},
        {"behind the range", hex("4b 4d 06 00"), to_hex(hex("13 4b 4d 06 00"))},
        {"short: code 0 with its true length", hex("4b 4d"), to_hex(hex("4b 4d 00 00 02 00 a5 a5"))},
        {"three bytes", hex("4b 4d 05"), to_hex(hex("4b 4d 00 00 03 00 a5 a5"))},
        {"only 75", hex("4b"), to_hex(hex("13 4b"))},
        {"subsystem 255 is no subsystem", hex("4b ff c8 00"), to_hex(hex("13 4b ff c8 00"))},
        {"unlisted", kUnknown, to_hex(kUnknownAnswer)},
        {"long", Bytes(kHdlcMaxPacket - 1, 0x7E), to_hex(Bytes{kDiagBadCommand} + Bytes(kHdlcMaxPacket - 1, 0x7E))}};
    for (const auto& c : cases) {
        EXPECT_EQ(tool.exchange(c.request), c.answer) << c.name;
    }
    const std::string version = tool.exchange(kVersion);
    EXPECT_EQ(version.size(), 55 * 3 - 1);
    EXPECT_EQ(version.substr(0, 2), "00");
    tool.ask({});
    tool.ask(kSilent);
    EXPECT_EQ(tool.exchange(kUnknown), to_hex(kUnknownAnswer));
    EXPECT_EQ(tool.hear(kQuiet), "");
}

TEST_F(DiagChannelTest, FramesArriveInAnyPiecesAndBadOnesCostOneLineEach) {
    serve();
    const Client tool = client();
    for (const uint8_t byte : framed(kEcho)) {
        tool.send({byte});
    }
    EXPECT_EQ(tool.hear(), to_hex(kEchoAnswer));
    Bytes many;
    for (int i = 0; i < 1000; ++i) {
        many = many + framed(kUnknown);
    }
    tool.send(many);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(tool.hear(), to_hex(kUnknownAnswer)) << i;
    }
    clear_log();
    tool.send(hex("41 42 43 7e 41 7d 7e 41 7e") + framed(Bytes(kHdlcMaxPacket + 1, 1)) + framed(kEcho));
    EXPECT_EQ(tool.hear(), to_hex(kEchoAnswer));
    const std::string name = host_diag_addresses().front() + ": frame dropped: ";
    expect_log_only({E(name + "wrong checksum"), E(name + "unfinished escape"), E(name + "no room for a checksum"),
                     E(name + "packet too long")});
}

TEST_F(DiagChannelTest, RegisteringTheSameEntriesAgainReplacesTheTable) {
    static const DiagDispatchEntry entries[] = {{1, 1, echo_length}, {2, 2, echo_length}};
    static const DiagDispatchTable first = {0, 255, 78, 2, 0, entries};
    static const DiagDispatchTable second = {0, 255, 78, 1, 0, entries};
    diagpkt_tbl_reg(&first);
    EXPECT_EQ(exchange(hex("4b 4e 02 00")).size(), 8U);
    diagpkt_tbl_reg(&second);
    EXPECT_EQ(exchange(hex("4b 4e 02 00")), hex("13 4b 4e 02 00"));
}

TEST_F(DiagChannelTest, ResponseBuffersHoldTheirHeaderOrAreRefused) {
    EXPECT_EQ(host_diag_take(diagpkt_subsys_alloc(11, 0x7FFE, 6)), hex("4b 0b fe 7f a5 a5"));
    EXPECT_EQ(host_diag_take(diagpkt_alloc(56, 2)), hex("38 a5"));
    EXPECT_EQ(host_diag_take(diagpkt_err_rsp(kDiagBadLength, "\x4b\x0b", 2)), hex("15 4b 0b"));
    EXPECT_EQ(host_diag_take(diagpkt_err_rsp(kDiagBadLength, nullptr, 2)), hex("15"));
    EXPECT_EQ(diagpkt_subsys_alloc(11, 1, 3), nullptr);
    EXPECT_EQ(diagpkt_alloc(56, 0), nullptr);
    host_diag_fail_alloc(1, 2);
    EXPECT_EQ(exchange(kUnknown), kUnknownAnswer);
    EXPECT_EQ(exchange(kUnknown), Bytes{});
    EXPECT_EQ(exchange(kVersion), Bytes{});
    EXPECT_EQ(exchange(kUnknown), kUnknownAnswer);
}

// ---- Several clients

TEST_F(DiagChannelTest, RequestsAreServedOneAtATimeAndAnsweredToWhoeverAsked) {
    serve();
    const Client slow = client();
    const Client other = client();
    gate_open = false;
    slow.ask(kGate);
    ASSERT_TRUE(gate_has(1));
    other.ask(kEcho);
    EXPECT_EQ(other.hear(kQuiet), "");
    gate_open = true;
    EXPECT_EQ(slow.hear(), to_hex(kGateAnswer));
    EXPECT_EQ(other.hear(), to_hex(kEchoAnswer));
}

TEST_F(DiagChannelTest, HostileClientsDelayNobodyAndLeaveNothingBehind) {
    serve();
    const Client tool = client();
    EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer));
    const std::set<int> before = open_descriptors();
    {
        std::vector<Client> hostile;
        for (int i = 0; i < 50; ++i) {
            hostile.push_back(client());
            ASSERT_EQ(fcntl(hostile.back().fd.get(), F_SETFL, O_NONBLOCK), 0);
            const Bytes flood = i % 2 == 0 ? framed(kUnknown) : Bytes(1000, 0x55);
            for (int n = 0; n < 5000 && write(hostile.back().fd.get(), flood.data(), flood.size()) > 0; ++n) {
            }
        }
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer));
        }
    }
    EXPECT_TRUE(eventually([&before] { return open_descriptors() == before; }));
    EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer));
}

TEST_F(DiagChannelTest, AClientThatOnlyStopsSendingStillHearsItsAnswers) {
    serve();
    const Client tool = client();
    tool.send(framed(kEcho) + framed(kUnknown) + hex("41 42"));
    ASSERT_EQ(shutdown(tool.fd.get(), SHUT_WR), 0);
    EXPECT_EQ(tool.hear(), to_hex(kEchoAnswer));
    EXPECT_EQ(tool.hear(), to_hex(kUnknownAnswer));
    EXPECT_EQ(tool.hear(), "end");
}

TEST_F(DiagChannelTest, NobodyInheritsADescriptorAndNobodyWaitingIsWokenUp) {
    const std::set<int> inherited = open_descriptors();
    listen_on({"unix:" + socket_path(), "tcp:127.0.0.1:0", "pty:" + pty_path()});
    serve();
    const Client tool = client();
    EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer));
    EXPECT_EQ(open_pty().exchange(kEcho), to_hex(kEchoAnswer));
    for (const int fd : open_descriptors()) {
        EXPECT_TRUE(inherited.count(fd) > 0 || (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0) << fd;
    }
    wait_a_while();
    const std::string before = service_sleeps();
    std::this_thread::sleep_for(std::chrono::milliseconds(5 * kQuiet));
    EXPECT_EQ(service_sleeps(), before);
}

// ---- Addresses

TEST_F(DiagChannelTest, TheSocketFileIsPrivateAndAStaleOneIsReplaced) {
    for (int i = 0; i < 2; ++i) {
        serve();
        EXPECT_EQ(client().exchange(kEcho), to_hex(kEchoAnswer));
        EXPECT_EQ(mode_of("/.sim/diag"), 0600U);
        (void)Diag_LSM_DeInit();
        EXPECT_FALSE(exists("/.sim/diag"));
        sockaddr_un name{};
        UniqueFd directory;
        ASSERT_TRUE(address_unix_name(socket_path(), &name, &directory));
        const UniqueFd dead(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<sockaddr*>(&name), sizeof(name)), 0);
    }
}

// In a process that was never attached: later a terminal may be away.
TEST_F(DiagChannelTest, WhatIsServedAlreadyOrIsNoSocketIsLeftAlone) {
    in_a_fresh_process([this] {
        {
            const UniqueFd other_daemon(open(settings().root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            ASSERT_EQ(flock(other_daemon.get(), LOCK_EX | LOCK_NB), 0);
            clear_log();
            EXPECT_FALSE(Diag_LSM_Init(nullptr));
            expect_log_only(
                {E("cannot attach to the diag service: this device root is served by another process already")});
        }
        sockaddr_un name{};
        UniqueFd directory;
        ASSERT_TRUE(address_unix_name(socket_path(), &name, &directory));
        const UniqueFd served(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(served.get(), reinterpret_cast<sockaddr*>(&name), sizeof(name)), 0);
        ASSERT_EQ(listen(served.get(), 5), 0);
        write_file("/plain", "kept");
        const std::string plain = "unix:" + host("/plain");
        listen_on({"unix:" + socket_path(), plain, "tty:" + host("/plain"), "pty:" + host("/plain")});
        clear_log();
        EXPECT_FALSE(Diag_LSM_Init(nullptr));
        expect_log({E("unix:" + socket_path() + ": it is served by another process already"),
                    E(plain + ": there is a file that is no socket"),
                    E("no address of VENDORDIAG_LISTEN can be served")});
        EXPECT_EQ(read_file_text("/plain"), "kept");
        const Client still_reachable = connect_to("unix:" + socket_path());
    });
}

TEST_F(DiagChannelTest, EveryAddressInUseIsLoggedWithThePortThatWasPicked) {
    const std::string deep = "unix:" + settings().root + "/" + std::string(120, 'd') + "/diag";
    listen_on({"tcp:127.0.0.1:0", "tcp:[::1]:0", deep, "tcp:0.0.0.0:0", "tcp:[::]:0"});
    serve();
    const std::vector<std::string> addresses = host_diag_addresses();
    ASSERT_EQ(addresses.size(), 5U);
    EXPECT_EQ(addresses[2], deep);
    for (const std::string& address : addresses) {
        EXPECT_TRUE(log_contains("listening on " + address));
        const bool open = address.starts_with("tcp:0.0.0.0:") || address.starts_with("tcp:[::]:");
        EXPECT_EQ(log_contains(address + ": whoever reaches this address"), open) << address;
        EXPECT_EQ(connect_to(address).exchange(kEcho), to_hex(kEchoAnswer)) << address;
    }
}

TEST_F(DiagChannelTest, ReopeningInsideAHandlerEndsEveryClientAndAnswersNoOldRequest) {
    listen_on({"unix:" + socket_path(), "tcp:127.0.0.1:0", "pty:" + pty_path()});
    serve();
    const std::vector<std::string> addresses = host_diag_addresses();
    for (unsigned i = 0; i < 20; ++i) {
        const Client asking = connect_to(addresses[i % 2U]);
        const Client bystander = connect_to(addresses[1]);
        const Client on_line = open_pty();
        EXPECT_EQ(bystander.exchange(kEcho), to_hex(kEchoAnswer));
        bystander.send(hex("4b 4d"));
        asking.send(framed(kReopen) + framed(kEcho));
        EXPECT_EQ(asking.hear(), "end");
        EXPECT_EQ(bystander.hear(), "end");
        EXPECT_EQ(on_line.hear(), "end");
        EXPECT_EQ(host_diag_addresses(), addresses);
        const Client next = connect_to(addresses[i % 2U]);
        EXPECT_EQ(next.exchange(kUnknown), to_hex(kUnknownAnswer));
        EXPECT_EQ(open_pty().exchange(kUnknown), to_hex(kUnknownAnswer));
    }
}

TEST_F(DiagChannelTest, ClosingFromOutsideWaitsForTheHandlerAndDropsItsAnswer) {
    serve();
    const Client tool = client();
    gate_open = false;
    tool.ask(kGate);
    ASSERT_TRUE(gate_has(1));
    std::thread closer([] { (void)Diag_LSM_DeInit(); });
    EXPECT_EQ(tool.hear(), "end");
    gate_open = true;
    closer.join();
    EXPECT_EQ(gate_waiting, 0U);
    EXPECT_TRUE(host_diag_addresses().empty());
}

// ---- Terminals

TEST_F(DiagChannelTest, APtyIsRawAndEachClientTakesWhatIsItsWithIt) {
    listen_on({"pty:" + pty_path()});
    serve();
    for (int i = 0; i < 3; ++i) {
        wait_a_while();
        const Client tool = open_pty();
        ASSERT_TRUE(tool.fd.ok()) << i;
        termios line{};
        ASSERT_EQ(tcgetattr(tool.fd.get(), &line), 0);
        EXPECT_EQ(line.c_lflag & (ICANON | ECHO | ISIG), 0U) << i;
        EXPECT_EQ(line.c_oflag & OPOST, 0U) << i;
        EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer)) << i;
        tool.send(framed(kEcho + kEcho) + hex("4b 4d"));
        wait_a_while();
        ASSERT_EQ(ioctl(tool.fd.get(), TIOCEXCL), 0);
        line.c_lflag |= ICANON | ECHO;
        ASSERT_EQ(tcsetattr(tool.fd.get(), TCSANOW, &line), 0);
    }
}

TEST_F(DiagChannelTest, NothingIsWrittenToAPtyThatNobodyHasOpen) {
    listen_on({"pty:" + pty_path()});
    serve();
    gate_open = false;
    open_pty().ask(kGate);
    ASSERT_TRUE(gate_has(1));
    const Client next = open_pty();
    gate_open = true;
    EXPECT_EQ(next.exchange(kUnknown), to_hex(kUnknownAnswer));
    EXPECT_EQ(next.hear(kQuiet), "");
}

TEST_F(DiagChannelTest, AHalfRequestNeverSpoilsThatOfTheNextClientHoweverSoonItComes) {
    listen_on({"pty:" + pty_path()});
    serve();
    for (int i = 0; i < 100; ++i) {
        open_pty().send(hex("4b 4d 03 00 55 66"));
        EXPECT_EQ(open_pty().exchange(kUnknown), to_hex(kUnknownAnswer)) << i;
    }
}

TEST_F(DiagChannelTest, AnswersReachTheReaderOfAPtyThatOthersWriteTo) {
    listen_on({"pty:" + pty_path()});
    serve();
    const Client reader = open_pty();
    for (int i = 0; i < 3; ++i) {
        open_pty().ask(kEcho);
        EXPECT_EQ(reader.hear(), to_hex(kEchoAnswer));
    }
}

TEST_F(DiagChannelTest, ATerminalIsRawAndComesBackAfterAHangUp) {
    const auto make_line = [this] {
        UniqueFd master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        EXPECT_EQ(unlockpt(master.get()), 0);
        fs::remove(pty_path());
        fs::create_symlink(ptsname(master.get()), pty_path());
        return master;
    };
    Client tool(make_line().release());
    listen_on({"tty:" + pty_path()});
    serve();
    EXPECT_EQ(tool.exchange(hex("4b 4d 00 00 0a")), to_hex(hex("4b 4d 00 00 05 0a a5 a5")));
    tool.send(hex("4b 4d"));
    tool.fd = make_line();
    ASSERT_TRUE(eventually([this] { return log_contains("is back"); }));
    EXPECT_EQ(tool.exchange(kEcho), to_hex(kEchoAnswer));
}

}  // namespace
