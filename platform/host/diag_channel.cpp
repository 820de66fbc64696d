// The diag service: one thread that reads frames from every client, serves their requests one at a time and sends each
// answer to the client that asked. A lock guards everything except a handler's run and the waiting, so that the
// service can be closed and opened from any thread and from inside a handler; `generation` tells whoever comes back
// from one of the two that what it knew is gone.
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <memory>
#include <mutex>
#include <vector>

#define LOG_TAG "diag"
#include "platform/host/address.h"
#include "platform/host/diag_library.h"
#include "platform/host/diag_listen.h"
#include "platform/host/diag_pty.h"
#include "platform/host/hdlc.h"
#include "platform/host/host.h"
#include "platform/include/diag.h"
#include "platform/include/log.h"

namespace {

constexpr size_t kReadSize = 16384;
constexpr unsigned kFramesPerTurn = 32;  // of one client, before the others have theirs
constexpr unsigned kAcceptsPerTurn = 16;
constexpr size_t kMaxLinks = 512;  // below the limit of select(), which the rest of the process may use
constexpr std::chrono::milliseconds kRetry(1000);

using Clock = std::chrono::steady_clock;

// One line that requests come from: a connected client, a terminal, a pseudo-terminal.
struct Link {
    AddressKind kind = AddressKind::kUnix;
    std::string name;  // for log lines
    UniqueFd fd;       // kUnix, kTcp, kTty; a terminal that has hung up has none
    DiagPty pty;       // kPty
    HdlcDecoder decoder;
    std::array<uint8_t, kReadSize> input;
    size_t input_at = 0;  // bytes from here to input_end are not decoded yet
    size_t input_end = 0;
    std::vector<uint8_t> output;  // frame on its way out; the next request waits until it has left
    size_t output_at = 0;
    unsigned session = 0;        // counts the clients of a pseudo-terminal
    unsigned own_changes = 0;    // DiagPty::changes at the end of a frame: later ones cut into the frame that follows
    bool ended = false;          // the client sends no more
    bool dead = false;           // to be closed
    Clock::time_point retry_at;  // when to look for a terminal that has hung up
    size_t poll_at = 0;          // index of its entry in Service::polled; a pseudo-terminal's watch stands behind it

    bool socket() const { return kind == AddressKind::kUnix || kind == AddressKind::kTcp; }
    int descriptor() const { return kind == AddressKind::kPty ? pty.master.get() : fd.get(); }
    bool has_input() const { return input_at < input_end; }
    bool has_output() const { return output_at < output.size(); }
};

struct PickedPort {
    std::string address;  // as configured, with port 0
    std::string port;
};

struct Service {
    std::mutex lock;
    std::condition_variable served;  // a handler has returned
    bool started = false;            // the thread runs, for the rest of the process
    pthread_t thread{};
    UniqueFd wake;
    UniqueFd claim;  // of the device root, for the rest of the process
    std::string claimed_root;
    bool attached = false;
    bool serving = false;  // a handler runs
    unsigned generation = 0;
    std::vector<DiagListener> listeners;
    std::vector<std::unique_ptr<Link>> links;
    std::vector<std::unique_ptr<Link>> leaving;  // closed from inside a handler, not yet told so
    std::vector<PickedPort> picked;              // so that an address that is opened again stays what it was
    bool accept_failed = false;
    // Of the service's thread alone.
    std::vector<pollfd> polled;
    std::vector<uint8_t> request;  // the frame that is being served; stays when its client is closed meanwhile
};

using Lock = std::unique_lock<std::mutex>;

// Never destroyed: its thread runs as long as the process.
Service& service() {
    static Service& state = *new Service;
    return state;
}

size_t max_links() {
    rlimit limit{};
    const bool known = getrlimit(RLIMIT_NOFILE, &limit) == 0;
    return known ? std::min<size_t>(kMaxLinks, limit.rlim_cur / 2) : kMaxLinks;
}

void wake_service(const Service& state) {
    const uint64_t one = 1;
    // Fails only when the counter is full, and then it wakes all the same.
    (void)!write(state.wake.get(), &one, sizeof(one));
}

// ---- One client's bytes

ssize_t write_link(const Link& link, const uint8_t* data, size_t size) {
    return link.socket() ? send(link.fd.get(), data, size, MSG_NOSIGNAL) : write(link.descriptor(), data, size);
}

void drop_output(Link* link) {
    link->output.clear();
    link->output_at = 0;
}

// Sends what waits, as far as the client takes it.
void send_output(Link* link) {
    const ssize_t size = write_link(*link, &link->output[link->output_at], link->output.size() - link->output_at);
    if (size < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            link->dead = link->dead || link->socket();
            drop_output(link);
        }
        return;
    }
    link->output_at += static_cast<size_t>(size);
    if (!link->has_output()) {
        drop_output(link);
    }
}

