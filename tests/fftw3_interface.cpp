// The interface of FFTW 3: what constructors refuse and accept, wisdom, the Fortran form, texts,
// one plan on several threads, and the original in the same process. Results of any layout are the
// business of fftw3_verify.cpp.
#include <fftw3.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "lyr_fft.h"

namespace {

constexpr unsigned estimate = FFTW_ESTIMATE;

std::vector<double> numbers(size_t count) {
    std::vector<double> x(count);
    for (size_t k = 0; k < count; ++k) x[k] = std::sin(static_cast<double>(k * k % 1009 + 1));
    return x;
}

fftw_complex *complexes(std::vector<double> &x) {
    return reinterpret_cast<fftw_complex *>(x.data());
}

bool plans(fftw_plan p) {
    fftw_destroy_plan(p);
    return p != nullptr;
}

TEST(fftw3, refuses_what_the_original_refuses_and_nothing_else) {
    std::vector<double> a(1000), b(1000);
    fftw_complex *x = complexes(a), *y = complexes(b);
    double *r = a.data(), *s = b.data();
    const int n[] = {0, 4};
    const fftw_iodim d = {4, 1, 1}, none = {0, 1, 1}, negative = {-1, 1, 1}, h = {3, 4, 4};
    const fftw_r2r_kind kinds[] = {FFTW_R2HC, FFTW_REDFT00};
    const int column[] = {4, 1};

    EXPECT_FALSE(plans(fftw_plan_dft_1d(0, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_dft(2, n, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_dft(-1, n, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_dft(1, nullptr, x, y, -1, estimate)));
    EXPECT_FALSE(
        plans(fftw_plan_many_dft(1, n + 1, -1, x, nullptr, 1, 4, y, nullptr, 1, 4, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_guru_dft(1, &none, 1, &h, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_guru_dft(1, &negative, 1, &h, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_guru_dft(1, &d, 1, &negative, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_guru_dft(1, &d, -1, &h, x, y, -1, estimate)));
    EXPECT_FALSE(plans(fftw_plan_r2r_1d(1, r, s, FFTW_REDFT00, estimate)));
    EXPECT_FALSE(plans(fftw_plan_r2r(2, column, r, s, kinds, estimate)));
    EXPECT_FALSE(plans(fftw_plan_r2r_1d(4, r, s, static_cast<fftw_r2r_kind>(11), estimate)));

    EXPECT_TRUE(plans(fftw_plan_dft(0, nullptr, x, y, -1, estimate)));
    EXPECT_TRUE(plans(fftw_plan_dft_r2c(0, nullptr, r, y, estimate)));
    EXPECT_TRUE(plans(fftw_plan_r2r(0, nullptr, r, s, nullptr, estimate)));
    EXPECT_TRUE(plans(fftw_plan_dft_1d(4, x, y, 2, estimate)));
    EXPECT_TRUE(plans(fftw_plan_dft_1d(4, nullptr, nullptr, -1, estimate)));
    EXPECT_TRUE(plans(fftw_plan_dft_c2r_3d(4, 4, 4, x, s, estimate | FFTW_PRESERVE_INPUT)));
    EXPECT_TRUE(plans(fftw_plan_r2r_1d(2, r, s, FFTW_REDFT00, estimate)));

    // Nothing to do, and nothing done.
    const std::vector<double> before = b;
    fftw_plan empty = fftw_plan_guru_dft(1, &d, 1, &none, x, y, -1, estimate);
    ASSERT_TRUE(empty);
    fftw_execute(empty);
    fftw_destroy_plan(empty);
    fftw_destroy_plan(nullptr);
    EXPECT_EQ(before, b);

    // More dimensions than any array has, all of length 1.
    const std::vector<int> ones(1000, 1);
    EXPECT_TRUE(plans(fftw_plan_dft(1000, ones.data(), x, y, -1, estimate)));
}

TEST(fftw3, planning_leaves_arrays_alone) {
    std::vector<double> a = numbers(2 * 16 * 16 * 16 * 16), b = numbers(a.size());
    const std::vector<double> a_before = a, b_before = b;
    const int n[] = {16, 16, 16, 16};
    for (const unsigned flags : {FFTW_MEASURE, FFTW_PATIENT, FFTW_EXHAUSTIVE, FFTW_ESTIMATE}) {
        EXPECT_TRUE(plans(fftw_plan_dft(4, n, complexes(a), complexes(b), -1, flags)));
        EXPECT_TRUE(plans(fftw_plan_dft_c2r(4, n, complexes(a), b.data(), flags)));
    }
    EXPECT_EQ(a_before, a);
    EXPECT_EQ(b_before, b);
}

TEST(fftw3, wisdom) {
    std::vector<double> a(400), b(400);
    fftw_complex *x = complexes(a), *y = complexes(b);
    const auto known = [&](int n, unsigned rigour) {
        return plans(fftw_plan_dft_1d(n, x, y, -1, rigour | FFTW_WISDOM_ONLY));
    };
    fftw_forget_wisdom();
    EXPECT_FALSE(known(40, estimate));
    EXPECT_TRUE(plans(fftw_plan_dft_1d(40, x, y, -1, FFTW_MEASURE)));
    EXPECT_TRUE(plans(fftw_plan_dft_1d(48, x, y, -1, FFTW_PATIENT)));
    EXPECT_TRUE(plans(fftw_plan_dft_1d(50, x, y, -1, estimate)));
    const auto check = [&] {
        EXPECT_TRUE(known(40, estimate));
        EXPECT_TRUE(known(40, FFTW_MEASURE));
        EXPECT_FALSE(known(40, FFTW_PATIENT));
        EXPECT_TRUE(known(48, FFTW_PATIENT));
        EXPECT_FALSE(known(48, FFTW_EXHAUSTIVE));
        EXPECT_TRUE(known(50, estimate));
        EXPECT_FALSE(known(50, FFTW_MEASURE));
        EXPECT_FALSE(plans(fftw_plan_dft_1d(40, x, x, -1, FFTW_WISDOM_ONLY)));
        EXPECT_FALSE(plans(fftw_plan_dft_1d(40, x, y, +1, FFTW_WISDOM_ONLY)));
    };
    check();

    char *text = fftw_export_wisdom_to_string();
    ASSERT_TRUE(text);
    const std::string wisdom = text;
    std::free(text);
    fftw_forget_wisdom();
    EXPECT_FALSE(known(40, estimate));
    for (const char *bad : {"", " ", "hello", "(fftw-3.3.10 fftw_wisdom #x1 #x2 #x3 #x4)",
                            "(lyra_fftw3 fftw_wisdom (#x00 1))", "(lyra_fftw3 fftw_wisdom"})
        EXPECT_EQ(0, fftw_import_wisdom_from_string(bad)) << bad;
    for (size_t length = 0; length + 2 < wisdom.size(); ++length)
        EXPECT_EQ(0, fftw_import_wisdom_from_string(wisdom.substr(0, length).c_str())) << length;
    EXPECT_FALSE(known(40, estimate));
    EXPECT_EQ(1, fftw_import_wisdom_from_string(("\n " + wisdom).c_str()));
    check();

    // A file may hold more than one, and something else behind.
    FILE *file = std::tmpfile();
    ASSERT_TRUE(file);
    fftw_export_wisdom_to_file(file);
    std::fputs("(other)", file);
    std::rewind(file);
    fftw_cleanup();
    EXPECT_FALSE(known(48, FFTW_PATIENT));
    EXPECT_EQ(1, fftw_import_wisdom_from_file(file));
    check();
    EXPECT_EQ(0, fftw_import_wisdom_from_file(file));
    std::fclose(file);

    EXPECT_EQ(0, fftw_import_wisdom_from_filename("/nowhere/wisdom"));
    EXPECT_EQ(0, fftw_export_wisdom_to_filename("/nowhere/wisdom"));
    fftw_forget_wisdom();
}

TEST(fftw3, one_plan_on_several_threads) {
    // Complex to real of rank 4 goes through a buffer that the plan has once.
    const int n[] = {5, 6, 7, 8};
    const size_t in_size = 2 * 5 * 6 * 7 * 5, out_size = 5 * 6 * 7 * 8;
    std::vector<double> in = numbers(in_size), out(out_size);
    fftw_plan plan = fftw_plan_dft_c2r(4, n, complexes(in), out.data(), estimate);
    ASSERT_TRUE(plan);
    fftw_execute(plan);
    std::vector<std::thread> threads;
    std::vector<std::vector<double>> outs(4, std::vector<double>(out_size));
    for (std::vector<double> &mine : outs)
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) {
                std::fill(mine.begin(), mine.end(), 0);
                fftw_execute_dft_c2r(plan, complexes(in), mine.data());
                if (mine != out) return;
            }
        });
    for (std::thread &t : threads) t.join();
    for (const std::vector<double> &mine : outs) EXPECT_EQ(out, mine);
    fftw_destroy_plan(plan);
}

TEST(fftw3, what_else_programs_ask) {
    std::vector<double> a(2 * 6 * 6 * 6 * 6);
    const int n[] = {6, 6, 6, 6};
    fftw_plan plan = fftw_plan_dft(4, n, complexes(a), complexes(a), +1, estimate);
    ASSERT_TRUE(plan);
    char *text = fftw_sprint_plan(plan);
    ASSERT_TRUE(text);
    int open = 0;
    for (const char *c = text; *c; ++c) {
        open += (*c == '(') - (*c == ')');
        EXPECT_TRUE(open > 0 || !c[1]) << text;
    }
    EXPECT_EQ(0, open) << text;
    EXPECT_TRUE(std::strstr(text, "c2c backward 6:216:216x6:36:36x6:6:6x6:1:1 in place")) << text;
    std::free(text);
    double add = 0, mul = 0, fma = 0;
    fftw_flops(plan, &add, &mul, &fma);
    EXPECT_GT(add + mul + 2 * fma, 6 * 6 * 6 * 6 * 10);
    EXPECT_GT(fftw_cost(plan), 0);
    EXPECT_GT(fftw_estimate_cost(plan), 0);
    fftw_destroy_plan(plan);

    EXPECT_EQ(0, std::strncmp(fftw_version, "fftw-3.3", 8));
    EXPECT_EQ(fftw_alignment_of(a.data()), fftw_alignment_of(a.data() + 1));
    EXPECT_TRUE(fftw_init_threads());
    fftw_make_planner_thread_safe();
    fftw_plan_with_nthreads(3);
    EXPECT_EQ(3, fftw_planner_nthreads());
    fftw_cleanup_threads();
    EXPECT_EQ(1, fftw_planner_nthreads());
    fftw_set_timelimit(0.1);
    fftw_set_timelimit(FFTW_NO_TIMELIMIT);

    for (const size_t size : {size_t{0}, size_t{1}, size_t{1000}}) {
        void *memory = fftw_malloc(size);
        ASSERT_TRUE(memory);
        EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(memory) % 64);
        fftw_free(memory);
    }
    std::free(fftw_alloc_complex(10));
    EXPECT_FALSE(fftw_alloc_real(SIZE_MAX / 4));
    fftw_free(nullptr);
}

}  // namespace

// ---- The Fortran form ---------------------------------------------------------------------------

extern "C" {
void dfftw_plan_dft_r2c_2d_(intptr_t *, const int *, const int *, double *, double *, const int *);
void dfftw_plan_r2r_2d__(intptr_t *, const int *, const int *, double *, double *, const int *,
                         const int *, const int *);
void dfftw_plan_guru_dft_r2c_(intptr_t *, const int *, const int *, const int *, const int *,
                              const int *, const int *, const int *, const int *, double *,
                              double *, const int *);
void dfftw_plan_many_dft_(intptr_t *, const int *, const int *, const int *, double *, const int *,
                          const int *, const int *, double *, const int *, const int *, const int *,
                          const int *, const int *);
void dfftw_execute_(const intptr_t *);
void dfftw_destroy_plan__(intptr_t *);
void dfftw_export_wisdom_(void (*)(char *, void *), void *);
void dfftw_import_wisdom_(int *, void (*)(int *, void *), void *);
void dfftw_estimate_cost_(double *, const intptr_t *);
}

namespace {

TEST(fftw3, fortran_names_dimensions_in_its_order) {
    const int rows = 6, columns = 4, flags = FFTW_ESTIMATE;  // columns vary fastest
    std::vector<double> in = numbers(24), expected(48), found(48);
    const auto run = [&](intptr_t plan) {
        ASSERT_NE(0, plan);
        dfftw_execute_(&plan);
        dfftw_destroy_plan__(&plan);
    };
    const auto run_c = [](fftw_plan plan) {
        ASSERT_TRUE(plan);
        fftw_execute(plan);
        fftw_destroy_plan(plan);
    };
    intptr_t plan = 0;
    run_c(fftw_plan_dft_r2c_2d(rows, columns, in.data(), complexes(expected), estimate));
    dfftw_plan_dft_r2c_2d_(&plan, &columns, &rows, in.data(), found.data(), &flags);
    run(plan);
    EXPECT_EQ(expected, found);

    const int kind_columns = FFTW_REDFT00, kind_rows = FFTW_RODFT10;
    run_c(fftw_plan_r2r_2d(rows, columns, in.data(), expected.data(), FFTW_RODFT10, FFTW_REDFT00,
                           estimate));
    dfftw_plan_r2r_2d__(&plan, &columns, &rows, in.data(), found.data(), &kind_columns, &kind_rows,
                        &flags);
    run(plan);
    EXPECT_EQ(expected, found);

    // Guru dimensions stay in the order they are given in: the last one is halved.
    const int two = 2, zero = 0, n[] = {4, 6}, strides[] = {1, 4};
    const fftw_iodim dims[] = {{4, 1, 1}, {6, 4, 4}};
    std::fill(expected.begin(), expected.end(), 0);
    std::fill(found.begin(), found.end(), 0);
    run_c(fftw_plan_guru_dft_r2c(2, dims, 0, nullptr, in.data(), complexes(expected), estimate));
    dfftw_plan_guru_dft_r2c_(&plan, &two, n, strides, strides, &zero, nullptr, nullptr, nullptr,
                             in.data(), found.data(), &flags);
    run(plan);
    EXPECT_EQ(expected, found);

    const int one = 1, forward = -1, lengths[] = {2, 3}, in_extents[] = {2, 4},
              out_extents[] = {3, 5};
    const int c_lengths[] = {3, 2}, c_in[] = {4, 2}, c_out[] = {5, 3};
    run_c(fftw_plan_many_dft(2, c_lengths, 1, complexes(in), c_in, 1, 1, complexes(expected), c_out,
                             1, 1, -1, estimate));
    dfftw_plan_many_dft_(&plan, &two, lengths, &one, in.data(), in_extents, &one, &one,
                         found.data(), out_extents, &one, &one, &forward, &flags);
    double cost = 0;
    dfftw_estimate_cost_(&cost, &plan);
    EXPECT_GT(cost, 0);
    run(plan);
    EXPECT_EQ(expected, found);
}

TEST(fftw3, fortran_wisdom) {
    std::vector<double> a(400);
    fftw_forget_wisdom();
    EXPECT_TRUE(plans(fftw_plan_dft_1d(100, complexes(a), complexes(a), -1, FFTW_MEASURE)));
    std::string text;
    dfftw_export_wisdom_([](char *c, void *data) { *static_cast<std::string *>(data) += *c; },
                         &text);
    fftw_forget_wisdom();
    int success = 7;
    dfftw_import_wisdom_(
        &success,
        [](int *c, void *data) {
            std::string &rest = *static_cast<std::string *>(data);
            *c = rest.empty() ? -1 : rest[0];
            if (!rest.empty()) rest.erase(0, 1);
        },
        &text);
    EXPECT_EQ(1, success);
    EXPECT_TRUE(plans(fftw_plan_dft_1d(100, complexes(a), complexes(a), -1, FFTW_WISDOM_ONLY)));
    fftw_forget_wisdom();
}

TEST(fftw3, holds_a_library_of_its_own) {
    std::vector<double> in = numbers(240), ours(240), directly(240);
    fftw_plan_with_nthreads(2);
    fftw_plan here = fftw_plan_dft_1d(120, complexes(in), complexes(ours), -1, estimate);
    lyr_fft_plan own = lyr_fft_plan_dft_1d(120, reinterpret_cast<lyr_fft_complex *>(in.data()),
                                           reinterpret_cast<lyr_fft_complex *>(directly.data()),
                                           LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    fftw_execute(here);
    lyr_fft_execute(own);
    EXPECT_EQ(directly, ours);
    fftw_destroy_plan(here);
    lyr_fft_destroy_plan(own);
    fftw_plan_with_nthreads(1);
}

}  // namespace
