// One plan, executed by several threads at the same time: results are those of one thread, bit for
// bit, whatever the executor; and scratch memory is lent, kept and given back.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "api/memory.h"
#include "batch/copy_transpose.h"
#include "codelets/select.h"
#include "planner/scratch.h"
#include "support.h"

namespace {

std::atomic<bool> no_memory = false;

}  // namespace

// The linker puts these in the library's way.
extern "C" {
void *__real_malloc(size_t bytes);
void *__real_calloc(size_t count, size_t bytes);

void *__wrap_malloc(size_t bytes) {
    return no_memory ? nullptr : __real_malloc(bytes);
}
void *__wrap_calloc(size_t count, size_t bytes) {
    return no_memory ? nullptr : __real_calloc(count, bytes);
}
}

namespace lyr_test {
namespace {

using namespace lyr_tools;

// Together these use every executor there is but execute_bufferization (far_columns).
constexpr const char *shared_problems[] = {"ocf1*5",
                                           "ocf1*5i",
                                           "ocf16",
                                           "icb37:2:2",
                                           "ocf60",
                                           "ocf64",
                                           "icf1000",
                                           "ocb4096",
                                           "ocf2048",
                                           "ocf60:2:3",
                                           "ocb1024:2:1",
                                           "ocf16384",
                                           "icf65536",
                                           "ocf262144",
                                           "icf147456",
                                           "ocf41",
                                           "ocb83:2:3",
                                           "ocf1009",
                                           "icf1763",
                                           "ocf246",
                                           "ocf2018:2:2",
                                           "ocf16*9i",
                                           "icf60*50i",
                                           "ocf1001*20i",
                                           "ocf64*30",
                                           "ocf6*100",
                                           "ocf16*1100",
                                           "ocf16*8400",
                                           "ocf1000*40",
                                           "ocf1000*140",
                                           "ocf256*80",
                                           "ocf200*3000",
                                           "ocf64*3*5i",
                                           "ocf64:70:1*61:1:64",
                                           "ocb200:70:1*61:1:201",
                                           "ocf62:2:1*9:130:62",
                                           "ocb30x64",
                                           "icf8x60x10",
                                           "icf256x256",
                                           "ocf1024x64",
                                           "ocf16x16*2*2*2",
                                           "ocf100:1:40*40:100:1",
                                           "ocf512:1:40*40:512:1",
                                           "ocf16x8*200i",
                                           "ocf50:30:1*30:1:50",
                                           "ocf8232:3:1*3:1:8232",
                                           "icf41:1:20*20:41:1",
                                           "ocf600x600",
                                           "ocf521x32",
                                           "ocf4099x20",
                                           "oscf60*3",
                                           "iscb8x9x10",
                                           "oscf1024",
                                           "oscf64x64",
                                           "oscf160x160",
                                           "oscf20x30x40",
                                           "osrf48x48",
                                           "ocf0*3*4i",
                                           "icf0*3:1:5*5:3:1",
                                           "icf0*4:1:4*4:4:1",
                                           "orf64",
                                           "irb1000",
                                           "orf60:2:3",
                                           "orb9",
                                           "orf60*9i",
                                           "orb15*9i",
                                           "orf15*9i",
                                           "irb60*9i",
                                           "orf8x9x10",
                                           "orb8x9x10",
                                           "irb8x9x10",
                                           "orb6:14:16x7:2:2",
                                           "irf6x8*5i",
                                           "irb6x8*5i",
                                           "irb5:70:51x4:10:9x6:2:1",
                                           "orf8:2:3",
                                           "orf16*9",
                                           "irb32*5",
                                           "ok64b:2:1",
                                           "ok16h*7i",
                                           "ik64f*9",
                                           "ok17e00*3",
                                           "ok99e00:2:3",
                                           "ok101e00",
                                           "ok100o00",
                                           "ok60f*20i",
                                           "ok64f*20i",
                                           "ok1001e10",
                                           "ok1000e01",
                                           "ok99e11",
                                           "ik33h*9i",
                                           "ok9o01x40b",
                                           "ok20b",
                                           "orb1000:2:2",
                                           "orb8",
                                           "ok8f",
                                           "ok8b",
                                           "ok8h",
                                           "icf16:1:1*9:16:17",
                                           "ok60e10:2:2",
                                           "ok61e10:2:2"};
constexpr const char *shared_on_threads[] = {
    "ocf64*100", "ocf16384",    "icb60*50i", "orf1000*17",    "orb40x50",      "irf131072",
    "oscf48x48", "ocf1001*20i", "irb131072", "orf177147:2:1", "orb177147:1:2", "irf177147"};

void collect_executors(const lyr::plan *p, std::set<std::string> &names) {
    names.insert(p->execute_name);
    for (int32_t i = 0; i < p->nchildren; ++i) collect_executors(&p->children[i], names);
}

// Executes one plan from several threads, each on arrays of its own, and compares with one thread.
void check_shared(const char *text, int threads, int rounds, std::set<std::string> &executors) {
    SCOPED_TRACE(text);
    const problem p = problem_of(text);
    buffers planned = buffers_of(p), expected = buffers_of(p);
    const plan_holder holder(make_plan(p, planned));
    ASSERT_TRUE(holder.plan);
    collect_executors(holder.plan, executors);
    fill_buffers(p, 1, expected);
    execute_on(p, expected, holder.plan);
    ASSERT_EQ(check_buffers(p, expected), "");

    std::atomic<int> wrong = 0, ready = 0;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&] {
            buffers b = buffers_of(p);
            ++ready;
            while (ready < threads) std::this_thread::yield();
            for (int i = 0; i < rounds; ++i) {
                fill_buffers(p, 1, b);
                execute_on(p, b, holder.plan);
                if (!same_outputs(p, expected, b)) ++wrong;
            }
        });
    for (std::thread &worker : workers) worker.join();
    EXPECT_EQ(wrong, 0) << "of " << threads * rounds;
}

