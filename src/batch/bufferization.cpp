// Columns of planes: many long transforms side by side, as far apart in memory as they are long.
//
// A slice of neighbouring columns is copied to a buffer as rows, transformed there and copied back.
// Where the length has stages, that is done without copying: the slices are walked side by side
// (dft/stages.h), which reads the input and writes the output directly. The child serves the
// lengths that have none.
#include "batch/bufferization.h"

#include <cstring>

#include "batch/copy_transpose.h"
#include "batch/slab_batch.h"
#include "planner/registry.h"
#include "threads/threads.h"

namespace lyr {

namespace {

void execute_bufferization_walk(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    walk_slab_batch(p, in, p->dims[0].is, 1, out, scratch);
}

void run_slice(const plan *p, const plan *slice, const slice_words &words, scalar *in,
               scalar *buffer, scalar *out) {
    slice->execute_fn(slice, in, buffer, scratch_below(p, buffer));
    copy_transpose_cpx(buffer, out, slice->howmany_dims[0].n, p->dims[0].n, words.row,
                       p->dims[0].os);
}

void execute_bufferization(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    slice_words words;
    memcpy(&words, child->solver_words, sizeof words);
    const int64_t length = child->howmany_dims[0].n;
    for (int64_t left = words.howmany; left >= length; left -= length) {
        run_slice(p, child, words, in, scratch, out);
        in += 2 * length * words.idist;
        out += 2 * length * words.odist;
    }
    if (words.rest) {
        plan rest = *child;
        rest.howmany_dims[0].n = words.rest;
        run_slice(p, &rest, words, in, scratch, out);
    }
}

}  // namespace

int64_t slice_length(int64_t n, int64_t h, int64_t threads) {
    if (h <= 255 && threads == 1) return h;
    constexpr int64_t large = (1 << 27) - 1;
    const double bytes = static_cast<double>(complex_bytes) * static_cast<double>(threads) *
                         static_cast<double>(n) * static_cast<double>(h);
    int64_t limit;
    if (bytes > static_cast<double>(large))
        limit = threads < 17 ? 3 << 20 : 512 << 10;
    else
        limit = bytes > 512 << 10 && threads < 33 ? 512 << 10 : 64 << 10;
    const int64_t most = limit / (complex_bytes * n);
    return (h < most ? h : most) / 8 * 8;
}

int solve_bufferized_problem(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex || p->rank != 1 || p->howmany_rank != 1) return -1;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (n < 256 || h < 17 || idist != 1 || odist != 1) return -1;
    const bool half_spectrum = is == n / 2 + 1 && os == is;
    if (half_spectrum) {
        if (n < 4096) return -1;
    } else {
        constexpr int64_t small = (1 << 27) - 1;
        if (part_above_37(n) != 1 && h <= small / 32 / n) return -1;
        if (is != n || os != n) return -1;
    }
    int64_t slice = slice_length(n, h, library_threads());
    if (half_spectrum && slice > 16) slice /= 2;
    if (slice == 0) return -1;

    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    const int64_t row = (n + 3) / 4 * 4;
    child->dims[0].os = 1;
    child->howmany_dims[0] = {slice, idist, row};
    const slice_words words = {h, idist, odist, row, h % slice, slice_marker};
    memcpy(child->solver_words, &words, sizeof words);
    if (const int32_t status = plan_solve(child)) return status;

    slab_stages list;
    if (part_above_37(n) == 1) {
        if (!build_slab_stages(p, &list)) return -1;
        keep_slab_batch(p, {slab_width(n, h, list.count), list, 0});
        p->execute_fn = execute_bufferization_walk;
        p->execute_name = "execute_bufferization_walk";
        p->form = plan_form::slabs;
    } else {
        p->work_bytes = static_cast<uint64_t>(slice * row) * complex_bytes;
        p->execute_fn = execute_bufferization;
        p->execute_name = "execute_bufferization";
    }
    return 0;
}

}  // namespace lyr
