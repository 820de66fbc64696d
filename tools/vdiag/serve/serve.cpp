// The callers: their lines in, their records out, each in its order and all in turn.
#include "tools/vdiag/serve/serve.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <list>

#include "platform/host/diag_listen.h"

namespace vdiag {
namespace {

constexpr size_t kLongestLine = 1 << 20;
constexpr size_t kMostUnread = 1 << 20;  // bytes of records that a caller has not read; then its requests wait
constexpr size_t kMostCallers = 256;
constexpr size_t kChunk = 1 << 16;

struct Caller {
    UniqueFd in;
    UniqueFd out;       // standard output, which is written to the end at once; else `in` is both
    std::string input;  // from `at` on: not yet carried out
    size_t at = 0;
    std::string output;     // not yet written
    bool skipping = false;  // the rest of a line that was too long
    bool ended = false;     // nothing more will come
    bool gone = false;

    int out_fd() const { return out.ok() ? out.get() : in.get(); }
    bool has_line() const { return input.find('\n', at) != std::string::npos; }
    bool waits() const { return output.size() >= kMostUnread; }
    bool done() const { return gone || (ended && !has_line() && output.empty()); }
};

void write_out(Caller* caller) {
    while (!caller->output.empty() && !caller->gone) {
        const ssize_t put = write(caller->out_fd(), caller->output.data(), caller->output.size());
        if (put > 0) {
            caller->output.erase(0, static_cast<size_t>(put));
        } else if (errno != EINTR) {
            caller->gone = errno != EAGAIN;
            return;
        }
    }
}

void refuse_long_line(Caller* caller) {
    caller->input.clear();
    caller->at = 0;
    if (!caller->skipping) {
        caller->output += serve_refusal("the line is longer than 1 MiB");
    }
    caller->skipping = true;
}

void read_in(Caller* caller) {
    char chunk[kChunk];
    const ssize_t got = read(caller->in.get(), chunk, sizeof(chunk));
    if (got <= 0) {
        caller->ended = got == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    caller->input.erase(0, caller->at);
    caller->at = 0;
    caller->input.append(chunk, static_cast<size_t>(got));
    if (caller->skipping && caller->has_line()) {
        caller->at = caller->input.find('\n') + 1;
        caller->skipping = false;
    }
    if (!caller->has_line() && (caller->skipping || caller->input.size() > kLongestLine)) {
        refuse_long_line(caller);
    }
}

// One request. False: there is none, or its caller does not read.
bool take_turn(Session* session, Caller* caller) {
    if (caller->gone || caller->waits() || !caller->has_line()) {
        return false;
    }
    const size_t end = caller->input.find('\n', caller->at);
    const std::string_view line = std::string_view(caller->input).substr(caller->at, end - caller->at);
    if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
        caller->output += serve_request(session, line);
    }
    caller->at = end + 1;
    write_out(caller);
    return true;
}

void accept_caller(const UniqueFd& listener, std::list<Caller>* callers) {
    UniqueFd fd(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd.ok()) {
        callers->emplace_back();
        callers->back().in = std::move(fd);
    }
}

// Waits for something to do, unless there is, and does the reading and writing.
void exchange_bytes(const UniqueFd& listener, std::list<Caller>* callers, bool busy) {
    std::vector<pollfd> polled;
    polled.push_back({callers->size() < kMostCallers ? listener.get() : -1, POLLIN, 0});
    for (const Caller& caller : *callers) {
        const bool reads = !caller.ended && !caller.waits() && !caller.has_line();
        const int events = (reads ? POLLIN : 0) | (caller.output.empty() ? 0 : POLLOUT);
        polled.push_back({events != 0 ? caller.in.get() : -1, static_cast<short>(events), 0});
    }
    if (poll(polled.data(), polled.size(), busy ? 0 : -1) <= 0) {
        return;
    }
    auto entry = polled.begin() + 1;
    for (Caller& caller : *callers) {
        const short events = (entry++)->revents;
        if ((events & POLLIN) != 0) {
            read_in(&caller);
        } else if ((events & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
            caller.ended = true;
            caller.gone = !caller.out.ok();
        }
        if ((events & POLLOUT) != 0) {
            write_out(&caller);
        }
    }
    if ((polled[0].revents & POLLIN) != 0) {
        accept_caller(listener, callers);
    }
}

// Standard input and output become a caller's alone: nothing else reads or writes there by mistake.
bool take_standard_streams(std::list<Caller>* callers) {
    Caller& caller = callers->emplace_back();
    caller.in = UniqueFd(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    caller.out = UniqueFd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
    const UniqueFd nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    return caller.in.ok() && caller.out.ok() && nothing.ok() && dup2(nothing.get(), STDIN_FILENO) >= 0 &&
           dup2(STDERR_FILENO, STDOUT_FILENO) >= 0;
}

const char* socket_path = nullptr;  // for the handler

void end_by_signal(int /*signal*/) {
    (void)unlink(socket_path);
    _exit(kExitDone);
}

bool listen_at(const std::string& text, DiagListener* listener, std::string* error) {
    Address address;
    if (!address_parse(text, &address, error)) {
        return false;
    }
    if (address.kind != AddressKind::kUnix) {
        *error = "only unix:PATH can be served";
        return false;
    }
    static std::string path;
    path = address.path;
    socket_path = path.c_str();
    if (!diag_listen_unix(address, listener, error)) {
        return false;
    }
    (void)signal(SIGINT, end_by_signal);
    (void)signal(SIGTERM, end_by_signal);
    return true;
}

}  // namespace

int serve(Session* session, const std::string& address) {
    (void)signal(SIGPIPE, SIG_IGN);
    std::list<Caller> callers;
    DiagListener listener;
    std::string error;
    if (address.empty() ? !take_standard_streams(&callers) : !listen_at(address, &listener, &error)) {
        warn("serve: " + (error.empty() ? std::string(strerror(errno)) : address + ": " + error));
        return kExitFailure;
    }
    bool busy = false;
    while (listener.fd.ok() || !callers.empty()) {
        exchange_bytes(listener.fd, &callers, busy);
        busy = false;
        for (Caller& caller : callers) {
            busy = take_turn(session, &caller) || busy;
        }
        callers.remove_if([](const Caller& caller) { return caller.done(); });
    }
    return kExitDone;
}

}  // namespace vdiag
