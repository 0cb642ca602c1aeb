// Workers wait for their task spinning on `slot`, so that handing over needs no system call while
// work is flowing, and sleep on a semaphore after a while without any. In large pools they sleep at
// once: spinning would take processors from those that work. Each belongs to the thread that it was
// last at work for, and is bound anew when that one has moved to another processor.
#include "threads/pool.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "interface.h"
#include "threads/threads.h"

namespace lyr {

namespace {

constexpr int64_t most_spinning_threads = 48;
constexpr int64_t spin_nanoseconds = 1'000'000;   // without a task, before a worker sleeps
constexpr int64_t crowded_nanoseconds = 50'000;   // the same where threads outnumber processors
constexpr int64_t patience_nanoseconds = 20'000;  // of a caller, before it looks at processors
constexpr int64_t look_nanoseconds = 1'000'000;   // between its looks

// Values of `slot`; any other is the address of the worker: a task is posted.
constexpr uint64_t slot_idle = 0, slot_running = 1, slot_asleep = 2, slot_exit = UINT64_MAX;

struct worker {
    char padding_before[64];  // the cache lines of a worker are touched by two threads already
    sem_t ready;              // a task, or the end, for a worker that sleeps
    sem_t done;               // of workers that never spin
    work_function fn;         // null: end
    pool_task task;
    worker *next;  // in a list of workers
    uint64_t slot;
    pthread_t thread;
    placement where;
    bool spins;
    bool crowded;  // its caller's threads outnumber their processors; read and written with atomics
    char padding_after[64];
};

// A thread that has run something, and its workers that wait for more. The list is a stack: the
// worker whose turn is first returns to its top, so that in the next run it does the same chunk,
// whose data its caches hold.
struct caller {
    pthread_t thread;   // which may be that of a thread that is gone,
    pid_t number;       // the kernel's name for that one
    int32_t runs;       // that it is in the middle of; more than one where runs are nested
    int64_t busy;       // workers at work in them
    int64_t last_used;  // in nanoseconds
    worker *idle;
    caller *next;
    // What only the thread itself uses.
    int64_t looked;      // when it last looked at
    int32_t processors;  // those that it and its workers may use; 0: not yet
};

// Workers of others are taken rather than new ones made when those have not run anything for so
// long, and in any case when there are so many workers.
constexpr int64_t forgotten_nanoseconds = 1'000'000'000;
constexpr int64_t many_workers = max_threads;

pthread_mutex_t pool_lock = PTHREAD_MUTEX_INITIALIZER;  // for what follows
caller *callers = nullptr;                              // the one that ran last comes first
uint32_t pool_age = 0;  // clean-ups begun: runs in progress are counted by the parity of their age
int64_t runs_in_progress[2] = {0, 0};
pthread_cond_t runs_ended = PTHREAD_COND_INITIALIZER;

// Held by lyr_fft_cleanup_threads, before pool_lock.
pthread_mutex_t cleanup_lock = PTHREAD_MUTEX_INITIALIZER;

// Read and written with relaxed atomics.
int64_t pool_nthreads = 1;
int32_t thread_cap = -1;       // no cap
int64_t workers_existing = 0;  // idle or not
int64_t workers_awake = 0;     // that spin or work; one that was woken counts at once
int64_t workers_started = 0, workers_bound = 0;

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

// While one exists the thread cannot be cancelled: workers would be lost, and locks kept.
class no_cancellation {
  public:
    no_cancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
    ~no_cancellation() { pthread_setcancelstate(before, nullptr); }
    no_cancellation(const no_cancellation &) = delete;
    no_cancellation &operator=(const no_cancellation &) = delete;

  private:
    int before;
};

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
    int64_t start = 0, waited = 0;  // nanoseconds, counted from the first turn
    bool crowded = false;

