// Every codelet of every table against the definition of a stage, called directly.
#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstring>
#include <map>

#include "codelets/select.h"
#include "codelets/stage_costs.h"
#include "codelets/stage_pairs.h"
#include "dft/slabs.h"
#include "dft/twiddle.h"
#include "support.h"

namespace lyr_test {
namespace {

using lyr::codelet_set;
using lyr::codelet_table;
using lyr::stage;

constexpr int64_t codelet_lengths[] = {2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                       12, 13, 16, 17, 19, 23, 29, 31, 37};

struct wide {
    long double re, im;
};

// exp(sign 2 pi i t/n), from an angle in the first quarter.
wide root(int64_t t, int64_t n, int64_t sign) {
    t %= n;
    const int64_t quarter = 4 * t / n;
    const long double angle = 2 * 3.14159265358979323846264338327950288L *
                              static_cast<long double>(4 * t - quarter * n) /
                              static_cast<long double>(4 * n);
    wide w = {std::cos(angle), std::sin(angle)};
    for (int64_t k = 0; k < quarter; ++k) w = {-w.im, w.re};
    return {w.re, static_cast<long double>(sign) * w.im};
}

// The roots of one length, computed once.
const std::vector<wide> &roots(int64_t n, int64_t sign) {
    static std::map<std::pair<int64_t, int64_t>, std::vector<wide>> known;
    std::vector<wide> &table = known[{n, sign}];
    if (table.empty())
        for (int64_t t = 0; t < n; ++t) table.push_back(root(t, n, sign));
    return table;
}

// Complex numbers that a codelet reads or writes: a window around the origin, so that strides may
// be negative. Written places are those that differ from the pattern.
struct window {
    int64_t reach;  // complex numbers on either side of the origin
    std::vector<scalar> numbers;

    int64_t shift;  // of the origin, in real numbers

    explicit window(int64_t r, int64_t off = 0)
        : reach(r), numbers(static_cast<size_t>(4 * r + off), unwritten), shift(off) {}
    scalar *origin() { return numbers.data() + 2 * reach + shift; }
    scalar *at(int64_t element) { return origin() + 2 * element; }
};

// One pass over h transforms in general form: butterfly (k, j) of transform t, input q at
// in_at(k, j, q, t), output p at out_at(k, j, p, t). Strides go to the codelet by way of `call`.
struct pass {
    int64_t r, L, m, h;
    bool twiddled;
    int64_t in_element, in_row, out_element, out_row;  // strides: elements, transforms

