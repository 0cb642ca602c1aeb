// Real-to-real transforms: the definitions in the header, summed up term by term in wide
// arithmetic, against every kind and length; layouts; inverses; refusals.
#include <algorithm>
#include <cmath>
#include <vector>

#include "reference.h"
#include "support.h"
#include "wide_arithmetic.h"

namespace lyr_test {
namespace {

using lyr_tools::buffers;
using lyr_tools::problem;
using lyr_tools::real;
using lyr_tools::wide_complex;

constexpr int kind_count = 11;

lyr_fft_r2r_kind kind_of(int64_t k) {
    return static_cast<lyr_fft_r2r_kind>(k);
}

std::string name_of(int kind, int64_t n) {
    constexpr const char *letters[] = {"f",   "b",   "h",   "e00", "e01", "e10",
                                       "e11", "o00", "o01", "o10", "o11"};
    return "ok" + std::to_string(n) + letters[kind];
}

int64_t shortest(int kind) {
    return kind == LYR_FFT_REDFT00 ? 2 : 1;
}

// Output k of a kind is the sum over j of x[j] * (cosine cos + sine sin)(2 pi step_j(k)/turn), the
// step growing by the same amount from each j to the next, but for inputs that have weights of
// their own.
struct sum_of_output {
    int64_t turn, start, step;
    double cosine, sine;
    double first = 1, last = 1;  // times these for j = 0 and j = n-1
};

sum_of_output sum_of(int kind, int64_t n, int64_t k) {
    switch (kind) {
        case LYR_FFT_R2HC:
            if (2 * k <= n) return {n, 0, k, 1, 0};
            return {n, 0, n - k, 0, -1};
        case LYR_FFT_DHT:
            return {n, 0, k, 1, 1};
        case LYR_FFT_REDFT00:
            return {2 * (n - 1), 0, k, 2, 0, 0.5, 0.5};
        case LYR_FFT_REDFT01:
            return {4 * n, 0, 2 * k + 1, 2, 0, 0.5};
        case LYR_FFT_REDFT10:
            return {4 * n, k, 2 * k, 2, 0};
        case LYR_FFT_REDFT11:
            return {8 * n, 2 * k + 1, 2 * (2 * k + 1), 2, 0};
        case LYR_FFT_RODFT00:
            return {2 * (n + 1), k + 1, k + 1, 0, 2};
        case LYR_FFT_RODFT01:
            return {4 * n, 2 * k + 1, 2 * k + 1, 0, 2, 1, 0.5};
        case LYR_FFT_RODFT10:
            return {4 * n, k + 1, 2 * (k + 1), 0, 2};
        default:  // RODFT11
            return {8 * n, 2 * k + 1, 2 * (2 * k + 1), 0, 2};
    }
}

std::vector<wide_complex> roots_of(int64_t turn) {
    std::vector<wide_complex> roots(static_cast<size_t>(turn));
    for (int64_t t = 0; t < turn; ++t)
        roots[static_cast<size_t>(t)] = lyr_tools::root_of_unity(t, turn);
    return roots;
}

std::vector<real> half_complex_to_real(const std::vector<scalar> &x) {
    const auto n = static_cast<int64_t>(x.size());
    const std::vector<wide_complex> roots = roots_of(n);
    std::vector<real> y(x.size());
    for (int64_t k = 0; k < n; ++k) {
        real sum{};
        for (int64_t j = 0; 2 * j <= n; ++j) {
            const wide_complex &w = roots[static_cast<size_t>(j * k % n)];
            const double re = x[static_cast<size_t>(j)];
            if (j == 0 || 2 * j == n)
                sum = sum + real(re) * w.re;
            else
                sum = sum + real(2 * re) * w.re - real(2 * x[static_cast<size_t>(n - j)]) * w.im;
        }
        y[static_cast<size_t>(k)] = sum;
    }
    return y;
}

std::vector<real> by_definition(int kind, const std::vector<scalar> &x) {
    const auto n = static_cast<int64_t>(x.size());
    if (kind == LYR_FFT_HC2R) return half_complex_to_real(x);
    const int64_t turn = sum_of(kind, n, 0).turn;
    const std::vector<wide_complex> roots = roots_of(turn);
    std::vector<real> y(x.size());
    std::vector<scalar> weighted = x;
    weighted.front() *= sum_of(kind, n, 0).first;
    weighted.back() *= sum_of(kind, n, 0).last;
    for (int64_t k = 0; k < n; ++k) {
        const sum_of_output s = sum_of(kind, n, k);
        real cosines{}, sines{};
        int64_t at = s.start % turn;
        for (int64_t j = 0; j < n; ++j) {
            const wide_complex &w = roots[static_cast<size_t>(at)];
            const real value(weighted[static_cast<size_t>(j)]);
            if (s.cosine != 0) cosines = cosines + value * w.re;
            if (s.sine != 0) sines = sines + value * w.im;
            at += s.step;
            if (at >= turn) at -= turn;
        }
        y[static_cast<size_t>(k)] = real(s.cosine) * cosines + real(s.sine) * sines;
    }
    return y;
}

// In units of roundoff sqrt(log2 n).
double relative_error(const std::vector<scalar> &y, const std::vector<real> &expected) {
    double error = 0, size = 0;
    for (size_t k = 0; k < y.size(); ++k) {
        const auto e = static_cast<double>(real(y[k]) - expected[k]);
        const auto s = static_cast<double>(expected[k]);
        error += e * e;
        size += s * s;
    }
    if (!(error > 0)) return error == 0 ? 0 : HUGE_VAL;
    const double levels = std::max(1.0, std::log2(static_cast<double>(y.size())));
    return std::sqrt(error / size) / (roundoff * std::sqrt(levels));
}

// The length of the complex transform that has the outputs of this kind among its own.
int64_t logical_length(int kind, int64_t n) {
    return kind == LYR_FFT_REDFT00 ? n - 1 : kind == LYR_FFT_RODFT00 ? n + 1 : n;
}

bool is_smooth(int kind, int64_t n) {
    return lyr_tools::largest_prime_factor(logical_length(kind, n)) <= 37;
}

double error_bound(int kind, int64_t n) {
    // Few roundings vary more: the measure is an average over the outputs.
    if (n < 40) return 2.0;
    const bool smooth = is_smooth(kind, n);
    switch (kind) {
        case LYR_FFT_REDFT00:
        case LYR_FFT_RODFT00:
            return smooth ? 1.0 : 1.7;
        case LYR_FFT_DHT:
            return smooth ? 1.0 : 1.8;
        default:
            return smooth ? 1.1 : 1.8;
    }
}

std::vector<scalar> run(int kind, const std::vector<scalar> &x) {
    std::vector<scalar> in = x, out(x.size(), std::nan(""));
    const plan_holder holder(lyr_fft_plan_r2r_1d(static_cast<int>(x.size()), in.data(), out.data(),
                                                 kind_of(kind), LYR_FFT_ESTIMATE));
    if (holder.plan) lyr_fft_execute(holder.plan);
    EXPECT_EQ(in, x) << "input written";
    return out;
}

std::vector<scalar> random_numbers(int64_t n, uint64_t seed) {
    random_source random{seed};
    std::vector<scalar> x(static_cast<size_t>(n));
    for (scalar &v : x) v = random.uniform();
    return x;
}

// A mean over many lengths tells a loss of accuracy that no single transform shows.
TEST(r2r, every_length_and_kind_by_definition) {
    for (int kind = 0; kind < kind_count; ++kind) {
        double logarithms = 0;
        int64_t smooth = 0;
        for (int64_t n = shortest(kind); n <= 1024; n += n < 40 ? 1 : test_scale) {
            const std::vector<scalar> x = random_numbers(n, static_cast<uint64_t>(n));
            const std::vector<real> expected = by_definition(kind, x);
            for (const lyr::codelet_table *table : all_tables()) {
                const with_table active(table);
                const double error = relative_error(run(kind, x), expected);
                // Portable vectors may have to round products.
                const bool portable = std::string(table->name) == "generic128";
                ASSERT_LE(error, error_bound(kind, n) * (portable ? 1.1 : 1))
                    << name_of(kind, n) << " with " << table->name;
                if (n < 32 || !is_smooth(kind, n)) continue;
                logarithms += std::log(std::max(error, 1e-3));
                ++smooth;
            }
        }
        EXPECT_LE(std::exp(logarithms / static_cast<double>(smooth)), 0.75) << name_of(kind, 0);
    }
}

// The checker of the tool and of the random problems counts with the same definitions.
TEST(r2r, reference_agrees_with_definition) {
    for (int kind = 0; kind < kind_count; ++kind)
        for (int64_t n : {1, 2, 3, 4, 5, 8, 15, 129, 150}) {
            if (n < shortest(kind)) continue;
            const problem p = problem_of(name_of(kind, n));
            buffers b = buffers_of(p);
            std::vector<scalar> x(static_cast<size_t>(n));
            for (size_t j = 0; j < x.size(); ++j) x[j] = b.in[0][j];
            const std::vector<real> y = by_definition(kind, x);
            for (size_t k = 0; k < x.size(); ++k) b.out[0][k] = static_cast<double>(y[k]);
            EXPECT_LE(compare_with_reference(p, b).linf, 2 * roundoff) << name_of(kind, n);
        }
}

TEST(r2r, long_lengths) {
    constexpr const char *problems[] = {
        "ok4097e00",  "ok65537e00", "ok100001e00", "ok4096e00",  "ok16383o00", "ok20000o00",
        "ok65536e10", "ok59049e10", "ok30030e01",  "ok65536e11", "ok59049e11", "ok10007o11",
        "ok50000o10", "ok16384o01", "ok131072h",   "ok99999h",   "ok65536f",   "ok30031b",
    };
    for (const char *text : problems) {
        if (test_scale > 1 && point_count(problem_of(text)) > 20000) continue;
        const problem p = problem_of(text);
        buffers b = buffers_of(p);
        const plan_holder holder(make_plan(p, b));
        ASSERT_NE(holder.plan, nullptr) << text;
        const lyr_tools::verdict v = verify(p, b, holder.plan, 1);
        EXPECT_EQ(v.damage, "") << text;
        EXPECT_LE(v.error.l2, v.bound) << text;
    }
}

// Every way through the passes for strides and places: each kind at lengths around those of
// vectors.
TEST(r2r, strides_and_places) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (int kind = 0; kind < kind_count; ++kind)
            for (int64_t n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 16, 17, 18, 31, 32, 33, 34, 66})
                for (const char *layout : {"o1:1", "o3:1", "o1:2", "o2:5", "i1:1", "i3:3"}) {
                    if (n < shortest(kind)) continue;
                    if (test_scale > 1 && n > 18) continue;
                    problem p = problem_of(name_of(kind, n));
                    p.in_place = layout[0] == 'i';
                    p.dims[0].is = layout[1] - '0';
                    p.dims[0].os = layout[3] - '0';
                    SCOPED_TRACE(format_problem(p) + " with " + table->name);
                    buffers b = buffers_of(p, n % 2 != 0);
                    const plan_holder holder(make_plan(p, b));
                    ASSERT_NE(holder.plan, nullptr);
                    const lyr_tools::verdict v = verify(p, b, holder.plan, 1);
                    EXPECT_EQ(v.damage, "");
                    EXPECT_LE(v.error.l2, n < 32 ? 2.0 : v.bound);
                }
    }
}

