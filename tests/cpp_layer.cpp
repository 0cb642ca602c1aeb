// The C++ layer: the same problem as the C call it stands for, lengths of arrays, plans that move.
#include <array>
#include <cstring>
#include <lyr_fft.hpp>

#include "support.h"

namespace lyr_test {
namespace {

using lyr_fft::direction;
using lyr_fft::kind;
using complex = std::complex<scalar>;
using dft_plan = lyr_fft::basic_dft_plan<scalar>;
using split_dft_plan = lyr_fft::basic_split_dft_plan<scalar>;

constexpr size_t room = 4096;
std::vector<complex> zi(room), zo(room), zr(room);
std::vector<scalar> xi(room), xo(room), xr(room), yi(room), yo(room), yr(room);

lyr_fft_complex *raw(std::vector<complex> &z) {
    return reinterpret_cast<lyr_fft_complex *>(z.data());
}

void fill() {
    random_source random{7};
    for (size_t j = 0; j < room; ++j) {
        zi[j] = {static_cast<scalar>(random.uniform()), static_cast<scalar>(random.uniform())};
        xi[j] = static_cast<scalar>(random.uniform());
        yi[j] = static_cast<scalar>(random.uniform());
    }
    for (auto *z : {&zo, &zr}) std::fill(z->begin(), z->end(), complex(-1, -1));
    for (auto *x : {&xo, &xr, &yo, &yr}) std::fill(x->begin(), x->end(), scalar{-1});
}

template <class T>
bool same(const std::vector<T> &a, const std::vector<T> &b) {
    return std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// Runs the plan of the layer and the plan of C, both ways of execution, and compares all outputs.
template <class Plan, class In, class Out>
void agrees(const char *what, const lyr_fft::result<Plan> &plan, const In &in, Out &&out,
            lyr_fft_plan reference) {
    SCOPED_TRACE(what);
    const plan_holder c(reference);
    ASSERT_TRUE(plan && reference);
    EXPECT_EQ(plan_text(plan->get()), plan_text(reference));
    for (const bool new_arrays : {false, true}) {
        fill();
        if (new_arrays)
            plan->execute(in, out);
        else
            plan->execute();
        lyr_fft_execute(reference);
        EXPECT_TRUE(same(zo, zr) && same(xo, xr) && same(yo, yr));
    }
}

// What becomes a span, of std or our own.
template <class From, class To, bool Wanted>
constexpr void becomes() {
    static_assert(std::is_convertible_v<From, lyr_fft::span<To>> == Wanted);
}

TEST(cpp_layer, takes_what_std_span_takes) {
    becomes<std::vector<double> &, double, true>();
    becomes<std::vector<double>, double, false>();
    becomes<std::vector<double>, const double, true>();
    becomes<const std::vector<double> &, double, false>();
    becomes<const std::vector<double> &, const double, true>();
    becomes<std::array<double, 3> &, double, true>();
    becomes<double(&)[3], const double, true>();
    becomes<lyr_fft::span<double>, const double, true>();
    becomes<lyr_fft::span<const double>, double, false>();
    becomes<std::vector<complex> &, double, false>();
    becomes<double *, double, false>();
    becomes<double, double, false>();
    int sum = 0, numbers[] = {1, 2, 4, 8};
    for (const int x : lyr_fft::span<const int>(numbers).subspan(1, 2)) sum += x;
    EXPECT_EQ(sum, 6);
}

TEST(cpp_layer, plans_what_c_plans) {
    constexpr int f = LYR_FFT_FORWARD, b = LYR_FFT_BACKWARD;
    agrees("line", lyr_fft::dft({60}, zi, zo, direction::forward), zi, zo,
           lyr_fft_plan_dft_1d(60, raw(zi), raw(zr), f, 0));
    agrees("backward", lyr_fft::dft({37}, zi, zo, direction::backward), zi, zo,
           lyr_fft_plan_dft_1d(37, raw(zi), raw(zr), b, 0));
    agrees("plane", lyr_fft::dft({6, 20}, zi, zo, direction::forward), zi, zo,
           lyr_fft_plan_dft_2d(6, 20, raw(zi), raw(zr), f, 0));
    agrees("r2c", lyr_fft::r2c({6, 10}, xi, zo), xi, zo,
           lyr_fft_plan_dft_r2c_2d(6, 10, xi.data(), raw(zr), 0));
    agrees("c2r", lyr_fft::c2r({6, 11}, zi, xo), zi, xo,
           lyr_fft_plan_dft_c2r_2d(6, 11, raw(zi), xr.data(), 0));
    agrees("r2r", lyr_fft::r2r({8, 9}, xi, xo, {kind::redft10, kind::rodft01}), xi, xo,
           lyr_fft_plan_r2r_2d(8, 9, xi.data(), xr.data(), LYR_FFT_REDFT10, LYR_FFT_RODFT01, 0));

    const int n[] = {12, 5}, extent[] = {13, 7};
    agrees("batch, dense", lyr_fft::dft({12, 5}, zi, zo, direction::forward, {9}), zi, zo,
           lyr_fft_plan_many_dft(2, n, 9, raw(zi), nullptr, 1, 60, raw(zr), nullptr, 1, 60, f, 0));
    agrees("batch, strides, padding",
           lyr_fft::dft({12, 5}, zi, zo, direction::forward, {3, {4, 1}, {2, 0, {13, 7}}}), zi, zo,
           lyr_fft_plan_many_dft(2, n, 3, raw(zi), nullptr, 4, 1, raw(zr), extent, 2, 2 * 12 * 7, f,
                                 0));
    agrees(
        "batch, r2c", lyr_fft::r2c({12, 5}, xi, zo, {4}), xi, zo,
        lyr_fft_plan_many_dft_r2c(2, n, 4, xi.data(), nullptr, 1, 60, raw(zr), nullptr, 1, 36, 0));
    agrees(
        "batch, c2r", lyr_fft::c2r({12, 5}, zi, xo, {4}), zi, xo,
        lyr_fft_plan_many_dft_c2r(2, n, 4, raw(zi), nullptr, 1, 36, xr.data(), nullptr, 1, 60, 0));

    const lyr_fft_iodim64 dims[] = {{16, 3, 1}}, many[] = {{5, 50, 17}};
    const lyr_fft::dimensions layout{{{16, 3, 1}}, {{5, 50, 17}}};
    const lyr_fft_r2r_kind dht = LYR_FFT_DHT;
    agrees("guru", lyr_fft::dft(layout, zi, zo, direction::backward), zi, zo,
           lyr_fft_plan_guru64_dft(1, dims, 1, many, raw(zi), raw(zr), b, 0));
    agrees("guru r2c", lyr_fft::r2c(layout, xi, zo), xi, zo,
           lyr_fft_plan_guru64_dft_r2c(1, dims, 1, many, xi.data(), raw(zr), 0));
    agrees("guru c2r", lyr_fft::c2r(layout, zi, xo), zi, xo,
           lyr_fft_plan_guru64_dft_c2r(1, dims, 1, many, raw(zi), xr.data(), 0));
    agrees("guru r2r", lyr_fft::r2r(layout, xi, xo, {kind::dht}), xi, xo,
           lyr_fft_plan_guru64_r2r(1, dims, 1, many, xi.data(), xr.data(), &dht, 0));

    const lyr_fft::split<scalar> in{xi, yi}, out{xo, yo};
    agrees("split", lyr_fft::split_dft(layout, in, out), in, out,
           lyr_fft_plan_guru64_split_dft(1, dims, 1, many, xi.data(), yi.data(), xr.data(),
                                         yr.data(), 0));
    agrees("split, exchanged", lyr_fft::split_dft(layout, in.exchanged(), out.exchanged()),
           in.exchanged(), out.exchanged(),
           lyr_fft_plan_guru64_split_dft(1, dims, 1, many, yi.data(), xi.data(), yr.data(),
                                         xr.data(), 0));
    agrees("split r2c", lyr_fft::split_r2c(layout, xi, out), xi, out,
           lyr_fft_plan_guru64_split_dft_r2c(1, dims, 1, many, xi.data(), xr.data(), yr.data(), 0));
    agrees("split c2r", lyr_fft::split_c2r(layout, in, xo), in, xo,
           lyr_fft_plan_guru64_split_dft_c2r(1, dims, 1, many, xi.data(), yi.data(), xr.data(), 0));
}

TEST(cpp_layer, needs_no_longer_arrays_than_the_problem) {
    struct row {
        const char *what;
        // The shortest arrays, and a plan for arrays of those lengths.
        int in, out;
        std::function<std::pair<bool, lyr_fft::error>(int, int)> plan;
    };
    const auto outcome = [](const auto &r) { return std::pair(r.has_value(), r.reason()); };
    const auto z = [](auto &v, int n) {
        return lyr_fft::span<std::decay_t<decltype(v[0])>>(v).first(static_cast<size_t>(n));
    };
    constexpr direction f = direction::forward;
    const row rows[] = {
        {"line", 60, 60,
         [&](int i, int o) { return outcome(lyr_fft::dft({60}, z(zi, i), z(zo, o), f)); }},
        {"strides", 11 * 3 + 1, 11 * 5 + 1,
         [&](int i, int o) {
             return outcome(lyr_fft::dft({12}, z(zi, i), z(zo, o), f, {1, {3}, {5}}));
         }},
        {"batch", 4 * 100 + 12, 11 * 5 + 4 + 1,
         [&](int i, int o) {
             return outcome(lyr_fft::dft({12}, z(zi, i), z(zo, o), f, {5, {1, 100}, {5, 1}}));
         }},
        {"padding", 2 * 50 + 3 * 10 + 6, 3 * 24,
         [&](int i, int o) {
             return outcome(lyr_fft::dft({4, 6}, z(zi, i), z(zo, o), f, {3, {1, 50, {5, 10}}}));
         }},
        {"real plane", 4 * 7, 4 * 4,
         [&](int i, int o) {
             return outcome(lyr_fft::r2c({4, 7}, z(xi, i), z(zo, o)));
         }},
        {"complex to real plane", 4 * 5, 4 * 8,
         [&](int i, int o) {
             return outcome(lyr_fft::c2r({4, 8}, z(zi, i), z(xo, o)));
         }},
        {"real plane, in place", 3 * 10 + 8, 4 * 5,
         [&](int i, int o) {
             const lyr_fft::span<scalar> in(reinterpret_cast<scalar *>(zo.data()), 2 * room);
             return outcome(lyr_fft::r2c({4, 8}, in.first(static_cast<size_t>(i)), z(zo, o)));
         }},
        {"any layout", 15 * 3 + 4 * 50 + 1, 8 + 4 * 17 + 1,
         [&](int i, int o) {
             return outcome(lyr_fft::r2c(lyr_fft::dimensions{{{16, 3, 1}}, {{5, 50, 17}}}, z(xi, i),
                                         z(zo, o)));
         }},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_TRUE(r.plan(r.in, r.out).first);
        const std::pair too_short(false, lyr_fft::error::array_too_short);
        EXPECT_EQ(r.plan(r.in - 1, r.out), too_short);
        EXPECT_EQ(r.plan(r.in, r.out - 1), too_short);
    }
}

TEST(cpp_layer, says_why_there_is_no_plan) {
    constexpr direction f = direction::forward;
    constexpr int huge = std::numeric_limits<int>::max();
    const auto reason = [](const auto &r) {
        EXPECT_FALSE(r);
        return r.reason();
    };
    using lyr_fft::error;
    EXPECT_EQ(reason(lyr_fft::dft(lyr_fft::shape{}, zi, zo, f)), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({0}, zi, zo, f)), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({-5, 4}, zi, zo, f)), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({2, 2, 2, 2}, zi, zo, f)), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({8}, zi, zo, f, {0})), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({8}, zi, zo, f, {1, {-1}})), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({4, 6}, zi, zo, f, {1, {1, 0, {4, 5}}})), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({4, 6}, zi, zo, f, {1, {1, 0, {9}}})), error::refused);
    EXPECT_EQ(reason(lyr_fft::r2r({4, 6}, xi, xo, {kind::dht})), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft({huge, huge, huge}, zi, zo, f, {huge})), error::array_too_short);
    EXPECT_EQ(reason(lyr_fft::dft(lyr_fft::dimensions{{{8, -1, 1}}}, zi, zo, f)), error::refused);
    EXPECT_EQ(reason(lyr_fft::dft(
                  lyr_fft::dimensions{{{8, std::numeric_limits<int64_t>::max(), 1}}}, zi, zo, f)),
              error::array_too_short);
    EXPECT_THROW(lyr_fft::dft({0}, zi, zo, f).value(), lyr_fft::refused_plan);
    EXPECT_THROW(lyr_fft::vector<scalar>((size_t{1} << 62) / sizeof(scalar)), std::bad_alloc);
}

TEST(cpp_layer, plans_move) {
    static_assert(sizeof(dft_plan) == sizeof(lyr_fft_plan));
    static_assert(!std::is_copy_constructible_v<dft_plan>);
    static_assert(std::is_nothrow_move_assignable_v<split_dft_plan>);
    dft_plan a = lyr_fft::dft({8}, zi, zo, direction::forward).value();
    dft_plan b = lyr_fft::dft({9}, zi, zo, direction::forward).value();
    const lyr_fft_plan eight = a.get();
    b = std::move(a);
    EXPECT_EQ(b.get(), eight);
    dft_plan c(std::move(b));
    EXPECT_FALSE(b);  // NOLINT(bugprone-use-after-move): what is tested
    b.execute();      // NOLINT(clang-analyzer-cplusplus.Move)
    EXPECT_EQ(c.get(), eight);
    const plan_holder released(c.release());
    EXPECT_EQ(released.plan, eight);
    const lyr_fft::vector<complex> aligned(5);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned.data()) % 64, 0U);
}

}  // namespace
}  // namespace lyr_test
