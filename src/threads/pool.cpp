// Workers wait for their task spinning on `slot`, so that handing over needs no system call while
// work is flowing, and sleep on a semaphore after a while without any. In large pools they sleep at
// once: spinning would take processors from those that work.
#include "threads/pool.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "lyr_fft.h"
#include "threads/threads.h"

namespace lyr {

namespace {

constexpr int64_t most_spinning_threads = 48;
constexpr int64_t spin_nanoseconds = 1'000'000;  // without a task, before a worker sleeps

// Values of `slot`; any other is the address of the worker: a task is posted.
constexpr uint64_t slot_idle = 0, slot_running = 1, slot_asleep = 2, slot_exit = UINT64_MAX;

struct worker {
    char padding_before[64];  // the cache lines of a worker are touched by two threads already
    sem_t ready;              // a task, or the end, for a worker that sleeps
    sem_t done;               // of workers that never spin
    work_function fn;         // null: end
    pool_task task;
    worker *next;  // in idle_workers
    uint64_t slot;
    bool spins;
    char padding_after[64];
};

// Everything is set up by lyr_fft_init_threads.
int32_t pool_initialized = 0;  // read with acquire
pthread_mutex_t pool_init_mutex = PTHREAD_MUTEX_INITIALIZER;
sem_t pool_lock;        // for idle_workers
sem_t worker_exit_sem;  // posted by every worker that ends
worker *idle_workers = nullptr;

// Read and written with relaxed atomics.
int64_t pool_nthreads = 1;
int32_t thread_cap = -1;       // no cap
int64_t workers_existing = 0;  // idle or not
int64_t workers_awake = 0;

template <class number>
number load(const number *x) {
    return __atomic_load_n(x, __ATOMIC_RELAXED);
}
template <class number>
void store(number *x, number value) {
    __atomic_store_n(x, value, __ATOMIC_RELAXED);
}
void count(int64_t *x, int64_t change) {
    __atomic_fetch_add(x, change, __ATOMIC_RELAXED);
}

// True unless the semaphore is unusable.
bool wait_for(sem_t *semaphore) {
    int status;
    do status = sem_wait(semaphore);
    while (status != 0 && errno == EINTR);
    return status == 0;
}

void lock_idle_workers() {
    wait_for(&pool_lock);
}
void unlock_idle_workers() {
    sem_post(&pool_lock);
}

int64_t nanoseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void pause_processor() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("isb" ::: "memory");  // yield is no pause on most processors
#endif
}

// One turn after the other of waiting for another thread. Where threads outnumber processors that
// one may be waiting for ours: let it run. So too after a long time, when something else has taken
// its processor.
struct spin {
    int64_t turns = 0;
    int64_t start = 0;

    // Waits a little; true when it has been long, counted from the first turn.
    bool turn() {
        constexpr int64_t between_clocks = 64;
        const bool crowded = load(&workers_awake) >= usable_processors();
        if (crowded || is_long)
            sched_yield();
        else
            pause_processor();
        if (turns++ % (crowded ? 8 : between_clocks) != 0) return is_long;
        const int64_t now = nanoseconds();
        if (start == 0) start = now;
        return is_long = now - start > spin_nanoseconds;
    }

  private:
    bool is_long = false;
};

// ---- Workers ------------------------------------------------------------------------------------

// Waits until a task or the end is posted, and returns the slot.
uint64_t wait_for_post(worker *w) {
    spin waiting;
    for (;;) {
        uint64_t slot = __atomic_load_n(&w->slot, __ATOMIC_SEQ_CST);
        if (slot > slot_asleep) return slot;
        if (!waiting.turn()) continue;
        // Whoever posts from now on finds slot_asleep and wakes us.
        slot = slot_idle;
        __atomic_compare_exchange_n(&w->slot, &slot, slot_asleep, false, __ATOMIC_SEQ_CST,
                                    __ATOMIC_SEQ_CST);
        if (slot != slot_idle && slot != slot_asleep) continue;
        count(&workers_awake, -1);
        wait_for(&w->ready);
        count(&workers_awake, +1);
        waiting = {};
    }
}

void run_spinning(worker *w) {
    while (wait_for_post(w) != slot_exit) {
        __atomic_store_n(&w->slot, slot_running, __ATOMIC_SEQ_CST);
        w->fn(&w->task);
        __atomic_store_n(&w->slot, slot_idle, __ATOMIC_SEQ_CST);
    }
}

void run_sleeping(worker *w) {
    while (wait_for(&w->ready) && w->fn) {
        w->fn(&w->task);
        sem_post(&w->done);
    }
}

void *worker_main(void *arg) {
    worker *w = static_cast<worker *>(arg);
    if (w->spins)
        run_spinning(w);
    else
        run_sleeping(w);
    sem_post(&worker_exit_sem);
    return nullptr;
}

// Workers take no signals that can go to another thread.
void block_signals(sigset_t *before) {
    sigset_t blocked;
    sigfillset(&blocked);
    constexpr int of_each_thread[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGPROF};
    for (const int signal : of_each_thread) sigdelset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, before);
}