TEST(sharing, every_executor) {
    const with_caches sizes({256 << 10, 4 << 20});
    std::set<std::string> executors;
    const int rounds = test_scale > 1 ? 2 : 10;
    for (const char *text : shared_problems) check_shared(text, 8, rounds, executors);
    lyr_fft_plan_with_nthreads(2);
    for (const char *text : shared_on_threads) check_shared(text, 4, rounds, executors);
    lyr_fft_plan_with_nthreads(1);
    lyr_fft_cleanup_threads();
    // A new executor needs a problem in the tables above.
    for (const char *name : {"execute_1d",
                             "execute_1d_c2r",
                             "execute_1d_c2r_discrete",
                             "execute_1d_c2r_multithread",
                             "execute_1d_c2r_odd",
                             "execute_1d_c2r_odd_multithread",
                             "execute_1d_discrete",
                             "execute_1d_prime_bluestein",
                             "execute_1d_prime_bluestein_discrete",
                             "execute_1d_r2c",
                             "execute_1d_r2c_direct",
                             "execute_1d_r2c_direct_unit",
                             "execute_1d_r2c_discrete",
                             "execute_1d_r2c_multithread",
                             "execute_1d_r2c_odd",
                             "execute_1d_r2c_odd_multithread",
                             "execute_1d_rader",
                             "execute_1d_rader_discrete",
                             "execute_1d_turned_multithread",
                             "execute_1d_two_stages",
                             "execute_bufferization_walk",
                             "execute_c2c_1d_large",
                             "execute_c2r_direct",
                             "execute_c2r_direct_unit",
                             "execute_c2r_many",
                             "execute_c2r_many_odd",
                             "execute_c2r_multidimension",
                             "execute_c2r_multidimension_inplace",
                             "execute_c2r_multidimension_many",
                             "execute_columns",
                             "execute_dft_direct",
                             "execute_dht_direct",
                             "execute_dht_direct_unit",
                             "execute_gathered",
                             "execute_hc2r_direct",
                             "execute_hc2r_direct_unit",
                             "execute_indirect_before",
                             "execute_inplace_buffered",
                             "execute_many",
                             "execute_many_ahead",
                             "execute_many_copied",
                             "execute_many_direct",
                             "execute_many_far",
                             "execute_many_far_turned",
                             "execute_many_far_units",
                             "execute_many_inside",
                             "execute_many_past",
                             "execute_many_past_copied",
                             "execute_many_post_transpose",
                             "execute_many_post_transpose_copied",
                             "execute_many_post_transpose_inplace",
                             "execute_many_split",
                             "execute_many_transpose",
                             "execute_many_transpose_rotate",
                             "execute_multidimension",
                             "execute_multithread",
                             "execute_nop",
                             "execute_odd_real_large",
                             "execute_odd_real_large",
                             "execute_r2c_many",
                             "execute_r2c_many_direct",
                             "execute_r2c_many_odd",
                             "execute_r2c_multidimension_many",
                             "execute_r2hc_direct",
                             "execute_r2hc_direct_unit",
                             "execute_r2r_small",
                             "execute_r2r_through_dft",
                             "execute_r2r_through_dft_discrete",
                             "execute_rearrange_inplace",
                             "execute_rearrange_outplace",
                             "execute_redft00_coprime",
                             "execute_redft00_direct",
                             "execute_rodft00_coprime",
                             "execute_split",
                             "execute_split_plane",
                             "execute_split_rows",
                             "execute_split_stages",
                             "execute_turned_beside",
                             "execute_type1_halves",
                             "execute_type4_odd"}) {
        // Vectors of one number transform nothing in registers, and lie in as many lines; not all
        // targets store past caches.
        const int64_t lanes = lyr::active_table()->lanes;
        const bool needed =
            name == std::string("execute_many_post_transpose_copied") ? lanes > 1
            : name == std::string("execute_many_far_units") ? lanes > 1 && !lyr::is_half_line(lanes)
            : name == std::string("execute_1d_turned_multithread") ||
                    name == std::string("execute_many_ahead") ||
                    name == std::string("execute_many_far_turned") ||
                    name == std::string("execute_turned_beside")
                ? lyr::is_half_line(lanes) && lyr::first_level_cache_is_small()
            : name == std::string("execute_many_past")        ? lyr::far_batch_for(16) != nullptr
            : name == std::string("execute_many_past_copied") ? lyr::has_copies_past
                                                              : true;
        if (needed) {
            EXPECT_EQ(executors.count(name), 1u) << name;
        }
    }
}

