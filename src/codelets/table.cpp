// The codelet table of one vector target: the 19 lengths, found by length - 1, and what passes over
// memory between them: products, and conversion of split arrays.
#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"
#include "codelets/stage_costs.h"
#include "codelets/stage_pairs.h"
#include "codelets/wide_stages.h"

#define LYR_TEXT_(x) #x
#define LYR_TEXT(x) LYR_TEXT_(x)

#define LYR_LENGTHS(X) \
    X(2)               \
    X(3)               \
    X(4) X(5) X(6) X(7) X(8) X(9) X(10) X(11) X(12) X(13) X(16) X(17) X(19) X(23) X(29) X(31) X(37)

namespace lyr::LYR_ISA {

#define LYR_DECLARE(R) extern const codelet_set forward_##R, backward_##R;
LYR_LENGTHS(LYR_DECLARE)
#undef LYR_DECLARE

#define LYR_ROW(d)                                                                                 \
    {                                                                                              \
        nullptr, &d##_2, &d##_3, &d##_4, &d##_5, &d##_6, &d##_7, &d##_8, &d##_9, &d##_10, &d##_11, \
            &d##_12, &d##_13, nullptr, nullptr, &d##_16, &d##_17, nullptr, &d##_19, nullptr,       \
            nullptr, nullptr, &d##_23, nullptr, nullptr, nullptr, nullptr, nullptr, &d##_29,       \
            nullptr, &d##_31, nullptr, nullptr, nullptr, nullptr, nullptr, &d##_37                 \
    }

namespace {

static_assert(complex_vec<vec>);
static_assert(!turned_tables<vec> || vec::lanes == 1);

template <class V, bool Contiguous>
LYR_INLINE int64_t multiply_elements(scalar *&out, int64_t out_step, const scalar *&in,
                                     int64_t in_step, const scalar *&factors, int64_t n) {
    for (; n >= V::lanes; n -= V::lanes) {
        const typename V::tw w = V::tw_plain(factors);
        if constexpr (Contiguous)
            cmul(V::load(in), w).store(out);
        else
            cmul(V::gather(in, 2 * in_step), w).scatter(out, 2 * out_step);
        in += 2 * V::lanes * in_step;
        out += 2 * V::lanes * out_step;
        factors += 2 * V::lanes;
    }
    return n;
}

void elements(scalar *out, int64_t out_step, const scalar *in, int64_t in_step,
              const scalar *factors, int64_t n) {
    if (in_step == 1 && out_step == 1)
        in_vectors<vec>(
            n, LYR_LAMBDA(auto v, int64_t rest) {
                return multiply_elements<vector_of<decltype(v)>, true>(out, 1, in, 1, factors,
                                                                       rest);
            });
    else
        in_vectors<vec>(
            n, LYR_LAMBDA(auto v, int64_t rest) {
                return multiply_elements<vector_of<decltype(v)>, false>(out, out_step, in, in_step,
                                                                        factors, rest);
            });
}

template <class V>
LYR_INLINE int64_t multiply_row(scalar *&out, const scalar *&in, typename V::tw w, int64_t h) {
    for (; h >= V::lanes; h -= V::lanes) {
        cmul(V::load(in), w).store(out);
        in += 2 * V::lanes;
        out += 2 * V::lanes;
    }
    return h;
}

void rows(scalar *out, int64_t out_row, const scalar *in, int64_t in_row, const scalar *factors,
          int64_t n, int64_t h) {
    for (int64_t k = 0; k < n; ++k) {
        const scalar *w = factors + 2 * k, *from = in + 2 * k * in_row;
        scalar *to = out + 2 * k * out_row;
        in_vectors<vec>(
            h, LYR_LAMBDA(auto v, int64_t rest) {
                using V = vector_of<decltype(v)>;
                return multiply_row<V>(to, from, V::tw_one(w, w + 1), rest);
            });
    }
}

void rotate(scalar *row, const scalar *turns, const scalar *columns, int64_t n) {
    in_vectors<vec>(
        n, LYR_LAMBDA(auto v, int64_t rest) {
            using V = vector_of<decltype(v)>;
            for (; rest >= V::lanes; rest -= V::lanes) {
                const V z = cmul(V::load(row), V::tw_plain(turns));
                (z + cmul(z, V::tw_plain(columns))).store(row);
                row += 2 * V::lanes;
                turns += 2 * V::lanes;
                columns += 2 * V::lanes;
            }
            return rest;
        });
}

void join(scalar *out, const scalar *re, const scalar *im, int64_t n) {
    int64_t k = 0;
    in_vectors<vec>(
        n, LYR_LAMBDA(auto v, int64_t) {
            using V = vector_of<decltype(v)>;
            for (; k + 2 * V::lanes <= n; k += 2 * V::lanes) V::join(out + 2 * k, re + k, im + k);
            return n - k;
        });
    if (k < n) {
        out[2 * k] = re[k];
        out[2 * k + 1] = im[k];
    }
}

LYR_INLINE void part(scalar *re, scalar *im, const scalar *in, int64_t n) {
    int64_t k = 0;
    in_vectors<vec>(
        n, LYR_LAMBDA(auto v, int64_t) {
            using V = vector_of<decltype(v)>;
            for (; k + 2 * V::lanes <= n; k += 2 * V::lanes) V::part(re + k, im + k, in + 2 * k);
            return n - k;
        });
    if (k < n) {
        re[k] = in[2 * k];
        im[k] = in[2 * k + 1];
    }
}

void part_rows(scalar *re, scalar *im, int64_t out_row, const scalar *in, int64_t in_row,
               int64_t rows, int64_t n) {
    for (int64_t k = 0; k < rows; ++k)
        part(re + k * out_row, im + k * out_row, in + 2 * k * in_row, n);
}

template <class V>
constexpr auto finish_far() -> void (*)() {
    if constexpr (has_far_stores<V>)
        return V::finish_far;
    else
        return nullptr;
}

constexpr bool single = sizeof(scalar) == sizeof(float);
constexpr const stage_costs *costs =
    vec::lanes == line_complex       ? (single ? &single_costs_of_8_lanes : &costs_of_4_lanes)
    : 2 * vec::lanes == line_complex ? (single ? &single_costs_of_4_lanes : &costs_of_2_lanes)
                                     : nullptr;

constexpr const wide_costs &costs_with_wide = vec::lanes > 1       ? single_wide_costs_of_4_lanes
                                              : turned_tables<vec> ? wide_costs_of_armv8
                                                                   : wide_costs_of_complex;
constexpr const wide_stages *wide_list[wide_radix_count] = {&wide_14_15[0], &wide_14_15[1],
                                                            &wide_20_24[0], &wide_20_24[1]};

// Not for portable vectors, which nobody measured.
#if defined(__aarch64__)
constexpr near_cache near = 2 * vec::lanes < line_complex ? assumed_near_cache : near_cache{};
#else
constexpr near_cache near = {};
#endif

}  // namespace

extern const unit_transform *const units_2_30, *const units_32_144, *const prime_units,
                                                                        *const real_units;
extern const dense_batch *const dense_batches;
extern const real_pass_set real_passes;
extern const r2r_pass_set r2r_passes;
extern const real_set reals;
extern const stage_pair_set stage_pairs;
extern const codelet_table table;
const codelet_table table = {LYR_TEXT(LYR_ISA),
                             vec::lanes,
                             turned_tables<vec>,
                             {LYR_ROW(forward), LYR_ROW(backward)},
                             {&units_2_30, &units_32_144, &prime_units},
                             &dense_batches,
                             &real_units,
                             {elements, rows, rotate},
                             {join, part, part_rows},
                             &real_passes,
                             &r2r_passes,
                             &reals,
                             costs,
                             has_wide_stages<vec> ? &costs_with_wide : nullptr,
                             has_wide_stages<vec> ? wide_list : nullptr,
                             &stage_pairs,
                             near,
                             finish_far<vec>()};

}  // namespace lyr::LYR_ISA
