// What codelets look like from outside: stage descriptors, function types, tables. No intrinsics.
#pragma once

#include <cstdint>

#include "planner/executor.h"

namespace lyr {

// A first-level data cache: bytes/ways apart, addresses fall into the same set.
struct near_cache {
    int64_t bytes, ways;

    constexpr int64_t way() const { return bytes / ways; }
};

// What walks assume of the processor's, by architecture. Larger ones, or more ways, lose little.
#if defined(__aarch64__)
inline constexpr near_cache assumed_near_cache = {64 << 10, 4};
#else
inline constexpr near_cache assumed_near_cache = {32 << 10, 8};
#endif

// How far apart the sets are that streams `step` complex numbers apart fall into; cache.way() when
// that is only one.
constexpr int64_t set_distance(const near_cache &cache, int64_t step) {
    const int64_t bytes = complex_bytes * step, power_of_two = bytes & -bytes;
    return power_of_two < cache.way() ? power_of_two : cache.way();
}
// Whether such streams take more than `ways` of the ways of a set.
constexpr bool streams_collide(const near_cache &cache, int64_t ways, int64_t streams,
                               int64_t step) {
    return streams * set_distance(cache, step) > ways * cache.way();
}

// One pass of a stage sequence. Before the stage the data is a matrix of L rows of r*m complex
// numbers; butterfly (k, j) reads columns j + q*m of row k, multiplies input q by the twiddle of
// (k, q) and writes output p to out[(k + p*L)*m + j].
struct stage {
    void (*codelet)(const stage *, const scalar *in, scalar *out);
    int64_t m;
    int64_t L;
    int64_t in_stride;   // 1 but for the first stage of a strided transform
    int64_t out_stride;  // 1 but for the last stage of a strided transform
    const scalar *twiddles;
    int64_t r;
    int64_t sign;
};
static_assert(sizeof(stage) == 64, "a stage is eight 64-bit words");

// One whole transform, out[k] = DFT(in)[k]. Strides are in bytes and multiples of complex_bytes,
// their element counts fit in 32 signed bits; unit-stride codelets ignore them. All inputs are
// loaded before any output is stored, so `out` may be `in`. scratch holds n complex numbers.
using direct_codelet = void (*)(scalar *out, const scalar *in, int64_t istride_bytes,
                                int64_t ostride_bytes, scalar *scratch);

// h whole transforms: element e of transform j is in[e*in_step + j*in_lane] (complex numbers), and
// out likewise. Some neighbouring transforms are loaded before the first of them is stored.
using many_codelet = void (*)(const scalar *in, int64_t in_step, int64_t in_lane, scalar *out,
                              int64_t out_step, int64_t out_lane, int64_t h);

// One pass over one transform.
using stage_codelet = void (*)(const stage *, const scalar *in, scalar *out);

// Butterflies of one stage over transforms that lie side by side. Butterflies form rows; within a
// row, neighbouring butterflies are neighbours in memory. All distances in complex numbers.
struct column_walk {
    int64_t rows;
    int64_t in_step, out_step;    // from a row to the next
    int64_t in_q, out_p;          // from an input (output) of a butterfly to the next
    int64_t count;                // butterflies in a row
    int64_t first = 0, step = 1;  // rows of the stage's matrix: row i has the twiddles of this one
    bool by_lines = false;        // outputs collide: see codelet_table::near
};
using slab_codelet = void (*)(const column_walk &, const scalar *in, scalar *out);
using twiddle_slab_codelet = void (*)(const stage *, const column_walk &, const scalar *in,
                                      scalar *out);

// A first stage over h transforms that lie in_lane complex numbers apart; the output is side by
// side, out_p apart those of a butterfly.
using gathered_slab_codelet = void (*)(const stage *, const scalar *in, int64_t in_row,
                                       int64_t in_lane, scalar *out, int64_t out_row, int64_t out_p,
                                       int64_t h);

// The factors that the outputs of a slab are multiplied by, plain complex numbers in the order in
// which a last stage makes its outputs. One level: `columns` holds all of them, for each row k of
// the stage's matrix, for each vector of the `row` columns (a multiple of max_lanes, more than the
// slab has perhaps), for each output p, one number per column. Two levels: the factor is
// (1 + columns[..])*turns[..], with columns in that order, the same for all slabs, and one number
// of turns for each row k and output p.
struct rotation {
    const scalar *columns;
    const scalar *turns;  // null: one level
    int64_t row;
};

// A last stage whose outputs are multiplied by factors. `far` as in far_slab.
using rotated_slab_codelet = void (*)(const stage *, const column_walk &, const scalar *in,
                                      scalar *out, const rotation &factors, bool far);

// First and last stages of a transform between split arrays without gaps. A last stage takes the
// rows of its twiddle table in an order of its own (alternate_rows).
using split_first_codelet = void (*)(const stage *, const scalar *re, const scalar *im,
                                     scalar *out);
using split_last_codelet = void (*)(const stage *, const scalar *in, scalar *re, scalar *im);

// All codelets of one length and direction. Some are only there up to common_radix_limit.
struct codelet_set {
    direct_codelet direct_unit;
    direct_codelet direct_general;
    many_codelet direct_many;
    stage_codelet first_unit;
    stage_codelet first_general;
    stage_codelet middle;
    stage_codelet last_unit;
    stage_codelet last_general;
    slab_codelet first_slab;  // no twiddles: first stage, or the whole transform when m = 1
    twiddle_slab_codelet twiddle_slab;  // middle and last stages
    gathered_slab_codelet gathered_slab;
    rotated_slab_codelet rotated_slab;  // null above common_radix_limit
    split_first_codelet split_first;    // likewise
    split_last_codelet split_last;      // likewise
    // A last stage whose outputs go past the caches where they are whole lines, which is cheaper
    // than to fetch lines that are then overwritten: for results that no cache can keep. Null above
    // common_radix_limit and where vectors have one lane.
    twiddle_slab_codelet far_slab;
};
inline constexpr int common_radix_limit = 16;

// The stages of a radix that only single transforms of strides 1 are made of, and only where a
// target has them: forward, backward.
struct wide_stages {
    int64_t r;
    stage_codelet first[2], middle[2], last[2];
};
inline constexpr int wide_radix_count = 4;

// Products of complex numbers for the convolutions of Rader's and Bluestein's algorithms. Steps and
// rows count complex numbers and may be negative.
struct product_set {
    // out[k*out_step] = in[k*in_step] * factors[k], k < n. `out` may be `in` with the same step.
    void (*elements)(scalar *out, int64_t out_step, const scalar *in, int64_t in_step,
                     const scalar *factors, int64_t n);
    // The same with every element a row of h neighbouring numbers.
    void (*rows)(scalar *out, int64_t out_row, const scalar *in, int64_t in_row,
                 const scalar *factors, int64_t n, int64_t h);
    // row[k] *= turns[k]*(1 + columns[k]), k < n.
    void (*rotate)(scalar *row, const scalar *turns, const scalar *columns, int64_t n);
};

// Between n interleaved complex numbers and their parts in two arrays. No two arrays overlap.
struct split_set {
    void (*join)(scalar *out, const scalar *re, const scalar *im, int64_t n);
    void (*part)(scalar *re, scalar *im, const scalar *in, int64_t n);
    // `rows` rows of n numbers, the given distances apart.
    void (*part_rows)(scalar *re, scalar *im, int64_t out_row, const scalar *in, int64_t in_row,
                      int64_t rows, int64_t n);
};

// Whether the twiddle table of a middle stage holds ready vectors: for each row and input q the
// real part 2*lanes times, then the imaginary part as often. A row is then used as it lies in
// memory, where short rows would else spend their time on setting up its twiddles. Not for those
// that stay in registers anyway, nor for tables that would crowd the first-level cache; with lanes
// that fill a line there is an instruction that repeats a number as it loads it. Measured.
inline bool has_ready_rows(int64_t lanes, int64_t r, int64_t L) {
    return 2 * lanes == line_complex && r > 4 && L * (r - 1) <= 512;
}

// Whether the groups of a last stage's twiddle table are plain (codelet_table::lanes): those of
// tables that would, as ready vectors, take more than a third of a first-level cache of 48 KiB.
// Narrower vectors gain only where the table takes a quarter of a second-level cache of 1 MiB.
// Measured.
constexpr bool may_have_plain_groups(int64_t lanes, int64_t r) {
    const int64_t largest = lanes == line_complex       ? common_radix_limit
                            : 2 * lanes == line_complex ? 12
                            : lanes > 1                 ? 8
                                                        : 0;
    return r <= largest;
}
constexpr bool has_plain_groups(int64_t lanes, int64_t r, int64_t L) {
    const int64_t longest_ready = lanes == line_complex       ? 16 << 10
                                  : 2 * lanes == line_complex ? 256 << 10
                                                              : 384 << 10;
    return may_have_plain_groups(lanes, r) && 2 * complex_bytes * L * (r - 1) > longest_ready;
}

// Whether a last stage's table holds i*w behind each factor w (codelet_table::turned): where the
// table, twice as long, does not crowd the first-level cache.
constexpr bool has_turned_rows(int64_t r, int64_t L) {
    return 2 * complex_bytes * L * (r - 1) <= 64 << 10;
}

struct real_pass_set;   // codelets/real_pass.h
struct r2r_pass_set;    // codelets/r2r_pass.h
struct real_set;        // codelets/real.h
struct stage_pair_set;  // codelets/stage_pairs.h

inline constexpr int modelled_radix_count = 19;
inline constexpr int all_radix_count = modelled_radix_count + wide_radix_count;
template <int Radices>
struct costs_of_radices;  // codelets/stage_costs.h
using stage_costs = costs_of_radices<modelled_radix_count>;
using wide_costs = costs_of_radices<all_radix_count>;

inline constexpr int max_radix = 37;
inline constexpr int64_t max_lanes = 64 / complex_bytes;

// One whole transform of n numbers, strides 1, as an executor that does not look at its plan:
// forward, backward. All inputs are loaded before any output is stored.
struct unit_transform {
    int64_t n;
    executor run[2];
};

// h transforms of n numbers one after another without gaps, in and out: forward, backward. out may
// be in. Some neighbouring transforms are loaded before the first of them is stored.
struct dense_batch {
    int64_t n;
    void (*run[2])(const scalar *in, scalar *out, int64_t h);
};

// Lists of unit transforms, each ending with n = 0: two of transforms in registers, and primes.
inline constexpr int unit_lists = 3, list_of_primes = 2;

// Primes above these have coefficients that leave a first-level cache of 32 KiB.
inline constexpr int64_t longest_prime_in_32k = 61, longest_real_prime_in_32k = 73;

// Everything one vector target provides.
struct codelet_table {
    const char *name;
    // Complex numbers in a vector. With more than one, the twiddle table of a last stage (m = 1)
    // holds groups of `lanes` rows, and in a group for each input q = 1..r-1 the real parts of all
    // rows, each twice, then the imaginary parts, each twice: vectors that need no shuffle; or,
    // where has_plain_groups says so, the plain numbers of all rows. The rows of an incomplete
    // group follow one by one. For middle stages see has_ready_rows.
    int64_t lanes;
    // For single lanes: products need i*w as well, and last stages have it in their tables where
    // has_turned_rows says so.
    bool turned;
    const codelet_set *sets[2][max_radix];  // [0 forward, 1 backward][length - 1], null: none
    const unit_transform *const *units[unit_lists];
    const dense_batch *const *dense_batches;  // a list that ends with n = 0
    const unit_transform *const *real_units;  // real to complex, complex to real
    product_set products;
    split_set splits;
    const real_pass_set *real_passes;
    const r2r_pass_set *r2r_passes;
    const real_set *reals;
    const stage_costs *costs;           // null: the radices of stages are those of factorize_size
    const wide_costs *costs_with_wide;  // the same for single transforms of strides 1
    const wide_stages *const *wide;     // wide_radix_count of them, or null
    const stage_pair_set *paired;
    // Where vectors are shorter than half a line, the cache whose lines walks over transforms side
    // by side must read and write whole, as they would be gone before the next vector; else its
    // ways are 0. Vectors of half a line see to that themselves.
    near_cache near;
    // Makes what went past the caches visible to other threads before later stores. Null: nothing
    // goes past them.
    void (*finish_far)();
};

}  // namespace lyr
