// One transform of split arrays: joined to complex numbers in a buffer, transformed there, parted
// again. The buffer is dense and row-major; sides that hold real numbers stay out of it. All input
// is read before any output is written, so that the arrays may be the same in any order.
//
// Passes that only join or part are avoided where the neighbouring pass can do it: the first and
// last stages of rows without gaps read and write split arrays themselves, and the columns of a
// plane are parted as their last stage makes them, while they are still near the core. Lengths that
// have stages of split arrays (codelets/split_stages.h) are never joined.
#include "batch/split.h"

#include <cstring>

#include "api/memory.h"
#include "batch/slab_batch.h"
#include "codelets/select.h"
#include "codelets/split_stages.h"
#include "dft/twiddle.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// A split array against the rows of the buffer, which follow each other without gaps.
struct row_walk {
    int64_t n[2];     // outer dimensions, 1 where there are none
    int64_t step[2];  // their strides in the split array
    int64_t length, stride;
};

// Complex numbers in a row of the buffer.
int64_t row_length(const plan *p) {
    if (p->rank == 0) return 1;
    const int64_t n = p->dims[p->rank - 1].n;
    return p->kind == kind_complex ? n : n / 2 + 1;
}

// Complex numbers of the buffer below dimension `first`.
int64_t buffer_length(const plan *p, int first) {
    int64_t length = row_length(p);
    for (int k = first; k + 1 < p->rank; ++k) length *= p->dims[k].n;
    return length;
}

// The dimensions from `first` on. Those without gaps between their rows make one long row.
row_walk walk_of(const plan *p, int first, int64_t lyr_fft_iodim64::*stride) {
    row_walk w = {{1, 1}, {0, 0}, row_length(p), 1};
    if (p->rank > 0) w.stride = p->dims[p->rank - 1].*stride;
    int k = p->rank - 2;
    for (; k >= first && p->dims[k].*stride == w.length * w.stride; --k) w.length *= p->dims[k].n;
    for (int outer = 1; k >= first; --k, --outer) {
        w.n[outer] = p->dims[k].n;
        w.step[outer] = p->dims[k].*stride;
    }
    return w;
}

split_set kernels_of(const plan *p) {  // in solver_words
    split_set kernels;
    memcpy(&kernels, p->solver_words, sizeof kernels);
    return kernels;
}
static_assert(sizeof(split_set) <= sizeof(plan::solver_words));

template <class row_function>
void for_each_row(const row_walk &w, row_function f) {
    for (int64_t i = 0; i < w.n[0]; ++i)
        for (int64_t j = 0; j < w.n[1]; ++j) f(i * w.step[0] + j * w.step[1]);
}

void join_rows(const plan *p, int first, scalar *buffer, const scalar *re, const scalar *im) {
    const auto join = kernels_of(p).join;
    const row_walk w = walk_of(p, first, &lyr_fft_iodim64::is);
    for_each_row(w, [&](int64_t start) {
        if (w.stride == 1) {
            join(buffer, re + start, im + start, w.length);
        } else {
            for (int64_t k = 0; k < w.length; ++k) {
                buffer[2 * k] = re[start + k * w.stride];
                buffer[2 * k + 1] = im[start + k * w.stride];
            }
        }
        buffer += 2 * w.length;
    });
}

void part_rows(const plan *p, scalar *re, scalar *im, const scalar *buffer) {
    const auto part = kernels_of(p).part;
    const row_walk w = walk_of(p, 0, &lyr_fft_iodim64::os);
    for_each_row(w, [&](int64_t start) {
        if (w.stride == 1) {
            part(re + start, im + start, buffer, w.length);
        } else {
            for (int64_t k = 0; k < w.length; ++k) {
                re[start + k * w.stride] = buffer[2 * k];
                im[start + k * w.stride] = buffer[2 * k + 1];
            }
        }
        buffer += 2 * w.length;
    });
}

void execute_split(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io, scalar *scratch) {
    scalar *buffer = scratch, *from = ri;
    if (p->kind != kind_r2c) {
        join_rows(p, 0, buffer, ri, ii);
        from = buffer;
    }
    const plan *child = p->children;
    child->execute_fn(child, from, p->kind == kind_c2r ? ro : buffer, scratch_below(p, scratch));
    if (p->kind != kind_c2r) part_rows(p, ro, io, buffer);
}

// ---- Stages that join and part ------------------------------------------------------------------

const codelet_set *codelets_of(const slab_stages &list, int64_t s) {
    const stage &d = list.stages[s];
    return list.table->sets[d.sign != -1][d.r - 1];
}

// The stages of a plan for one row without gaps whose first and last one serve split arrays; a
// count of 0 when there are none.
slab_stages split_stages_of(const plan *row) {
    slab_stages list = slab_stages_of(row);
    if (list.count < 2 || !unit_strides(row) || !codelets_of(list, 0)->split_first ||
        !codelets_of(list, list.count - 1)->split_last)
        list.count = 0;
    return list;
}

