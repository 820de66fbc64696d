// The frame decoder: the first byte says how long the pieces are that the rest arrives in.
#include <algorithm>
#include <cstdlib>

#include "platform/host/hdlc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

struct Heard {
    HdlcEvent event;
    std::vector<uint8_t> packet;
    bool operator==(const Heard&) const = default;
};

void require(bool condition) {
    if (!condition) {
        abort();
    }
}

std::vector<uint8_t> packet_of(const HdlcDecoder& decoder) {
    size_t size = 0;
    const uint8_t* const packet = hdlc_packet(decoder, &size);
    return {packet, packet + size};
}

std::vector<Heard> hear(const uint8_t* data, size_t size, size_t piece) {
    std::vector<Heard> heard;
    HdlcDecoder decoder;
    for (size_t begin = 0; begin < size; begin += piece) {
        const size_t end = std::min(size, begin + piece);
        for (size_t at = begin; at < end;) {
            HdlcEvent event = HdlcEvent::kNone;
            const size_t eaten = hdlc_decode(&decoder, data + at, end - at, &event);
            require(eaten > 0 && eaten <= end - at);
            require(decoder.frame.size() <= kHdlcMaxPacket + 2);
            at += eaten;
            if (event != HdlcEvent::kNone) {
                heard.push_back({event, event == HdlcEvent::kPacket ? packet_of(decoder) : std::vector<uint8_t>{}});
            }
        }
    }
    return heard;
}

// What the decoder makes of a packet's own frame is that packet.
void check_round_trip(const std::vector<uint8_t>& packet) {
    std::vector<uint8_t> frame;
    hdlc_encode(packet.data(), packet.size(), &frame);
    const std::vector<Heard> again = hear(frame.data(), frame.size(), frame.size());
    require(again.size() == 1 && again[0].event == HdlcEvent::kPacket && again[0].packet == packet);
}

// A frame behind bytes of somebody else's is found, if any is.
void check_foreign_start(const uint8_t* data, size_t size) {
    HdlcDecoder decoder;
    HdlcEvent event = HdlcEvent::kNone;
    if (size > 0 && hdlc_decode(&decoder, data, size, &event) > 0 && event == HdlcEvent::kBadChecksum &&
        hdlc_drop_foreign_start(&decoder)) {
        check_round_trip(packet_of(decoder));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const size_t piece = data[0] + size_t{1};
    const std::vector<Heard> whole = hear(data + 1, size - 1, size);
    require(whole == hear(data + 1, size - 1, piece));
    for (const Heard& one : whole) {
        if (one.event == HdlcEvent::kPacket) {
            check_round_trip(one.packet);
        }
    }
    check_foreign_start(data + 1, size - 1);
    return 0;
}
