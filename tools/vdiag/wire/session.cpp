// Request and answer, retries, recording.
#include "tools/vdiag/wire/session.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/host/program_path.h"

namespace vdiag {
namespace {

constexpr uint8_t kMarkHead[] = {75, 255, 255, 255};  // a subsystem that no phone has
constexpr size_t kMarkSize = 12;
constexpr size_t kFewestLetters = 4;  // that make a text of what a peer sends

constexpr size_t kShownBytes = 16;  // of a frame that is dropped
constexpr unsigned kWarnings = 10;  // about dropped frames; a peer that sends without end shall not drown the rest

std::string variable(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

// Where vdiag-phone lays out a phone when it is told nothing else.
std::string usual_phone() {
    const std::string state = variable("XDG_STATE_HOME");
    return (state.empty() ? variable("HOME") + "/.local/state" : state) + "/vdiag-phone";
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

std::string packet_text(const Bytes& packet) {
    const size_t shown = std::min(packet.size(), kShownBytes);
    return hex_text(packet.data(), shown, " ") +
           (shown < packet.size() ? " ... (" + std::to_string(packet.size()) + " bytes)" : "");
}

std::string count_text(size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string damaged_text(const Link& link, unsigned count) {
    return count_text(count, "damaged frame") + " (" + hdlc_event_text(link.damage) + ")";
}

// A request that nobody serves, with a number that was never sent before.
Bytes new_mark() {
    Bytes mark(kMarkHead, kMarkHead + sizeof(kMarkHead));
    mark.resize(kMarkSize);
    // So few bytes cannot fail once the kernel has started.
    (void)!getrandom(mark.data() + sizeof(kMarkHead), kMarkSize - sizeof(kMarkHead), 0);
    return mark;
}

// The phone sends back what nobody serves behind an error code; a peer that sends back everything is as good.
bool is_echo(const Bytes& packet, const Bytes& mark) {
    const size_t code = packet.size() - std::min(packet.size(), mark.size());
    return code <= 1 && packet.size() >= mark.size() &&
           std::equal(mark.begin(), mark.end(), packet.begin() + static_cast<std::ptrdiff_t>(code));
}

// What came while an answer was waited for.
struct Hearing {
    bool begun = false;    // what comes is of this conversation: the echo came, or none is waited for
    bool marked = false;   // the echo came
    bool matched = false;  // an answer that would do, but ahead of the echo
    unsigned strangers = 0;
    unsigned damaged = 0;
    Bytes stranger;  // the last of them
};

// What came instead of an answer; empty when nothing did.
std::string heard_text(const Session& session, const Hearing& hearing) {
    const Link& link = session.link;
    const std::string_view text(reinterpret_cast<const char*>(link.heard.data()), link.heard.size());
    const bool packets = hearing.marked || hearing.strangers > 0;
    if (!packets && text.size() >= kFewestLetters && is_printable(text.substr(0, text.find_first_of("\r\n")))) {
        return "what came is no phone's: '" + printable(text) + "'";
    }
    if (hearing.matched) {
        return "an answer came, but ahead of the echo that marks the beginning of this conversation";
    }
    std::string out;
    const auto add = [&](const std::string& part) { out += (out.empty() ? "" : ", ") + part; };
    if (hearing.strangers > 0) {
        add(count_text(hearing.strangers, "packet") + " came that answer" + (hearing.strangers == 1 ? "s" : "") +
            " another request, the last " + packet_text(hearing.stranger));
    }
    if (hearing.damaged > 0) {
        add(damaged_text(link, hearing.damaged) + " came");
    }
    if (link_begun(link) > 0) {
        add(count_text(link_begun(link), "byte") + " of a frame came, and not its end");
    }
    return out.empty() && hearing.marked ? "the phone is there, but did not answer this request" : out;
}

// Takes one packet. True: it is the answer.
bool hear(Session* session, const Bytes& mark, const Bytes& request, const Command* command, const Bytes& packet,
          Hearing* hearing) {
    if (!hearing->begun && is_echo(packet, mark)) {
        hearing->begun = hearing->marked = true;
        return false;
    }
    const bool matched = match_answer(request, command, packet) != Match::kForeign;
    if (matched && hearing->begun) {
        return true;
    }
    hearing->matched = hearing->matched || matched;
    ++hearing->strangers;
    hearing->stranger = packet;
    warn_dropped(session, std::string(hearing->begun ? "a packet that answers another request: "
                                                     : "a packet from before this request: ") +
                              packet_text(packet));
    return false;
}

// Whether an answer to an earlier request could be taken for this one's: a serial line may hold what others asked for;
// a peer behind a socket only what this session did, and of that only the like matters, unless something is overdue.
bool wants_mark(Session* session, const Bytes& request, const Command* command) {
    constexpr size_t kHead = 4;
    const Bytes head =
        command != nullptr
            ? answer_head(*command)
            : Bytes(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(std::min(kHead, request.size())));
    const bool alike = std::any_of(session->asked.begin(), session->asked.end(), [&](const Bytes& earlier) {
        return std::equal(head.begin(),
                          head.begin() + static_cast<std::ptrdiff_t>(std::min(head.size(), earlier.size())),
                          earlier.begin());
    });
    if (!alike) {
        session->asked.push_back(head);
    }
    return alike || session->late || !session->link.socket;
}

LinkResult send_request(Session* session, const Bytes& mark, const Bytes& request, Deadline deadline,
                        std::string* error) {
    if (!mark.empty()) {
        pcap_add(&session->pcap, Direction::kToPhone, mark);
    }
    pcap_add(&session->pcap, Direction::kToPhone, request);
    return mark.empty() ? link_send(&session->link, {&request}, deadline, error)
                        : link_send(&session->link, {&mark, &request}, deadline, error);
}

// An address as the user gives it: "usb:" names a serial line by what is plugged in.
bool address_of(const std::string& text, Address* address, std::string* error) {
    constexpr std::string_view kUsb = "usb:";
    if (!text.starts_with(kUsb)) {
        return address_parse(text, address, error, AddressHosts::kNamesToo);
    }
    address->kind = AddressKind::kTty;
    return serial_find(text.substr(kUsb.size()), "/sys/class/tty", &address->path, error);
}

// How long the next step may take.
int patience(const Session& session) {
    return session.until ? std::min(session.timeout_ms, milliseconds_left(*session.until)) : session.timeout_ms;
}

// One attempt. Everything that comes ahead of the mark's echo belongs to earlier requests, whoever sent them: an answer
// that is late, or came twice, is never taken for that to this request.
LinkResult attempt(Session* session, const Bytes& request, const Command* command, Bytes* response,
                   std::string* error) {
    Link* link = &session->link;
    const Deadline deadline = deadline_in(patience(*session));
    const Bytes mark = wants_mark(session, request, command) ? new_mark() : Bytes();
    Hearing hearing;
    hearing.begun = mark.empty();
    LinkResult result = send_request(session, mark, request, deadline, error);
    while (result == LinkResult::kDone) {
        const unsigned before = link->damaged;
        result = link_receive(link, deadline, response, error);
        hearing.damaged += link->damaged - before;
        if (link->damaged > before) {
            warn_dropped(session, damaged_text(*link, link->damaged - before));
        }
        if (result != LinkResult::kDone) {
            break;
        }
        pcap_add(&session->pcap, Direction::kFromPhone, *response);
        if (hear(session, mark, request, command, *response, &hearing)) {
            return result;
        }
        result = milliseconds_left(deadline) > 0 ? result : LinkResult::kTimeout;
    }
    const std::string heard = heard_text(*session, hearing);
    *error += (error->empty() || heard.empty() ? "" : ": ") + heard;
    return result;
}

}  // namespace

std::string default_address() {
    const std::string listen = variable("VENDORDIAG_LISTEN");
    if (!listen.empty()) {
        return listen.substr(0, listen.find(','));
    }
    const std::string root = variable("VENDORDIAG_ROOT");
    const std::string beside = beside_program("device");
    const std::string phone = !root.empty() ? root : access(beside.c_str(), F_OK) == 0 ? beside : usual_phone();
    return "unix:" + phone + "/.sim/diag";
}

bool session_open(Session* session, Failure* failure) {
    if (session->link.fd.ok()) {
        return true;
    }
    Address address;
    std::string error;
    if (!address_of(session->address, &address, &error)) {
        *failure = {kExitUsage, "bad address '" + session->address + "': " + error};
        return false;
    }
    if (!link_open(address, session->speed, patience(*session), &session->link, &error)) {
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
    const bool reads = command != nullptr && command->effect == Effect::kReads;
    const unsigned attempts = 1 + (reads ? session->retries : 0);
    Bytes response;
    std::string error;
    LinkResult result = LinkResult::kTimeout;
    unsigned made = 0;
    const auto start = std::chrono::steady_clock::now();
    while (made == 0 || (made < attempts && result == LinkResult::kTimeout && patience(*session) > 0)) {
        if (!session_open(session, failure)) {
            return false;
        }
        error.clear();
        result = attempt(session, request, command, &response, &error);
        ++made;
        if (result == LinkResult::kTimeout) {
            session->late = true;
            link_close(&session->link);  // the peer may be another one by now, or have half a request
        }
    }
    if (result == LinkResult::kDone) {
        *answer = decode_answer(request, response, command);
        return true;
    }
    if (result == LinkResult::kEnded) {
        session->late = true;
        *failure = {kExitEnded, error};
        return false;
    }
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    const int each = session->until ? static_cast<int>(waited.count() / made) : session->timeout_ms;
    *failure = {kExitTimeout, "no answer within " + seconds_text(each) +
                                  (made > 1 ? ", " + std::to_string(made) + " times" : "") +
                                  (error.empty() ? "" : ": " + error)};
    return false;
}

}  // namespace vdiag
