// Batches and several dimensions: random problems in random layouts. A failure names the problem
// in the notation of the lyr-fft tool.
#include <algorithm>
#include <cstdio>
#include <numeric>

#include "batch/copy_transpose.h"
#include "codelets/stage_pairs.h"
#include "planner/cache_sizes.h"
#include "support.h"

namespace lyr_test {
namespace {

using lyr_tools::buffers;
using lyr_tools::constructor;
using lyr_tools::max_rank;
using lyr_tools::problem;
using lyr_tools::side;
using lyr_tools::transform;

constexpr int64_t most_points = 3000;

int64_t random_length(random_source &random, int64_t limit) {
    constexpr int64_t lengths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10,  11,  12,  13,  14,
                                   15, 16, 17, 18, 19, 22, 23, 24, 29, 30,  31,  32,  33,  36,
                                   37, 45, 48, 60, 64, 74, 91, 96, 99, 100, 128, 210, 256, 1024};
    const auto *end = std::upper_bound(std::begin(lengths), std::end(lengths), limit);
    return lengths[random.below(end - lengths)];
}

// Row-major in a random order of all dimensions, batch and transform alike, with random gaps.
void choose_strides(random_source &random, problem &p, side s) {
    int64_t *stride[2 * max_rank];
    int64_t length[2 * max_rank];
    int count = 0;
    for (int d = 0; d < p.batch_rank; ++d, ++count) {
        stride[count] = s == side::in ? &p.batch[d].is : &p.batch[d].os;
        length[count] = p.batch[d].n;
    }
    for (int d = 0; d < p.rank; ++d, ++count) {
        stride[count] = s == side::in ? &p.dims[d].is : &p.dims[d].os;
        length[count] = p.dims[d].n;
    }
    int order[2 * max_rank];
    std::iota(order, order + count, 0);
    if (random.below(4) != 0)
        for (int k = count - 1; k > 0; --k) std::swap(order[k], order[random.below(k + 1)]);
    const bool gaps = random.below(2) != 0;
    int64_t step = gaps ? 1 + random.below(3) : 1;
    for (int k = count - 1; k >= 0; --k) {
        *stride[order[k]] = step;
        step = step * length[order[k]] + (gaps ? random.below(4) : 0);
    }
}

problem random_problem(random_source &random) {
    problem p;
    p.sign = random.below(2) ? LYR_FFT_FORWARD : LYR_FFT_BACKWARD;
    p.in_place = random.below(3) == 0;
    p.split = random.below(3) == 0;
    p.rank = static_cast<int>(random.below(7) + 1) / 2;
    p.batch_rank = static_cast<int>(random.below(4));
    if (!p.split && random.below(p.rank == 0 ? 2 : 3) == 0) p.kind = transform::r2r;
    int64_t room = most_points;
    for (int d = 0; d < p.rank; ++d) {
        p.dims[d].n = random_length(random, p.rank == 1 ? room : std::min<int64_t>(room, 64));
        room /= p.dims[d].n;
        p.kinds[d] = static_cast<lyr_fft_r2r_kind>(random.below(LYR_FFT_RODFT11 + 1));
        if (p.dims[d].n == 1 && p.kinds[d] == LYR_FFT_REDFT00) p.kinds[d] = LYR_FFT_DHT;
    }
    for (int d = 0; d < p.batch_rank; ++d) {
        p.batch[d].n = 1 + random.below(std::min<int64_t>(room, p.batch_rank == 1 ? 70 : 9));
        room = std::max<int64_t>(1, room / p.batch[d].n);
    }
    choose_strides(random, p, side::in);
    if (!p.in_place || random.below(3) == 0) {
        choose_strides(random, p, side::out);
    } else {
        for (lyr_fft_iodim64 &d : p.dims) d.os = d.is;
        for (lyr_fft_iodim64 &d : p.batch) d.os = d.is;
    }
    return p;
}

// The same plan run twice, and on arrays of another alignment, gives the same bits.
void check_repetition(const problem &p, const buffers &b, lyr_fft_plan plan, uint64_t seed) {
    buffers again = buffers_of(p, true);
    for (int run = 0; run < 2; ++run) {
        fill_buffers(p, seed, again);
        execute_on(p, again, plan);
        EXPECT_TRUE(same_outputs(p, b, again)) << "other bits in run " << run + 2;
        EXPECT_EQ(check_buffers(p, again), "");
    }
}

void check_problem(const problem &p, constructor with, uint64_t seed) {
    SCOPED_TRACE(format_problem(p) + " with " + lyr::active_table()->name);
    buffers b = buffers_of(p);
    if (testing::Test::HasFailure()) return;
    const plan_holder holder(make_plan(p, b, with));
    ASSERT_NE(holder.plan, nullptr);
    const lyr_tools::verdict v = verify(p, b, holder.plan, seed);
    EXPECT_EQ(v.damage, "");
    // The worst of many short transforms is worse than one of them usually is.
    const int64_t points = p.rank > 0 ? point_count(p) : 64;
    EXPECT_LE(v.error.l2, points < 32 ? 2.0 : points < 64 ? 1.2 * v.bound : v.bound);
    EXPECT_LE(v.error.linf, p.rank > 0 ? 9 * roundoff : 0);
    check_repetition(p, b, holder.plan, seed);
}

TEST(random_problems, any_dimensions_any_batch_any_layout) {
    const int64_t count = 3000 / test_scale;
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        random_source random{20};
        for (int64_t i = 0; i < count && !HasFailure(); ++i) {
            const problem p = random_problem(random);
            check_problem(p, random.below(2) ? constructor::automatic : constructor::guru64,
                          static_cast<uint64_t>(i + 1));
        }
    }
}

