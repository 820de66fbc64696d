// Inside of the host's diag library: what the channel needs from routing and response buffers.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

// A response buffer as handlers got it from the library.
size_t diag_response_size(const void* response);
void diag_response_free(void* response);

struct DiagResponseFree {
    void operator()(void* response) const { diag_response_free(response); }
};
using DiagResponse = std::unique_ptr<void, DiagResponseFree>;

// Serves one request (at most 65535 bytes) with its handler, or with the library's own answer when no table lists it.
// Null: nothing is sent.
DiagResponse diag_serve(const uint8_t* packet, size_t size);

// Answers at once when no table lists the request, and none may come any more. False: it needs diag_serve.
bool diag_answer_itself(const uint8_t* packet, size_t size, DiagResponse* response);

// Says that tables are about to be registered: for the next `limit` a request that no table lists waits for its table,
// so that a client that is there from the first moment finds every command.
void diag_expect_tables(std::chrono::milliseconds limit);

// Waits until no handler runs and every answer has left, or until `limit` has passed. At once on the service's thread.
void diag_settle(std::chrono::milliseconds limit);