    int64_t in_at(int64_t k, int64_t j, int64_t q, int64_t t) const {
        return (k * r * m + j + q * m) * in_element + t * in_row;
    }
    int64_t out_at(int64_t k, int64_t j, int64_t p, int64_t t) const {
        return ((k + p * L) * m + j) * out_element + t * out_row;
    }
    int64_t reach() const {
        const int64_t n = r * L * m;
        return n * std::max(std::abs(in_element), std::abs(out_element)) +
               h * std::max(std::abs(in_row), std::abs(out_row)) + 64;
    }
};

std::string text_of(const pass &s) {
    std::string text;
    for (const int64_t x : {s.r, s.L, s.m, s.h, s.in_element, s.in_row, s.out_element, s.out_row})
        text += std::to_string(x) + " ";
    return text + "(r L m h, strides of input elements and transforms, of output)";
}

// In units of roundoff times the size of the largest butterfly output; a twiddle product adds one.
constexpr double tolerance(int64_t r) {
    return 4 + static_cast<double>(r) / 12;
}

// The twiddle table of a stage for a target (codelet_table::lanes, codelet_table::turned).
std::vector<scalar> twiddle_table(const pass &s, int64_t sign, const codelet_table *target) {
    if (!s.twiddled) return {};
    const int64_t lanes = target->lanes;
    const int64_t columns = s.r - 1;
    std::vector<scalar> plain(static_cast<size_t>(2 * s.L * columns));
    lyr::root_source roots;
    lyr::root_source_init(&roots, s.r * s.L * s.m, s.r * s.L);
    lyr::fill_stage_twiddles(plain.data(), &roots, s.r, s.L, s.m, sign);
    lyr::root_source_release(&roots);
    std::vector<scalar> table;
    if (s.m != 1 && lyr::has_ready_rows(lanes, s.r, s.L)) {
        for (const scalar x : plain) table.insert(table.end(), static_cast<size_t>(2 * lanes), x);
        return table;
    }
    if (s.m == 1 && target->turned && lyr::has_turned_rows(s.r, s.L)) {
        for (size_t i = 0; i < plain.size(); i += 2)
            table.insert(table.end(), {plain[i], plain[i + 1], -plain[i + 1], plain[i]});
        return table;
    }
    if (s.m != 1 || lanes == 1) return plain;
    const int64_t grouped = s.L / lanes * lanes;
    const auto number = [&](int64_t k, int64_t q) { return plain.begin() + 2 * (k * columns + q); };
    for (int64_t group = 0; group < grouped; group += lanes)
        for (int64_t q = 0; q < columns; ++q) {
            const int64_t end = group + lanes;
            if (lyr::has_plain_groups(lanes, s.r, s.L)) {
                for (int64_t k = group; k < end; ++k)
                    table.insert(table.end(), number(k, q), number(k, q) + 2);
                continue;
            }
            for (int64_t part = 0; part < 2; ++part)
                for (int64_t k = group; k < end; ++k)
                    table.insert(table.end(), 2, number(k, q)[part]);
        }
    table.insert(table.end(), plain.begin() + 2 * grouped * columns, plain.end());
    return table;
}

// Expected outputs of butterfly (k, j) of transform t.
void butterfly(const pass &s, int64_t sign, const std::vector<wide> &in, int64_t k,
               std::vector<wide> &out) {
    const std::vector<wide> &w = roots(s.r, sign);
    const std::vector<wide> &turn = roots(s.r * s.L, sign);
    std::vector<wide> x = in;
    for (int64_t q = 1; s.twiddled && q < s.r; ++q) {
        const wide t = turn[static_cast<size_t>(k * q % (s.r * s.L))];
        const wide v = x[static_cast<size_t>(q)];
        x[static_cast<size_t>(q)] = {v.re * t.re - v.im * t.im, v.re * t.im + v.im * t.re};
    }
    for (int64_t p = 0; p < s.r; ++p) {
        wide sum = {0, 0};
        for (int64_t q = 0; q < s.r; ++q) {
            const wide f = w[static_cast<size_t>(p * q % s.r)];
            const wide v = x[static_cast<size_t>(q)];
            sum.re += v.re * f.re - v.im * f.im;
            sum.im += v.re * f.im + v.im * f.re;
        }
        out[static_cast<size_t>(p)] = sum;
    }
}

// Runs call(descriptor, in, out) on random data and compares all outputs with the definition;
// nothing but outputs may be written. Equal strides may be tried in place.
template <class function>
void check_pass(const pass &s, int64_t sign, const codelet_table *target, bool in_place,
                function call, int64_t shift = 0) {
    SCOPED_TRACE(text_of(s) + (in_place ? " in place" : ""));
    window in(s.reach(), shift);
    window out(in_place ? 0 : s.reach(), shift);
    random_source random{static_cast<uint64_t>(s.r * 1000 + s.m)};
    const int64_t n = s.r * s.L * s.m;
    for (int64_t e = 0; e < n; ++e)
        for (int64_t t = 0; t < s.h; ++t)
            for (int64_t part = 0; part < 2; ++part)
                in.at(e * s.in_element + t * s.in_row)[part] = random.uniform();
    window before = in;
    window &result = in_place ? in : out;

    const std::vector<scalar> twiddles = twiddle_table(s, sign, target);
    const stage descriptor = {nullptr,         s.m, s.L, s.in_element, s.out_element,
                              twiddles.data(), s.r, sign};
    call(descriptor, in.origin(), result.origin());

    std::vector<wide> x(static_cast<size_t>(s.r)), y(static_cast<size_t>(s.r));
    double worst = 0;
    for (int64_t t = 0; t < s.h; ++t)
        for (int64_t k = 0; k < s.L; ++k)
            for (int64_t j = 0; j < s.m; ++j) {
                for (int64_t q = 0; q < s.r; ++q) {
                    const scalar *from = before.at(s.in_at(k, j, q, t));
                    x[static_cast<size_t>(q)] = {from[0], from[1]};
                }
                butterfly(s, sign, x, k, y);
                double size = 0, error = 0;
                for (int64_t p = 0; p < s.r; ++p) {
                    scalar *to = result.at(s.out_at(k, j, p, t));
                    const wide v = y[static_cast<size_t>(p)];
                    const auto re = static_cast<double>(static_cast<long double>(to[0]) - v.re);
                    const auto im = static_cast<double>(static_cast<long double>(to[1]) - v.im);
                    size = std::max(size, static_cast<double>(std::hypot(v.re, v.im)));
                    const double e = std::hypot(re, im);
                    if (!(e <= error)) error = e;  // NaN stays
                    to[0] = to[1] = unwritten;
                }
                error /= size * roundoff;
                if (!(error <= worst)) worst = error;
            }
    EXPECT_LE(worst, tolerance(s.r)) << "largest error, in units of roundoff";
    // The outputs are the pattern again: all that differs from it was written by mistake.
    EXPECT_TRUE(std::ranges::all_of(result.numbers, is_unwritten))
        << "wrote between or around the outputs";
    if (!in_place) {
        EXPECT_EQ(std::memcmp(in.numbers.data(), before.numbers.data(),
                              in.numbers.size() * sizeof(scalar)),
                  0)
            << "changed its input";
    }
}

// Calls f(table, set, r, sign) for every codelet; stops at the first failure.
template <class function>
void for_each_codelet(function f) {
    for (const codelet_table *table : all_tables())
        for (const int64_t r : codelet_lengths)
            for (const int64_t sign : {-1, +1}) {
                const codelet_set *set = table->sets[sign == +1][r - 1];
                ASSERT_NE(set, nullptr) << r << " in " << table->name;
                SCOPED_TRACE(std::string(table->name) + (sign < 0 ? " forward " : " backward ") +
                             std::to_string(r));
                f(table, set, r, sign);
                if (testing::Test::HasFailure()) return;
            }
}

TEST(codelets, tables_hold_the_19_lengths) {
    for (const codelet_table *table : all_tables())
        for (int64_t n = 1; n <= lyr::max_radix; ++n) {
            const bool expected =
                std::ranges::find(codelet_lengths, n) != std::end(codelet_lengths);
            for (const auto &sets : table->sets) {
                const codelet_set *set = sets[n - 1];
                EXPECT_EQ(set != nullptr, expected) << n << " in " << table->name;
                if (!set) continue;
                EXPECT_TRUE(set->direct_unit && set->direct_general && set->first_unit &&
                            set->first_general && set->middle && set->last_unit &&
                            set->last_general && set->first_slab && set->twiddle_slab)
                    << n << " in " << table->name;
            }
        }
}

TEST(codelets, lookups) {
    lyr::plan unit = {};
    unit.rank = 1;
    unit.sign = -1;
    unit.dims[0] = {64, 1, 1};
    lyr::plan strided = unit;
    strided.sign = +1;
    strided.dims[0].os = 2;
    for (const codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n : {int64_t{0}, int64_t{-1}, int64_t{1}, int64_t{14}, int64_t{15},
                                int64_t{36}, int64_t{38}, int64_t{1} << 32 | 16, INT64_MAX}) {
            EXPECT_EQ(lyr::codelets_for(&unit, n), nullptr) << n;
            EXPECT_EQ(lyr::codelet_first_stage(&unit, n), nullptr) << n;
            EXPECT_EQ(lyr::codelet_middle_stage(&unit, n), nullptr) << n;
            EXPECT_EQ(lyr::codelet_last_stage(&strided, n), nullptr) << n;
        }
        const codelet_set *forward = table->sets[0][15], *backward = table->sets[1][15];
        EXPECT_EQ(lyr::codelets_for(&unit, 16), forward);
        EXPECT_EQ(lyr::codelet_first_stage(&unit, 16), forward->first_unit);
        EXPECT_EQ(lyr::codelet_middle_stage(&unit, 16), forward->middle);
        EXPECT_EQ(lyr::codelet_last_stage(&unit, 16), forward->last_unit);
        EXPECT_EQ(lyr::codelets_for(&strided, 16), backward);
        EXPECT_EQ(lyr::codelet_first_stage(&strided, 16), backward->first_general);
        EXPECT_EQ(lyr::codelet_middle_stage(&strided, 16), backward->middle);
        EXPECT_EQ(lyr::codelet_last_stage(&strided, 16), backward->last_general);
        strided.sign = 0;
        EXPECT_EQ(lyr::codelets_for(&strided, 16), backward) << "any sign but -1 is backward";
        strided.sign = +1;
    }
}

TEST(codelets, direct) {
    struct strides {
        int64_t in, out;
    };
    constexpr strides cases[] = {{1, 1}, {2, 3}, {5, 1}, {1, 4}, {-1, 1}, {3, -2}, {-2, -2}};
    for_each_codelet(
        [&](const codelet_table *table, const codelet_set *set, int64_t r, int64_t sign) {
            std::vector<scalar> scratch(static_cast<size_t>(2 * r));
            for (const strides &c : cases)
                for (const bool in_place : {false, true}) {
                    if (in_place && c.in != c.out) continue;
                    check_pass({r, 1, 1, 1, false, c.in, 0, c.out, 0}, sign, table, in_place,
                               [&](const stage &, const scalar *in, scalar *out) {
                                   set->direct_general(out, in, lyr::complex_bytes * c.in,
                                                       lyr::complex_bytes * c.out, scratch.data());
                               });
                    if (c.in != 1 || c.out != 1) continue;
                    check_pass({r, 1, 1, 1, false, 1, 0, 1, 0}, sign, table, in_place,
                               [&](const stage &, const scalar *in, scalar *out) {
                                   set->direct_unit(out, in, 48, -32, scratch.data());
                               });
                }
        });
}

TEST(codelets, unit_transforms) {
    for (const codelet_table *table : all_tables()) {
        std::vector<int64_t> lengths;
        for (const lyr::unit_transform *const *list : table->units)
            for (const lyr::unit_transform *unit = *list; unit->n != 0; ++unit) {
                const int64_t n = unit->n;
                lengths.push_back(n);
                for (const int64_t sign : {-1, +1}) {
                    SCOPED_TRACE(table->name);
                    const lyr::executor run = unit->run[sign == +1];
                    for (const bool in_place : {false, true})
                        for (const int64_t shift : {0, 1, 3})  // doubles
                            check_pass(
                                {n, 1, 1, 1, false, 1, 0, 1, 0}, sign, table, in_place,
                                [&](const stage &, const scalar *in, scalar *out) {
                                    run(nullptr, const_cast<scalar *>(in), out, nullptr);
                                },
                                shift);
                    if (testing::Test::HasFailure()) return;
                }
                lyr::plan p = {};
                for (const int64_t sign : {-1, +1}) {
                    p.sign = sign;
                    const with_table active(table);
                    const lyr::executor found = lyr::unit_transform_for(&p, n);
                    const bool always =
                        n <= lyr::longest_prime_in_32k || lyr::part_above_37(n) == 1;
                    EXPECT_TRUE(found == unit->run[sign == +1] || (!always && !found)) << n;
                }
            }
        std::ranges::sort(lengths);
        EXPECT_TRUE(std::ranges::adjacent_find(lengths) == lengths.end()) << table->name;
        EXPECT_FALSE(lengths.empty()) << table->name;
        const with_table active(table);
        const lyr::plan p = {};
        for (const int64_t n : {int64_t{0}, int64_t{1}, int64_t{-8}, int64_t{1} << 32 | 16})
            EXPECT_EQ(lyr::unit_transform_for(&p, n), nullptr) << n;
    }
}

TEST(codelets, dense_batches) {
    for (const codelet_table *table : all_tables()) {
        const bool has_pairs = table->lanes == 1 && std::strncmp(table->name, "neon", 4) == 0;
        EXPECT_EQ((*table->dense_batches)->n == 0, table->lanes == 1 && !has_pairs) << table->name;
        for (const lyr::dense_batch *batch = *table->dense_batches; batch->n != 0; ++batch)
            for (const int64_t sign : {-1, +1})
                for (const int64_t h : {1, 2, 3, 4, 5, 11})
                    for (const bool in_place : {false, true}) {
                        SCOPED_TRACE(table->name);
                        const int64_t n = batch->n;
                        check_pass(
                            {n, 1, 1, h, false, 1, n, 1, n}, sign, table, in_place,
                            [&](const stage &, const scalar *in, scalar *out) {
                                batch->run[sign == +1](in, out, h);
                            },
                            h % 2);
                        if (testing::Test::HasFailure()) return;
                    }
    }
}

// Real and complex numbers in one array of real numbers between patterns, by the definition.
void check_real_unit(const lyr::unit_transform &unit, bool backward, bool in_place, int64_t shift) {
    const int64_t n = unit.n, half = n / 2;
    constexpr size_t guard = 24;
    const size_t room = static_cast<size_t>(2 * half + 2),
                 origin = guard + static_cast<size_t>(shift);
    const std::vector<scalar> blank(room + 2 * guard + 4, unwritten);
    std::vector<scalar> in = blank, other = blank;
    random_source random{static_cast<uint64_t>(n)};
    const size_t numbers = backward ? room : static_cast<size_t>(n);
    for (size_t i = 0; i < numbers; ++i) in[origin + i] = random.uniform();
    const std::vector<scalar> before = in;
    std::vector<scalar> &result = in_place ? in : other;
    unit.run[backward](nullptr, in.data() + origin, result.data() + origin, nullptr);

    std::vector<long double> expected(backward ? static_cast<size_t>(n) : room);
    const std::vector<wide> &w = roots(n, -1);
    const scalar *x = before.data() + origin;
    long double size = 0;
    for (int64_t k = 0; k < (backward ? n : half + 1); ++k) {
        wide sum = {0, 0};
        for (int64_t j = 0; j < (backward ? half + 1 : n); ++j) {
            const wide f = w[static_cast<size_t>(j * k % n)];
            if (!backward) {
                sum.re += x[j] * f.re;
                sum.im += x[j] * f.im;
            } else {  // whose ends have no imaginary part, whatever is there
                const bool end = j == 0 || 2 * j == n;
                sum.re += end ? x[2 * j] * f.re : 2 * (x[2 * j] * f.re + x[2 * j + 1] * f.im);
            }
        }
        if (backward) {
            expected[static_cast<size_t>(k)] = sum.re;
        } else {
            expected[static_cast<size_t>(2 * k)] = sum.re;
            expected[static_cast<size_t>(2 * k + 1)] = k == 0 || 2 * k == n ? 0 : sum.im;
        }
        size = std::max(size, std::hypot(sum.re, sum.im));
    }
    long double worst = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        scalar &at = result[origin + i];
        worst = std::max(worst, std::abs(at - expected[i]));
        if (expected[i] == 0) {
            EXPECT_EQ(at, 0) << n;
        }
        at = unwritten;
    }
    EXPECT_LE(static_cast<double>(worst / size) / roundoff, tolerance(n)) << n;
    for (size_t i = 0; i < result.size(); ++i)
        EXPECT_TRUE(is_unwritten(result[i]) ||
                    (in_place && backward && i >= origin + expected.size() && i < origin + room))
            << n << " wrote around its outputs";
    if (!in_place) {
        EXPECT_EQ(std::memcmp(in.data(), before.data(), in.size() * sizeof(scalar)), 0);
    }
}

