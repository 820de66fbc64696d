// What the numbered factory commands (subsystem 253) share: the facts of a command, the first steps of its handler and
// the last.
#pragma once

#include <cstddef>
#include <cstdint>

#include "packet/diag_packet.h"

constexpr uint8_t kFactorySubsystem = 253;
constexpr size_t kFactoryStatusOffset = 4;   // u32 status, where a command says nothing else
constexpr size_t kFactoryPayloadOffset = 8;  // what follows it

constexpr uint32_t kFactoryOk = 0;
constexpr uint32_t kFactoryFailed = 1;     // bad length, or board data not read or written
constexpr uint32_t kFactoryNotSynced = 2;  // board data written, not synchronised
constexpr uint32_t kFactoryError = 3;      // any other failure

struct FactoryCommand {
    uint16_t code;
    uint16_t response_size;          // bytes, header included
    uint16_t shortest;               // shortest request that is served; 0: the length is not looked at
    const char* name;                // the handler's name in the log
    uint16_t cleared = 0;            // payload bytes behind the status that start as zeros; the others start unwritten
    bool takes_null = false;         // a null request reads as zeros
    const char* null_end = " \n";    // how the line about a null request ends
    const char* no_room_end = "\n";  // how the line about a missing response ends
    size_t status_offset = kFactoryStatusOffset;
};

// How a request begins: its response (null: the handler has none to give) and whether there is work to do.
struct FactoryReply {
    uint8_t* rsp;
    bool begun;
};

// The first steps of a handler: refuses a null request, obtains the response, refuses a short request with status 1.
FactoryReply factory_begin(const FactoryCommand& command, const void* request, uint16_t length);

// Serves a request: what `work(view, rsp)` returns is the status word of the response whose fields it has filled.
template <typename Work>
void* factory_serve(const FactoryCommand& command, const void* request, uint16_t length, Work work) {
    const FactoryReply reply = factory_begin(command, request, length);
    if (reply.begun) {
        put_u32(reply.rsp + command.status_offset, work(request_view(request, length), reply.rsp));
    }
    return reply.rsp;
}
