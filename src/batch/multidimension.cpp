// Rank 2 and 3: the inner dimensions for every index of the outermost one, then the outermost
// dimension in place in the output. Which one is the outermost depends on the layout.
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

// Indices of the dimensions, the outermost one first.
struct order {
    int at[3];
};

// Any order gives the same transform, but for the last dimension of real data. The rows should be
// read along the input, and columns that lie side by side in the output have to be the outer ones.
order best_order(const plan *p) {
    order o = {{0, 1, 2}};
    int count = p->rank;
    if (p->kind == kind_r2c) --count;
    // Rows: the smallest stride of the input.
    if (p->kind != kind_r2c) {
        int row = count - 1;
        for (int k = count - 2; k >= 0; --k)
            if (p->dims[k].n > 1 && p->dims[k].is < p->dims[row].is) row = k;
        --count;
        for (int k = row; k < count; ++k) o.at[k] = k + 1;
        o.at[count] = row;
    }
    // The greatest stride of the output comes first.
    if (count == 2 && p->dims[o.at[0]].os < p->dims[o.at[1]].os) {
        const int first = o.at[0];
        o.at[0] = o.at[1];
        o.at[1] = first;
    }
    return o;
}

void make_inner(plan *child, const plan *p, const order &o) {
    plan_copy_problem(child, p);
    child->rank = p->rank - 1;
    for (int k = 0; k < child->rank; ++k) {
        child->dims[k] = p->dims[o.at[k + 1]];
        child->r2r_kinds[k] = p->r2r_kinds[o.at[k + 1]];
    }
    clear_from(child->dims, child->rank);
    child->howmany_rank = 1;
    child->howmany_dims[0] = p->dims[o.at[0]];
}

void make_outer(plan *child, const plan *p, const order &o) {
    plan_copy_problem(child, p);
    child->in = p->out;
    child->in_imag = p->out_imag;
    if (p->kind == kind_r2c) child->kind = kind_complex;
    child->rank = 1;
    child->dims[0] = p->dims[o.at[0]];
    child->r2r_kinds[0] = p->r2r_kinds[o.at[0]];
    clear_from(child->dims, 1);
    child->howmany_rank = p->rank - 1;
    for (int k = 0; k < child->howmany_rank; ++k) child->howmany_dims[k] = p->dims[o.at[k + 1]];
    lyr_fft_iodim64 &last = child->howmany_dims[child->howmany_rank - 1];
    if (p->kind == kind_r2c) last.n = last.n / 2 + 1;
    // The innermost loop is over neighbours.
    if (child->howmany_rank == 2 && child->howmany_dims[0].os < last.os) {
        const lyr_fft_iodim64 first = child->howmany_dims[0];
        child->howmany_dims[0] = last;
        last = first;
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
    p->form = plan_form::rows_then_columns;
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    const order o = best_order(p);
    make_inner(&p->children[0], p, o);
    make_outer(&p->children[1], p, o);
    if (plan_solve(&p->children[0]) != 0) return -1;
    return plan_solve(&p->children[1]);
}

}  // namespace lyr
