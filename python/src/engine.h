// Transforms of arrays with any number of dimensions, as executions of plans of the library.
#ifndef LYRA_PYTHON_ENGINE_H
#define LYRA_PYTHON_ENGINE_H

#include "plans.h"

namespace lyra_python {

constexpr int max_ndim = 64;  // of NumPy 2; NumPy 1 has 32

// An array in memory. Strides count elements and are positive where a dimension is longer than 1.
struct view {
    char *data;
    int ndim;
    int64_t shape[max_ndim];
    int64_t stride[max_ndim];
};

// A transform along some axes of an array.
struct transform {
    operation what;
    bool single;
    int32_t sign;
    int32_t kind;  // of real-to-real transforms
    int32_t workers;
    int naxes;  // the last one is halved between real and complex numbers
    int axes[max_ndim];
    int64_t n[max_ndim];  // lengths along these axes
};

// One plan and where it is executed.
struct pass {
    kept_plan *plan;
    char *in, *out;
    int loop_rank;  // batch dimensions that no plan takes
    int64_t n[max_ndim], in_bytes[max_ndim], out_bytes[max_ndim];
};

struct schedule {
    static constexpr int max_passes = 2 * max_ndim;
    int count;
    pass *passes[max_passes];
};

// Append the passes of a transform from one array to another, or in place when both begin at the
// same place. Between real and complex numbers with more than three axes one of the arrays is
// passed over in place: the input of complex to real. Called with the interpreter lock. Returns 0,
// or -1 when memory runs out or there is no plan; what was appended before stays.
int add_transform(schedule &s, plan_cache &cache, const transform &t, const view &in,
                  const view &out);

// Without the interpreter lock.
void run_schedule(const schedule &s);

// With it.
void release_schedule(schedule &s);

// Multiply all numbers of an array: real ones by `re`, real and imaginary parts of complex ones by
// a factor each.
template <typename real>
void scale(const view &v, bool complex, double re, double im);

// Multiply the real numbers with index `index` along an axis.
template <typename real>
void scale_slice(const view &v, int axis, int64_t index, double factor);

// Complete the transform of real data: the last axis of `t` holds the first n/2+1 complex numbers;
// the others are conjugates of those at the negative indices of all transformed axes.
template <typename real>
void complete_hermitian(const view &v, const transform &t);

}  // namespace lyra_python

#endif
