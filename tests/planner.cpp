// The parts of the planner: dimension records, factors, roots of unity, the choice of solvers.
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <span>

#include "api/memory.h"
#include "batch/bufferization.h"
#include "batch/copy_transpose.h"
#include "batch/slab_batch.h"
#include "codelets/split_stages.h"
#include "dft/bluestein.h"
#include "dft/c2c_1d_large.h"
#include "dft/factorize.h"
#include "dft/orders.h"
#include "dft/rader.h"
#include "dft/twiddle.h"
#include "planner/cache_sizes.h"
#include "planner/describe.h"
#include "planner/registry.h"
#include "support.h"

namespace lyr_test {
namespace {

__extension__ typedef __int128 int128;
using lyr::plan;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

constexpr bool is_double = sizeof(scalar) == sizeof(double);

// ---- Records ------------------------------------------------------------------------------------

AssertionResult dims_are(const plan &p, std::vector<lyr_fft_iodim64> expected) {
    if (p.rank != static_cast<int>(expected.size())) return AssertionFailure() << "rank " << p.rank;
    for (int k = 0; k < p.rank; ++k) {
        const auto &[n, is, os] = expected[static_cast<size_t>(k)];
        if (p.dims[k].n != n || p.dims[k].is != is || p.dims[k].os != os)
            return AssertionFailure() << "dims[" << k << "] = " << p.dims[k].n << ", "
                                      << p.dims[k].is << ", " << p.dims[k].os;
    }
    return AssertionSuccess();
}

TEST(records, dims_from_lengths_and_extents) {
    scalar a[1], b[1];
    struct example {
        int32_t kind;
        bool in_place;
        std::vector<int> n, inembed;
        int istride;
        std::vector<int> onembed;
        int ostride;
        std::vector<lyr_fft_iodim64> dims;
    };
    const example examples[] = {
        {kind_complex, false, {9}, {}, 2, {}, 5, {{9, 2, 5}}},
        {kind_complex, false, {4, 6}, {}, 1, {}, 1, {{4, 6, 6}, {6, 1, 1}}},
        {kind_complex, false, {4, 6}, {5, 8}, 3, {1, 7}, 2, {{4, 24, 14}, {6, 3, 2}}},
        {kind_complex, true, {2, 3, 5}, {}, 2, {}, 2, {{2, 30, 30}, {3, 10, 10}, {5, 2, 2}}},
        {kind_complex,
         false,
         {2, 3, 5},
         {9, 4, 6},
         1,
         {9, 3, 7},
         1,
         {{2, 24, 21}, {3, 6, 7}, {5, 1, 1}}},
        {kind_r2c, false, {4, 6}, {}, 1, {}, 1, {{4, 6, 4}, {6, 1, 1}}},
        {kind_r2c, true, {4, 6}, {}, 1, {}, 1, {{4, 8, 4}, {6, 1, 1}}},
        {kind_r2c, true, {4, 7}, {}, 1, {}, 1, {{4, 8, 4}, {7, 1, 1}}},
        {kind_c2r, false, {4, 6}, {}, 1, {}, 1, {{4, 4, 6}, {6, 1, 1}}},
        {kind_c2r, true, {4, 6}, {}, 1, {}, 1, {{4, 4, 8}, {6, 1, 1}}},
        {kind_r2c, false, {2, 3, 6}, {}, 1, {}, 1, {{2, 18, 12}, {3, 6, 4}, {6, 1, 1}}},
        {kind_r2c, true, {4, 6}, {4, 10}, 1, {4, 5}, 1, {{4, 10, 5}, {6, 1, 1}}},
        {kind_r2r, true, {4, 6}, {}, 1, {}, 1, {{4, 6, 6}, {6, 1, 1}}},
    };
    for (const example &e : examples) {
        plan p = {};
        p.kind = e.kind;
        p.in = a;
        p.out = e.in_place ? a : b;
        lyr::plan_fill_dims(&p, static_cast<int>(e.n.size()), e.n.data(),
                            e.inembed.empty() ? nullptr : e.inembed.data(), e.istride,
                            e.onembed.empty() ? nullptr : e.onembed.data(), e.ostride);
        EXPECT_TRUE(dims_are(p, e.dims)) << "example " << &e - examples;
    }
}

TEST(records, clearing) {
    lyr::plan_clear(nullptr);
    plan p = {};
    p.rank = 1;
    p.dims[0] = {7, 1, 1};
    lyr::plan_clear(&p);

    scalar not_owned[4];
    p.aux = not_owned;
    p.aux_bytes = sizeof not_owned;
    lyr::plan_clear(&p);
    EXPECT_EQ(p.aux, not_owned);

    // Released blocks and children are gone from the record; what stays alive is a leak.
    p.aux = lyr::aligned_alloc_zero(64);
    p.aux_owned = 1;
    p.aux_bytes = 64;
    p.work_bytes = p.scratch_bytes = 128;
    p.children = lyr::plan_alloc_children(2);
    p.nchildren = 2;
    p.children[1].aux = lyr::aligned_alloc_zero(32);
    p.children[1].aux_bytes = 32;
    p.children[1].aux_owned = 1;
    lyr::plan_clear(&p);
    EXPECT_TRUE(!p.aux && !p.aux_bytes && !p.aux_owned && !p.work_bytes && !p.scratch_bytes &&
                !p.children && !p.nchildren);
    EXPECT_TRUE(dims_are(p, {{7, 1, 1}}));
    lyr::plan_clear(&p);
    EXPECT_EQ(lyr::plan_alloc_children(0), nullptr);
    EXPECT_EQ(lyr::plan_alloc_children(-1), nullptr);
}

// ---- The choice of solvers ----------------------------------------------------------------------

TEST(choice, registry_order) {
    constexpr const char *names[] = {
        "solve_problem_rearrange_inplace",
        "solve_problem_dft_split",
        "solve_problem_dft_many_split",
        "solve_problem_nop",
        "solve_problem_c2r_multidimension_many",
        "solve_problem_r2c_multidimension_many",
        "solve_problem_dft_many_multithread",
        "solve_problem_many_inside",
        "solve_bufferized_problem",
        "solve_indirect_problem",
        "solve_problem_dft_many_transpose",
        "solve_problem_dft_many_post_transpose",
        "solve_problem_r2c_1d_direct",
        "solve_problem_r2c_many_direct",
        "solve_problem_c2r_direct",
        "solve_problem_real_unit",
        "solve_problem_r2hc_direct",
        "solve_problem_hc2r_direct",
        "solve_problem_dht_direct",
        "solve_problem_redft00_direct",
        "solve_problem_c2r_many",
        "solve_problem_r2c_many",
        "solve_problem_r2hc_many",
        "solve_problem_dft_many",
        "solve_problem_dft_unit",
        "solve_problem_c2c_1d_rader",
        "solve_problem_c2c_1d_bluestein",
        "solve_problem_c2c_1d_large",
        "solve_problem_dft_direct",
        "solve_problem_c2c_1d",
        "solve_problem_odd_real_large",
        "solve_problem_r2c_1d",
        "solve_problem_c2r_1d",
        "solve_problem_r2hc_1d",
        "solve_problem_hc2r_1d",
        "solve_problem_dht_1d",
        "solve_problem_redft00_1d",
        "solve_problem_r2r_1d",
        "solve_problem_multidimension",
        "solve_problem_c2r_multidimension",
        "solve_problem_rearrange_outplace",
        "solve_problem_dft_many_transpose_rotate",
        "solve_problem_inplace_buffered",
    };
    ASSERT_EQ(std::size(names), static_cast<size_t>(lyr::registry_size));
    for (size_t k = 0; k < std::size(names); ++k)
        EXPECT_STREQ(lyr::registry[k].name, names[k]) << "entry " << k;
}

TEST(choice, unsolvable_problems_leave_nothing_behind) {
    EXPECT_EQ(lyr::plan_solve(nullptr), -1);
    scalar in[64], out[64];
    plan p = {};
    p.kind = kind_rotated_batch;
    p.sign = -1;
    p.split = -1;
    p.rank = 2;
    p.dims[0] = {4, 4, 4};
    p.dims[1] = {4, 1, 1};
    p.in = in;
    p.out = out;
    EXPECT_EQ(lyr::plan_solve(&p), -1);
    EXPECT_TRUE(!p.children && !p.nchildren && !p.aux && !p.work_bytes);
    EXPECT_TRUE(dims_are(p, {{4, 4, 4}, {4, 1, 1}}));
}

// Solver and executor of a plan and of its descendants: "solver/executor(child child)".
std::string names_of(const plan *p) {
    std::string text = p->solver_name;
    text += "/";
    text += p->execute_name;
    for (int k = 0; k < p->nchildren; ++k) {
        text += k == 0 ? "(" : " ";
        text += names_of(&p->children[k]);
    }
    if (p->nchildren > 0) text += ")";
    return text;
}

TEST(choice, solvers_and_executors) {
    struct example {
        const char *problem;
        const char *names;
        const char *with_one_lane = names;
    };
    const bool one_lane = lyr::active_table()->lanes == 1;
    const bool dense_16 = lyr::dense_batch_for(16) != nullptr;
    const with_caches sizes(lyr::usual_caches);
    const with_first_level_cache cache(false);
#define UNIT "solve_problem_dft_unit/execute_dft_unit"
#define UNIT_GENERAL "solve_problem_dft_unit/execute_dft_unit_general"
#define DIRECT "solve_problem_dft_direct/execute_dft_direct"
#define TWO_STAGES "solve_problem_c2c_1d/execute_1d_two_stages"
#define STAGES "solve_problem_c2c_1d/execute_1d"
#define SLAB "solve_problem_dft_many_transpose/execute_many_transpose"
#define SPLIT "solve_problem_dft_split/execute_split"
#define MANY_SPLIT "solve_problem_dft_many_split/execute_many_split"
#define REARRANGED_INPLACE "solve_problem_rearrange_inplace/execute_rearrange_inplace"
#define REARRANGED_OUTPLACE "solve_problem_rearrange_outplace/execute_rearrange_outplace"
    const example examples[] = {
        {"ocf1", "solve_problem_nop/execute_nop"},
        {"ocf1:1:1*5:2:1", "solve_problem_nop/execute_nop"},
        {"ocf1:7:7", "solve_problem_nop/execute_nop"},
        {"ocf16", UNIT, DIRECT},
        {"icb5:2:2", DIRECT},
        {"icb37:3:3", UNIT_GENERAL, DIRECT},
        {"ocf16:1:1*1:90:90", UNIT, DIRECT},
        {"ocf48", UNIT, TWO_STAGES},
        {"ocf64:2:3", TWO_STAGES},
        {"orf15", "solve_problem_real_unit/execute_real_unit",
         "solve_problem_r2c_1d/execute_1d_r2c_odd(" UNIT ")"},
        {"irb12", "solve_problem_real_unit/execute_real_unit",
         "solve_problem_c2r_1d/execute_1d_c2r(" DIRECT ")"},
        {"orf15:2:1", "solve_problem_r2c_1d/execute_1d_r2c_odd(" UNIT ")"},
        {"ocf1024", "solve_problem_c2c_1d/execute_1d"},
        {"icf1024", "solve_problem_c2c_1d/execute_1d"},
        {"ocf1024:2:1", "solve_problem_c2c_1d/execute_1d_discrete"},
        {"icf1024:2:2", "solve_problem_c2c_1d/execute_1d_discrete"},
        {"ocf41", UNIT, "solve_problem_c2c_1d_rader/execute_1d_rader(" TWO_STAGES ")"},
        {"ocf47:2:1", UNIT_GENERAL,
         "solve_problem_c2c_1d_rader/execute_1d_rader_discrete(" TWO_STAGES ")"},
        {"icb83", "solve_problem_c2c_1d_bluestein/execute_1d_prime_bluestein(" TWO_STAGES ")"},
        {"ocf214:1:2",
         "solve_problem_c2c_1d_bluestein/execute_1d_prime_bluestein_discrete(" TWO_STAGES ")"},
        {"ocf1763", "solve_problem_c2c_1d_bluestein/execute_1d_prime_bluestein(" STAGES ")"},
        {"ocf8000", STAGES},
        {"icf262144",
         lyr::is_half_line(lyr::active_table()->lanes)
             ? "solve_problem_c2c_1d_large/execute_c2c_1d_large("
               "solve_problem_dft_many_transpose_rotate/execute_many_transpose_rotate(" STAGES ") "
               "solve_bufferized_problem/execute_bufferization_walk("
               "solve_indirect_problem/execute_indirect_before("
               "solve_problem_dft_many/execute_many(" STAGES "))))"
             : "solve_problem_c2c_1d_large/execute_c2c_1d_large("
               "solve_problem_dft_many_transpose_rotate/execute_many_transpose_rotate "
               "solve_problem_dft_many_post_transpose/execute_many_post_transpose)"},
        {"ocf16384:2:1", "solve_problem_c2c_1d/execute_1d_discrete"},
        {"ocf100:1:40*40:100:1",
         "solve_problem_dft_many_post_transpose/execute_many_post_transpose"},
        {"icf160:1:40*40:160:1",
         "solve_problem_dft_many_post_transpose/execute_many_post_transpose_inplace("
         "solve_problem_dft_many/execute_many(" TWO_STAGES ") " REARRANGED_INPLACE ")"},
        {"ocf512:512:512*17:1:1",
         "solve_bufferized_problem/execute_bufferization_walk("
         "solve_indirect_problem/execute_indirect_before("
         "solve_problem_dft_many/execute_many(" STAGES ")))"},
        {"ocf255:255:255*17:1:1", SLAB},
        {"ocf256:256:256*16:1:1", SLAB},
        {"ocf256:257:256*17:1:1", SLAB},
        {"ocf328:328:328*17:1:1",
         "solve_problem_dft_many/execute_many("
         "solve_problem_c2c_1d_rader/execute_1d_rader_discrete(" TWO_STAGES "))"},
        {"ocf16:16:1*9:1:16", "solve_problem_dft_many/execute_many_direct(" DIRECT ")"},
        {"ocf15:16:1*9:1:15", "solve_indirect_problem/execute_gathered(" UNIT ")"},
        {"ocf21:30:1*9:1:25", "solve_indirect_problem/execute_gathered(" UNIT ")"},
        {"ocf8000:2:1*3:20000:8000", "solve_indirect_problem/execute_gathered(" STAGES ")"},
        {"ocf8232:3:1*3:1:8232",
         "solve_indirect_problem/execute_indirect_before("
         "solve_problem_dft_many/execute_many(" STAGES "))"},
        {"ocf16*4096",
         dense_16 ? "solve_problem_dft_many/execute_many_dense(" UNIT ")"
                  : "solve_problem_dft_many/execute_many(" UNIT ")",
         "solve_problem_dft_many/execute_many_direct(" DIRECT ")"},
        {is_double ? "ocf1000*66" : "ocf1000*132",
         "solve_problem_dft_many/execute_many_far(" STAGES ")"},
        {is_double ? "icf1000*525" : "icf1000*1049",
         "solve_problem_dft_many/execute_many_far(" STAGES ")"},
        {is_double ? "ocf1000*525" : "ocf1000*1049",
         lyr::has_copies_past ? "solve_problem_dft_many/execute_many_past_copied(" STAGES ")"
                              : "solve_problem_dft_many/execute_many_copied(" STAGES ")"},
        {"icf4*200000", "solve_problem_dft_many/execute_many_dense(" UNIT ")",
         "solve_problem_dft_many/execute_many_direct(" DIRECT ")"},

        {"ocf16*8i", SLAB},
        {"icf100*8i", SLAB},
        {"ocf16*8",
         dense_16 ? "solve_problem_dft_many/execute_many_dense(" UNIT ")"
                  : "solve_problem_dft_many/execute_many(" UNIT ")",
         "solve_problem_dft_many/execute_many_direct(" DIRECT ")"},
        {"ocf64*5*8i", "solve_problem_dft_many/execute_many(" SLAB ")"},
        {"ocf12x16*8i", "solve_problem_many_inside/execute_many_inside(" SLAB " " SLAB ")"},
        {"ocf12x16",
         dense_16 ? "solve_problem_multidimension/execute_multidimension("
                    "solve_problem_dft_many/execute_many_dense(" UNIT ") " SLAB ")"
                  : "solve_problem_multidimension/execute_multidimension("
                    "solve_problem_dft_many/execute_many(" UNIT ") " SLAB ")",
         "solve_problem_multidimension/execute_multidimension("
         "solve_problem_dft_many/execute_many_direct(" DIRECT ") " SLAB ")"},
        {"icf16:2:1*9:32:32", "solve_problem_dft_many/execute_many_direct(" DIRECT ")"},
        {"oscf9", SPLIT "(" UNIT ")", SPLIT "(" DIRECT ")"},
        {"oscf100", "solve_problem_dft_split/execute_split_stages(" TWO_STAGES ")"},
        {"iscb60:2:3", SPLIT "(" TWO_STAGES ")"},
        {"oscf9*3", MANY_SPLIT "(" SPLIT "(" UNIT "))", MANY_SPLIT "(" SPLIT "(" DIRECT "))"},
        {"iscf9*2*3i", MANY_SPLIT "(" MANY_SPLIT "(" SPLIT "(" UNIT ")))",
         MANY_SPLIT "(" MANY_SPLIT "(" SPLIT "(" DIRECT ")))"},
        {"oscf0*3", MANY_SPLIT "(" SPLIT "(" REARRANGED_INPLACE "))"},
        {"ocf0*9:2:1", "solve_problem_nop/execute_nop"},
        {"ok0*9:2:1", REARRANGED_OUTPLACE},
        {"ocf0*4:1:4*4:4:1", REARRANGED_OUTPLACE},
        {"icf0*9", REARRANGED_INPLACE},
        {"icf0*4:1:4*4:4:1", REARRANGED_INPLACE},
        {"ik0*4:1:9*4:4:1", REARRANGED_INPLACE},
    };
#undef REARRANGED_OUTPLACE
#undef REARRANGED_INPLACE
#undef MANY_SPLIT
#undef SPLIT
#undef DIRECT
#undef UNIT
#undef UNIT_GENERAL
#undef SLAB
#undef TWO_STAGES
#undef STAGES
    for (const example &e : examples) {
        const lyr_tools::problem p = problem_of(e.problem);
        const lyr_tools::buffers b = buffers_of(p);
        const plan_holder holder(make_plan(p, b, lyr_tools::constructor::guru64));
        ASSERT_NE(holder.plan, nullptr) << e.problem;
        EXPECT_EQ(names_of(holder.plan), one_lane ? e.with_one_lane : e.names) << e.problem;
    }
}

// Lengths with stages of split arrays in a table, or with registers for them, are transformed by
// them: powers of two from 16 on, and some short lengths in double precision, with AVX2.
TEST(choice, stages_of_split_arrays) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        const bool has_them = std::string_view(table->name) == "avx2";
        const int64_t longest = is_double ? 1024 : 4096;
        for (const int64_t n :
             {8, 12, 15, 16, 20, 32, 48, 60, 64, 128, 256, 512, 1024, 2048, 4096, 8192}) {
            const bool is_power = (n & (n - 1)) == 0 && n >= 16 && n <= longest;
            const bool is_short = is_double && (n == 8 || n == 12 || n == 20 || n == 48);
            const bool is_listed = has_them && (is_power || is_short);
            EXPECT_EQ(lyr::split_stages_for(n) != nullptr, is_listed) << table->name << ' ' << n;
            const std::string length = std::to_string(n);
            for (const char *kind : {"oscf", "oscb", "iscf"}) {
                const lyr_tools::problem p = problem_of(kind + length);
                const lyr_tools::buffers b = buffers_of(p);
                const plan_holder holder(make_plan(p, b, lyr_tools::constructor::guru64));
                ASSERT_NE(holder.plan, nullptr);
                EXPECT_EQ(names_of(holder.plan) == "solve_problem_dft_split/execute_split_parts",
                          is_listed)
                    << table->name << ' ' << kind << n;
            }
        }
    }
}

