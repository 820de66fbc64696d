// Packet conventions that all handlers share.
#include "packet/diag_packet.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/include/log.h"

uint8_t request_u8(RequestView request, size_t offset) { return offset < request.size ? request.data[offset] : 0; }

uint16_t request_u16(RequestView request, size_t offset) {
    uint8_t bytes[2];
    request_copy(request, offset, bytes, sizeof(bytes));
    return get_u16(bytes);
}

uint32_t request_u32(RequestView request, size_t offset) {
    uint8_t bytes[4];
    request_copy(request, offset, bytes, sizeof(bytes));
    return get_u32(bytes);
}

void request_copy(RequestView request, size_t offset, void* out, size_t size) {
    const size_t there = offset < request.size ? std::min(size, request.size - offset) : 0;
    if (there > 0) {
        memcpy(out, request.data + offset, there);
    }
    memset(static_cast<uint8_t*>(out) + there, 0, size - there);
}

void put_u16(uint8_t* out, uint16_t value) {
    out[0] = static_cast<uint8_t>(value & 0xFF);
    out[1] = static_cast<uint8_t>(value >> 8);
}

void put_u32(uint8_t* out, uint32_t value) {
    put_u16(out, static_cast<uint16_t>(value & 0xFFFF));
    put_u16(out + 2, static_cast<uint16_t>(value >> 16));
}

uint16_t get_u16(const uint8_t* in) { return static_cast<uint16_t>(in[0] | (in[1] << 8)); }

uint32_t get_u32(const uint8_t* in) { return get_u16(in) | (static_cast<uint32_t>(get_u16(in + 2)) << 16); }

namespace {

// The response that the handler at work has obtained. The library runs one handler at a time.
uint8_t* obtained = nullptr;

uint8_t* logged_if_null(void* response, NoRoomLine line) {
    obtained = static_cast<uint8_t*>(response);
    if (obtained == nullptr && line.who != nullptr) {
        ALOGE("%s%s", line.who, line.text);
    }
    return obtained;
}

}  // namespace

uint8_t* subsystem_response(uint8_t subsystem, uint16_t command, unsigned size, NoRoomLine line) {
    return logged_if_null(diagpkt_subsys_alloc(subsystem, command, size), line);
}

uint8_t* toplevel_response(uint8_t command, unsigned size, NoRoomLine line) {
    return logged_if_null(diagpkt_alloc(command, size), line);
}

bool recovered_from_long_request(const char* name, uint16_t length, const DiagDispatchTable& table) {
    if (length <= kMaxRequestLength) {
        return false;
    }
    (void)Diag_LSM_DeInit();       // the connection is opened again whatever its end says
    (void)Diag_LSM_Init(nullptr);  // nobody is left to tell when it fails
    diagpkt_tbl_reg(&table);
    ALOGE("%s: pkt length (%d) invalid!\n", name, length);
    return true;
}

void* serve_guarded(DiagHandler* handler, const void* request, uint16_t length) {
    obtained = nullptr;
    try {
        return handler(request, length);
    } catch (const std::bad_alloc&) {
        ALOGE("out of memory, the request fails\n");
        return obtained != nullptr ? obtained : diagpkt_err_rsp(kDiagBadCommand, request, length);
    }
}
