// Frames on the wire, and the addresses they travel to.
#include "platform/host/hdlc.h"

#include <random>

#include "platform/host/address.h"
#include "tests/support/phone.h"

namespace {

// The plain way to do it, to compare with.
uint16_t plain_crc(const Bytes& data) {
    unsigned crc = 0xFFFF;
    for (const uint8_t byte : data) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
        }
    }
    return static_cast<uint16_t>(~crc);
}

Bytes plain_frame(Bytes packet) {
    const uint16_t crc = plain_crc(packet);
    packet.push_back(static_cast<uint8_t>(crc));
    packet.push_back(static_cast<uint8_t>(crc >> 8U));
    Bytes frame;
    for (const uint8_t byte : packet) {
        if (byte == 0x7D || byte == 0x7E) {
            frame.push_back(0x7D);
            frame.push_back(byte ^ 0x20U);
        } else {
            frame.push_back(byte);
        }
    }
    frame.push_back(0x7E);
    return frame;
}

// What a stream says when it arrives in pieces of `step` bytes: packets in hexadecimal, faults by name.
std::vector<std::string> heard(const Bytes& stream, size_t step) {
    std::vector<std::string> events;
    HdlcDecoder decoder;
    for (size_t begin = 0; begin < stream.size(); begin += step) {
        const size_t end = std::min(stream.size(), begin + step);
        for (size_t at = begin; at < end;) {
            HdlcEvent event = HdlcEvent::kNone;
            const size_t eaten = hdlc_decode(&decoder, &stream[at], end - at, &event);
            EXPECT_GT(eaten, 0U);
            at += eaten;
            size_t size = 0;
            const uint8_t* const packet = hdlc_packet(decoder, &size);
            if (event == HdlcEvent::kPacket) {
                events.push_back(to_hex(Bytes(packet, packet + size)));
            } else if (event != HdlcEvent::kNone) {
                events.emplace_back(hdlc_event_text(event));
            }
        }
    }
    return events;
}

TEST(Hdlc, PacketsHaveTheirKnownFrames) {
    EXPECT_EQ(to_hex(framed(hex("00"))), to_hex(hex("00 78 f0 7e")));
    EXPECT_EQ(to_hex(framed(hex("4b fa df 07"))), to_hex(hex("4b fa df 07 7d 5e 7d 5d 7e")));
    EXPECT_EQ(to_hex(framed({})), to_hex(hex("00 00 7e")));
}

TEST(Hdlc, EveryLengthAndDensityOfEscapesMatchesThePlainWay) {
    std::mt19937 random(20240229);
    for (size_t size = 0; size < 700; ++size) {
        Bytes packet(size);
        for (uint8_t& byte : packet) {
            const unsigned pick = static_cast<unsigned>(random());
            byte = static_cast<uint8_t>(size % 3 == 0 && pick % 2 == 0 ? 0x7D + pick / 2 % 2 : pick >> 8U);
        }
        const Bytes frame = framed(packet);
        ASSERT_EQ(to_hex(frame), to_hex(plain_frame(packet))) << size;
        const std::vector<std::string> expected = {size > 0 ? to_hex(packet) : "empty packet"};
        ASSERT_EQ(heard(frame, frame.size()), expected) << size;
        ASSERT_EQ(heard(frame, 1 + size % 5), expected) << size;
    }
}

struct StreamCase {
    const char* name;
    const char* stream;
    std::vector<std::string> events;
};

TEST(Hdlc, AStreamGoesOnBehindEveryFault) {
    const std::string good = to_hex(hex("00"));
    const std::vector<StreamCase> cases = {
        {"leading and repeated flags", "7e 7e 00 78 f0 7e 7e 7e 00 78 f0 7e 7e", {good, good}},
        {"an escape may precede any byte", "7d 20 78 7d d0 7e", {good}},
        {"wrong checksum", "00 78 f1 7e 00 78 f0 7e", {"wrong checksum", good}},
        {"unfinished escape", "00 78 f0 7d 7e 00 78 f0 7e", {"unfinished escape", good}},
        {"only an escape", "7d 7e 00 78 f0 7e", {"unfinished escape", good}},
        {"one byte", "78 7e 00 78 f0 7e", {"no room for a checksum", good}},
        {"no packet in a good frame", "00 00 7e 00 78 f0 7e", {"empty packet", good}},
        {"an end that never comes", "00 78 f0", {}}};
    for (const StreamCase& c : cases) {
        for (const size_t step : {size_t{1}, size_t{2}, size_t{100}}) {
            EXPECT_EQ(heard(hex(c.stream), step), c.events) << c.name << " in pieces of " << step;
        }
    }
}

