// What the transforms between real and complex numbers in one dimension share. n real numbers of
// an even count are h = n/2 complex ones: a complex transform of length h, in a child plan, and a
// pass over pairs of its elements (codelets/real_pass.h) do the work. An odd count is transformed
// as complex numbers where no codelet and no way of its own takes it (real/odd_large.cpp).
#pragma once

#include "codelets/real_pass.h"
#include "planner/plan.h"

namespace lyr {

// The executors of one direction.
struct real_executors {
    executor unit, discrete, odd, threaded, odd_threaded;
    const char *unit_name, *discrete_name, *odd_name, *threaded_name, *odd_threaded_name;
};

// Fills aux, the child and the executor of a one-dimensional problem, and reserves scratch:
//   odd n    scratch: n complex numbers; the child transforms them in place
//   even n   aux: the factors of real_pass, in two levels for long ones of stride 1; the child
//            transforms h complex numbers: out of place only from a real input of stride 1, or
//            to a real output of stride 1 from scratch memory where that gains;
//            scratch: h complex numbers then, and when a stride is not 1
// Long transforms whose plan may use threads get the threaded executors, those of even n where the
// strides are 1, and the thread count that these have to use. Returns 0, -1 without memory, or what
// the planner says of the child.
int build_half_size(plan *p, const real_executors &executors);

// Writes the table of a pass (codelets/real_pass.h), forward with sign -1: ceil(h/2) numbers.
void fill_pass_twiddles(scalar *twiddles, int64_t h, int64_t sign);

// The same in two levels.
void fill_turned_twiddles(scalar *twiddles, scalar *turns, int64_t h, int64_t sign);

// The pass for pairs first..last of an even plan, with the table that the plan was made with.
// Callable from several threads at once for disjoint ranges.
void run_real_pass(const plan *p, const scalar *in, int64_t in_step, scalar *out, int64_t out_step,
                   int64_t first, int64_t last);

// The same for all pairs, shared among the threads of a plan with the threaded executor. Steps
// are 1.
void run_real_pass_threaded(const plan *p, const scalar *in, scalar *out);

// Copies items first..last-1 between an array of the user and the scratch of an odd plan.
using odd_copy = void (*)(const plan *p, const scalar *from, scalar *to, int64_t first,
                          int64_t last);

// The same for `count` items, shared among the threads of the plan.
void run_copy_threaded(const plan *p, odd_copy copy, const scalar *from, scalar *to, int64_t count);

}  // namespace lyr
