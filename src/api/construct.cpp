#include "api/construct.h"

#include <cerrno>
#include <cstdlib>

#include "planner/cache_sizes.h"
#include "planner/places.h"
#include "planner/scratch.h"
#include "threads/threads.h"

namespace lyr {

namespace {

// Adds the extent of one dimension, in elements; false on overflow.
bool add_extent(int64_t &extent, int64_t n, int64_t stride) {
    int64_t span;
    return !__builtin_mul_overflow(n - 1, stride, &span) &&
           !__builtin_add_overflow(extent, span, &extent);
}

bool count(int64_t &points, int64_t &in_extent, int64_t &out_extent, const lyr_fft_iodim64 *dims,
           int rank) {
    for (int k = 0; k < rank; ++k) {
        if (__builtin_mul_overflow(points, dims[k].n, &points)) return false;
        if (!add_extent(in_extent, dims[k].n, dims[k].is)) return false;
        if (!add_extent(out_extent, dims[k].n, dims[k].os)) return false;
    }
    return true;
}

// Of what is counted in elements: sizes and offsets in bytes, and those of buffers a few times as
// large, then fit in 64 bits.
constexpr int64_t limit = INT64_MAX / 128;

bool problem_is_addressable(const plan *p) {
    int64_t points = 1;
    int64_t in_extent = 1;
    int64_t out_extent = 1;
    return count(points, in_extent, out_extent, p->dims, p->rank) &&
           count(points, in_extent, out_extent, p->howmany_dims, p->howmany_rank) &&
           points <= limit && in_extent <= limit && out_extent <= limit;
}

// Whether every number stays what it is and where it is.
bool changes_nothing(const plan *p) {
    if (p->in != p->out || p->in_imag != p->out_imag) return false;
    if (p->kind != kind_complex && (p->kind != kind_r2r || p->rank > 0)) return false;
    for (int k = 0; k < p->rank; ++k)
        if (p->dims[k].n != 1) return false;
    for (int k = 0; k < p->howmany_rank; ++k)
        if (p->howmany_dims[k].n != 1 && p->howmany_dims[k].is != p->howmany_dims[k].os)
            return false;
    return true;
}

// In place, results on the same place have destroyed each other, or input. Out of place layouts
// are the caller's business.
bool results_collide(const plan *p) {
    return is_in_place(p) && outputs_overlap(p) && !changes_nothing(p);
}

bool has_far_output(const plan *p) {
    constexpr int64_t least_bytes = 64 << 10;  // no need to ask about less
    int64_t bytes = output_element_bytes(p);
    for (int k = 0; k < p->rank; ++k) bytes *= p->dims[k].n;
    for (int k = 0; k < p->howmany_rank; ++k) bytes *= p->howmany_dims[k].n;
    return bytes >= least_bytes && bytes >= far_output_bytes();
}

// Nothing is as far away as the second element of a dimension that has one, but solvers multiply.
void limit_unused_strides(lyr_fft_iodim64 *dims, int rank) {
    for (int k = 0; k < rank; ++k) {
        if (dims[k].is > limit) dims[k].is = limit;
        if (dims[k].os > limit) dims[k].os = limit;
    }
}

}  // namespace

plan *plan_create(int32_t kind, int64_t sign, int64_t split, const plan_arrays &arrays) {
    plan *p = static_cast<plan *>(calloc(1, sizeof(plan)));
    if (!p) return nullptr;
    p->kind = kind;
    p->sign = sign;
    p->split = split;
    p->in = arrays.in;
    p->in_imag = arrays.in_imag;
    p->out = arrays.out;
    p->out_imag = arrays.out_imag;
    p->nthreads = library_threads();
    return p;
}

plan *plan_finish(plan *p) {
    const bool arrays_missing = p->split == 1 && !p->in_imag && !p->out_imag;
    if (!arrays_missing && problem_is_addressable(p)) {
        limit_unused_strides(p->dims, p->rank);
        limit_unused_strides(p->howmany_dims, p->howmany_rank);
        p->far_output = has_far_output(p);
        const int callers_errno = errno;
        errno = 0;  // plan_solve gives up at ENOMEM
        p->reserved = !results_collide(p) && plan_solve(p) == 0 && scratch_reserve(p);
        errno = callers_errno;
        if (p->reserved) return p;
    }
    lyr_fft_destroy_plan(p);
    return nullptr;
}

}  // namespace lyr
