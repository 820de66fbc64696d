// Frames against the usual way to do them: a checksum from a table of bytes, and a look at every byte.
#include <array>
#include <deque>
#include <random>
#include <string>

#include "bench/ratio.h"
#include "platform/host/hdlc.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::array<uint16_t, 256> make_table() {
    std::array<uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
        }
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}

const std::array<uint16_t, 256> table = make_table();

uint16_t plain_crc(const uint8_t* data, size_t size) {
    uint16_t crc = 0xFFFF;
    for (size_t i = 0; i < size; ++i) {
        crc = static_cast<uint16_t>((crc >> 8U) ^ table[(crc ^ data[i]) & 0xFFU]);
    }
    return static_cast<uint16_t>(~crc);
}

size_t plain_escape(uint8_t byte, uint8_t* out) {
    if (byte == 0x7D || byte == 0x7E) {
        out[0] = 0x7D;
        out[1] = byte ^ 0x20U;
        return 2;
    }
    out[0] = byte;
    return 1;
}

// `out` has room for the longest frame: no growing on the way.
size_t plain_encode(const uint8_t* packet, size_t size, uint8_t* out) {
    const uint16_t crc = plain_crc(packet, size);
    size_t at = 0;
    for (size_t i = 0; i < size; ++i) {
        at += plain_escape(packet[i], out + at);
    }
    at += plain_escape(static_cast<uint8_t>(crc), out + at);
    at += plain_escape(static_cast<uint8_t>(crc >> 8U), out + at);
    out[at++] = 0x7E;
    return at;
}

// Returns the size of the packet in `out`, or 0 for a bad frame.
size_t plain_decode(const uint8_t* frame, size_t size, uint8_t* out) {
    size_t at = 0;
    bool escaped = false;
    for (size_t i = 0; i < size && frame[i] != 0x7E; ++i) {
        if (frame[i] == 0x7D) {
            escaped = true;
        } else {
            out[at++] = escaped ? frame[i] ^ 0x20U : frame[i];
            escaped = false;
        }
    }
    const bool good = at > 2 && plain_crc(out, at - 2) == (out[at - 2] | out[at - 1] << 8);
    return good ? at - 2 : 0;
}

Bytes random_packet(size_t size) {
    Bytes packet(size);
    std::mt19937 random(1);
    for (uint8_t& byte : packet) {
        byte = static_cast<uint8_t>(random());
    }
    return packet;
}

Bytes random_frame(size_t size) {
    const Bytes packet = random_packet(size);
    Bytes frame;
    hdlc_encode(packet.data(), packet.size(), &frame);
    return frame;
}

void count_bytes(benchmark::State& state, size_t size) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

void encode(benchmark::State& state, size_t size) {
    const Bytes packet = random_packet(size);
    Bytes out;
    for (auto _ : state) {
        out.clear();
        hdlc_encode(packet.data(), packet.size(), &out);
        benchmark::DoNotOptimize(out.data());
    }
    count_bytes(state, size);
}

void plain_encode(benchmark::State& state, size_t size) {
    const Bytes packet = random_packet(size);
    Bytes out(2 * packet.size() + 5);
    for (auto _ : state) {
        benchmark::DoNotOptimize(plain_encode(packet.data(), packet.size(), out.data()));
        benchmark::ClobberMemory();
    }
    count_bytes(state, size);
}

void decode(benchmark::State& state, size_t size) {
    const Bytes frame = random_frame(size);
    HdlcDecoder decoder;
    for (auto _ : state) {
        HdlcEvent event = HdlcEvent::kNone;
        hdlc_decode(&decoder, frame.data(), frame.size(), &event);
        if (event != HdlcEvent::kPacket) {
            state.SkipWithError("a good frame was refused");
        }
    }
    count_bytes(state, size);
}

void plain_decode(benchmark::State& state, size_t size) {
    const Bytes frame = random_frame(size);
    Bytes out(frame.size());
    for (auto _ : state) {
        if (plain_decode(frame.data(), frame.size(), out.data()) == 0) {
            state.SkipWithError("a good frame was refused");
        }
    }
    count_bytes(state, size);
}

using Work = void(benchmark::State&, size_t);

// Registers a work and its plain counterpart for one size. The names live as long as the reporter.
RatioGoal pair(const char* name, Work* work, Work* plain, size_t size) {
    static std::deque<std::string> names;
    const std::string tail = " " + std::to_string(size);
    const std::string& work_name = names.emplace_back(name + tail);
    const std::string& plain_name = names.emplace_back(std::string("plain ") + name + tail);
    repeat_five(benchmark::RegisterBenchmark(work_name.c_str(), work, size));
    repeat_five(benchmark::RegisterBenchmark(plain_name.c_str(), plain, size));
    return {work_name.c_str(), plain_name.c_str(), size >= 256 ? "at most 0.25" : "none"};
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::vector<RatioGoal> goals;
    for (size_t size = 16; size <= 16384; size *= 4) {
        goals.push_back(pair("encode", encode, plain_encode, size));
        goals.push_back(pair("decode", decode, plain_decode, size));
    }
    RatioReporter reporter(goals);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