// Shapes that select particular ways through the solvers.
TEST(random_problems, usual_batches) {
    constexpr const char *problems[] = {
        "ocf16*1000",
        "ocf16*1000i",
        "icb100*37i",
        "ocf128*67i",
        "ocb1024*5i",
        "ocf4096*6i",
        "ocf37*64i",
        "icf300x300",
        "ocf256:256:256*19:1:1",
        "ocf12:12:1*9:1:12",
        "ocf96:96:1*96:1:96",
        "icf100:1:40*40:100:1",
        "icb12:16:1x16:1:12",
        "ocf256:1:37*37:256:1",
        "ocb300:1:9*9:512:1",
        "ocf60*300",
        "icf128*200",
        "ocb1024*20",
        "ocf32:8200:8200*150:1:1",
        "ocf37:64:1*64:1:37",
        "ocf60x48",
        "icb60x48",
        "ocb30x16x25",
        "icf8x9x10*7",
        "ocf64x64*3i",
        "ocf2x1024",
        "ocf1024x2",
        "icf256:300:300*256:1:1",
        "ocf1:1:1*9:2:3",
        "ocf1:1:1x1:1:1x1:1:1*9:2:3",
        "ocb1x16",
        "ocb16x1*2*3*4",
        "ocf243:9:2*9:1:500",
        "ocf2000:11:1*11:1:2000",
        "ocf5000:9:1*9:1:5003",
        "ocf9000:5:1*5:1:9001",
        "ocf512:2:1*50:1100:512",
        "ocf512:4096:4096*5:1:1",
        "ocf600:300:260*40:1:1",
        "oscf16*3",
        "iscb32",
        "oscf64",
        "iscf128*5",
        "oscb256",
        "oscf512",
        "iscb512",
        "oscf1024",
        "iscf1024",
        "oscf2048",
        "iscb60x48",
        "oscf8x9x10",
        "oscf1000x18",
        "iscf13x100",
        "iscf37:2:2*9:100:100",
        "oscb7:64:3*64:1:50",
        "ocf0*70:1:70*70:70:1",
        "ocf0*1100:1:601*600:1101:1",
        "ocf0*800:1:660*658:800:1",
        "ok0*300:1:301*300:300:1",
        "icf0*70:1:70*70:70:1",
        "ik0*3:1600:1600*40:1:40*40:40:1",
        "icf0*30:20:1*20:1:30",
        "ik0*30:20:2*20:1:60",
        "icf0*4:3:60*3:1:20*5:12:2",
        "ok64e10x64e10",
        "ik60hx48h*5",
        "ok9e00x10o00x12e01*3i",
        "ik8e11x9fx7b",
    };
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text : problems) {
            if (test_scale > 1 && batch_count(problem_of(text)) > 64) continue;
            check_problem(problem_of(text), constructor::automatic, 1);
        }
    }
}

