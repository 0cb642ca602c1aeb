// Planning when memory runs out: every single allocation of a plan fails once. The program is
// linked with --wrap for the allocation functions, so that those of the library come here.
#include <cstdlib>

#include "support.h"

namespace {

// Counts only while the library is at work; gtest and the test itself go through unhindered.
bool counting = false;
int64_t until_failure = -1;  // allocations that still succeed; negative: all
int64_t live_blocks = 0;
int64_t allocations = 0;

bool fails() {
    if (!counting) return false;
    ++allocations;
    return until_failure >= 0 && until_failure-- == 0;
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

void *__wrap_malloc(size_t bytes) {
    return fails() ? nullptr : counted(__real_malloc(bytes));
}
void *__wrap_calloc(size_t count, size_t bytes) {
    return fails() ? nullptr : counted(__real_calloc(count, bytes));
}
void *__wrap_aligned_alloc(size_t alignment, size_t bytes) {
    return fails() ? nullptr : counted(__real_aligned_alloc(alignment, bytes));
}
void __wrap_free(void *block) {
    if (counting && block) --live_blocks;
    __real_free(block);
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
                             "irf8:1:1*4:12:5"}) {
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