// Executions write nothing behind the scratch memory that plans ask for.
TEST(sharing, scratch_is_enough) {
    constexpr size_t fence = 1 << 16;
    constexpr char untouched = 0x5a;
    const auto check = [](const char *text) {
        const problem p = problem_of(text);
        buffers b = buffers_of(p);
        const plan_holder holder(make_plan(p, b));
        ASSERT_TRUE(holder.plan) << text;
        const size_t bytes = holder.plan->scratch_bytes;
        char *scratch = static_cast<char *>(lyr::aligned_alloc_any(bytes + fence));
        ASSERT_TRUE(scratch);
        memset(scratch, untouched, bytes + fence);
        auto *memory = reinterpret_cast<scalar *>(scratch);
        if (p.split)
            holder.plan->execute_split_fn(holder.plan, b.in[0], b.in[1], b.out[0], b.out[1],
                                          memory);
        else
            holder.plan->execute_fn(holder.plan, b.in[0], b.out[0], memory);
        const char *end = scratch + bytes;
        EXPECT_TRUE(std::all_of(end, end + fence, [](char c) { return c == untouched; })) << text;
        lyr::aligned_free(scratch);
    };
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        SCOPED_TRACE(table->name);
        for (const char *text : shared_problems) check(text);
        if (test_scale > 1) continue;
        lyr_fft_plan_with_nthreads(3);
        for (const char *text : {"icb262144", "ocf270000", "ocf1001*20i", "orb40x50"}) check(text);
        lyr_fft_plan_with_nthreads(1);
    }
    lyr_fft_cleanup_threads();
}

// Columns of prime length, rows of half a spectrum apart: execute_bufferization. The rows lie on
// pages of their own, and only what is transformed of each array of 134 MB is ever touched.
TEST(sharing, far_columns) {
    constexpr int n = 4099, row = n / 2 + 1, columns = 17;
    constexpr size_t bytes = size_t{n} * row * sizeof(lyr_fft_complex);
    struct array {
        void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);

        array() {
            if (memory != MAP_FAILED) madvise(memory, bytes, MADV_NOHUGEPAGE);
        }
        ~array() { munmap(memory, bytes); }
        scalar *row_of(int i) const { return static_cast<scalar *>(memory) + int64_t{2} * row * i; }
    };
    const auto fill = [](const array &a) {
        random_source random{5};
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < 2 * columns; ++j)
                a.row_of(i)[j] = static_cast<scalar>(random.below(2001)) - 1000;
    };
    const lyr_fft_iodim length = {n, row, row}, batch = {columns, 1, 1};
    const array expected;
    ASSERT_NE(expected.memory, MAP_FAILED);
    fill(expected);
    lyr_fft_complex *data = complexes(expected.row_of(0));
    const plan_holder holder(
        lyr_fft_plan_guru_dft(1, &length, 1, &batch, data, data, LYR_FFT_FORWARD, 0));
    ASSERT_TRUE(holder.plan);
    ASSERT_STREQ(holder.plan->execute_name, "execute_bufferization");
    lyr_fft_execute(holder.plan);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back([&] {
            const array mine;
            if (mine.memory == MAP_FAILED) {
                ++wrong;
                return;
            }
            fill(mine);
            lyr_fft_complex *own = complexes(mine.row_of(0));
            lyr_fft_execute_dft(holder.plan, own, own);
            for (int i = 0; i < n; ++i)
                if (memcmp(mine.row_of(i), expected.row_of(i), columns * sizeof *own) != 0) ++wrong;
        });
    for (std::thread &worker : workers) worker.join();
    EXPECT_EQ(wrong, 0);
}