bool start_thread(worker *w) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigset_t signals;
    block_signals(&signals);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, worker_main, w) == 0;
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    if (started) pin_new_worker(thread);
    pthread_attr_destroy(&attributes);
    return started;
}

void free_worker(worker *w) {
    sem_destroy(&w->done);
    sem_destroy(&w->ready);
    free(w);
}

// Null when no thread can be started, or, with *no_memory, when there is no memory.
worker *create_worker(bool *no_memory) {
    worker *w = static_cast<worker *>(malloc(sizeof(worker)));
    *no_memory = !w;
    if (!w) return nullptr;
    sem_init(&w->ready, 0, 0);
    sem_init(&w->done, 0, 0);
    w->slot = slot_idle;
    w->spins = load(&pool_nthreads) <= most_spinning_threads;
    count(&workers_existing, +1);
    if (w->spins) count(&workers_awake, +1);
    if (start_thread(w)) return w;
    if (w->spins) count(&workers_awake, -1);
    count(&workers_existing, -1);
    free_worker(w);
    return nullptr;
}

void hand_over(worker *w, work_function fn, const pool_task &task) {
    w->fn = fn;
    w->task = task;
    if (!w->spins || __atomic_exchange_n(&w->slot, reinterpret_cast<uint64_t>(w),
                                         __ATOMIC_SEQ_CST) == slot_asleep)
        sem_post(&w->ready);
}

void wait_until_done(worker *w) {
    if (!w->spins) {
        wait_for(&w->done);
        return;
    }
    spin waiting;
    for (;;) {
        const uint64_t slot = __atomic_load_n(&w->slot, __ATOMIC_SEQ_CST);
        if (slot == slot_idle || slot == slot_asleep) return;
        waiting.turn();
    }
}

void end_worker(worker *w) {
    w->fn = nullptr;
    const uint64_t slot = __atomic_exchange_n(&w->slot, slot_exit, __ATOMIC_SEQ_CST);
    if (!w->spins || slot == slot_asleep) sem_post(&w->ready);
    wait_for(&worker_exit_sem);
    if (w->spins) count(&workers_awake, -1);
    count(&workers_existing, -1);
    free_worker(w);
}

// ---- A run --------------------------------------------------------------------------------------

struct team {
    worker *members[max_threads - 1];  // null: the chunk is left to the caller
    int64_t size;
};

// The list is a stack: the member whose turn is first returns to its top, so that in the next run
// it does the same chunk, whose data its caches hold.
void take_idle_workers(team *t, int64_t wanted) {
    lock_idle_workers();
    for (t->size = 0; t->size < wanted && idle_workers; ++t->size) {
        t->members[t->size] = idle_workers;
        idle_workers = idle_workers->next;
    }
    unlock_idle_workers();
}

void return_workers(const team *t) {
    lock_idle_workers();
    for (int64_t i = t->size - 1; i >= 0; --i) {
        worker *w = t->members[i];
        if (!w) continue;
        w->next = idle_workers;
        idle_workers = w;
    }
    unlock_idle_workers();
}

}  // namespace

chunking chunks_of(int64_t n, int64_t nthreads, int64_t align) {
    const int64_t t = nthreads < max_threads ? nthreads : max_threads;
    if (t < 1) return {0, 0};
    const auto share = static_cast<uint64_t>(n / t + (n % t != 0));
    const auto unit = static_cast<uint64_t>(align);
    const auto chunk = static_cast<int64_t>((share + unit - 1) & ~(unit - 1));
    return {chunk, chunk == 0 ? 0 : n / chunk + (n % chunk != 0)};
}

