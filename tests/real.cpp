// Transforms between real and complex numbers: every short length, random problems of any rank,
// batch and layout, and what is special about real data.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

#include "codelets/real_pass.h"
#include "dft/factorize.h"
#include "real/half_size.h"
#include "support.h"

namespace lyr_test {
namespace {

using lyr_tools::buffers;
using lyr_tools::complex_value;
using lyr_tools::constructor;
using lyr_tools::max_rank;
using lyr_tools::problem;
using lyr_tools::side;
using lyr_tools::transform;

constexpr transform directions[] = {transform::r2c, transform::c2r};

// ---- One transform ------------------------------------------------------------------------------

struct layout {
    int64_t is, os;
    bool in_place, misaligned;
};
constexpr layout layouts[] = {{1, 1, false, false}, {1, 1, true, true},  {3, 2, false, true},
                              {1, 2, false, false}, {2, 1, true, false}, {3, 3, true, false}};

problem line_problem(transform kind, int64_t n, const layout &l) {
    problem p;
    p.kind = kind;
    p.in_place = l.in_place;
    p.rank = 1;
    p.dims[0] = {n, l.is, l.os};
    return p;
}

// Plans and runs a problem and checks errors, guards, gaps and inputs; returns the L2 error.
double check_problem(const problem &p, bool misaligned, uint64_t seed,
                     constructor with = constructor::automatic) {
    SCOPED_TRACE(format_problem(p) + " with " + lyr::active_table()->name +
                 (misaligned ? " misaligned" : ""));
    buffers b = buffers_of(p, misaligned);
    if (testing::Test::HasFailure()) return HUGE_VAL;
    const plan_holder holder(make_plan(p, b, with));
    if (!holder.plan) {
        ADD_FAILURE() << "no plan";
        return HUGE_VAL;
    }
    const lyr_tools::verdict v = verify(p, b, holder.plan, seed);
    EXPECT_EQ(v.damage, "");
    // The worst of many short transforms is worse than one of them usually is.
    EXPECT_LE(v.error.l2, point_count(p) < 32 ? 2.0 : v.bound);
    EXPECT_LE(v.error.linf, 9 * roundoff);
    return v.error.l2;
}

TEST(real, every_length_in_every_layout_with_every_table) {
    enum { smooth, to_37, above_37, class_count };
    constexpr const char *names[] = {"largest prime to 7", "to 37", "above"};
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const transform kind : directions) {
            double log_sum[class_count] = {}, worst[class_count] = {};
            int64_t count[class_count] = {};
            for (int64_t n = 1; n <= 1024 && !HasFailure(); ++n) {
                if (test_scale > 1 && n > 40 && n % test_scale != 3 && (n & (n - 1)) != 0) continue;
                int64_t factors[lyr::max_factors];
                const int last = lyr::factorize_size(n, factors);
                const int64_t prime = n == 1 ? 1 : factors[last - 1];
                const int c = prime > 37 ? above_37 : prime > 7 ? to_37 : smooth;
                for (const layout &l : layouts) {
                    const double error = check_problem(line_problem(kind, n, l), l.misaligned,
                                                       static_cast<uint64_t>(n));
                    if (error == 0 || n < 8) continue;
                    log_sum[c] += std::log(error);
                    worst[c] = std::max(worst[c], error);
                    ++count[c];
                }
            }
            for (int c = 0; c < class_count; ++c)
                if (count[c] > 0)
                    std::printf("%-15s %s %-18s mean error %.3f, worst %.3f, %d transforms\n",
                                table->name, kind == transform::r2c ? "r2c" : "c2r", names[c],
                                std::exp(log_sum[c] / static_cast<double>(count[c])), worst[c],
                                static_cast<int>(count[c]));
        }
    }
}

TEST(real, long_lengths) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n :
             {1536, 2048, 2835, 3375, 4098, 5000, 10007, 16384, 30030, 65536, 78125, 100000}) {
            if (n * test_scale > 100000) continue;
            for (const transform kind : directions) {
                check_problem(line_problem(kind, n, layouts[0]), false, 1);
                check_problem(line_problem(kind, n, layouts[1]), true, 2);
                check_problem(line_problem(kind, n, layouts[2]), true, 3);
            }
        }
    }
}

