// Threads: how work is dealt out, where workers are put on machines of all kinds, and that the pool
// survives whatever fails around it. malloc and pthread_create of the library come through
// wrappers.
#include "threads/threads.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "batch/many_multithread.h"
#include "dft/four_step.h"
#include "support.h"
#include "threads/pool.h"

namespace {

// So many calls succeed before all others fail; negative: none fails.
std::atomic<int64_t> mallocs_until_failure = -1, threads_until_failure = -1;

bool fails(std::atomic<int64_t> &until_failure) {
    if (until_failure == 0) return true;
    if (until_failure > 0) --until_failure;
    return false;
}

}  // namespace

extern "C" {
void *__real_malloc(size_t bytes);
void *__real_calloc(size_t count, size_t bytes);
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);

void *__wrap_malloc(size_t bytes) {
    return fails(mallocs_until_failure) ? nullptr : __real_malloc(bytes);
}
void *__wrap_calloc(size_t count, size_t bytes) {
    return fails(mallocs_until_failure) ? nullptr : __real_calloc(count, bytes);
}
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *arg) {
    if (fails(threads_until_failure)) return EAGAIN;
    return __real_pthread_create(thread, attributes, start, arg);
}
}

namespace lyr_test {
namespace {

namespace fs = std::filesystem;
using lyr::pool_task;
using lyr::processor_set;
using lyr_tools::buffers;
using lyr_tools::problem;

// ---- Choices ------------------------------------------------------------------------------------

TEST(choices, chunks) {
    struct example {
        int64_t n, threads, align, chunk, count;
    };
    constexpr example examples[] = {{10, 4, 1, 3, 4},
                                    {100, 8, 8, 16, 7},
                                    {100, 1000, 1, 1, 100},
                                    {513, 600, 1, 2, 257},
                                    {4, 4, 1, 1, 4},
                                    {1, 8, 1, 1, 1},
                                    {1, 8, 8, 8, 1},
                                    {64, 8, 8, 8, 8},
                                    {65, 8, 8, 16, 5},
                                    {5, 2, 1, 3, 2},
                                    {7, 0, 1, 0, 0},
                                    {0, 4, 1, 0, 0},
                                    {INT64_MAX, 512, 8, (int64_t{1} << 54), 512}};
    for (const auto &[n, threads, align, chunk, count] : examples) {
        const lyr::chunking c = lyr::chunks_of(n, threads, align);
        EXPECT_EQ(c.chunk, chunk) << n << " on " << threads;
        EXPECT_EQ(c.count, count) << n << " on " << threads;
    }
    for (int64_t n = 1; n < 400; ++n)
        for (const int64_t threads : {1, 2, 3, 7, 48, 512})
            for (const int64_t align : {1, 8}) {
                const auto [chunk, count] = lyr::chunks_of(n, threads, align);
                EXPECT_TRUE(chunk % align == 0 && count <= threads && (count - 1) * chunk < n &&
                            count * chunk >= n)
                    << n << " on " << threads;
            }
    EXPECT_EQ(lyr::chunk_align(100, 8), 8);
    EXPECT_EQ(lyr::chunk_align(64, 8), 1);
    EXPECT_EQ(lyr::chunk_align(65, 8), 8);
}

TEST(choices, what_is_worth_threads) {
    EXPECT_FALSE(lyr::worth_threads(4 * 64, 4));
    EXPECT_TRUE(lyr::worth_threads(4 * 512, 4));
    EXPECT_FALSE(lyr::worth_threads(1280, 5));
    EXPECT_TRUE(lyr::worth_threads(1280, 4));
    EXPECT_TRUE(lyr::worth_threads(1281, 512));
}

// How a batch is dealt out, "threads: chunks of so many", in transforms of the outermost dimension.
std::string dealt_out(const char *text, int64_t threads) {
    const problem p = problem_of(text);
    const buffers b = buffers_of(p);
    lyr_fft_plan_with_nthreads(static_cast<int>(threads));
    const plan_holder holder(make_plan(p, b));
    lyr_fft_plan_with_nthreads(1);
    const lyr_fft_plan plan = holder.plan;
    if (!plan) return "no plan";
    if (std::string(plan->execute_name) != "execute_multithread") return plan->execute_name;
    const lyr::plan &child = plan->children[0];
    const int64_t chunk = child.howmany_rank == p.batch_rank ? child.howmany_dims[0].n : 1;
    EXPECT_EQ(child.nthreads, plan->shares == 1 ? threads : 1);
    return std::to_string(plan->nthreads) + ": " + std::to_string(plan->shares) + " of " +
           std::to_string(chunk);
}

int64_t table_bytes(const lyr::plan *p) {
    int64_t bytes = p->aux_owned ? static_cast<int64_t>(p->aux_bytes) : 0;
    for (int k = 0; k < p->nchildren; ++k) bytes += table_bytes(&p->children[k]);
    return bytes;
}

// All threads of a batch read the same tables, also where their chunks differ in length.
TEST(choices, batches_share_tables) {
    for (const char *text :
         {"ocf1000*1001", "icf1024*1001", "ocf1000*1001i", "ocf500:1001:1*1001:1:500",
          "ocf500:2:1*1001:1000:501", "ocf500:1:1001*1001:500:1", "ocf1009*101", "orf1000*1001",
          "orb1000*1001", "ok1000e10*1001"}) {
        int64_t bytes[9] = {};
        for (const int threads : {1, 2, 8}) {
            const problem p = problem_of(text);
            const buffers b = buffers_of(p);
            lyr_fft_plan_with_nthreads(threads);
            const plan_holder holder(make_plan(p, b));
            lyr_fft_plan_with_nthreads(1);
            ASSERT_NE(holder.plan, nullptr) << text;
            if (threads > 1) {
                EXPECT_STREQ(holder.plan->execute_name, "execute_multithread") << text;
            }
            bytes[threads] = table_bytes(holder.plan);
        }
        EXPECT_GT(bytes[1], 0) << text;
        EXPECT_EQ(bytes[2], bytes[1]) << text;
        EXPECT_EQ(bytes[8], bytes[1]) << text;
    }
}

TEST(choices, batches) {
    EXPECT_EQ(dealt_out("ocf65*4", 4), "execute_many");
    EXPECT_EQ(dealt_out("ocf512*4", 4), "4: 4 of 1");
    EXPECT_EQ(dealt_out("ocf512*4", 1), "execute_many");
    EXPECT_EQ(dealt_out("icf512", 4), "execute_1d");
    EXPECT_EQ(dealt_out("ocf30*100", 8), "8: 7 of 16");
    EXPECT_EQ(dealt_out("ocf30*10*20", 4), "4: 4 of 3");
    EXPECT_EQ(dealt_out("ocf40x40*2*20", 2), "2: 2 of 1");
    // Long ones that lie apart are dealt out evenly.
    EXPECT_EQ(dealt_out("ocf100x100*100", 2), "2: 2 of 50");
    EXPECT_EQ(dealt_out("ocf3000*100", 8), "8: 8 of 13");
    EXPECT_EQ(dealt_out("ocf3000*100i", 8), "8: 7 of 16");
    EXPECT_EQ(dealt_out("ocf2048*1000", 2), "2: 2 of 504");
    EXPECT_EQ(dealt_out("ocf0*100:1:50*50:100:1", 3), "3: 3 of 40");
    EXPECT_EQ(dealt_out("ocf1000:1:1*1:5:5*7:1000:1000", 4), "4: 1 of 1");
    EXPECT_EQ(dealt_out("icf64:100:1*100:1:64", 4), "execute_inplace_buffered");  // results move
    // In place on threads, results must not fall on input of earlier transforms either.
    EXPECT_EQ(dealt_out("icf64:1:1*100:64:64", 2), "2: 2 of 56");
    EXPECT_EQ(dealt_out("ik64h:1:1*100:64:64", 2), "2: 2 of 56");
    EXPECT_EQ(dealt_out("icf2:3:1*1000:2:2", 2), "execute_many_direct");
    // Real transforms side by side have no chunk of one.
    EXPECT_EQ(dealt_out("ocf64*33i", 4), "4: 3 of 16");
    EXPECT_EQ(dealt_out("orf64*33i", 4), "4: 4 of 9");
    EXPECT_EQ(dealt_out("orf64*17i", 2), "2: 2 of 9");
    EXPECT_EQ(dealt_out("orf64*17", 2), "2: 2 of 16");
}

// ---- Machines -----------------------------------------------------------------------------------

// A machine as a folder that looks like the kernel's list of nodes. One exists at a time, and the
// library sees it as long as it does.
class machine {
  public:
    struct node {
        int number;
        std::string cpumap, distance;
    };

