// Frames, encoded and decoded in runs: sixteen bytes of checksum at a time, and whole stretches between escapes.
#include "platform/host/hdlc.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace {

constexpr uint8_t kFlag = 0x7E;
constexpr uint8_t kEscape = 0x7D;
constexpr uint8_t kEscapeMask = 0x20;
constexpr size_t kChecksumSize = 2;
constexpr size_t kSlices = 16;
constexpr uint16_t kCrcStart = 0xFFFF;
constexpr uint16_t kCrcResidue = 0xF0B8;  // register behind a good frame, checksum included

using CrcTables = std::array<std::array<uint16_t, 256>, kSlices>;

// Table 0 is the effect of one byte; table n that of a byte with n zero bytes behind it.
constexpr CrcTables make_crc_tables() {
    CrcTables tables{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
        }
        tables[0][byte] = static_cast<uint16_t>(crc);
    }
    for (size_t slice = 1; slice < kSlices; ++slice) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint16_t before = tables[slice - 1][byte];
            tables[slice][byte] = static_cast<uint16_t>((before >> 8U) ^ tables[0][before & 0xFFU]);
        }
    }
    return tables;
}

constexpr CrcTables kCrc = make_crc_tables();

// The byte whose entry in table 0 has a given high byte (each high byte occurs once).
constexpr std::array<uint8_t, 256> make_crc_reverse() {
    std::array<uint8_t, 256> reverse{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        reverse[kCrc[0][byte] >> 8U] = static_cast<uint8_t>(byte);
    }
    return reverse;
}

constexpr std::array<uint8_t, 256> kCrcReverse = make_crc_reverse();

// One step over kSlices bytes. Written without a loop: the look-ups go on side by side.
template <size_t... I>
unsigned crc_slices(const uint8_t* data, unsigned crc, std::index_sequence<I...>) {
    const unsigned head = kCrc[kSlices - 1][(data[0] ^ crc) & 0xFFU] ^ kCrc[kSlices - 2][data[1] ^ (crc >> 8U)];
    return head ^ (... ^ kCrc[kSlices - 3 - I][data[2 + I]]);
}

// First byte of value `value` in [from, to), or `to`.
const uint8_t* find_byte(const uint8_t* from, const uint8_t* to, uint8_t value) {
    if (from == to) {
        return to;
    }
    const void* found = memchr(from, value, static_cast<size_t>(to - from));
    return found != nullptr ? static_cast<const uint8_t*>(found) : to;
}

void append_escaped(const uint8_t* data, size_t size, std::vector<uint8_t>* out) {
    const uint8_t* const end = data + size;
    const uint8_t* flag = find_byte(data, end, kFlag);
    const uint8_t* escape = find_byte(data, end, kEscape);
    for (;;) {
        const uint8_t* const stop = std::min(flag, escape);
        out->insert(out->end(), data, stop);
        if (stop == end) {
            return;
        }
        const std::array<uint8_t, 2> pair = {kEscape, static_cast<uint8_t>(*stop ^ kEscapeMask)};
        out->insert(out->end(), pair.begin(), pair.end());
        data = stop + 1;
        if (stop == flag) {
            flag = find_byte(data, end, kFlag);
        } else {
            escape = find_byte(data, end, kEscape);
        }
    }
}

// Takes a run without flags into the frame. An over-long frame keeps no bytes.
void append_unescaped(HdlcDecoder* decoder, const uint8_t* data, const uint8_t* end) {
    std::vector<uint8_t>& frame = decoder->frame;
    while (data != end && !decoder->overlong) {
        if (decoder->escaped) {
            frame.push_back(*data++ ^ kEscapeMask);
            decoder->escaped = false;
        }
        const uint8_t* const stop = find_byte(data, end, kEscape);
        if (frame.size() + static_cast<size_t>(stop - data) > kHdlcMaxPacket + kChecksumSize) {
            decoder->overlong = true;
            frame.clear();
            return;
        }
        frame.insert(frame.end(), data, stop);
        decoder->escaped = stop != end;
        data = decoder->escaped ? stop + 1 : end;
    }
}

