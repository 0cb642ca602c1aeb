// Lengths: every short one in every layout of one dimension, many long ones, with every table.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "codelets/cpu.h"
#include "dft/factorize.h"
#include "dft/four_step.h"
#include "dft/wide.h"
#include "planner/cache_sizes.h"
#include "planner/scratch.h"
#include "support.h"

namespace lyr_test {
namespace {

using lyr_tools::accuracy;
using lyr_tools::buffers;
using lyr_tools::problem;
using lyr_tools::side;

constexpr int64_t longest = 2048;

enum prime_class { powers_of_two, primes_to_7, primes_to_37, primes_above_37, class_count };
constexpr const char *class_names[] = {"powers of two", "largest prime 3 to 7",
                                       "largest prime 11 to 37", "prime factor above 37"};

prime_class class_of(int64_t n) {
    for (const int64_t prime : {2, 3, 5, 7}) {
        while (n % prime == 0) n /= prime;
        if (n == 1) return prime == 2 ? powers_of_two : primes_to_7;
    }
    return lyr::part_above_37(n) == 1 ? primes_to_37 : primes_above_37;
}

// Largest relative L2 error of one transform, in units of roundoff sqrt(log2 n).
double bound_of(int64_t n) {
    switch (class_of(n)) {
        case powers_of_two:
            return 1.0;
        case primes_to_7:
            return n < 8 ? 1.5 : 1.1;
        case primes_to_37:
            return 1.2;
        default:
            return 1.8;
    }
}

// The lengths to test: all that codelets serve, or where things are slow a part of them.
std::vector<int64_t> lengths() {
    std::vector<int64_t> list;
    int64_t served = 0;
    for (int64_t n = 1; n <= longest; ++n) {
        if (lyr::part_above_37(n) != 1) continue;
        if (served++ % test_scale == 0 || n <= 40 || class_of(n) == powers_of_two)
            list.push_back(n);
    }
    return list;
}

struct layout {
    bool in_place;
    int64_t is, os;
    bool misaligned;
};
constexpr layout layouts[] = {{false, 1, 1, false}, {false, 3, 2, false}, {true, 1, 1, false},
                              {true, 3, 3, false},  {false, 1, 1, true},  {true, 2, 3, true}};

problem line_problem(int64_t n, int sign, const layout &l) {
    problem p;
    p.in_place = l.in_place;
    p.sign = sign;
    p.rank = 1;
    p.dims[0] = {n, l.is, l.os};
    return p;
}

// Plans and runs a problem and checks errors, guards, gaps and inputs; returns the L2 error.
double check_problem(const problem &p, bool misaligned, uint64_t seed) {
    SCOPED_TRACE(format_problem(p) + " with " + lyr::active_table()->name +
                 (misaligned ? " misaligned" : ""));
    buffers b = buffers_of(p, misaligned);
    const plan_holder holder(make_plan(p, b));
    if (!holder.plan) {
        ADD_FAILURE() << "no plan";
        return HUGE_VAL;
    }
    const lyr_tools::verdict v = verify(p, b, holder.plan, seed);
    const double levels = std::max(1.0, std::log2(static_cast<double>(point_count(p))));
    const double unit = roundoff * std::sqrt(levels);
    EXPECT_EQ(v.damage, "");
    EXPECT_LE(v.error.l2, bound_of(p.dims[0].n)) << "L2 error in units";
    EXPECT_LE(v.error.linf / unit, class_of(p.dims[0].n) == primes_above_37 ? 3.0 : 2.0)
        << "largest error in units of the largest output";
    return v.error.l2;
}

TEST(accuracy, the_best_supported_table_is_active) {
    const lyr::cpu_features cpu = lyr::read_cpu_features();
#if defined(__aarch64__)
    const char *expected = cpu.fcma ? "neon_fcma" : "neon";
#else
    const char *expected = cpu.avx512 ? "avx512" : cpu.avx2 ? "avx2" : "generic128";
#endif
    EXPECT_STREQ(lyr::active_table()->name, expected);
    EXPECT_EQ(lyr::active_table(), lyr::supported_tables()[0]);
#if defined(__x86_64__)
    EXPECT_EQ(cpu.avx2, __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"));
    EXPECT_EQ(cpu.avx512, __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                              __builtin_cpu_supports("avx512vl"));
#endif
}

// Every element is rounded about once, of both kinds of filters.
TEST(accuracy, spectra_of_roots) {
    constexpr int64_t N = 94;
    random_source random{7};
    const auto check = [&](int64_t M, lyr::reflection kind) {
        std::vector<int64_t> exponents(static_cast<size_t>(M));
        for (int64_t k = 0; k < M; ++k) {
            int64_t &e = exponents[static_cast<size_t>(k)];
            if (kind == lyr::reflection::same) {
                e = std::max(int64_t{-1}, static_cast<int64_t>(random.uniform() * N));
                if (2 * k > M) e = exponents[static_cast<size_t>(M - k)];
            } else {
                e = static_cast<int64_t>(random.uniform() * N / 2) + N / 2;
                if (2 * k >= M) e = N - exponents[static_cast<size_t>(k - M / 2)];
            }
        }
        std::vector<scalar> spectrum(static_cast<size_t>(2 * M));
        ASSERT_TRUE(
            lyr::wide_spectrum_of_roots(spectrum.data(), exponents.data(), N, M, 7.0, kind));
        for (int64_t j = 0; j < M; ++j) {
            long double re = 0, im = 0;
            for (int64_t k = 0; k < M; ++k) {
                const int64_t e = exponents[static_cast<size_t>(k)];
                if (e < 0) continue;
                const long double turns =
                    static_cast<long double>((e * M - j * k * N) % (N * M)) / (N * M);
                const long double angle = 2 * 3.14159265358979323846264338327950288L * turns;
                re += std::cos(angle) / 7;
                im += std::sin(angle) / 7;
            }
            const long double rest = 0x1p-8L * roundoff * static_cast<long double>(M);
            const scalar *at = spectrum.data() + 2 * j;
            EXPECT_LE(std::abs(at[0] - re), roundoff * std::abs(re) + rest) << M << " " << j;
            EXPECT_LE(std::abs(at[1] - im), roundoff * std::abs(im) + rest) << M << " " << j;
        }
    };
    for (const int64_t M : {1, 2, 3, 4, 8, 12, 22, 35, 74, 96, 210, 256}) {
        check(M, lyr::reflection::same);
        if (M % 2 == 0) check(M, lyr::reflection::alternating_conjugate);
    }
}

// Mean and worst error of every class, printed when it goes out of scope.
class error_summary {
  public:
    explicit error_summary(const char *name) : table(name) {}
    ~error_summary() {
        for (int c = 0; c < class_count; ++c)
            if (count[c] > 0)
                std::printf("%-15s %-23s mean error %.3f, worst %.3f, %d transforms\n", table,
                            class_names[c], std::exp(log_sum[c] / count[c]), worst[c], count[c]);
    }
    error_summary(const error_summary &) = delete;
    error_summary &operator=(const error_summary &) = delete;

    void add(int64_t n, double error) {
        if (error == 0) return;  // exact, as length 1 is
        log_sum[class_of(n)] += std::log(error);
        worst[class_of(n)] = std::max(worst[class_of(n)], error);
        ++count[class_of(n)];
    }

  private:
    const char *table;
    double log_sum[class_count] = {}, worst[class_count] = {};
    int count[class_count] = {};
};

TEST(accuracy, every_length_in_every_layout_with_every_table) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        error_summary summary(table->name);
        for (const int64_t n : lengths()) {
            for (const int sign : {LYR_FFT_FORWARD, LYR_FFT_BACKWARD})
                for (const layout &l : layouts)
                    summary.add(n, check_problem(line_problem(n, sign, l), l.misaligned,
                                                 static_cast<uint64_t>(n)));
            if (HasFailure()) return;
        }
    }
}

// Lengths with any prime factors: a part of them, or with LYRA_EVERY_LENGTH in the environment
// (some minutes) every one.
TEST(accuracy, lengths_to_ten_thousand) {
    random_source random{37};
    const int64_t step = std::getenv("LYRA_EVERY_LENGTH") ? 1 : 23 * test_scale;
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        error_summary summary(table->name);
        for (int64_t n = 1; n <= 10000 && !HasFailure(); n += 1 + random.below(2 * step - 1)) {
            for (const int sign : {LYR_FFT_FORWARD, LYR_FFT_BACKWARD})
                summary.add(n, check_problem(line_problem(n, sign, layouts[0]), false, 2));
            if (random.below(10) != 0) continue;  // these in every layout
            for (const layout &l : layouts)
                check_problem(line_problem(n, LYR_FFT_FORWARD, l), l.misaligned, 3);
        }
    }
}