void new_session(Link* link) {
    ++link->session;
    drop_output(link);
}

void forget_stream(Link* link) {
    ++link->session;
    link->decoder = HdlcDecoder{};
    link->own_changes = link->pty.changes;
    link->input_at = link->input_end = 0;
    drop_output(link);
}

// The other end of a line is gone for good (socket), or until another client comes (terminals).
void lose_peer(Link* link) {
    if (link->socket()) {
        link->dead = true;
        return;
    }
    forget_stream(link);
    std::string error;
    if (link->kind == AddressKind::kTty) {
        ALOGE("%s: hung up, waiting for it", link->name.c_str());
        (void)link->fd.close();
        link->retry_at = Clock::now() + kRetry;
    } else if (!diag_pty_clean(&link->pty, &error)) {
        ALOGE("%s: %s", link->name.c_str(), error.c_str());
        link->dead = true;
    }
}

void read_link(Link* link) {
    const ssize_t size = read(link->descriptor(), link->input.data(), link->input.size());
    if (size > 0) {
        link->input_at = 0;
        link->input_end = static_cast<size_t>(size);
        // Who is there is looked at behind the reading: a request that a new client has just sent is its own.
        if (link->kind == AddressKind::kPty && diag_pty_refresh(&link->pty)) {
            new_session(link);
        }
    } else if (size == 0 && link->socket()) {
        link->ended = true;
    } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
        lose_peer(link);
    }
}

void close_link(Link* link) {
    if (link->kind == AddressKind::kPty) {
        diag_pty_close(&link->pty);
    } else if (link->socket()) {
        // A child that is just being started may hold a copy for a moment; the client sees the end all the same.
        (void)shutdown(link->fd.get(), SHUT_RDWR);
    }
}

void close_leaving(Service* state) {
    std::for_each(state->leaving.begin(), state->leaving.end(), [](const auto& link) { close_link(link.get()); });
    state->leaving.clear();
}

// ---- One request

// Whether the client that asked in `session` is still there to be answered.
bool may_answer(Link* link, unsigned session) {
    if (link->kind != AddressKind::kPty) {
        return true;
    }
    if (diag_pty_refresh(&link->pty)) {
        new_session(link);
    }
    return link->session == session && !diag_pty_deserted(link->pty);
}

void answer(Link* link, unsigned session, const void* response) {
    if (!may_answer(link, session)) {
        return;
    }
    hdlc_encode(static_cast<const uint8_t*>(response), diag_response_size(response), &link->output);
    send_output(link);
}

// Runs the handler without the lock. False: the service was closed meanwhile, and `link` is gone.
bool serve_packet(Service* state, Link* link, Lock* lock) {
    size_t size = 0;
    (void)hdlc_packet(link->decoder, &size);
    std::swap(state->request, link->decoder.frame);
    const unsigned generation = state->generation;
    const unsigned session = link->session;
    state->serving = true;
    lock->unlock();
    const DiagResponse response = diag_serve(state->request.data(), size);
    lock->lock();
    state->serving = false;
    state->served.notify_all();
    close_leaving(state);
    if (state->generation != generation) {
        return false;
    }
    if (response != nullptr) {
        answer(link, session, response.get());
    }
    return true;
}

