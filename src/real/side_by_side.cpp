#include "real/side_by_side.h"

#include <cstring>

#include "api/memory.h"
#include "batch/slab_batch.h"
#include "dft/factorize.h"
#include "real/half_size.h"

namespace lyr {

namespace {

// Slabs of about equal width, so that little is computed twice.
int64_t even_slabs(int64_t howmany, int64_t widest) {
    const int64_t slabs = (howmany + widest - 1) / widest;
    const int64_t width = (howmany + slabs - 1) / slabs;
    const int64_t rounded = (width + slab_quantum - 1) / slab_quantum * slab_quantum;
    return rounded < howmany ? rounded : howmany;
}

}  // namespace

side_by_side words_of(const plan *p) {
    side_by_side b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

int build_side_by_side(plan *p) {
    if (p->split == 1) return -1;
    if (p->rank != 1) return -1;
    if (p->howmany_rank != 1) return -1;
    const auto [howmany, idist, odist] = p->howmany_dims[0];
    if (idist != 1 || odist != 1) return -1;
    const int64_t n = p->dims[0].n;
    const int64_t rows = n % 2 ? n : n / 2;
    int64_t factors[max_factors];
    const int count = factorize_size(rows, factors);
    const bool in_place = p->in == p->out;
    if (!in_place && n > 2 && (count < 1 || factors[count - 1] > max_radix)) return -1;

    side_by_side b = {howmany, active_table()->splits, nullptr};
    if (!in_place) b.slab = even_slabs(howmany, slab_width(rows, howmany, 2));
    const real_pass_set *passes = active_table()->real_passes;
    b.pass = p->kind == kind_r2c ? passes->forward_rows : passes->backward_rows;
    memcpy(p->solver_words, &b, sizeof b);

    p->work_bytes = static_cast<uint64_t>(rows * b.slab) * complex_bytes;
    if (n % 2 == 0) {
        p->aux_bytes = static_cast<uint64_t>(rows) * complex_bytes;
        p->aux = aligned_alloc_zero(p->aux_bytes);
        if (!p->aux) return -1;
        p->aux_owned = 1;
        fill_pass_twiddles(static_cast<scalar *>(p->aux), rows, p->kind == kind_r2c ? -1 : +1);
    }
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->in = child->out = scratch_array(p);
    child->dims[0] = {rows, b.slab, b.slab};
    child->howmany_dims[0] = {b.slab, 1, 1};
    return plan_solve(child);
}

}  // namespace lyr
