// The first pass of a long transform (dft/four_step.h): transforms that lie side by side, every
// output multiplied by a root of the whole transform on its way to memory. Walked in slabs like
// other interleaved batches; the last stage rotates.
//
// Where the matrix is to lie transposed, transforms are gathered a few at a time, run one by one
// into its rows, and rotated there while they are in the first-level cache. In place, which square
// matrices may be, what these rows hold of later columns changes places with what is gathered. Each
// of several threads does so in a square of its own on the diagonal, after all together have turned
// what lies outside of these squares.
//
// aux comes as the parent's rotation table, and is the stages that all slabs walk afterwards. Where
// columns are long, a child runs on one column at a time instead.
//
// Slabs are dealt out to the threads, each with a part of the scratch memory.
#include <cstring>

#include "api/memory.h"
#include "batch/copy_transpose.h"
#include "batch/slab_batch.h"
#include "dft/four_step.h"
#include "dft/slabs.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

struct bookkeeping {  // in solver_words
    slab_stages list;
    const rotation_table *factors;
    uint32_t scratch_lines;  // cache lines for each thread
    bool copies, far;
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
    const int64_t together = b.factors->together;
    for (int64_t j = first; j < end; j += together) {
        const int64_t width = j + together <= end ? together : end - j;
        slab where = {in + 2 * j, is, 1, out + 2 * j, os, width, nullptr, b.far};
        if (b.copies) {  // the first stage then works in place
            copy_columns(scratch, in + 2 * j, n, is, width);
            where.in = scratch;
            where.in_row = width;
        }
        const rotation factors = rotation_of_slab(b.factors, n, j);
        walk_slab(b.list, where, scratch, &factors);
    }
    if (b.far) b.list.table->finish_far();
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
    scalar *rows = scratch,
           *below = scratch + 2 * line_complex * b.scratch_lines - 2 * child_scratch(p);
    const plan *child = p->children;
    const int64_t together = b.factors->together;
    for (int64_t j = first; j < end; j += together) {
        const int64_t width = j + together <= end ? together : end - j;
        gather_columns(rows, in + 2 * j, n, is, width);
        for (int64_t i = 0; i < width; ++i)
            child->execute_fn(child, rows + 2 * i * n, rows + 2 * i * n, below);
        for (int64_t e = 0; e < n; ++e)
            for (int64_t i = 0; i < width; ++i)
                memcpy(out + 2 * (e * os + j + i), rows + 2 * (i * n + e), complex_bytes);
        rotate_rows(out + 2 * j, os, width, n, last_radix(n), b.list.table->lanes,
                    rotation_of_slab(b.factors, n, j));
    }
}

// Transforms that are gathered at once: two lines of every row of the input.
constexpr int64_t group = 2 * line_complex;

// Multiplies a row by its factors. The lines of the next one are called for meanwhile, unless that
// is null: its transform would wait for them.
void rotate_row(const bookkeeping &b, int64_t j, int64_t n, scalar *row, const scalar *next) {
    constexpr int64_t piece = 8 * line_complex;
    const int64_t together = b.factors->together;
    const scalar *turns = b.factors->turns + 2 * n * (j / together);
    const scalar *columns = b.factors->columns + 2 * n * (j % together);
    for (int64_t e = 0; e < n; e += piece) {
        if (next)
            for (int64_t line = e; line < e + piece; line += line_complex)
                __builtin_prefetch(next + 2 * line, 1);
        b.list.table->products.rotate(row + 2 * e, turns + 2 * e, columns + 2 * e,
                                      e + piece < n ? piece : n - e);
    }
}

// Of the rows k of a square matrix of n rows, first <= k < end, elements j .. j + group - 1 go to
// column k of `to`, rows `row` apart, and column k of the rows from j on takes their places: `to`
// may be these rows.
void exchange_strip(scalar *matrix, int64_t n, int64_t j, int64_t first, int64_t end, scalar *to,
                    int64_t row) {
    constexpr int64_t ahead = 2 * group;
    const scalar *const here = matrix + 2 * j * n;
    for (int64_t k = first; k < end; ++k) {
        scalar *const column = matrix + 2 * (k * n + j);
        if (k + ahead < end) {
            __builtin_prefetch(column + 2 * ahead * n, 1);
            __builtin_prefetch(column + 2 * (ahead * n + line_complex), 1);
        }
        for (int64_t i = 0; i < group; ++i) {
            scalar x[2];
            memcpy(x, column + 2 * i, complex_bytes);
            memcpy(column + 2 * i, here + 2 * (i * n + k), complex_bytes);
            memcpy(to + 2 * (i * row + k), x, complex_bytes);
        }
    }
}

// Gathers columns j .. j + group - 1 of a square matrix of n rows into `rows`. Their elements of
// earlier rows, by then transformed, and of those from `end` on are in rows j .. j + group - 1
// already. The elements of later columns, which these rows still hold, take the places of those
// gathered.
void exchange_columns(scalar *matrix, int64_t n, int64_t j, int64_t end, scalar *rows,
                      int64_t row) {
    for (int64_t i = 0; i < group; ++i) {
        const scalar *from = matrix + 2 * (j + i) * n;
        scalar *to = rows + 2 * i * row;
        memcpy(to, from, static_cast<size_t>(j * complex_bytes));
        memcpy(to + 2 * end, from + 2 * end, static_cast<size_t>((n - end) * complex_bytes));
    }
    copy_transpose_cpx(matrix + 2 * (j * n + j), rows + 2 * j, group, group, n, row);
    exchange_strip(matrix, n, j, j + group, end, rows, row);
}

