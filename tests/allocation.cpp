// When memory or threads run out: every single allocation and thread creation of plans and of their
// executions fails once. The program is linked with --wrap for these functions, so that those of
// the library come here.
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "reference.h"
#include "support.h"

namespace {

// Counts only while the library is at work; gtest and the test itself go through unhindered.
std::atomic<bool> counting = false;
std::atomic<int64_t> until_failure = -1;  // allocations that still succeed; negative: all
std::atomic<int64_t> live_blocks = 0;
std::atomic<int64_t> allocations = 0;
std::atomic<size_t> largest_block = SIZE_MAX;

bool fails(size_t bytes = 0) {
    if (!counting) return false;
    ++allocations;
    if (bytes <= largest_block && (until_failure < 0 || until_failure-- != 0)) return false;
    errno = ENOMEM;
    return true;
}

void *counted(void *block) {
    if (counting && block) ++live_blocks;
    return block;
}

}  // namespace

extern "C" {
void *__real_malloc(size_t bytes);
void *__real_calloc(size_t count, size_t bytes);
void *__real_aligned_alloc(size_t alignment, size_t bytes);
void __real_free(void *block);
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);

void *__wrap_malloc(size_t bytes) {
    return fails(bytes) ? nullptr : counted(__real_malloc(bytes));
}
void *__wrap_calloc(size_t count, size_t bytes) {
    return fails(count * bytes) ? nullptr : counted(__real_calloc(count, bytes));
}
void *__wrap_aligned_alloc(size_t alignment, size_t bytes) {
    return fails(bytes) ? nullptr : counted(__real_aligned_alloc(alignment, bytes));
}
void __wrap_free(void *block) {
    if (counting && block) --live_blocks;
    __real_free(block);
}
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *arg) {
    return fails() ? EAGAIN : __real_pthread_create(thread, attributes, start, arg);
}
}

