// One connection to a phone: opening it, sending frames, receiving packets until a deadline.
#pragma once

#include <chrono>
#include <string>

#include "platform/host/address.h"
#include "platform/host/hdlc.h"
#include "platform/include/handles.h"
#include "tools/vdiag/words/text.h"

namespace vdiag {

using Deadline = std::chrono::steady_clock::time_point;
Deadline deadline_in(int milliseconds);
int milliseconds_left(Deadline deadline);  // never negative; rounded up

struct Link {
    UniqueFd fd;
    bool socket = false;
    HdlcDecoder decoder;
    Bytes input;                          // received and not yet decoded
    unsigned damaged = 0;                 // frames dropped since the link was opened
    HdlcEvent damage = HdlcEvent::kNone;  // why the last of them was dropped
};

// Opens a connection. A serial device is set raw and what waits on it is thrown away. False: `error` says why.
bool link_open(const Address& address, int timeout_ms, Link* link, std::string* error);

enum class LinkResult { kDone, kTimeout, kEnded };

// Sends one frame. kEnded: `error` says why.
LinkResult link_send(Link* link, const Bytes& packet, Deadline deadline, std::string* error);

// Receives the next good packet; damaged frames are counted and dropped. kEnded: the peer has closed the connection, or
// it broke; `error` says how.
LinkResult link_receive(Link* link, Deadline deadline, Bytes* packet, std::string* error);

}  // namespace vdiag
