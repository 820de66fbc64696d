// One connection to a phone over a socket or a character device.
#include "tools/vdiag/wire/link.h"

#include <fcntl.h>
#include <libgen.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/vdiag/words/stop.h"

namespace vdiag {
namespace {

constexpr uint8_t kFrameEnd = 0x7E;
constexpr size_t kHeardBytes = 64;

// Waits until `events` hold. False: the deadline has passed, or a signal has ended the run.
bool wait_for(int fd, short events, Deadline deadline) {
    constexpr int kStep = 200;  // milliseconds; a signal may come just before the wait
    pollfd entry{fd, events, 0};
    for (;;) {
        const int left = milliseconds_left(deadline);
        const int ready = poll(&entry, 1, std::min(left, kStep));
        if (ready > 0) {
            return true;
        }
        if ((ready == 0 && left <= kStep) || (ready < 0 && errno != EINTR) || stop_signal() != 0) {
            return false;
        }
    }
}

// Finishes a connect that is under way. 0, or the error number.
int connect_result(int fd, Deadline deadline) {
    if (!wait_for(fd, POLLOUT, deadline)) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof(error);
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

// 0, or the error number.
int connect_socket(int family, const sockaddr* address, socklen_t size, Deadline deadline, UniqueFd* out) {
    UniqueFd fd(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.ok()) {
        return errno;
    }
    if (connect(fd.get(), address, size) != 0) {
        const int error = errno == EINPROGRESS ? connect_result(fd.get(), deadline) : errno;
        if (error != 0) {
            return error;
        }
    }
    *out = std::move(fd);
    return 0;
}

// A path that is too long for a socket address is reached through a descriptor of its directory.
int connect_unix(const std::string& path, Deadline deadline, UniqueFd* out) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string name = path;
    UniqueFd directory;
    if (path.size() >= sizeof(address.sun_path)) {
        const size_t slash = path.rfind('/');
        directory =
            UniqueFd(open(slash == std::string::npos ? "." : path.substr(0, slash).c_str(), O_PATH | O_CLOEXEC));
        if (!directory.ok()) {
            return errno;
        }
        name = "/proc/self/fd/" + std::to_string(directory.get()) + path.substr(slash);
    }
    if (name.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    memcpy(address.sun_path, name.data(), name.size());
    return connect_socket(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof(address), deadline, out);
}

bool connect_tcp(const Address& address, Deadline deadline, UniqueFd* out, std::string* error) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int result = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
    if (result != 0) {
        *error = gai_strerror(result);
        return false;
    }
    int failure = EADDRNOTAVAIL;
    for (const addrinfo* entry = list; entry != nullptr && !out->ok(); entry = entry->ai_next) {
        failure = connect_socket(entry->ai_family, entry->ai_addr, entry->ai_addrlen, deadline, out);
    }
    freeaddrinfo(list);
    *error = std::strerror(failure);
    return out->ok();
}

LinkResult end_link(Link* link, const std::string& how, std::string* error) {
    *error = how;
    link_close(link);
    return LinkResult::kEnded;
}

// Decodes what has been received. True: `packet` holds the next good one.
bool take_packet(Link* link, Bytes* packet) {
    size_t used = 0;
    bool found = false;
    while (used < link->input.size() && !found) {
        HdlcEvent event = HdlcEvent::kNone;
        used += hdlc_decode(&link->decoder, link->input.data() + used, link->input.size() - used, &event);
        found = event == HdlcEvent::kPacket;
        if (event != HdlcEvent::kNone && !found) {
            ++link->damaged;
            link->damage = event;
        }
    }
    link->input.erase(link->input.begin(), link->input.begin() + static_cast<std::ptrdiff_t>(used));
    if (found) {
        size_t size = 0;
        const uint8_t* data = hdlc_packet(link->decoder, &size);
        packet->assign(data, data + size);
    }
    return found;
}

}  // namespace

Deadline deadline_in(int milliseconds) {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

int milliseconds_left(Deadline deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

bool link_open(const Address& address, unsigned speed, int timeout_ms, Link* link, std::string* error) {
    const Deadline deadline = deadline_in(timeout_ms);
    link_close(link);
    *link = Link{};
    link->socket = address.kind == AddressKind::kTcp || address.kind == AddressKind::kUnix;
    if (address.kind == AddressKind::kTcp) {
        return connect_tcp(address, deadline, &link->fd, error);
    }
    if (!link->socket) {
        return serial_open(address.path, speed, &link->fd, &link->claim, error);
    }
    const int failure = connect_unix(address.path, deadline, &link->fd);
    *error = std::strerror(failure);
    return failure == 0;
}

void link_close(Link* link) {
    link->claim.release();
    (void)link->fd.close();
}

size_t link_begun(const Link& link) { return link.decoder.ended ? 0 : link.decoder.frame.size(); }

LinkResult link_send(Link* link, std::initializer_list<const Bytes*> packets, Deadline deadline, std::string* error) {
    Bytes frame(link->socket ? 0 : 1, kFrameEnd);
    for (const Bytes* packet : packets) {
        hdlc_encode(packet->data(), packet->size(), &frame);
    }
    link->heard.clear();
    size_t sent = 0;
    while (sent < frame.size()) {
        const uint8_t* data = frame.data() + sent;
        const ssize_t put = link->socket ? ::send(link->fd.get(), data, frame.size() - sent, MSG_NOSIGNAL)
                                         : ::write(link->fd.get(), data, frame.size() - sent);
        if (put > 0) {
            sent += static_cast<size_t>(put);
        } else if (put < 0 && errno != EAGAIN && errno != EINTR) {
            return end_link(link, std::string("the connection broke: ") + std::strerror(errno), error);
        } else if (!wait_for(link->fd.get(), POLLOUT, deadline)) {
            *error = "the phone takes no more bytes";
            return LinkResult::kTimeout;
        }
    }
    return LinkResult::kDone;
}

LinkResult link_receive(Link* link, Deadline deadline, Bytes* packet, std::string* error) {
    constexpr size_t kChunk = 8192;
    for (bool late = false;; late = milliseconds_left(deadline) == 0) {
        if (take_packet(link, packet)) {
            return LinkResult::kDone;
        }
        if (late || !wait_for(link->fd.get(), POLLIN, deadline)) {
            return LinkResult::kTimeout;
        }
        link->input.resize(kChunk);
        const ssize_t got = ::read(link->fd.get(), link->input.data(), kChunk);
        const int failure = errno;
        link->input.resize(got > 0 ? static_cast<size_t>(got) : 0);
        link->heard.insert(link->heard.end(), link->input.begin(),
                           link->input.begin() + static_cast<std::ptrdiff_t>(
                                                     std::min(kHeardBytes - link->heard.size(), link->input.size())));
        if (got == 0 || (got < 0 && failure == EIO && !link->socket)) {
            return end_link(link, "the phone has closed the connection", error);
        }
        if (got < 0 && failure != EAGAIN && failure != EINTR) {
            return end_link(link, std::string("the connection broke: ") + std::strerror(failure), error);
        }
    }
}

}  // namespace vdiag
