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
    int64_t stage_count;
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

bookkeeping read_bookkeeping(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

stage *stages_in(const plan *p, int64_t count) {
    return count == 2 ? two_stages_of(p->aux) : stages_of(p->aux).stages;
}

void walk_slab(const plan *p, const stage *stages, int64_t count, const double *in, double *out,
               int64_t width) {
    const auto [n, is, os] = p->dims[0];
    double *half_a = static_cast<double *>(p->work);
    double *half_b = count > 2 ? half_a + 2 * n * width : nullptr;
    const double *from = in;
    int64_t in_row = is;
    for (int64_t s = 0; s < count; ++s) {
        const bool last = s == count - 1;
        double *to = last ? out : s % 2 == 0 ? half_a : half_b;
        const int64_t out_row = last ? os : width;
        slab_codelet_of(stages[s])(&stages[s], from, in_row, to, out_row, width);
        from = to;
        in_row = width;
    }
}

void execute_many_transpose(plan *p, double *in, double *out) {
    const bookkeeping b = read_bookkeeping(p);
    const stage *stages = stages_in(p, b.stage_count);
    const int64_t h = p->howmany_dims[0].n;
    for (int64_t first = 0; first < h; first += b.slab) {
        const int64_t width = first + b.slab <= h ? b.slab : h - first;
        walk_slab(p, stages, b.stage_count, in + 2 * first, out + 2 * first, width);
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

    const int count = build_stages(p, stage_form::slab);
    if (count < 1) return -1;

    const bookkeeping b = {slab_width(n, h, count), count};
    memcpy(p->solver_words, &b, sizeof b);
    if (count > 1) {
        const uint64_t bytes = static_cast<uint64_t>(n * b.slab) * 16 * (count > 2 ? 2 : 1);
        p->work = aligned_alloc_zero(bytes);
        if (!p->work) return -1;
        p->work_bytes = bytes;
    }
    p->execute_fn = execute_many_transpose;
    p->execute_name = "execute_many_transpose";
    return 0;
}

}  // namespace lyr