// The ways that depend on the first-level cache, with batches that pass the last-level one.
TEST(random_problems, first_level_caches) {
    const with_caches caches({1 << 16, 1 << 18});
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const bool small : {false, true}) {
            const with_first_level_cache cache(small);
            for (const char *text :
                 {"ocf2048",  "icb2048",    "ocb3072",  "orf4096",   "ocf4096",   "icf5120",
                  "ocf6144",  "icb6144",    "icf8192",  "ocb8192*3", "ocf9216",   "ocb10240",
                  "orf24576", "orb32768",   "icb990",   "ocf2048*5", "icb3072*4", "icb50",
                  "icf150",   "ocb64*99",   "icf96*99", "ocf360*99", "icb360*99", "ocb640*99",
                  "icf1000",  "oscf1000",   "oscb150",  "orf2000",   "orb512",    "ocf193",
                  "ocf96x64", "ocf360:1:2", "icb32768"})
                check_problem(problem_of(text), constructor::automatic, 1);
            for (const lyr::paired_stages &pairs : table->paired->lengths)
                for (const char *kind : {"ocf", "ocb"})
                    if (pairs.n != 0 && pairs.form == lyr::pair_form::turned && small)
                        check_problem(problem_of(kind + std::to_string(pairs.n)),
                                      constructor::automatic, 1);
        }
    }
}

// Batches of turned stages give the bits of single ones, whether the next transform's lines are
// called for between their passes or as they go, or each transform is copied to its place first.
void check_turned_batches(int sign) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const lyr::paired_stages &pairs : table->paired->lengths) {
            if (pairs.n == 0 || pairs.radices[3]) continue;
            const int n = static_cast<int>(pairs.n), count = (1 << 19) / (16 * n) + 3;
            std::vector<scalar> in(static_cast<size_t>(2 * n * count)), all(in.size()),
                one(static_cast<size_t>(2 * n));
            random_source random{static_cast<uint64_t>(n)};
            for (scalar &x : in) x = static_cast<scalar>(random.uniform());
            const plan_holder many(lyr_fft_plan_many_dft(1, &n, count, complexes(in.data()),
                                                         nullptr, 1, n, complexes(all.data()),
                                                         nullptr, 1, n, sign, LYR_FFT_ESTIMATE));
            const plan_holder single(lyr_fft_plan_dft_1d(
                n, complexes(in.data()), complexes(one.data()), sign, LYR_FFT_ESTIMATE));
            lyr_fft_execute(many.plan);
            for (const int i : {0, count / 2, count - 1}) {
                const ptrdiff_t at = ptrdiff_t{2} * n * i;
                lyr_fft_execute_dft(single.plan, complexes(in.data() + at), complexes(one.data()));
                EXPECT_TRUE(std::equal(one.begin(), one.end(), all.begin() + at)) << n;
            }
        }
    }
}

TEST(random_problems, turned_batches) {
    const with_first_level_cache cache(true);
    for (const int64_t last : {1 << 18, 1 << 23}) {
        const with_caches sizes({1 << 16, last});
        for (const int sign : {-1, +1}) check_turned_batches(sign);
    }
}

