// Batches of contiguous transforms whose results are stored side by side: the output is the
// transpose of the input.
//
// Out of place the first stage gathers the same element of neighbouring transforms into one vector;
// from there on it is the walk of an interleaved batch, and the last stage writes rows. Where the
// same elements of transforms all fall into one cache set, a slab is transposed into scratch memory
// first: the gathered lines would be gone before their neighbours are asked for. In place each
// transform leaves its results where its input was, and they are rearranged afterwards.
#include <cstring>

#include "batch/copy_transpose.h"
#include "batch/slab_batch.h"
#include "planner/registry.h"

namespace lyr {

namespace {

void execute_many_post_transpose(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    walk_slab_batch(p, in, 1, p->howmany_dims[0].is, out, scratch);
}

void execute_many_post_transpose_copied(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    slab_batch b;
    memcpy(&b, p->solver_words, sizeof b);
    const auto [h, idist, odist] = p->howmany_dims[0];
    const int64_t n = p->dims[0].n;
    for (int64_t first = 0; first < h; first += b.width) {
        const int64_t width = first + b.width <= h ? b.width : h - first;
        copy_transpose_cpx(in + 2 * first * idist, scratch, width, n, idist, width);
        // The first stage works in place.
        walk_slab(b.list,
                  {scratch, width, 1, out + 2 * first, p->dims[0].os, width, nullptr, b.far != 0},
                  scratch);
    }
    if (b.far) b.list.table->finish_far();
}

// Whether the same elements of neighbouring transforms take more than all ways of the sets that
// they fall into.
bool neighbours_collide(int64_t distance) {
    constexpr near_cache cache = assumed_near_cache;
    return streams_collide(cache, cache.ways, slab_quantum, distance);
}

void execute_many_post_transpose_inplace(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *rows = &p->children[0], *rearrangement = &p->children[1];
    rows->execute_fn(rows, in, out, scratch);
    rearrangement->execute_fn(rearrangement, out, out, scratch);
}

int solve_in_place(plan *p) {
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    p->execute_fn = execute_many_post_transpose_inplace;
    p->execute_name = "execute_many_post_transpose_inplace";
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    plan *rows = &p->children[0], *rearrangement = &p->children[1];
    plan_copy_problem(rows, p);
    rows->dims[0].os = is;
    rows->howmany_dims[0].os = idist;
    plan_copy_problem(rearrangement, p);
    rearrangement->rank = 0;
    rearrangement->dims[0] = {};
    rearrangement->howmany_rank = 2;
    rearrangement->howmany_dims[0] = {h, idist, odist};
    rearrangement->howmany_dims[1] = {n, is, os};
    if (plan_solve(rows) != 0) return -1;
    return plan_solve(rearrangement);
}

}  // namespace

int solve_problem_dft_many_post_transpose(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex || p->rank != 1 || p->howmany_rank != 1) return -1;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (is != 1 || odist != 1) return -1;
    if (p->in == p->out) return idist != 1 && idist >= n && os >= h ? solve_in_place(p) : -1;

    slab_stages list;
    if (!build_pass_stages(p, &list)) return -1;
    const int64_t together = pass_width(n, static_cast<int>(list.count), list.table->lanes);
    keep_slab_batch(p,
                    {h < together ? h : together, list, p->far_output && list.table->finish_far});
    p->execute_fn = execute_many_post_transpose;
    p->execute_name = "execute_many_post_transpose";
    p->form = plan_form::gathered_slabs;
    if (list.count > 1 && list.table->lanes > 1 && neighbours_collide(idist)) {
        p->execute_fn = execute_many_post_transpose_copied;
        p->execute_name = "execute_many_post_transpose_copied";
    }
    return 0;
}

}  // namespace lyr
