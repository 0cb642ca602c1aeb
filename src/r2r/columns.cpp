// Real-to-real transforms side by side (distance 1), such as the columns of a plane: one at a time
// they would fetch a cache line for every number. Slabs of neighbours are transposed into scratch
// memory, one transform after another, transformed there and transposed back.
//
// The rows there are a few lines longer than a transform, so that the lines of a slab's column do
// not share one set of the cache.
#include "r2r/columns.h"

#include "batch/copy_transpose.h"

namespace lyr {

namespace {

constexpr int64_t slab = 16;  // two cache lines
constexpr int64_t shortest = 16;

int64_t row_of_work(int64_t n) {
    return n / 8 * 8 + 24;
}

void execute_columns(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const auto [n, is, os] = p->dims[0];
    const int64_t h = p->howmany_dims[0].n, row = row_of_work(n);
    scalar *work = scratch, *below = scratch_below(p, scratch);
    const plan *child = p->children;
    for (int64_t first = 0; first < h; first += slab) {
        const int64_t count = first + slab <= h ? slab : h - first;
        copy_transpose_real(in + first, work, n, count, is, row);
        for (int64_t i = 0; i < count; ++i)
            child->execute_fn(child, work + i * row, work + i * row, below);
        copy_transpose_real(work, out + first, count, n, row, os);
    }
}

}  // namespace

bool has_columns(const plan *p) {
    if (p->kind != kind_r2r || p->rank != 1 || p->howmany_rank != 1) return false;
    const auto [h, idist, odist] = p->howmany_dims[0];
    const auto [n, is, os] = p->dims[0];
    return n >= shortest && h >= 4 && idist == 1 && odist == 1 && is > 1 && os > 1;
}

int build_columns(plan *p) {
    const int64_t h = p->howmany_dims[0].n;
    p->work_bytes =
        static_cast<uint64_t>(row_of_work(p->dims[0].n) * (h < slab ? h : slab)) * scalar_bytes;
    p->any_count = 1;
    p->execute_fn = execute_columns;
    p->execute_name = "execute_columns";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->howmany_rank = 0;
    child->howmany_dims[0] = {};
    child->dims[0] = {p->dims[0].n, 1, 1};
    child->in = child->out = scratch_array(p);
    return plan_solve(child);
}

}  // namespace lyr
