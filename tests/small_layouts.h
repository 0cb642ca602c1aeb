// All small layouts of in-place transforms, and what the transforms have to give. For the test of
// the library and for the comparison with FFTW.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "precision.h"
#include "problem.h"
#include "r2r_formula.h"

namespace lyr_test {

using lyr_tools::problem;
using lyr_tools::side;
using lyr_tools::transform;

// A problem whose arrays are in one block of memory: in[0] and out[0] are the first doubles of the
// interleaved, the real, or the real-part array, in[1] and out[1] those of imaginary parts.
struct small_layout {
    problem p;
    int64_t in[2], out[2];
};

// Room for the largest of them.
inline constexpr int64_t block_doubles = 512, second_array = 256;

// ---- Enumeration --------------------------------------------------------------------------------

struct layout_kind {
    transform kind;
    bool split;
    lyr_fft_r2r_kind r2r;
    int64_t in_imag, out, out_imag;  // for split arrays; the input begins at 0
};

// r2r: kinds that go different ways. Split arrays: apart, parts crossed, interleaved, half in
// place.
inline constexpr layout_kind layout_kinds[] = {
    {transform::c2c, false, LYR_FFT_R2HC, 0, 0, 0},
    {transform::r2c, false, LYR_FFT_R2HC, 0, 0, 0},
    {transform::c2r, false, LYR_FFT_R2HC, 0, 0, 0},
    {transform::r2r, false, LYR_FFT_DHT, 0, 0, 0},
    {transform::r2r, false, LYR_FFT_HC2R, 0, 0, 0},
    {transform::r2r, false, LYR_FFT_REDFT10, 0, 0, 0},
    {transform::c2c, true, LYR_FFT_R2HC, second_array, 0, second_array},
    {transform::c2c, true, LYR_FFT_R2HC, second_array, second_array, 0},
    {transform::c2c, true, LYR_FFT_R2HC, 1, 0, 1},
    {transform::c2c, true, LYR_FFT_R2HC, 1, 0, second_array},
    {transform::r2c, true, LYR_FFT_R2HC, 0, 0, second_array},
    {transform::r2c, true, LYR_FFT_R2HC, 0, second_array, 0},
    {transform::r2c, true, LYR_FFT_R2HC, 0, 0, 1},
    {transform::c2r, true, LYR_FFT_R2HC, second_array, 0, 0},
    {transform::c2r, true, LYR_FFT_R2HC, second_array, second_array, 0},
    {transform::c2r, true, LYR_FFT_R2HC, 1, 0, 0},
};

// Lengths and strides 1 .. of the layouts of some ranks. `every`: one of so many layouts is tried,
// counted with a step that is coprime to the numbers of choices.
struct layout_family {
    int rank, batch_rank;
    int64_t lengths, length_from, strides, batch_lengths;
    int64_t every;
};

inline constexpr layout_family layout_families[] = {
    {1, 0, 5, 1, 6, 0, 1},                                 // 5 * 36
    {0, 2, 0, 1, 5, 3, 1},                                 // 9 * 5^4
    {1, 1, 5, 1, 8, 3, 1},                                 // 15 * 8^4
    {1, 2, 3, 2, 6, 3, 119},                               // 27 * 6^6
    {1, 3, 2, 2, 6, 2, 17221},                             // 16 * 6^8
    {2, 0, 3, 1, 6, 0, 1},                                 // 9 * 6^4
    {2, 1, 2, 2, 6, 2, 17},                                // 8 * 6^6
    {2, 3, 2, 2, 9, 2, 10000019}, {3, 0, 2, 2, 6, 0, 11},  // 8 * 6^6
    {3, 1, 2, 2, 9, 2, 100003},   {3, 3, 2, 1, 9, 2, 1000000007},
};

// Calls f(layout) for the layouts of a kind; `thinner`: for one of so many of them.
template <class function>
void for_each_layout(const layout_kind &k, const layout_family &family, int64_t thinner,
                     function f) {
    const int dims = family.rank + family.batch_rank;
    double choices = 1;
    for (int d = 0; d < dims; ++d)
        choices *= static_cast<double>((d < family.rank ? family.lengths : family.batch_lengths) *
                                       family.strides * family.strides);
    const double step = static_cast<double>(family.every * thinner);
    for (double number = 0; number < choices; number += step) {
        small_layout l = {};
        l.p.kind = k.kind;
        l.p.split = k.split;
        l.p.in_place = true;
        l.p.sign = k.kind == transform::c2r ? LYR_FFT_BACKWARD : LYR_FFT_FORWARD;
        l.p.rank = family.rank;
        l.p.batch_rank = family.batch_rank;
        double rest = number;
        const auto next = [&](int64_t count) {
            const double n = static_cast<double>(count), quotient = std::floor(rest / n);
            const auto digit = static_cast<int64_t>(rest - quotient * n);
            rest = quotient;
            return digit;
        };
        for (int d = 0; d < dims; ++d) {
            const bool inner = d < family.rank;
            lyr_fft_iodim64 &dim = inner ? l.p.dims[d] : l.p.batch[d - family.rank];
            dim.is = 1 + next(family.strides);
            dim.os = 1 + next(family.strides);
            dim.n =
                inner ? family.length_from + next(family.lengths) : 1 + next(family.batch_lengths);
            if (inner) l.p.kinds[d] = k.r2r;
        }
        l.in[1] = k.in_imag;
        l.out[0] = k.out;
        l.out[1] = k.out_imag;
        f(l);
    }
}

// ---- Places -------------------------------------------------------------------------------------

// Where the numbers of a side are, in doubles from the start of the block: transform by transform,
// row-major, real part first.
inline std::vector<int64_t> places_of(const small_layout &l, side s) {
    const bool complex_side = lyr_tools::is_complex(l.p, s);
    const int64_t width = complex_side && !l.p.split ? 2 : 1;
    const int64_t *arrays = s == side::in ? l.in : l.out;
    std::vector<int64_t> places;
    lyr_tools::for_each_transform(l.p, s, [&](int64_t start) {
        lyr_tools::for_each_element(l.p, s, [&](int64_t offset) {
            const int64_t element = (start + offset) * width;
            places.push_back(arrays[0] + element);
            if (complex_side) places.push_back(l.p.split ? arrays[1] + element : element + 1);
        });
    });
    return places;
}

// ---- Results by definition ----------------------------------------------------------------------

using complex_number = std::complex<double>;

// exp(2 pi i index/turn) for the turns of short transforms.
inline complex_number root_of_unity(int64_t turn, int64_t index) {
    static const std::vector<std::vector<complex_number>> tables = [] {
        std::vector<std::vector<complex_number>> all(64);
        for (size_t n = 1; n < all.size(); ++n)
            for (size_t k = 0; k < n; ++k)
                all[n].push_back(
                    std::polar(1.0, 2 * M_PI * static_cast<double>(k) / static_cast<double>(n)));
        return all;
    }();
    const int64_t least = index % turn;
    return tables[static_cast<size_t>(turn)][static_cast<size_t>(least < 0 ? least + turn : least)];
}

// Transforms along one dimension of n numbers `step` apart, by the definition.
template <class coefficient>
void transform_along(std::vector<complex_number> &x, int64_t n, int64_t step, coefficient c) {
    std::vector<complex_number> row(static_cast<size_t>(n));
    const auto count = static_cast<int64_t>(x.size());
    for (int64_t start = 0; start < count; ++start) {
        if (start / step % n != 0) continue;
        for (int64_t k = 0; k < n; ++k) {
            row[static_cast<size_t>(k)] = 0;
            for (int64_t j = 0; j < n; ++j)
                row[static_cast<size_t>(k)] += x[static_cast<size_t>(start + j * step)] * c(j, k);
        }
        for (int64_t k = 0; k < n; ++k)
            x[static_cast<size_t>(start + k * step)] = row[static_cast<size_t>(k)];
    }
}

// The results of one transform, as places_of orders them, of its inputs in that order.
inline std::vector<lyr::scalar> transform_by_definition(const problem &p, const lyr::scalar *in) {
    int64_t rows = 1;
    for (int d = 0; d + 1 < p.rank; ++d) rows *= p.dims[d].n;
    const int64_t n = p.rank ? p.dims[p.rank - 1].n : 1;
    const int64_t stored = p.kind == transform::c2r ? n / 2 + 1 : n;
    const bool complex_in = lyr_tools::is_complex(p, side::in);
    std::vector<complex_number> x(static_cast<size_t>(rows * stored));
    for (complex_number &number : x) {
        const double re = *in++;
        number = {re, complex_in ? static_cast<double>(*in++) : 0.0};
    }
    const auto root = [&p](int64_t length) {
        return [length, &p](int64_t j, int64_t k) { return root_of_unity(length, p.sign * j * k); };
    };
    int64_t step = stored;
    for (int d = p.rank - 2; d >= 0; step *= p.dims[d--].n)
        if (p.kind != transform::r2r) transform_along(x, p.dims[d].n, step, root(p.dims[d].n));
    if (p.kind == transform::r2r) {
        step = 1;
        for (int d = p.rank - 1; d >= 0; step *= p.dims[d--].n) {
            const int64_t length = p.dims[d].n;
            const auto formula = lyr_tools::formula_of(p.kinds[d], length);
            transform_along(x, length, step, [&](int64_t j, int64_t k) {
                const auto w = lyr_tools::weights_of(p.kinds[d], formula, length, j, k);
                const complex_number w1 =
                    root_of_unity(formula.turn, (formula.a_step * j + formula.a_first) *
                                                    (formula.b_step * k + formula.b_first));
                return complex_number(w.cosine * w1.real() + w.sine * w1.imag());
            });
        }
    } else if (p.kind == transform::c2r) {
        std::vector<complex_number> whole(static_cast<size_t>(rows * n));
        for (int64_t r = 0; r < rows; ++r)
            for (int64_t k = 0; k < n; ++k) {
                const complex_number *half = x.data() + r * stored;
                complex_number value = k < stored ? half[k] : std::conj(half[n - k]);
                if (k == 0 || 2 * k == n) value = value.real();
                whole[static_cast<size_t>(r * n + k)] = value;
            }
        x = whole;
        transform_along(x, n, 1, root(n));
    } else if (p.rank > 0) {
        transform_along(x, n, 1, root(n));
    }
    std::vector<lyr::scalar> results;
    for (int64_t i = 0; i < static_cast<int64_t>(x.size()); ++i) {
        if (p.kind == transform::r2c && i % n > n / 2) continue;
        results.push_back(x[static_cast<size_t>(i)].real());
        if (lyr_tools::is_complex(p, side::out))
            results.push_back(x[static_cast<size_t>(i)].imag());
    }
    return results;
}

// The results of the whole batch.
inline std::vector<lyr::scalar> results_by_definition(const problem &p,
                                                      const std::vector<lyr::scalar> &in) {
    const auto transforms = static_cast<size_t>(lyr_tools::batch_count(p));
    std::vector<lyr::scalar> results;
    for (size_t i = 0; i < transforms; ++i) {
        const std::vector<lyr::scalar> one =
            transform_by_definition(p, in.data() + in.size() / transforms * i);
        results.insert(results.end(), one.begin(), one.end());
    }
    return results;
}

// ---- Trying a layout ----------------------------------------------------------------------------

inline bool has_duplicates(std::vector<int64_t> places) {
    std::sort(places.begin(), places.end());
    return std::adjacent_find(places.begin(), places.end()) != places.end();
}

// Every number stays what it is and where it is.
inline bool changes_nothing(const small_layout &l, const std::vector<int64_t> &in,
                            const std::vector<int64_t> &out) {
    const bool copies = l.p.kind == transform::c2c || l.p.rank == 0;
    return in == out && copies && lyr_tools::point_count(l.p) == 1;
}

inline std::string text_of(const small_layout &l) {
    return format_problem(l.p) + " arrays " + std::to_string(l.in[1]) + " " +
           std::to_string(l.out[0]) + " " + std::to_string(l.out[1]);
}

// Plans and runs a layout on the block; false when there is no plan.
inline bool run_with_library(const small_layout &l, lyr::scalar *block) {
    const problem &p = l.p;
    lyr::scalar *in = block + l.in[0], *in_imag = block + l.in[1];
    lyr::scalar *out = block + l.out[0], *out_imag = block + l.out[1];
    const auto complexes = [](lyr::scalar *a) { return reinterpret_cast<lyr_fft_complex *>(a); };
    const int rank = p.rank, batch = p.batch_rank;
    lyr_fft_plan plan = nullptr;
    switch (p.kind) {
        case transform::c2c:
            plan = p.split ? lyr_fft_plan_guru64_split_dft(rank, p.dims, batch, p.batch, in,
                                                           in_imag, out, out_imag, 0)
                           : lyr_fft_plan_guru64_dft(rank, p.dims, batch, p.batch, complexes(in),
                                                     complexes(out), p.sign, 0);
            break;
        case transform::r2c:
            plan = p.split ? lyr_fft_plan_guru64_split_dft_r2c(rank, p.dims, batch, p.batch, in,
                                                               out, out_imag, 0)
                           : lyr_fft_plan_guru64_dft_r2c(rank, p.dims, batch, p.batch, in,
                                                         complexes(out), 0);
            break;
        case transform::c2r:
            plan = p.split ? lyr_fft_plan_guru64_split_dft_c2r(rank, p.dims, batch, p.batch, in,
                                                               in_imag, out, 0)
                           : lyr_fft_plan_guru64_dft_c2r(rank, p.dims, batch, p.batch,
                                                         complexes(in), out, 0);
            break;
        default:
            plan = lyr_fft_plan_guru64_r2r(rank, p.dims, batch, p.batch, in, out, p.kinds, 0);
    }
    if (!plan) return false;
    lyr_fft_execute(plan);
    lyr_fft_destroy_plan(plan);
    return true;
}

enum class outcome { right, refused, wrong };

// run(l, block): as run_with_library; next(): random numbers. All of the block has to stay what it
// was but for the results and, where they may go, the inputs.
template <class random_function, class run_function>
outcome try_layout(const small_layout &l, const std::vector<int64_t> &in_places,
                   const std::vector<int64_t> &out_places, random_function next, run_function run) {
    static std::vector<lyr::scalar> block(block_doubles), before(block_doubles);
    for (lyr::scalar &x : before) x = next();
    block = before;
    if (!run(l, block.data())) return outcome::refused;

    std::vector<lyr::scalar> input;
    input.reserve(in_places.size());
    for (const int64_t place : in_places) input.push_back(before[static_cast<size_t>(place)]);
    const std::vector<lyr::scalar> expected = results_by_definition(l.p, input);
    for (size_t k = 0; k < out_places.size(); ++k)
        if (!(std::fabs(block[static_cast<size_t>(out_places[k])] - expected[k]) <
              0x1p13 * std::numeric_limits<lyr::scalar>::epsilon() / 2))
            return outcome::wrong;
    for (const auto *places : {&in_places, &out_places})
        for (const int64_t place : *places)
            block[static_cast<size_t>(place)] = before[static_cast<size_t>(place)];
    return block == before ? outcome::right : outcome::wrong;
}

}  // namespace lyr_test