    explicit machine(const std::vector<node> &nodes) {
        std::string path = testing::TempDir() + "lyra_nodes_XXXXXX";
        if (mkdtemp(path.data())) folder = path;
        for (const node &n : nodes) {
            const fs::path node_folder = fs::path(folder) / ("node" + std::to_string(n.number));
            fs::create_directory(node_folder);
            if (!n.cpumap.empty()) std::ofstream(node_folder / "cpumap") << n.cpumap;
            if (!n.distance.empty()) std::ofstream(node_folder / "distance") << n.distance;
        }
        fs::create_directory(fs::path(folder) / "power");
        fs::create_directory(fs::path(folder) / "node");
        seen.node_directory = folder.c_str();
        allowed = {};
        for (int cpu = 0; cpu < lyr::max_processors; ++cpu) allowed.add(cpu);
        current = 0;
        affinity_works = true;
        bound.clear();
        lyr_fft_cleanup_threads();
        lyr::use_platform(&seen);
    }
    ~machine() {
        lyr_fft_cleanup_threads();
        lyr::use_platform(&lyr::this_machine);
        lyr_fft_plan_with_nthreads(1);
        if (!folder.empty()) fs::remove_all(folder);
    }
    machine(const machine &) = delete;
    machine &operator=(const machine &) = delete;

    std::string folder;
    static inline processor_set allowed;
    static inline std::atomic<int> current;  // where all threads are
    static inline thread_local int here;     // where this one is, when above 0
    static inline bool affinity_works;
    static inline std::vector<processor_set> bound;  // one call after the other