TEST(r2r, inverses_and_factors) {
    constexpr int inverse[] = {LYR_FFT_HC2R,    LYR_FFT_R2HC,    LYR_FFT_DHT,     LYR_FFT_REDFT00,
                               LYR_FFT_REDFT10, LYR_FFT_REDFT01, LYR_FFT_REDFT11, LYR_FFT_RODFT00,
                               LYR_FFT_RODFT10, LYR_FFT_RODFT01, LYR_FFT_RODFT11};
    for (int kind = 0; kind < kind_count; ++kind)
        for (int64_t n : {1, 2, 3, 5, 8, 12, 17, 60, 63, 64, 65, 101, 128}) {
            if (n < shortest(kind)) continue;
            const int64_t factor = kind <= LYR_FFT_DHT       ? n
                                   : kind == LYR_FFT_REDFT00 ? 2 * (n - 1)
                                   : kind == LYR_FFT_RODFT00 ? 2 * (n + 1)
                                                             : 2 * n;
            const std::vector<scalar> x = random_numbers(n, 5);
            const std::vector<scalar> back = run(inverse[kind], run(kind, x));
            for (size_t j = 0; j < x.size(); ++j)
                EXPECT_NEAR(back[j] / static_cast<double>(factor), x[j], 36 * roundoff)
                    << name_of(kind, n) << " element " << j;
        }
}