// The event that the end of a frame makes, after a look at whose frame it is: a client that has left a pseudo-terminal
// may have left the beginning of one.
HdlcEvent judge_frame(Link* link, HdlcEvent event) {
    const bool cut = link->own_changes != link->pty.changes;
    const bool bad = event == HdlcEvent::kBadChecksum;
    if (bad || !link->has_input()) {
        link->own_changes = link->pty.changes;
    }
    return cut && bad && hdlc_drop_foreign_start(&link->decoder) ? HdlcEvent::kPacket : event;
}

// Serves what has been read, up to one turn's worth. False: the service was closed meanwhile.
bool serve_input(Service* state, Link* link, Lock* lock) {
    for (unsigned frames = 0; frames < kFramesPerTurn && link->has_input() && !link->has_output() && !link->dead;) {
        HdlcEvent event = HdlcEvent::kNone;
        link->input_at +=
            hdlc_decode(&link->decoder, &link->input[link->input_at], link->input_end - link->input_at, &event);
        if (event == HdlcEvent::kNone) {
            continue;
        }
        ++frames;
        event = judge_frame(link, event);
        if (event == HdlcEvent::kPacket) {
            if (!serve_packet(state, link, lock)) {
                return false;
            }
        } else if (event != HdlcEvent::kEmpty) {
            ALOGE("%s: frame dropped: %s", link->name.c_str(), hdlc_event_text(event));
        }
    }
    return true;
}

// ---- One turn of a link

void reopen_tty(Link* link) {
    if (Clock::now() < link->retry_at) {
        return;
    }
    link->retry_at = Clock::now() + kRetry;
    std::string error;
    if (diag_open_tty(link->name.substr(link->name.find(':') + 1), &link->fd, &error)) {
        ALOGI("%s: is back", link->name.c_str());
    }
}

// False: the service was closed meanwhile, and `link` is gone.
bool link_turn(Service* state, Link* link, Lock* lock) {
    if (link->kind == AddressKind::kTty && !link->fd.ok()) {
        reopen_tty(link);
        return true;
    }
    const short events = state->polled[link->poll_at].revents;
    if (link->kind == AddressKind::kPty) {
        if (state->polled[link->poll_at + 1].revents != 0 && diag_pty_refresh(&link->pty)) {
            new_session(link);
        }
        if ((events & POLLHUP) != 0) {
            drop_output(link);
        }
    }
    if (link->has_output() && events != 0) {
        send_output(link);
    }
    if (!link->has_input() && !link->has_output() && !link->ended && (events & ~POLLOUT) != 0) {
        read_link(link);
    }
    if (!serve_input(state, link, lock)) {
        return false;
    }
    link->dead = link->dead || (link->ended && !link->has_input() && !link->has_output());
    return true;
}

// ---- All of them

void add_link(Service* state, AddressKind kind, std::string name, UniqueFd fd) {
    auto link = std::make_unique<Link>();
    link->kind = kind;
    link->name = std::move(name);
    link->fd = std::move(fd);
    state->links.push_back(std::move(link));
}

void accept_clients(Service* state, const DiagListener& listener) {
    for (unsigned i = 0; i < kAcceptsPerTurn && state->links.size() < max_links(); ++i) {
        UniqueFd fd(accept4(listener.fd.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!fd.ok()) {
            const bool out_of_something = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
            if (out_of_something && !state->accept_failed) {
                ALOGE("%s", diag_errno_text("cannot accept a client").c_str());
            }
            state->accept_failed = out_of_something;
            return;
        }
        state->accept_failed = false;
        if (listener.address.kind == AddressKind::kTcp) {
            const int on = 1;
            (void)setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));  // only costs speed
        }
        add_link(state, listener.address.kind, address_text(listener.address), std::move(fd));
    }
}

void sweep_links(Service* state) {
    const auto dead =
        std::stable_partition(state->links.begin(), state->links.end(), [](const auto& link) { return !link->dead; });
    std::for_each(dead, state->links.end(), [](const auto& link) { close_link(link.get()); });
    state->links.erase(dead, state->links.end());
}