// All stages but the last one; the result is in `result`. Both arrays hold a row.
void run_to_last_stage(const slab_stages &list, const scalar *re, const scalar *im, scalar *result,
                       scalar *other) {
    scalar *to = list.count % 2 == 0 ? result : other;
    codelets_of(list, 0)->split_first(list.stages, re, im, to);
    for (int64_t s = 1; s < list.count - 1; ++s) {
        const scalar *from = to;
        to = to == result ? other : result;
        list.stages[s].codelet(list.stages + s, from, to);
    }
}

void execute_split_stages(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                          scalar *scratch) {
    const slab_stages list = slab_stages_of(p->children);
    const int64_t last = list.count - 1;
    scalar *from = scratch_below(p, scratch);
    run_to_last_stage(list, ri, ii, from, scratch);
    codelets_of(list, last)->split_last(list.stages + last, from, ro, io);
}

// Whether a plan first transforms the rows of its outermost dimension one by one.
bool rows_come_first(const plan *q) {
    if (q->form != plan_form::rows_then_columns) return false;
    const plan *loop = q->children;
    return loop->form == plan_form::loop && loop->howmany_rank == 1 &&
           loop->children->form != plan_form::codelet && loop->children->form != plan_form::unit;
}

void transform_rows(const plan *p, int first, const plan *q, scalar *re, scalar *im, scalar *buffer,
                    scalar *below);

// Transforms the dimensions from `first` on of split arrays into their place in the buffer, where q
// is the plan for them and `list` its stages when q is for one row. below: the children's scratch.
void transform_into(const plan *p, int first, const plan *q, const slab_stages &list, scalar *re,
                    scalar *im, scalar *buffer, scalar *below) {
    if (list.count && p->dims[first].is == 1) {
        const int64_t last = list.count - 1;
        run_to_last_stage(list, re, im, below, buffer);
        list.stages[last].codelet(list.stages + last, below, buffer);
    } else if (rows_come_first(q)) {
        transform_rows(p, first, q, re, im, buffer, below);
        const plan *columns = &q->children[1];
        columns->execute_fn(columns, buffer, buffer, below);
    } else {
        join_rows(p, first, buffer, re, im);
        q->execute_fn(q, buffer, buffer, below);
    }
}

void transform_rows(const plan *p, int first, const plan *q, scalar *re, scalar *im, scalar *buffer,
                    scalar *below) {
    const auto [n, is, os] = p->dims[first];
    const int64_t step = 2 * buffer_length(p, first + 1);
    const plan *row = q->children[0].children;
    const slab_stages list = split_stages_of(row);
    for (int64_t i = 0; i < n; ++i)
        transform_into(p, first + 1, row, list, re + i * is, im + i * is, buffer + i * step, below);
}

void execute_split_rows(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                        scalar *scratch) {
    scalar *buffer = scratch, *below = scratch_below(p, scratch);
    const plan *child = p->children, *columns = &child->children[1];
    transform_rows(p, 0, child, ri, ii, buffer, below);
    columns->execute_fn(columns, buffer, buffer, below);
    part_rows(p, ro, io, buffer);
}

// Columns whose slabs go to the split arrays by way of room behind the buffer.
void execute_split_plane(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                         scalar *scratch) {
    scalar *buffer = scratch, *below = scratch_below(p, scratch);
    const plan *child = p->children, *columns = &child->children[1];
    transform_rows(p, 0, child, ri, ii, buffer, below);

    slab_batch batch;
    get_slab_batch(columns, &batch);
    const int64_t row = p->dims[1].n;
    split_output out = {ro, io, p->dims[0].os, buffer + 2 * buffer_length(p, 0)};
    for (int64_t first = 0; first < row; first += batch.width) {
        const int64_t width = first + batch.width <= row ? batch.width : row - first;
        walk_slab(batch.list, {buffer + 2 * first, row, 1, nullptr, 0, width, &out}, below);
        out.re += width;
        out.im += width;
    }
}

// Whether passes that join and part the arrays cost less than first and last stages that do:
// powers of two whose stages, on split arrays, have so many streams in so few cache sets, and
// stages that gain more by being turned. Measured.
bool is_better_joined(const plan *child) {
    const int64_t n = child->dims[0].n;
    return ((n & (n - 1)) == 0 && n >= 4096 && n <= 32768) ||
           child->form == plan_form::turned_stages;
}

