// Detached worker threads: what a command does after its response has left.
#pragma once

#include <pthread.h>

using WorkerBody = void*(void* arg);

// Starts `body(arg)` on a thread of its own that nobody joins. `arg` must outlive the request (static text, or a value
// cast to a pointer). `thread`, unless null, gets the thread's identifier. Returns 0; EAGAIN when 16 workers with this
// body have not ended yet (whoever asks more often gains nothing); ENOMEM, or the error number of the thread's
// creation.
int start_worker(WorkerBody* body, void* arg, pthread_t* thread = nullptr);

// Number of workers that have not ended yet.
unsigned workers_running();