TEST(real, executors) {
    constexpr const char *examples[][2] = {
        {"orf66", ": execute_1d_r2c\n"},
        {"orf1000", ": execute_1d_r2c\n"},
        {"irf1000", ": execute_1d_r2c\n"},
        {"orf1000:1:2", ": execute_1d_r2c_discrete\n"},
        {"irf1000:2:1", ": execute_1d_r2c_discrete\n"},
        {"orf1001", ": execute_1d_r2c_odd\n"},
        {"orf1001:2:3", ": execute_1d_r2c_odd\n"},
        {"irf78125", ": execute_odd_real_large\n"},
        {"orf78125:1:2", ": execute_1d_r2c_odd\n"},
        {"orb66", ": execute_1d_c2r\n"},
        {"orb1000", ": execute_1d_c2r\n"},
        {"orb1000:3:1", ": execute_1d_c2r_discrete\n"},
        {"orb1001", ": execute_1d_c2r_odd\n"},
        {"orb78125", ": execute_odd_real_large\n"},
        {"orb20001", ": execute_1d_c2r_odd\n"},
        {"orb10x12", ": execute_c2r_multidimension\n"},
        {"orf10x12", ": execute_multidimension\n"},
        {"orf500*9i", ": execute_r2c_many\n"},
        {"orb500*9i", ": execute_c2r_many\n"},
        {"irf10x12*7i", ": execute_r2c_multidimension_many\n"},
        {"irb10x12*7i", ": execute_c2r_multidimension_many\n"},
        {"orf1000*9", ": execute_many\n"},
    };
    for (const auto &[text, name] : examples) {
        const problem p = problem_of(text);
        const buffers b = buffers_of(p);
        const plan_holder holder(make_plan(p, b));
        ASSERT_NE(holder.plan, nullptr) << text;
        const std::string tree = plan_text(holder.plan);
        EXPECT_NE(tree.substr(0, tree.find('\n') + 1).find(name), std::string::npos) << text << "\n"
                                                                                     << tree;
    }
}

// Threads share the pass of long transforms.
TEST(real, threads) {
    struct example {
        const char *text, *name;
    };
    constexpr example examples[] = {
        {"orf131072", ": execute_1d_r2c_multithread\n"},
        {"irb131072", ": execute_1d_c2r_multithread\n"},
        {"irf200000", ": execute_1d_r2c_multithread\n"},
        {"orb131076", ": execute_1d_c2r_multithread\n"},
        {"orf131070", ": execute_1d_r2c\n"},
        {"orb20000:2:1", ": execute_1d_c2r_discrete\n"},
        {"orf20001", ": execute_1d_r2c_odd\n"},
        {"orf177147", ": execute_odd_real_large\n"},
        {"irb177147", ": execute_odd_real_large\n"},
        {"orb60x63", ": execute_c2r_multidimension\n"},
        {"irb64x60", ": execute_c2r_multidimension_inplace\n"},
        {"orf40x30x20", ": execute_multidimension\n"},
        {"irb9x64*40i", ": execute_c2r_multidimension_many\n"},
        {"orf1000*40i", ": execute_multithread\n"},
    };
    for (const auto &[text, name] : examples) {
        const problem p = problem_of(text);
        if (test_scale > 1 && point_count(p) > 16384) continue;
        SCOPED_TRACE(text);
        for (const int threads : {2, 3, 8}) {
            lyr_fft_plan_with_nthreads(threads);
            buffers b = buffers_of(p);
            const plan_holder several(make_plan(p, b));
            lyr_fft_plan_with_nthreads(1);
            ASSERT_NE(several.plan, nullptr);
            const std::string tree = plan_text(several.plan);
            EXPECT_NE(tree.substr(0, tree.find('\n') + 1).find(name), std::string::npos) << tree;
            const lyr_tools::verdict v = verify(p, b, several.plan, 1);
            EXPECT_TRUE(v.ok) << threads << " threads, " << v.damage << " error " << v.error.l2;
        }
    }
    lyr_fft_cleanup_threads();
}

// ---- The pass between pairs and spectrum --------------------------------------------------------