void poll_link(Service* state, Link* link) {
    const bool idle_pty = link->kind == AddressKind::kPty && !diag_pty_in_use(link->pty);
    short events = 0;
    if (link->has_output()) {
        events = POLLOUT;
    } else if (!link->has_input() && !link->ended) {
        events = POLLIN;
    }
    link->poll_at = state->polled.size();
    state->polled.push_back({idle_pty ? -1 : link->descriptor(), events, 0});
    if (link->kind == AddressKind::kPty) {
        state->polled.push_back({link->pty.watch.get(), POLLIN, 0});
    }
}

// Fills Service::polled: the waker, the listeners, the links. Returns how long to wait at most, as for poll().
int prepare_poll(Service* state) {
    state->polled.clear();
    state->polled.push_back({state->wake.get(), POLLIN, 0});
    const bool accepting = !state->accept_failed && state->links.size() < max_links();
    for (const DiagListener& listener : state->listeners) {
        state->polled.push_back({accepting ? listener.fd.get() : -1, POLLIN, 0});
    }
    int timeout = state->accept_failed ? static_cast<int>(kRetry.count()) : -1;
    for (const auto& link : state->links) {
        poll_link(state, link.get());
        if (link->has_input() && !link->has_output()) {
            timeout = 0;
        } else if (link->descriptor() < 0 && timeout < 0) {
            timeout = static_cast<int>(kRetry.count());
        }
    }
    return timeout;
}

void run_round(Service* state, Lock* lock) {
    uint64_t wakes = 0;
    if (state->polled[0].revents != 0) {
        (void)!read(state->wake.get(), &wakes, sizeof(wakes));
    }
    const size_t links = state->links.size();
    for (size_t i = 0; i < links; ++i) {
        if (!link_turn(state, state->links[i].get(), lock)) {
            return;
        }
    }
    for (size_t i = 0; i < state->listeners.size(); ++i) {
        if (state->polled[1 + i].revents != 0 || state->accept_failed) {
            accept_clients(state, state->listeners[i]);
        }
    }
    sweep_links(state);
}

void* run_service(void*) {
    Service& state = service();
    Lock lock(state.lock);
    for (;;) {
        const int timeout = prepare_poll(&state);
        const unsigned generation = state.generation;
        lock.unlock();
        const int ready = poll(state.polled.data(), state.polled.size(), timeout);
        lock.lock();
        if (ready >= 0 && state.generation == generation) {
            run_round(&state, &lock);
        }
    }
    return nullptr;
}

// ---- Opening and closing

bool claim_root(Service* state, std::string* error) {
    const std::string& root = host_settings().root;
    if (state->claim.ok() && state->claimed_root == root) {
        return true;
    }
    state->claimed_root = root;
    return diag_claim_root(root, &state->claim, error);
}

// The address to open for a configured one: a port that the kernel picked earlier is taken again.
Address wanted_address(const Service& state, const std::string& configured, const Address& parsed) {
    Address wanted = parsed;
    for (const PickedPort& picked : state.picked) {
        if (picked.address == configured) {
            wanted.port = picked.port;
        }
    }
    return wanted;
}

bool listen_tcp(Service* state, const std::string& configured, const Address& address, std::string* error) {
    const Address wanted = wanted_address(*state, configured, address);
    DiagListener listener;
    if (!diag_listen_tcp(wanted, &listener, error) &&
        (wanted.port == address.port || !diag_listen_tcp(address, &listener, error))) {
        return false;
    }
    if (address.port == "0") {
        std::erase_if(state->picked, [&](const PickedPort& picked) { return picked.address == configured; });
        state->picked.push_back({configured, listener.address.port});
    }
    state->listeners.push_back(std::move(listener));
    return true;
}

bool open_address(Service* state, const std::string& configured, std::string* error) {
    Address address;
    if (!address_parse(configured, &address, error)) {
        return false;
    }
    DiagListener listener;
    UniqueFd tty;
    DiagPty pty;
    switch (address.kind) {
        case AddressKind::kTcp:
            return listen_tcp(state, configured, address, error);
        case AddressKind::kUnix:
            if (!diag_listen_unix(address, &listener, error)) {
                return false;
            }
            state->listeners.push_back(std::move(listener));
            return true;
        case AddressKind::kTty:
            if (!diag_open_tty(address.path, &tty, error)) {
                return false;
            }
            add_link(state, address.kind, configured, std::move(tty));
            return true;
        case AddressKind::kPty:
            if (!diag_pty_open(address.path, &pty, error)) {
                return false;
            }
            add_link(state, address.kind, configured, UniqueFd());
            state->links.back()->pty = std::move(pty);
            return true;
    }
    return false;
}

