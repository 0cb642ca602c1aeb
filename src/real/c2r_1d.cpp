// One transform of n/2+1 complex numbers to n real ones (real/half_size.h). For an even count the
// spectra of the even and the odd samples are taken apart and transformed together, as the real and
// the imaginary parts of one result. The input is only read.
#include "planner/registry.h"
#include "real/half_size.h"

namespace lyr {

namespace {

// z: h contiguous complex numbers for the child; it may be `in` when is = 1.
void begin(const plan *p, const scalar *in, int64_t is, scalar *z) {
    const int64_t h = p->dims[0].n / 2;
    const scalar first = in[0], last = in[2 * h * is];
    run_real_pass(p, in, is, z, 1, 1, h / 2);
    z[0] = first + last;
    z[1] = first - last;
}

void execute_1d_c2r(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    scalar *const z = p->work_bytes ? scratch : out;
    begin(p, in, 1, z);
    child->execute_fn(child, z, out, scratch_below(p, scratch));
}

void execute_1d_c2r_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const scalar first = in[0], last = in[p->dims[0].n];
    out[0] = first + last;
    out[1] = first - last;
    run_real_pass_threaded(p, in, out);
    child->execute_fn(child, out, out, scratch_below(p, scratch));
}

void execute_1d_c2r_discrete(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    scalar *work = scratch;
    const auto [n, is, os] = p->dims[0];
    begin(p, in, is, work);
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    for (int64_t j = 0; j < n; ++j) out[j * os] = work[j];
}

// Items are pairs of numbers, the first one k = 1.
void mirror(const plan *p, const scalar *in, scalar *work, int64_t first, int64_t last) {
    const auto [n, is, os] = p->dims[0];
    for (int64_t k = first + 1; k < last + 1; ++k) {
        const scalar re = in[2 * k * is], im = in[2 * k * is + 1];
        work[2 * k] = work[2 * (n - k)] = re;
        work[2 * k + 1] = im;
        work[2 * (n - k) + 1] = -im;
    }
}

void keep_real(const plan *p, const scalar *work, scalar *out, int64_t first, int64_t last) {
    const int64_t os = p->dims[0].os;
    for (int64_t j = first; j < last; ++j) out[j * os] = work[2 * j];
}

// The imaginary part of the first number counts for nothing; not even its rounding errors, or that
// it may be infinite.
void execute_1d_c2r_odd(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const int64_t n = p->dims[0].n;
    scalar *work = scratch;
    work[0] = in[0];
    work[1] = 0;
    mirror(p, in, work, 0, n / 2);
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    keep_real(p, work, out, 0, n);
}

void execute_1d_c2r_odd_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const int64_t n = p->dims[0].n;
    scalar *work = scratch;
    work[0] = in[0];
    work[1] = 0;
    run_copy_threaded(p, mirror, in, work, n / 2);
    child->execute_fn(child, work, work, scratch_below(p, scratch));
    run_copy_threaded(p, keep_real, work, out, n);
}

constexpr real_executors executors = {execute_1d_c2r,
                                      execute_1d_c2r_discrete,
                                      execute_1d_c2r_odd,
                                      execute_1d_c2r_multithread,
                                      execute_1d_c2r_odd_multithread,
                                      "execute_1d_c2r",
                                      "execute_1d_c2r_discrete",
                                      "execute_1d_c2r_odd",
                                      "execute_1d_c2r_multithread",
                                      "execute_1d_c2r_odd_multithread"};

}  // namespace

int solve_problem_c2r_1d(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_c2r) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;
    return build_half_size(p, executors);
}

}  // namespace lyr