TEST(codelets, real_unit_transforms) {
    for (const codelet_table *table : all_tables()) {
        EXPECT_EQ((*table->real_units)->n == 0, table->lanes == 1) << table->name;
        for (const lyr::unit_transform *unit = *table->real_units; unit->n != 0; ++unit)
            for (const bool backward : {false, true})
                for (const bool in_place : {false, true})
                    for (const int64_t shift : {0, 1, 3}) {
                        SCOPED_TRACE(table->name);
                        check_real_unit(*unit, backward, in_place, shift);
                        if (testing::Test::HasFailure()) return;
                    }
    }
}

// Output p for an impulse at q is one root of unity: each coefficient of a butterfly by itself.
void check_impulses(int64_t r, int64_t sign, double tolerance, auto transform) {
    std::vector<scalar> in(static_cast<size_t>(2 * r)), out(in);
    for (int64_t q = 0; q < r; ++q)
        for (int64_t part = 0; part < 2; ++part) {
            std::ranges::fill(in, 0.0);
            in[static_cast<size_t>(2 * q + part)] = 1;
            transform(in.data(), out.data());
            for (int64_t p = 0; p < r; ++p) {
                wide w = roots(r, sign)[static_cast<size_t>(p * q % r)];
                if (part == 1) w = {-w.im, w.re};
                const size_t at = static_cast<size_t>(2 * p);
                const long double error = std::hypot(out[at] - w.re, out[at + 1] - w.im);
                EXPECT_LE(static_cast<double>(error), tolerance)
                    << "impulse at " << q << ", output " << p;
            }
        }
}