void rotate_into_rows(const plan *p, const scalar *in, scalar *out, scalar *scratch, int64_t first,
                      int64_t end) {
    const bookkeeping b = read_bookkeeping(p);
    const int64_t n = p->dims[0].n, is = p->dims[0].is, odist = p->howmany_dims[0].os;
    const int64_t row = padded_row(n);
    const plan *child = p->children;
    const bool in_place = p->in == p->out;  // a square matrix
    scalar *below = scratch + 2 * group * row;
    for (int64_t j = first; j < end; ++j) {
        const int64_t i = (j - first) % group;
        if (i == 0 && in_place)
            exchange_columns(out, n, j, end, scratch, row);
        else if (i == 0)
            copy_transpose_cpx(in + 2 * j, scratch, n, j + group < end ? group : end - j, is, row);
        scalar *to = out + 2 * j * odist;
        child->execute_fn(child, scratch + 2 * i * row, to, below);
        rotate_row(b, j, n, to, in_place ? nullptr : to + 2 * odist);
    }
}

// Longer columns run one by one. Measured.
int64_t longest_slab(int64_t lanes) {
    return is_half_line(lanes) ? 4096 : 16384;
}

int64_t column_count(const plan *p) {
    return p->howmany_rank ? p->howmany_dims[0].n : 1;
}

bool is_transposed(const plan *p) {
    return p->howmany_dims[0].os != 1;
}

// The columns are dealt out to threads by whole slabs.
int64_t slab_count(const plan *p) {
    const int64_t together = read_bookkeeping(p).factors->together;
    return (column_count(p) + together - 1) / together;
}

struct rotated_run {
    const plan *p;
    const scalar *in;
    scalar *out, *scratch;
    chunking columns;
};

// Turns what lies outside of the threads' squares, a strip of columns after the other down to where
// the matrix ends. Every thread takes each count-th strip: the later, the shorter.
void turn_chunk(const pool_task *task) {
    const auto &[p, in, out, scratch, columns] = *static_cast<const rotated_run *>(task->arg);
    const int64_t n = p->dims[0].n;
    for (int64_t j = task->index * group; j < n; j += columns.count * group) {
        const int64_t square = j / columns.chunk * columns.chunk;
        exchange_strip(out, n, j, square + columns.chunk, n, out + 2 * j * n, n);
    }
}

void run_chunk(const pool_task *task) {
    const auto &[p, in, out, scratch, columns] = *static_cast<const rotated_run *>(task->arg);
    const bookkeeping b = read_bookkeeping(p);
    const int64_t first = task->index * columns.chunk, all = column_count(p);
    const int64_t end = first + columns.chunk < all ? first + columns.chunk : all;
    const uint64_t each = thread_scratch(uint64_t{64} * b.scratch_lines, p->nthreads);
    scalar *share = scratch + static_cast<uint64_t>(task->index) * (each / scalar_bytes);
    if (is_transposed(p))
        rotate_into_rows(p, in, out, share, first, end);
    else if (b.list.count)
        rotate_slabs(p, in, out, share, first, end);
    else
        rotate_columns(p, in, out, share, first, end);
}

void execute_many_transpose_rotate(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const int64_t slabs = slab_count(p), together = read_bookkeeping(p).factors->together;
    const auto [chunk, count] = chunks_of(slabs, p->nthreads, 1);
    rotated_run run = {p, in, out, scratch, {chunk * together, count}};
    if (is_transposed(p) && p->in == p->out && count > 1)
        thread_pool_run(count, count, 1, turn_chunk, &run);
    thread_pool_run(slabs, p->nthreads, 1, run_chunk, &run);
}

// Vectors of half a line read short columns faster as rows, copied in their order: a butterfly's
// inputs are far apart. Others read each line once either way. Measured.
bool copies_columns(int64_t n, int64_t lanes) {
    return is_half_line(lanes) && n < 512;
}

// One column at a time.
int32_t solve_single_column(plan *p) {
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->nthreads = 1;
    child->dims[0] = {p->dims[0].n, 1, 1};
    child->howmany_rank = 0;
    child->in = scratch_array(p);
    child->out = is_transposed(p) ? p->out : child->in;
    return plan_solve(child);
}

}  // namespace

int solve_problem_dft_many_transpose_rotate(plan *p) {
    if (p->kind != kind_rotated_batch || p->rank != 1 || p->howmany_rank > 1) return -1;
    if (p->howmany_dims[0].is != 1) return -1;

    bookkeeping b = {};
    b.factors = static_cast<const rotation_table *>(p->aux);
    b.list.table = active_table();
    const int64_t n = p->dims[0].n, together = b.factors->together, lanes = b.list.table->lanes;
    p->nthreads = p->nthreads > 1 ? threads_for_plan(p->nthreads) : 1;
    int64_t scratch;
    if (is_transposed(p)) {
        if (const int32_t status = solve_single_column(p)) return status;
        scratch = group * padded_row(n) + child_scratch(p);
    } else if (n > max_radix && n < longest_slab(lanes) && part_above_37(n) == 1) {
        if (!build_pass_stages(p, &b.list)) return -1;
        scratch = slab_scratch(b.list, together);
        b.far = p->far_output && b.list.table->finish_far;
        b.copies = copies_columns(n, lanes);
    } else {
        if (const int32_t status = solve_single_column(p)) return status;
        scratch = n * together + child_scratch(p);
    }
    b.scratch_lines = static_cast<uint32_t>((scratch + line_complex - 1) / line_complex);
    memcpy(p->solver_words, &b, sizeof b);
    p->work_bytes = static_cast<uint64_t>(chunks_of(slab_count(p), p->nthreads, 1).count) *
                    thread_scratch(uint64_t{64} * b.scratch_lines, p->nthreads);
    p->execute_fn = execute_many_transpose_rotate;
    p->execute_name = "execute_many_transpose_rotate";
    return 0;
}

}  // namespace lyr
