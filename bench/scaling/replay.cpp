// lyra-replay: what the library decides and does on a machine that is not at hand. Plans are made
// on a machine of so many nodes and processors, and executed without its threads: chunks of work
// run here, one after the other, while the emulator counts (trace_plugin.c) or a clock runs.
//
//   lyra-replay runs PROBLEM THREADS [all]
//       An execution as a list of runs of the pool and of the chunks of each. Only the first and
//       the last chunk are executed unless all are asked for.
//   lyra-replay placement NODES PROCESSORS POLICY THREADS
//       How many threads a plan gets on nodes of so many processors each, and the processors that
//       each worker of a caller on processor 0 is bound to, as a hexadecimal mask.
//   lyra-replay pool THREADS PROCESSORS
//       Runs of the pool itself without any work, for the emulator to count.
//   lyra-replay times PROBLEM THREADS TURNS
//       On this machine, in nanoseconds: the least time of every chunk alone, by turns with
//       executions by real threads.
//   lyra-replay empty THREADS TURNS
//       On this machine, in nanoseconds: runs of the pool without any work.
//   lyra-replay bandwidth THREADS MIB TURNS
//       On this machine, in bytes per second: the best of threads that copy at the same time, each
//       from an array to another of so many MiB.

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "buffers.h"
#include "codelets/select.h"
#include "planner/cache_sizes.h"
#include "problem.h"
#include "threads/pool.h"
#include "threads/threads.h"
#include "trace.h"

namespace fs = std::filesystem;
using lyr::pool_task;
using lyr::processor_set;

extern "C" {
// The pool's clock stands still where it must not find that time goes by.
int __real_clock_gettime(clockid_t clock, timespec *now);
int __wrap_clock_gettime(clockid_t clock, timespec *now);
// lyr::thread_pool_run
void __real__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(int64_t n, int64_t nthreads,
                                                               int64_t align, lyr::work_function fn,
                                                               void *arg);
void __wrap__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(int64_t n, int64_t nthreads,
                                                               int64_t align, lyr::work_function fn,
                                                               void *arg);
}