// Turned stages of transforms side by side: groups with all rests, in both directions, strides that
// fall into all sets of a cache, few, or one. The same bits wherever in a line the input begins.
TEST(random_problems, turned_columns_to_rows) {
    const with_first_level_cache cache(true);
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const lyr::paired_stages &pairs : table->paired->lengths) {
            if (pairs.n == 0 || pairs.radices[3]) continue;
            const int n = static_cast<int>(pairs.n);
            for (int h : {2 + n % 7, 17 + n % 15})
                for (const int stride : {h + n % 3, 32, 512}) {
                    char text[64];
                    snprintf(text, sizeof text, "oc%c%d:%d:1*%d:1:%d", n / 2 % 2 ? 'f' : 'b', n,
                             stride, h, n + h % 3);
                    check_problem(problem_of(text), constructor::automatic, 1);
                }
            const int h = 13 + n % 5, stride = h + 7;
            const auto numbers = static_cast<size_t>(n * stride), results = size_t(n * h);
            std::vector<scalar> in(2 * (numbers + lyr::line_complex)), expected(2 * results),
                out(2 * results);
            const plan_holder plan(lyr_fft_plan_many_dft(1, &n, h, complexes(in.data()), nullptr,
                                                         stride, 1, complexes(out.data()), nullptr,
                                                         1, n, -1, LYR_FFT_ESTIMATE));
            for (size_t first = 0; first < size_t{lyr::line_complex}; ++first) {
                random_source random{static_cast<uint64_t>(n)};
                scalar *const from = in.data() + 2 * first;
                for (size_t i = 0; i < 2 * numbers; ++i)
                    from[i] = static_cast<scalar>(random.uniform());
                scalar *const to = first == 0 ? expected.data() : out.data();
                lyr_fft_execute_dft(plan.plan, complexes(from), complexes(to));
                if (first == 0) continue;
                EXPECT_EQ(out, expected) << n << ", " << first << " numbers behind";
            }
        }
    }
}

// Short transforms from side by side to one after another, with all rests of vectors, and strided
// ones.
TEST(random_problems, short_columns_to_rows) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (int n = 2; n <= 17; ++n)
            for (int h = 2; h <= (n % 4 == 0 ? 17 : 9); ++h) {
                char columns[64], strided[64];
                snprintf(columns, sizeof columns, "oc%c%d:%d:1*%d:1:%d", h % 2 ? 'f' : 'b', n,
                         h + h % 3, h, n + h % 2);
                snprintf(strided, sizeof strided, "oc%c%d:2:1*%d:%d:%d", h % 2 ? 'b' : 'f', n, h,
                         2 * n + h % 3, n);
                for (const char *text : {columns, strided})
                    check_problem(problem_of(text), constructor::automatic, 1);
            }
    }
}

// Walks that see to whole lines, as in a cache of any shape, give the bits of those that do not.
TEST(random_problems, near_caches) {
    const std::vector<const char *> problems = {
        "ocf1024*40i",          "icb1000*24i", "ocf2048*21i", "ocb96*50i", "ocf112*5i",
        "ocf512:1:40*40:512:1", "ocf16384",    "ocb20736",    "ocf262144", "orf60x64"};
    for (const lyr::codelet_table *table : all_tables())
        for (const char *text : problems) {
            const problem p = problem_of(text);
            if (test_scale > 1 && point_count(p) > 100000) continue;
            lyr::codelet_table unaware = *table;
            unaware.near = {};
            buffers expected = buffers_of(p);
            {
                const with_table active(&unaware);
                const plan_holder plan(make_plan(p, expected));
                ASSERT_NE(plan.plan, nullptr) << text;
                lyr_fft_execute(plan.plan);
            }
            for (const lyr::near_cache cache :
                 {lyr::assumed_near_cache, lyr::near_cache{1 << 10, 1}, lyr::near_cache{4 << 10, 2},
                  lyr::near_cache{16 << 10, 16}}) {
                lyr::codelet_table aware = *table;
                aware.near = cache;
                const with_table active(&aware);
                buffers b = buffers_of(p);
                const plan_holder plan(make_plan(p, b));
                ASSERT_NE(plan.plan, nullptr) << text;
                lyr_fft_execute(plan.plan);
                EXPECT_TRUE(same_outputs(p, expected, b))
                    << text << " with " << table->name << ", " << cache.bytes << " bytes, "
                    << cache.ways << " ways";
            }
            const with_table active(&unaware);
            check_problem(p, constructor::automatic, 1);
        }
}

