#include "batch/slab_batch.h"

#include <cstring>

#include "api/memory.h"

namespace lyr {

static_assert(sizeof(slab_batch) <= sizeof(plan::solver_words));

int64_t slab_width(int64_t n, int64_t howmany, int64_t stage_count) {
    if (stage_count == 1) return howmany;  // no scratch: each row is read and written once
    int64_t width = slab_scratch_bytes / (complex_bytes * n) / slab_quantum * slab_quantum;
    if (width > slab_width_limit) width = slab_width_limit;
    if (width > howmany) width = howmany;
    if (width % (2 * slab_quantum) == 0) width -= slab_quantum;
    const int64_t least = slab_quantum < howmany ? slab_quantum : howmany;
    return width < least ? least : width;
}

namespace {

bool build_list(plan *p, const int64_t *factors, int count, slab_stages *list) {
    if (count < 1 || !codelets_for(p, factors[0])) return false;
    if (!build_stages(p, factors, count, 0)) return false;
    const stage *stages = count == 2 ? two_stages_of(p->aux) : stages_of(p->aux).stages;
    *list = {count, stages, active_table()};
    return true;
}

}  // namespace

bool build_slab_stages(plan *p, slab_stages *list) {
    int64_t factors[max_factors];
    return build_list(p, factors, factorize_size(p->dims[0].n, factors), list);
}

bool build_pass_stages(plan *p, slab_stages *list) {
    int64_t factors[max_factors];
    const int count = pass_radices(p->dims[0].n, active_table()->lanes, factors);
    return build_list(p, factors, count, list);
}

void keep_slab_batch(plan *p, const slab_batch &batch) {
    memcpy(p->solver_words, &batch, sizeof batch);
    const int64_t scratch = slab_scratch(batch.list, batch.width);
    p->work_bytes = static_cast<uint64_t>(scratch) * complex_bytes;
    p->any_count = 1;
}

bool get_slab_batch(const plan *p, slab_batch *batch) {
    if (p->form != plan_form::slabs) return false;
    memcpy(batch, p->solver_words, sizeof *batch);
    return true;
}

void walk_slab_batch(const plan *p, const scalar *in, int64_t in_row, int64_t in_lane, scalar *out,
                     scalar *scratch) {
    slab_batch b;
    memcpy(&b, p->solver_words, sizeof b);
    const int64_t h = p->howmany_dims[0].n;
    for (int64_t first = 0; first < h; first += b.width) {
        const int64_t width = first + b.width <= h ? b.width : h - first;
        walk_slab(b.list,
                  {in + 2 * first * in_lane, in_row, in_lane, out + 2 * first, p->dims[0].os, width,
                   nullptr, b.far != 0, p->in != p->out},
                  scratch);
    }
    if (b.far) b.list.table->finish_far();
}

}  // namespace lyr
