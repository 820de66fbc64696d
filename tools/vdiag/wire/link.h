// One connection to a phone: opening it, sending frames, receiving packets until a deadline.
#pragma once

#include <chrono>
#include <initializer_list>
#include <string>

#include "platform/host/address.h"
#include "platform/host/hdlc.h"
#include "platform/include/handles.h"
#include "tools/vdiag/wire/serial.h"
#include "tools/vdiag/words/text.h"

namespace vdiag {

using Deadline = std::chrono::steady_clock::time_point;
Deadline deadline_in(int milliseconds);
int milliseconds_left(Deadline deadline);  // never negative; rounded up

struct Link {
    UniqueFd fd;
    SerialClaim claim;  // of a serial device; ends before `fd` is closed
    bool socket = false;
    HdlcDecoder decoder;
    Bytes input;                          // received and not yet decoded
    Bytes heard;                          // the first bytes received since the last sending, as they came
    unsigned damaged = 0;                 // frames dropped since the link was opened
    HdlcEvent damage = HdlcEvent::kNone;  // why the last of them was dropped
};

// Opens a connection. A serial device is claimed for this program, set raw and to `speed` (0: as it is), and what waits
// on it is thrown away. False: `error` says why.
bool link_open(const Address& address, unsigned speed, int timeout_ms, Link* link, std::string* error);
void link_close(Link* link);

enum class LinkResult { kDone, kTimeout, kEnded };

// Sends the frames of some packets in one write, as far as the peer takes it. On a serial line a frame that an earlier
// sender left unfinished is ended first. kEnded: `error` says why.
LinkResult link_send(Link* link, std::initializer_list<const Bytes*> packets, Deadline deadline, std::string* error);

// How many bytes of an unfinished frame have come.
size_t link_begun(const Link& link);

// Receives the next good packet; damaged frames are counted and dropped. kEnded: the peer has closed the connection, or
// it broke; `error` says how.
LinkResult link_receive(Link* link, Deadline deadline, Bytes* packet, std::string* error);

}  // namespace vdiag