TEST(codelets, impulses) {
    for_each_codelet([&](const codelet_table *, const codelet_set *set, int64_t r, int64_t sign) {
        check_impulses(r, sign, 2 * roundoff, [&](const scalar *in, scalar *out) {
            set->direct_unit(out, in, 16, 16, nullptr);
        });
    });
    for (const codelet_table *table : all_tables())
        for (const lyr::unit_transform *const *list : table->units)
            for (const lyr::unit_transform *unit = *list; unit->n != 0; ++unit)
                for (const int64_t sign : {-1, +1}) {
                    SCOPED_TRACE(std::string(table->name) + " " + std::to_string(unit->n));
                    // Up to three roots are multiplied.
                    check_impulses(unit->n, sign, 4 * roundoff, [&](scalar *in, scalar *out) {
                        unit->run[sign == +1](nullptr, in, out, nullptr);
                    });
                }
}

// Row lengths around all vector widths and their tails; long powers of two are walked in an order
// of their own.
std::vector<int64_t> widths(int64_t r) {
    std::vector<int64_t> list = {1, 2, 3, 4, 5, 6, 7, 9};
    if (test_scale > 1) list = {1, 2, 3, 7};
    if (r == 2 || r == 4 || r == 5 || r == 16 || r == 37) list.push_back(256);
    if (r == 8 && test_scale == 1) list.push_back(1803);  // large twiddle tables
    return list;
}

