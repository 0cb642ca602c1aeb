// The public interface: what constructors refuse, memory, versions, threads, Fortran entry points.
#include <climits>
#include <cstring>
#include <functional>
#include <thread>

#include "support.h"
#include "threads/threads.h"

extern "C" {
lyr_fft_plan lyr_fft_plan_many_dft_(const int *rank, const int *n, const int *howmany,
                                    lyr_fft_complex *in, const int *inembed, const int *istride,
                                    const int *idist, lyr_fft_complex *out, const int *onembed,
                                    const int *ostride, const int *odist, const int *sign,
                                    const unsigned *flags);
lyr_fft_plan lyr_fft_plan_dft_1d_(const int *n, lyr_fft_complex *in, lyr_fft_complex *out,
                                  const int *sign, const unsigned *flags);
void lyr_fft_execute_(const lyr_fft_plan *plan);
void lyr_fft_execute_dft_(const lyr_fft_plan *plan, lyr_fft_complex *in, lyr_fft_complex *out);
void lyr_fft_destroy_plan_(lyr_fft_plan *plan);
}

namespace lyr_test {
namespace {

using lyr_tools::buffers;
using lyr_tools::problem;

// Room for every problem below.
struct arrays {
    alignas(64) scalar in[4096];
    alignas(64) scalar out[4096];
    lyr_fft_complex *ci = complexes(in);
    lyr_fft_complex *co = complexes(out);
};
arrays a;

// A constructor call, whether it is to give a plan, and what it shows.
struct expectation {
    bool accepted;
    const char *what;
    lyr_fft_plan plan;
};

void check(std::initializer_list<expectation> list) {
    for (const expectation &e : list) {
        EXPECT_EQ(e.plan != nullptr, e.accepted) << e.what;
        lyr_fft_destroy_plan(e.plan);
    }
}

constexpr bool refused = false, accepted = true;
constexpr int forward = LYR_FFT_FORWARD;

// ---- Basic and advanced constructors ------------------------------------------------------------

TEST(refusals, basic) {
    const int n[] = {4, 6, 5, 3}, with_zero[] = {4, 0, 5};
    check({
        {accepted, "rank 3", lyr_fft_plan_dft(3, n, a.ci, a.co, forward, 0)},
        {refused, "null n", lyr_fft_plan_dft(1, nullptr, a.ci, a.co, forward, 0)},
        {refused, "rank 0", lyr_fft_plan_dft(0, n, a.ci, a.co, forward, 0)},
        {refused, "rank -1", lyr_fft_plan_dft(-1, n, a.ci, a.co, forward, 0)},
        {refused, "rank 4", lyr_fft_plan_dft(4, n, a.ci, a.co, forward, 0)},
        {refused, "sign 0", lyr_fft_plan_dft(2, n, a.ci, a.co, 0, 0)},
        {refused, "sign 2", lyr_fft_plan_dft(2, n, a.ci, a.co, 2, 0)},
        {refused, "length 0", lyr_fft_plan_dft(3, with_zero, a.ci, a.co, forward, 0)},
        {accepted, "1d", lyr_fft_plan_dft_1d(1, a.ci, a.co, forward, 0)},
        {refused, "1d n 0", lyr_fft_plan_dft_1d(0, a.ci, a.co, forward, 0)},
        {refused, "1d n -8", lyr_fft_plan_dft_1d(-8, a.ci, a.co, forward, 0)},
        {refused, "1d sign 0", lyr_fft_plan_dft_1d(8, a.ci, a.co, 0, 0)},
        {accepted, "2d", lyr_fft_plan_dft_2d(4, 6, a.ci, a.co, forward, 0)},
        {refused, "2d n0 0", lyr_fft_plan_dft_2d(0, 6, a.ci, a.co, forward, 0)},
        {refused, "2d n1 -1", lyr_fft_plan_dft_2d(4, -1, a.ci, a.co, forward, 0)},
        {refused, "2d sign -2", lyr_fft_plan_dft_2d(4, 6, a.ci, a.co, -2, 0)},
        {accepted, "3d", lyr_fft_plan_dft_3d(4, 6, 5, a.ci, a.co, LYR_FFT_BACKWARD, 0)},
        {refused, "3d n2 0", lyr_fft_plan_dft_3d(4, 6, 0, a.ci, a.co, forward, 0)},
        {refused, "3d sign 3", lyr_fft_plan_dft_3d(4, 6, 5, a.ci, a.co, 3, 0)},
        {refused, "r2c null n", lyr_fft_plan_dft_r2c(1, nullptr, a.in, a.co, 0)},
        {refused, "r2c rank 4", lyr_fft_plan_dft_r2c(4, n, a.in, a.co, 0)},
        {refused, "r2c length 0", lyr_fft_plan_dft_r2c_2d(4, 0, a.in, a.co, 0)},
        {refused, "c2r null n", lyr_fft_plan_dft_c2r(1, nullptr, a.ci, a.out, 0)},
        {refused, "c2r rank 0", lyr_fft_plan_dft_c2r(0, n, a.ci, a.out, 0)},
        {refused, "c2r length 0", lyr_fft_plan_dft_c2r_3d(0, 1, 1, a.ci, a.out, 0)},
        {refused, "r2r null kinds", lyr_fft_plan_r2r(1, n, a.in, a.out, nullptr, 0)},
        {refused, "r2r length 0", lyr_fft_plan_r2r_1d(0, a.in, a.out, LYR_FFT_DHT, 0)},
    });
}

struct many {
    int rank = 1;
    std::vector<int> n = {8};
    int howmany = 4;
    std::vector<int> inembed = {};
    int istride = 1, idist = 8;
    std::vector<int> onembed = {};
    int ostride = 1, odist = 8;
    bool in_place = false;
    int sign = forward;
};

lyr_fft_plan plan_many(const many &m) {
    return lyr_fft_plan_many_dft(m.rank, m.n.data(), m.howmany, a.ci,
                                 m.inembed.empty() ? nullptr : m.inembed.data(), m.istride, m.idist,
                                 m.in_place ? a.ci : a.co,
                                 m.onembed.empty() ? nullptr : m.onembed.data(), m.ostride, m.odist,
                                 m.sign, LYR_FFT_ESTIMATE);
}

TEST(refusals, many) {
    struct row {
        bool accepted;
        const char *what;
        many call;
    };
    const std::vector<int> two = {4, 6}, three = {2, 3, 4};
    const row rows[] = {
        {accepted, "plain", {}},
        {refused, "rank 0", {.rank = 0}},
        {refused, "rank 4", {.rank = 4, .n = {2, 2, 2, 2}}},
        {refused, "length 0", {.n = {0}}},
        {refused, "sign 0", {.sign = 0}},
        {refused, "sign 2", {.sign = 2}},
        {refused, "howmany 0", {.howmany = 0}},
        {refused, "howmany -1", {.howmany = -1}},
        {refused, "istride 0", {.istride = 0}},
        {refused, "ostride -1", {.ostride = -1}},
        {refused, "idist 0", {.idist = 0}},
        {refused, "odist -8", {.odist = -8}},
        {accepted, "distances of a single transform", {.howmany = 1, .idist = 0, .odist = -3}},
        {refused, "stride of a single transform", {.howmany = 1, .istride = 0}},
        {accepted, "extents", {.rank = 2, .n = two, .inembed = {4, 6}, .onembed = {9, 7}}},
        {accepted, "outermost extent", {.rank = 2, .n = two, .inembed = {1, 6}, .onembed = {0, 6}}},
        {refused, "inembed too small", {.rank = 2, .n = two, .inembed = {4, 3}}},
        {refused, "onembed too small", {.rank = 2, .n = two, .onembed = {4, 5}}},
        {accepted, "rank 3", {.rank = 3, .n = three, .inembed = {2, 3, 4}}},
        {refused, "middle extent", {.rank = 3, .n = three, .inembed = {2, 2, 4}}},
        {refused, "last extent", {.rank = 3, .n = three, .onembed = {2, 3, 3}}},
        {accepted, "in place, apart", {.in_place = true}},
        {accepted,
         "in place, interleaved",
         {.istride = 4, .idist = 1, .ostride = 4, .odist = 1, .in_place = true}},
        {refused,
         "in place, overlapping",
         {.istride = 2, .idist = 1, .ostride = 2, .odist = 1, .in_place = true}},
        {refused,
         "in place, outputs overlapping",
         {.istride = 4, .idist = 1, .ostride = 2, .odist = 1, .in_place = true}},
        {refused, "in place, outputs closer than long", {.odist = 7, .in_place = true}},
        {accepted, "in place, inputs closer than long", {.idist = 7, .in_place = true}},
        {accepted, "in place, expanding", {.odist = 10, .in_place = true}},
        {accepted, "in place, interleaved to apart", {.istride = 4, .idist = 1, .in_place = true}},
        {accepted,
         "in place, through each other",
         {.n = {2},
          .howmany = 2,
          .istride = 3,
          .idist = 2,
          .ostride = 3,
          .odist = 2,
          .in_place = true}},
        {accepted,
         "in place, one transform",
         {.howmany = 1, .istride = 2, .idist = 1, .ostride = 2, .odist = 1, .in_place = true}},
        {refused,
         "too large",
         {.rank = 3, .n = {INT_MAX, INT_MAX, INT_MAX}, .howmany = 1, .idist = 0, .odist = 0}},
        {refused,
         "stride too large",
         {.rank = 3,
          .n = {2, 2, 2},
          .howmany = 1,
          .inembed = {2, INT_MAX, INT_MAX},
          .istride = INT_MAX}},
    };
    for (const row &r : rows) check({{r.accepted, r.what, plan_many(r.call)}});

    // Real data: the forms that nothing can solve are refused all the same.
    const int n[] = {4, 6}, small[] = {4, 3};
    const lyr_fft_r2r_kind kinds[] = {LYR_FFT_DHT, LYR_FFT_DHT};
    check({
        {refused, "many null n",
         lyr_fft_plan_many_dft(1, nullptr, 1, a.ci, nullptr, 1, 1, a.co, nullptr, 1, 1, forward,
                               0)},
        {refused, "r2c howmany 0",
         lyr_fft_plan_many_dft_r2c(1, n, 0, a.in, nullptr, 1, 4, a.co, nullptr, 1, 3, 0)},
        {refused, "r2c onembed",
         lyr_fft_plan_many_dft_r2c(2, n, 1, a.in, nullptr, 1, 1, a.co, small, 1, 1, 0)},
        {refused, "c2r inembed",
         lyr_fft_plan_many_dft_c2r(2, n, 1, a.ci, small, 1, 1, a.out, nullptr, 1, 1, 0)},
        {refused, "r2r stride 0",
         lyr_fft_plan_many_r2r(2, n, 1, a.in, nullptr, 0, 1, a.out, nullptr, 1, 1, kinds, 0)},
    });
}

// ---- Guru constructors --------------------------------------------------------------------------

// One layout through the 32-bit and the 64-bit constructor.
struct guru {
    const char *what;
    bool accepted_32, accepted_64;
    int rank;
    std::vector<lyr_fft_iodim64> dims;
    int howmany_rank = 0;
    std::vector<lyr_fft_iodim64> howmany_dims = {};
    bool in_place = false;
};

TEST(refusals, guru) {
    const guru rows[] = {
        {"plain", true, true, 1, {{8, 1, 1}}},
        {"batch", true, true, 1, {{8, 1, 1}}, 1, {{3, 8, 9}}},
        {"rank -1", false, false, -1, {{8, 1, 1}}},
        {"rank 4", false, false, 4, {{2, 8, 8}, {2, 4, 4}, {2, 2, 2}, {2, 1, 1}}},
        {"batch rank -1", false, false, 1, {{8, 1, 1}}, -1, {{2, 8, 8}}},
        {"batch rank 4",
         false,
         false,
         1,
         {{2, 1, 1}},
         4,
         {{2, 16, 16}, {2, 8, 8}, {2, 4, 4}, {2, 2, 2}}},
        {"no dims", false, false, 1, {}},
        {"no batch dims", false, false, 1, {{8, 1, 1}}, 1, {}},
        {"length 0", false, false, 1, {{0, 1, 1}}},
        {"input stride 0", false, false, 1, {{8, 0, 1}}},
        {"output stride -1", false, false, 1, {{8, 1, -1}}},
        {"batch length 0", false, false, 1, {{8, 1, 1}}, 1, {{0, 8, 8}}},
        {"batch stride 0", false, false, 1, {{8, 1, 1}}, 1, {{2, 0, 8}}},
        {"batch stride -8", false, false, 1, {{8, 1, 1}}, 1, {{2, 8, -8}}},
        {"two dimensions", true, true, 2, {{4, 6, 6}, {6, 1, 1}}},
        {"interleaved dimensions", true, true, 2, {{4, 1, 1}, {6, 4, 4}}},
        {"outer stride within the inner dimension", false, true, 2, {{2, 3, 8}, {4, 2, 2}}},
        {"the same in the output", false, true, 2, {{2, 8, 3}, {4, 2, 2}}},
        {"three dimensions", true, true, 3, {{2, 12, 12}, {3, 4, 4}, {4, 1, 1}}},
        {"three that do not nest", false, true, 3, {{2, 1, 1}, {3, 2, 2}, {4, 6, 6}}},
        {"batches that nest", true, true, 1, {{4, 1, 1}}, 2, {{3, 8, 8}, {2, 4, 4}}},
        {"batches that do not", false, true, 1, {{4, 1, 1}}, 2, {{3, 4, 4}, {2, 12, 12}}},
        {"the longest 32-bit strides", true, true, 1, {{8, INT_MAX, INT_MAX}}},
    };
    for (const guru &g : rows) {
        const auto narrow = [](const std::vector<lyr_fft_iodim64> &wide) {
            std::vector<lyr_fft_iodim> list;
            for (const auto &[n, is, os] : wide)
                list.push_back({static_cast<int>(n), static_cast<int>(is), static_cast<int>(os)});
            return list;
        };
        const std::vector<lyr_fft_iodim> dims = narrow(g.dims), batch = narrow(g.howmany_dims);
        const auto data = [](const auto &list) { return list.empty() ? nullptr : list.data(); };
        check({{g.accepted_32, g.what,
                lyr_fft_plan_guru_dft(g.rank, data(dims), g.howmany_rank, data(batch), a.ci, a.co,
                                      forward, 0)},
               {g.accepted_64, g.what,
                lyr_fft_plan_guru64_dft(g.rank, data(g.dims), g.howmany_rank, data(g.howmany_dims),
                                        a.ci, a.co, forward, 0)}});
    }

    const lyr_fft_iodim one = {8, 1, 2}, copies = {3, 1, 2};
    const lyr_fft_iodim64 one_64 = {8, 1, 2}, copies_64 = {3, 1, 2},
                          huge[] = {{int64_t{1} << 32, int64_t{1} << 31, int64_t{1} << 31},
                                    {int64_t{1} << 31, 1, 1}};
    const lyr_fft_r2r_kind dht = LYR_FFT_DHT;
    const lyr_fft_iodim64 long_way = {3, INT64_MAX / 2, 1};
    check({
        {accepted, "rank 0 without dims",
         lyr_fft_plan_guru_dft(0, nullptr, 1, &copies, a.ci, a.co, forward, 0)},
        {accepted, "rank 0 without dims, 64-bit",
         lyr_fft_plan_guru64_dft(0, nullptr, 1, &copies_64, a.ci, a.co, forward, 0)},
        {refused, "r2r in place with two strides",
         lyr_fft_plan_guru_r2r(1, &one, 0, nullptr, a.in, a.in, &dht, 0)},
        {refused, "more than 2^63 bytes",
         lyr_fft_plan_guru64_dft(2, huge, 0, nullptr, a.ci, a.co, forward, 0)},
        {refused, "a stride beyond all memory",
         lyr_fft_plan_guru64_dft(1, &long_way, 0, nullptr, a.ci, a.co, forward, 0)},
        {refused, "split without imaginary parts",
         lyr_fft_plan_guru64_split_dft(1, &one_64, 0, nullptr, a.in, nullptr, a.out, nullptr, 0)},
        {refused, "r2c without dims",
         lyr_fft_plan_guru_dft_r2c(1, nullptr, 0, nullptr, a.in, a.co, 0)},
        {refused, "c2r rank 4",
         lyr_fft_plan_guru64_dft_c2r(4, &one_64, 0, nullptr, a.ci, a.out, 0)},
        {refused, "r2r without kinds",
         lyr_fft_plan_guru64_r2r(1, &one_64, 0, nullptr, a.in, a.out, nullptr, 0)},
        {refused, "split r2c batch without dims",
         lyr_fft_plan_guru_split_dft_r2c(1, &one, 1, nullptr, a.in, a.out, a.out + 64, 0)},
        {refused, "split c2r rank -1",
         lyr_fft_plan_guru_split_dft_c2r(-1, &one, 0, nullptr, a.in, a.in + 64, a.out, 0)},
    });
}

TEST(refusals, length_one_is_a_copy_of_the_batch) {
    const lyr_fft_iodim point = {1, 5, 5}, batch = {8, 1, 3};
    const plan_holder holder(
        lyr_fft_plan_guru_dft(1, &point, 1, &batch, a.ci, a.co, forward, LYR_FFT_ESTIMATE));
    ASSERT_NE(holder.plan, nullptr);
    EXPECT_EQ(holder.plan->rank, 0);
    for (int k = 0; k < 16; ++k) a.in[k] = static_cast<scalar>(k);
    lyr_fft_execute(holder.plan);
    for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(a.out[6 * k], 2 * k);
        EXPECT_EQ(a.out[6 * k + 1], 2 * k + 1);
    }
}

TEST(plans, flags_change_nothing) {
    constexpr unsigned flags[] = {
        LYR_FFT_DESTROY_INPUT, LYR_FFT_UNALIGNED,   LYR_FFT_CONSERVE_MEMORY,
        LYR_FFT_EXHAUSTIVE,    LYR_FFT_PATIENT,     LYR_FFT_PRESERVE_INPUT,
        LYR_FFT_ESTIMATE,      LYR_FFT_WISDOM_ONLY, ~0U};
    for (const char *text : {"ocf1024", "icb60x48", "ocf100*9i"}) {
        const problem p = problem_of(text);
        const buffers b = buffers_of(p);
        const plan_holder measured(
            make_plan(p, b, lyr_tools::constructor::automatic, LYR_FFT_MEASURE));
        for (const unsigned flag : flags) {
            const plan_holder flagged(make_plan(p, b, lyr_tools::constructor::automatic, flag));
            EXPECT_EQ(plan_text(flagged.plan), plan_text(measured.plan)) << text << " " << flag;
        }
        EXPECT_EQ(check_buffers(p, b), "") << "planning wrote to the arrays";
    }
}

TEST(plans, null_arguments_have_no_effect) {
    scalar *const x = a.in, *const y = a.out;
    lyr_fft_execute(nullptr);
    lyr_fft_execute_dft(nullptr, a.ci, a.co);
    lyr_fft_execute_dft_r2c(nullptr, x, a.co);
    lyr_fft_execute_dft_c2r(nullptr, a.ci, y);
    lyr_fft_execute_r2r(nullptr, x, y);
    lyr_fft_execute_split_dft(nullptr, x, x, y, y);
    lyr_fft_execute_split_dft_r2c(nullptr, x, y, y);
    lyr_fft_execute_split_dft_c2r(nullptr, x, x, y);
    lyr_fft_destroy_plan(nullptr);
    lyr_fft_cleanup();

    const plan_holder holder(lyr_fft_plan_dft_1d(16, a.ci, a.co, forward, 0));
    std::fill(std::begin(a.in), std::end(a.in), 1.0);
    std::fill(std::begin(a.out), std::end(a.out), -1.0);
    lyr_fft_execute_dft(holder.plan, nullptr, a.co);
    lyr_fft_execute_dft(holder.plan, a.ci, nullptr);
    lyr_fft_execute_split_dft(holder.plan, x, nullptr, y, y + 64);
    EXPECT_TRUE(std::all_of(std::begin(a.out), std::end(a.out), [](scalar v) { return v == -1; }));

    // Plans may be made before there are arrays.
    const plan_holder without(lyr_fft_plan_dft_1d(16, nullptr, nullptr, forward, 0));
    lyr_fft_execute(without.plan);
}

// Every function that runs a plan on other arrays, on plans of every kind: only the one that the
// plan was made for has an effect.
TEST(plans, calls_of_the_wrong_kind_have_no_effect) {
    scalar *const x = a.in, *const y = a.out;
    scalar *const xi = x + 64, *const yi = y + 64;
    const lyr_fft_iodim n = {8, 1, 1}, copies = {3, 16, 16};
    using run_function = void (*)(lyr_fft_plan);
    const run_function runs[] = {
        [](lyr_fft_plan p) { lyr_fft_execute_dft(p, a.ci, a.co); },
        [](lyr_fft_plan p) { lyr_fft_execute_dft_r2c(p, a.in, a.co); },
        [](lyr_fft_plan p) { lyr_fft_execute_dft_c2r(p, a.ci, a.out); },
        [](lyr_fft_plan p) { lyr_fft_execute_r2r(p, a.in, a.out); },
        [](lyr_fft_plan p) { lyr_fft_execute_split_dft(p, a.in, a.in + 64, a.out, a.out + 64); },
        [](lyr_fft_plan p) { lyr_fft_execute_split_dft_r2c(p, a.in, a.out, a.out + 64); },
        [](lyr_fft_plan p) { lyr_fft_execute_split_dft_c2r(p, a.in, a.in + 64, a.out); },
    };
    constexpr int kinds = 7;
    for (const int batch : {0, 1}) {
        const lyr_fft_plan made[kinds] = {
            lyr_fft_plan_guru_dft(1, &n, batch, &copies, a.ci, a.co, forward, 0),
            lyr_fft_plan_guru_dft_r2c(1, &n, batch, &copies, x, a.co, 0),
            lyr_fft_plan_guru_dft_c2r(1, &n, batch, &copies, a.ci, y, 0),
            lyr_fft_plan_r2r_1d(8, x, y, LYR_FFT_DHT, 0),
            lyr_fft_plan_guru_split_dft(1, &n, batch, &copies, x, xi, y, yi, 0),
            lyr_fft_plan_guru_split_dft_r2c(1, &n, batch, &copies, x, y, yi, 0),
            lyr_fft_plan_guru_split_dft_c2r(1, &n, batch, &copies, x, xi, y, 0),
        };
        for (int kind = 0; kind < kinds; ++kind) {
            const plan_holder holder(made[kind]);
            ASSERT_TRUE(holder.plan) << kind;
            for (int call = 0; call < kinds; ++call) {
                std::fill(std::begin(a.in), std::end(a.in), 1.0);
                std::fill(std::begin(a.out), std::end(a.out), -1.0);
                runs[call](holder.plan);
                EXPECT_EQ(a.out[0] != -1, call == kind) << "call " << call << ", plan " << kind;
                EXPECT_TRUE(
                    std::all_of(std::begin(a.in), std::end(a.in), [](scalar v) { return v == 1; }));
            }
        }
    }
}

// Split plans that were made without one of their arrays wait for all of them.
TEST(plans, split_plans_without_an_array) {
    scalar *const x = a.in, *const y = a.out;
    const lyr_fft_iodim n = {8, 1, 1}, copies = {3, 16, 16};
    for (int missing = 0; missing < 4; ++missing)
        for (const int batch : {0, 1}) {
            scalar *const array[] = {missing == 0 ? nullptr : x, missing == 1 ? nullptr : x + 64,
                                     missing == 2 ? nullptr : y, missing == 3 ? nullptr : y + 64};
            const plan_holder complex(lyr_fft_plan_guru_split_dft(1, &n, batch, &copies, array[0],
                                                                  array[1], array[2], array[3], 0));
            ASSERT_TRUE(complex.plan) << missing;
            const plan_holder there(lyr_fft_plan_guru_split_dft_r2c(1, &n, batch, &copies, array[0],
                                                                    array[2], array[3], 0));
            const plan_holder back(lyr_fft_plan_guru_split_dft_c2r(1, &n, batch, &copies, array[0],
                                                                   array[1], array[2], 0));
            std::fill(std::begin(a.in), std::end(a.in), 1.0);
            std::fill(std::begin(a.out), std::end(a.out), -1.0);
            const auto written = [] {
                return std::any_of(std::begin(a.out), std::end(a.out),
                                   [](scalar v) { return v != -1; });
            };
            lyr_fft_execute(complex.plan);
            if (missing != 1) lyr_fft_execute(there.plan);
            if (missing != 3) lyr_fft_execute(back.plan);
            EXPECT_FALSE(written()) << missing;
            lyr_fft_execute_split_dft(complex.plan, x, x + 64, y, y + 64);
            EXPECT_TRUE(written()) << missing;
        }
}

TEST(memory, blocks) {
    for (const size_t bytes : {size_t{0}, size_t{1}, size_t{64}, size_t{100}, size_t{1} << 20}) {
        auto *block = static_cast<unsigned char *>(lyr_fft_malloc(bytes));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0U);
        EXPECT_TRUE(std::all_of(block, block + bytes, [](unsigned char c) { return c == 0; }));
        std::memset(block, 0xff, bytes);
        lyr_fft_free(block);
    }
    lyr_fft_free(nullptr);
    scalar foreign[4] = {1, 2, 3, 4};
    lyr_fft_free(foreign + 1);
    EXPECT_EQ(foreign[1], 2);
}

