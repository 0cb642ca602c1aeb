// Rank 2 and 3: the inner dimensions for every index of the outermost one, then the outermost
// dimension in place in the output.
#include "planner/registry.h"

namespace lyr {

namespace {

void execute_multidimension(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *inner = &p->children[0], *outer = &p->children[1];
    inner->execute_fn(inner, in, out, scratch);
    outer->execute_fn(outer, out, out, scratch);
}

void clear_from(lyr_fft_iodim64 (&dims)[3], int first) {
    for (int k = first; k < 3; ++k) dims[k] = {};
}

void make_inner(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->rank = p->rank - 1;
    for (int k = 0; k < child->rank; ++k) {
        child->dims[k] = p->dims[k + 1];
        child->r2r_kinds[k] = p->r2r_kinds[k + 1];
    }
    clear_from(child->dims, child->rank);
    child->howmany_rank = 1;
    child->howmany_dims[0] = p->dims[0];
}

void make_outer(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->in = p->out;
    child->in_imag = p->out_imag;
    if (p->kind == kind_r2c) child->kind = kind_complex;
    child->rank = 1;
    clear_from(child->dims, 1);
    child->howmany_rank = p->rank - 1;
    for (int k = 0; k < child->howmany_rank; ++k) child->howmany_dims[k] = p->dims[k + 1];
    if (p->kind == kind_r2c) {
        int64_t &n = child->howmany_dims[child->howmany_rank - 1].n;
        n = n / 2 + 1;
    }
    child->dims[0].is = child->dims[0].os;
    for (int k = 0; k < child->howmany_rank; ++k)
        child->howmany_dims[k].is = child->howmany_dims[k].os;
}

}  // namespace

int solve_problem_multidimension(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind == kind_c2r) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank < 2) return -1;

    p->execute_fn = execute_multidimension;
    p->execute_name = "execute_multidimension";
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    make_inner(&p->children[0], p);
    make_outer(&p->children[1], p);
    if (plan_solve(&p->children[0]) != 0) return -1;
    return plan_solve(&p->children[1]);
}

}  // namespace lyr
