// Detached worker threads.
#include "support/worker.h"

#include <pthread.h>

#include <atomic>
#include <memory>

namespace {

std::atomic<unsigned> running_workers{0};

struct WorkerStart {
    WorkerBody* body;
    void* arg;
};

void* run_worker(void* start) {
    const std::unique_ptr<WorkerStart> own(static_cast<WorkerStart*>(start));
    (void)own->body(own->arg);
    --running_workers;
    return nullptr;
}

}  // namespace

int start_worker(WorkerBody* body, void* arg, pthread_t* thread) {
    auto start = std::make_unique<WorkerStart>(WorkerStart{body, arg});
    pthread_attr_t attr;
    if (const int error = pthread_attr_init(&attr); error != 0) {
        return error;
    }
    (void)pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);  // cannot fail with this value
    ++running_workers;
    pthread_t id{};
    const int error = pthread_create(&id, &attr, run_worker, start.get());
    (void)pthread_attr_destroy(&attr);
    if (error != 0) {
        --running_workers;
        return error;
    }
    (void)start.release();  // the thread frees it
    if (thread != nullptr) {
        *thread = id;
    }
    return 0;
}

unsigned workers_running() { return running_workers; }
