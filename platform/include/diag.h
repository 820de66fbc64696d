// The diag library: routing of request packets to registered handlers, and the buffers that responses leave in.
#pragma once

#include <cstdint>

// Serves one request. `request` may be null, `length` is its size in bytes; the request is the library's and is gone
// when the handler returns. Returns a response obtained from diagpkt_alloc, diagpkt_subsys_alloc or diagpkt_err_rsp,
// whose ownership goes back to the library, or null for no response: there is no call that gives an unwanted one back.
// The daemon relies on it that the library runs handlers one at a time, on one thread of its own: they share static
// buffers without a lock. A handler never throws.
using DiagHandler = void*(const void* request, uint16_t length);

// One range of command codes and its handler.
struct DiagDispatchEntry {
    uint16_t cmd_code_lo;
    uint16_t cmd_code_hi;
    DiagHandler* handler;
};

// A registration record. The layout is the library's own; the library keeps the pointer, so a table lives for ever.
struct DiagDispatchTable {
    uint16_t delay_flag;  // 0: immediate response
    uint16_t cmd_code;    // 255: the subsystem id follows
    uint16_t subsys_id;   // 255: top-level commands
    uint16_t count;       // number of entries
    uint16_t proc_id;     // 0: application processor
    const DiagDispatchEntry* entries;
};

constexpr uint16_t kDiagNoSubsystem = 255;   // subsystem id of top-level commands
constexpr uint8_t kDiagBadCommand = 19;      // error code: nobody serves the command
constexpr uint8_t kDiagBadLength = 21;       // error code: the request's length is wrong
constexpr uint8_t kDiagSubsysDispatch = 75;  // command code of every subsystem request

// Attaches to the diag service and opens its connection; argument reserved (null). Returns true on success; on failure
// nothing is attached, and it may be called again. Called at start-up, and from inside a handler behind
// Diag_LSM_DeInit, which is how the daemon recovers from an over-long request.
extern "C" bool Diag_LSM_Init(uint8_t* reserved);

// Closes every connection of the diag service; the request at work gets no answer. Registered tables survive. Called
// from inside a handler only. True on success.
extern "C" bool Diag_LSM_DeInit();

// Registers a table; requests may arrive for it before the call returns. A table whose entries are registered
// already takes the place of the earlier one. Called at start-up and from inside a handler; nothing tells of a failure.
extern "C" void diagpkt_tbl_reg(const DiagDispatchTable* table);

// Returns a response of `length` bytes (header included) whose byte 0 is `cmd_code`, or null. All of it is sent: what a
// handler leaves unwritten leaves as the library's memory was, so a library that reuses buffers has to clear them.
// Lengths run to 65535. Null is no disaster: the request goes unanswered.
extern "C" void* diagpkt_alloc(uint8_t cmd_code, unsigned int length);

// Likewise, the first four bytes being 75, the subsystem id and the u16 command code, little-endian.
extern "C" void* diagpkt_subsys_alloc(uint8_t subsys_id, uint16_t subsys_cmd_code, unsigned int length);

// Returns the error response: `code`, then the request's `length` bytes. Null when there is none; a null request is
// echoed as nothing.
extern "C" void* diagpkt_err_rsp(uint8_t code, const void* request, uint16_t length);