// Adds the executors of a plan tree to those known by their names.
void collect_executors(const plan *p, std::map<std::string, std::set<const void *>> &by_name) {
    by_name[p->execute_name].insert(p->split == 1
                                        ? reinterpret_cast<const void *>(p->execute_split_fn)
                                        : reinterpret_cast<const void *>(p->execute_fn));
    for (int k = 0; k < p->nchildren; ++k) collect_executors(&p->children[k], by_name);
}

constexpr const char *copied_batch =
    lyr::has_copies_past ? "execute_many_past_copied" : "execute_many_copied";

// A chunk is too large for the last-level cache when all of them are.
TEST(choice, chunks_share_the_last_level_cache) {
    const with_caches sizes(lyr::usual_caches);
    const int64_t fits = lyr::far_output_bytes() / (1000 * lyr::complex_bytes);
    for (const int threads : {1, 2})
        for (const int64_t count : {fits * 9 / 10, fits * 11 / 10}) {
            lyr_fft_plan_with_nthreads(threads);
            const lyr_tools::problem p = problem_of("ocf1000*" + std::to_string(count));
            const plan_holder holder(make_plan(p, buffers_of(p)));
            lyr_fft_plan_with_nthreads(1);
            ASSERT_NE(holder.plan, nullptr);
            std::map<std::string, std::set<const void *>> executors;
            collect_executors(holder.plan, executors);
            EXPECT_EQ(executors.count(copied_batch), count > fits ? 1U : 0U)
                << threads << " " << count;
        }
}