// While other threads make, execute and destroy plans of the same sizes.
TEST(sharing, random_plans) {
    random_source random{17};
    std::atomic<bool> over = false;
    std::thread planner([&] {
        while (!over)
            for (const char *text : {"ocf4096", "icf2000", "ocf1009", "orf8192"}) {
                const problem p = problem_of(text);
                buffers b = buffers_of(p);
                const plan_holder holder(make_plan(p, b));
                fill_buffers(p, 1, b);
                execute_on(p, b, holder.plan);
            }
    });
    std::set<std::string> executors;
    for (int i = 0; i < 100 / test_scale + 4; ++i) {
        const int64_t n = 2 + random.below(5000), howmany = 1 + random.below(4);
        std::string text = (i % 2 ? "ocf" : i % 4 ? "orf" : "icb") + std::to_string(n);
        if (howmany > 1) text += "*" + std::to_string(howmany);
        check_shared(text.c_str(), 4, 5, executors);
    }
    over = true;
    planner.join();
}

// Threads that come and go leave no blocks behind, and plans of one size share them.
TEST(sharing, blocks_are_kept_and_go_with_the_plans) {
    const int64_t before = lyr::scratch_block_count();
    const problem p = problem_of("ocf4096");
    buffers b = buffers_of(p);
    {
        std::vector<std::unique_ptr<plan_holder>> plans;
        for (int i = 0; i < 20; ++i)
            plans.push_back(std::make_unique<plan_holder>(make_plan(p, b)));
        for (const auto &holder : plans) execute_on(p, b, holder->plan);
        EXPECT_EQ(lyr::scratch_block_count(), before + 1);
        for (int i = 0; i < 1000 / test_scale; ++i)
            std::thread([&] {
                buffers mine = buffers_of(p);
                execute_on(p, mine, plans[0]->plan);
            }).join();
        EXPECT_EQ(lyr::scratch_block_count(), before + 1);
    }
    EXPECT_EQ(lyr::scratch_block_count(), before);
}

// Without memory for more blocks, threads wait for the one that there is.
TEST(sharing, executions_wait_without_memory) {
    const problem p = problem_of("ocf4096");
    buffers planned = buffers_of(p), expected = buffers_of(p);
    const plan_holder holder(make_plan(p, planned));
    fill_buffers(p, 1, expected);
    execute_on(p, expected, holder.plan);
    const int64_t before = lyr::scratch_block_count();
    std::vector<buffers> mine;
    for (int t = 0; t < 8; ++t) {
        mine.push_back(buffers_of(p));
        fill_buffers(p, 1, mine.back());
    }
    std::vector<std::thread> workers;
    std::atomic<int> ready = 0, wrong = 0;
    for (buffers &b : mine)
        workers.emplace_back([&] {
            ++ready;
            while (!no_memory) std::this_thread::yield();
            for (int i = 0; i < 200; ++i) {
                execute_on(p, b, holder.plan);
                if (!same_outputs(p, expected, b)) ++wrong;
            }
        });
    while (ready < 8) std::this_thread::yield();
    no_memory = true;
    for (std::thread &worker : workers) worker.join();
    no_memory = false;
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(lyr::scratch_block_count(), before);
}

#ifndef LYRA_TEST_SANITIZED
// A child of fork finds what other threads were lent at that moment given back.
TEST(sharing, in_a_child_of_fork) {
    const problem p = problem_of("ocf65536");
    buffers b = buffers_of(p), expected = buffers_of(p);
    const plan_holder holder(make_plan(p, b));
    fill_buffers(p, 1, expected);
    execute_on(p, expected, holder.plan);
    std::atomic<bool> over = false;
    std::thread busy([&] {
        while (!over) execute_on(p, b, holder.plan);
    });
    buffers mine = buffers_of(p);
    for (int i = 0; i < 20; ++i) {
        fill_buffers(p, 1, mine);
        const pid_t child = fork();
        if (child == 0) {
            no_memory = true;
            execute_on(p, mine, holder.plan);
            _exit(same_outputs(p, expected, mine) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    over = true;
    busy.join();
}
#endif

// Callers' stacks may be as small as 64 KiB.
TEST(sharing, on_a_small_stack) {
    for (const char *text : {"ocf1024", "orf2048", "ocf1009", "ocf32x32", "ok1001e10", "oscf512"}) {
        const problem p = problem_of(text);
        buffers b = buffers_of(p), expected = buffers_of(p);
        const plan_holder holder(make_plan(p, b));
        fill_buffers(p, 1, expected);
        execute_on(p, expected, holder.plan);
        fill_buffers(p, 1, b);
        struct job {
            const problem *p;
            buffers *b;
            lyr_fft_plan plan;
        } work = {&p, &b, holder.plan};
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, 64 << 10);
        pthread_t thread;
        ASSERT_EQ(pthread_create(
                      &thread, &attributes,
                      [](void *argument) -> void * {
                          job *j = static_cast<job *>(argument);
                          execute_on(*j->p, *j->b, j->plan);
                          return nullptr;
                      },
                      &work),
                  0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
        EXPECT_TRUE(same_outputs(p, expected, b)) << text;
    }
}

}  // namespace
}  // namespace lyr_test