// Strided in, one after another out: side by side or not, with and without gaps, groups of all
// sizes.
TEST(random_problems, strided_batches) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        random_source random{21};
        for (int64_t i = 0; i < 400 / test_scale && !HasFailure(); ++i) {
            problem p;
            p.sign = random.below(2) ? LYR_FFT_FORWARD : LYR_FFT_BACKWARD;
            p.rank = p.batch_rank = 1;
            const int64_t n = random_length(random, 1024), h = 2 + random.below(40);
            const bool side_by_side = random.below(2) != 0;
            const int64_t is =
                side_by_side ? h + random.below(3) * random.below(9) : 2 + random.below(4);
            p.dims[0] = {n, is, 1};
            p.batch[0] = {h, side_by_side ? 1 : n * is + random.below(3), n + random.below(4)};
            check_problem(p, constructor::guru64, static_cast<uint64_t>(i + 1));
        }
    }
}

// Rank 2 and 3, the batch inside, all kinds: few and many, more than a cache keeps and more than a
// slice holds, with gaps, on one thread and on several.
TEST(random_problems, several_dimensions_side_by_side) {
    const with_caches sizes({64 << 10, 32 << 20});
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        random_source random{22};
        for (int64_t i = 0; i < 300 / test_scale && !HasFailure(); ++i) {
            problem p;
            constexpr transform kinds[] = {transform::c2c, transform::r2c, transform::c2r,
                                           transform::r2r};
            p.kind = kinds[random.below(4)];
            p.sign = p.kind == transform::c2r   ? LYR_FFT_BACKWARD
                     : p.kind == transform::r2c ? LYR_FFT_FORWARD
                     : random.below(2)          ? LYR_FFT_FORWARD
                                                : LYR_FFT_BACKWARD;
            const bool real = p.kind == transform::r2c || p.kind == transform::c2r;
            p.rank = 2 + static_cast<int>(random.below(2));
            p.batch_rank = 1;
            p.in_place = !real && random.below(3) == 0;
            const int64_t h = 2 + random.below(random.below(2) ? 8 : 90);
            const int64_t idist = random.below(4) == 0 ? 1 + random.below(3) : 1;
            const int64_t odist = p.in_place ? idist : random.below(4) == 0 ? 2 : 1;
            p.batch[0] = {h, idist, odist};
            int64_t is = h * idist + random.below(3), os = h * odist + random.below(3);
            for (int d = p.rank - 1; d >= 0; --d) {
                const int64_t n = random_length(random, p.rank == 2 && i % 10 == 0 ? 64 : 16);
                p.dims[d] = {n, is, p.in_place ? is : os};
                p.kinds[d] = static_cast<lyr_fft_r2r_kind>(random.below(LYR_FFT_RODFT11 + 1));
                if (n == 1 && p.kinds[d] == LYR_FFT_REDFT00) p.kinds[d] = LYR_FFT_DHT;
                const bool last = real && d == p.rank - 1;
                is *= last && p.kind == transform::c2r ? n / 2 + 1 : n;
                os *= last && p.kind == transform::r2c ? n / 2 + 1 : n;
                if (random.below(3) == 0) is += random.below(5), os += random.below(5);
            }
            const int threads = random.below(3) == 0 ? 3 : 1;
            lyr_fft_plan_with_nthreads(threads);
            check_problem(p, constructor::guru64, static_cast<uint64_t>(i + 1));
            lyr_fft_plan_with_nthreads(1);
        }
    }
}

// Contiguous batches of which no cache can keep the results: these go past the caches, and are the
// same as in arrays that begin somewhere in a line, where they do not.
TEST(random_problems, results_past_the_caches) {
    const with_caches sizes({64 << 10, 64 << 10});
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (int64_t n = 2; n <= 256; ++n) {
            if (!lyr::far_batch_for(n)) continue;
            problem p;
            p.sign = n % 8 == 0 ? LYR_FFT_FORWARD : LYR_FFT_BACKWARD;
            p.rank = p.batch_rank = 1;
            p.dims[0] = {n, 1, 1};
            p.batch[0] = {(64 << 10) / lyr::complex_bytes / n + 1 + n / 2 % 4, n, n};
            const buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b, constructor::guru64));
            ASSERT_NE(holder.plan, nullptr);
            EXPECT_STREQ(holder.plan->execute_name, "execute_many_past");
            EXPECT_EQ(reinterpret_cast<uintptr_t>(holder.plan->out) % 64, 0u);
            check_problem(p, constructor::guru64, static_cast<uint64_t>(n));
            p.in_place = true;
            const buffers same = buffers_of(p);
            const plan_holder in_place(make_plan(p, same, constructor::guru64));
            ASSERT_NE(in_place.plan, nullptr);
            EXPECT_STRNE(in_place.plan->execute_name, "execute_many_past");
        }
    }
}

