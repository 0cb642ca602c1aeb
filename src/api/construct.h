// What all plan constructors share.
#pragma once

#include <cstring>

#include "planner/plan.h"

namespace lyr {

// The arrays and the kind of a problem, as a constructor receives them.
struct plan_arrays {
    scalar *in;
    scalar *in_imag;
    scalar *out;
    scalar *out_imag;
};

// A zero-filled record with everything but the dimensions filled in; null when memory runs out.
plan *plan_create(int32_t kind, int64_t sign, int64_t split, const plan_arrays &arrays);

// Plans the filled record. Returns it, or destroys it and returns null when no solver accepts the
// problem or when its arrays could not be addressed.
plan *plan_finish(plan *p);

inline scalar *reals(lyr_fft_complex *array) {
    return reinterpret_cast<scalar *>(array);
}

// A kind as the caller wrote it: in C it may be any number.
inline int32_t kind_at(const lyr_fft_r2r_kind *kinds, int k) {
    int32_t kind;
    static_assert(sizeof kind == sizeof *kinds);
    memcpy(&kind, kinds + k, sizeof kind);
    return kind;
}

}  // namespace lyr