// Ranges of pairs done one by one in any order give the bits of the whole pass, in place as well,
// with steps and without: threads may share a pass.
TEST(real, passes_in_ranges) {
    random_source random{5};
    for (const lyr::codelet_table *table : all_tables())
        for (const int64_t h : {2, 3, 4, 7, 8, 15, 16, 17, 33, 64, 2100}) {
            const bool two_levels = h > lyr::real_pass_block;
            const auto room = static_cast<size_t>(2 * std::max(h, lyr::real_pass_block));
            std::vector<scalar> twiddles(room), turns(room);
            if (two_levels)
                lyr::fill_turned_twiddles(twiddles.data(), turns.data(), h, -1);
            else
                lyr::fill_pass_twiddles(twiddles.data(), h, -1);
            const scalar *const turned = two_levels ? turns.data() : nullptr;
            for (const auto function : {table->real_passes->forward, table->real_passes->backward})
                for (const int64_t step : {1, 2}) {
                    if (two_levels && step != 1) continue;
                    std::vector<scalar> in(static_cast<size_t>(2 * h * step + 2));
                    for (scalar &x : in) x = random.uniform();
                    std::vector<scalar> whole(in.size(), 7.0), parts = in;
                    function({h, 1, h / 2, step, step, twiddles.data(), 1, turned}, in.data(),
                             whole.data());
                    for (int64_t last = h / 2; last > 0;) {
                        const int64_t first = last - random.below(std::min<int64_t>(last, 9));
                        function({h, first, last, step, step, twiddles.data(), 1, turned},
                                 parts.data(), parts.data());
                        last = first - 1;
                    }
                    for (int64_t k = 1; k < h; ++k)
                        for (const int64_t part : {0, 1}) {
                            const auto at = static_cast<size_t>(2 * k * step + part);
                            EXPECT_EQ(whole[at], parts[at])
                                << table->name << " h " << h << " element " << k;
                        }
                    EXPECT_EQ(whole[0], 7.0);
                    EXPECT_EQ(whole.back(), 7.0);
                }
        }
}

// ---- Many dimensions, batches, layouts ----------------------------------------------------------

int64_t random_length(random_source &random, int64_t limit) {
    constexpr int64_t lengths[] = {1,  2,  3,  4,   5,   6,   7,   8,   9,   10,  12,  13,  14,
                                   15, 16, 17, 20,  24,  30,  31,  32,  41,  48,  49,  60,  64,
                                   82, 96, 99, 100, 101, 128, 200, 210, 243, 256, 500, 1000};
    const auto *end = std::upper_bound(std::begin(lengths), std::end(lengths), limit);
    return lengths[random.below(end - lengths)];
}

// Row-major in a random order of all dimensions, batch and transform alike, with random gaps.
void choose_strides(random_source &random, problem &p, side s) {
    int64_t *step[2 * max_rank];
    int64_t length[2 * max_rank];
    int count = 0;
    for (int d = 0; d < p.batch_rank; ++d, ++count) {
        step[count] = s == side::in ? &p.batch[d].is : &p.batch[d].os;
        length[count] = p.batch[d].n;
    }
    for (int d = 0; d < p.rank; ++d, ++count) {
        step[count] = s == side::in ? &p.dims[d].is : &p.dims[d].os;
        length[count] = stored_length(p, d, s);
    }
    int order[2 * max_rank];
    std::iota(order, order + count, 0);
    if (random.below(3) == 0)
        for (int k = count - 1; k > 0; --k) std::swap(order[k], order[random.below(k + 1)]);
    const bool gaps = random.below(2) != 0;
    int64_t next = gaps ? 1 + random.below(3) : 1;
    for (int k = count - 1; k >= 0; --k) {
        *step[order[k]] = next;
        next = next * length[order[k]] + (gaps ? random.below(4) : 0);
    }
}

problem random_problem(random_source &random) {
    problem p;
    p.kind = directions[random.below(2)];
    p.in_place = random.below(3) == 0;
    p.split = !p.in_place && random.below(5) == 0;
    p.rank = 1 + static_cast<int>(random.below(3));
    p.batch_rank = static_cast<int>(random.below(6) / 2);
    int64_t room = 4000;
    for (int d = 0; d < p.rank; ++d) {
        p.dims[d].n = random_length(random, p.rank == 1 ? room : std::min<int64_t>(room, 101));
        room /= p.dims[d].n;
    }
    for (int d = 0; d < p.batch_rank; ++d) {
        p.batch[d].n = 1 + random.below(std::min<int64_t>(room, p.batch_rank == 1 ? 70 : 9));
        room = std::max<int64_t>(1, room / p.batch[d].n);
    }
    const bool usual = p.in_place || random.below(3) == 0;
    if (usual && set_usual_strides(p, p.batch_rank > 0 && random.below(2) != 0)) return p;
    choose_strides(random, p, side::in);
    choose_strides(random, p, side::out);
    return p;
}

