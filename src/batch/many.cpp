// The general batch: a loop over the outermost batch dimension around a child plan for the rest.
#include "planner/registry.h"

namespace lyr {

namespace {

void execute_many(plan *p, double *in, double *out) {
    plan *child = p->children;
    const executor run = child->execute_fn;
    const int64_t in_step = p->howmany_dims[0].is * input_element_bytes(p);
    const int64_t out_step = p->howmany_dims[0].os * output_element_bytes(p);
#pragma GCC unroll 4
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        run(child, in, out);
        in = advance(in, in_step);
        out = advance(out, out_step);
    }
}

}  // namespace

int solve_problem_dft_many(plan *p) {
    if (p->split == 1) return -1;
    if (p->rank < 1) return -1;
    if (p->howmany_rank < 1) return -1;
    if (p->kind > kind_r2r) return -1;
    if (results_move(p)) return -1;

    p->execute_fn = execute_many;
    p->execute_name = "execute_many";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->howmany_rank = p->howmany_rank - 1;
    for (int j = 0; j < 3; ++j)
        child->howmany_dims[j] =
            j < child->howmany_rank ? p->howmany_dims[j + 1] : lyr_fft_iodim64{};
    return plan_solve(child);
}

}  // namespace lyr
