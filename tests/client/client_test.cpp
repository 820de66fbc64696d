// The program itself against a peer that behaves well, badly or not at all: what it prints, and its exit status.
#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/client/peer.h"
#include "tools/vdiag/wire/serial.h"
#include "tools/vdiag/words/text.h"

namespace {

using vdiag::hex_parse;
using vdiag::hex_text;

Bytes bytes(const char* digits) { return *hex_parse(digits); }

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Bytes kUfsAnswer = bytes("4b0bfe7f 00 00") + Bytes(250, 0);

// Answers every request with these bytes of wire.
FakePeer::Reply always(const Bytes& wire, bool hang_up = false) {
    return [=](const Bytes&, bool* end) {
        *end = hang_up;
        return wire;
    };
}

TEST(ClientTest, EveryKindOfPeerHasItsExitStatusAndItsSentence) {
    Bytes damaged = frame(kUfsAnswer);
    damaged[3] ^= 0x10U;
    const Bytes stranger = frame(bytes("38 00"));
    const struct {
        const char* what;
        Bytes wire;
        bool hang_up;
        int status;
        const char* error;
    } kCases[] = {
        {"a good answer", frame(kUfsAnswer), false, 0, ""},
        {"a stranger first", stranger + frame(kUfsAnswer), false, 0, "answers another request: 38 00"},
        {"a damaged frame first", damaged + frame(kUfsAnswer), false, 0, "1 damaged frame (wrong checksum)"},
        {"noise first", bytes("7e7e 00 7e 7d7e") + frame(kUfsAnswer), false, 0, "2 damaged frames"},
        {"silence", {}, false, 4, "no answer within 0.3 s"},
        {"strangers only", stranger, false, 4, "1 packet came that answers another request, the last 38 00"},
        {"another program", Bytes{'S', 'S', 'H', '-', '2', '.', '0', 0x0D, 0x0A}, true, 5, "no phone's: 'SSH-2.0"},
        {"a cut frame", Bytes(kUfsAnswer.begin(), kUfsAnswer.begin() + 5), false, 4, "5 bytes of a frame came"},
        {"damage only", damaged, false, 4, "1 damaged frame (wrong checksum) came"},
        {"an end", {}, true, 5, "closed the connection"},
        {"an end in a frame", bytes("4b0bfe7f00"), true, 5, "closed the connection: 5 bytes of a frame came"},
        {"an answer that is cut", frame(bytes("4b0bfe7f")), false, 5, "the answer ends before status"},
        {"an error answer", frame(bytes("13 4b0bfe7f 554653 00")), false, 6, "error 19 (bad command"},
        {"a bad status", frame(bytes("4b0bfe7f 01 00")), false, 7, "UFS: status 1"},
        {"an unknown status", frame(bytes("4b0bfe7f ff 00")), false, 7, "does not know"},
    };
    for (const auto& entry : kCases) {
        SCOPED_TRACE(entry.what);
        FakePeer peer(always(entry.wire, entry.hang_up));
        const ClientRun run = run_client({"-c", peer.address(), "-t", "300ms", "ftm", "ufs"});
        EXPECT_EQ(run.status, entry.status) << run.err;
        EXPECT_NE(run.err.find(entry.error), std::string::npos) << run.err;
        EXPECT_EQ(run.err.empty(), *entry.error == '\0') << run.err;
        EXPECT_LT(run.seconds, 5);
    }
}

TEST(ClientTest, APeerThatSendsWithoutEndDelaysNobodyBeyondTheTimeout) {
    for (const Bytes& unit : {Bytes(5000, 'x'), frame(bytes("38 00")), bytes("7e 00 7e"), Bytes(5000, 0x7E)}) {
        FakePeer peer(always({}));
        peer.flood(unit);
        const ClientRun run = run_client({"-c", peer.address(), "-t", "300ms", "ftm", "ufs"});
        EXPECT_EQ(run.status, 4) << run.err;
        EXPECT_LT(run.seconds, 5);
        EXPECT_LT(run.err.size(), 5000U);
    }
}

TEST(ClientTest, NothingIsSentForAWrongCommandLine) {
    FakePeer peer(always(frame(kUfsAnswer)));
    const struct {
        std::vector<std::string> words;
        const char* error;
    } kCases[] = {
        {{"ftm", "ReadWifimca"}, "did you mean 'ReadWifimac'?"},
        {{"batery"}, "did you mean 'battery'?"},
        {{"board", "raed"}, "did you mean 'read'?"},
        {{"board"}, "one of read, write"},
        {{"ReadUDID"}, "vdiag ftm ReadUDID"},
        {{"ftm", "WriteWifimac"}, "mac: missing"},
        {{"raw", "0g"}, "no hexadecimal"},
        {{"--nonsense"}, "--nonsense"},
        {{"battery", "--key", "x"}, "belongs to 'unlock'"},
        {{"battery", "-t", "soon"}, "--timeout"},
        {{"rtn", "refurbish"}, "takes the phone down; --yes"},
        {{"raw", "f606"}, "takes the phone down; --yes"},
        {{"info", "erase"}, "erases, or cannot be undone; --yes"},
        {{"battery", "-b", "1"}, "--speed takes"},
        {{"battery", "--timeout"}, "--timeout wants a TIME"},
        {{"battery", "--timeout="}, "--timeout wants a TIME"},
        {{"battery", "-jq5"}, "no option '-5'"},
        {{"battery", "--json=1"}, "takes no value"},
        {{}, "the command is missing"},
    };
    for (const auto& entry : kCases) {
        std::vector<std::string> words = {"-c", peer.address()};
        words.insert(words.end(), entry.words.begin(), entry.words.end());
        const ClientRun run = run_client(words);
        EXPECT_EQ(run.status, 2) << run.err;
        EXPECT_NE(run.err.find(entry.error), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(peer.connections(), 0U);
}

TEST(ClientTest, UnreachableAddressesAreOneSentenceAndStatusThree) {
    const struct {
        const char* address;
        int status;
    } kCases[] = {{"unix:/nowhere/diag", 3},   {"tcp:127.0.0.1:1", 3}, {"tcp:[::1]:1", 3}, {"tty:/nowhere", 3},
                  {"tty:/etc/hostname", 3},    {"tty:/tmp", 3},        {"phone", 2},       {"tcp:127.0.0.1", 2},
                  {"tcp:nobody.invalid:1", 3}, {"tcp:a b:1", 2}};
    for (const auto& entry : kCases) {
        const ClientRun run = run_client({"-c", entry.address, "-t", "1s", "version"});
        EXPECT_EQ(run.status, entry.status) << entry.address << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

TEST(ClientTest, OnlyReadingCommandsAreAskedAgainAndALateAnswerIsNotTakenForTheNext) {
    FakePeer silent(always({}));
    EXPECT_EQ(run_client({"-c", silent.address(), "-t", "50ms", "-r", "2", "ftm", "UFS"}).status, 4);
    EXPECT_EQ(silent.requests().size(), 3U);
    EXPECT_EQ(run_client({"-c", silent.address(), "-t", "50ms", "-r", "2", "ftm", "WriteSWVer", "1"}).status, 4);
    EXPECT_EQ(silent.requests().size(), 4U);
    EXPECT_EQ(run_client({"-c", silent.address(), "-t", "50ms", "-r", "2", "raw", "63"}).status, 4);
    EXPECT_EQ(silent.requests().size(), 5U);
}

TEST(ClientTest, RawTakesWordsAFileOrStandardInputAndPrintsTheAnswersBytes) {
    FakePeer echo([](const Bytes& request, bool*) { return frame(request); });
    const ScratchFile file("0x29 7E\n7d:01\n");
    const std::vector<std::string> common = {"-yc", echo.address(), "raw"};
    const auto raw = [&](std::vector<std::string> words, const std::string& input = "") {
        words.insert(words.begin(), common.begin(), common.end());
        return run_client(words, input).out;
    };
    EXPECT_EQ(raw({"29", "7e7d01"}), "29 7e 7d 01\n");
    EXPECT_EQ(raw({"--file", file.path()}), "29 7e 7d 01\n");
    EXPECT_EQ(raw({}, "29 7e 7d 01"), "29 7e 7d 01\n");
    for (const Bytes& request : echo.requests()) {
        EXPECT_EQ(hex_text(request), "297e7d01");
    }
}

// Who has a serial line has it alone, and leaves no trace of that.
TEST(ClientTest, ASerialLineIsOneProgramsAndIsFoundByItsUsbDevice) {
    int master = -1;
    int slave = -1;
    char name[64];
    ASSERT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
    std::string error;
    for (int turn = 0; turn < 2; ++turn) {
        UniqueFd fd;
        vdiag::SerialClaim claim;
        ASSERT_TRUE(vdiag::serial_open(name, 115200, &fd, &claim, &error)) << error;
        termios line{};
        ASSERT_EQ(tcgetattr(slave, &line), 0);
        EXPECT_EQ(cfgetospeed(&line), static_cast<speed_t>(B115200));
        EXPECT_EQ(line.c_lflag & (ICANON | ECHO), 0U);
        const ClientRun second = run_client({"-c", std::string("tty:") + name, "-t", "1s", "version"});
        EXPECT_EQ(second.status, 3);
        EXPECT_NE(second.err.find("uses it"), std::string::npos) << second.err;
    }
    close(master);
    close(slave);
    const ScratchFile base;
    const std::string root = base.path() + ".d";
    for (const char* port : {"1", "2"}) {
        const std::string device = root + "/devices/usb" + port;
        std::filesystem::create_directories(device + "/if/tty");
        std::ofstream(device + "/idVendor") << "1a2b\n";
        std::ofstream(device + "/idProduct") << "0c0d\n";
        std::ofstream(device + "/serial") << "S" << port << "\n";
        std::filesystem::create_directories(root + "/class/ttyUSB" + port);
        std::filesystem::create_symlink(device + "/if/tty", root + "/class/ttyUSB" + port + "/device");
    }
    std::string path;
    EXPECT_TRUE(vdiag::serial_find("1A2B:0c0d:S2", root + "/class", &path, &error)) << error;
    EXPECT_EQ(path, "/dev/ttyUSB2");
    EXPECT_FALSE(vdiag::serial_find("1a2b:0c0d", root + "/class", &path, &error));
    EXPECT_EQ(error, "several serial lines fit: /dev/ttyUSB1 /dev/ttyUSB2");
    EXPECT_FALSE(vdiag::serial_find("1a2b:0c0e", root + "/class", &path, &error));
    std::filesystem::remove_all(root);
}

// No word means anything but itself.
TEST(ClientTest, ArgumentsAreSentAsTheyAreTyped) {
    FakePeer peer(always(frame(kUfsAnswer)));
    for (const char* word : {"[B1]", "[k,v]", "", "%%", "a=b", "--x"}) {
        const ClientRun run = run_client({"-jc", peer.address(), "ftm", "StoreBoardNum", "--", word});
        EXPECT_EQ(run.status, 0) << run.err;
        const Bytes request = peer.requests().back();
        EXPECT_EQ(std::string(request.begin() + 18, request.end() - 1), word);
    }
}

uint32_t little32(const std::string& text, size_t at) {
    uint32_t value = 0;
    memcpy(&value, text.data() + at, sizeof(value));
    return le32toh(value);
}

TEST(ClientTest, RecordingsHoldBothPacketsAsGsmtapInUdp) {
    FakePeer peer(always(frame(kUfsAnswer)));
    const ClientRun run = run_client({"-c", peer.address(), "--pcap", "-", "ftm", "UFS"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("storage"), std::string::npos) << "the answer moves out of the recording's way";
    const std::string& pcap = run.out;
    ASSERT_GT(pcap.size(), 24U);
    EXPECT_EQ(little32(pcap, 0), 0xA1B2C3D4U);
    EXPECT_EQ(little32(pcap, 20), 228U);
    std::vector<std::string> packets;
    for (size_t at = 24; at < pcap.size();) {
        const size_t length = little32(pcap, at + 8);
        const std::string datagram = pcap.substr(at + 16, length);
        EXPECT_EQ(static_cast<uint8_t>(datagram[0]), 0x45);
        EXPECT_EQ(datagram.substr(22, 2), "\x12\x79") << "the port that Wireshark decodes";
        EXPECT_EQ(datagram.substr(28, 4), std::string("\x02\x04\x11\x00", 4));
        EXPECT_EQ(datagram[32], packets.empty() ? 0x40 : 0);
        uint32_t sum = 0;
        for (size_t i = 0; i < 20; i += 2) {
            sum +=
                static_cast<uint32_t>(static_cast<uint8_t>(datagram[i]) << 8U) + static_cast<uint8_t>(datagram[i + 1]);
        }
        EXPECT_EQ((sum & 0xFFFFU) + (sum >> 16U), 0xFFFFU);
        packets.push_back(datagram.substr(44));
        at += 16 + length;
    }
    ASSERT_EQ(packets.size(), 2U) << "nothing else is sent over a new socket";
    EXPECT_EQ(packets[0], std::string("\x4b\x0b\xfe\x7fUFS\0", 8));
    EXPECT_EQ(packets[1], std::string(kUfsAnswer.begin(), kUfsAnswer.end()));
}

TEST(ClientTest, JsonIsOneObjectAndHexShowsBothPackets) {
    FakePeer peer(always(frame(kUfsAnswer)));
    const ClientRun json = run_client({"-c", peer.address(), "-j", "ftm", "UFS"});
    EXPECT_EQ(
        json.out,
        "{\"command\":\"UFS\",\"ok\":true,\"status\":0,\"status_text\":\"done\",\"fields\":{\"storage\":\"ufs\"}}\n");
    const ClientRun hex = run_client({"-c", peer.address(), "-x", "ftm", "UFS"});
    EXPECT_EQ(hex.out.substr(0, 26), "> 4b 0b fe 7f 55 46 53 00\n");
    EXPECT_EQ(hex.out.find('\033'), std::string::npos) << "no colours without a terminal";
}

TEST(ClientTest, ProbeTellsAnsweringAddressesFromOthers) {
    FakePeer phone(always(frame(bytes("00") + Bytes(54, 'x'))));
    FakePeer silent(always({}));
    const ClientRun run = run_client({"-t", "200ms", "probe", phone.address(), silent.address(), "unix:/nowhere"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find(phone.address() + "  model xxxxxxxx\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(silent.address() + "  no answer"), std::string::npos) << run.out;
    EXPECT_EQ(run_client({"probe", "unix:/nowhere"}).status, 3);
}

// A keybox goes out in pieces, and its handle is closed even when a piece is refused.
TEST(ClientTest, KeyboxIsSentInPiecesAndClosedAfterAFailure) {
    bool refuse = false;
    FakePeer peer([&](const Bytes& request, bool*) {
        Bytes answer(request.begin(), request.begin() + 4);
        const uint8_t status = request[2] == 26 && refuse ? 3 : 0;
        const Bytes body = request[2] == 24 ? bytes("07000000 00000000") : Bytes{status, 0, 0, 0};
        return frame(answer + (request[2] == 26 ? Bytes(12, 0) : Bytes()) + body);
    });
    const ScratchFile file(std::string(20000, 'k'));
    EXPECT_EQ(run_client({"-c", peer.address(), "keybox", "send", file.path()}).status, 0);
    ASSERT_EQ(peer.requests().size(), 5U);
    EXPECT_EQ(peer.requests()[1].size(), 12U + 8192U);
    EXPECT_EQ(hex_text(peer.requests()[3].data(), 13),
              "4bfd1a00"
              "07000000"
              "00400000"
              "6b");
    EXPECT_EQ(peer.requests()[3].size(), 12U + 20000U - 16384U);
    refuse = true;
    const ClientRun run = run_client({"-c", peer.address(), "keybox", "send", file.path()});
    EXPECT_EQ(run.status, 7);
    EXPECT_EQ(peer.requests().size(), 8U) << "open, one refused piece, close";
}

TEST(ClientTest, ACertificateRequestIsComparedWithItsDigest) {
    std::string md5 = "99914b932bd37a50b983c5e7c90ae93b";  // of "{}"
    FakePeer peer([&](const Bytes& request, bool*) {
        const bool digest = std::string(request.begin() + 4, request.end()).starts_with("GetMd5");
        const std::string text = digest ? md5 : "{}";
        return frame(bytes("4b0bff7f 00") + Bytes{static_cast<uint8_t>(text.size()), 0} +
                     Bytes(text.begin(), text.end()));
    });
    const ClientRun good = run_client({"-c", peer.address(), "csr", "fetch", "-o", "-"});
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_EQ(good.out.substr(0, 2), "{}");
    md5[0] = '0';
    EXPECT_EQ(run_client({"-c", peer.address(), "csr", "fetch"}).status, 5);
}

}  // namespace