// Longer ones, which are copied past the caches: of any length, with gaps, wherever in a line the
// output begins, on one thread and on several.
TEST(random_problems, results_copied_past_the_caches) {
    if (!lyr::has_copies_past) GTEST_SKIP() << "no stores past the caches";
    const with_caches sizes({512 << 10, 1 << 20});
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *lengths : {"cf1000", "cb1024", "cf768", "cf1001", "cf4096", "rf1000",
                                    "rb1000", "rf1026", "rb2048"})
            for (const int threads : {1, 2}) {
                lyr_fft_plan_with_nthreads(threads);
                problem p = problem_of(std::string("o") + lengths + "*2");
                const int64_t n = p.dims[0].n;
                p.batch[0] = {(5 << 17) / (n * lyr::scalar_bytes), n + n % 4, n + n % 3 + 4};
                const buffers b = buffers_of(p);
                const plan_holder holder(make_plan(p, b, constructor::guru64));
                ASSERT_NE(holder.plan, nullptr);
                const lyr::plan *batch = threads == 1 ? holder.plan : holder.plan->children;
                EXPECT_STREQ(batch->execute_name, "execute_many_past_copied") << lengths;
                check_problem(p, constructor::guru64, static_cast<uint64_t>(n));
            }
        lyr_fft_plan_with_nthreads(1);
    }
}

// The sizes of caches decide on the way through memory alone.
TEST(random_problems, any_caches_same_bits) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text : {"ocf12*800", "ocf48*300", "ocf100*300", "ocf1000*20", "ocf2048*40",
                                 "ocb4096*5", "ocf64:90:1*90:1:64"}) {
            const problem p = problem_of(text);
            buffers results[3];
            const lyr::cache_sizes sizes[3] = {
                {64 << 10, 64 << 10}, {64 << 10, 32 << 20}, {8 << 20, 32 << 20}};
            for (int k = 0; k < 3; ++k) {
                const with_caches here(sizes[k]);
                results[k] = buffers_of(p);
                const plan_holder holder(make_plan(p, results[k], constructor::guru64));
                ASSERT_NE(holder.plan, nullptr) << text;
                fill_buffers(p, 1, results[k]);
                lyr_fft_execute(holder.plan);
                EXPECT_TRUE(same_outputs(p, results[0], results[k])) << text << " " << k;
            }
        }
    }
}

// Columns too long and too many for one pass over a plane, of a length without stages: slices go
// through a buffer, the last one shorter than the others.
TEST(random_problems, slices_of_columns) {
    if (test_scale > 1) return;  // 130 MB
    constexpr int n = 4099, row = n / 2 + 1, count = 29;
    std::vector<scalar> plane(size_t{2} * n * row, 0.25), column(2 * n);
    random_source random{5};
    for (size_t k = 0; k < n; ++k)
        for (size_t j = 0; j < 2 * count; ++j) plane[2 * k * row + j] = random.uniform();
    const std::vector<scalar> before = plane;
    lyr_fft_complex *data = complexes(plane.data());
    const plan_holder all(lyr_fft_plan_many_dft(1, &n, count, data, nullptr, row, 1, data, nullptr,
                                                row, 1, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE));
    const plan_holder one(lyr_fft_plan_dft_1d(n, complexes(column.data()), complexes(column.data()),
                                              LYR_FFT_FORWARD, LYR_FFT_ESTIMATE));
    ASSERT_NE(all.plan, nullptr);
    ASSERT_NE(one.plan, nullptr);
    EXPECT_STREQ(all.plan->execute_name, "execute_bufferization");
    lyr_fft_execute(all.plan);
    int64_t different = 0;
    for (size_t j = 0; j < count; ++j) {
        for (size_t k = 0; k < 2 * n; ++k) column[k] = before[2 * (k / 2 * row + j) + k % 2];
        lyr_fft_execute(one.plan);
        for (size_t k = 0; k < 2 * n; ++k)
            different += column[k] != plane[2 * (k / 2 * row + j) + k % 2];
    }
    for (size_t k = 0; k < n; ++k)
        for (size_t j = 2 * count; j < 2 * row; ++j) different += plane[2 * k * row + j] != 0.25;
    EXPECT_EQ(different, 0);
}

