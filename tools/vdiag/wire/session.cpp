// Request and answer, retries, recording.
#include "tools/vdiag/wire/session.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace vdiag {
namespace {

constexpr size_t kShownBytes = 16;  // of a frame that is dropped
constexpr unsigned kWarnings = 10;  // about dropped frames; a peer that sends without end shall not drown the rest

std::string directory_of_program() {
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof(path));
    const std::string text(path, size > 0 ? static_cast<size_t>(size) : 0);
    return text.substr(0, text.rfind('/'));
}

std::string seconds_text(int milliseconds) {
    std::string text = std::to_string(milliseconds / 1000);
    if (milliseconds % 1000 != 0) {
        text += "." + std::to_string(1000 + milliseconds % 1000).substr(1);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text + " s";
}

void warn_dropped(Session* session, const std::string& text) {
    if (session->quiet || session->warnings > kWarnings) {
        return;
    }
    warn(session->warnings++ < kWarnings ? "dropped " + text : "more frames are dropped, without a word");
}

std::string foreign_text(const Bytes& packet) {
    const size_t shown = std::min(packet.size(), kShownBytes);
    return "a packet that answers another request: " + hex_text(packet.data(), shown, " ") +
           (shown < packet.size() ? " ... (" + std::to_string(packet.size()) + " bytes)" : "");
}

std::string damaged_text(const Link& link, unsigned count) {
    return std::to_string(count) + " damaged frame" + (count == 1 ? "" : "s") + " (" + hdlc_event_text(link.damage) +
           ")";
}

// One attempt.
LinkResult attempt(Session* session, const Bytes& request, const Command* command, Bytes* response,
                   std::string* error) {
    Link* link = &session->link;
    const Deadline deadline = deadline_in(session->timeout_ms);
    pcap_add(&session->pcap, Direction::kToPhone, request);
    LinkResult result = link_send(link, request, deadline, error);
    while (result == LinkResult::kDone) {
        const unsigned before = link->damaged;
        result = link_receive(link, deadline, response, error);
        if (link->damaged > before) {
            warn_dropped(session, damaged_text(*link, link->damaged - before));
        }
        if (result != LinkResult::kDone) {
            break;
        }
        pcap_add(&session->pcap, Direction::kFromPhone, *response);
        if (match_answer(request, command, *response) != Match::kForeign) {
            break;
        }
        warn_dropped(session, foreign_text(*response));
        result = milliseconds_left(deadline) > 0 ? result : LinkResult::kTimeout;
    }
    return result;
}

}  // namespace

std::string default_address() {
    const char* listen = getenv("VENDORDIAG_LISTEN");
    if (listen != nullptr && *listen != '\0') {
        const std::string list = listen;
        return list.substr(0, list.find(','));
    }
    const char* root = getenv("VENDORDIAG_ROOT");
    const std::string phone = root != nullptr && *root != '\0' ? root : directory_of_program() + "/device";
    return "unix:" + phone + "/.sim/diag";
}

bool session_open(Session* session, Failure* failure) {
    if (session->link.fd.ok()) {
        return true;
    }
    Address address;
    std::string error;
    if (!address_parse(session->address, &address, &error)) {
        *failure = {kExitUsage, "bad address '" + session->address + "': " + error};
        return false;
    }
    if (!link_open(address, session->timeout_ms, &session->link, &error)) {
        *failure = {kExitConnect, "cannot connect to " + session->address + ": " + error};
        return false;
    }
    return true;
}

bool exchange(Session* session, const Bytes& request, const Command* command, Answer* answer, Failure* failure) {
    if (request.empty() || request.size() > kHdlcMaxPacket) {
        *failure = {kExitUsage, request.empty() ? "the request is empty" : "the request is longer than 65535 bytes"};
        return false;
    }
    if (!session_open(session, failure)) {
        return false;
    }
    const bool reads = command != nullptr && command->effect == Effect::kReads;
    const unsigned attempts = 1 + (reads ? session->retries : 0);
    Bytes response;
    std::string error;
    LinkResult result = LinkResult::kTimeout;
    unsigned made = 0;
    for (; made < attempts && result == LinkResult::kTimeout; ++made) {
        error.clear();
        result = attempt(session, request, command, &response, &error);
    }
    if (made > 1 || result == LinkResult::kTimeout) {
        (void)session->link.fd.close();  // a late answer must not be taken for that to the next request
    }
    if (result == LinkResult::kDone) {
        *answer = decode_answer(request, response, command);
        return true;
    }
    if (result == LinkResult::kEnded) {
        *failure = {kExitEnded, error};
        return false;
    }
    *failure = {kExitTimeout, "no answer within " + seconds_text(session->timeout_ms) +
                                  (attempts > 1 ? ", " + std::to_string(attempts) + " times" : "") +
                                  (error.empty() ? "" : ": " + error)};
    return false;
}

}  // namespace vdiag