  private:
    lyr::platform seen = {nullptr, [] { return here > 0 ? here : current.load(); },
                          [](processor_set *set) {
                              *set = allowed;
                              return affinity_works ? 0 : -1;
                          },
                          [](pthread_t, const processor_set *set) {
                              bound.push_back(*set);
                              return affinity_works ? 0 : EINVAL;
                          },
                          lyr::this_machine.bound_to};
};

bool equal(const processor_set &a, const processor_set &b) {
    return std::equal(std::begin(a.words), std::end(a.words), b.words);
}

// "0-3,8": the processors of a mask; "-": all that the process may use.
std::string list_of(const processor_set &set) {
    if (equal(set, machine::allowed)) return "-";
    std::string text;
    for (int cpu = 0; cpu < lyr::max_processors; ++cpu) {
        if (!set.has(cpu)) continue;
        int last = cpu;
        while (set.has(last + 1)) ++last;
        text += (text.empty() ? "" : ",") + std::to_string(cpu);
        if (last > cpu) text += "-" + std::to_string(last);
        cpu = last;
    }
    return text;
}

std::string digits(int count, char digit) {
    std::string text(static_cast<size_t>(count), digit);
    for (int i = count - 8; i > 0; i -= 8) text.insert(static_cast<size_t>(i), ",");
    return text + "\n";
}

TEST(topology, masks_of_processors) {
    struct example {
        std::string text;
        std::vector<int> cpus;
    };
    const auto first = [](int count) {
        std::vector<int> cpus;
        for (int cpu = 0; cpu < count; ++cpu) cpus.push_back(cpu);
        return cpus;
    };
    const example examples[] = {
        {"00000000,0000000f\n", {0, 1, 2, 3}},
        {"a5\n", {0, 2, 5, 7}},
        {"1,00000000\n", {32}},
        {"3\nffff\n", {0, 1}},
        {"", {}},
        {"\n", {}},
        {"xyzA1\n", {0}},
        {digits(40, 'f'), first(160)},
        {digits(512, 'f'), first(2048)},
        {digits(3000, 'f'), first(lyr::max_processors)},
    };
    for (const example &e : examples) {
        processor_set set;
        const int count = lyr::parse_cpumap(e.text.c_str(), &set);
        std::vector<int> cpus;
        for (int cpu = 0; cpu < lyr::max_processors; ++cpu)
            if (set.has(cpu)) cpus.push_back(cpu);
        EXPECT_EQ(cpus, e.cpus) << e.text;
        EXPECT_EQ(count, static_cast<int>(cpus.size()));
    }
}

TEST(topology, distances) {
    int32_t d[4] = {};
    EXPECT_TRUE(lyr::parse_distances("10 21\n", 2, d));
    EXPECT_EQ(d[1], 21);
    EXPECT_TRUE(lyr::parse_distances("10 0x15 99999999999 4", 3, d));
    EXPECT_EQ(d[1], 21);
    EXPECT_EQ(d[2], INT32_MAX);
    for (const char *text :
         {"", "\n", "10", "10\n20\n", "10 x", "10 -1", "10 99999999999999999999999999"})
        EXPECT_FALSE(lyr::parse_distances(text, 2, d)) << text;
}

// The processors that workers of a caller are bound to, one after the other; "-": those of the
// process, or none where these are not known.
std::string places(int workers, int caller, const char *policy) {
    setenv("LYR_FFT_AFFINITY", policy, 1);
    machine::current = caller;
    lyr_fft_cleanup_threads();
    lyr_fft_plan_with_nthreads(2);
    unsetenv("LYR_FFT_AFFINITY");
    std::string text;
    lyr::placement where = lyr::affinity_here();
    for (int i = 0; i < workers; ++i) {
        machine::bound.clear();
        where.index = i;
        lyr::affinity_bind(pthread_self(), where);
        text += (i ? " " : "") + (machine::bound.empty() ? "-" : list_of(machine::bound[0]));
    }
    return text;
}

TEST(topology, workers_on_one_node) {
    const machine m({{0, "ff\n", "10\n"}});
    EXPECT_EQ(places(8, 0, "CLOSE"), "0-7 0-7 0-7 0-7 0-7 0-7 0-7 -");
    EXPECT_EQ(places(8, 0, "SPREAD"), "4 1,5 1,5 2,6 2,6 3,7 3,7 -");
    EXPECT_EQ(places(8, 4, "spread"), "0 1,5 1,5 2,6 2,6 3,7 3,7 -");
    // The caller's group of four begins with 4, which is added to the group of 5.
    EXPECT_EQ(places(8, 5, "other"), "0 1,4 1,4 2,6 2,6 3,7 3,7 -");
    EXPECT_EQ(places(8, 6, "SPREAD"), "0 1,4-5 1,4-5 1,4-5 2 3,7 3,7 -");
    EXPECT_EQ(places(2, 0, "no"), "- -");
    EXPECT_EQ(places(2, -1, "SPREAD"), "- -");
    EXPECT_EQ(places(2, 500, "CLOSE"), "- -");
    // Never a processor that the process may not use.
    machine::allowed = {};
    machine::allowed.add(5);
    EXPECT_EQ(places(2, 5, "SPREAD"), "- -");
    EXPECT_EQ(places(2, 5, "CLOSE"), "- -");
    EXPECT_EQ(lyr::usable_processors(), 1);
}

TEST(topology, workers_on_two_processors) {
    const machine m({{0, "3\n", "10\n"}});
    EXPECT_EQ(places(2, 0, "SPREAD"), "1 -");
    EXPECT_EQ(places(2, 1, "SPREAD"), "0 -");
    EXPECT_EQ(places(2, 1, "CLOSE"), "0-1 -");
}

TEST(topology, workers_on_several_nodes) {
    {
        const machine near({{0, "f\n", "10 20\n"}, {1, "f0\n", "20 10\n"}});
        EXPECT_EQ(places(8, 0, "SPREAD"), "4 1 5 2 6 3 7 -");
        EXPECT_EQ(places(8, 5, "SPREAD"), "0 4 1 6 2 7 3 -");
        EXPECT_EQ(places(8, 0, "CLOSE"), "0-3 0-3 0-3 4-7 4-7 4-7 4-7 -");
        EXPECT_EQ(places(2, 5, "CLOSE"), "4-7 4-7");
    }
    {
        const machine far({{0, "f\n", "10 21\n"}, {1, "f0\n", "21 10\n"}});
        EXPECT_EQ(places(8, 0, "SPREAD"), "4 1 5 2 6 3 7 -");
    }
    {
        // Of four nodes two are near: those fill first.
        const machine four({{0, "3\n", "10 32 16 40\n"},
                            {1, "c\n", "32 10 40 16\n"},
                            {2, "30\n", "16 40 10 32\n"},
                            {3, "c0\n", "40 16 32 10\n"}});
        EXPECT_EQ(places(8, 0, "SPREAD"), "4 1 5 2 6 3 7 -");
        EXPECT_EQ(places(8, 0, "CLOSE"), "0-1 4-5 4-5 2-3 2-3 6-7 6-7 -");
        EXPECT_EQ(lyr::numa_node_count(), 4);
    }
    {
        // Distances are those of nodes that are there, whatever their numbers.
        const machine gaps(
            {{8, "3\n", "10 40 20\n"}, {1023, "c\n", "20 40 10\n"}, {250, "30\n", "40 10 40\n"}});
        EXPECT_EQ(places(6, 0, "CLOSE"), "0-1 2-3 2-3 4-5 4-5 -");
        EXPECT_EQ(lyr::numa_node_count(), 3);
        EXPECT_EQ(places(3, 4, "SPREAD"), "0 5 1");
    }
    {
        const machine wide({{4, digits(512, 'f'), "10\n"}});  // the file has 575 bytes
        EXPECT_EQ(places(1, 2000, "CLOSE"), "0-2047");
    }
}

TEST(topology, any_machine) {
    random_source random{11};
    for (int i = 0; i < 200 / test_scale + 5; ++i) {
        const int nodes = 1 + static_cast<int>(random.below(i % 20 == 4 ? 40 : 4));
        const int size = 4 << random.below(nodes > 4 ? 6 : 4);
        std::vector<machine::node> list;
        for (int k = 0; k < nodes; ++k) {
            std::string row;
            for (int j = 0; j < nodes; ++j)
                row += j == k ? "10 " : std::to_string(11 + (k + j) * 7 % 25) + " ";
            list.push_back({k,
                            std::string(static_cast<size_t>(size / 4), 'f') +
                                std::string(static_cast<size_t>(k * size / 4), '0') + "\n",
                            row + "\n"});
        }
        const machine m(list);
        for (int cpu = 0; cpu < lyr::max_processors; ++cpu)
            if (random.below(3) == 0) machine::allowed.remove(cpu);
        const int caller = static_cast<int>(random.below(nodes * size));
        machine::allowed.add(caller);
        for (const char *policy : {"SPREAD", "CLOSE"}) {
            SCOPED_TRACE(std::to_string(nodes) + " nodes of " + std::to_string(size) + ", caller " +
                         std::to_string(caller) + ", " + policy);
            places(0, caller, policy);
            machine::bound.clear();
            lyr::placement where = lyr::affinity_here();
            for (; where.index < nodes * size + 3; ++where.index)
                lyr::affinity_bind(pthread_self(), where);
            int usable = 0, placed = 0;
            for (int cpu = 0; cpu < nodes * size; ++cpu) usable += machine::allowed.has(cpu);
            for (const processor_set &set : machine::bound) {
                if (equal(set, machine::allowed)) continue;
                ++placed;
                int inside = 0;
                for (int cpu = 0; cpu < nodes * size; ++cpu)
                    inside += set.has(cpu) && machine::allowed.has(cpu);
                EXPECT_TRUE(inside > 0 && inside == set.count()) << list_of(set);
                if (*policy == 'S') {
                    EXPECT_FALSE(set.has(caller));
                }
            }
            EXPECT_LT(placed, usable) << "one is the caller's";
            EXPECT_TRUE(placed > 0 || usable < 4);
        }
    }
}

TEST(topology, thread_caps) {
    struct example {
        std::vector<machine::node> nodes;
        int64_t cap;
    };
    const std::string low = digits(12, 'f'),
                      high = "ffff" + std::string(8, 'f') + std::string(12, '0');
    const example examples[] = {
        {{{0, low, "10 20\n"}, {1, high, "20 10\n"}}, 48},
        {{{0, low, "10\n"}}, -1},
        {{{0, "7\n", "10 20\n"}, {1, "38\n", "20 10\n"}}, -1},  // an odd number
        {{{0, "0\n", "10 20\n"}, {1, "3\n", "20 10\n"}}, -1},
        {{{0, "3\n", "10 20 20\n"}, {1, "c\n", "20 10 20\n"}, {2, "30\n", "20 20 10\n"}}, -1},
        {{{0, "3\n", "10 20 9 9 9 9\n"},
          {1, "c\n", "9 10 9 9 9 9\n"},
          {2, "30\n", "9 9 10 9 9 9\n"},
          {3, "c0\n", "9 9 9 10 9 9\n"},
          {4, "ff00\n", "9 9 9 9 10 9\n"},
          {17, "ff0000\n", "9 9 9 9 9 10\n"}},
         6},
        {{{0, digits(150, 'f'), "10 20\n"}, {1, "0\n", "20 10\n"}}, 600},
        {{{0, low, "10 20\n"}, {1, high, "20\n"}}, -1},  // a distance is missing
    };
    for (const example &e : examples) {
        const machine m(e.nodes);
        lyr_fft_plan_with_nthreads(2);
        EXPECT_EQ(lyr::threads_for_plan(1000), e.cap < 0 ? 1000 : e.cap) << e.nodes[0].distance;
        EXPECT_EQ(lyr::threads_for_plan(3), 3);
        if (e.cap == 6) {
            EXPECT_EQ(dealt_out("ocf512*16", 8), "6: 6 of 3");
        }
    }
}

// Whatever is missing or garbled: nothing is bound, nothing breaks.
TEST(topology, incomplete_machines) {
    const std::vector<machine::node> machines[] = {
        {},
        {{0, "", "10\n"}},
        {{0, "f\n", ""}},
        {{0, "\n", "10\n"}},
        {{0, "f\n", "ten\n"}},
        {{0, "f\n", "10 20\n"}, {1, "f0\n", "20\n"}},
        {{1024, "f\n", "10\n"}},
        {{0, "0\n", "10\n"}},
        {{0, digits(64, '0'), "10\n"}},
    };
    for (const auto &nodes : machines)
        for (const char *policy : {"SPREAD", "CLOSE", "NO"}) {
            const machine m(nodes);
            EXPECT_EQ(places(3, 0, policy), "- - -") << (nodes.empty() ? "" : nodes[0].cpumap);
            EXPECT_EQ(lyr::threads_for_plan(512), 512);
        }
    {
        const machine m({{0, "f\n", "10\n"}});
        machine::affinity_works = false;
        EXPECT_EQ(places(3, 0, "SPREAD"), "- - -") << "the allowed processors are not known";
        EXPECT_GE(lyr::usable_processors(), 1);
    }
    {
        const machine gone({});
        fs::remove_all(gone.folder);
        EXPECT_EQ(places(2, 0, "SPREAD"), "- -");
        EXPECT_EQ(lyr::numa_node_count(), 0);
    }
    {
        const machine m({{0, "f\n", "10\n"}});
        for (int successes = 0; successes < 3; ++successes) {
            mallocs_until_failure = successes;
            EXPECT_EQ(lyr::numa_node_count(), 0);
            mallocs_until_failure = -1;
        }
        EXPECT_EQ(lyr::numa_node_count(), 1);
    }
}

TEST(topology, policies) {
    const machine m({{0, "f\n", "10\n"}});
    const std::pair<const char *, int> examples[] = {
        {nullptr, lyr::affinity_spread}, {"SPREAD", lyr::affinity_spread},
        {"CLOSE", lyr::affinity_close},  {"close", lyr::affinity_close},
        {"NO", lyr::affinity_none},      {"nO", lyr::affinity_none},
        {"foo", lyr::affinity_spread},   {"", lyr::affinity_spread},
        {"CLOSER", lyr::affinity_spread}};
    for (const auto &[text, policy] : examples) {
        EXPECT_EQ(lyr::affinity_from_text(text), policy);
        if (text)
            setenv("LYR_FFT_AFFINITY", text, 1);
        else
            unsetenv("LYR_FFT_AFFINITY");
        lyr_fft_plan_with_nthreads(2);
        EXPECT_EQ(lyr::affinity_policy_get(), policy);
    }
    unsetenv("LYR_FFT_AFFINITY");
    lyr::affinity_set_once(lyr::affinity_close);
    lyr::affinity_set_once(lyr::affinity_none);
    EXPECT_EQ(lyr::affinity_policy_get(), lyr::affinity_close);
}

TEST(topology, first_plan_sets_the_policy) {
    for (const auto &[text, policy] : {std::pair("ocf16384*2", lyr::affinity_spread),
                                       std::pair("ocf512*8", lyr::affinity_close)}) {
        const machine m({{0, "f\n", "10\n"}});
        setenv("LYR_FFT_AFFINITY", "NO", 1);
        for (const char *other : {"ocf64*4", text, "ocf512*8"}) {
            lyr_fft_plan_with_nthreads(4);
            const problem p = problem_of(other);
            const buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            ASSERT_TRUE(holder.plan);
            const bool first = other == text;
            EXPECT_EQ(lyr::affinity_policy_get(), first ? policy : lyr::affinity_none) << other;
            if (first) {
                EXPECT_EQ(holder.plan->children[0].nthreads, 4 / holder.plan->shares);
                break;
            }
        }
        lyr_fft_plan_with_nthreads(4);
        lyr::affinity_set_once(policy);
        EXPECT_EQ(lyr::affinity_policy_get(), lyr::affinity_none) << "only once";
        unsetenv("LYR_FFT_AFFINITY");
    }
}

// ---- The pool -----------------------------------------------------------------------------------

int64_t tasks_of_process() {
    int64_t count = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator("/proc/self/task")) ++count;
    return count;
}

// Threads end a moment after they said so.
testing::AssertionResult comes_down_to(int64_t threads) {
    for (int i = 0; i < 2000; ++i) {
        if (tasks_of_process() <= threads) return testing::AssertionSuccess();
        usleep(1000);
    }
    return testing::AssertionFailure() << tasks_of_process() << " threads, expected " << threads;
}

// So many threads the system starts for us, up to a limit. No worker is left then.
int64_t available_threads(int64_t limit) {
    lyr_fft_cleanup_threads();
    std::vector<pthread_t> threads;
    static sem_t end;
    sem_init(&end, 0, 0);
    const auto wait = [](void *) -> void * {
        while (sem_wait(&end) != 0) {
        }
        return nullptr;
    };
    for (pthread_t thread; static_cast<int64_t>(threads.size()) < limit;) {
        if (__real_pthread_create(&thread, nullptr, wait, nullptr) != 0) break;
        threads.push_back(thread);
    }
    for (size_t i = 0; i < threads.size(); ++i) sem_post(&end);
    for (const pthread_t thread : threads) pthread_join(thread, nullptr);
    return static_cast<int64_t>(threads.size());
}

// Skips a test that makes no sense where the system does not start so many threads.
#define NEEDS_THREADS(wanted)                                                      \
    if (const int64_t available = available_threads(wanted); available < (wanted)) \
    GTEST_SKIP() << "needs " << (wanted) << " threads, the system starts " << available

// Counts for every item how often it was done, and by which chunk.
struct ledger {
    int64_t n;
    std::vector<std::atomic<int>> done;
    std::vector<std::atomic<pthread_t>> by;

