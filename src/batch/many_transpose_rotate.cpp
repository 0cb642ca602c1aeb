// The first pass of a long transform (dft/four_step.h): transforms that lie side by side, every
// output multiplied by a root of the whole transform on its way to memory. Walked in slabs like
// other interleaved batches; the last stage rotates.
//
// aux is the parent's rotation table. Child 0 transforms a slab of columns; its stage list is what
// all slabs walk. Where columns are long, children run on one column at a time instead.
//
// Slabs are dealt out to the threads, each with a part of the scratch memory.
#include <cstring>

#include "api/memory.h"
#include "batch/slab_batch.h"
#include "dft/four_step.h"
#include "dft/stages.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

struct bookkeeping {  // in solver_words
    slab_stages list;
    int64_t lanes;
    int64_t scratch;  // complex numbers for each thread
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

bookkeeping read_bookkeeping(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

// Rows of `width` numbers without gaps.
void copy_columns(scalar *to, const scalar *in, int64_t n, int64_t is, int64_t width) {
    constexpr int64_t line = line_complex;
    for (int64_t e = 0; e < n; ++e, in += 2 * is, to += 2 * width) {
        int64_t j = 0;
        for (; j + line <= width; j += line) memcpy(to + 2 * j, in + 2 * j, 64);
        for (; j < width; ++j) memcpy(to + 2 * j, in + 2 * j, complex_bytes);
    }
}

// The columns first .. end-1, with the scratch of one thread.
void rotate_slabs(const plan *p, const scalar *in, scalar *out, scalar *scratch, int64_t first,
                  int64_t end) {
    const bookkeeping b = read_bookkeeping(p);
    const auto [n, is, os] = p->dims[0];
    const int64_t together = walked_together(n);
    for (int64_t j = first; j < end; j += together) {
        const int64_t width = j + together <= end ? together : end - j;
        // A butterfly's inputs are far apart; rows in their order come faster. The first stage
        // works in place.
        copy_columns(scratch, in + 2 * j, n, is, width);
        walk_slab(b.list, {scratch, width, 1, out + 2 * j, os, width}, scratch,
                  static_cast<scalar *>(p->aux) + 2 * n * j);
    }
}

// Complex numbers.
int64_t child_scratch(const plan *p) {
    return static_cast<int64_t>(p->children->scratch_bytes / complex_bytes);
}

void gather_columns(scalar *rows, const scalar *in, int64_t n, int64_t is, int64_t width) {
    for (int64_t e = 0; e < n; ++e)
        for (int64_t j = 0; j < width; ++j)
            memcpy(rows + 2 * (j * n + e), in + 2 * (e * is + j), complex_bytes);
}

void rotate_columns(const plan *p, const scalar *in, scalar *out, scalar *scratch, int64_t first,
                    int64_t end) {
    const bookkeeping b = read_bookkeeping(p);
    const auto [n, is, os] = p->dims[0];
    scalar *rows = scratch, *below = scratch + 2 * (b.scratch - child_scratch(p));
    const plan *child = p->children;
    const int64_t together = walked_together(n);
    for (int64_t j = first; j < end; j += together) {
        const int64_t width = j + together <= end ? together : end - j;
        gather_columns(rows, in + 2 * j, n, is, width);
        for (int64_t i = 0; i < width; ++i)
            child->execute_fn(child, rows + 2 * i * n, rows + 2 * i * n, below);
        for (int64_t e = 0; e < n; ++e)
            for (int64_t i = 0; i < width; ++i)
                memcpy(out + 2 * (e * os + j + i), rows + 2 * (i * n + e), complex_bytes);
        rotate_rows(out + 2 * j, os, width, n, last_radix(n), b.lanes,
                    static_cast<scalar *>(p->aux) + 2 * n * j);
    }
}

// Longer columns run one by one. Measured.
int64_t longest_slab(int64_t lanes) {
    return lanes == 2 ? 4096 : 16384;
}

int64_t column_count(const plan *p) {
    return p->howmany_rank ? p->howmany_dims[0].n : 1;
}

int64_t slab_count(const plan *p) {
    const int64_t together = walked_together(p->dims[0].n);
    return (column_count(p) + together - 1) / together;
}

struct rotated_run {
    const plan *p;
    const scalar *in;
    scalar *out, *scratch;
};

void run_chunk(const pool_task *task) {
    const auto [p, in, out, scratch] = *static_cast<const rotated_run *>(task->arg);
    const int64_t columns = column_count(p);
    const int64_t chunk = task->chunk * walked_together(p->dims[0].n), first = task->index * chunk;
    const int64_t end = first + chunk < columns ? first + chunk : columns;
    const bookkeeping b = read_bookkeeping(p);
    scalar *share = scratch + 2 * task->index * b.scratch;
    if (b.list.count)
        rotate_slabs(p, in, out, share, first, end);
    else
        rotate_columns(p, in, out, share, first, end);
}

void execute_many_transpose_rotate(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    rotated_run run = {p, in, out, scratch};
    thread_pool_run(slab_count(p), p->nthreads, 1, run_chunk, &run);
}

}  // namespace

int solve_problem_dft_many_transpose_rotate(plan *p) {
    if (p->kind != kind_rotated_batch || p->rank != 1 || p->howmany_rank > 1) return -1;
    if (p->howmany_dims[0].is != 1 || p->howmany_dims[0].os != 1) return -1;

    const int64_t n = p->dims[0].n, together = walked_together(n);
    p->nthreads = p->nthreads > 1 ? threads_for_plan(p->nthreads) : 1;
    const int64_t threads = chunks_of(slab_count(p), p->nthreads, 1).count;
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->nthreads = 1;
    child->howmany_rank = 1;
    slab_stages list = {};
    if (n > max_radix && n < longest_slab(active_table()->lanes) && part_above_37(n) == 1) {
        // The slabs' transforms without the rotation, for the sake of their stages.
        child->dims[0] = {n, together, together};
        child->howmany_dims[0] = {together, 1, 1};
        child->in = child->out;
        if (const int32_t status = plan_solve(child)) return status;
        slab_batch batch;
        if (!get_slab_batch(child, &batch)) return -1;
        list = batch.list;
    }
    if (list.count == 0) {
        plan_clear(child);
        child->dims[0] = {n, 1, 1};
        child->howmany_dims[0] = {1, 1, 1};
        child->howmany_rank = 1;
        child->in = p->in;
        if (const int32_t status = plan_solve(child)) return status;
    }

    int64_t scratch = list.count ? slab_scratch(n, together, list.count) : n * together;
    scratch = (scratch + 3) / 4 * 4;
    if (list.count == 0) scratch += child_scratch(p);
    const bookkeeping b = {list, active_table()->lanes, scratch};
    memcpy(p->solver_words, &b, sizeof b);
    p->work_bytes = static_cast<uint64_t>(threads * scratch) * complex_bytes;
    p->execute_fn = execute_many_transpose_rotate;
    p->execute_name = "execute_many_transpose_rotate";
    return 0;
}

}  // namespace lyr
