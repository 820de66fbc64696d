// A conversation with one phone: request and answer, retries, recording.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/wire/link.h"
#include "tools/vdiag/wire/pcap.h"
#include "tools/vdiag/words/message.h"

namespace vdiag {

struct Session {
    std::string address;            // as given; opened at the first request
    unsigned speed = 0;             // of a serial line; 0: as it is
    int timeout_ms = 10000;         // for one answer
    std::optional<Deadline> until;  // nothing waits any longer than this
    unsigned retries = 0;           // for commands that only read
    bool quiet = false;             // no warnings about dropped frames
    unsigned warnings = 0;          // about dropped frames so far
    Link link;
    Pcap pcap;
    bool late = false;         // an answer was waited for in vain: it may still come, over a new connection too
    std::vector<Bytes> asked;  // heads of the requests of this conversation
};

// What went wrong before an answer could be read: an exit status and one line for people.
struct Failure {
    int exit_status = kExitDone;
    std::string text;
};

// The address to use when none is given: VENDORDIAG_LISTEN, else the simulated phone of VENDORDIAG_ROOT, else the one
// beside the executable, else the one that vdiag-phone starts.
std::string default_address();

// Opens the connection unless it is open.
bool session_open(Session* session, Failure* failure);

// Sends a request and waits for its answer. Where an answer to an earlier request could be taken for this one's (on a
// serial line, after a time-out, when the like was asked before), a request that nobody serves goes ahead, with a fresh
// number: what comes before its echo is dropped, like answers to other requests, with a warning. False: `failure`.
bool exchange(Session* session, const Bytes& request, const Command* command, Answer* answer, Failure* failure);

}  // namespace vdiag