// Small enough to say what comes out.
TEST(r2r, lengths_1_and_2) {
    const auto r = static_cast<scalar>(std::sqrt(2.0)), q = static_cast<scalar>(std::sqrt(3.0));
    const auto c = static_cast<scalar>(2 * std::cos(M_PI / 8));
    const auto s = static_cast<scalar>(2 * std::sin(M_PI / 8));
    const scalar one[] = {1, 1, 1, 0, 1, 2, r, 2, 1, 2, r};
    // The outputs of x[0] = 1, x[1] = 0, then of x[0] = 0, x[1] = 1.
    const scalar two[][4] = {{1, 1, 1, -1}, {1, 1, 1, -1}, {1, 1, 1, -1}, {1, 1, 1, -1},
                             {1, 1, r, -r}, {2, r, 2, -r}, {c, s, s, -c}, {q, q, q, -q},
                             {r, r, 1, -1}, {r, 2, r, -2}, {s, c, c, -s}};
    for (int kind = 0; kind < kind_count; ++kind) {
        if (kind != LYR_FFT_REDFT00) {
            EXPECT_NEAR(run(kind, {3.0})[0], 3 * one[kind], 8 * roundoff) << name_of(kind, 1);
        }
        for (int j = 0; j < 2; ++j) {
            const std::vector<scalar> y =
                run(kind, {j == 0 ? scalar{1} : scalar{0}, j == 1 ? scalar{1} : scalar{0}});
            for (int k = 0; k < 2; ++k)
                EXPECT_NEAR(y[static_cast<size_t>(k)], two[kind][2 * j + k], 8 * roundoff)
                    << name_of(kind, 2) << " output " << k << " of input " << j;
        }
    }
}

