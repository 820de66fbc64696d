// Packet conventions that all handlers share: views on requests, little-endian fields, responses, recovery from an
// over-long request.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/include/diag.h"

constexpr size_t kDiagHeaderSize = 4;          // subsystem header: 75, subsystem id, u16 command code
constexpr uint16_t kMaxRequestLength = 16384;  // a longer request is answered by the recovery

// A request that came from outside. Reads beyond its end give zero.
struct RequestView {
    const uint8_t* data;
    size_t size;
};

inline RequestView request_view(const void* request, uint16_t length) {
    return {static_cast<const uint8_t*>(request), request != nullptr ? length : size_t{0}};
}

uint8_t request_u8(RequestView request, size_t offset);
uint16_t request_u16(RequestView request, size_t offset);
uint32_t request_u32(RequestView request, size_t offset);
// Copies `size` bytes from `offset` on to `out`, with zeros for what the request does not hold.
void request_copy(RequestView request, size_t offset, void* out, size_t size);

void put_u16(uint8_t* out, uint16_t value);
void put_u32(uint8_t* out, uint32_t value);
uint16_t get_u16(const uint8_t* in);
uint32_t get_u32(const uint8_t* in);

// What the log says when the library has no response: who, and how the line goes on.
struct NoRoomLine {
    const char* who;  // null: no line
    const char* text = ": diag pkt alloc failed!\n";
};
constexpr NoRoomLine kNoLine = {nullptr};

// A response of `size` bytes, header included. Its header is filled, the bytes behind are whatever the library left
// there. Null when the library has none: the handler returns null then. A handler writes its failure status to it first
// and its result last: see guarded().
uint8_t* subsystem_response(uint8_t subsystem, uint16_t command, unsigned size, NoRoomLine line);
uint8_t* toplevel_response(uint8_t command, unsigned size, NoRoomLine line);

// True when a request is longer than kMaxRequestLength. The diag connection has then been closed and opened again,
// `table` has been registered again, and the line about the length has been logged under `name`: the dispatcher
// returns null.
bool recovered_from_long_request(const char* name, uint16_t length, const DiagDispatchTable& table);

// What a table's row names: `handler`, behind the one place where memory that is short fails a request instead of the
// service (logged). The answer is then the response that the handler has obtained, as it stands, or, without one, the
// error response of a command that nobody serves.
void* serve_guarded(DiagHandler* handler, const void* request, uint16_t length);
template <DiagHandler* handler>
void* guarded(const void* request, uint16_t length) {
    return serve_guarded(handler, request, length);
}

// A table of top-level commands (kDiagNoSubsystem) or of one subsystem over a static array of entries.
template <size_t N>
constexpr DiagDispatchTable diag_table(uint16_t subsys_id, const DiagDispatchEntry (&entries)[N]) {
    return {0, 255, subsys_id, static_cast<uint16_t>(N), 0, entries};
}
