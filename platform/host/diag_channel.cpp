// The diag service: one thread that reads frames from every client, serves their requests one at a time and sends each
// answer to the client that asked. A lock guards everything except a handler's run and the waiting, so that the
// service can be closed and opened from any thread and from inside a handler; `generation` tells whoever comes back
// from one of the two that what it knew is gone.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#define LOG_TAG "diag"
#include "platform/host/address.h"
#include "platform/host/diag_library.h"
#include "platform/host/diag_link.h"
#include "platform/host/diag_listen.h"
#include "platform/host/host.h"
#include "platform/include/diag.h"
#include "platform/include/log.h"

namespace {

constexpr unsigned kFramesPerTurn = 64;    // of one client, before the others have theirs
constexpr unsigned kFramesPerHandler = 4;  // what a handler's run counts
constexpr unsigned kAcceptsPerTurn = 16;
constexpr size_t kMaxLinks = 512;  // below the limit of select(), which the rest of the process may use
constexpr int kRetryMilliseconds = static_cast<int>(kDiagRetry.count());

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
    size_t max_links = 0;
    bool attached = false;
    bool was_attached = false;  // once; opening again is a recovery
    bool serving = false;       // a handler runs
    unsigned generation = 0;
    std::vector<DiagListener> listeners;
    std::vector<std::unique_ptr<DiagLink>> links;
    std::vector<std::unique_ptr<DiagLink>> leaving;  // closed from inside a handler, not yet told so
    std::vector<PickedPort> picked;                  // so that an address that is opened again stays what it was
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

// Handlers need descriptors too, whatever clients do.
size_t limit_of_links() {
    rlimit limit{};
    const bool known = getrlimit(RLIMIT_NOFILE, &limit) == 0;
    return known ? std::min<size_t>(kMaxLinks, limit.rlim_cur / 2) : kMaxLinks;
}

void wake_service(const Service& state) {
    const uint64_t one = 1;
    // Fails only when the counter is full, and then it wakes all the same.
    (void)!write(state.wake.get(), &one, sizeof(one));
}

void close_leaving(Service* state) {
    std::for_each(state->leaving.begin(), state->leaving.end(), [](const auto& link) { diag_link_close(link.get()); });
    state->leaving.clear();
}

// ---- One request

// Runs a request's handler without the lock. False: the service was closed meanwhile, and `link` is gone.
bool run_handler(Service* state, DiagLink* link, Lock* lock) {
    const unsigned generation = state->generation;
    state->serving = true;
    lock->unlock();
    const DiagResponse response = diag_serve(state->request.data(), state->request.size());
    lock->lock();
    state->serving = false;
    state->served.notify_all();
    close_leaving(state);
    if (state->generation != generation) {
        return false;
    }
    if (response != nullptr) {
        diag_link_answer(link, response.get());
    }
    return true;
}

// Serves the packet that has just been decoded and adds to `turn` what that counts. False as above.
bool serve_packet(Service* state, DiagLink* link, Lock* lock, unsigned* turn) {
    size_t size = 0;
    (void)hdlc_packet(link->decoder, &size);
    std::swap(state->request, link->decoder.frame);
    state->request.resize(size);  // the checksum is not the handler's
    if (DiagResponse response; diag_answer_itself(state->request.data(), size, &response)) {
        if (response != nullptr) {
            diag_link_answer(link, response.get());
        }
        return true;
    }
    // How long a handler takes is unknown: no answer waits for another one's handler.
    *turn += kFramesPerHandler - 1;
    diag_link_send(link);
    if (!run_handler(state, link, lock)) {
        return false;
    }
    diag_link_send(link);
    return true;
}

// Serves what has been read, up to one turn's worth. The library's own answers leave together. False as above.
bool serve_input(Service* state, DiagLink* link, Lock* lock) {
    for (unsigned turn = 0; turn < kFramesPerTurn && link->has_input() && !link->blocked && !link->dead;) {
        const HdlcEvent event = diag_link_decode(link);
        turn += event != HdlcEvent::kNone ? 1 : 0;
        if (event == HdlcEvent::kPacket) {
            if (!serve_packet(state, link, lock, &turn)) {
                return false;
            }
        } else if (event != HdlcEvent::kNone && event != HdlcEvent::kEmpty) {
            ALOGE("%s: frame dropped: %s", link->name.c_str(), hdlc_event_text(event));
        }
    }
    if (link->has_output() && !link->blocked) {
        diag_link_send(link);
    }
    return true;
}

// ---- One turn of a link

// False: the service was closed meanwhile, and `link` is gone.
bool link_turn(Service* state, DiagLink* link, Lock* lock) {
    if (link->kind == AddressKind::kTty && !link->fd.ok()) {
        diag_link_reopen(link);
        return true;
    }
    const short events = state->polled[link->poll_at].revents;
    if (link->kind == AddressKind::kPty) {
        if (state->polled[link->poll_at + 1].revents != 0) {
            diag_link_refresh(link);
        }
        if ((events & POLLHUP) != 0) {
            diag_link_drop_output(link);
        }
    }
    if (link->has_output() && events != 0) {
        diag_link_send(link);
    }
    if (!link->has_input() && !link->has_output() && !link->ended && (events & ~POLLOUT) != 0) {
        diag_link_read(link);
    }
    if (!serve_input(state, link, lock)) {
        return false;
    }
    link->dead = link->dead || (link->ended && !link->has_input() && !link->has_output());
    return true;
}

// Memory that is short costs a client what is under way, and nobody else anything. False as above.
bool link_turn_in_short_memory(Service* state, DiagLink* link, Lock* lock) {
    try {
        return link_turn(state, link, lock);
    } catch (const std::bad_alloc&) {
        ALOGE("%s: out of memory, what is under way is dropped", link->name.c_str());
        diag_link_forget(link);
        return true;
    }
}

// ---- All of them

void add_link(Service* state, AddressKind kind, std::string name, UniqueFd fd) {
    auto link = std::make_unique<DiagLink>();
    link->kind = kind;
    link->name = std::move(name);
    link->fd = std::move(fd);
    state->links.push_back(std::move(link));
}

void accept_clients(Service* state, const DiagListener& listener) {
    for (unsigned i = 0; i < kAcceptsPerTurn && state->links.size() < state->max_links; ++i) {
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

// Closes the clients that have left, which may make room for those that wait.
void sweep_links(Service* state) {
    const auto dead =
        std::stable_partition(state->links.begin(), state->links.end(), [](const auto& link) { return !link->dead; });
    state->accept_failed = state->accept_failed && dead == state->links.end();
    std::for_each(dead, state->links.end(), [](const auto& link) { diag_link_close(link.get()); });
    state->links.erase(dead, state->links.end());
}

void poll_link(Service* state, DiagLink* link) {
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
    const bool accepting = !state->accept_failed && state->links.size() < state->max_links;
    for (const DiagListener& listener : state->listeners) {
        state->polled.push_back({accepting ? listener.fd.get() : -1, POLLIN, 0});
    }
    int timeout = state->accept_failed ? kRetryMilliseconds : -1;
    for (const auto& link : state->links) {
        poll_link(state, link.get());
        if (link->has_input() && !link->has_output()) {
            timeout = 0;
        } else if (link->descriptor() < 0 && timeout < 0) {
            timeout = kRetryMilliseconds;
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
        if (!link_turn_in_short_memory(state, state->links[i].get(), lock)) {
            return;
        }
    }
    const bool waiting = state->accept_failed;  // listeners were not polled
    sweep_links(state);
    for (size_t i = 0; i < state->listeners.size(); ++i) {
        if (state->polled[1 + i].revents != 0 || waiting) {
            accept_clients(state, state->listeners[i]);
        }
    }
}

void wait_and_serve(Service* state, Lock* lock) {
    const int timeout = prepare_poll(state);
    const unsigned generation = state->generation;
    lock->unlock();
    const int ready = poll(state->polled.data(), state->polled.size(), timeout);
    lock->lock();
    if (ready >= 0 && state->generation == generation) {
        run_round(state, lock);
    }
}

void* run_service(void*) {
    Service& state = service();
    (void)pthread_setname_np(pthread_self(), "diag");  // for people who look at the process
    Lock lock(state.lock);
    for (;;) {
        try {
            wait_and_serve(&state, &lock);
        } catch (const std::bad_alloc&) {
            ALOGE("out of memory, clients wait");
            (void)poll(nullptr, 0, kRetryMilliseconds);
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
            if (!diag_open_tty(address.path, &tty, error) && !state->was_attached) {
                return false;
            }
            // One that is away while the service opens again is looked for until it is back.
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
    for (const DiagListener& listener : state->listeners) {
        if (diag_listener_is_public(listener)) {
            ALOGE("%s: whoever reaches this address can read and change the phone",
                  address_text(listener.address).c_str());
        }
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
    state.max_links = limit_of_links();
    state.attached = true;
    state.was_attached = true;
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
    using Clock = std::chrono::steady_clock;
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
