// What the solvers of real transforms that lie side by side (distances 1) share. The batch is
// worked off in slabs of neighbouring transforms, so that lanes run along the transforms in every
// step. A slab is a matrix, one column per transform: h = n/2 rows of complex numbers that are
// pairs of real ones for even n, n rows of numbers whose imaginary parts are 0 for odd n. Its
// columns are transformed in place by a child plan, and the pass between pairs and spectrum
// (codelets/real_pass.h) goes along the rows.
#pragma once

#include "codelets/real_pass.h"
#include "codelets/select.h"
#include "planner/plan.h"

namespace lyr {

struct side_by_side {  // in solver_words
    int64_t slab;      // transforms in a slab; all of them in place
    split_set splits;
    real_pass_function pass;  // along rows
};
static_assert(sizeof(side_by_side) <= sizeof(plan::solver_words));

side_by_side words_of(const plan *p);

// Accepts batches of real transforms of one dimension with distances 1. Fills solver_words, aux
// (the twiddles of the pass) and the child, and reserves scratch for a slab. 0; -1 without memory,
// or out of place for lengths with large prime factors, whose transforms gain nothing from each
// other.
int build_side_by_side(plan *p);

// Calls f(first) for the first transform of every slab. The last slab begins early enough to be
// full: out of place nothing is lost when some transforms are computed again.
template <class function>
void for_each_slab(const plan *p, const side_by_side &b, function f) {
    const int64_t h = p->howmany_dims[0].n;
    for (int64_t first = 0; first < h; first += b.slab) f(first + b.slab <= h ? first : h - b.slab);
}

}  // namespace lyr
