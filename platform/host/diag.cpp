// The host's diag library: response buffers, registered tables, routing, the library's own answers. How requests
// arrive is in diag_channel.cpp.
#include "platform/include/diag.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "platform/host/diag_library.h"
#include "platform/host/hdlc.h"
#include "platform/host/host.h"

namespace {

constexpr size_t kSubsysHeaderSize = 4;
constexpr size_t kMaxResponse = kHdlcMaxPacket + 1;  // the error response to the longest request
constexpr uint8_t kVersionNumber = 0;
constexpr std::chrono::milliseconds kBetweenTables(250);  // no table for so long: there will be none

// What stands before the bytes of a response.
struct alignas(std::max_align_t) ResponseHead {
    size_t size;
};

using Clock = std::chrono::steady_clock;

struct Library {
    std::mutex lock;
    std::vector<const DiagDispatchTable*> tables;  // in order of registration
    std::condition_variable registered;            // a table has come
    Clock::time_point expected_until;              // until then tables may be on their way
    unsigned alloc_skip = 0;                       // allocations that still succeed before alloc_fail ones fail
    unsigned alloc_fail = 0;
};

// Never destroyed: handlers may still run while the process ends.
Library& library() {
    static Library& state = *new Library;
    return state;
}

bool alloc_may_succeed() {
    Library& state = library();
    const std::lock_guard<std::mutex> guard(state.lock);
    if (state.alloc_skip > 0) {
        --state.alloc_skip;
        return true;
    }
    if (state.alloc_fail > 0) {
        --state.alloc_fail;
        return false;
    }
    return true;
}

// A response of `size` bytes that begins with `head`; the rest holds the fill byte.
void* alloc_response(const uint8_t* head, size_t head_size, size_t size) {
    if (size < head_size || size > kMaxResponse || !alloc_may_succeed()) {
        return nullptr;
    }
    void* memory = malloc(sizeof(ResponseHead) + size);
    if (memory == nullptr) {
        return nullptr;
    }
    static_cast<ResponseHead*>(memory)->size = size;
    uint8_t* const bytes = static_cast<uint8_t*>(memory) + sizeof(ResponseHead);
    memcpy(bytes, head, head_size);
    memset(bytes + head_size, host_settings().response_fill, size - head_size);
    return bytes;
}

ResponseHead* head_of(void* response) {
    return static_cast<ResponseHead*>(static_cast<void*>(static_cast<uint8_t*>(response) - sizeof(ResponseHead)));
}

uint8_t byte_at(const uint8_t* packet, size_t size, size_t offset) { return offset < size ? packet[offset] : 0; }

constexpr unsigned kNoCode = 0x10000;  // no table lists it

// What a request is routed by.
struct Route {
    uint16_t subsystem;
    unsigned code;
};

Route route_of(const uint8_t* packet, size_t size) {
    const uint8_t code = byte_at(packet, size, 0);
    if (code != kDiagSubsysDispatch) {
        return {kDiagNoSubsystem, code};
    }
    if (byte_at(packet, size, 1) == kDiagNoSubsystem) {
        return {kDiagNoSubsystem, kNoCode};  // 255 stands for top-level commands, no subsystem has it
    }
    const unsigned subsys_code = byte_at(packet, size, 2) | static_cast<unsigned>(byte_at(packet, size, 3)) << 8U;
    return {byte_at(packet, size, 1), subsys_code};
}

DiagHandler* find_entry(const std::vector<const DiagDispatchTable*>& tables, Route route) {
    for (const DiagDispatchTable* table : tables) {
        for (size_t i = 0; table->subsys_id == route.subsystem && i < table->count; ++i) {
            const DiagDispatchEntry& entry = table->entries[i];
            if (route.code >= entry.cmd_code_lo && route.code <= entry.cmd_code_hi) {
                return entry.handler;
            }
        }
    }
    return nullptr;
}

// Whether a request that no table lists may yet find its table.
bool table_may_come(const Library& state, uint8_t code) {
    return code != kVersionNumber && Clock::now() < state.expected_until;
}

// The handler that a registered table lists for a request, or null.
DiagHandler* find_handler(const uint8_t* packet, size_t size) {
    const Route route = route_of(packet, size);
    Library& state = library();
    std::unique_lock<std::mutex> guard(state.lock);
    DiagHandler* handler = find_entry(state.tables, route);
    if (handler == nullptr && table_may_come(state, packet[0])) {
        (void)state.registered.wait_until(guard, state.expected_until,
                                          [&] { return (handler = find_entry(state.tables, route)) != nullptr; });
    }
    return handler;
}

// Version number response: texts of fixed width, then numbers.
constexpr char kVersionTexts[] =
    "Jan 01 2024"  // compile date
    "00:00:00"     // compile time
    "Jan 01 2024"  // release date
    "00:00:00"     // release time
    "SIMPHONE";    // model
constexpr std::array<uint8_t, 8> kVersionNumbers = {
    0,     // station class mark
    6,     // common air interface revision
    1,     // model number
    1, 0,  // firmware revision
    0,     // slot cycle index
    1, 0,  // hardware version
};

void* version_response() {
    constexpr size_t kTextSize = sizeof(kVersionTexts) - 1;
    std::array<uint8_t, 1 + kTextSize + kVersionNumbers.size()> bytes{};
    static_assert(bytes.size() == 55);
    bytes[0] = kVersionNumber;
    memcpy(bytes.data() + 1, kVersionTexts, kTextSize);
    memcpy(bytes.data() + 1 + kTextSize, kVersionNumbers.data(), kVersionNumbers.size());
    return alloc_response(bytes.data(), bytes.size(), bytes.size());
}

DiagResponse own_answer(const uint8_t* packet, size_t size) {
    return DiagResponse(packet[0] == kVersionNumber
                            ? version_response()
                            : diagpkt_err_rsp(kDiagBadCommand, packet, static_cast<uint16_t>(size)));
}

}  // namespace