// Replaces the executor where neighbouring passes can join or part; the child is solved.
void choose_executor(plan *p) {
    plan *child = p->children;
    if (p->kind != kind_complex) return;
    if (p->rank == 1 && unit_strides(p) && !is_better_joined(child))
        if (const slab_stages list = split_stages_of(child); list.count) {
            const stage &last = list.stages[list.count - 1];
            alternate_rows(const_cast<scalar *>(last.twiddles), last.r, last.L, list.table->lanes);
            p->execute_split_fn = execute_split_stages;
            p->execute_name = "execute_split_stages";
        }
    if (p->rank < 2 || !rows_come_first(child)) return;
    p->execute_split_fn = execute_split_rows;
    p->execute_name = "execute_split_rows";

    slab_batch columns;
    if (p->rank > 2 || p->dims[1].os != 1 || !get_slab_batch(&child->children[1], &columns)) return;
    p->work_bytes += static_cast<uint64_t>(split_room(columns.list, columns.width)) * complex_bytes;
    p->execute_split_fn = execute_split_plane;
    p->execute_name = "execute_split_plane";
}

// ---- Stages of split arrays ---------------------------------------------------------------------

struct split_words {  // in solver_words
    const split_stages *list;
};

void execute_split_parts(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                         scalar *scratch) {
    split_words words;
    memcpy(&words, p->solver_words, sizeof words);
    words.list->run(ri, ii, ro, io, static_cast<const scalar *>(p->aux), scratch);
}

// As codelets/split_stages.h has them.
void fill_tables(scalar *table, const split_stages &list, const root_source *roots) {
    scalar row[2 * (max_radix - 1)];
    int64_t L = list.radices[0];
    for (int s = 1; s < list.count; ++s) {
        const int64_t r = list.radices[s], m = list.n / (L * r), W = list.lanes;
        for (int64_t k = 0; k < L; ++k) {
            fill_twiddle_row(row, roots, r, m * k, -1);
            for (int64_t q = 0; q < r - 1; ++q) {
                scalar *re = table + 2 * (k * (r - 1) + q), *im = re + 1;
                if (s == list.count - 1) {
                    re = table + 2 * (k - k % W) * (r - 1) + 2 * W * q + k % W;
                    im = re + W;
                }
                *re = row[2 * q];
                *im = row[2 * q + 1];
            }
        }
        table += 2 * L * (r - 1);
        L *= r;
    }
}

bool make_tables(plan *p, const split_stages &list) {
    int64_t entries = 0;
    for (int64_t s = 1, L = list.radices[0]; s < list.count; L *= list.radices[s++])
        entries += L * (list.radices[s] - 1);
    if (entries == 0) return true;
    const uint64_t bytes = static_cast<uint64_t>(entries) * complex_bytes;
    p->aux = aligned_alloc_any(bytes);
    if (!p->aux) return false;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    root_source roots;
    root_source_init(&roots, list.n, entries);
    fill_tables(static_cast<scalar *>(p->aux), list, &roots);
    root_source_release(&roots);
    return true;
}

int solve_in_parts(plan *p, const split_stages &list) {
    if (!make_tables(p, list)) return -1;
    const split_words words = {&list};
    memcpy(p->solver_words, &words, sizeof words);
    p->work_bytes = static_cast<uint64_t>(list.n * split_stage_rooms(list.count)) * complex_bytes;
    p->execute_fn = execute_forwarded;
    p->execute_split_fn = execute_split_parts;
    p->execute_name = "execute_split_parts";
    return 0;
}

void make_child(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->split = -1;
    child->shares_stages = 1;
    if (p->kind != kind_r2c) child->in = scratch_array(p);
    if (p->kind != kind_c2r) child->out = scratch_array(p);
    child->in_imag = child->out_imag = nullptr;
    int64_t stride = 1;
    for (int k = p->rank - 1; k >= 0; --k) {
        if (p->kind != kind_r2c) child->dims[k].is = stride;
        if (p->kind != kind_c2r) child->dims[k].os = stride;
        stride *= k == p->rank - 1 ? row_length(p) : p->dims[k].n;
    }
}

}  // namespace

void execute_forwarded(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    p->execute_split_fn(p, in, p->in_imag, out, p->out_imag, scratch);
}

int solve_problem_dft_split(plan *p) {
    if (p->howmany_rank != 0) return -1;
    if (!has_split_arrays(p)) return -1;
    if (p->kind > kind_r2c) return -1;  // real-to-real data has no parts
    if (p->kind == kind_complex && p->sign == -1 && p->rank == 1 && unit_strides(p))
        if (const split_stages *list = split_stages_for(p->dims[0].n))
            return solve_in_parts(p, *list);

    int64_t elements = row_length(p);
    for (int k = 0; k + 1 < p->rank; ++k) elements *= p->dims[k].n;
    p->work_bytes = static_cast<uint64_t>(elements) * complex_bytes;
    memcpy(p->solver_words, &active_table()->splits, sizeof(split_set));
    p->execute_fn = execute_forwarded;
    p->execute_split_fn = execute_split;
    p->execute_name = "execute_split";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    make_child(p->children, p);
    if (const int32_t status = plan_solve_in_stages(p->children)) return status;
    choose_executor(p);
    return 0;
}

}  // namespace lyr