    void turn(bool team_crowded) {
        constexpr int64_t between_clocks = 64;
        crowded = team_crowded || load(&workers_awake) >= usable_processors();
        if (crowded || waited > spin_nanoseconds)
            sched_yield();
        else
            pause_processor();
        if (turns++ % (crowded ? 8 : between_clocks) != 0) return;
        const int64_t now = nanoseconds();
        if (start == 0) start = now;
        waited = now - start;
    }
};

// ---- Workers ------------------------------------------------------------------------------------

// Waits until a task or the end is posted, and returns the slot.
uint64_t wait_for_post(worker *w) {
    spin waiting;
    for (;;) {
        uint64_t slot = __atomic_load_n(&w->slot, __ATOMIC_SEQ_CST);
        if (slot > slot_asleep) return slot;
        waiting.turn(load(&w->crowded));
        if (waiting.waited <= (waiting.crowded ? crowded_nanoseconds : spin_nanoseconds)) continue;
        // Whoever posts from now on finds slot_asleep, counts us as awake, and wakes us.
        count(&workers_awake, -1);
        slot = slot_idle;
        if (!__atomic_compare_exchange_n(&w->slot, &slot, slot_asleep, false, __ATOMIC_SEQ_CST,
                                         __ATOMIC_SEQ_CST)) {
            count(&workers_awake, +1);
            continue;
        }
        wait_for(&w->ready);
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
    sigset_t signals;
    block_signals(&signals);
    const bool started = pthread_create(&w->thread, &attributes, worker_main, w) == 0;
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    pthread_attr_destroy(&attributes);
    return started;
}

void free_worker(worker *w) {
    sem_destroy(&w->done);
    sem_destroy(&w->ready);
    free(w);
}

// Null when there is no memory or no thread.
worker *create_worker() {
    worker *w = static_cast<worker *>(malloc(sizeof(worker)));
    if (!w) return nullptr;
    sem_init(&w->ready, 0, 0);
    sem_init(&w->done, 0, 0);
    w->slot = slot_idle;
    w->where = {};
    w->crowded = false;
    w->spins = load(&pool_nthreads) <= most_spinning_threads;
    count(&workers_existing, +1);
    if (w->spins) count(&workers_awake, +1);
    if (start_thread(w)) {
        count(&workers_started, +1);
        return w;
    }
    if (w->spins) count(&workers_awake, -1);
    count(&workers_existing, -1);
    free_worker(w);
    return nullptr;
}

// Wakes the worker if it sleeps.
void post(worker *w, uint64_t slot) {
    if (w->spins) {
        if (__atomic_exchange_n(&w->slot, slot, __ATOMIC_SEQ_CST) != slot_asleep) return;
        count(&workers_awake, +1);
    }
    sem_post(&w->ready);
}

void hand_over(worker *w, work_function fn, const pool_task &task) {
    w->fn = fn;
    w->task = task;
    post(w, reinterpret_cast<uint64_t>(w));
}

bool is_done(const worker *w) {
    const uint64_t slot = __atomic_load_n(&w->slot, __ATOMIC_SEQ_CST);
    return slot == slot_idle || slot == slot_asleep;
}

// Ends workers of a list, and waits until their threads are gone.
void end_workers(worker *list) {
    for (worker *w = list; w; w = w->next) {
        w->fn = nullptr;
        post(w, slot_exit);
    }
    while (worker *w = list) {
        list = w->next;
        pthread_join(w->thread, nullptr);
        if (w->spins) count(&workers_awake, -1);
        count(&workers_existing, -1);
        free_worker(w);
    }
}

// ---- Callers ------------------------------------------------------------------------------------
// pool_lock is held.

// May be true of a thread that has got the record of a former one: then it gets a new record.
bool has_ended(const caller *c) {
    return syscall(SYS_tgkill, getpid(), c->number, 0) != 0 && errno == ESRCH;
}

// The record of the calling thread, which becomes the first; null when there is no memory.
caller *this_caller() {
    const pthread_t thread = pthread_self();
    caller **link = &callers;
    while (*link && !pthread_equal((*link)->thread, thread)) link = &(*link)->next;
    caller *c = *link;
    if (c) {
        *link = c->next;
    } else {
        c = static_cast<caller *>(calloc(1, sizeof(caller)));
        if (!c) return nullptr;
        c->thread = thread;
        c->number = static_cast<pid_t>(syscall(SYS_gettid));
    }
    c->next = callers;
    callers = c;
    return c;
}

// Takes their workers from callers that are gone or, with `all`, from all, and frees the records
// that nobody needs then.
worker *take_idle_workers(bool all) {
    worker *list = nullptr, **end = &list;
    for (caller **link = &callers; *link;) {
        caller *c = *link;
        const bool unused = c->runs == 0 && (all || has_ended(c));
        if (unused || all) {
            *end = c->idle;
            while (*end) end = &(*end)->next;
            c->idle = nullptr;
        }
        if (unused) {
            *link = c->next;
            free(c);
        } else {
            link = &c->next;
        }
    }
    return list;
}

// ---- A run --------------------------------------------------------------------------------------

struct team {
    caller *owner;  // null: it has no workers
    worker *members[max_threads - 1];
    int64_t size;
    int64_t index;  // of the first member among the owner's workers
    uint32_t age;
};

void take_from(worker **idle, team *t, int64_t wanted) {
    while (t->size < wanted && *idle) {
        t->members[t->size++] = *idle;
        *idle = (*idle)->next;
    }
}

// Workers that nobody is going to miss.
void take_unused(team *t, int64_t wanted) {
    worker *orphans = take_idle_workers(false);
    take_from(&orphans, t, wanted);
    while (worker *w = orphans) {
        orphans = w->next;
        w->next = t->owner->idle;
        t->owner->idle = w;
    }
    const int64_t now = nanoseconds();
    const bool many = load(&workers_existing) >= many_workers;
    while (t->size < wanted) {
        caller *oldest = nullptr;
        for (caller *c = callers; c; c = c->next)
            if (c->runs == 0 && c->idle && (!oldest || c->last_used < oldest->last_used))
                oldest = c;
        if (!oldest || (!many && now - oldest->last_used < forgotten_nanoseconds)) return;
        take_from(&oldest->idle, t, wanted);
    }
}

// Any that have nothing to do.
void take_any(team *t, int64_t wanted) {
    for (caller *c = callers; c; c = c->next) take_from(&c->idle, t, wanted);
}

void begin_run(team *t, int64_t wanted) {
    pthread_mutex_lock(&pool_lock);
    t->size = t->index = 0;
    t->age = pool_age;
    ++runs_in_progress[t->age % 2];
    t->owner = this_caller();
    if (caller *c = t->owner) {
        ++c->runs;
        t->index = c->busy;
        take_from(&c->idle, t, wanted);
        if (t->size < wanted) take_unused(t, wanted);
        c->busy += t->size;
    }
    pthread_mutex_unlock(&pool_lock);
}

// Makes the workers that are still wanted.
void complete(team *t, int64_t wanted) {
    const int64_t taken = t->size;
    while (t->size < wanted) {
        worker *w = create_worker();
        if (!w) break;
        t->members[t->size++] = w;
    }
    if (t->size == taken && t->size == wanted) return;
    pthread_mutex_lock(&pool_lock);
    if (t->size < wanted) take_any(t, wanted);
    t->owner->busy += t->size - taken;
    pthread_mutex_unlock(&pool_lock);
}

void end_run(team *t) {
    pthread_mutex_lock(&pool_lock);
    if (caller *c = t->owner) {
        for (int64_t i = t->size - 1; i >= 0; --i) {
            worker *w = t->members[i];
            w->next = c->idle;
            c->idle = w;
        }
        --c->runs;
        c->busy -= t->size;
        c->last_used = nanoseconds();
    }
    if (--runs_in_progress[t->age % 2] == 0) pthread_cond_broadcast(&runs_ended);
    pthread_mutex_unlock(&pool_lock);
}

// Binds the members that were not bound for this place.
void place(team *t) {
    placement where = affinity_here();
    const bool nowhere = where.cpu < 0;  // all have the same place
    for (int64_t i = 0; i < t->size; ++i) {
        worker *w = t->members[i];
        where.index = nowhere ? 0 : t->index + i;
        if (w->where.version == where.version && w->where.index == where.index &&
            w->where.cpu == where.cpu)
            continue;
        affinity_bind(w->thread, where);
        count(&workers_bound, +1);
        w->where = where;
        t->owner->processors = 0;
    }
}

bool crowded(const team *t) {
    const caller *c = t->owner;
    return c && c->processors > 0 && t->size + 1 > c->processors;
}

// What threads may use can shrink and grow at any time.
void look_at_processors(team *t) {
    const int64_t now = nanoseconds();
    if (now - t->owner->looked < look_nanoseconds) return;
    t->owner->looked = now;
    processor_set all = {};
    affinity_add_processors(pthread_self(), &all);
    for (int64_t i = 0; i < t->size; ++i) affinity_add_processors(t->members[i]->thread, &all);
    t->owner->processors = all.count();
    for (int64_t i = 0; i < t->size; ++i) store(&t->members[i]->crowded, crowded(t));
}

void wait_until_done(team *t, worker *w) {
    if (!w->spins) {
        wait_for(&w->done);
        return;
    }
    spin waiting;
    while (!is_done(w)) {
        waiting.turn(crowded(t));
        if (waiting.waited > patience_nanoseconds) look_at_processors(t);
    }
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
    const no_cancellation guard;
    team t;
    begin_run(&t, chunks - 1);
    if (t.owner) {
        complete(&t, chunks - 1);
        place(&t);
    }
    for (int64_t i = 0; i < t.size; ++i) {
        store(&t.members[i]->crowded, crowded(&t));
        hand_over(t.members[i], fn, {chunk, i, arg});
    }
    fn(&own);
    for (int64_t i = t.size; i < chunks - 1; ++i) {
        const pool_task left = {chunk, i, arg};
        fn(&left);
    }
    for (int64_t i = 0; i < t.size; ++i) wait_until_done(&t, t.members[i]);
    end_run(&t);
}

pool_counts pool_count() {
    return {load(&workers_existing), load(&workers_started), load(&workers_bound)};
}

int64_t pool_worker_count() {
    return load(&workers_existing);
}

int64_t library_threads() {
    return load(&pool_nthreads);
}

// ---- Fork ---------------------------------------------------------------------------------------
// The child has none of the workers. Locks are taken before, so that the child finds everything in
// order; it makes new workers when it needs them.

namespace {

void before_fork() {
    pthread_mutex_lock(&cleanup_lock);
    pthread_mutex_lock(&pool_lock);
    affinity_lock();
}

void after_fork_in_parent() {
    affinity_unlock();
    pthread_mutex_unlock(&pool_lock);
    pthread_mutex_unlock(&cleanup_lock);
}

// Workers that were busy for another thread stay behind as memory that nobody uses.
void after_fork_in_child() {
    while (caller *c = callers) {
        callers = c->next;
        while (worker *w = c->idle) {
            c->idle = w->next;
            free(w);
        }
        free(c);
    }
    runs_in_progress[0] = runs_in_progress[1] = 0;
    store(&workers_existing, int64_t{0});
    store(&workers_awake, int64_t{0});
    after_fork_in_parent();
}

__attribute__((constructor)) void survive_fork() {
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

}  // namespace

}  // namespace lyr

extern "C" {

int lyr_fft_init_threads(void) {
    return 1;
}

void lyr_fft_plan_with_nthreads(int nthreads) {
    using namespace lyr;
    const no_cancellation guard;
    store(&thread_cap, affinity_discover());
    const int64_t count = nthreads < 1 ? 1 : nthreads > max_threads ? max_threads : nthreads;
    store(&pool_nthreads, count);
}

void lyr_fft_cleanup_threads(void) {
    using namespace lyr;
    const no_cancellation guard;
    pthread_mutex_lock(&cleanup_lock);
    pthread_mutex_lock(&pool_lock);
    // Runs that begin from now on are not waited for.
    const uint32_t age = pool_age++;
    while (runs_in_progress[age % 2] > 0) pthread_cond_wait(&runs_ended, &pool_lock);
    worker *list = take_idle_workers(true);
    pthread_mutex_unlock(&pool_lock);
    end_workers(list);
    affinity_release();
    pthread_mutex_unlock(&cleanup_lock);
}

}  // extern "C"
