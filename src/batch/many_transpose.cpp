// Batches whose transforms lie side by side (distance 1): the stage walk of one transform with
// every element replaced by a row of neighbouring transforms. Lanes run along the row in every
// stage, the last one included, so nothing is ever transposed.
//
// The batch is walked in slabs of neighbouring transforms. The first stage reads the input and the
// last one writes the output directly, at their strides; between them the slab lives in scratch
// memory: n * slab complex numbers for two stages, twice that for more, none for one. Two stages of
// a small batch out of place do without: what lies between them is in the output.
#include "batch/slab_batch.h"
#include "planner/registry.h"

namespace lyr {

namespace {

void execute_many_transpose(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    walk_slab_batch(p, in, p->dims[0].is, 1, out, scratch);
}

}  // namespace

int solve_problem_dft_many_transpose(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->rank != 1) return -1;
    if (p->howmany_rank != 1) return -1;
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (h < 2) return -1;
    if (idist != 1 || odist != 1) return -1;
    // A slab's output must not fall on input that is still to be read.
    if (p->in == p->out && p->dims[0].is != p->dims[0].os) return -1;

    slab_stages list;
    if (!build_slab_stages(p, &list)) return -1;
    const int64_t width = slab_width(p->dims[0].n, h, list.count);
    keep_slab_batch(p, {width, list, 0});
    p->execute_fn = execute_many_transpose;
    p->execute_name = "execute_many_transpose";
    p->form = plan_form::slabs;
    return 0;
}

}  // namespace lyr