TEST(real, any_dimensions_any_batch_any_layout) {
    const int64_t count = 3000 / test_scale;
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        random_source random{23};
        for (int64_t i = 0; i < count && !HasFailure(); ++i) {
            const problem p = random_problem(random);
            const bool plain = !p.split && random.below(2) != 0;
            const constructor with = plain ? constructor::automatic : constructor::guru64;
            check_problem(p, random.below(2) != 0, static_cast<uint64_t>(i + 1), with);
        }
    }
}

// Shapes that select particular ways through the solvers.
TEST(real, usual_problems) {
    constexpr const char *problems[] = {
        "orf16*1000",
        "orb16*1000",
        "orf64*100i",
        "orb64*100i",
        "orf15*70i",
        "orb15*70i",
        "orf1024*11i",
        "orb1024*11i",
        "irf60*33i",
        "irb60*33i",
        "irf9*20i",
        "irb9*20i",
        "irf12x10*7i",
        "irb12x10*7i",
        "irf9x7*70i",
        "irb9x7*70i",
        "orf82*9i",
        "orb82*9i",
        "orf101*9i",
        "orb41*8i",
        "irf64*33",
        "irb64*33",
        "irf63*5*3",
        "irb63*5*3",
        "orf64x64",
        "orb64x64",
        "irf64x64",
        "irb64x64",
        "orf60x63",
        "orb60x63",
        "irf60x63",
        "irb60x63",
        "orf7x1",
        "orb7x1",
        "irb7x1",
        "orb1x7",
        "orb1x1",
        "orb1x2",
        "orb5x2",
        "orb5x3",
        "orf8x9x10",
        "orb8x9x10",
        "irf8x9x10",
        "irb8x9x10",
        "orb10x9x11",
        "irb10x9x11",
        "orb30x1x16",
        "orb1x30x15",
        "orb100x128",
        "orb3x1000",
        "orb1000x4",
        "orb83x82",
        "orb64x64*3",
        "orb64x64*3i",
        "orb6x7x8*5i",
        "orf6x7x8*5i",
        // rows of the output at odd steps, with element steps, and elsewhere than the input's
        "orb16:9:17x16:1:1",
        "orb12:7:30x12:1:2",
        "irb12:7:13x12:1:1",
        "irb5:70:51x4:10:9x6:2:1",
    };
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text : problems) {
            const problem p = problem_of(text);
            if (test_scale > 1 && batch_count(p) * point_count(p) > 2000) continue;
            check_problem(p, false, 1);
        }
    }
}

// The same plan run twice, and on arrays of another alignment, gives the same bits; so do equal
// transforms wherever they are in a batch.
void check_same_bits(const std::string &text) {
    const problem p = problem_of(text);
    buffers b = buffers_of(p), other = buffers_of(p, true);
    const plan_holder holder(make_plan(p, b));
    ASSERT_NE(holder.plan, nullptr);
    fill_buffers(p, 1, b);
    fill_buffers(p, 1, other);
    for (buffers *arrays : {&b, &other})
        for_each_transform(p, side::in, [&](int64_t start) {
            for_each_element(p, side::in, [&](int64_t offset) {
                store_element(p, *arrays, side::in, start + offset,
                              load_element(p, *arrays, side::in, offset));
            });
        });
    lyr_fft_execute(holder.plan);
    execute_on(p, other, holder.plan);
    EXPECT_TRUE(same_outputs(p, b, other)) << "other bits on arrays elsewhere";
    int64_t different = 0;
    for_each_transform(p, side::out, [&](int64_t start) {
        for_each_element(p, side::out, [&](int64_t offset) {
            const complex_value x = load_element(p, b, side::out, offset);
            const complex_value y = load_element(p, b, side::out, start + offset);
            different += !(x.re == y.re && x.im == y.im);
        });
    });
    EXPECT_EQ(different, 0) << "other bits elsewhere in the batch";
}

TEST(real, same_bits) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text :
             {"orf60*71i", "orb60*71i", "orf1024*19i", "orb1024*19i", "orf45*9i", "orf100*5",
              "orb100*5", "orb20x30*3", "orb9x15*3", "orf8x9x10*3"}) {
            SCOPED_TRACE(std::string(text) + " with " + table->name);
            check_same_bits(text);
        }
    }
}