// But for codelets that are executors themselves, one for each length.
TEST(choice, executors_have_names_of_their_own) {
    std::map<std::string, std::set<const void *>> by_name;
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int threads : {1, 3}) {
            lyr_fft_plan_with_nthreads(threads);
            for (const char *text : {"ocf1",
                                     "ocf16",
                                     "ocf64",
                                     "ocf1000",
                                     "ocf1000:2:2",
                                     "ocf4096",
                                     "ocf32768",
                                     "ocf41",
                                     "ocf83:2:2",
                                     "ocf16*9",
                                     "ocf60*3000",
                                     "ocf60*50",
                                     "ocf60*50i",
                                     "ocf41*50",
                                     "ocf256:256:256*17:1:1",
                                     "icf9x16",
                                     "ocf9x16*8i",
                                     "ocf16:16:1*9:1:16",
                                     "icf60:1:9*9:60:1",
                                     "ocf60:1:9*9:60:1",
                                     "ocf256:1:9*9:256:1",
                                     "oscf16",
                                     "oscf64",
                                     "oscf100",
                                     "oscf60x64",
                                     "oscf600x8",
                                     "oscf8x9x10",
                                     "oscf16*3",
                                     "icf0*4:1:4*4:4:1",
                                     "ocf0*4:1:4*4:4:1",
                                     "orf8",
                                     "orf8:2:2",
                                     "orf8*5",
                                     "orf1000",
                                     "orf1000:2:2",
                                     "orf1001",
                                     "orf30000",
                                     "orf1000*5i",
                                     "orf9*5i",
                                     "irf8x9*5i",
                                     "orb8",
                                     "orb8:2:2",
                                     "orb1000",
                                     "orb1000:2:2",
                                     "orb1001",
                                     "orb30000",
                                     "orb1000*5i",
                                     "orb9*5i",
                                     "irb8x9*5i",
                                     "orb8x9",
                                     "irb8x9",
                                     "irb8x9x10",
                                     "ok8f",
                                     "ok8f:2:2",
                                     "ok8b",
                                     "ok8b:2:2",
                                     "ok8h",
                                     "ok8h:2:2",
                                     "ok9e00",
                                     "ok9e00:2:2",
                                     "ok5e10",
                                     "ok60e10",
                                     "ok60e10:2:2",
                                     "ok99e11",
                                     "ok100e00",
                                     "ok100o00",
                                     "ok101e00",
                                     "ok60e10*9i",
                                     "ok60f*9i"}) {
                const lyr_tools::problem p = problem_of(text);
                const plan_holder holder(make_plan(p, buffers_of(p)));
                ASSERT_NE(holder.plan, nullptr) << text;
                collect_executors(holder.plan, by_name);
            }
        }
    }
    lyr_fft_plan_with_nthreads(1);
    EXPECT_GE(by_name.size(), 50U);
    for (const auto &[name, executors] : by_name) {
        if (name.ends_with("_unit")) continue;
        EXPECT_EQ(executors.size(), 1U) << name;
    }
}

