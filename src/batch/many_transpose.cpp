// Batches whose transforms lie side by side (distance 1): the stage walk of one transform with
// every element replaced by a row of neighbouring transforms. Lanes run along the row in every
// stage, the last one included, so nothing is ever transposed.
//
// The batch is walked in slabs of neighbouring transforms. The first stage reads the input and the
// last one writes the output directly, at their strides; between them the slab lives in work, which
// holds n * slab complex numbers for two stages, twice that for more, none for one.
#include "batch/many_transpose.h"

#include <cstring>

#include "api/memory.h"
#include "dft/stages.h"
#include "planner/registry.h"

namespace lyr {

namespace {

struct bookkeeping {  // in solver_words
    int64_t slab;
    slab_stages list;
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

void execute_many_transpose(plan *p, double *in, double *out) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const auto [n, is, os] = p->dims[0];
    double *scratch = static_cast<double *>(p->work);
    const int64_t h = p->howmany_dims[0].n;
    for (int64_t first = 0; first < h; first += b.slab) {
        const int64_t width = first + b.slab <= h ? b.slab : h - first;
        walk_slab(b.list, {in + 2 * first, is, 1, out + 2 * first, os, width}, scratch);
    }
}

}  // namespace

int64_t slab_width(int64_t n, int64_t howmany, int stage_count) {
    if (stage_count == 1) return howmany;  // no scratch: each row is read and written once
    int64_t width = slab_scratch_bytes / (16 * n) / slab_quantum * slab_quantum;
    if (width < slab_quantum) width = slab_quantum;
    if (width > slab_width_limit) width = slab_width_limit;
    return width < howmany ? width : howmany;
}

int solve_problem_dft_many_transpose(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->rank != 1) return -1;
    if (p->howmany_rank != 1) return -1;
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (h < 2) return -1;
    if (idist != 1 || odist != 1) return -1;
    const auto [n, is, os] = p->dims[0];
    // A slab's output must not fall on input that is still to be read.
    if (p->in == p->out && is != os) return -1;

    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1 || !codelets_for(p, factors[0])) return -1;
    if (!build_stages(p, factors, count, 0)) return -1;
    const stage_list list = count == 2 ? stage_list{2, two_stages_of(p->aux)} : stages_of(p->aux);

    const bookkeeping b = {slab_width(n, h, count), {count, list.stages, active_table()}};
    memcpy(p->solver_words, &b, sizeof b);
    if (const int64_t scratch = slab_scratch(n, b.slab, count)) {
        p->work = aligned_alloc_zero(static_cast<uint64_t>(scratch) * 16);
        if (!p->work) return -1;
        p->work_bytes = static_cast<uint64_t>(scratch) * 16;
    }
    p->execute_fn = execute_many_transpose;
    p->execute_name = "execute_many_transpose";
    return 0;
}

}  // namespace lyr