// However a batch is dealt out to threads, or cut on one.
TEST(real, same_bits_on_threads) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int threads : {1, 2, 3, 7})
            for (const char *kind : {"orf%d*%di", "orb%d*%di", "ok%df*%di", "ok%db*%di",
                                     "ok%dh*%di", "ik%df*%di", "ik%dh*%di", "ok%de10*%di"})
                for (const int n : {16, 32, 60, 64, 128})
                    for (const int h : {3, 7, 13, 17, 19, 33, 49, 57, 65, 129}) {
                        if (h * n < 256 || (test_scale > 1 && h * n > 1200)) continue;
                        char text[40];
                        snprintf(text, sizeof text, kind, n, h);
                        SCOPED_TRACE(std::string(text) + " with " + table->name + " on " +
                                     std::to_string(threads) + " threads");
                        lyr_fft_plan_with_nthreads(threads);
                        check_same_bits(text);
                        lyr_fft_plan_with_nthreads(1);
                    }
    }
}

// ---- Promises about real data -------------------------------------------------------------------

// What is real by symmetry has an imaginary part of exactly 0 in results, and none that counts in
// inputs.
TEST(real, self_conjugate_numbers) {
    const double worst[] = {large_scale, std::numeric_limits<double>::infinity(), std::nan("")};
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *shape : {"1", "2", "4", "6", "64", "100", "15", "41", "82", "1000:2:3",
                                  "45:1:2", "24*9i", "15*9i", "30*4"}) {
            SCOPED_TRACE(std::string(shape) + " with " + table->name);
            const problem forward = problem_of(std::string("orf") + shape);
            buffers spectrum = buffers_of(forward);
            const plan_holder there(make_plan(forward, spectrum));
            ASSERT_NE(there.plan, nullptr);
            lyr_fft_execute(there.plan);
            const int64_t n = forward.dims[0].n;
            const std::vector<int64_t> alone =
                n % 2 ? std::vector<int64_t>{0} : std::vector<int64_t>{0, n / 2};
            for_each_transform(forward, side::out, [&](int64_t start) {
                for (const int64_t k : alone)
                    EXPECT_EQ(
                        load_element(forward, spectrum, side::out, start + k * forward.dims[0].os)
                            .im,
                        0);
            });

            const problem backward = problem_of(std::string("orb") + shape);
            buffers b = buffers_of(backward), disturbed = buffers_of(backward);
            const plan_holder back(make_plan(backward, b));
            ASSERT_NE(back.plan, nullptr);
            lyr_fft_execute(back.plan);
            for (const double value : worst) {
                for_each_transform(backward, side::in, [&](int64_t start) {
                    for (const int64_t k : alone) {
                        const int64_t at = start + k * backward.dims[0].is;
                        store_element(backward, disturbed, side::in, at,
                                      {load_element(backward, disturbed, side::in, at).re, value});
                    }
                });
                execute_on(backward, disturbed, back.plan);
                EXPECT_TRUE(same_outputs(backward, b, disturbed)) << value;
            }
        }
    }
}

// The same in rank 2 and 3, for every way that columns are transformed.
TEST(real, self_conjugate_numbers_of_planes) {
    const double worst[] = {large_scale, std::numeric_limits<double>::infinity(), std::nan("")};
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *shape :
             {"1x4",     "2x5",     "6x6",    "14x8",   "41x4",     "82x6",     "83x4",
              "166x5",   "107x8",   "1024x4", "64x1",   "14x2",     "83x4*3",   "14x4*3i",
              "83x5*3i", "22x14x4", "4x83x6", "2x14x5", "83x2x4*2", "6x7x8*2i", "14:7:17x12:1:1"}) {
            for (const std::string place : {"orb", "irb", "osrb"}) {
                SCOPED_TRACE(place + shape + " with " + table->name);
                if (place == "irb" && std::string(shape).find(':') != std::string::npos) continue;
                const problem p = problem_of(place + shape);
                buffers b = buffers_of(p), disturbed = buffers_of(p);
                const plan_holder plan(make_plan(p, b));
                ASSERT_NE(plan.plan, nullptr);
                const auto set_imaginary_parts = [&](buffers &arrays, double value) {
                    for_each_transform(p, side::in, [&](int64_t start) {
                        for (int corner = 0; corner < 1 << p.rank; ++corner) {
                            int64_t at = start;
                            bool exists = true;
                            for (int d = 0; d < p.rank; ++d) {
                                if ((corner >> d & 1) == 0) continue;
                                exists = exists && p.dims[d].n % 2 == 0;
                                at += p.dims[d].n / 2 * p.dims[d].is;
                            }
                            if (!exists) continue;
                            store_element(p, arrays, side::in, at,
                                          {load_element(p, arrays, side::in, at).re, value});
                        }
                    });
                };
                for (const double value : worst) {
                    fill_buffers(p, 1, b);
                    fill_buffers(p, 1, disturbed);
                    set_imaginary_parts(b, 0);
                    set_imaginary_parts(disturbed, value);
                    execute_on(p, b, plan.plan);
                    execute_on(p, disturbed, plan.plan);
                    double difference = 0;
                    for_each_transform(p, side::out, [&](int64_t start) {
                        for_each_element(p, side::out, [&](int64_t offset) {
                            const double d =
                                std::fabs(load_element(p, b, side::out, start + offset).re -
                                          load_element(p, disturbed, side::out, start + offset).re);
                            if (!(d <= difference)) difference = d;
                        });
                    });
                    EXPECT_LE(difference, 0x1p13 * roundoff) << value;
                }
            }
        }
    }
}