TEST(codelets, first_stages) {
    for_each_codelet(
        [&](const codelet_table *table, const codelet_set *set, int64_t r, int64_t sign) {
            for (const int64_t m : widths(r)) {
                check_pass({r, 1, m, 1, false, 1, 0, 1, 0}, sign, table, false,
                           [&](const stage &d, const scalar *in, scalar *out) {
                               set->first_unit(&d, in, out);
                           });
                for (const int64_t is : {2, 3})
                    check_pass({r, 1, m, 1, false, is, 0, 1, 0}, sign, table, false,
                               [&](const stage &d, const scalar *in, scalar *out) {
                                   set->first_general(&d, in, out);
                               });
            }
        });
}

TEST(codelets, wide_stages) {
    for (const codelet_table *table : all_tables()) {
        EXPECT_EQ(table->wide != nullptr, table->costs_with_wide != nullptr) << table->name;
        for (int i = 0; table->wide && i < lyr::wide_radix_count; ++i) {
            const lyr::wide_stages &wide = *table->wide[i];
            const int64_t r = wide.r;
            EXPECT_EQ(r, lyr::modelled_radices[lyr::modelled_radix_count + i]) << table->name;
            for (const int64_t sign : {-1, +1})
                for (const int64_t rows : {1, 2, 3, 7, 260}) {
                    SCOPED_TRACE(table->name);
                    const auto check = [&](int64_t L, int64_t m, bool twiddled,
                                           lyr::stage_codelet run) {
                        check_pass({r, L, m, 1, twiddled, 1, 0, 1, 0}, sign, table, false,
                                   [&](const stage &d, const scalar *in, scalar *out) {
                                       run(&d, in, out);
                                   });
                    };
                    const bool backward = sign == +1;
                    check(1, rows, false, wide.first[backward]);
                    if (rows < 10) check(rows, 3, true, wide.middle[backward]);
                    if (rows == 7 && test_scale == 1)  // a table of plain rows
                        check(512 / (r - 1) + 1, rows, true, wide.middle[backward]);
                    check(rows, 1, true, wide.last[backward]);
                    if (testing::Test::HasFailure()) return;
                }
        }
    }
}

