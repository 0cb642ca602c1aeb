// Half-complex transforms side by side (distance 1), by way of rows in a buffer. (Two neighbours
// could be the real and imaginary parts of one complex transform, at half the work; but then the
// rounding errors and infinities of one would show in the other.)
#include "planner/places.h"
#include "planner/registry.h"
#include "r2r/columns.h"

namespace lyr {

int solve_problem_r2hc_many(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_r2r || p->rank != 1 || p->howmany_rank != 1) return -1;
    if (p->r2r_kinds[0] != LYR_FFT_R2HC) return -1;
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (h < 2 || idist != 1 || odist != 1) return -1;
    if (!works_one_by_one(p)) return -1;
    return build_columns(p, "execute_r2hc_many");
}

}  // namespace lyr
