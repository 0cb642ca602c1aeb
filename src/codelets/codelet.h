// What codelets look like from outside: stage descriptors, function types, tables. No intrinsics.
#pragma once

#include <cstdint>

#include "planner/plan.h"

namespace lyr {

// One pass of a stage sequence. Before the stage the data is a matrix of L rows of r*m complex
// numbers; butterfly (k, j) reads columns j + q*m of row k, multiplies input q by the twiddle of
// (k, q) and writes output p to out[(k + p*L)*m + j].
struct stage {
    void (*codelet)(const stage *, const double *in, double *out);
    int64_t m;
    int64_t L;
    int64_t in_stride;   // 1 but for the first stage of a strided transform
    int64_t out_stride;  // 1 but for the last stage of a strided transform
    const double *twiddles;
    int64_t r;
    int64_t sign;
};
static_assert(sizeof(stage) == 64, "a stage is eight 64-bit words");

// One whole transform, out[k] = DFT(in)[k]. Strides are in bytes and multiples of 16, their element
// counts fit in 32 signed bits; unit-stride codelets ignore them. All inputs are loaded before any
// output is stored, so `out` may be `in`. scratch holds n complex numbers.
using direct_codelet = void (*)(double *out, const double *in, int64_t istride_bytes,
                                int64_t ostride_bytes, double *scratch);

// One pass over one transform.
using stage_codelet = void (*)(const stage *, const double *in, double *out);

// The same pass over h transforms that lie side by side. Element e of all h transforms is one row
// of h complex numbers; rows are in_row (out_row) complex numbers apart.
using slab_codelet = void (*)(const stage *, const double *in, int64_t in_row, double *out,
                              int64_t out_row, int64_t h);

// All codelets of one length and direction.
struct codelet_set {
    direct_codelet direct_unit;
    direct_codelet direct_general;
    stage_codelet first_unit;
    stage_codelet first_general;
    stage_codelet middle;
    stage_codelet last_unit;
    stage_codelet last_general;
    slab_codelet first_slab;    // no twiddles: first stage, or the whole transform when m = 1
    slab_codelet twiddle_slab;  // middle and last stages
};

inline constexpr int max_radix = 37;

// Everything one vector target provides.
struct codelet_table {
    const char *name;
    // Complex numbers in a vector. With more than one, the twiddle table of a last stage (m = 1)
    // holds groups of `lanes` rows, and in a group for each input q = 1..r-1 the real parts of all
    // rows, each twice, then the imaginary parts, each twice: vectors that need no shuffle. The
    // rows of an incomplete group follow in plain order.
    int64_t lanes;
    const codelet_set *sets[2][max_radix];  // [0 forward, 1 backward][length - 1], null: none
};

// The table in use, chosen when the library is loaded.
const codelet_table *active_table();

// Tables this processor can run, best first, null-terminated.
const codelet_table *const *supported_tables();

// Makes another supported table the active one for plans made from now on. For tests and
// benchmarks; not exported.
void set_active_table(const codelet_table *table);

// The codelets of length n for the direction of the plan, or null.
const codelet_set *codelets_for(const plan *p, int64_t n);

// Lookups by length; null for n without a codelet. Any sign but -1 is backward.
stage_codelet codelet_first_stage(const plan *p, int64_t n);
stage_codelet codelet_middle_stage(const plan *p, int64_t n);
stage_codelet codelet_last_stage(const plan *p, int64_t n);
void *codelet_r2c(const plan *p, int64_t n);
void *codelet_r2c_many(const plan *p, int64_t n);

}  // namespace lyr