// The buffer holds no more than it has to.
TEST(choice, buffers_of_batches_in_place) {
    struct example {
        const char *problem;
        uint64_t reals;  // 0: none
    };
    const example examples[] = {
        {"icf16:1:1*9:16:16", 0},
        {"icf16:1:1*9:16:17", 9 * 16 * 2},
        // Some at a time; one.
        {is_double ? "icf16:1:1*99:17:16" : "icf16:1:1*198:17:16", (is_double ? 33 : 99) * 16 * 2},
        {"icf4096:1:1*3:5000:4096", 4096 * 2},
        {"icf16:2:1*9:31:31", 0},
        {"icf16:9:1*9:1:16", 9 * 16 * 2},
        {"icf2:1:1*3:100:50*4:10:11", 4 * 2 * 2},
        {"iscf16:1:1*9:16:17", 9 * 16 * 2},
        {"iscf0*9:1:2", 9 * 2},
        {"irf8:1:1*4:12:5", 4 * 5 * 2},
        {"irb8:1:1*4:5:8", 4 * 8},
    };
    for (const example &e : examples) {
        const lyr_tools::problem p = problem_of(e.problem);
        const plan_holder holder(make_plan(p, buffers_of(p), lyr_tools::constructor::guru64));
        ASSERT_NE(holder.plan, nullptr) << e.problem;
        const bool buffered =
            std::string(holder.plan->solver_name) == "solve_problem_inplace_buffered";
        EXPECT_EQ(buffered ? holder.plan->work_bytes : 0, e.reals * sizeof(scalar)) << e.problem;
    }
}

// The buffer of a split transform is dense; sides that hold real numbers stay out of it.
TEST(choice, children_of_split_transforms) {
    scalar a[400], b[400], c[400], d[400];
    constexpr lyr_fft_iodim64 dims[] = {{3, 60, 70}, {8, 2, 3}, {10, 17, 27}};
    struct example {
        int32_t kind;
        uint64_t numbers;
        std::vector<lyr_fft_iodim64> child;
    };
    const example examples[] = {
        {kind_complex, 3 * 8 * 10, {{3, 80, 80}, {8, 10, 10}, {10, 1, 1}}},
        {kind_c2r, 3 * 8 * 6, {{3, 48, 70}, {8, 6, 3}, {10, 1, 27}}},
        {kind_r2c, 3 * 8 * 6, {{3, 60, 48}, {8, 2, 6}, {10, 17, 1}}},
    };
    for (const example &e : examples) {
        plan p = {};
        p.kind = e.kind;
        p.sign = e.kind == kind_c2r ? 1 : -1;
        p.split = 1;
        p.rank = 3;
        std::copy(std::begin(dims), std::end(dims), p.dims);
        p.in = a;
        p.in_imag = e.kind == kind_r2c ? nullptr : b;
        p.out = c;
        p.out_imag = e.kind == kind_c2r ? nullptr : d;
        lyr::solve_problem_dft_split(&p);
        EXPECT_EQ(p.work_bytes, e.numbers * lyr::complex_bytes) << e.kind;
        ASSERT_EQ(p.nchildren, 1);
        const plan &child = p.children[0];
        EXPECT_TRUE(dims_are(child, e.child)) << e.kind;
        EXPECT_TRUE(child.split == -1 && child.kind == e.kind && !child.in_imag && !child.out_imag);
        EXPECT_EQ(child.in, e.kind == kind_r2c ? a : lyr::scratch_array(&p));
        EXPECT_EQ(child.out, e.kind == kind_c2r ? c : lyr::scratch_array(&p));
        lyr::plan_clear(&p);
    }
}

// Children stand in until there are solvers for real data: what they are given and what becomes
// of their results.
TEST(choice, sides_of_split_transforms) {
    scalar re[12], im[12], real[12], real_out[12];
    const auto seen = [](const plan *, scalar *in, scalar *out, scalar *) {
        for (int k = 0; k < 12; ++k) out[k] = 100 + in[k];
    };
    for (int k = 0; k < 12; ++k) real[k] = re[k] = static_cast<scalar>(k), im[k] = 20 + re[k];
    plan p = {};
    p.kind = kind_r2c;
    p.sign = -1;
    p.split = 1;
    p.rank = 1;
    p.dims[0] = {10, 1, 2};
    p.in = real;
    p.out = re;
    p.out_imag = im;
    errno = 0;  // as constructors do
    ASSERT_EQ(lyr::plan_solve(&p), 0);
    ASSERT_EQ(p.nchildren, 1);
    p.children[0].execute_fn = seen;
    lyr_fft_execute_split_dft_r2c(&p, real, re, im);
    for (int k = 0; k < 6; ++k) {
        EXPECT_EQ(re[2 * k], 100 + real[2 * k]);
        EXPECT_EQ(im[2 * k], 100 + real[2 * k + 1]);
    }
    EXPECT_EQ(re[1], 1) << "gap";
    EXPECT_EQ(im[11], 31) << "gap";
    lyr::plan_clear(&p);

    p.kind = kind_c2r;
    p.sign = 1;
    p.dims[0] = {10, 2, 1};
    p.in = re;
    p.in_imag = im;
    p.out = real_out;
    p.out_imag = nullptr;
    errno = 0;  // as constructors do
    ASSERT_EQ(lyr::plan_solve(&p), 0);
    ASSERT_EQ(p.nchildren, 1);
    p.children[0].execute_fn = seen;
    lyr_fft_execute(&p);
    for (int k = 0; k < 12; ++k) EXPECT_EQ(real_out[k], 200 + real[k]);
    lyr::plan_clear(&p);
}

// Vectors of half a line turn the results of first stages where the first-level cache is small,
// unless others run the stages or nothing is gained.
TEST(choice, turned_stages) {
    struct example {
        const char *problem, *name;
    };
    constexpr example examples_of_double[] = {
        {"ocf64", "execute_1d_turned_two"},
        {"icb160", "execute_1d_turned_two"},
        {"ocb200", "execute_1d_turned_three"},
        {"ocf1024", "execute_1d_turned_three"},
        {"icf1024", "execute_1d"},
        {"ocf64:2:1", "execute_1d_two_stages"},
        {"orf1440", "execute_1d_turned_three"},
        {"ocf32768", "execute_1d_paired"},
        {"oscf100", "execute_1d_two_stages"},
        {"ocf34", "execute_1d_two_stages"},
        {"ocf100*9", "execute_1d_turned_two"},
        {"ocf1000*66", "execute_1d_turned_three"},
        {"ocf100*3i", "execute_many_transpose"},
    };
    constexpr example examples_of_single[] = {
        {"ocf140", "execute_1d_turned_two"},
        {"icb256", "execute_1d_turned_two"},
        {"ocb200", "execute_1d_turned_three"},
        {"ocf1024", "execute_1d_turned_three"},
        {"icf1024", "execute_1d"},
        {"ocf140:2:1", "execute_1d_discrete"},
        {"orf1440", "execute_1d_turned_three"},
        {"ocf160", "execute_1d_two_stages"},
        {"ocf256*9", "execute_1d_turned_two"},
        {"ocf960*66", "execute_1d_turned_three"},
    };
    const auto examples = is_double ? std::span<const example>(examples_of_double)
                                    : std::span<const example>(examples_of_single);
    const with_caches sizes(lyr::usual_caches);
    const with_first_level_cache cache(true);
    for (const lyr::codelet_table *table : all_tables()) {
        if (!lyr::is_half_line(table->lanes)) continue;
        const with_table active(table);
        for (const auto &[problem, name] : examples) {
            const lyr_tools::problem p = problem_of(problem);
            const lyr_tools::buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            const plan *leaf = holder.plan;
            while (leaf->nchildren) leaf = leaf->children;
            EXPECT_STREQ(leaf->execute_name, name) << problem;
        }
    }
}

