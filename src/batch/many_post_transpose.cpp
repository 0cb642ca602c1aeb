// Batches of contiguous transforms whose results are stored side by side: the output is the
// transpose of the input. The first stage gathers the same element of neighbouring transforms into
// one vector; from there on it is the walk of an interleaved batch, and the last stage writes rows.
#include <cstring>

#include "api/memory.h"
#include "batch/many_transpose.h"
#include "dft/stages.h"
#include "planner/registry.h"

namespace lyr {

namespace {

struct bookkeeping {  // in solver_words
    int64_t slab;
    slab_stages list;
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

void execute_many_post_transpose(plan *p, double *in, double *out) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const auto [h, idist, odist] = p->howmany_dims[0];
    double *scratch = static_cast<double *>(p->work);
    for (int64_t first = 0; first < h; first += b.slab) {
        const int64_t width = first + b.slab <= h ? b.slab : h - first;
        walk_slab(b.list, {in + 2 * first * idist, 1, idist, out + 2 * first, p->dims[0].os, width},
                  scratch);
    }
}

}  // namespace

int solve_problem_dft_many_post_transpose(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex || p->rank != 1 || p->howmany_rank != 1) return -1;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (is != 1 || odist != 1) return -1;
    if (p->in == p->out) return -1;  // results would fall on input that is still to be read

    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1 || !codelets_for(p, factors[0])) return -1;
    if (!build_stages(p, factors, count, 0)) return -1;
    const stage_list list = count == 2 ? stage_list{2, two_stages_of(p->aux)} : stages_of(p->aux);

    const int64_t together = walked_together(n);
    const int64_t slab = h < together ? h : together;
    const bookkeeping b = {slab, {count, list.stages, active_table()}};
    memcpy(p->solver_words, &b, sizeof b);
    if (const int64_t scratch = slab_scratch(n, slab, count)) {
        p->work_bytes = static_cast<uint64_t>(scratch) * 16;
        p->work = aligned_alloc_zero(p->work_bytes);
        if (!p->work) return -1;
    }
    p->execute_fn = execute_many_post_transpose;
    p->execute_name = "execute_many_post_transpose";
    return 0;
}

}  // namespace lyr
