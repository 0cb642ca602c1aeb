// The pool of worker threads. Every calling thread has workers of its own, made when it first needs
// them.
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
// within fn. Where there is no thread for a chunk, or no memory, the caller does it.
void thread_pool_run(int64_t n, int64_t nthreads, int64_t align, work_function fn, void *arg);

// Workers that exist, and how many have been started and bound so far. For tests.
struct pool_counts {
    int64_t workers, started, bound;
};
pool_counts pool_count();
int64_t pool_worker_count();

}  // namespace lyr