// Turned stages read transforms side by side where they lie, unless a butterfly's inputs fall into
// one set of the first-level cache while its columns do not.
TEST(choice, turned_columns) {
    const with_caches sizes(lyr::usual_caches);
    for (const lyr::codelet_table *table : all_tables())
        for (const bool small : {false, true}) {
            const with_table active(table);
            const with_first_level_cache cache(small);
            const bool turns = small && lyr::is_half_line(table->lanes);
            const struct {
                const char *problem;
                bool beside;
            } examples[] = {{"ocf64:1040:1*1024:1:64", true},   {"ocb32:33:1*9:1:40", true},
                            {"ocf200:300:1*3:1:200", true},     {"ocb1024:512:1*256:1:1024", true},
                            {"ocf256:512:1*256:1:256", true},   {"ocf256:288:1*256:1:256", false},
                            {"ocf62:100:1*100:1:62", false},    {"ocf64:2:1*100:128:64", false},
                            {"ocf8000:2:1*3:20000:8000", false}};
            for (const auto &[problem, beside] : examples) {
                const lyr_tools::problem p = problem_of(problem);
                const lyr_tools::buffers b = buffers_of(p);
                const plan_holder holder(make_plan(p, b));
                EXPECT_STREQ(holder.plan->execute_name,
                             turns && beside ? "execute_turned_beside" : "execute_gathered")
                    << problem << ' ' << table->name;
            }
        }
}

// What calls for the lines of later transforms, by vectors and caches.
TEST(choice, batches_that_stream) {
    const with_caches sizes(lyr::usual_caches);
    for (const lyr::codelet_table *table : all_tables())
        for (const bool small : {false, true}) {
            const with_table active(table);
            const with_first_level_cache cache(small);
            const bool half_lines = lyr::is_half_line(table->lanes);
            const bool turns = small && half_lines;
            const struct {
                const char *problem, *name;
            } examples[] = {
                {is_double ? "ocf16*4097" : "ocf16*8193",
                 lyr::dense_batch_for(16) ? "execute_many_dense"
                 : table->lanes == 1      ? "execute_many_direct"
                 : half_lines             ? "execute_many"
                                          : "execute_many_far_units"},
                {is_double ? "ocf64*24" : "ocf64*48",
                 lyr::dense_batch_for(64) ? "execute_many_dense" : "execute_many"},
                {"ocf256*128", "execute_many"},
                {is_double ? "ocf256*129" : "ocf256*257",
                 turns ? "execute_many_ahead" : "execute_many"},
                {"icf256*257", !is_double ? "execute_many"
                               : turns    ? "execute_many_ahead"
                                          : "execute_many_far"},
                {is_double ? "ocf960*70" : "ocf960*140",
                 turns ? "execute_many_ahead" : "execute_many_far"},
                {is_double ? "ocf200*2622" : "ocf200*5243",
                 turns ? "execute_many_far_turned" : "execute_many_far"},
                {is_double ? "ocf960*547" : "ocf960*1093", copied_batch},
            };
            for (const auto &[problem, name] : examples) {
                const lyr_tools::problem p = problem_of(problem);
                const lyr_tools::buffers b = buffers_of(p);
                const plan_holder holder(make_plan(p, b));
                EXPECT_STREQ(holder.plan->execute_name, name) << problem << ' ' << table->name;
            }
        }
}

TEST(choice, plans_as_text) {
    const with_first_level_cache cache(false);
    const lyr_tools::problem p = problem_of("ocb30x160");
    const lyr_tools::buffers b = buffers_of(p);
    const plan_holder holder(make_plan(p, b));
    const std::string text = plan_text(holder.plan);
    int64_t radices[lyr::max_factors];  // there are two
    lyr::order_with_wide_radices(lyr::active_table(), 160, radices);
    const std::string order = std::to_string(radices[0]) + "x" + std::to_string(radices[1]);
    // Sizes of buffers and tables, at the ends of the lines, are the solvers' business.
    const std::string parts[] = {
        "solve_problem_multidimension: execute_multidimension\n"
        "  complex backward 30:160:160x160:1:1, scratch ",
        " lent\n"
        "  solve_problem_dft_many: execute_many\n"
        "    complex backward 160:1:1 * 30:160:160\n"
        "    solve_problem_c2c_1d: execute_1d_two_stages\n"
        "      complex backward 160:1:1, radices " +
            order + ",",
        "\n"
        "  solve_problem_dft_many_transpose: execute_many_transpose\n"
        "    complex backward 30:160:160 * 160:1:1, radices 3x10,"};
    for (const std::string &part : parts)
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nis not in\n" << text;
    EXPECT_EQ(plan_text(nullptr), "");
}

TEST(choice, lengths_of_convolutions) {
    struct range {
        int64_t first, last, length;
    };
    constexpr range ranges[] = {{41, 47, 96},       {53, 59, 120},      {61, 61, 128},
                                {67, 71, 144},      {73, 79, 160},      {83, 89, 192},
                                {97, 97, 196},      {101, 127, 256},    {131, 131, 280},
                                {1763, 1763, 3528}, {1949, 1949, 3920}, {859, 860, 1728}};
    for (const range &r : ranges)
        for (int64_t p = r.first; p <= r.last; ++p)
            EXPECT_EQ(lyr::bluestein_length(p), r.length) << p;
    for (int64_t p = 41; p < 20000; ++p) {
        const int64_t M = lyr::bluestein_length(p);
        ASSERT_GE(M, 2 * p - 1) << p;
        EXPECT_EQ(lyr::part_above_37(M), 1) << p;
    }
}

TEST(choice, number_theory) {
    EXPECT_EQ(lyr::mod_pow(7, 0, 13), 1);
    EXPECT_EQ(lyr::mod_pow(3, 200, 100003), lyr::mod_pow(lyr::mod_pow(3, 100, 100003), 2, 100003));
    // Sums, not products, above 31 bits; Fermat's little theorem for 2^61 - 1.
    constexpr int64_t mersenne = (int64_t{1} << 61) - 1;
    EXPECT_EQ(lyr::mod_pow(3, mersenne - 1, mersenne), 1);
    EXPECT_EQ(lyr::mod_multiply(mersenne - 1, mersenne - 1, mersenne), 1);
    constexpr int64_t generators[][2] = {{3, 2},    {41, 6},   {47, 5},    {71, 7},
                                         {191, 19}, {409, 21}, {65537, 3}, {100003, 2}};
    for (const auto &[p, g] : generators) EXPECT_EQ(lyr::find_generator(p), g) << p;
    int64_t primes = 0;
    for (int64_t n = -2; n < 10000; ++n) primes += lyr::is_prime(n);
    EXPECT_EQ(primes, 1229);
}