int64_t threads_for_plan(int64_t requested) {
    const int32_t cap = load(&thread_cap);
    return cap > 0 && cap < requested ? cap : requested;
}

void thread_pool_run(int64_t n, int64_t nthreads, int64_t align, work_function fn, void *arg) {
    if (n == 0) return;
    const auto [chunk, chunks] = chunks_of(n, nthreads, align);
    const pool_task own = {chunk, chunks - 1, arg};
    if (chunks < 2) {
        fn(&own);
        return;
    }
    lyr_fft_init_threads();

    team t;
    bool no_memory = false;
    take_idle_workers(&t, chunks - 1);
    const int64_t idle = t.size;
    for (int64_t i = 0; i < chunks - 1; ++i) {
        if (i >= idle) {
            worker *w = create_worker(&no_memory);
            if (no_memory) break;
            t.members[t.size++] = w;
        }
        if (t.members[i]) hand_over(t.members[i], fn, {chunk, i, arg});
    }
    if (!no_memory) fn(&own);
    // What was handed over is waited for in any case: it uses memory of the caller's.
    for (int64_t i = 0; i < t.size; ++i) {
        const pool_task left = {chunk, i, arg};
        if (t.members[i])
            wait_until_done(t.members[i]);
        else
            fn(&left);
    }
    return_workers(&t);
}

void pool_refresh_placement() {
    pool_refresh_placement_at(affinity_caller_processor());
}

void pool_refresh_placement_at(int cpu) {
    if (affinity_caller_moved(cpu) && __atomic_load_n(&pool_initialized, __ATOMIC_ACQUIRE))
        pool_destroy_workers();
}

void pool_destroy_workers() {
    lock_idle_workers();
    while (worker *w = idle_workers) {
        idle_workers = w->next;
        end_worker(w);
    }
    unlock_idle_workers();
}

int64_t pool_worker_count() {
    return load(&workers_existing);
}

int64_t library_threads() {
    return load(&pool_nthreads);
}

// ---- Fork ---------------------------------------------------------------------------------------
// The child has none of the workers. Locks are taken before, so that the child finds everything in
// order; it makes a new pool when it needs one.

namespace {

void before_fork() {
    pthread_mutex_lock(&pool_init_mutex);
    if (pool_initialized) lock_idle_workers();
    affinity_lock();
}

void after_fork_in_parent() {
    affinity_unlock();
    if (pool_initialized) unlock_idle_workers();
    pthread_mutex_unlock(&pool_init_mutex);
}

// Workers that were busy for another thread stay behind as memory that nobody uses.
void after_fork_in_child() {
    while (worker *w = idle_workers) {
        idle_workers = w->next;
        free(w);
    }
    store(&workers_existing, int64_t{0});
    store(&workers_awake, int64_t{0});
    affinity_unlock();
    __atomic_store_n(&pool_initialized, 0, __ATOMIC_RELEASE);
    pthread_mutex_unlock(&pool_init_mutex);
}

__attribute__((constructor)) void survive_fork() {
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

}  // namespace

}  // namespace lyr

extern "C" {

int lyr_fft_init_threads(void) {
    using namespace lyr;
    if (__atomic_load_n(&pool_initialized, __ATOMIC_ACQUIRE)) return 1;
    pthread_mutex_lock(&pool_init_mutex);
    if (!pool_initialized) {
        sem_init(&pool_lock, 0, 1);
        sem_init(&worker_exit_sem, 0, 0);
        idle_workers = nullptr;
        affinity_start();
        __atomic_store_n(&pool_initialized, 1, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&pool_init_mutex);
    return 1;
}

void lyr_fft_plan_with_nthreads(int nthreads) {
    using namespace lyr;
    store(&thread_cap, affinity_discover());
    lyr_fft_init_threads();
    affinity_start_if_unknown();
    const int64_t count = nthreads < 1 ? 1 : nthreads > max_threads ? max_threads : nthreads;
    store(&pool_nthreads, count);
}

void lyr_fft_cleanup_threads(void) {
    using namespace lyr;
    pthread_mutex_lock(&pool_init_mutex);
    if (pool_initialized) {
        pool_destroy_workers();
        sem_destroy(&pool_lock);
        sem_destroy(&worker_exit_sem);
        affinity_release();
        __atomic_store_n(&pool_initialized, 0, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&pool_init_mutex);
}

}  // extern "C"
