// The pool of worker threads: one for the process, its workers made when first needed.
#pragma once

#include <cstdint>

#include "threads/affinity.h"

namespace lyr {

inline constexpr int64_t max_threads = 512;

// What a work function is given: it does the items from index*chunk up to, not including,
// (index + 1)*chunk or the number of all items, whichever is less.
struct pool_task {
    int64_t chunk;
    int64_t index;
    void *arg;
};
using work_function = void (*)(const pool_task *);

// How n items are dealt out: `count` chunks of `chunk` items, the last one perhaps shorter.
// nthreads: at most max_threads count. align: a power of two that divides the length of chunks.
struct chunking {
    int64_t chunk, count;
};
chunking chunks_of(int64_t n, int64_t nthreads, int64_t align);

// Blocks of 8 items for every thread where there are enough: neighbours often share cache lines.
inline int64_t chunk_align(int64_t n, int64_t nthreads) {
    return n > 8 * nthreads ? 8 : 1;
}

// The number of threads for a plan for which so many were asked.
int64_t threads_for_plan(int64_t requested);

// Runs fn over n items, a chunk of chunks_of(n, nthreads, align) per thread, the last one on the
// calling thread; returns when all is done. May be called from several threads at once, and from
// within fn. Call pool_refresh_placement before.
// When no thread can be started its chunk is done by the caller. When there is no memory for a
// worker the remaining chunks are not done at all.
void thread_pool_run(int64_t n, int64_t nthreads, int64_t align, work_function fn, void *arg);

// Makes new workers when the calling thread (the thread on processor `cpu`) has moved to another
// processor since the present ones were placed.
void pool_refresh_placement();
void pool_refresh_placement_at(int cpu);

// Ends all idle workers.
void pool_destroy_workers();

// Workers that exist. For tests.
int64_t pool_worker_count();

}  // namespace lyr
