// What the numbered factory commands (subsystem 253) share: the facts of a command and the first steps of its handler.
#pragma once

#include <cstddef>
#include <cstdint>

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
};

// The first steps of a handler: refuses a null request, obtains the response, refuses a short request with status 1.
// True when the work may begin. False: the handler returns `*rsp`, which may be null. The response is the caller's.
bool factory_begin(const FactoryCommand& command, const void* request, uint16_t length, uint8_t** rsp);

// Sets the status word and returns the response, for the handler to return.
void* factory_end(uint8_t* rsp, uint32_t status);