// The two passes of a long transform with remainders, single columns, a first pass without a stage
// list (16384) and one whose last radix has no rotating codelet (1369 = 37*37), with factors of one
// level and two; stored past the caches, where outputs are whole lines and where they are not; in
// place.
TEST(accuracy, two_passes_of_any_shape) {
    constexpr int64_t shapes[][2] = {{1369, 77}, {100, 90}, {96, 121},  {128, 1},    {64, 16},
                                     {64, 17},   {64, 5},   {1024, 40}, {16384, 12}, {16, 20},
                                     {144, 116}, {256, 67}, {512, 515}};
    const lyr::cache_sizes caches = lyr::caches();
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (size_t i = 0; i < 4 * std::size(shapes); ++i) {
            const auto &[n1, n2] = shapes[i / 4];
            const bool far = i % 4 == 1 || i % 4 == 2, misaligned = i % 4 == 2;
            if (n1 * n2 * test_scale > 1000000 || (test_scale > 1 && i % 4 == 3)) continue;
            SCOPED_TRACE(std::to_string(n1) + " x " + std::to_string(n2) + " with " + table->name +
                         (far ? " far" : "") + (misaligned ? " misaligned" : "") +
                         (i % 4 == 3 ? " in place" : ""));
            const problem p = line_problem(n1 * n2, LYR_FFT_BACKWARD, layouts[i % 4 == 3 ? 2 : 0]);
            buffers b = buffers_of(p, misaligned);
            if (far) lyr::set_caches({1, 1});
            lyr::plan record = {};
            record.far_output = far;
            record.kind = kind_complex;
            record.sign = p.sign;
            record.split = -1;
            record.rank = 1;
            record.dims[0] = {n1 * n2, 1, 1};
            record.in = b.in[0];
            record.out = b.out[0];
            record.execute_name = "two passes";
            ASSERT_EQ(lyr::build_four_step(&record, n1, n2), 0);
            lyr::set_caches(caches);
            lyr::plan_sum_scratch(&record);
            ASSERT_TRUE(lyr::scratch_reserve(&record));
            const lyr_tools::verdict v = verify(p, b, &record, 1);
            EXPECT_TRUE(v.ok) << v.damage << " error " << v.error.l2;
            lyr::scratch_release(&record);
            lyr::plan_clear(&record);
        }
    }
}