// Tiles, their remainders, and all places in a cache line; the last shapes are large enough to be
// stored past the caches, but rows of the last one begin anywhere in a line.
TEST(random_problems, transposing_copies) {
    struct shape {
        int64_t rows, cols, src_stride, dst_stride;
    };
    constexpr int64_t many = (64 << 10) / lyr::complex_bytes / 8 + 11;
    constexpr shape shapes[] = {
        {1, 1, 1, 1},
        {1, 9, 9, 1},
        {8, 16, 16, 8},
        {7, 17, 18, 11},
        {300, 263, 270, 301},
        {261, 515, 515, 261},
        {many, 1031, 1032, many + 5},
        {many, 1031, 1032, many + 6},
    };
    for (const auto &[rows, cols, src_stride, dst_stride] : shapes)
        for (const int64_t offset : {0, 1, 2, 3, 5, 6})
            for (const int64_t width : {1, 2}) {
                std::vector<scalar> src(static_cast<size_t>(rows * src_stride * width));
                std::iota(src.begin(), src.end(), 1.0);
                std::vector<scalar> dst(static_cast<size_t>(cols * dst_stride * width + 8), 0.0);
                std::vector<scalar> expected = dst;
                for (int64_t i = 0; i < rows; ++i)
                    for (int64_t j = 0; j < cols; ++j)
                        for (int64_t w = 0; w < width; ++w)
                            expected[static_cast<size_t>((j * dst_stride + i) * width + w +
                                                         offset)] =
                                src[static_cast<size_t>((i * src_stride + j) * width + w)];
                const auto copy = width == 2 ? lyr::copy_transpose_cpx : lyr::copy_transpose_real;
                copy(src.data(), dst.data() + offset, rows, cols, src_stride, dst_stride);
                EXPECT_EQ(dst, expected) << rows << " x " << cols << " offset " << offset;
            }
}

// Equal transforms of a batch give equal bits, wherever in vectors and tails they fall.
TEST(random_problems, results_do_not_depend_on_the_place_in_a_batch) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text : {"ocf37*7i", "ocf60*71i", "ocb210:80:90*71:1:1", "icf1024*19i",
                                 "ocf48x20*6i", "ocf100*5", "icb81*3*5", "ok100f*19i", "ocf16*7",
                                 "icb37:3:3*5:111:111", "ocf128*200"}) {
            const problem p = problem_of(text);
            SCOPED_TRACE(std::string(text) + " with " + table->name);
            buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            ASSERT_NE(holder.plan, nullptr);
            for_each_transform(p, side::in, [&](int64_t start) {
                for_each_element(p, side::in, [&](int64_t offset) {
                    store_element(p, b, side::in, start + offset,
                                  load_element(p, b, side::in, offset));
                });
            });
            lyr_fft_execute(holder.plan);
            int64_t different = 0;
            for_each_transform(p, side::out, [&](int64_t start) {
                for_each_element(p, side::out, [&](int64_t offset) {
                    const auto x = load_element(p, b, side::out, offset);
                    const auto y = load_element(p, b, side::out, start + offset);
                    different += !(x.re == y.re && x.im == y.im);
                });
            });
            EXPECT_EQ(different, 0);
        }
    }
}

}  // namespace
}  // namespace lyr_test