HdlcEvent end_of_frame(const HdlcDecoder& decoder) {
    const std::vector<uint8_t>& frame = decoder.frame;
    if (decoder.overlong) {
        return HdlcEvent::kTooLong;
    }
    if (decoder.escaped) {
        return HdlcEvent::kUnfinishedEscape;
    }
    if (frame.size() < kChecksumSize) {
        return HdlcEvent::kTooShort;
    }
    const size_t size = frame.size() - kChecksumSize;
    const unsigned stored = frame[size] | static_cast<unsigned>(frame[size + 1]) << 8U;
    if (stored != hdlc_crc16(frame.data(), size)) {
        return HdlcEvent::kBadChecksum;
    }
    return size == 0 ? HdlcEvent::kEmpty : HdlcEvent::kPacket;
}

void start_frame(HdlcDecoder* decoder) {
    decoder->frame.clear();
    decoder->escaped = false;
    decoder->overlong = false;
    decoder->ended = false;
}

bool between_frames(const HdlcDecoder& decoder) {
    return decoder.frame.empty() && !decoder.escaped && !decoder.overlong;
}

}  // namespace

uint16_t hdlc_crc16(const uint8_t* data, size_t size) {
    unsigned crc = kCrcStart;
    for (; size >= kSlices; data += kSlices, size -= kSlices) {
        crc = crc_slices(data, crc, std::make_index_sequence<kSlices - 2>());
    }
    for (; size > 0; ++data, --size) {
        crc = (crc >> 8U) ^ kCrc[0][(crc ^ *data) & 0xFFU];
    }
    return static_cast<uint16_t>(~crc);
}

void hdlc_encode(const uint8_t* packet, size_t size, std::vector<uint8_t>* out) {
    const uint16_t crc = hdlc_crc16(packet, size);
    const std::array<uint8_t, kChecksumSize> checksum = {static_cast<uint8_t>(crc), static_cast<uint8_t>(crc >> 8U)};
    out->reserve(out->size() + size + size / 64 + 2 * kChecksumSize + 1);
    append_escaped(packet, size, out);
    append_escaped(checksum.data(), checksum.size(), out);
    out->push_back(kFlag);
}

size_t hdlc_decode(HdlcDecoder* decoder, const uint8_t* data, size_t size, HdlcEvent* event) {
    *event = HdlcEvent::kNone;
    const uint8_t* const end = data + size;
    const uint8_t* at = data;
    if (decoder->ended) {
        start_frame(decoder);
    }
    while (at != end && *at == kFlag && between_frames(*decoder)) {
        ++at;
    }
    const uint8_t* const flag = find_byte(at, end, kFlag);
    append_unescaped(decoder, at, flag);
    if (flag == end) {
        return size;
    }
    *event = end_of_frame(*decoder);
    decoder->ended = true;
    return static_cast<size_t>(flag + 1 - data);
}

const uint8_t* hdlc_packet(const HdlcDecoder& decoder, size_t* size) {
    *size = decoder.frame.size() - kChecksumSize;
    return decoder.frame.data();
}

bool hdlc_drop_foreign_start(HdlcDecoder* decoder) {
    std::vector<uint8_t>& frame = decoder->frame;
    unsigned crc = kCrcResidue;
    for (size_t start = frame.size(); start > 0;) {
        // One step of the register backwards, over the byte at `start`.
        --start;
        const unsigned byte = kCrcReverse[crc >> 8U];
        crc = ((crc ^ kCrc[0][byte]) << 8U) | (byte ^ frame[start]);
        if (crc == kCrcStart && frame.size() - start > kChecksumSize) {
            frame.erase(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(start));
            return true;
        }
    }
    return false;
}

const char* hdlc_event_text(HdlcEvent event) {
    switch (event) {
        case HdlcEvent::kNone:
            return "nothing";
        case HdlcEvent::kPacket:
            return "packet";
        case HdlcEvent::kEmpty:
            return "empty packet";
        case HdlcEvent::kBadChecksum:
            return "wrong checksum";
        case HdlcEvent::kUnfinishedEscape:
            return "unfinished escape";
        case HdlcEvent::kTooShort:
            return "no room for a checksum";
        case HdlcEvent::kTooLong:
            return "packet too long";
    }
    return "unknown";
}