TEST(memory, requests_beyond_all_memory) {
    for (const size_t bytes : {SIZE_MAX, SIZE_MAX - 71, SIZE_MAX - 72, SIZE_MAX / 2})
        EXPECT_EQ(lyr_fft_malloc(bytes), nullptr) << bytes;
}

TEST(version, texts) {
    EXPECT_STREQ(lyr_fft_version, "fft version: 2.0.2.B001");
    EXPECT_EQ(LFFTGetVersion(nullptr), 0);
    LFFTVersionRecord record;
    std::memset(&record, 'x', sizeof record);
    ASSERT_EQ(LFFTGetVersion(&record), 1);
    EXPECT_STREQ(record.product_name, "Velmora Lumenkit");
    EXPECT_STREQ(record.product_version, "23.0.RC2");
    EXPECT_STREQ(record.component_name, "LumenKit-lyr");
    EXPECT_STREQ(record.component_version, "2.2.0");
    EXPECT_STREQ(record.compiler, "gcc");
    EXPECT_STREQ(record.library_name, "lumenkit-lyr-fft");
    EXPECT_STREQ(record.library_version, "2.2.0");
    constexpr int number = LYR_FFT_VERSION_NUMBER;
    EXPECT_EQ(std::string(record.library_version), std::to_string(number / 10000) + '.' +
                                                       std::to_string(number / 100 % 100) + '.' +
                                                       std::to_string(number % 100));
}

