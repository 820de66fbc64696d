// Asynchronous HDLC frames as diag uses them: packet, CRC-16/X.25, escapes, 0x7E. Shared with the client.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr size_t kHdlcMaxPacket = 65535;

// CRC-16/X.25 of `size` bytes.
uint16_t hdlc_crc16(const uint8_t* data, size_t size);

// Appends the frame of one packet to `out`.
void hdlc_encode(const uint8_t* packet, size_t size, std::vector<uint8_t>* out);

enum class HdlcEvent {
    kNone,    // the input ended inside a frame or between frames
    kPacket,  // a good frame: hdlc_packet gives its packet (never empty)
    kEmpty,   // a good frame of no packet: only a checksum
    kBadChecksum,
    kUnfinishedEscape,  // 0x7D 0x7E
    kTooShort,          // no room for a checksum
    kTooLong,           // the packet would exceed kHdlcMaxPacket
};

// The state of one stream. Fresh when default made.
struct HdlcDecoder {
    std::vector<uint8_t> frame;  // bytes of the frame so far, unescaped, checksum included
    bool escaped = false;
    bool overlong = false;
    bool ended = false;  // `frame` is complete: the next byte starts another one
};

// Eats bytes up to and including the end of one frame and says in `event` what that was. Always eats at least one byte
// of a non-empty input. Returns the number eaten.
size_t hdlc_decode(HdlcDecoder* decoder, const uint8_t* data, size_t size, HdlcEvent* event);

// The packet of the frame that hdlc_decode has just ended with kPacket; valid until the next call.
const uint8_t* hdlc_packet(const HdlcDecoder& decoder, size_t* size);

// After kBadChecksum, for a line that another sender may have taken over inside the frame: drops the leading bytes
// that keep the rest from being a good frame of a packet. False: no rest is one, and nothing is dropped.
bool hdlc_drop_foreign_start(HdlcDecoder* decoder);

// One word for an event, for log lines.
const char* hdlc_event_text(HdlcEvent event);
