// The diag library: routing of request packets to registered handlers, and the buffers that responses leave in.
#pragma once

#include <cstdint>

// Serves one request. `request` may be null, `length` is its size in bytes. Returns a response obtained from
// diagpkt_alloc, diagpkt_subsys_alloc or diagpkt_err_rsp, whose ownership goes back to the library, or null for no
// response.
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

// Attaches to the diag service and opens its connection; argument reserved (null). Returns true on success.
extern "C" bool Diag_LSM_Init(uint8_t* reserved);

// Closes every connection of the diag service. Registered tables survive. May be called from inside a handler.
extern "C" bool Diag_LSM_DeInit();

// Registers a table; requests may arrive for it before the call returns. A table whose entries are registered
// already takes the place of the earlier one.
extern "C" void diagpkt_tbl_reg(const DiagDispatchTable* table);

// Returns a response of `length` bytes (header included) whose byte 0 is `cmd_code`, or null.
extern "C" void* diagpkt_alloc(uint8_t cmd_code, unsigned int length);

// Returns a response of `length` bytes whose first four are 75, the subsystem id and the u16 command code, or null.
extern "C" void* diagpkt_subsys_alloc(uint8_t subsys_id, uint16_t subsys_cmd_code, unsigned int length);

// Returns the error response `code` that echoes the request, or null.
extern "C" void* diagpkt_err_rsp(uint8_t code, const void* request, uint16_t length);