// There and back is n times the input.
TEST(real, round_trips) {
    for (const char *shape : {"1", "2", "3", "17", "64", "1000", "12x1", "7x9", "16x18", "5x6x7",
                              "4x8x10", "12x14*3", "60*9i", "6x8*5i"})
        for (const char *place : {"o", "i"}) {
            const problem forward = problem_of(std::string(place) + "rf" + shape);
            const problem backward = problem_of(std::string(place) + "rb" + shape);
            SCOPED_TRACE(format_problem(forward));
            buffers b = buffers_of(forward);
            const plan_holder there(make_plan(forward, b));
            ASSERT_NE(there.plan, nullptr);
            lyr_fft_execute(there.plan);
            buffers back = buffers_of(backward);
            for_each_transform(forward, side::out, [&](int64_t start) {
                for_each_element(forward, side::out, [&](int64_t offset) {
                    store_element(backward, back, side::in, start + offset,
                                  load_element(forward, b, side::out, start + offset));
                });
            });
            const plan_holder again(make_plan(backward, back));
            ASSERT_NE(again.plan, nullptr);
            lyr_fft_execute(again.plan);
            const auto n = static_cast<double>(point_count(forward));
            for_each_transform(forward, side::in, [&](int64_t start) {
                for_each_element(forward, side::in, [&](int64_t offset) {
                    const double x = load_saved_input(forward, b, start + offset).re;
                    const double y = load_element(backward, back, side::out, start + offset).re;
                    EXPECT_NEAR(y, n * x, 64 * roundoff * n);
                });
            });
        }
}

// Powers of two scale exactly, subnormal numbers are kept, and what is not a number reaches every
// output.
TEST(real, extreme_numbers) {
    for (const lyr::codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const char *text : {"orf64", "orb64", "orf120", "orb120", "orf45", "orb45"}) {
            SCOPED_TRACE(std::string(text) + " with " + table->name);
            const problem p = problem_of(text);
            buffers b = buffers_of(p);
            const plan_holder holder(make_plan(p, b));
            ASSERT_NE(holder.plan, nullptr);
            const int64_t inputs = extent(p, side::in) * (is_complex(p, side::in) ? 2 : 1);
            const int64_t outputs = extent(p, side::out) * (is_complex(p, side::out) ? 2 : 1);
            lyr_fft_execute(holder.plan);
            std::vector<scalar> expected(b.out[0], b.out[0] + outputs);
            std::for_each(b.in[0], b.in[0] + inputs, [](scalar &x) { x *= small_scale; });
            lyr_fft_execute(holder.plan);
            for (int64_t k = 0; k < outputs; ++k)
                EXPECT_EQ(b.out[0][k], expected[static_cast<size_t>(k)] * small_scale);

            std::fill_n(b.in[0], inputs, 1.0);
            b.in[0][4] = b.in[0][5] = std::nan("");
            lyr_fft_execute(holder.plan);
            const int64_t parts = is_complex(p, side::out) ? 2 : 1;  // either shows it
            for (int64_t k = 0; k < outputs; k += parts)
                EXPECT_TRUE(std::isnan(b.out[0][k]) || std::isnan(b.out[0][k + parts - 1])) << k;

            constexpr scalar tiny = std::numeric_limits<scalar>::denorm_min() * 8;
            std::fill_n(b.in[0], inputs, 0.0);
            b.in[0][0] = tiny;
            lyr_fft_execute(holder.plan);
            for (int64_t k = 0; k < outputs; ++k)
                EXPECT_EQ(b.out[0][k], k % 2 && is_complex(p, side::out) ? 0 : tiny);
        }
    }
}

}  // namespace
}  // namespace lyr_test