TEST(codelets, middle_stages) {
    for_each_codelet([&](const codelet_table *table, const codelet_set *set, int64_t r,
                         int64_t sign) {
        const auto check = [&](int64_t L, int64_t m) {
            check_pass(
                {r, L, m, 1, true, 1, 0, 1, 0}, sign, table, false,
                [&](const stage &d, const scalar *in, scalar *out) { set->middle(&d, in, out); });
        };
        for (const int64_t m : widths(r)) {
            if (m == 1) continue;  // a middle stage has others after it
            for (const int64_t L : {2, 5}) check(L, m);
        }
        if (test_scale == 1) check(512 / (r - 1) + 1, 3);  // a table of plain rows
    });
}

// Arrays of real and of imaginary parts, each with a guard before and behind it.
struct split_arrays {
    static constexpr int64_t guard = 8;
    int64_t n;
    std::vector<scalar> parts[2];

    explicit split_arrays(int64_t count) : n(count) {
        for (auto &array : parts) array.assign(static_cast<size_t>(n + 2 * guard), 3.5);
    }
    scalar *re() { return parts[0].data() + guard; }
    scalar *im() { return parts[1].data() + guard; }
    void set(const scalar *in) {
        for (int64_t k = 0; k < n; ++k) {
            re()[k] = in[2 * k];
            im()[k] = in[2 * k + 1];
        }
    }
    void get(scalar *out) {
        for (int64_t k = 0; k < n; ++k) {
            out[2 * k] = re()[k];
            out[2 * k + 1] = im()[k];
        }
        for (const auto &array : parts)
            for (int64_t k = 0; k < guard; ++k)
                EXPECT_TRUE(array[static_cast<size_t>(k)] == 3.5 &&
                            array[static_cast<size_t>(n + 2 * guard - 1 - k)] == 3.5)
                    << "wrote " << k + 1 << " before or behind a split array";
    }
};