    explicit ledger(int64_t items)
        : n(items), done(static_cast<size_t>(items)), by(static_cast<size_t>(items)) {}

    static void work(const pool_task *task) {
        ledger &l = *static_cast<ledger *>(task->arg);
        const int64_t first = task->index * task->chunk;
        for (int64_t i = first; i < first + task->chunk && i < l.n; ++i) {
            ++l.done[static_cast<size_t>(i)];
            l.by[static_cast<size_t>(i)] = pthread_self();
        }
    }

    int64_t times(int expected) const {
        int64_t count = 0;
        for (const auto &d : done) count += d == expected;
        return count;
    }
};

TEST(pool, runs_every_item_once) {
    NEEDS_THREADS(2);
    std::thread([] {}).join();  // with the first one sanitizers start a thread of their own
    lyr_fft_cleanup_threads();
    const int64_t before = tasks_of_process();
    for (const int setting : {2, 49})  // workers that spin and workers that do not
        for (const int64_t n : {0, 1, 2, 9, 10, 64, 100, 1000})
            for (const int64_t threads : {1, 2, 4, 8, 60})
                for (const int64_t align : {1, 8}) {
                    lyr_fft_plan_with_nthreads(setting);
                    ledger l(n);
                    lyr::thread_pool_run(n, threads, align, ledger::work, &l);
                    EXPECT_EQ(l.times(1), n) << threads << " threads";
                    if (n > 0) {
                        EXPECT_EQ(l.by.back(), pthread_self()) << "the caller does the last chunk";
                    }
                }
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
    EXPECT_TRUE(comes_down_to(before));
}

TEST(pool, makes_workers_when_needed) {
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr_fft_init_threads(), 1);
    EXPECT_EQ(lyr_fft_init_threads(), 1);
    const auto workers_after = [](int64_t n, int64_t threads, int64_t align) {
        ledger l(n);
        lyr::thread_pool_run(n, threads, align, ledger::work, &l);
        return lyr::pool_worker_count();
    };
    const int64_t most = available_threads(511);
    EXPECT_EQ(workers_after(8, 1, 1), 0);
    EXPECT_EQ(workers_after(8, 8, 8), 0);
    EXPECT_EQ(workers_after(10, 4, 1), std::min<int64_t>(3, most));
    EXPECT_EQ(workers_after(10, 2, 1), std::min<int64_t>(3, most));
    EXPECT_EQ(workers_after(100, 8, 8), std::min<int64_t>(6, most));
    EXPECT_EQ(workers_after(2000, 100000, 1), std::min<int64_t>(499, most)) << "chunks of 4";
    EXPECT_EQ(workers_after(512, 100000, 1), std::min<int64_t>(511, most));
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
    lyr_fft_cleanup_threads();
}

