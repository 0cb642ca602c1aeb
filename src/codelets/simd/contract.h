// What a vector target provides. A vector holds `lanes` whole complex numbers (real, imaginary).
//
//   load(p) store(p)              contiguous complex numbers, any alignment of real ones
//   gather(p, s) scatter(p, s)    lanes s real numbers apart
//   a + b   a - b
//   add_i(a, b)   sub_i(a, b)     a + ib, a - ib: the primitive rotations; a bare "times i" would
//                                 cost an instruction more on every target
//   scale(a, s)                   s*a, s real
//   fma(a, b, s)   fma_i(a, b, s) a + s*b, a + i*s*b, fused
//   tw_one(re, im)                a twiddle factor for all lanes, its parts at re and im (for one
//                                 lane im is re + 1)
//   tw_lanes(p)                   a twiddle factor per lane: for one lane a complex number, else
//                                 every real part twice, then every imaginary part twice
//   tw_plain(p)                   a twiddle factor per lane, plain complex numbers
//   scale_i(a, s)                 i*s*a, s real: only where it is as quick as scale and a
//                                 permutation, and a rotation is not (rotates_by_factors)
//   tw_turned(p)                  a twiddle factor w, plain, with i*w behind it: only for one
//                                 lane, where products need both (turned_tables)
//   load_pair(p, a, b) store_pair(p, a, b)
//                                 two neighbouring numbers in one instruction that also advances p
//                                 over them: only for one lane (moves_pairs)
//   load_two<B>(p, a, b) store_two<B>(p, a, b)
//                                 the same without advancing p, B bytes behind it
//   cmul(a, w)                    a*w
//   reversed(a)                   the lanes in opposite order
//   add_conj(a, b) sub_conj(a, b) a + conj(b), a - conj(b)
//   scale_conj(a, s)              s*conj(a), s real
//   twist_back(e, d, w, a, b)     a = e + i*conj(w)*d, b = e - i*conj(w)*d
//   V::join(p, re, im)            2*lanes complex numbers at p from their parts at re and im
//   V::part(re, im, p)            the other way round
//   load_split(re, im)            lanes complex numbers from their parts
//   store_split(re, im)           the other way round
//   store_split_alternating(p, re, im)
//                                 the parts of the lanes numbers at p and of these, in turns
//
// Vectors of several lanes also have
//
//   V::half                       the vector of half as many lanes, in the end vec1
//   V::gathers_pairs              whether there is
//     gather_pair(p, s, a, b)     a = gather(p, s), b = gather(p + 2, s), which is quicker
//   tw_gather(p, s)               a twiddle factor per lane, plain ones s real numbers apart
//                                 (not all that are native)
//   load_first<N>(p) store_first<N>(p)
//                                 N of the lanes; loaded ones are followed by zeros
//   load_part(p, n) store_part(p, n)
//                                 the same for 0 < n < lanes known late, where that is as quick as
//                                 a whole vector; otherwise there are none (has_parts)
//   gather_three(p, s) gather_three_pair(p, s, a, b) tw_gather_three(p, s)
//                                 three of four lanes, followed by a zero: where load_first<3> and
//                                 store_first<3> cost less than a butterfly (takes_three)
//   store_far(p)                  past the caches, where the processor has such stores; p is
//   aligned
//                                 to the vector's size. V::finish_far() when all is stored
//   zero()   repeat(p)            the complex number at p in all lanes
//   spread(p)   first_lane(a)     the real number at p in all parts; lane 0
//   transpose(x)                  an array of `lanes` vectors: number j of vector i becomes
//                                 number i of vector j
//   reversed_first<N>(a)          the first N lanes in opposite order; the others are undefined
//   exchanged(a)                  real and imaginary parts in each other's places
//   fma_parts(a, b, p)            a + b with each part multiplied by the number at its place from p
//   lane_sum(a)                   the sum of the lanes, one complex number
//   V::sum_and_difference(p, q)   the numbers *p + *q (real part) and *p - *q in all lanes
//   store_mirrored<N>(p, q)       of the first N lanes real plus imaginary part to p, and real
//                                 minus imaginary part to q in opposite order
//
// Targets define `vec` (native width), `vec1` (one complex number), and `accesses_per_pointer`: how
// many steps from a pointer addressing reaches with registers to spare (see stream). Those that
// stages of up to 24 numbers make quicker have vec::wide_stages (has_wide_stages). Each precision
// has a header for each target.
// Everything is inlined, and nothing but intrinsics and compiler vectors is used: a
// function that the linker could share with another translation unit must not be compiled for a
// special processor.
#pragma once

#include <cstdint>

#include "precision.h"

#define LYR_INLINE __attribute__((always_inline)) inline

namespace lyr {

template <class V>
concept complex_vec = requires(V a, typename V::tw w, const scalar *p, scalar *q, int64_t s) {
    {V::lanes};
    {V::load(p)};
    {V::gather(p, s)};
    {V::tw_one(p, p)};
    {V::tw_lanes(p)};
    {V::tw_plain(p)};
    a.store(q);
    a.scatter(q, s);
    {a + a};
    {a - a};
    {add_i(a, a)};
    {sub_i(a, a)};
    {scale(a, scalar{1})};
    {fma(a, a, scalar{1})};
    {fma_i(a, a, scalar{1})};
    {cmul(a, w)};
    {reversed(a)};
    {add_conj(a, a)};
    {sub_conj(a, a)};
    {scale_conj(a, scalar{1})};
    twist_back(a, a, w, a, a);
    {V::join(q, p, p)};
    {V::part(q, q, p)};
    {V::load_split(p, p)};
    a.store_split(q, q);
    a.store_split_alternating(p, q, q);
};

template <class V>
concept rotates_by_factors = requires(V a) {
    {scale_i(a, scalar{1})};
};
template <class V>
concept turned_tables = requires(const scalar *p) {
    {V::tw_turned(p)};
};
template <class V>
concept moves_pairs = requires(V &a, const scalar *&p, scalar *&q) {
    V::load_pair(p, a, a);
    V::store_pair(q, a, a);
};
template <class V>
concept has_wide_stages = V::wide_stages;
template <class V>
concept has_far_stores = requires(V a, scalar *q) {
    a.store_far(q);
    V::finish_far();
};
template <class V>
concept has_parts = requires(V a, const scalar *p, scalar *q, int64_t n) {
    {V::load_part(p, n)};
    a.store_part(q, n);
};

template <class V>
concept takes_three = requires(V &a, const scalar *p, int64_t s) {
    {V::gather_three(p, s)};
    V::gather_three_pair(p, s, a, a);
    {V::tw_gather_three(p, s)};
};

// Calls run(vector type, count) for the vectors V and, as long as something is left over, for those
// of half as many lanes; run returns what is left.
template <class V>
struct vector_type {
    using type = V;
};
template <class T>
using vector_of = typename T::type;
template <class V, class F>
LYR_INLINE void in_vectors(int64_t count, F &&run) {
    count = run(vector_type<V>{}, count);
    if constexpr (V::lanes > 1) in_vectors<typename V::half>(count, static_cast<F &&>(run));
}
// The same without V itself.
template <class V, class F>
LYR_INLINE void in_narrower_vectors(int64_t count, F &&run) {
    if constexpr (V::lanes > 1) in_vectors<typename V::half>(count, static_cast<F &&>(run));
}

}  // namespace lyr