TEST(Hdlc, TheLongestPacketPassesAndOneByteMoreIsDroppedWithoutBeingKept) {
    const Bytes longest(kHdlcMaxPacket, 0x7E);
    EXPECT_EQ(heard(framed(longest), 4096), std::vector<std::string>{to_hex(longest)});

    HdlcDecoder decoder;
    HdlcEvent event = HdlcEvent::kNone;
    const Bytes piece(100000, 0x55);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(hdlc_decode(&decoder, piece.data(), piece.size(), &event), piece.size());
        EXPECT_LE(decoder.frame.capacity(), 2 * (kHdlcMaxPacket + 2));
    }
    const Bytes rest = hex("7e 00 78 f0 7e");
    EXPECT_EQ(hdlc_decode(&decoder, rest.data(), rest.size(), &event), 1U);
    EXPECT_EQ(event, HdlcEvent::kTooLong);
    EXPECT_EQ(hdlc_decode(&decoder, &rest[1], rest.size() - 1, &event), 4U);
    EXPECT_EQ(event, HdlcEvent::kPacket);

    EXPECT_EQ(heard(framed(Bytes(kHdlcMaxPacket + 1, 1)) + hex("00 78 f0 7e"), 4096),
              (std::vector<std::string>{"packet too long", to_hex(hex("00"))}));
}

TEST(Hdlc, AFrameBehindSomebodyElsesStartIsFound) {
    HdlcDecoder decoder;
    HdlcEvent event = HdlcEvent::kNone;
    const Bytes stream = text_bytes("half a request") + framed(hex("4b 0b fe 7f 7e"));
    hdlc_decode(&decoder, stream.data(), stream.size(), &event);
    ASSERT_EQ(event, HdlcEvent::kBadChecksum);
    ASSERT_TRUE(hdlc_drop_foreign_start(&decoder));
    size_t size = 0;
    const uint8_t* const packet = hdlc_packet(decoder, &size);
    EXPECT_EQ(to_hex(Bytes(packet, packet + size)), to_hex(hex("4b 0b fe 7f 7e")));

    const Bytes garbage = text_bytes("nothing good in here\x7e");
    hdlc_decode(&decoder, garbage.data(), garbage.size(), &event);
    EXPECT_FALSE(hdlc_drop_foreign_start(&decoder));
    EXPECT_EQ(decoder.frame.size(), garbage.size() - 1);
}

TEST(Address, GoodOnesAreReadBackAndOthersRefused) {
    struct {
        const char* text;
        const char* read_back;  // null: refused
    } const cases[] = {{"unix:/run/diag", "unix:/run/diag"},
                       {"tty:/dev/ttyGS0", "tty:/dev/ttyGS0"},
                       {"pty:line", "pty:line"},
                       {"tcp:127.0.0.1:2500", "tcp:127.0.0.1:2500"},
                       {"tcp:localhost:0", "tcp:localhost:0"},
                       {"tcp:0.0.0.0:007", "tcp:0.0.0.0:7"},
                       {"tcp:[::1]:65535", "tcp:[::1]:65535"},
                       {"tcp:[fe80::1%lo]:1", "tcp:[fe80::1%lo]:1"},
                       {"", nullptr},
                       {"/run/diag", nullptr},
                       {"unix:", nullptr},
                       {"pty:", nullptr},
                       {"udp:127.0.0.1:1", nullptr},
                       {"tcp:127.0.0.1", nullptr},
                       {"tcp:127.0.0.1:", nullptr},
                       {"tcp:127.0.0.1:65536", nullptr},
                       {"tcp:127.0.0.1:-1", nullptr},
                       {"tcp:127.0.0.1:1x", nullptr},
                       {"tcp:127.0.0.256:1", nullptr},
                       {"tcp::1", nullptr},
                       {"tcp:::1:1", nullptr},
                       {"tcp:[::1]", nullptr},
                       {"tcp:[::1:1", nullptr},
                       {"tcp:[::1]x:1", nullptr},
                       {"tcp:[127.0.0.1]:1", nullptr}};
    for (const auto& c : cases) {
        Address address;
        std::string error;
        EXPECT_EQ(address_parse(c.text, &address, &error), c.read_back != nullptr) << c.text;
        EXPECT_EQ(error.empty(), c.read_back != nullptr) << c.text;
        if (c.read_back != nullptr) {
            EXPECT_EQ(address_text(address), c.read_back);
        }
    }
}

}  // namespace
