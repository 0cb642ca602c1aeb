// Batches of split arrays: a loop over the outermost batch dimension, like the one of many.cpp.
#include "batch/split.h"
#include "planner/places.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// Null, the imaginary part of a real side, stays null.
scalar *step(scalar *array, int64_t doubles) {
    return array ? array + doubles : nullptr;
}

void execute_many_split(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                        scalar *scratch) {
    const plan *child = p->children;
    const auto [h, is, os] = p->howmany_dims[0];
    for (int64_t i = 0; i < h; ++i)
        child->execute_split_fn(child, step(ri, i * is), step(ii, i * is), step(ro, i * os),
                                step(io, i * os), scratch);
}

}  // namespace

int solve_problem_dft_many_split(plan *p) {
    if (p->howmany_rank < 1) return -1;
    if (!has_split_arrays(p)) return -1;
    if (!works_one_by_one(p)) return -1;

    p->execute_fn = execute_forwarded;
    p->execute_split_fn = execute_many_split;
    p->execute_name = "execute_many_split";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    plan_drop_batch_dimension(child);
    return plan_solve(child);
}

}  // namespace lyr