TEST(codelets, split_stages) {
    for_each_codelet(
        [&](const codelet_table *table, const codelet_set *set, int64_t r, int64_t sign) {
            ASSERT_EQ(set->split_first != nullptr, r <= lyr::common_radix_limit);
            ASSERT_EQ(set->split_last != nullptr, r <= lyr::common_radix_limit);
            if (!set->split_first) return;
            for (const int64_t m : widths(r)) {
                split_arrays split(r * m);
                check_pass({r, 1, m, 1, false, 1, 0, 1, 0}, sign, table, false,
                           [&](const stage &d, const scalar *in, scalar *out) {
                               split.set(in);
                               set->split_first(&d, split.re(), split.im(), out);
                           });
                check_pass({r, m, 1, 1, true, 1, 0, 1, 0}, sign, table, false,
                           [&](stage d, const scalar *in, scalar *out) {
                               const int64_t W = table->lanes;
                               const bool ready = table->turned
                                                      ? lyr::has_turned_rows(r, m)
                                                      : W > 1 && !lyr::has_plain_groups(W, r, m);
                               const int64_t doubled = ready ? m / W * W : 0;
                               const int64_t doubles = 2 * (m + doubled) * (r - 1);
                               std::vector<scalar> order(d.twiddles, d.twiddles + doubles);
                               lyr::alternate_rows(order.data(), r, m, W);
                               d.twiddles = order.data();
                               set->split_last(&d, in, split.re(), split.im());
                               split.get(out);
                           });
            }
        });
}

TEST(codelets, last_stages) {
    for_each_codelet(
        [&](const codelet_table *table, const codelet_set *set, int64_t r, int64_t sign) {
            for (const int64_t L : widths(r)) {
                check_pass({r, L, 1, 1, true, 1, 0, 1, 0}, sign, table, false,
                           [&](const stage &d, const scalar *in, scalar *out) {
                               set->last_unit(&d, in, out);
                           });
                for (const int64_t os : {2, 3})
                    check_pass({r, L, 1, 1, true, 1, 0, os, 0}, sign, table, false,
                               [&](const stage &d, const scalar *in, scalar *out) {
                                   set->last_general(&d, in, out);
                               });
            }
        });
}

// Transforms side by side: rows with gaps in the input of the first stage and the output of the
// last one.
TEST(codelets, slab_stages) {
    for_each_codelet([&](const codelet_table *table, const codelet_set *set, int64_t r,
                         int64_t sign) {
        for (const int64_t h : {1, 2, 3, 7, 10})
            for (const int64_t gap : {int64_t{0}, int64_t{3}, 256 - h}) {
                if (test_scale > 1 && (gap > 3 || h == 10)) continue;
                const int64_t row = h + gap;
                for (const int64_t m : {1, 3})
                    for (const int64_t out_row : {h, row})
                        check_pass({r, 1, m, h, false, row, 1, out_row, 1}, sign, table, false,
                                   [&](const stage &, const scalar *in, scalar *out) {
                                       set->first_slab({m, row, out_row, m * row, m * out_row, h},
                                                       in, out);
                                   });
                for (const int64_t m : {1, 3})
                    check_pass({r, 1, m, h, false, 1, r * m + gap, row, 1}, sign, table, false,
                               [&](const stage &d, const scalar *in, scalar *out) {
                                   set->gathered_slab(&d, in, 1, r * m + gap, out, row, m * row, h);
                               });
                for (const int64_t L : {2, 6, 1803})
                    for (const bool by_lines : {false, true})
                        if (L < 10 || (r == 8 && h == 3 && gap == 0 && test_scale == 1))
                            check_pass({r, L, 1, h, true, h, 1, row, 1}, sign, table, false,
                                       [&](const stage &d, const scalar *in, scalar *out) {
                                           set->twiddle_slab(
                                               &d, {L, r * h, row, h, L * row, h, 0, 1, by_lines},
                                               in, out);
                                       });
                if (gap == 0)
                    check_pass({r, 3, 4, h, true, h, 1, h, 1}, sign, table, false,
                               [&](const stage &d, const scalar *in, scalar *out) {
                                   set->twiddle_slab(
                                       &d, {3, 4 * r * h, 4 * h, 4 * h, 12 * h, 4 * h}, in, out);
                               });
            }
    });
}

