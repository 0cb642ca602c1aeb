// One transform of split arrays: joined to complex numbers in a buffer, transformed there, parted
// again. The buffer is dense and row-major; sides that hold real numbers stay out of it. All input
// is read before any output is written, so that the arrays may be the same in any order.
#include "batch/split.h"

#include <cstring>

#include "api/memory.h"
#include "codelets/codelet.h"
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

// Dimensions without gaps between their rows make one long row.
row_walk walk_of(const plan *p, int64_t lyr_fft_iodim64::*stride) {
    row_walk w = {{1, 1}, {0, 0}, row_length(p), 1};
    if (p->rank > 0) w.stride = p->dims[p->rank - 1].*stride;
    int k = p->rank - 2;
    for (; k >= 0 && p->dims[k].*stride == w.length * w.stride; --k) w.length *= p->dims[k].n;
    for (; k >= 0; --k) {
        w.n[k] = p->dims[k].n;
        w.step[k] = p->dims[k].*stride;
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

void join_rows(const plan *p, double *buffer, const double *re, const double *im) {
    const auto join = kernels_of(p).join;
    const row_walk w = walk_of(p, &lyr_fft_iodim64::is);
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

void part_rows(const plan *p, double *re, double *im, const double *buffer) {
    const auto part = kernels_of(p).part;
    const row_walk w = walk_of(p, &lyr_fft_iodim64::os);
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

void execute_split(plan *p, double *ri, double *ii, double *ro, double *io) {
    double *buffer = static_cast<double *>(p->work);
    double *from = ri;
    if (p->kind != kind_r2c) {
        join_rows(p, buffer, ri, ii);
        from = buffer;
    }
    plan *child = p->children;
    child->execute_fn(child, from, p->kind == kind_c2r ? ro : buffer);
    if (p->kind != kind_c2r) part_rows(p, ro, io, buffer);
}

void make_child(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->split = -1;
    if (p->kind != kind_r2c) child->in = static_cast<double *>(p->work);
    if (p->kind != kind_c2r) child->out = static_cast<double *>(p->work);
    child->in_imag = child->out_imag = nullptr;
    int64_t stride = 1;
    for (int k = p->rank - 1; k >= 0; --k) {
        if (p->kind != kind_r2c) child->dims[k].is = stride;
        if (p->kind != kind_c2r) child->dims[k].os = stride;
        stride *= k == p->rank - 1 ? row_length(p) : p->dims[k].n;
    }
}

}  // namespace

void execute_forwarded(plan *p, double *in, double *out) {
    p->execute_split_fn(p, in, p->in_imag, out, p->out_imag);
}

int solve_problem_dft_split(plan *p) {
    if (p->howmany_rank != 0) return -1;
    if (!has_split_arrays(p)) return -1;
    if (p->kind > kind_r2c) return -1;  // real-to-real data has no parts

    int64_t elements = row_length(p);
    for (int k = 0; k + 1 < p->rank; ++k) elements *= p->dims[k].n;
    const uint64_t bytes = static_cast<uint64_t>(elements) * 16;
    p->work = aligned_alloc_zero(bytes);
    if (!p->work) return -1;
    p->work_bytes = bytes;
    memcpy(p->solver_words, &active_table()->splits, sizeof(split_set));
    p->execute_fn = execute_forwarded;
    p->execute_split_fn = execute_split;
    p->execute_name = "execute_split";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    make_child(p->children, p);
    return plan_solve(p->children);
}

}  // namespace lyr
