// Real transforms of rank 2 that lie side by side (distances 1), in place. Element 2*j of the real
// array and element j of the complex one share their place, so the transforms cannot be worked off
// one by one, but rows can: a row, of all transforms together, is copied to scratch memory and
// transformed from there. The columns are complex transforms in place.
//
// Scratch: a row of the input of all transforms. Child 0: the row; child 1: the columns.
#include <cstring>

#include "planner/places.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// Copies a row to work, its elements one after another, each a group of `width` doubles.
void copy_row(scalar *work, const scalar *row, int64_t count, int64_t step, int64_t width) {
    for (int64_t j = 0; j < count; ++j, work += width, row += step)
        memcpy(work, row, static_cast<size_t>(width) * sizeof(scalar));
}

void execute_r2c_multidimension_many(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *row = &p->children[0], *columns = &p->children[1];
    scalar *work = scratch, *below = scratch_below(p, scratch);
    const lyr_fft_iodim64 outer = p->dims[0], inner = p->dims[1];
    for (int64_t i = 0; i < outer.n; ++i) {
        copy_row(work, in + i * outer.is, inner.n, inner.is, p->howmany_dims[0].n);
        row->execute_fn(row, work, out + 2 * i * outer.os, below);
    }
    columns->execute_fn(columns, out, out, below);
}

// Of the numbers that are real by symmetry.
void clear_imaginary_parts(const plan *p, scalar *in) {
    const lyr_fft_iodim64 outer = p->dims[0], inner = p->dims[1];
    for (int64_t i = 0; i < outer.n; i += outer.n % 2 ? outer.n : outer.n / 2)
        for (int64_t j = 0; j <= inner.n / 2; j += inner.n % 2 ? inner.n : inner.n / 2)
            for (int64_t k = 0; k < p->howmany_dims[0].n; ++k)
                in[2 * (i * outer.is + j * inner.is + k) + 1] = 0;
}

void execute_c2r_multidimension_many(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *row = &p->children[0], *columns = &p->children[1];
    scalar *work = scratch, *below = scratch_below(p, scratch);
    const lyr_fft_iodim64 outer = p->dims[0], inner = p->dims[1];
    clear_imaginary_parts(p, in);
    columns->execute_fn(columns, in, in, below);
    for (int64_t i = 0; i < outer.n; ++i) {
        copy_row(work, in + 2 * i * outer.is, inner.n / 2 + 1, 2 * inner.is,
                 2 * p->howmany_dims[0].n);
        row->execute_fn(row, work, out + i * outer.os, below);
    }
}

// Doubles from the first to the last one of a row.
int64_t reach(int64_t count, int64_t step, int64_t howmany, int64_t width) {
    return ((count - 1) * step + howmany) * width;
}

// Rows of input and output lie at the same places and apart from each other.
bool rows_stay_apart(const plan *p) {
    const int64_t howmany = p->howmany_dims[0].n, in = input_element_bytes(p) / scalar_bytes,
                  out = output_element_bytes(p) / scalar_bytes;
    const auto [n, is, os] = p->dims[1];
    const int64_t half = n / 2 + 1;
    const int64_t row = p->dims[0].is * in;
    return row == p->dims[0].os * out && reach(in == 1 ? n : half, is, howmany, in) <= row &&
           reach(out == 1 ? n : half, os, howmany, out) <= row;
}

int build(plan *p, int32_t kind) {
    if (p->split == 1) return -1;
    if (p->kind != kind) return -1;
    if (p->in != p->out) return -1;
    if (p->rank != 2) return -1;
    if (p->howmany_rank != 1) return -1;
    const auto [howmany, idist, odist] = p->howmany_dims[0];
    if (idist != 1 || odist != 1) return -1;
    if (p->dims[0].n > 1 && !rows_stay_apart(p)) return -1;
    // The columns of the input are transformed where they are.
    if (kind == kind_c2r && inputs_overlap(p)) return -1;

    const lyr_fft_iodim64 outer = p->dims[0], inner = p->dims[1];
    const int64_t half = inner.n / 2 + 1;
    const bool forward = kind == kind_r2c;
    p->work_bytes = static_cast<uint64_t>(howmany * (forward ? inner.n : 2 * half)) * scalar_bytes;
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;

    plan *row = &p->children[0], *columns = &p->children[1];
    plan_copy_problem(row, p);
    row->in = scratch_array(p);
    row->rank = 1;
    row->dims[0] = {inner.n, howmany, inner.os};
    row->dims[1] = {};
    plan_copy_problem(columns, p);
    columns->kind = kind_complex;
    columns->rank = 1;
    const int64_t step = forward ? outer.os : outer.is, row_step = forward ? inner.os : inner.is;
    columns->dims[0] = {outer.n, step, step};
    columns->dims[1] = {};
    columns->howmany_rank = 2;
    columns->howmany_dims[0] = {half, row_step, row_step};
    columns->howmany_dims[1] = {howmany, 1, 1};
    const int status = plan_solve(row);
    return status != 0 ? status : plan_solve(columns);
}

}  // namespace

int solve_problem_c2r_multidimension_many(plan *p) {
    p->execute_fn = execute_c2r_multidimension_many;
    p->execute_name = "execute_c2r_multidimension_many";
    return build(p, kind_c2r);
}

int solve_problem_r2c_multidimension_many(plan *p) {
    p->execute_fn = execute_r2c_multidimension_many;
    p->execute_name = "execute_r2c_multidimension_many";
    return build(p, kind_r2c);
}

}  // namespace lyr