TEST(choice, two_passes_of_long_lengths) {
    // The first length of two passes, and the one of its kind before it.
    constexpr int64_t line = lyr::line_complex,
                      first = sizeof(scalar) == sizeof(double) ? 125000 : 180000;
    constexpr struct {
        int64_t lanes, nthreads, before, length;
    } kinds[] = {{1, 1, 8192, 16384},
                 {line / 2, 0, line == 4 ? 32768 : 65536, line == 4 ? 65536 : 131072},
                 {line, 1, 8192, 16384},
                 {line / 2, 1, line == 4 ? 686000 : 875000, line == 4 ? 700000 : 900000},
                 {line, 1, first - 5000, first},
                 {1, 1, 4 * 3 << 16, 900000},
                 {line, 1, 2 * 2048, 6144},
                 {2, 2, 65535, 65536},
                 {2, 3, 65520, 100000}};
    for (const auto &[lanes, nthreads, before, length] : kinds) {
        EXPECT_FALSE(lyr::use_large_method(before, nthreads, lanes, true)) << before;
        EXPECT_TRUE(lyr::use_large_method(length, nthreads, lanes, true)) << length;
    }
    // Out of place even lengths begin sooner where lines of double precision hold two vectors.
    EXPECT_FALSE(lyr::use_large_method(448000, 1, line / 2, false));
    EXPECT_EQ(lyr::use_large_method(450000, 1, line / 2, false), line == 4);
    EXPECT_FALSE(lyr::use_large_method(531441, 1, line / 2, false));
    for (int k = 11; k < 62; ++k) {
        const int64_t n = int64_t{1} << k;
        EXPECT_EQ(lyr::split_large(n, 1, false), int64_t{1} << k / 2) << k;
        EXPECT_EQ(lyr::split_large(n, line, false), k == 16 ? 128 : int64_t{1} << k / 2) << k;
        const int64_t long_columns = int64_t{1} << (k + 1) / 2;
        EXPECT_EQ(lyr::split_large(n, line / 2, false), k == 16 && line == 4 ? 512 : long_columns)
            << k;
        EXPECT_EQ(lyr::split_large(n, line / 2, true), k == 16 || k == 17 ? 1024 : long_columns)
            << k;
    }
    // Lines have 4 numbers, or 8.
    constexpr struct {
        int64_t n, of_four, of_eight;
    } splits[] = {{100000, 200, 250}, {1000000, 1000, 1000}, {720720, 780, 819},
                  {531441, 729, 729}, {390625, 625, 625},    {823543, 343, 343},
                  {500000, 500, 625}, {1336336, 1156, 578}};
    for (const auto &[n, of_four, of_eight] : splits)
        EXPECT_EQ(lyr::split_large(n, line, false), line == 4 ? of_four : of_eight) << n;
}

TEST(choice, slab_widths) {
    for (const int64_t n : {2, 37, 60, 1024, 4096, 8192, 1 << 20})
        for (const int64_t howmany : {2, 3, 63, 64, 65, 100000}) {
            EXPECT_EQ(lyr::slab_width(n, howmany, 1), howmany) << n;
            const int64_t width = lyr::slab_width(n, howmany, 2);
            EXPECT_GE(width, std::min(howmany, lyr::slab_quantum));
            EXPECT_LE(width, std::min(howmany, lyr::slab_width_limit));
            EXPECT_TRUE(width == howmany || width % lyr::slab_quantum == 0) << n << " " << howmany;
            EXPECT_NE(width % (2 * lyr::slab_quantum), 0) << n << " " << howmany;
            EXPECT_TRUE(width <= lyr::slab_quantum ||
                        lyr::complex_bytes * n * width <= lyr::slab_scratch_bytes);
        }
}

TEST(choice, slices_of_bufferized_batches) {
    struct example {
        int64_t n, howmany, threads, slice;
    };
    constexpr example examples[] = {
        {256, 17, 1, 17},       {4096, 255, 1, 255},     {1024, 300, 1, 32},   {256, 17, 2, 16},
        {256, 256, 1, 128},     {8192, 1024, 1, 24},     {8192, 1024, 17, 0},  {1 << 20, 256, 1, 0},
        {300, 1 << 30, 1, 648}, {2048, 2048, 16, 96},    {2048, 2048, 33, 16}, {512, 256, 64, 64},
        {256, 100, 40, 16},     {4096, 1 << 30, 512, 8},
    };
    // What counts are bytes.
    for (const auto &[n, howmany, threads, slice] : examples)
        EXPECT_EQ(lyr::slice_length(n * 16 / lyr::complex_bytes, howmany, threads), slice)
            << n << " * " << howmany << " with " << threads;
}

TEST(choice, sizes_of_caches) {
    namespace fs = std::filesystem;
    const auto [usual_second, usual_last] = lyr::usual_caches;
    struct cache {
        const char *type, *level, *size;
    };
    struct example {
        std::vector<cache> caches;
        int64_t second, last;
    };
    const cache l1 = {"Data\n", "1\n", "48K\n"}, code = {"Instruction\n", "1\n", "32K\n"};
    const example examples[] = {
        {{}, usual_second, usual_last},
        {{l1, code}, usual_second, usual_last},
        {{l1, code, {"Unified\n", "2\n", "512K\n"}}, 512 << 10, 512 << 10},
        {{l1, code, {"Unified\n", "2\n", "2048K\n"}, {"Unified\n", "3\n", "36608K\n"}},
         2 << 20,
         int64_t{36608} << 10},
        {{l1, {"Unified", "2", "1M"}, {"Unified", "3", "16M"}, {"Unified", "4", "128M"}},
         1 << 20,
         128 << 20},
        {{l1, {"Instruction", "2", "64M"}, {"Unified", "3", "8M"}}, usual_second, 8 << 20},
        {{l1, {"Unified", "2", "1"}, {"Unified", "3", "-8M"}}, usual_second, usual_last},
        {{l1, {"Unified", "2", "99999999999999999999K"}, {"Unified", "x", "1M"}},
         usual_second,
         usual_last},
        {{{"Unified", "3", "32M"}, {"", "2", "1M"}, {"Unified", "2", "4M"}},
         usual_second,
         32 << 20},
    };
    for (const example &e : examples) {
        std::string folder = testing::TempDir() + "lyra_caches_XXXXXX";
        ASSERT_TRUE(mkdtemp(folder.data()));
        for (size_t k = 0; k < e.caches.size(); ++k) {
            const fs::path index = fs::path(folder) / ("index" + std::to_string(k));
            fs::create_directory(index);
            std::ofstream(index / "type") << e.caches[k].type;
            std::ofstream(index / "level") << e.caches[k].level;
            std::ofstream(index / "size") << e.caches[k].size;
        }
        const auto [second, last] = lyr::read_cache_sizes(folder.c_str());
        EXPECT_EQ(second, e.second) << &e - examples;
        EXPECT_EQ(last, e.last) << &e - examples;
        fs::remove_all(folder);
    }
    const auto [second, last] = lyr::caches();
    EXPECT_GE(second, 64 << 10);
    EXPECT_GE(last, second);
    lyr::set_caches({1 << 20, 4 << 20});
    EXPECT_EQ(lyr::far_output_bytes(), 1 << 20);
    lyr::set_caches({second, last});
}

// ---- Factors ------------------------------------------------------------------------------------

std::vector<int64_t> factors_of(int64_t n) {
    int64_t list[lyr::max_factors];
    return {list, list + lyr::factorize_size(n, list)};
}

TEST(factors, examples) {
    using list = std::vector<int64_t>;
    const std::pair<int64_t, list> examples[] = {
        {2, {2}},
        {16, {16}},
        {18, {6, 3}},
        {27, {9, 3}},
        {30, {3, 10}},
        {41, {41}},
        {82, {2, 41}},
        {1056, {6, 11, 16}},
        {37 * 37, {37, 37}},
        {32768, {8, 8, 8, 8, 8}},
        {43 * 47, {43 * 47}},
    };
    for (const auto &[n, expected] : examples) EXPECT_EQ(factors_of(n), expected) << n;
    EXPECT_EQ(factors_of(1), list{});
    EXPECT_EQ(factors_of(0), list{});
    EXPECT_EQ(factors_of(-8), list{});
    EXPECT_EQ(lyr::factorize_size(8, nullptr), 0);
    for (const int64_t factor : factors_of(24576)) EXPECT_NE(factor, 16);
}