// Too long for the reference: linearity, impulses and shifts.
TEST(accuracy, random_long_lengths) {
    random_source random{3};
    const int count = static_cast<int>(100 / test_scale);
    for (int i = 0; i < count && !HasFailure(); ++i) {
        const double digits = 4 + (random.uniform() + 0.5) * std::log10(300.0);
        const auto n = static_cast<int64_t>(std::pow(10.0, digits));
        const problem p = line_problem(n, i % 2 ? LYR_FFT_FORWARD : LYR_FFT_BACKWARD, layouts[0]);
        buffers b = buffers_of(p);
        const plan_holder holder(make_plan(p, b));
        ASSERT_NE(holder.plan, nullptr) << n;
        const lyr_tools::verdict v = verify(p, b, holder.plan, 1);
        EXPECT_TRUE(v.ok) << format_problem(p) << ": " << v.damage << " error " << v.error.l2;
    }
}

// Lengths of more stages than the small ones have.
TEST(accuracy, long_transforms) {
    const std::vector<int64_t> long_lengths =
        test_scale > 1 ? std::vector<int64_t>{4096, 6006, 16384}
                       : std::vector<int64_t>{4096,  8192,  15015, 16384,  19683, 32768,
                                              46189, 65536, 78125, 117649, 131072};
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n : long_lengths)
            for (const layout &l : layouts)
                check_problem(line_problem(n, n % 2 ? LYR_FFT_FORWARD : LYR_FFT_BACKWARD, l),
                              l.misaligned, 1);
    }
}

// Outputs of a forward transform of length n whose input is scaled by `factor`.
std::vector<scalar> outputs_scaled(int64_t n, double factor) {
    const problem p = line_problem(n, LYR_FFT_FORWARD, layouts[0]);
    buffers b = buffers_of(p);
    for (int64_t k = 0; k < 2 * n; ++k) b.in[0][k] *= static_cast<scalar>(factor);
    const plan_holder holder(make_plan(p, b));
    lyr_fft_execute(holder.plan);
    return {b.out[0], b.out[0] + 2 * n};
}

TEST(accuracy, the_range_of_numbers_is_used_whole) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n : {7, 16, 37, 60, 64, 1001, 1024}) {
            SCOPED_TRACE(std::to_string(n) + " with " + table->name);
            const std::vector<scalar> plain = outputs_scaled(n, 1.0);
            // Sums stay below n/sqrt(2): the largest scale leaves exactly that room.
            const double large = std::ldexp(1.0, std::numeric_limits<scalar>::max_exponent - 1 -
                                                     static_cast<int>(std::log2(n)));
            for (const double factor : {small_scale, large}) {
                std::vector<scalar> scaled = outputs_scaled(n, factor);
                for (scalar &x : scaled) x /= static_cast<scalar>(factor);
                EXPECT_EQ(scaled, plain) << "scaled by " << factor;
            }
        }
    }
}

TEST(accuracy, subnormal_numbers_and_non_numbers_reach_the_outputs) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n : {2, 13, 16, 48, 900, 1024}) {
            SCOPED_TRACE(std::to_string(n) + " with " + table->name);
            const problem p = line_problem(n, LYR_FFT_BACKWARD, layouts[0]);
            buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            const scalar tiny = 3 * std::numeric_limits<scalar>::denorm_min();
            std::fill_n(b.in[0], 2 * n, 0.0);
            b.in[0][0] = tiny;
            lyr_fft_execute(holder.plan);
            EXPECT_TRUE(std::all_of(b.out[0], b.out[0] + 2 * n, [&](const scalar &x) {
                return x == ((&x - b.out[0]) % 2 ? 0.0 : tiny);
            })) << "impulse of a subnormal number";

            for (const double bad : {std::nan(""), HUGE_VAL}) {
                std::fill_n(b.in[0], 2 * n, 1.0);
                b.in[0][n] = bad;
                lyr_fft_execute(holder.plan);
                for (int64_t k = 0; k < n; ++k)
                    EXPECT_FALSE(std::isfinite(b.out[0][2 * k]) &&
                                 std::isfinite(b.out[0][2 * k + 1]))
                        << bad << " is lost at output " << k;
            }
        }
    }
}

}  // namespace
}  // namespace lyr_test