TEST(pool, nested_runs) {
    const auto outer = [](const pool_task *task) {
        ledger inner(50);
        lyr::thread_pool_run(50, 3, 1, ledger::work, &inner);
        if (inner.times(1) == 50) ++*static_cast<std::atomic<int> *>(task->arg);
    };
    std::atomic<int> right = 0;
    for (int i = 0; i < 50; ++i) lyr::thread_pool_run(4, 4, 1, outer, &right);
    EXPECT_EQ(right, 200);
}

TEST(pool, threads_that_cannot_be_made) {
    NEEDS_THREADS(6);
    for (const int setting : {4, 60})
        for (int64_t successes = 0; successes < 7; ++successes) {
            lyr_fft_cleanup_threads();
            lyr_fft_plan_with_nthreads(setting);
            threads_until_failure = successes;
            for (int i = 0; i < 3; ++i) {
                ledger l(70);
                lyr::thread_pool_run(70, 7, 1, ledger::work, &l);
                EXPECT_EQ(l.times(1), 70) << successes << " threads";
            }
            EXPECT_EQ(lyr::pool_worker_count(), std::min<int64_t>(successes, 6));
            threads_until_failure = -1;
        }
    // Nor is anything lost without memory: for the record of the caller, and for those of workers.
    for (int64_t successes = 0; successes < 8; ++successes) {
        lyr_fft_cleanup_threads();
        lyr_fft_plan_with_nthreads(7);
        for (const bool memory : {false, true}) {
            ledger l(70);
            mallocs_until_failure = memory ? -1 : successes;
            lyr::thread_pool_run(70, 7, 1, ledger::work, &l);
            mallocs_until_failure = -1;
            EXPECT_EQ(l.times(1), 70) << "after " << successes;
            EXPECT_EQ(lyr::pool_worker_count(),
                      memory ? 6 : std::min<int64_t>(6, std::max<int64_t>(successes - 1, 0)));
        }
    }
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
}

TEST(pool, interrupted_by_signals) {
    static std::atomic<int64_t> interruptions = 0;
    struct sigaction action = {}, before;
    action.sa_handler = [](int) { ++interruptions; };  // without SA_RESTART
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    constexpr int interval = test_scale > 20 ? 5000 : 200;  // microseconds
    const itimerval often = {{0, interval}, {0, interval}}, never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (const int setting : {3, 64})
        for (int i = 0; i < 600 / test_scale + 20; ++i) {
            lyr_fft_plan_with_nthreads(setting);
            ledger l(64);
            lyr::thread_pool_run(64, setting, 1, ledger::work, &l);
            ASSERT_EQ(l.times(1), 64);
            if (i % 10 == 0) lyr_fft_cleanup_threads();
        }
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GT(interruptions, 10);
}

int64_t microseconds(const rusage &r) {
    return (r.ru_utime.tv_sec + r.ru_stime.tv_sec) * 1'000'000 + r.ru_utime.tv_usec +
           r.ru_stime.tv_usec;
}