TEST(r2r, constructors_agree_on_length_1) {
    scalar in = 3, out[4];
    const lyr_fft_iodim dim = {1, 1, 1};
    const lyr_fft_iodim64 dim64 = {1, 1, 1};
    for (int k = 0; k < kind_count; ++k) {
        const lyr_fft_r2r_kind kind = kind_of(k);
        const plan_holder plans[] = {
            plan_holder(lyr_fft_plan_r2r_1d(1, &in, out, kind, 0)),
            plan_holder(lyr_fft_plan_guru_r2r(1, &dim, 0, nullptr, &in, out + 1, &kind, 0)),
            plan_holder(lyr_fft_plan_guru64_r2r(1, &dim64, 0, nullptr, &in, out + 2, &kind, 0))};
        for (const plan_holder &p : plans) {
            if (kind == LYR_FFT_REDFT00) {
                EXPECT_EQ(p.plan, nullptr);
            } else {
                ASSERT_NE(p.plan, nullptr) << k;
                lyr_fft_execute(p.plan);
            }
        }
        if (kind == LYR_FFT_REDFT00) continue;
        EXPECT_EQ(out[1], out[0]) << k;
        EXPECT_EQ(out[2], out[0]) << k;
    }
}

TEST(r2r, refusals) {
    scalar in[32], out[32];
    const int n[] = {4, 4}, one[] = {4, 1};
    const lyr_fft_r2r_kind mixed[] = {LYR_FFT_DHT, LYR_FFT_REDFT00};
    for (const int bad : {11, 15}) {  // what else an enumeration of eleven can hold
        const lyr_fft_r2r_kind kinds[] = {LYR_FFT_DHT, kind_of(bad)};
        for (const int length : {1, 2, 4, 5})
            EXPECT_EQ(lyr_fft_plan_r2r_1d(length, in, out, kinds[1], 0), nullptr) << bad;
        EXPECT_EQ(lyr_fft_plan_r2r(2, n, in, out, kinds, 0), nullptr) << bad;
        EXPECT_EQ(
            lyr_fft_plan_many_r2r(1, n, 4, in, nullptr, 4, 1, out, nullptr, 4, 1, kinds + 1, 0),
            nullptr)
            << bad;
    }
    EXPECT_EQ(lyr_fft_plan_r2r(2, one, in, out, mixed, 0), nullptr);
    EXPECT_EQ(
        lyr_fft_plan_many_r2r(1, one + 1, 4, in, nullptr, 1, 4, out, nullptr, 1, 4, mixed + 1, 0),
        nullptr);
    EXPECT_EQ(lyr_fft_plan_r2r_1d(0, in, out, LYR_FFT_DHT, 0), nullptr);
    EXPECT_EQ(lyr_fft_plan_r2r(1, n, in, out, nullptr, 0), nullptr);
}

