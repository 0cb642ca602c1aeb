// Between the solver of bufferized batches and its child.
#pragma once

#include <cstdint>

#include "planner/plan.h"

namespace lyr {

// In the child's solver_words.
struct slice_words {
    int64_t howmany, idist, odist;  // of the whole batch
    int64_t row;                    // complex numbers from one transform of a slice to the next
    int64_t rest;                   // transforms in the last, incomplete slice
    int64_t marker;                 // slice_marker: the indirect solver takes this child
};
static_assert(sizeof(slice_words) <= sizeof(plan::solver_words));
inline constexpr int64_t slice_marker = 1;

// How many of h transforms of length n make a slice, for a library thread count. Zero: too long.
int64_t slice_length(int64_t n, int64_t h, int64_t threads);

}  // namespace lyr