AssertionResult well_factored(int64_t n) {
    const std::vector<int64_t> factors = factors_of(n);
    int64_t product = 1;
    for (size_t k = 0; k < factors.size(); ++k) {
        product *= factors[k];
        const bool served = factors[k] <= lyr::max_radix && lyr::part_above_37(factors[k]) == 1;
        if (factors[k] < 2 || (!served && k + 1 < factors.size()) ||
            (!served && factors[k] != lyr::part_above_37(n)))
            return AssertionFailure() << "factor " << factors[k] << " of " << n;
    }
    if (product != n) return AssertionFailure() << "product " << product << " for " << n;
    return AssertionSuccess();
}

TEST(factors, products) {
    for (int64_t n = 2; n <= 20000; ++n) ASSERT_TRUE(well_factored(n));
    int64_t three_39 = 1, five_27 = 1;
    for (int k = 0; k < 39; ++k) three_39 *= 3;
    for (int k = 0; k < 27; ++k) five_27 *= 5;
    for (const int64_t n : {int64_t{1} << 62, three_39, five_27, INT64_MAX, INT64_MAX - 1})
        EXPECT_TRUE(well_factored(n));
}

// The least cost of the rest of an order whose first radices make up L, by trying all.
template <int Radices>
double least_cost(const lyr::costs_of_radices<Radices> &costs, int64_t lanes, int64_t n,
                  int64_t L) {
    if (L == n) return 0;
    double least = HUGE_VAL;
    for (int r = 0; r < Radices; ++r) {
        const int64_t next = L * lyr::modelled_radices[r];
        if (n % next != 0) continue;
        least = std::min(least, lyr::modelled_cost(costs, lanes, n, r, L, n / next) +
                                    least_cost(costs, lanes, n, next));
    }
    return least;
}

template <int Radices>
double cost_of_order(const lyr::costs_of_radices<Radices> &costs, int64_t lanes, int64_t n,
                     const int64_t *factors, int count) {
    double cost = 0;
    int64_t L = 1;
    for (int s = 0; s < count; ++s) {
        const auto *r = std::ranges::find(lyr::modelled_radices, factors[s]);
        EXPECT_LT(r - lyr::modelled_radices, Radices) << factors[s];
        cost += lyr::modelled_cost(costs, lanes, n, static_cast<int>(r - lyr::modelled_radices), L,
                                   n / (L * factors[s]));
        L *= factors[s];
    }
    EXPECT_EQ(L, n);
    return cost;
}

TEST(factors, orders_by_cost) {
    int64_t factors[lyr::max_factors];
    const auto check = [&](int64_t lanes, const auto &costs) {
        for (int64_t n = 4; n <= 20000; ++n) {
            const int count = lyr::cheapest_order(costs, lanes, n, factors);
            if (lyr::part_above_37(n) != 1) {
                EXPECT_EQ(count, 0) << n;
                continue;
            }
            const double cost = cost_of_order(costs, lanes, n, factors, count);
            if (n > 1000 && n % 144 != 0 && n % 625 != 0) continue;
            EXPECT_NEAR(cost / least_cost(costs, lanes, n, 1), 1, 1e-5) << n;
        }
        for (const int64_t n :
             {int64_t{-8}, int64_t{0}, int64_t{1}, lyr::longest_modelled + 1, int64_t{1} << 62})
            EXPECT_EQ(lyr::cheapest_order(costs, lanes, n, factors), 0) << n;
        EXPECT_GT(lyr::cheapest_order(costs, lanes, lyr::longest_modelled, factors), 0);
    };
    check(2, lyr::costs_of_2_lanes);
    check(2, lyr::near_costs_of_2_lanes);
    check(4, lyr::costs_of_4_lanes);
    check(1, lyr::wide_costs_of_complex);
    check(1, lyr::wide_costs_of_armv8);
}

// The radices of the stages in a plan and its descendants.
void collect_radices(const plan *p, std::vector<int64_t> &all) {
    int64_t radices[lyr::most_stages];
    const int count = lyr::plan_stages(p, radices);
    all.insert(all.end(), radices, radices + count);
    for (int k = 0; k < p->nchildren; ++k) collect_radices(&p->children[k], all);
}

// Wide radices are for executors that run their stages themselves.
TEST(factors, wide_radices) {
    constexpr struct {
        const char *problem;
        bool alone;
    } examples[] = {{"ocf240", true},           {"icb2520", true},     {"orf480", true},
                    {"ocf240*7", true},         {"ocf241", true},      {"oscf240", false},
                    {"oscf7x240", false},       {"ocf240:2:1", false}, {"ocf482", false},
                    {"ocf240:9:9*9:1:1", false}};
    for (const lyr::codelet_table *table : all_tables())
        for (const auto &[problem, alone] : examples) {
            const with_table active(table);
            const lyr_tools::problem p = problem_of(problem);
            const lyr_tools::buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            std::vector<int64_t> radices;
            collect_radices(holder.plan, radices);
            const bool wide = std::ranges::any_of(
                radices, [](int64_t r) { return lyr::wide_stages_for(r) != nullptr; });
            EXPECT_EQ(wide, alone && table->wide) << problem << " with " << table->name;
        }
}

// Small first-level caches have costs of their own for vectors of half a line in double precision.
TEST(factors, costs_by_cache) {
    const bool before = lyr::first_level_cache_is_small();
    for (const lyr::codelet_table *const *t = lyr::supported_tables(); *t; ++t) {
        lyr::set_small_first_level_cache(false);
        EXPECT_EQ(lyr::costs_of(*t), (*t)->costs) << (*t)->name;
        lyr::set_small_first_level_cache(true);
        const lyr::stage_costs *near = lyr::costs_of(*t);
        if ((*t)->lanes != 2 || sizeof(lyr::scalar) != sizeof(double)) {
            EXPECT_EQ(near, (*t)->costs) << (*t)->name;
            continue;
        }
        EXPECT_EQ(near->ways, 8);
        int64_t chosen[lyr::max_factors], cheapest[lyr::max_factors];
        const int count = lyr::order_of_radices(*t, 9216, chosen);
        ASSERT_EQ(lyr::cheapest_order(*near, 2, 9216, cheapest), count);
        EXPECT_TRUE(std::equal(chosen, chosen + count, cheapest));
        EXPECT_LT(cost_of_order(*near, 2, 9216, chosen, count), [&] {
            const int other = lyr::cheapest_order(*(*t)->costs, 2, 9216, cheapest);
            return cost_of_order(*near, 2, 9216, cheapest, other);
        }());
    }
    lyr::set_small_first_level_cache(before);
}

TEST(factors, part_above_37) {
    EXPECT_EQ(lyr::part_above_37(1), 1);
    EXPECT_EQ(lyr::part_above_37(int64_t{1} << 62), 1);
    EXPECT_EQ(lyr::part_above_37(int64_t{2} * 3 * 5 * 7 * 11 * 13 * 17 * 19 * 23 * 29 * 31 * 37),
              1);
    EXPECT_EQ(lyr::part_above_37(41), 41);
    EXPECT_EQ(lyr::part_above_37(74 * 41 * 43), 41 * 43);
}

// ---- Roots of unity -----------------------------------------------------------------------------

struct root {
    scalar re, im;
    bool operator==(const root &) const = default;
};

root twiddle(int64_t t, int64_t N) {
    root w;
    lyr::root_source alone;
    lyr::root_source_init(&alone, N, 0);
    lyr::fill_roots(&w.re, 1, &alone, t < 0 ? -t : t, 0, 1, t < 0 ? -1 : +1);
    lyr::root_source_release(&alone);
    return w;
}