// Workers that have nothing to do sleep, and wake up again.
TEST(pool, idle_workers_take_no_time) {
    lyr_fft_cleanup_threads();
    lyr_fft_plan_with_nthreads(4);
    for (int i = 0; i < 3; ++i) {
        ledger l(100);
        lyr::thread_pool_run(100, 4, 1, ledger::work, &l);
        EXPECT_EQ(l.times(1), 100);
        usleep(50'000);
        rusage start, end;
        getrusage(RUSAGE_SELF, &start);
        usleep(100'000);
        getrusage(RUSAGE_SELF, &end);
        EXPECT_LT(microseconds(end) - microseconds(start), 10'000);
    }
}

TEST(pool, workers_follow_the_caller) {
    NEEDS_THREADS(2);
    const machine m({{0, "ff\n", "10\n"}});
    lyr_fft_plan_with_nthreads(3);
    const auto run_on = [](int cpu) {
        machine::current = cpu;
        machine::bound.clear();
        ledger l(3);
        lyr::thread_pool_run(3, 3, 1, ledger::work, &l);
        EXPECT_EQ(l.times(1), 3);
        std::string text;
        for (const processor_set &set : machine::bound) text += list_of(set) + " ";
        return text;
    };
    const int64_t started = lyr::pool_count().started;
    EXPECT_EQ(run_on(0), "4 1,5 ");
    EXPECT_EQ(run_on(0), "");
    EXPECT_EQ(run_on(4), "0 1,5 ");
    EXPECT_EQ(run_on(-1), "- - ");
    machine::affinity_works = false;  // no reason not to run
    EXPECT_EQ(run_on(6), "0 1,4-5 ");
    machine::affinity_works = true;
    setenv("LYR_FFT_AFFINITY", "NO", 1);
    lyr_fft_plan_with_nthreads(3);
    unsetenv("LYR_FFT_AFFINITY");
    EXPECT_EQ(run_on(2), "- - ");
    EXPECT_EQ(run_on(3), "");
    EXPECT_EQ(lyr::pool_count().started, started + 2) << "workers are kept";
    EXPECT_EQ(lyr::pool_worker_count(), 2);
    lyr_fft_cleanup_threads();
    EXPECT_EQ(run_on(1), "- - ") << "a machine that was forgotten";
}

// Each calling thread keeps its workers where they are, whatever the others do.
TEST(pool, several_callers) {
    NEEDS_THREADS(16);
    const machine m({{0, "ffff\n", "10\n"}});
    lyr_fft_plan_with_nthreads(4);
    constexpr int callers = 4, runs = 100 / test_scale + 20;
    std::atomic<int64_t> right = 0, warm = 0;
    const auto run = [&right] {
        ledger l(40);
        lyr::thread_pool_run(40, 4, 1, ledger::work, &l);
        right += l.times(1) == 40;
    };
    lyr::pool_counts before = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < callers; ++i)
        threads.emplace_back([&, i] {
            machine::here = 4 * i + 1;
            run();
            if (++warm == callers) before = lyr::pool_count();
            while (warm < callers) usleep(100);
            for (int k = 0; k < runs; ++k) run();
        });
    for (std::thread &t : threads) t.join();
    EXPECT_EQ(right, callers * (runs + 1));
    // Where a thread stands still for a second others may take its workers.
    EXPECT_LT(lyr::pool_count().started - before.started, runs / 4);
    EXPECT_LT(lyr::pool_count().bound - before.bound, runs / 4);

    // Workers of callers that are gone serve those that come.
    for (int i = 0; i < 60; ++i) std::thread(run).join();
    EXPECT_EQ(right, callers * (runs + 1) + 60);
    EXPECT_LE(lyr::pool_worker_count(), 40);
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
}

// Binds all threads to the first processor of the process, as long as it exists.
class one_processor {
  public:
    one_processor() {
        EXPECT_EQ(sched_getaffinity(0, sizeof before, before.system()), 0);
        for (int cpu = lyr::max_processors - 1; cpu >= 0; --cpu)
            if (before.has(cpu)) first = cpu;
        processor_set one = {};
        one.add(first);
        bind(one);
    }
    ~one_processor() { bind(before); }
    one_processor(const one_processor &) = delete;
    one_processor &operator=(const one_processor &) = delete;

    processor_set before = {};
    int first = 0;

  private:
    static void bind(const processor_set &set) {
        for (const auto &entry : fs::directory_iterator("/proc/self/task"))
            sched_setaffinity(std::stoi(entry.path().filename()), sizeof set, set.system());
    }
};

// Workers that nobody places get the processors of the process, not those of the thread that
// happened to make them; others get their own.
TEST(pool, callers_that_are_bound) {
    NEEDS_THREADS(3);
    for (const char *policy : {"NO", "SPREAD"}) {
        lyr_fft_cleanup_threads();
        const one_processor bound;
        setenv("LYR_FFT_AFFINITY", policy, 1);
        lyr_fft_plan_with_nthreads(4);
        unsetenv("LYR_FFT_AFFINITY");
        processor_set seen[4] = {};
        const auto look = [](const pool_task *task) {
            processor_set *set = static_cast<processor_set *>(task->arg) + task->index;
            sched_getaffinity(0, sizeof *set, set->system());
        };
        lyr::thread_pool_run(4, 4, 1, look, seen);
        EXPECT_EQ(seen[3].count(), 1);
        for (int i = 0; i < 3; ++i) {
            if (*policy == 'N') {
                processor_set all = seen[i];
                all.add(bound.before);
                EXPECT_TRUE(equal(all, seen[i]))
                    << seen[i].count() << " instead of " << bound.before.count();
            } else if (bound.before.count() > 1) {
                EXPECT_FALSE(equal(seen[i], seen[3])) << i;
            }
        }
    }
    lyr_fft_cleanup_threads();
}

// Threads that outnumber their processors give way to each other instead of spinning, whether this
// was so from the start or the processors became fewer. Processor time tells.
TEST(pool, more_threads_than_processors) {
    if (test_scale > 1) GTEST_SKIP() << "is about times";
    for (const int processors : {1, 8}) {
        const machine m({{0, "ff\n", "10\n"}});
        machine::allowed = {};
        for (int cpu = 0; cpu < processors; ++cpu) machine::allowed.add(cpu);
        lyr_fft_plan_with_nthreads(3);
        const auto run = [] {
            ledger l(99);
            lyr::thread_pool_run(99, 3, 1, ledger::work, &l);
            EXPECT_EQ(l.times(1), 99);
        };
        run();
        const one_processor bound;
        for (int i = 0; i < 3; ++i) run();
        constexpr int runs = 40;
        rusage start, end;
        getrusage(RUSAGE_SELF, &start);
        for (int i = 0; i < runs; ++i) {
            usleep(4000);
            run();
        }
        getrusage(RUSAGE_SELF, &end);
        EXPECT_LT(microseconds(end) - microseconds(start), 700 * runs) << processors;
    }
}

// A thread that is cancelled goes on until the library is done: nothing is lost or locked.
TEST(pool, cancelled_callers) {
    NEEDS_THREADS(2);
    for (const int setting : {4, 60}) {
        const machine m({{0, "ff\n", "10\n"}});
        std::atomic<int> done = 0;
        struct argument {
            int setting;
            std::atomic<int> *done;
            ledger l;
        } a = {setting, &done, ledger(100)};
        const auto cancelled = [](void *arg) -> void * {
            argument *const given = static_cast<argument *>(arg);
            const int threads = given->setting;
            pthread_cancel(pthread_self());
            lyr_fft_plan_with_nthreads(threads);
            ++*given->done;
            lyr::thread_pool_run(100, threads, 1, ledger::work, &given->l);
            ++*given->done;
            lyr_fft_cleanup_threads();
            ++*given->done;
            for (;;) pthread_testcancel();
        };
        pthread_t thread;
        ASSERT_EQ(__real_pthread_create(&thread, nullptr, cancelled, &a), 0);
        void *result = nullptr;
        pthread_join(thread, &result);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(done, 3);
        EXPECT_EQ(a.l.times(1), 100);
        EXPECT_EQ(lyr::pool_worker_count(), 0);
        EXPECT_EQ(lyr::threads_for_plan(8), 8);
    }
}

// Runs and clean-ups meet in any order; every clean-up ends what is idle, and what was running.
TEST(pool, cleanups_at_any_time) {
    NEEDS_THREADS(12);
    lyr_fft_cleanup_threads();
    const int64_t before = tasks_of_process();
    lyr_fft_plan_with_nthreads(4);
    constexpr int callers = 3, runs = 2000 / test_scale + 50;
    std::atomic<int> right = 0, running = callers;
    std::vector<std::thread> threads;
    for (int i = 0; i < callers; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < runs; ++k) {
                ledger l(64);
                lyr::thread_pool_run(64, 4, 1, ledger::work, &l);
                right += l.times(1) == 64;
            }
            --running;
        });
    int64_t most = 0;
    for (int i = 0; running > 0; ++i) {
        lyr_fft_cleanup_threads();
        most = std::max(most, lyr::pool_worker_count());
        if (i % 4 == 0) lyr_fft_plan_with_nthreads(i % 8 ? 4 : 49);
    }
    for (std::thread &t : threads) t.join();
    EXPECT_EQ(right, callers * runs);
    EXPECT_LE(most, callers * 3);
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
    EXPECT_TRUE(comes_down_to(before));
    lyr_fft_plan_with_nthreads(1);
}