// Halves of halves are exact, so inputs times a power of two give outputs times that; numbers that
// are none reach the outputs; large ones do not overflow on the way.
TEST(r2r, extreme_numbers) {
    for (int kind = 0; kind < kind_count; ++kind)
        for (int64_t n : {2, 9, 33, 64, 65, 100, 101}) {
            const std::vector<scalar> x = random_numbers(n, 7);
            const std::vector<scalar> y = run(kind, x);
            for (const double scale : {small_scale, large_scale, largest_scale}) {
                std::vector<scalar> scaled = x;
                for (scalar &v : scaled) v *= static_cast<scalar>(scale);
                const std::vector<scalar> z = run(kind, scaled);
                for (size_t k = 0; k < z.size(); ++k)
                    EXPECT_EQ(z[k], y[k] * scale) << name_of(kind, n) << " times " << scale;
            }
            std::vector<scalar> broken = x;
            broken[x.size() / 2] = HUGE_VAL;
            // No weight of these kinds is zero.
            if (kind != LYR_FFT_DHT && kind != LYR_FFT_REDFT11 && kind != LYR_FFT_RODFT11) continue;
            for (const double v : run(kind, broken)) {
                EXPECT_FALSE(std::isfinite(v)) << name_of(kind, n);
            }
        }
}

// Neighbours in slabs, the last ones of which are not full.
TEST(r2r, transforms_side_by_side) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text :
             {"ok12f*2i", "ok13f*3i", "ok60f*17i", "ok7f*18i", "ok1f*5i", "ok256f:70:90*33:1:1",
              "ik100f*40i", "ik33f:41:41*37:1:1", "ok30f*3*6i", "ok45f*7", "ok16e10*4i",
              "ok33h*17i", "ik64e11*20i", "ok101e00:40:50*35:1:1", "ok40o10*3i", "ik63o00*16i"}) {
            const problem p = problem_of(text);
            SCOPED_TRACE(std::string(text) + " with " + table->name);
            buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            ASSERT_NE(holder.plan, nullptr);
            const int64_t n = p.dims[0].n;
            const bool direct = n <= 128 && (n & (n - 1)) == 0;
            if (p.batch[0].is == 1 && p.kinds[0] == LYR_FFT_R2HC && !direct) {
                EXPECT_STREQ(holder.plan->solver_name, "solve_problem_r2hc_many");
            }
            const lyr_tools::verdict v = verify(p, b, holder.plan, 3);
            EXPECT_EQ(v.damage, "");
            EXPECT_LE(v.error.l2, point_count(p) < 32 ? 2.0 : v.bound);
        }
    }
}

}  // namespace
}  // namespace lyr_test