bool same_bits(const scalar *a, const scalar *b, int64_t count) {
    return std::memcmp(a, b, static_cast<size_t>(count) * sizeof *a) == 0;
}

constexpr int64_t root_lengths[] = {1,
                                    2,
                                    3,
                                    4,
                                    5,
                                    12,
                                    37,
                                    64,
                                    100,
                                    1001,
                                    4096,
                                    int64_t{3} << 30,
                                    9973,
                                    65537,
                                    1 << 20,
                                    (int64_t{1} << 50) + 4,
                                    (int64_t{1} << 61) - 1};

TEST(twiddles, symmetries_are_exact) {
    for (const int64_t N : root_lengths) {
        EXPECT_EQ(twiddle(0, N), (root{1, 0}));
        if (N % 2 == 0) {
            EXPECT_EQ(twiddle(N / 2, N), (root{-1, 0})) << N;
        }
        if (N % 4 == 0) {
            EXPECT_EQ(twiddle(N / 4, N), (root{0, 1})) << N;
            EXPECT_EQ(twiddle(-N / 4, N), (root{0, -1})) << N;
        }
        if (N % 8 == 0) {
            const root w = twiddle(N / 8, N);
            EXPECT_NEAR(w.re, w.im, roundoff) << N;
        }
        random_source random{static_cast<uint64_t>(N)};
        for (int i = 0; i < 200; ++i) {
            const int64_t t = random.below(N);
            const root w = twiddle(t, N), conjugate = twiddle(-t, N);
            const root expected = {w.re, -w.im};
            EXPECT_TRUE(same_bits(&conjugate.re, &expected.re, 2) || w.im == 0) << t << "/" << N;
            EXPECT_EQ(twiddle(t, N), twiddle(t + N, N)) << t << "/" << N;
        }
    }
}

// The error is relative to each component, so that small sines are right too.
TEST(twiddles, are_accurate) {
    constexpr long double pi = 3.14159265358979323846264338327950288L;
    for (const int64_t N : root_lengths) {
        random_source random{static_cast<uint64_t>(N)};
        double worst = 0, sum = 0;
        constexpr int count = 2000 / test_scale;
        for (int i = 0; i < count; ++i) {
            // The exact angle is taken from the nearest axis.
            const int64_t t = random.below(N);
            const auto quarter = static_cast<int64_t>((int128{8} * t + N) / (int128{2} * N));
            const int128 rest = int128{4} * t - int128{quarter} * N;
            const long double angle =
                pi / 2 * static_cast<long double>(rest) / static_cast<long double>(N);
            long double c = std::cos(angle), s = std::sin(angle);
            for (int64_t k = 0; k < quarter % 4; ++k) {
                const long double old = c;
                c = -s, s = old;
            }
            const root w = twiddle(t, N);
            const auto error = [](double x, long double exact) {
                const auto e = static_cast<double>(std::fabs(x - exact));
                return e == 0 ? 0 : e / static_cast<double>(std::fabs(exact)) / roundoff;
            };
            const double errors[] = {error(w.re, c), error(w.im, s)};
            worst = std::max({worst, errors[0], errors[1]});
            sum += errors[0] + errors[1];
        }
        // Little more than rounding, where N leaves room for an exact first term of the angle.
        const bool rounded_once = sizeof(scalar) == 4;
        const bool in_two_terms = N < int64_t{1} << 51;
        EXPECT_LE(worst, rounded_once   ? 1.001
                         : in_two_terms ? 1.2
                                        : 4.0)
            << "units of roundoff, N = " << N;
        EXPECT_LE(sum / (2 * count), in_two_terms ? 0.40 : 0.70) << "mean, N = " << N;
    }
}

// What the compiler and the processor could make of sums of products shows in the last bits.
TEST(twiddles, bits_do_not_depend_on_the_processor) {
    uint64_t sum = 0;
    for (const int64_t N : root_lengths) {
        lyr::exact_root_source source;
        lyr::root_source_init(&source, N, N <= 65537 ? N : 0);
        random_source random{static_cast<uint64_t>(N)};
        for (int i = 0; i < 1000; ++i) {
            double w[2];
            lyr::root_of(&source, random.below(N), +1, w);
            for (const double part : w) sum = std::rotl(sum, 7) ^ std::bit_cast<uint64_t>(part);
        }
        lyr::root_source_release(&source);
    }
    EXPECT_EQ(sum, uint64_t{16811034554076272657u});
}

// Tables have the bits of roots computed alone: stages row by row, any other sequence with its
// steps in input and output, and single roots.
TEST(twiddles, tables_and_single_roots_have_the_same_bits) {
    struct example {
        int64_t N, r, L, m;
    };
    constexpr example examples[] = {{60, 10, 6, 1},
                                    {60, 6, 1, 10},
                                    {1024, 8, 16, 8},
                                    {1024, 8, 128, 1},
                                    {1001, 11, 7, 13},
                                    {1250, 5, 250, 1},
                                    {41 * 64, 41, 16, 4},
                                    {65536, 16, 4096, 1},
                                    {3 * 16384, 3, 16384, 1},
                                    {19683, 9, 2187, 1},
                                    {(int64_t{1} << 40), 4, 8, int64_t{1} << 35}};
    for (const auto &[N, r, L, m] : examples)
        for (const int64_t sign : {-1, +1}) {
            const int64_t entries = L * (r - 1);
            std::vector<scalar> table(static_cast<size_t>(2 * entries) + 2, 7.0);
            lyr::root_source source;
            lyr::root_source_init(&source, N, entries);
            lyr::fill_stage_twiddles(table.data(), &source, r, L, m, sign);
            lyr::root_source_release(&source);
            EXPECT_EQ(table.back(), 7.0) << "wrote past the end";
            const int64_t step = std::max<int64_t>(1, L / (400 / test_scale));
            for (int64_t j = 0; j < L; j += step)
                for (int64_t k = 1; k < r; ++k) {
                    const root w = twiddle(sign * (m * j % N * k), N);
                    ASSERT_TRUE(
                        same_bits(&w.re, &table[static_cast<size_t>(2 * (j * (r - 1) + k - 1))], 2))
                        << N << ": row " << j << ", column " << k;
                }
        }

    random_source random{17};
    for (int i = 0; i < 4000 / test_scale; ++i) {
        const int64_t N = 1 + random.below(random.below(2) ? 40 : 3000), count = random.below(50),
                      start = random.below(3 * N), step = random.below(3 * N),
                      out_step = 1 + random.below(3), sign = random.below(2) ? +1 : -1;
        lyr::root_source source;
        lyr::exact_root_source exact;
        lyr::root_source_init(&source, N, random.below(2) ? N : 0);
        lyr::root_source_init(&exact, N, random.below(2) ? N : 0);
        std::vector<scalar> roots(static_cast<size_t>(2 * count * out_step) + 2, 7.0);
        lyr::fill_roots(roots.data(), out_step, &source, start, step, count, sign);
        for (int64_t k = 0; k < count; ++k) {
            const int64_t t = start + k * step;
            const root w = twiddle(sign * t, N);
            double single[2];
            lyr::root_of(&exact, t, sign, single);
            // Rounded to single precision, an exact one may be at the limit between two numbers.
            const root rounded = {static_cast<scalar>(single[0]), static_cast<scalar>(single[1])};
            if (sizeof(scalar) == sizeof(double)) {
                ASSERT_TRUE(same_bits(&w.re, &rounded.re, 2)) << sign * t << "/" << N;
            }
            EXPECT_NEAR(w.re, rounded.re, roundoff);
            EXPECT_NEAR(w.im, rounded.im, roundoff);
            ASSERT_TRUE(same_bits(&w.re, &roots[static_cast<size_t>(2 * k * out_step)], 2))
                << sign * t << "/" << N << " from " << start << " by " << step;
        }
        lyr::root_source_release(&source);
        lyr::root_source_release(&exact);
    }
}

}  // namespace
}  // namespace lyr_test
