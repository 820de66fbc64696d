// One line that diag requests come from, and its bytes: a connected client, a terminal, a pseudo-terminal. Nothing here
// knows of other lines or runs a handler.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/host/address.h"
#include "platform/host/diag_pty.h"
#include "platform/host/hdlc.h"
#include "platform/include/handles.h"

constexpr std::chrono::milliseconds kDiagRetry(1000);  // pause before something that failed is tried again

struct DiagLink {
    AddressKind kind = AddressKind::kUnix;
    std::string name;  // address, for log lines
    UniqueFd fd;       // all but kPty; a terminal that has hung up has none
    DiagPty pty;       // kPty
    HdlcDecoder decoder;
    std::array<uint8_t, 16384> input;
    size_t input_at = 0;  // bytes from here to input_end are not decoded yet
    size_t input_end = 0;
    std::vector<uint8_t> output;  // frames on their way out
    size_t output_at = 0;
    bool blocked = false;      // the client does not take them: its next request waits until it does
    unsigned own_changes = 0;  // DiagPty::changes at the end of a frame: later ones cut into the frame that follows
    bool deaf = false;         // the client takes no answers any more; what it had sent whole is still served
    bool ended = false;        // the client sends no more
    bool dead = false;         // to be closed
    std::chrono::steady_clock::time_point retry_at;  // when to look for a terminal that has hung up
    size_t poll_at = 0;  // index of its entry among the polled ones; a pseudo-terminal's watch stands behind it

    bool socket() const { return kind == AddressKind::kUnix || kind == AddressKind::kTcp; }
    int descriptor() const { return kind == AddressKind::kPty ? pty.master.get() : fd.get(); }
    bool has_input() const { return input_at < input_end; }
    bool has_output() const { return output_at < output.size(); }
};

// Reads what has arrived; only while there is no undecoded input.
void diag_link_read(DiagLink* link);

// Decodes up to the end of one frame. kPacket: the packet is in `link->decoder`.
HdlcEvent diag_link_decode(DiagLink* link);

// Puts a response behind what waits to be sent.
void diag_link_answer(DiagLink* link, const void* response);

// Sends what waits to be sent, as far as the client takes it; forgets it when the client that asked has left.
void diag_link_send(DiagLink* link);

// Takes note of who has come to a pseudo-terminal and who has left it.
void diag_link_refresh(DiagLink* link);

// Forgets what waits to be sent.
void diag_link_drop_output(DiagLink* link);

// Looks for a terminal that has hung up, when it is time to.
void diag_link_reopen(DiagLink* link);

// Drops what is under way in both directions. A client on a socket is to be closed, a terminal waits for another one.
void diag_link_forget(DiagLink* link);

// Tells the client that it is over. The descriptors close with the link.
void diag_link_close(DiagLink* link);