namespace {

[[noreturn]] void fail(const std::string &message) {
    fprintf(stderr, "lyra-replay: %s\n", message.c_str());
    exit(2);
}

int64_t nanoseconds() {
    timespec now;
    __real_clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// ---- Another machine ----------------------------------------------------------------------------

// Nodes of so many processors each, as a folder that looks like the kernel's list of them.
class machine {
  public:
    machine(int nodes, int processors) {
        std::string path = (fs::temp_directory_path() / "lyra_replay_XXXXXX").string();
        if (!mkdtemp(path.data())) fail("no temporary folder");
        folder = path;
        allowed = {};
        for (int node = 0; node < nodes; ++node) {
            const fs::path here = fs::path(folder) / ("node" + std::to_string(node));
            fs::create_directory(here);
            std::string mask, row;
            for (int digit = nodes * processors / 4; digit >= 0; --digit) {
                int bits = 0;
                for (int cpu = 4 * digit; cpu < 4 * digit + 4; ++cpu)
                    if (cpu / processors == node) bits |= 1 << cpu % 4;
                mask += "0123456789abcdef"[bits];
            }
            for (int other = 0; other < nodes; ++other) row += other == node ? "10 " : "20 ";
            std::ofstream(here / "cpumap") << mask << "\n";
            std::ofstream(here / "distance") << row << "\n";
        }
        for (int cpu = 0; cpu < nodes * processors; ++cpu) allowed.add(cpu);
        seen.node_directory = folder.c_str();
        lyr_fft_cleanup_threads();
        lyr::use_platform(&seen);
    }
    ~machine() {
        lyr_fft_cleanup_threads();
        lyr::use_platform(&lyr::this_machine);
        fs::remove_all(folder);
    }
    machine(const machine &) = delete;
    machine &operator=(const machine &) = delete;

    static inline processor_set allowed, bound;
    static inline std::atomic<int> current = 0;

  private:
    std::string folder;
    lyr::platform seen = {nullptr, [] { return current.load(); },
                          [](processor_set *set) {
                              *set = allowed;
                              return 0;
                          },
                          [](pthread_t, const processor_set *set) {
                              bound = *set;
                              return 0;
                          },
                          [](pthread_t, processor_set *set) {
                              *set = allowed;
                              return 0;
                          }};
};

// ---- Marks --------------------------------------------------------------------------------------

struct event {
    const char *what;
    int64_t numbers[5];
    int64_t at;  // nanoseconds
};
std::vector<event> events;
bool counting = false;  // by the emulator, not by the clock

void tell_plugin(trace_action action, uint64_t number) {
    prctl(static_cast<int>(TRACE_PRCTL), action, number, 0, 0);
}

void mark(const char *what, int64_t a = 0, int64_t b = 0, int64_t c = 0, int64_t d = 0,
          int64_t e = 0) {
    events.push_back({what, {a, b, c, d, e}, 0});
    if (counting)
        tell_plugin(trace_mark, events.size() - 1);
    else
        events.back().at = nanoseconds();
}

void print_events() {
    for (size_t k = 0; k < events.size(); ++k) {
        const event &e = events[k];
        printf("%zu %s", k, e.what);
        for (const int64_t number : e.numbers) printf(" %" PRId64, number);
        printf(" %" PRId64 "\n", e.at);
    }
}

// ---- Runs of the pool, replayed
// ------------------------------------------------------------------

enum class replay { off, ends, all };
replay replaying = replay::off;
int64_t depth = 0, runs_seen = 0;
bool flush_between = false;  // runs read what other processors wrote

void replay_run(int64_t n, int64_t nthreads, int64_t align, lyr::work_function fn, void *arg) {
    if (n == 0) return;
    const auto [chunk, count] = lyr::chunks_of(n, nthreads, align);
    if (count < 2) {
        const pool_task own = {chunk, count - 1, arg};
        fn(&own);
        return;
    }
    if (depth++ == 0) ++runs_seen;
    if (flush_between) tell_plugin(trace_flush, 0);
    mark("run", n, nthreads, align, chunk, count);
    for (int64_t k = 0; k < count; ++k) {
        if (replaying == replay::ends && k > 0 && k < count - 1) continue;
        const pool_task task = {chunk, k, arg};
        if (counting) tell_plugin(trace_cache, k == count - 1);
        mark("chunk", k, std::min(chunk, n - k * chunk));
        fn(&task);
        mark("chunk_end", k);
    }
    mark("run_end");
    --depth;
}

lyr_tools::problem parse(const char *text) {
    lyr_tools::problem p;
    std::string error;
    if (!lyr_tools::parse_problem(text, int64_t{1} << 36, p, error)) fail(error);
    return p;
}

// A vector target that keeps one number in a vector, as those of AArch64 do: plans are the same.
void use_one_lane() {
    for (const lyr::codelet_table *const *table = lyr::supported_tables(); *table; ++table)
        if ((*table)->lanes == 1) {
            lyr::set_active_table(*table);
            return;
        }
    fail("no vector target of one lane");
}

struct planned {
    lyr_tools::buffers b;
    lyr_fft_plan plan;

    planned(const lyr_tools::problem &p, int threads, bool filled) {
        std::string error;
        lyr_tools::buffer_options options;
        options.tracked = false;
        if (!lyr_tools::make_buffers(p, options, b, error)) fail(error);
        if (filled) lyr_tools::fill_for_timing(p, 1, b);
        lyr_fft_plan_with_nthreads(threads);
        plan = lyr_tools::make_plan(p, b);
        if (!plan) fail("refused");
    }
    ~planned() { lyr_fft_destroy_plan(plan); }
    planned(const planned &) = delete;
    planned &operator=(const planned &) = delete;
};

void show_runs(const char *text, int threads, bool all) {
    const machine m(1, lyr::max_threads);
    lyr::set_caches(lyr::usual_caches);
    use_one_lane();
    const lyr_tools::problem p = parse(text);
    const planned its(p, threads, false);
    printf("arrays %" PRId64 "\nscratch %" PRIu64 "\nname %s\nbinding %s\n",
           lyr_tools::problem_bytes(p), its.plan->work_bytes, its.plan->execute_name,
           lyr::affinity_policy_get() == lyr::affinity_close ? "CLOSE" : "SPREAD");
    counting = true;
    replaying = all ? replay::all : replay::ends;
    // Once, so that what is done alone the first time is done, and caches hold what they hold. Of
    // large arrays they hold nothing.
    constexpr int64_t large = int64_t{128} << 20;
    if (lyr_tools::problem_bytes(p) < large) lyr_fft_execute(its.plan);
    flush_between = runs_seen > 1;
    tell_plugin(trace_cache, 1);
    events.clear();
    mark("start");
    mark("begin");
    lyr_fft_execute(its.plan);
    mark("end");
    replaying = replay::off;
    print_events();
}

void show_times(const char *text, int threads, int turns) {
    const lyr_tools::problem p = parse(text);
    planned its(p, threads, true);
    std::vector<event> least;
    std::vector<int64_t> together;
    for (int turn = 0; turn < turns; ++turn) {
        replaying = replay::off;
        for (int warm = 0; warm < 2; ++warm) {
            const int64_t start = nanoseconds();
            lyr_fft_execute(its.plan);
            if (warm) together.push_back(nanoseconds() - start);
        }
        replaying = replay::all;
        lyr_fft_execute(its.plan);
        events.clear();
        mark("begin");
        lyr_fft_execute(its.plan);
        mark("end");
        for (size_t k = events.size() - 1; k > 0; --k) events[k].at -= events[k - 1].at;
        events[0].at = 0;
        if (least.empty()) least = events;
        for (size_t k = 0; k < events.size(); ++k)
            least[k].at = std::min(least[k].at, events[k].at);
    }
    replaying = replay::off;
    std::sort(together.begin(), together.end());
    printf("together %" PRId64 " %" PRId64 "\n", together.front(), together[together.size() / 2]);
    events = least;
    print_events();
}

void show_placement(int nodes, int processors, const char *policy, int threads) {
    const machine m(nodes, processors);
    setenv("LYR_FFT_AFFINITY", policy, 1);
    lyr_fft_plan_with_nthreads(threads);
    const int64_t given = lyr::threads_for_plan(threads);
    printf("threads %" PRId64 "\n", given);
    lyr::placement where = lyr::affinity_here();
    const bool nowhere = where.cpu < 0;
    for (int64_t k = 0; k < given - 1; ++k) {
        where.index = nowhere ? 0 : k;
        lyr::affinity_bind(pthread_self(), where);
        std::string mask;
        for (int word = (nodes * processors - 1) / 64; word >= 0; --word) {
            char digits[17];
            snprintf(digits, sizeof digits, "%016" PRIx64, machine::bound.words[word]);
            mask += digits;
        }
        printf("worker %s\n", mask.c_str());
    }
}

// ---- The pool itself ----------------------------------------------------------------------------

std::atomic<bool> clock_stands = false;
std::atomic<int64_t> standing_clock = 1'000'000'000;
std::atomic<int64_t> clock_calls = 0;  // of the calling thread
pthread_t calling_thread;

struct nothing_to_do {
    std::atomic<int64_t> done = 0;
    const char *what;
    bool hold_one;
};

// The caller's chunk lasts until the others are done, so that nobody waits, or the first of the
// others lasts until the caller has waited for it a while.
void do_nothing(const pool_task *task) {
    auto &[done, what, hold_one] = *static_cast<nothing_to_do *>(task->arg);
    const int64_t count = task->chunk == 1 ? lyr::library_threads() : 0;
    if (task->index != count - 1) {
        if (hold_one && task->index == 0) usleep(100'000);
        ++done;
        return;
    }
    mark(what, 1);
    while (done < count - 1 - hold_one) usleep(2'000);
    usleep(20'000);
    clock_calls = 0;
    mark(what, 2);
}

void run_pool(const char *what, bool hold_one = false) {
    nothing_to_do all;
    all.what = what;
    all.hold_one = hold_one;
    const int64_t threads = lyr::library_threads();
    mark(what, 0);
    __real__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(threads, threads, 1, do_nothing,
                                                              &all);
    mark(what, 3, clock_calls);
}

void show_pool(int threads, int processors) {
    const machine m(1, processors);
    calling_thread = pthread_self();
    clock_stands = true;
    counting = true;
    events.reserve(1000);
    lyr_fft_plan_with_nthreads(threads);
    mark("start");
    mark("begin");
    run_pool("first");
    for (int k = 0; k < 2; ++k) run_pool("awake");
    run_pool("waiting", true);
    run_pool("awake");
    machine::current = 1;
    run_pool("moved");
    if (threads <= 48) {
        standing_clock += 10'000'000;
        usleep(static_cast<useconds_t>(200'000 + 20'000 * threads));
        run_pool("asleep");
    }
    print_events();
    clock_stands = false;
}

void leave(const pool_task *) {}

void show_empty(int threads, int turns) {
    // Up to 48 threads spin; then they sleep at once.
    for (const int setting : {threads, 49})
        for (const int pause : {0, 5'000}) {
            lyr_fft_cleanup_threads();
            lyr_fft_plan_with_nthreads(setting);
            std::vector<int64_t> times;
            for (int turn = 0; turn < turns; ++turn) {
                if (pause) usleep(static_cast<useconds_t>(pause));
                const int64_t start = nanoseconds();
                __real__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(threads, threads, 1,
                                                                          leave, nullptr);
                times.push_back(nanoseconds() - start);
            }
            std::sort(times.begin(), times.end());
            printf("%s%s %" PRId64 " %" PRId64 "\n", setting == 49 ? "large" : "small",
                   pause ? "_after_pause" : "", times.front(), times[times.size() / 2]);
        }
}

void show_bandwidth(int threads, int64_t mib, int turns) {
    const size_t bytes = static_cast<size_t>(mib) << 20;
    double best = 0;
    std::vector<std::unique_ptr<unsigned char[]>> arrays;
    for (int k = 0; k < 2 * threads; ++k) {
        arrays.emplace_back(new unsigned char[bytes]);
        memset(arrays.back().get(), k, bytes);
    }
    // Small arrays many times, so that starting threads does not count.
    const int times = static_cast<int>(std::max<int64_t>(1, 256 / mib));
    for (int turn = 0; turn < turns; ++turn) {
        std::vector<std::thread> list;
        list.reserve(static_cast<size_t>(threads));
        const int64_t start = nanoseconds();
        for (int t = 0; t < threads; ++t)
            list.emplace_back([&, t] {
                for (int k = 0; k < times; ++k) {
                    auto *to = reinterpret_cast<double *>(arrays[2 * static_cast<size_t>(t)].get());
                    const auto *from =
                        reinterpret_cast<double *>(arrays[2 * static_cast<size_t>(t) + 1].get());
                    for (size_t i = 0; i < bytes / sizeof(double); ++i) to[i] = from[i] + 1.0;
                    __asm__ volatile("" ::: "memory");
                }
            });
        for (std::thread &t : list) t.join();
        const double seconds = 1e-9 * static_cast<double>(nanoseconds() - start);
        best = std::max(best, 2.0 * threads * times * static_cast<double>(bytes) / seconds);
    }
    printf("bandwidth %.0f\n", best);
}

}  // namespace

int __wrap_clock_gettime(clockid_t clock, timespec *now) {
    if (!clock_stands) return __real_clock_gettime(clock, now);
    if (pthread_equal(pthread_self(), calling_thread)) ++clock_calls;
    const int64_t time = standing_clock;
    now->tv_sec = time / 1'000'000'000;
    now->tv_nsec = time % 1'000'000'000;
    return 0;
}

void __wrap__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(int64_t n, int64_t nthreads,
                                                               int64_t align, lyr::work_function fn,
                                                               void *arg) {
    if (replaying == replay::off)
        __real__ZN3lyr15thread_pool_runElllPFvPKNS_9pool_taskEEPv(n, nthreads, align, fn, arg);
    else
        replay_run(n, nthreads, align, fn, arg);
}

int main(int argc, char **argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    const auto number = [&](int k) {
        const int value = k < argc ? std::atoi(argv[k]) : 0;
        if (value < 1) fail("a number is missing");
        return value;
    };
    if (command == "runs" && argc >= 4)
        show_runs(argv[2], number(3), argc > 4 && strcmp(argv[4], "all") == 0);
    else if (command == "times" && argc == 5)
        show_times(argv[2], number(3), number(4));
    else if (command == "placement" && argc == 6)
        show_placement(number(2), number(3), argv[4], number(5));
    else if (command == "pool" && argc == 4)
        show_pool(number(2), number(3));
    else if (command == "empty" && argc == 4)
        show_empty(number(2), number(3));
    else if (command == "bandwidth" && argc == 5)
        show_bandwidth(number(2), number(3), number(4));
    else
        fail("usage: runs|times|placement|pool|empty|bandwidth ARGUMENTS: see the source");
    return 0;
}
