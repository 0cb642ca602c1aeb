// The real-to-real kinds that are one transform between two passes over memory.
#pragma once

#include "planner/plan.h"

namespace lyr {

// Plans p, one-dimensional, unbatched and of length 2 or more, by the steps of its kind
// (codelets/r2r_pass.h) around a complex transform of half the length or, where the length is odd,
// a real one. 0, or -1 when the kind and length have no such steps or memory runs out.
//
// aux: the pass record, then its tables. work: the data of the transform, 2*(n/2+1) doubles rounded
// up to a multiple of 8; then, for strided arrays of kinds with passes on both sides, n doubles.
int build_through_dft(plan *p);

// What the solvers of one-dimensional kinds accept: an unbatched transform of this length at least.
bool is_single_r2r(const plan *p, int64_t shortest);

// Between a strided array of n numbers and one without gaps.
void gather_reals(scalar *out, const scalar *in, int64_t stride, int64_t n);
void scatter_reals(scalar *out, int64_t stride, const scalar *in, int64_t n);

}  // namespace lyr