size_t diag_response_size(const void* response) {
    return static_cast<const ResponseHead*>(
               static_cast<const void*>(static_cast<const uint8_t*>(response) - sizeof(ResponseHead)))
        ->size;
}

void diag_response_free(void* response) {
    if (response != nullptr) {
        free(head_of(response));
    }
}

DiagResponse diag_serve(const uint8_t* packet, size_t size) {
    if (size == 0 || size > kHdlcMaxPacket) {
        return nullptr;
    }
    const auto length = static_cast<uint16_t>(size);
    if (DiagHandler* handler = find_handler(packet, size); handler != nullptr) {
        return DiagResponse(handler(packet, length));
    }
    return own_answer(packet, size);
}

bool diag_answer_itself(const uint8_t* packet, size_t size, DiagResponse* response) {
    Library& state = library();
    {
        const std::lock_guard<std::mutex> guard(state.lock);
        if (find_entry(state.tables, route_of(packet, size)) != nullptr || table_may_come(state, packet[0])) {
            return false;
        }
    }
    *response = own_answer(packet, size);
    return true;
}

void diag_expect_tables(std::chrono::milliseconds limit) {
    Library& state = library();
    const std::lock_guard<std::mutex> guard(state.lock);
    state.expected_until = Clock::now() + limit;
}

extern "C" void diagpkt_tbl_reg(const DiagDispatchTable* table) {
    if (table == nullptr) {
        return;
    }
    Library& state = library();
    const std::lock_guard<std::mutex> guard(state.lock);
    const auto earlier = std::find_if(state.tables.begin(), state.tables.end(),
                                      [table](const auto* known) { return known->entries == table->entries; });
    if (earlier != state.tables.end()) {
        *earlier = table;
    } else {
        state.tables.push_back(table);
    }
    state.expected_until = std::min(state.expected_until, Clock::now() + kBetweenTables);
    state.registered.notify_all();
}

extern "C" void* diagpkt_alloc(uint8_t cmd_code, unsigned int length) {
    return alloc_response(&cmd_code, sizeof(cmd_code), length);
}

extern "C" void* diagpkt_subsys_alloc(uint8_t subsys_id, uint16_t subsys_cmd_code, unsigned int length) {
    const std::array<uint8_t, kSubsysHeaderSize> head = {kDiagSubsysDispatch, subsys_id,
                                                         static_cast<uint8_t>(subsys_cmd_code),
                                                         static_cast<uint8_t>(subsys_cmd_code >> 8U)};
    return alloc_response(head.data(), head.size(), length);
}

extern "C" void* diagpkt_err_rsp(uint8_t code, const void* request, uint16_t length) {
    const size_t echoed = request != nullptr ? length : 0;
    void* const response = alloc_response(&code, sizeof(code), sizeof(code) + echoed);
    if (response != nullptr && echoed > 0) {
        memcpy(static_cast<uint8_t*>(response) + sizeof(code), request, echoed);
    }
    return response;
}

std::optional<std::vector<uint8_t>> host_diag_serve(const std::vector<uint8_t>& packet) {
    DiagResponse response = diag_serve(packet.data(), packet.size());
    if (response == nullptr) {
        return std::nullopt;
    }
    return host_diag_take(response.release());
}

std::vector<uint8_t> host_diag_take(void* response) {
    const DiagResponse owned(response);
    if (response == nullptr) {
        return {};
    }
    const auto* const bytes = static_cast<const uint8_t*>(response);
    return {bytes, bytes + diag_response_size(response)};
}

std::vector<const DiagDispatchTable*> host_diag_tables() {
    Library& state = library();
    const std::lock_guard<std::mutex> guard(state.lock);
    return state.tables;
}

void host_diag_fail_alloc(unsigned skip, unsigned count) {
    Library& state = library();
    const std::lock_guard<std::mutex> guard(state.lock);
    state.alloc_skip = skip;
    state.alloc_fail = count;
}
