#include <cstdlib>
#include <cstring>

#include "api/memory.h"
#include "planner/plan.h"

namespace lyr {

namespace {

// Saturates; a saturated stride fails the constructors' size check.
int64_t saturating_product(int64_t a, int64_t b) {
    int64_t product;
    return __builtin_mul_overflow(a, b, &product) ? INT64_MAX : product;
}

}  // namespace

void plan_fill_dims(plan *p, int rank, const int *n, const int *inembed, int istride,
                    const int *onembed, int ostride) {
    p->rank = rank;
    p->dims[rank - 1] = {n[rank - 1], istride, ostride};
    for (int k = rank - 2; k >= 0; --k) {
        int64_t in_extent = n[k + 1];
        int64_t out_extent = n[k + 1];
        if (k == rank - 2) {  // real data shortens or pads only the innermost dimension
            const int64_t half = n[k + 1] / 2 + 1;
            const int64_t real_extent = p->in == p->out ? 2 * half : n[k + 1];
            if (p->kind == kind_r2c) in_extent = real_extent, out_extent = half;
            if (p->kind == kind_c2r) in_extent = half, out_extent = real_extent;
        }
        if (inembed) in_extent = inembed[k + 1];
        if (onembed) out_extent = onembed[k + 1];
        p->dims[k] = {n[k], saturating_product(p->dims[k + 1].is, in_extent),
                      saturating_product(p->dims[k + 1].os, out_extent)};
    }
}

plan *plan_alloc_children(int64_t count) {
    if (count < 1) return nullptr;
    return static_cast<plan *>(planning_calloc(static_cast<size_t>(count), sizeof(plan)));
}

void plan_copy_problem(plan *to, const plan *from) {
    to->kind = from->kind;
    to->sign = from->sign;
    to->split = from->split;
    to->rank = from->rank;
    to->howmany_rank = from->howmany_rank;
    memcpy(to->dims, from->dims, sizeof to->dims);
    memcpy(to->r2r_kinds, from->r2r_kinds, sizeof to->r2r_kinds);
    memcpy(to->howmany_dims, from->howmany_dims, sizeof to->howmany_dims);
    to->in = from->in;
    to->in_imag = from->in_imag;
    to->out = from->out;
    to->out_imag = from->out_imag;
    to->shares_stages = from->shares_stages;
    to->nthreads = from->nthreads;
}

void plan_drop_batch_dimension(plan *p) {
    --p->howmany_rank;
    p->howmany_dims[0] = p->howmany_dims[1];
    p->howmany_dims[1] = p->howmany_dims[2];
    p->howmany_dims[2] = {};
}

void plan_clear(plan *p) {
    if (!p) return;
    if (p->children) {
        for (int32_t i = 0; i < p->nchildren; ++i) plan_clear(&p->children[i]);
        free(p->children);
        p->children = nullptr;
    }
    p->nchildren = 0;
    p->work_bytes = p->scratch_bytes = 0;
    p->shares = 0;
    p->any_count = 0;
    p->form = plan_form::other;
    if (p->aux && p->aux_bytes && p->aux_owned) {
        aligned_free(p->aux);
        p->aux = nullptr;
        p->aux_bytes = 0;
        p->aux_owned = 0;
    }
}

}  // namespace lyr