// ---- Transforms ---------------------------------------------------------------------------------

// All ways in which transforms come to use threads.
constexpr const char *threaded_problems[] = {"ocf64*100",
                                             "icb60*101",
                                             "ocf37*200i",
                                             "icf100*99i",
                                             "ocf16*9*30",
                                             "ocf1000*3",
                                             "ocb1001*17",
                                             "ocf41*64",
                                             "ocf65536",
                                             "ocb262144",
                                             "icb100000",
                                             "icf270000",
                                             sizeof(scalar) == 8 ? "icf360000" : "icf1638400",
                                             "ocf40x50",
                                             "icf64x64",
                                             "ocb9x20x31",
                                             "icf16x16x16",
                                             "ocf30x40*7",
                                             "oscf48x48",
                                             "iscb40x50*2",
                                             "ocf1000:1:1*1:5:5*7:1000:1000",
                                             "ocf0*60:1:70*70:60:1",
                                             "ocf12:7:8x7:1:1*50:84:100",
                                             "ocf65537",
                                             "orf64*100",
                                             "irf100*99",
                                             "orb60*101",
                                             "irb1000*17",
                                             "orf40x50",
                                             "irb64x64",
                                             "orf9x20x31",
                                             "irf16x16x16",
                                             "osrf48x48",
                                             "ok60e10*100",
                                             "ik64h*77i",
                                             "ok33e00x64o11",
                                             "orf131072",
                                             "irb131072"};

// Right, and the same bits from plan to plan and from run to run.
void check_threaded(const char *text, int threads) {
    SCOPED_TRACE(std::string(text) + " on " + std::to_string(threads) + " threads, " +
                 lyr::active_table()->name);
    const problem p = problem_of(text);
    buffers first = buffers_of(p), again = buffers_of(p, true);
    const plan_holder single(make_plan(p, first));
    if (!single.plan) return;  // not with one thread either
    lyr_fft_plan_with_nthreads(threads);
    const plan_holder a(make_plan(p, first)), b(make_plan(p, again));
    lyr_fft_plan_with_nthreads(1);
    ASSERT_TRUE(a.plan && b.plan);
    EXPECT_NE(plan_text(a.plan).find("_multithread"), std::string::npos) << "uses no threads";
    const lyr_tools::verdict v = verify(p, first, a.plan, 1);
    EXPECT_TRUE(v.ok) << v.damage << " error " << v.error.l2;
    fill_buffers(p, 1, again);
    execute_on(p, again, b.plan);
    EXPECT_TRUE(same_outputs(p, first, again)) << "another plan, other bits";
    fill_buffers(p, 1, again);
    execute_on(p, again, a.plan);
    EXPECT_TRUE(same_outputs(p, first, again)) << "another run, other bits";
    EXPECT_EQ(check_buffers(p, again), "");
}

TEST(transforms, any_number_of_threads) {
    constexpr bool emulated = test_scale > 20;
    for (const int threads : {2, 3, 4, 7, 8, 49, 64}) {
        if (emulated && threads != 2 && threads != 7) continue;
        for (const char *text : threaded_problems) {
            const problem p = problem_of(text);
            if (emulated && point_count(p) * batch_count(p) > 8000) continue;
            check_threaded(text, threads);
        }
    }
    for (const lyr::codelet_table *table : all_tables())
        for (const bool small : {false, true}) {
            const with_table active(table);
            const with_first_level_cache cache(small);
            for (const char *text : {"ocf65536", "icb100000", "icb64x64", "ocf60*100i"})
                if (!emulated || point_count(problem_of(text)) <= 8000) check_threaded(text, 3);
        }
    lyr_fft_cleanup_threads();
}

// The columns of the first pass, which has no stage list when its own transforms are long.
TEST(transforms, rotated_batches) {
    constexpr int64_t n1 = 16384, n2 = 37, row = 40;
    std::vector<scalar> in(2 * n1 * n2), one(2 * n1 * row), many(2 * n1 * row);
    random_source random{5};
    for (scalar &x : in) x = static_cast<scalar>(random.uniform());
    lyr::plan parent = {};
    parent.sign = -1;
    ASSERT_TRUE(lyr::build_rotation(&parent, n1, n2, lyr::transposes_matrix(&parent)));
    for (const auto &[threads, out] : {std::pair(1, &one), std::pair(5, &many)}) {
        lyr::plan p = {};
        p.kind = kind_rotated_batch;
        p.sign = -1;
        p.split = -1;
        p.rank = 1;
        p.dims[0] = {n1, n2, row};
        p.howmany_rank = 1;
        p.howmany_dims[0] = {n2, 1, 1};
        p.nthreads = threads;
        p.in = in.data();
        p.out = out->data();
        p.aux = parent.aux;
        ASSERT_EQ(lyr::plan_solve(&p), 0);
        std::vector<scalar> scratch(p.scratch_bytes / sizeof(scalar));
        p.execute_fn(&p, in.data(), out->data(), scratch.data());
        lyr::plan_clear(&p);
    }
    EXPECT_TRUE(one == many);
    lyr::plan_clear(&parent);
}

TEST(transforms, allocations_and_threads_fail) {
    for (const char *text : {"ocf64*100", "ocf4096", "icf40x50"}) {
        const problem p = problem_of(text);
        buffers b = buffers_of(p);
        for (int64_t successes = 0; successes < 4; ++successes) {
            lyr_fft_cleanup_threads();
            lyr_fft_plan_with_nthreads(4);
            const plan_holder holder(make_plan(p, b));
            ASSERT_TRUE(holder.plan);
            threads_until_failure = successes;
            const lyr_tools::verdict v = verify(p, b, holder.plan, 1);
            threads_until_failure = -1;
            EXPECT_TRUE(v.ok) << text << " with " << successes << " workers";
        }
    }
    lyr_fft_plan_with_nthreads(1);
}

