// Everything that the client does with bytes of a peer: frames, matching, decoding, printing. The first byte chooses
// the command that was asked.
#include <cstddef>
#include <cstdint>

#include "platform/host/hdlc.h"
#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/run/report.h"

namespace {

void read_answer(const vdiag::Command& command, const uint8_t* data, size_t size) {
    using namespace vdiag;
    const Bytes request = request_head(command);
    const Bytes packet(data, data + size);
    if (match_answer(request, &command, packet) == Match::kForeign) {
        return;
    }
    for (const Command* row : {&command, static_cast<const Command*>(nullptr)}) {
        const Answer answer = decode_answer(request, packet, row);
        (void)report_answer(answer, Style{.hex = true});
        (void)report_answer(answer, Style{.json = true, .hex = true});
        (void)complaint(answer);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const vdiag::Command& command = vdiag::catalogue()[data[0] % vdiag::catalogue().size()];
    HdlcDecoder decoder;
    for (size_t at = 1; at < size;) {
        HdlcEvent event = HdlcEvent::kNone;
        at += hdlc_decode(&decoder, data + at, size - at, &event);
        if (event == HdlcEvent::kPacket) {
            size_t packet_size = 0;
            const uint8_t* packet = hdlc_packet(decoder, &packet_size);
            read_answer(command, packet, packet_size);
        }
    }
    // Random bytes seldom make a frame: the rest as a packet too, behind the head that an answer has.
    vdiag::Bytes packet = vdiag::answer_head(command);
    packet.insert(packet.end(), data + 1, data + size);
    read_answer(command, packet.data(), packet.size());
    return 0;
}