std::vector<std::string> addresses(const Service& state) {
    std::vector<std::string> texts;
    for (const DiagListener& listener : state.listeners) {
        texts.push_back(address_text(listener.address));
    }
    for (const auto& link : state.links) {
        if (!link->socket()) {
            texts.push_back(link->name);
        }
    }
    return texts;
}

bool open_addresses(Service* state) {
    for (const std::string& configured : host_settings().listen) {
        std::string error;
        if (!open_address(state, configured, &error)) {
            ALOGE("%s: %s", configured.c_str(), error.c_str());
        }
    }
    const std::vector<std::string> open = addresses(*state);
    for (const std::string& address : open) {
        ALOGI("listening on %s", address.c_str());
    }
    if (open.empty()) {
        ALOGE("no address of VENDORDIAG_LISTEN can be served");
    }
    return !open.empty();
}

void close_addresses(Service* state) {
    for (DiagListener& listener : state->listeners) {
        diag_listener_close(&listener);
    }
    state->listeners.clear();
    std::move(state->links.begin(), state->links.end(), std::back_inserter(state->leaving));
    state->links.clear();
    state->accept_failed = false;
    ++state->generation;
}

bool start_service(Service* state) {
    constexpr std::chrono::milliseconds kRegistration(1000);
    if (state->started) {
        return true;
    }
    diag_expect_tables(kRegistration);
    state->wake = UniqueFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    pthread_attr_t attributes;
    if (!state->wake.ok() || pthread_attr_init(&attributes) != 0) {
        return false;
    }
    (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);  // fails for no valid attribute
    state->started = pthread_create(&state->thread, &attributes, run_service, nullptr) == 0;
    (void)pthread_attr_destroy(&attributes);
    return state->started;
}

bool on_service_thread(const Service& state) {
    return state.started && pthread_equal(state.thread, pthread_self()) != 0;
}

}  // namespace

extern "C" bool Diag_LSM_Init(uint8_t*) {
    Service& state = service();
    const Lock lock(state.lock);
    if (state.attached) {
        return true;
    }
    std::string error;
    if (!claim_root(&state, &error)) {
        ALOGE("cannot attach to the diag service: %s", error.c_str());
        return false;
    }
    if (!open_addresses(&state)) {
        return false;
    }
    if (!start_service(&state)) {
        ALOGE("cannot start the diag service's thread");
        close_addresses(&state);
        return false;
    }
    state.attached = true;
    ++state.generation;
    close_leaving(&state);
    wake_service(state);
    return true;
}

extern "C" bool Diag_LSM_DeInit() {
    Service& state = service();
    Lock lock(state.lock);
    if (!state.attached) {
        return true;
    }
    close_addresses(&state);
    state.attached = false;
    wake_service(state);
    // From inside a handler, clients learn of it when the service is open again or the handler has returned: whoever
    // connects again at once finds it open. From outside, no handler runs any more when this returns.
    if (!on_service_thread(state)) {
        close_leaving(&state);
        state.served.wait(lock, [&state] { return !state.serving; });
    }
    return true;
}

void diag_settle(std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds kLook(5);
    Service& state = service();
    Lock lock(state.lock);
    const auto busy = [&state] {
        return state.serving ||
               std::any_of(state.links.begin(), state.links.end(), [](const auto& link) { return link->has_output(); });
    };
    for (const auto end = Clock::now() + limit; busy() && Clock::now() < end && !on_service_thread(state);) {
        (void)state.served.wait_for(lock, kLook);  // an answer that leaves late is not announced
    }
}

std::vector<std::string> host_diag_addresses() {
    Service& state = service();
    const Lock lock(state.lock);
    return addresses(state);
}