// ---- Fortran ------------------------------------------------------------------------------------

TEST(fortran, round_trip) {
    const int rank = 2, n[] = {6, 10}, howmany = 2, stride = 1, dist = 60;
    const int backward = LYR_FFT_BACKWARD;
    const unsigned flags = LYR_FFT_ESTIMATE;
    std::vector<scalar> in(240), out(240), back(240), expected(240);
    random_source random{7};
    for (scalar &x : in) x = static_cast<scalar>(random.uniform());

    lyr_fft_plan there =
        lyr_fft_plan_many_dft_(&rank, n, &howmany, complexes(in.data()), nullptr, &stride, &dist,
                               complexes(out.data()), nullptr, &stride, &dist, &forward, &flags);
    lyr_fft_plan home =
        lyr_fft_plan_many_dft_(&rank, n, &howmany, complexes(out.data()), n, &stride, &dist,
                               complexes(back.data()), n, &stride, &dist, &backward, &flags);
    ASSERT_TRUE(there && home);
    lyr_fft_execute_(&there);
    lyr_fft_execute_dft_(&home, complexes(out.data()), complexes(back.data()));
    for (size_t k = 0; k < in.size(); ++k) EXPECT_NEAR(back[k], 60 * in[k], 1000 * roundoff);
    lyr_fft_destroy_plan_(&there);
    lyr_fft_destroy_plan_(&home);

    const plan_holder same(lyr_fft_plan_many_dft(rank, n, howmany, complexes(in.data()), nullptr,
                                                 stride, dist, complexes(expected.data()), nullptr,
                                                 stride, dist, forward, flags));
    lyr_fft_execute(same.plan);
    EXPECT_EQ(std::memcmp(out.data(), expected.data(), out.size() * sizeof(scalar)), 0);
    const int zero = 0;
    EXPECT_EQ(lyr_fft_plan_dft_1d_(&zero, nullptr, nullptr, &forward, &flags), nullptr);
}