// Two stages at a time give the bits of the same stages one by one. But for the mirror images:
// their factors are conjugates of others, and their outputs come from the second half of the
// columns. Turned stages have other factors, and their plan has no stages that run alone.
void check_pairs(const lyr::paired_stages &pairs, const lyr_tools::problem &p, uint64_t seed) {
    lyr_tools::buffers b = buffers_of(p);
    const plan_holder holder(make_plan(p, b));
    ASSERT_NE(holder.plan, nullptr);
    ASSERT_EQ(holder.plan->form, pairs.form == lyr::pair_form::turned
                                     ? lyr::plan_form::turned_stages
                                     : lyr::plan_form::paired_stages);
    const lyr::stage_list list = lyr::stages_of(holder.plan->aux);
    ASSERT_EQ(list.count, pairs.radices[4] ? 5 : 4);
    for (int s = 0; s < list.count; ++s) EXPECT_EQ(list.stages[s].r, pairs.radices[s]);
    const auto size = static_cast<size_t>(2 * pairs.n);
    lyr_tools::fill_buffers(p, seed, b);
    if (pairs.form == lyr::pair_form::turned) {
        EXPECT_EQ(lyr::slab_stages_of(holder.plan).count, 0);
        lyr_fft_execute(holder.plan);
        EXPECT_EQ(check_buffers(p, b), "");
        return;
    }
    std::vector<scalar> from(b.in[0], b.in[0] + size), to(size);
    for (int s = 0; s < 4; ++s) {
        list.stages[s].codelet(&list.stages[s], from.data(), to.data());
        from.swap(to);
    }
    lyr_fft_execute(holder.plan);
    EXPECT_EQ(check_buffers(p, b), "");
    const int64_t columns = pairs.radices[0] * pairs.radices[1];
    double largest = 0;
    for (const scalar x : from) largest = std::max(largest, std::abs(double{x}));
    for (int64_t i = 0; i < 2 * pairs.n; ++i) {
        const scalar x = b.out[0][i], y = from[static_cast<size_t>(i)];
        const bool mirrored =
            pairs.form == lyr::pair_form::mirrored && i / 2 % columns >= columns / 2;
        ASSERT_LE(std::abs(double{x} - double{y}), mirrored ? 4 * roundoff * largest : 0)
            << "number " << i / 2;
    }
}

TEST(codelets, pairs_of_stages) {
    for (const codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const lyr::paired_stages &pairs : table->paired->lengths) {
            if (pairs.radices[3] == 0) continue;  // of two or three stages
            const with_first_level_cache cache(pairs.form == lyr::pair_form::turned);
            uint64_t seed = 0;
            for (const char *kind : {"ocf", "ocb", "icf", "icb"}) {
                const std::string text = kind + std::to_string(pairs.n);
                SCOPED_TRACE(text + " with " + table->name);
                check_pairs(pairs, problem_of(text), ++seed);
            }
        }
    }
}

// Rows of any length times two factors, and nothing behind them.
TEST(codelets, rotated_rows) {
    random_source random{23};
    for (const codelet_table *table : all_tables())
        for (size_t n = 0; n < 21; ++n) {
            SCOPED_TRACE(std::to_string(n) + " with " + table->name);
            std::vector<scalar> row(2 * n + 2), turns(2 * n), columns(2 * n);
            for (std::vector<scalar> *numbers : {&row, &turns, &columns})
                for (scalar &x : *numbers) x = static_cast<scalar>(2 * random.uniform());
            const std::vector<scalar> before = row;
            table->products.rotate(row.data(), turns.data(), columns.data(),
                                   static_cast<int64_t>(n));
            for (size_t k = 0; k < n; ++k) {
                using wide_complex = std::complex<long double>;
                const auto at = [k](const std::vector<scalar> &v) {
                    return wide_complex(v[2 * k], v[2 * k + 1]);
                };
                const wide_complex error = wide_complex(row[2 * k], row[2 * k + 1]) -
                                           at(before) * at(turns) * (at(columns) + 1.0L);
                EXPECT_LT(std::abs(error), 16 * roundoff) << k;
            }
            EXPECT_TRUE(std::equal(row.begin() + 2 * static_cast<long>(n), row.end(),
                                   before.begin() + 2 * static_cast<long>(n)));
        }
}

// Whether streams overflow the ways of a cache, next to counting lines in sets.
TEST(codelets, colliding_streams) {
    for (const lyr::near_cache cache : {lyr::near_cache{32 << 10, 8}, lyr::near_cache{64 << 10, 4},
                                        lyr::near_cache{48 << 10, 12}, lyr::near_cache{1 << 10, 1}})
        for (const int64_t streams : {1, 2, 3, 4, 5, 8, 9, 16, 17, 37})
            for (int64_t i = 0; i < 48; ++i) {  // odd multiples of powers of two
                const int64_t lines = lyr::line_complex * (2 * (i % 4) + 1) << i / 4;
                std::map<int64_t, int64_t> in_set;
                int64_t most = 0;
                for (int64_t s = 0; s < streams; ++s)
                    most = std::max(most, ++in_set[s * lines * lyr::complex_bytes % cache.way()]);
                for (int64_t ways = 1; ways <= cache.ways; ways *= 2)
                    EXPECT_EQ(streams_collide(cache, ways, streams, lines), most > ways)
                        << streams << " streams, " << lines << " apart, " << ways << " ways of "
                        << cache.bytes << " bytes in " << cache.ways;
            }
}

}  // namespace
}  // namespace lyr_test
