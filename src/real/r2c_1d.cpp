// One transform of n real numbers to n/2+1 complex ones (real/half_size.h). An even count is read
// as complex numbers, transformed, and the spectra of the even and the odd samples, which the
// result holds mixed, are put together.
#include "planner/registry.h"
#include "real/half_size.h"

namespace lyr {

namespace {

// z: the child's result, h contiguous complex numbers; it may be `out` when os = 1.
void finish(const plan *p, const scalar *z, scalar *out, int64_t os) {
    const int64_t h = p->dims[0].n / 2;
    const scalar re = z[0], im = z[1];
    scalar *last = out + 2 * h * os;
    out[0] = re + im;
    out[1] = 0;
    run_real_pass(p, z, 1, out, os, 1, h / 2);
    last[0] = re - im;
    last[1] = 0;
}

void execute_1d_r2c(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    child->execute_fn(child, in, out, scratch_below(p, scratch));
    finish(p, out, out, 1);
}

void execute_1d_r2c_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    child->execute_fn(child, in, out, scratch_below(p, scratch));
    const scalar re = out[0], im = out[1];
    scalar *last = out + p->dims[0].n;
    out[0] = re + im;
    last[0] = re - im;
    out[1] = last[1] = 0;
    run_real_pass_threaded(p, out, out);
}

void execute_1d_r2c_discrete(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    scalar *work = scratch;
    const auto [n, is, os] = p->dims[0];
    for (int64_t j = 0; j < n; ++j) work[j] = in[j * is];
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    finish(p, work, out, os);
}

void widen(const plan *p, const scalar *in, scalar *work, int64_t first, int64_t last) {
    const int64_t is = p->dims[0].is;
    for (int64_t j = first; j < last; ++j) {
        work[2 * j] = in[j * is];
        work[2 * j + 1] = 0;
    }
}

void keep_half(const plan *p, const scalar *work, scalar *out, int64_t first, int64_t last) {
    const int64_t os = p->dims[0].os;
    for (int64_t k = first; k < last; ++k) {
        out[2 * k * os] = work[2 * k];
        out[2 * k * os + 1] = work[2 * k + 1];
    }
}

void execute_1d_r2c_odd(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const int64_t n = p->dims[0].n;
    scalar *work = scratch;
    widen(p, in, work, 0, n);
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    work[1] = 0;
    keep_half(p, work, out, 0, n / 2 + 1);
}

void execute_1d_r2c_odd_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const int64_t n = p->dims[0].n;
    scalar *work = scratch;
    run_copy_threaded(p, widen, in, work, n);
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    work[1] = 0;
    run_copy_threaded(p, keep_half, work, out, n / 2 + 1);
}

constexpr real_executors executors = {execute_1d_r2c,
                                      execute_1d_r2c_discrete,
                                      execute_1d_r2c_odd,
                                      execute_1d_r2c_multithread,
                                      execute_1d_r2c_odd_multithread,
                                      "execute_1d_r2c",
                                      "execute_1d_r2c_discrete",
                                      "execute_1d_r2c_odd",
                                      "execute_1d_r2c_multithread",
                                      "execute_1d_r2c_odd_multithread"};

}  // namespace

int solve_problem_r2c_1d(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_r2c) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;
    return build_half_size(p, executors);
}

}  // namespace lyr