// ---- Threads ------------------------------------------------------------------------------------

TEST(threads, setting) {
    EXPECT_EQ(lyr_fft_init_threads(), 1);
    constexpr std::pair<int, int64_t> settings[] = {{4, 4},     {0, 1},         {-7, 1}, {512, 512},
                                                    {513, 512}, {INT_MAX, 512}, {1, 1}};
    for (const auto &[asked, expected] : settings) {
        lyr_fft_plan_with_nthreads(asked);
        EXPECT_EQ(lyr::library_threads(), expected) << asked;
        const plan_holder holder(lyr_fft_plan_dft_1d(8, a.ci, a.co, forward, 0));
        EXPECT_EQ(holder.plan->nthreads, expected);
    }
    lyr_fft_cleanup_threads();
    lyr_fft_cleanup_threads();
}

// Distinct plans in several threads at once, with the same results as one after another.
TEST(threads, distinct_plans_at_the_same_time) {
    constexpr int thread_count = 4;
    const std::vector<const char *> texts = {"ocf16",    "ocf60:2:3", "icb1024",  "ocf24x36",
                                             "ocf64*9i", "icf30*5",   "ocb7x8x9", "ocf2310"};
    std::vector<problem> problems;
    std::vector<buffers> expected;
    for (const char *text : texts) {
        problems.push_back(problem_of(text));
        expected.push_back(buffers_of(problems.back()));
        const plan_holder holder(make_plan(problems.back(), expected.back()));
        lyr_fft_execute(holder.plan);
    }
    const auto work = [&](int thread, bool &ok) {
        ok = true;
        for (size_t i = 0; i < 5 * problems.size(); ++i) {
            const size_t k = (i + static_cast<size_t>(thread)) % problems.size();
            const problem &p = problems[k];
            buffers b;
            std::string error;
            ok = ok && make_buffers(p, {}, b, error);
            const lyr_fft_plan plan = make_plan(p, b);
            lyr_fft_execute(plan);
            ok = ok && plan && same_outputs(p, b, expected[k]) && check_buffers(p, b).empty();
            lyr_fft_destroy_plan(plan);
            lyr_fft_plan_with_nthreads(1);
        }
    };
    std::vector<std::thread> threads;
    bool ok[thread_count];
    for (int t = 0; t < thread_count; ++t) threads.emplace_back(work, t, std::ref(ok[t]));
    for (std::thread &thread : threads) thread.join();
    for (const bool one : ok) EXPECT_TRUE(one);
}

}  // namespace
}  // namespace lyr_test