namespace lyr_test {
namespace {

using lyr_tools::buffers;
using lyr_tools::problem;

lyr_fft_plan plan_with_failure(const problem &p, const buffers &b, int64_t successes) {
    counting = true;
    until_failure = successes;
    allocations = 0;
    const lyr_fft_plan plan = make_plan(p, b, lyr_tools::constructor::guru64);
    until_failure = -1;
    counting = false;
    return plan;
}

void destroy_counted(lyr_fft_plan plan) {
    counting = true;
    lyr_fft_destroy_plan(plan);
    counting = false;
}

// Plans a problem once for each of its allocations, which fails. Whatever fails, there is no plan,
// or its results are right, and nothing is left.
void check_failing_plans(const char *text) {
    const problem p = problem_of(text);
    buffers b = buffers_of(p);
    int64_t made = 0;
    for (int64_t successes = 0;; ++successes) {
        SCOPED_TRACE(std::string(text) + ", failure after " + std::to_string(successes));
        live_blocks = 0;
        const lyr_fft_plan plan = plan_with_failure(p, b, successes);
        const bool failed_once = allocations > successes;
        if (plan) {
            ++made;
            const lyr_tools::verdict v = verify(p, b, plan, 1);
            EXPECT_TRUE(v.ok) << v.damage << " error " << v.error.l2;
        } else {
            EXPECT_LE(allocations, successes + 3) << "tries other ways without memory";
        }
        destroy_counted(plan);
        EXPECT_EQ(live_blocks, 0) << "leaked";
        if (!failed_once) {
            EXPECT_TRUE(plan) << "no plan with all the memory it wants";
            break;
        }
        // The record itself comes first, and nothing works without it.
        if (successes == 0) {
            EXPECT_FALSE(plan);
        }
        ASSERT_LT(successes, 1000);
    }
    EXPECT_GE(made, 1) << text;
}

TEST(allocation, every_allocation_of_a_plan_may_fail) {
    for (const char *text : {"ocf1",
                             "ocf16",
                             "icb37:2:2",
                             "ocf64",
                             "ocf60:2:3",
                             "ocf1024",
                             "ocb1024:2:1",
                             "ocf16384",
                             "ocf16*9i",
                             "icf60*50i",
                             "ocf6x8*50i",
                             "orb6x8*50i",
                             "ocf1001*20i",
                             "ocf64*3",
                             "ocf64*3*5i",
                             "ocb30x64",
                             "icf8x60x10",
                             "ocf16x16*2*2*2",
                             "ocf41",
                             "ocb83:2:3",
                             "icf1763",
                             "ocf246",
                             "ocf20014",
                             "ocf100:1:40*40:100:1",
                             "ocf50:30:1*30:1:50",
                             "oscf60*3",
                             "iscb8x9x10",
                             "ocf0*3*4i",
                             "icf0*3:1:5*5:3:1",
                             "orf64",
                             "irb1000",
                             "orf60:2:3",
                             "orb9",
                             "orf60*9i",
                             "orb15*9i",
                             "orf2835",
                             "irb3375",
                             "orf8x9x10",
                             "orb8x9x10",
                             "orb6x7",
                             "irf6x8*5i",
                             "irb6x8*5i",
                             "irb5:70:51x4:10:9x6:2:1",
                             "orf8:2:3",
                             "orf16*9",
                             "irb32*5",
                             "ok64b:2:1",
                             "ok16h*7i",
                             "ok17e00*3",
                             "ok99e00:2:3",
                             "ok100o00",
                             "ok60f*20i",
                             "ok1001e10",
                             "ok99e11",
                             "ik33h*9i",
                             "ok9o01x40b",
                             "icf16:1:1*9:16:17",
                             "iscf16:1:1*9:17:16",
                             "irf8:1:1*4:12:5"})
        check_failing_plans(text);
}

// Two passes, with factors of one level and of two, begin at lengths of their own in every table.
TEST(allocation, long_transforms_in_every_table) {
    if (test_scale > 1) return;
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        SCOPED_TRACE(table->name);
        for (const char *text : {"ocf16384", "icb65536", "ocf262144"}) check_failing_plans(text);
    }
}

// Runs f with allocations counted.
template <class function>
void counted_run(function f) {
    counting = true;
    f();
    counting = false;
}

// A plan's life on several threads: made, run, run again with new workers, destroyed. Whatever
// fails, there is no plan, or both results are right, and in the end nothing is left.
TEST(allocation, everything_may_fail_with_threads) {
    struct example {
        const char *problem;
        int threads;
    };
    constexpr example examples[] = {
        {"ocf16*300", 2},
        {"icf60*50i", 3},
        {"ocf1001*20i", 4},
        {"ocf64*30*5i", 2},
        {"ocb30x64", 3},
        {"icf8x60x10", 4},
        {"ocf41*90", 2},
        {"ocf83*40i", 3},
        {"ocf16384", 2},
        {"icf2048", 4},
        {"ocf0*30*40i", 2},
        {"oscf60*30", 3},
        {"ocf256:256:256*20:1:1", 2},
        {"orf60*90i", 3},
        {"orb15*90i", 2},
        {"orf8x9x10", 4},
        {"orb8x90x10", 3},
        {"irb60x70", 2},
        {"irf6x80*5i", 3},
        {"irb6x80*5i", 2},
        {"orf16384", 3},
        {"irb16384", 2},
        {"orf16*900", 2},
        {"orb32*100", 4},
        {"ok60f*90i", 3},
        {"ok17e00*90", 2},
        {"ik33h*90i", 2},
        {"ok99e11*40", 3},
        {"ok9o01x400b", 2},
        {"ocf1x1x3000", 3},
    };
    for (const auto &[text, threads] : examples) {
        const problem p = problem_of(text);
        if (test_scale > 1 && point_count(p) * batch_count(p) > 3000) continue;
        buffers b = buffers_of(p);
        for (int64_t successes = 0;; ++successes) {
            SCOPED_TRACE(std::string(text) + ", failure after " + std::to_string(successes));
            live_blocks = 0;
            allocations = 0;
            until_failure = successes;
            lyr_fft_plan plan = nullptr;
            counted_run([&, threads = threads] {
                lyr_fft_plan_with_nthreads(threads);
                plan = make_plan(p, b, lyr_tools::constructor::guru64);
            });
            for (int run = 0; plan && run < 2; ++run) {
                fill_buffers(p, static_cast<uint64_t>(run + 1), b);
                counted_run([&] {
                    if (run == 1) lyr_fft_cleanup_threads();
                    lyr_fft_execute(plan);
                });
                EXPECT_EQ(check_buffers(p, b), "");
                EXPECT_LE(compare_with_reference(p, b).l2, p.rank > 0 ? 2.0 : 0);
            }
            const bool failed_once = until_failure < 0;
            until_failure = -1;
            counted_run([&] {
                lyr_fft_destroy_plan(plan);
                lyr_fft_plan_with_nthreads(1);
                lyr_fft_cleanup_threads();
            });
            EXPECT_EQ(live_blocks, 0) << "leaked";
            if (!failed_once) {
                EXPECT_TRUE(plan) << "no plan with all the memory it wants";
                break;
            }
            if (HasFailure()) return;
            ASSERT_LT(successes, 1000);
        }
    }
}

// Whatever the length, a refusal does not search, sieve or sum first.
TEST(allocation, refusals_are_quick) {
    constexpr int64_t lengths[] = {10000000019,       100000000003,      1000000000039,
                                   1000000000000037,  72057594037927931, int64_t{1} << 40,
                                   int64_t{41} << 40, int64_t{3} << 50,  2305843009213693951};
    scalar room[2] = {};
    largest_block = size_t{256} << 20;
    for (const int64_t n : lengths)
        for (const int64_t stride : {1, 2}) {
            const lyr_fft_iodim64 dim = {n, stride, stride};
            std::vector<lyr_fft_plan> plans;
            timespec before, after;
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
            counted_run([&] {
                lyr_fft_complex *z = complexes(room);
                plans.push_back(lyr_fft_plan_guru64_dft(1, &dim, 0, nullptr, z, z, -1, 0));
                plans.push_back(lyr_fft_plan_guru64_dft_r2c(1, &dim, 0, nullptr, room, z, 0));
                plans.push_back(lyr_fft_plan_guru64_dft_c2r(1, &dim, 0, nullptr, z, room, 0));
                for (int kind = LYR_FFT_R2HC; kind <= LYR_FFT_RODFT11; ++kind) {
                    const auto k = static_cast<lyr_fft_r2r_kind>(kind);
                    plans.push_back(
                        lyr_fft_plan_guru64_r2r(1, &dim, 0, nullptr, room, room, &k, 0));
                }
            });
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
            const double milliseconds = 1e3 * static_cast<double>(after.tv_sec - before.tv_sec) +
                                        1e-6 * static_cast<double>(after.tv_nsec - before.tv_nsec);
            for (const lyr_fft_plan plan : plans) {
                EXPECT_EQ(plan, nullptr) << n;
                lyr_fft_destroy_plan(plan);
            }
            EXPECT_LT(milliseconds, 10 * static_cast<double>(test_scale)) << n;
        }
    largest_block = SIZE_MAX;
}

TEST(allocation, library_blocks) {
    counting = true;
    until_failure = 0;
    void *const none = lyr_fft_malloc(100);
    until_failure = -1;
    live_blocks = 0;
    void *const block = lyr_fft_malloc(100);
    const int64_t held = live_blocks;
    lyr_fft_free(block);
    counting = false;
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(held, 1);
    EXPECT_EQ(live_blocks, 0);
}

}  // namespace
}  // namespace lyr_test
