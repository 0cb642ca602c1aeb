// lyra-execute PROBLEM TIMES: plan a problem and execute it so many times, for programs that count.
//
// "loop" instead of a problem is a loop of 1000 passes of two instructions: what counts
// instructions must find 2000 and a handful more for each time.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "buffers.h"
#include "planner/describe.h"
#include "problem.h"

namespace {

void known_loop() {
#ifdef __aarch64__
    long passes = 1000;
    __asm__ volatile("1: subs %0, %0, #1\n b.ne 1b" : "+r"(passes) : : "cc");
#endif
}

int fail(const std::string &message) {
    fprintf(stderr, "lyra-execute: %s\n", message.c_str());
    return 2;
}

}  // namespace

int main(int argc, char **argv) {
    constexpr int64_t most_bytes = int64_t{1} << 28;
    if (argc != 3) return fail("usage: lyra-execute PROBLEM TIMES");
    const int times = std::atoi(argv[2]);
    if (strcmp(argv[1], "loop") == 0) {
        for (int i = 0; i < times; ++i) known_loop();
        return 0;
    }
    lyr_tools::problem p;
    lyr_tools::buffers b;
    std::string error;
    if (!lyr_tools::parse_problem(argv[1], most_bytes, p, error)) return fail(error);
    if (!lyr_tools::make_buffers(p, {}, b, error)) return fail(error);
    lyr_fft_plan plan = lyr_tools::make_plan(p, b);
    if (!plan) return fail("refused");
    for (int i = 0; i < times; ++i) lyr_fft_execute(plan);
    lyr_fft_destroy_plan(plan);
    printf("points %lld\nbatch %lld\n", static_cast<long long>(lyr_tools::point_count(p)),
           static_cast<long long>(lyr_tools::batch_count(p)));
    printf("compiler gcc %s\ntarget %s\n", __VERSION__, lyr::active_target());
    return 0;
}