TEST(transforms, soak) {
    const problem p = problem_of("ocf16*96");
    const int64_t before = [] {
        lyr_fft_cleanup_threads();
        return tasks_of_process();
    }();
    buffers b = buffers_of(p);
    random_source random{7};
    constexpr int plans = 12;
    constexpr int counts[plans] = {2, 3, 4, 5, 7, 8, 12, 16, 31, 48, 49, 64};
    lyr_fft_plan plan[plans];
    for (int k = 0; k < plans; ++k) {
        lyr_fft_plan_with_nthreads(counts[k]);
        plan[k] = make_plan(p, b);
        ASSERT_TRUE(plan[k]);
    }
    for (int64_t i = 0; i < 100'000 / (test_scale * test_scale); ++i) {
        // Mostly few threads: there may be few processors.
        const int64_t k =
            std::min(random.below(plans), std::min(random.below(plans), random.below(plans)));
        lyr_fft_execute(plan[k]);
        if (i % 5000 == 4999) lyr_fft_cleanup_threads();
        if (random.below(1000) == 0) lyr_fft_plan_with_nthreads(counts[random.below(plans)]);
    }
    for (lyr_fft_plan one : plan) {
        EXPECT_TRUE(verify(p, b, one, 1).ok);
        lyr_fft_destroy_plan(one);
    }
    lyr_fft_plan_with_nthreads(1);
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
    EXPECT_TRUE(comes_down_to(before));
}

// Plans and runs with threads, over and over; counts what went right.
void plan_and_run(const char *text, int rounds, std::atomic<int> &right) {
    const problem p = problem_of(text);
    buffers b = buffers_of(p);
    for (int i = 0; i < rounds; ++i) {
        lyr_fft_plan_with_nthreads(2 + i % 3);
        const plan_holder holder(make_plan(p, b));
        if (!holder.plan) continue;
        bool ok = verify(p, b, holder.plan, 1).ok;
        for (int k = 0; k < 3; ++k) lyr_fft_execute(holder.plan);
        right += ok;
    }
}

TEST(transforms, from_several_threads) {
    NEEDS_THREADS(16);
    constexpr const char *texts[] = {"ocf64*40", "icf2048", "ocf24x30", "oscf16x16*3"};
    constexpr int rounds = static_cast<int>(100 / test_scale) + 2;
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (const char *text : texts)
        threads.emplace_back([&right, text] { plan_and_run(text, rounds, right); });
    for (std::thread &t : threads) t.join();
    EXPECT_EQ(right, 4 * rounds);
    lyr_fft_plan_with_nthreads(1);
    lyr_fft_cleanup_threads();
    EXPECT_EQ(lyr::pool_worker_count(), 0);
}

TEST(transforms, pools_come_and_go) {
    const problem p = problem_of("ocf64*40");
    buffers b = buffers_of(p);
    for (int i = 0; i < 200 / test_scale + 5; ++i) {
        lyr_fft_plan_with_nthreads(2 + i % 4);
        const plan_holder holder(make_plan(p, b));
        ASSERT_TRUE(holder.plan && verify(p, b, holder.plan, 1).ok);
        lyr_fft_cleanup_threads();
        ASSERT_EQ(lyr::pool_worker_count(), 0);
        if (i % 3 == 0) lyr_fft_execute(holder.plan);  // makes a pool again
    }
    lyr_fft_plan_with_nthreads(1);
    lyr_fft_cleanup_threads();
}

// The thread sanitizer cannot follow a child that makes threads, and the address sanitizer's
// allocator takes no care of forks: the child may find one of its locks taken, and wait for ever.
#if !defined(LYRA_TEST_SANITIZED)
TEST(transforms, in_a_child_of_fork) {
    NEEDS_THREADS(12);
    const problem p = problem_of("ocf64*40");
    buffers b = buffers_of(p);
    lyr_fft_cleanup_threads();
    lyr_fft_plan_with_nthreads(4);
    const plan_holder parents(make_plan(p, b));
    ASSERT_TRUE(parents.plan && verify(p, b, parents.plan, 1).ok);
    // Another thread keeps the pool and its locks busy.
    const std::jthread other([](const std::stop_token &stop) {
        std::atomic<int> right = 0;
        while (!stop.stop_requested()) plan_and_run("icf16x32", 1, right);
    });
    for (int i = 0; i < 40 / test_scale + 3; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(60);
            // QEMU 7.2 fails an assertion when such a child starts a thread.
            if (test_scale > 20) threads_until_failure = 0;
            const int64_t inherited = lyr::pool_worker_count();
            const bool old_plan = verify(p, b, parents.plan, 1).ok;
            lyr_fft_plan_with_nthreads(3);
            const lyr_fft_plan plan = make_plan(p, b);
            const bool new_plan = plan && verify(p, b, plan, 1).ok;
            lyr_fft_destroy_plan(plan);
            lyr_fft_cleanup_threads();
            _exit(inherited == 0 && old_plan && new_plan && lyr::pool_worker_count() == 0 ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0) << "child " << i;
        ASSERT_TRUE(verify(p, b, parents.plan, 1).ok) << "the parent goes on";
    }
}
#endif

// Its code stays as long as the process, for the workers that run it.
TEST(transforms, library_closed_under_its_workers) {
    NEEDS_THREADS(3);
    void *library = dlopen(LYRA_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
// Twice, so that the name is that of the precision.
#define SYMBOL_NAMED(name) reinterpret_cast<decltype(&name)>(dlsym(library, #name))
#define SYMBOL(name) SYMBOL_NAMED(name)
    const auto set_threads = SYMBOL(lyr_fft_plan_with_nthreads);
    const auto plan_2d = SYMBOL(lyr_fft_plan_dft_2d);
    const auto execute = SYMBOL(lyr_fft_execute);
    const auto destroy = SYMBOL(lyr_fft_destroy_plan);
#undef SYMBOL
#undef SYMBOL_NAMED
    ASSERT_TRUE(set_threads && plan_2d && execute && destroy);
    std::vector<scalar> data(2 * 64 * 64);
    set_threads(4);
    const lyr_fft_plan plan =
        plan_2d(64, 64, complexes(data.data()), complexes(data.data()), LYR_FFT_FORWARD, 0);
    ASSERT_TRUE(plan);
    execute(plan);
    destroy(plan);
    dlclose(library);
    usleep(20'000);  // workers spin, sleep, and would by now run code that is gone
    library = dlopen(LYRA_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    EXPECT_TRUE(library) << "unloaded";
}

// A plug-in with the static library inside: after the clean-up nothing of it runs any more.
#if !defined(LYRA_TEST_SANITIZED)
TEST(transforms, plug_in_that_is_unloaded) {
    NEEDS_THREADS(4);
    const int64_t before = tasks_of_process();
    for (int i = 0; i < 20 / test_scale + 3; ++i) {
        void *plug_in = dlopen(LYRA_PLUG_IN_FILE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_TRUE(plug_in) << dlerror();
        const auto run =
            reinterpret_cast<int (*)(int threads)>(dlsym(plug_in, "transform_and_clean_up"));
        ASSERT_TRUE(run);
        EXPECT_EQ(run(i % 2 ? 4 : 60), 1);
        dlclose(plug_in);
        ASSERT_FALSE(dlopen(LYRA_PLUG_IN_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD));
    }
    EXPECT_TRUE(comes_down_to(before));
}
#endif

}  // namespace
}  // namespace lyr_test
