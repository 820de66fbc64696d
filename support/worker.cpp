// Detached worker threads.
#include "support/worker.h"

#include <pthread.h>

#include <array>
#include <cerrno>
#include <memory>
#include <mutex>
#include <new>

#include "platform/include/log.h"

namespace {

constexpr size_t kMaxKinds = 16;  // more than the daemon has
constexpr unsigned kMaxOfKind = 16;

// Workers that have not ended yet, by what they do.
struct WorkerKind {
    WorkerBody* body = nullptr;
    unsigned running = 0;
};
std::mutex workers_mutex;
std::array<WorkerKind, kMaxKinds> worker_kinds;

struct WorkerStart {
    WorkerBody* body;
    void* arg;
};

// The row of a body, or one that is free for it; null when there is neither.
WorkerKind* kind_of(WorkerBody* body) {
    WorkerKind* free_row = nullptr;
    for (WorkerKind& kind : worker_kinds) {
        if (kind.body == body) {
            return &kind;
        }
        free_row = free_row == nullptr && kind.running == 0 ? &kind : free_row;
    }
    return free_row;
}

bool count_in(WorkerBody* body) {
    const std::scoped_lock lock(workers_mutex);
    WorkerKind* const kind = kind_of(body);
    if (kind == nullptr || kind->running == kMaxOfKind) {
        return false;
    }
    kind->body = body;
    ++kind->running;
    return true;
}

void count_out(WorkerBody* body) {
    const std::scoped_lock lock(workers_mutex);
    --kind_of(body)->running;
}

void* run_worker(void* start) {
    const std::unique_ptr<WorkerStart> own(static_cast<WorkerStart*>(start));
    try {
        (void)own->body(own->arg);
    } catch (const std::bad_alloc&) {
        ALOGE("out of memory, a worker ends\n");
    }
    count_out(own->body);
    return nullptr;
}

int start_detached(WorkerStart* start, pthread_t* id) {
    pthread_attr_t attr;
    if (const int error = pthread_attr_init(&attr); error != 0) {
        return error;
    }
    (void)pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);  // cannot fail with this value
    const int error = pthread_create(id, &attr, run_worker, start);
    (void)pthread_attr_destroy(&attr);
    return error;
}

}  // namespace

int start_worker(WorkerBody* body, void* arg, pthread_t* thread) {
    std::unique_ptr<WorkerStart> start(new (std::nothrow) WorkerStart{body, arg});
    if (start == nullptr) {
        return ENOMEM;
    }
    if (!count_in(body)) {
        return EAGAIN;
    }
    pthread_t id{};
    if (const int error = start_detached(start.get(), &id); error != 0) {
        count_out(body);
        return error;
    }
    (void)start.release();  // the thread frees it
    if (thread != nullptr) {
        *thread = id;
    }
    return 0;
}

unsigned workers_running() {
    const std::scoped_lock lock(workers_mutex);
    unsigned running = 0;
    for (const WorkerKind& kind : worker_kinds) {
        running += kind.running;
    }
    return running;
}
