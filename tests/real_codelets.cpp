// Real-data codelets of every table, called directly and through their solvers, against the
// definitions.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "codelets/select.h"
#include "planner/registry.h"
#include "support.h"

namespace lyr_test {
namespace {

using lyr::codelet_table;
using lyr::real_kernel;
using lyr::real_set;
using lyr_tools::buffers;
using lyr_tools::problem;

constexpr int64_t real_lengths[] = {2, 4, 8, 16, 32, 64, 128};
constexpr int64_t single_lengths[] = {2, 3, 4, 5, 7, 8, 16, 32, 64, 128};
constexpr int64_t many_lengths[] = {2, 3, 4, 8, 16};
constexpr int64_t cosine_lengths[] = {2, 3, 4, 17};
constexpr int64_t most_transforms = 19;

template <class range>
bool contains(const range &list, int64_t n) {
    return std::ranges::find(list, n) != std::end(list);
}

// ---- What the results should be -----------------------------------------------------------------

// cos(2 pi m/n), from an angle in the first eighth.
long double cosine(int64_t m, int64_t n) {
    m %= n;
    if (2 * m > n) m = n - m;
    if (4 * m > n) return -cosine(n - 2 * m, 2 * n);
    constexpr long double two_pi = 2 * 3.14159265358979323846264338327950288L;
    const auto angle = [n](int64_t k) {
        return two_pi * static_cast<long double>(k) / static_cast<long double>(8 * n);
    };
    return m * 8 <= n ? std::cos(angle(8 * m)) : std::sin(angle(2 * n - 8 * m));
}

// Transforms of one length: t of real numbers x, their spectra in half-complex order y.
struct sample {
    int64_t n;
    std::vector<scalar> x, y;                 // inputs
    std::vector<long double> want_y, want_x;  // of x forward, of y backward

    size_t at(int64_t t, int64_t k) const { return static_cast<size_t>(t * n + k); }
};

const sample &sample_of(int64_t n) {
    static std::map<int64_t, sample> known;
    sample &s = known[n];
    if (s.n == n) return s;
    s.n = n;
    random_source random{static_cast<uint64_t>(n)};
    const size_t count = static_cast<size_t>(n * most_transforms);
    s.x.resize(count);
    s.y.resize(count);
    std::ranges::generate(s.x, [&] { return random.uniform(); });
    std::ranges::generate(s.y, [&] { return random.uniform(); });
    s.want_x.resize(count);
    s.want_y.resize(count);
    std::vector<long double> c(static_cast<size_t>(4 * n));
    for (int64_t m = 0; m < 4 * n; ++m) c[static_cast<size_t>(m)] = cosine(m, 4 * n);
    // cos and sin of 2 pi jk/n.
    const auto turn = [&](int64_t j, int64_t k, bool sine) {
        return c[static_cast<size_t>((4 * (j * k % n) + (sine ? 3 * n : 0)) % (4 * n))];
    };
    for (int64_t t = 0; t < most_transforms; ++t)
        for (int64_t k = 0; k < n; ++k) {
            long double forward = 0, backward = 0;
            const bool imaginary = 2 * k > n;
            for (int64_t j = 0; j < n; ++j) {
                const long double x = s.x[s.at(t, j)];
                forward += imaginary ? -x * turn(j, n - k, true) : x * turn(j, k, false);
                // Here k is a sample and j a frequency.
                const long double weight = j == 0 || 2 * j == n ? 1 : 2;
                const long double y = weight * static_cast<long double>(s.y[s.at(t, j)]);
                backward += 2 * j > n ? -y * turn(n - j, k, true) : y * turn(j, k, false);
            }
            s.want_y[s.at(t, k)] = forward;
            s.want_x[s.at(t, k)] = backward;
        }
    return s;
}

// Relative L2 error in units of roundoff sqrt(log2 n); NaN stays NaN.
double relative_error(int64_t n, const std::vector<scalar> &got, const long double *want) {
    long double error = 0, size = 0;
    for (size_t k = 0; k < got.size(); ++k) {
        error += (got[k] - want[k]) * (got[k] - want[k]);
        size += want[k] * want[k];
    }
    const double levels = std::max(1.0, std::log2(static_cast<double>(n)));
    return static_cast<double>(std::sqrt(error / size)) / (roundoff * std::sqrt(levels));
}

double bound(int64_t n) {
    return n < 8 ? 1.5 : 1.2;
}

// ---- Where the numbers are ----------------------------------------------------------------------

// Strides in real numbers: `step` from an element to the next, `apart` from a transform to the
// next. The imaginary parts of a spectrum start `imaginary` after the real ones and go by im_step.
struct place {
    const char *name;
    int64_t step, apart, imaginary, im_step;
};

// Numbers around an origin, so that strides may be negative; unused ones hold a NaN.
struct memory {
    std::vector<scalar> numbers;

    explicit memory(int64_t reach) : numbers(static_cast<size_t>(2 * reach), unwritten) {}
    scalar *origin() { return numbers.data() + numbers.size() / 2; }
    bool untouched() const { return std::ranges::all_of(numbers, is_unwritten); }
};

std::vector<place> real_places(int64_t n, int64_t v) {
    return {{"lines", 1, n + 3, 0, 0},
            {"side by side", v + 2, 1, 0, 0},
            {"strided", 2, 2 * n + 1, 0, 0},
            {"backwards", -1, n + 2, 0, 0},
            {"last first", 1, -n, 0, 0},
            {"every second", 2 * v + 1, 2, 0, 0},
            {"side by side backwards", -v - 1, 1, 0, 0}};
}

std::vector<place> spectrum_places(int64_t n, int64_t v) {
    const int64_t row = 2 * (v + 1);
    return {{"half-complex lines", 1, n + 1, n, -1},
            {"half-complex side by side", v + 1, 1, n * (v + 1), -v - 1},
            {"half-complex strided", 3, 3 * n + 2, 3 * n, -3},
            {"complex lines", 2, n + 4, 1, 2},
            {"complex pairs", row, 2, 1, row},
            {"complex strided", 6, 6 * n + 3, 1, 6},
            {"complex last first", 2, -n - 5, 1, 2},
            {"complex backwards", -2, n + 6, 1, -2},
            {"parts apart", 1, n, 2 * n * (v + 1), 1}};
}

// Number i of transform t of a spectrum in half-complex order.
int64_t spectrum_at(const place &p, int64_t n, int64_t t, int64_t i) {
    const int64_t part = 2 * i <= n ? i * p.step : p.imaginary + (n - i) * p.im_step;
    return t * p.apart + part;
}

std::vector<int64_t> multiples(int64_t step, int64_t n) {
    std::vector<int64_t> table;
    for (int64_t k = 0; k < n; ++k) table.push_back(k * step);
    return table;
}

void call(real_kernel kernel, int64_t n, const place &real, scalar *reals, const place &spectrum,
          scalar *complexes, int64_t v, bool forward) {
    const auto rs = multiples(2 * real.step, n), csr = multiples(spectrum.step, n),
               csi = multiples(spectrum.im_step, n);
    kernel(reals, reals + real.step, complexes, complexes + spectrum.imaginary, rs.data(),
           csr.data(), csi.data(), static_cast<uint64_t>(v), forward ? real.apart : spectrum.apart,
           forward ? spectrum.apart : real.apart);
}

enum class zeros { untouched, written };

// Runs a kernel on v transforms and compares all results. Nothing but results may be written, and
// the zero imaginary parts are NaNs that must have no effect.
double check_kernel(real_kernel kernel, int64_t n, const place &real, const place &spectrum,
                    int64_t v, bool forward, zeros ends) {
    SCOPED_TRACE(std::to_string(n) + (forward ? " forward, " : " backward, ") + std::to_string(v) +
                 " transforms, " + real.name + ", " + spectrum.name);
    const sample &s = sample_of(n);
    memory reals(8 * (n + 4) * (v + 4)), complexes(8 * (n + 4) * (v + 4));
    const auto real_at = [&](int64_t t, int64_t j) -> scalar & {
        return reals.origin()[t * real.apart + j * real.step];
    };
    const auto complex_at = [&](int64_t t, int64_t i) -> scalar & {
        return complexes.origin()[spectrum_at(spectrum, n, t, i)];
    };
    for (int64_t t = 0; t < v; ++t)
        for (int64_t k = 0; k < n; ++k) {
            if (forward)
                real_at(t, k) = s.x[s.at(t, k)];
            else
                complex_at(t, k) = s.y[s.at(t, k)];
        }
    memory before = forward ? reals : complexes;
    call(kernel, n, real, reals.origin(), spectrum, complexes.origin(), v, forward);

    const scalar nan = unwritten;
    double worst = 0;
    for (int64_t t = 0; t < v; ++t) {
        std::vector<scalar> got;
        for (int64_t k = 0; k < n; ++k)
            got.push_back(std::exchange(forward ? complex_at(t, k) : real_at(t, k), nan));
        const auto &want = forward ? s.want_y : s.want_x;
        const double e = relative_error(n, got, want.data() + s.at(t, 0));
        EXPECT_LE(e, bound(n)) << "transform " << t;
        worst = std::max(worst, e);
        if (ends == zeros::untouched) continue;
        scalar *c = complexes.origin() + t * spectrum.apart + spectrum.imaginary;
        EXPECT_EQ(std::bit_cast<scalar_bits>(std::exchange(*c, nan)), 0U) << "Im X[0]";
        if (n % 2 == 0) {
            EXPECT_EQ(std::bit_cast<scalar_bits>(std::exchange(c[n / 2 * spectrum.im_step], nan)),
                      0U)
                << "Im X[n/2]";
        }
    }
    EXPECT_TRUE((forward ? complexes : reals).untouched()) << "wrote what is no result";
    EXPECT_EQ(std::memcmp(before.numbers.data(), (forward ? reals : complexes).numbers.data(),
                          before.numbers.size() * sizeof(scalar)),
              0)
        << "changed its input";
    return worst;
}

// The same transform at every place of a batch gives the same bits.
void check_places_in_batch(real_kernel kernel, int64_t n, const place &real, const place &spectrum,
                           int64_t v, bool forward) {
    const sample &s = sample_of(n);
    memory reals(8 * (n + 4) * (v + 4)), complexes(8 * (n + 4) * (v + 4));
    for (int64_t t = 0; t < v; ++t)
        for (int64_t k = 0; k < n; ++k) {
            reals.origin()[t * real.apart + k * real.step] = s.x[s.at(0, k)];
            complexes.origin()[spectrum_at(spectrum, n, t, k)] = s.y[s.at(0, k)];
        }
    call(kernel, n, real, reals.origin(), spectrum, complexes.origin(), v, forward);
    bool same = true;
    for (int64_t t = 1; t < v; ++t)
        for (int64_t k = 0; k < n; ++k) {
            const auto bits = [&](int64_t of) {
                return std::bit_cast<scalar_bits>(
                    forward ? complexes.origin()[spectrum_at(spectrum, n, of, k)]
                            : reals.origin()[of * real.apart + k * real.step]);
            };
            same = same && bits(t) == bits(0);
        }
    EXPECT_TRUE(same) << n << ", " << v << " transforms, " << real.name << ", " << spectrum.name;
}

std::vector<int64_t> batches() {
    if (test_scale > 1) return {0, 1, 2, 5, 7};
    return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 14, 15, most_transforms};
}

// f(real place, spectrum place, number of transforms) for every combination.
void for_each_arrangement(int64_t n,
                          const std::function<void(const place &, const place &, int64_t)> &f) {
    const int64_t one_of = test_scale > 1 ? 5 : 1;
    int64_t count = n;
    for (const int64_t v : batches())
        for (const place &real : real_places(n, v))
            for (const place &spectrum : spectrum_places(n, v)) {
                if (count++ % one_of != 0) continue;
                f(real, spectrum, v);
                if (testing::Test::HasFailure()) return;
            }
}

// ---- The codelets -------------------------------------------------------------------------------

TEST(real_codelets, tables_hold_their_lengths) {
    for (const codelet_table *table : all_tables()) {
        const real_set &r = *table->reals;
        for (const auto *entries : {&r.forward, &r.hartley, &r.backward, &r.complex_to_real})
            for (int i = 0; i < lyr::real_sizes; ++i) {
                EXPECT_EQ((*entries)[i].n, real_lengths[i]);
                EXPECT_NE((*entries)[i].kernel, nullptr);
            }
        for (int i = 0; i < lyr::cosine_sizes; ++i) EXPECT_EQ(r.cosine[i].n, cosine_lengths[i]);
        const with_table active(table);
        EXPECT_EQ(lyr::active_reals(), &r);
        for (int64_t n = -2; n <= 300; ++n) {
            EXPECT_EQ(lyr::codelet_r2c(nullptr, n) != nullptr, contains(single_lengths, n)) << n;
            EXPECT_EQ(lyr::codelet_r2c_many(nullptr, n) != nullptr, contains(many_lengths, n)) << n;
        }
        for (const int64_t n : {INT64_MIN, INT64_MAX, (int64_t{1} << 32) + 16}) {
            EXPECT_EQ(lyr::codelet_r2c(nullptr, n), nullptr);
            EXPECT_EQ(lyr::codelet_r2c_many(nullptr, n), nullptr);
        }
    }
}

TEST(real_codelets, in_every_arrangement) {
    for (const codelet_table *table : all_tables()) {
        SCOPED_TRACE(table->name);
        for (int i = 0; i < lyr::real_sizes && !HasFailure(); ++i)
            for (const bool forward : {true, false}) {
                const real_set &r = *table->reals;
                const int64_t n = real_lengths[i];
                const real_kernel kernel = (forward ? r.forward[i] : r.backward[i]).kernel;
                for_each_arrangement(n, [&](const place &real, const place &spectrum, int64_t v) {
                    check_kernel(kernel, n, real, spectrum, v, forward, zeros::untouched);
                    if (v > 1) check_places_in_batch(kernel, n, real, spectrum, v, forward);
                });
            }
    }
}

TEST(real_codelets, of_the_real_to_complex_solvers) {
    for (const codelet_table *table : all_tables()) {
        SCOPED_TRACE(table->name);
        const real_set &r = *table->reals;
        for (int64_t n = 1; n <= lyr::longest_real && !HasFailure(); ++n)
            for_each_arrangement(n, [&](const place &real, const place &spectrum, int64_t v) {
                // v and the distances are not those of the call: a single codelet reads none.
                if (r.r2c[n - 1] && v == 1)
                    check_kernel(
                        r.r2c[n - 1], n, {real.name, real.step, -7, 0, 0},
                        {spectrum.name, spectrum.step, 5, spectrum.imaginary, spectrum.im_step}, 1,
                        true, zeros::untouched);
                if (!r.r2c_many[n - 1]) return;
                check_kernel(r.r2c_many[n - 1], n, real, spectrum, v, true, zeros::untouched);
                if (spectrum.imaginary == 1)
                    check_kernel(r.r2c_many_zeroed[n - 1], n, real, spectrum, v, true,
                                 zeros::written);
            });
    }
}

TEST(real_codelets, single_ones_read_no_batch) {
    for (const codelet_table *table : all_tables())
        for (const int64_t n : single_lengths) {
            const sample &s = sample_of(n);
            std::vector<scalar> x(s.x.begin(), s.x.begin() + n), c(static_cast<size_t>(n + 2));
            const auto rs = multiples(2, n);
            table->reals->r2c[n - 1](x.data(), x.data() + 1, c.data(), c.data() + 1, rs.data(),
                                     rs.data(), rs.data(), 0, INT64_MAX, INT64_MIN);
            EXPECT_NEAR(c[0], static_cast<double>(s.want_y[0]), 0x1p10 * roundoff)
                << n << table->name;
        }
}

// The weight of each input in each output by itself.
TEST(real_codelets, impulses) {
    for (const codelet_table *table : all_tables())
        for (int i = 0; i < lyr::real_sizes; ++i)
            for (const int64_t v : {int64_t{1}, table->lanes * 2}) {
                const int64_t n = real_lengths[i];
                const place side = {"", v, 1, n * v, -v};
                std::vector<scalar> x(static_cast<size_t>(n * v)), y(x);
                for (int64_t q = 0; q < n; ++q) {
                    std::ranges::fill(x, 0.0);
                    for (int64_t t = 0; t < v; ++t) x[static_cast<size_t>(q * v + t)] = 1;
                    call(table->reals->forward[i].kernel, n, side, x.data(), side, y.data(), v,
                         true);
                    double worst = 0;
                    for (int64_t k = 0; k < n; ++k) {
                        const int64_t turn =
                            2 * k <= n ? 4 * (q * k % n) : 4 * (q * (n - k) % n) + n;  // -sine
                        const auto error = static_cast<double>(y[static_cast<size_t>(k * v)] -
                                                               cosine(turn, 4 * n));
                        worst = std::max(worst, std::abs(error));
                    }
                    EXPECT_LE(worst, 3 * roundoff) << n << ", impulse at " << q;
                }
            }
}

TEST(real_codelets, cosine) {
    for (const codelet_table *table : all_tables())
        for (const auto &[n, kernel] : table->reals->cosine)
            for (const int64_t v : batches())
                for (const place &in : real_places(n, v))
                    for (const place &out : real_places(n, v)) {
                        SCOPED_TRACE(std::string(table->name) + ", " + std::to_string(n) + ", " +
                                     std::to_string(v) + " transforms, " + in.name + " to " +
                                     out.name);
                        const sample &s = sample_of(n);
                        memory from(8 * (n + 4) * (v + 4)), to(8 * (n + 4) * (v + 4));
                        for (int64_t t = 0; t < v; ++t)
                            for (int64_t j = 0; j < n; ++j)
                                from.origin()[t * in.apart + j * in.step] = s.x[s.at(t, j)];
                        const auto is = multiples(in.step, n), os = multiples(out.step, n);
                        kernel(from.origin(), to.origin(), is.data(), os.data(),
                               static_cast<uint64_t>(v), in.apart, out.apart);
                        for (int64_t t = 0; t < v; ++t) {
                            std::vector<scalar> got;
                            std::vector<long double> want;
                            for (int64_t k = 0; k < n; ++k) {
                                long double sum = 0;
                                for (int64_t j = 0; j < n; ++j)
                                    sum += (j == 0 || j == n - 1 ? 1 : 2) *
                                           static_cast<long double>(s.x[s.at(t, j)]) *
                                           cosine(j * k, 2 * (n - 1));
                                want.push_back(sum);
                                got.push_back(std::exchange(
                                    to.origin()[t * out.apart + k * out.step], unwritten));
                            }
                            EXPECT_LE(relative_error(n, got, want.data()), n < 8 ? 1.5 : 1.0);
                        }
                        EXPECT_TRUE(to.untouched());
                        if (HasFailure()) return;
                    }
}

// ---- The solvers --------------------------------------------------------------------------------

struct direct_class {
    const char *letters, *kind, *solver, *executor;
    std::vector<int64_t> lengths;
    bool batched;
};

std::vector<direct_class> direct_classes() {
    const std::vector<int64_t> powers(std::begin(real_lengths), std::end(real_lengths));
    return {
        {"rf", "", "solve_problem_r2c_1d_direct", "execute_1d_r2c_direct",
         std::vector<int64_t>(std::begin(single_lengths), std::end(single_lengths)), false},
        {"rf", "", "solve_problem_r2c_many_direct", "execute_r2c_many_direct",
         std::vector<int64_t>(std::begin(many_lengths), std::end(many_lengths)), true},
        {"rb", "", "solve_problem_c2r_direct", "execute_c2r_direct", powers, false},
        {"rb", "", "solve_problem_c2r_direct", "execute_c2r_direct", powers, true},
        {"k", "f", "solve_problem_r2hc_direct", "execute_r2hc_direct", powers, false},
        {"k", "f", "solve_problem_r2hc_direct", "execute_r2hc_direct", powers, true},
        {"k", "b", "solve_problem_hc2r_direct", "execute_hc2r_direct", powers, false},
        {"k", "b", "solve_problem_hc2r_direct", "execute_hc2r_direct", powers, true},
        {"k", "h", "solve_problem_dht_direct", "execute_dht_direct", powers, false},
        {"k", "h", "solve_problem_dht_direct", "execute_dht_direct", powers, true},
        {"k",
         "e00",
         "solve_problem_redft00_direct",
         "execute_redft00_direct",
         {2, 3, 4, 17},
         false},
        {"k", "e00", "solve_problem_redft00_direct", "execute_redft00_direct", {2, 3, 4, 17}, true},
    };
}

// Plans, runs and checks one problem; the L2 error.
double check_problem(const std::string &text, const direct_class &c, uint64_t seed) {
    SCOPED_TRACE(text + " with " + lyr::active_table()->name);
    const problem p = problem_of(text);
    double error = 0;
    for (const bool misaligned : {false, true}) {
        buffers b = buffers_of(p, misaligned);
        const plan_holder holder(make_plan(p, b, lyr_tools::constructor::guru64));
        if (!holder.plan) {
            ADD_FAILURE() << "no plan";
            return 0;
        }
        EXPECT_STREQ(holder.plan->solver_name, c.solver);
        const bool codelet_itself = p.batch_rank == 0 && p.dims[0].is == 1 && p.dims[0].os == 1 &&
                                    std::string(c.kind) != "e00";
        EXPECT_EQ(holder.plan->execute_name,
                  std::string(c.executor) + (codelet_itself ? "_unit" : ""));
        const lyr_tools::verdict v = verify(p, b, holder.plan, seed);
        EXPECT_EQ(v.damage, "");
        EXPECT_LE(v.error.l2, bound(p.dims[0].n));
        error = v.error.l2;
    }
    return error;
}

TEST(real_solvers, in_and_out_of_place_single_and_batched) {
    for (const codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const direct_class &c : direct_classes()) {
            double log_sum = 0, worst = 0;
            int count = 0;
            for (const int64_t n : c.lengths) {
                const auto text = [&](char place, const std::string &strides) {
                    return place + std::string(c.letters) + std::to_string(n) + c.kind + strides;
                };
                std::vector<std::string> problems;
                if (c.batched) {
                    for (const std::string h : {"*2", "*5", "*16", "*40"}) {
                        problems.push_back(text('o', h));
                        problems.push_back(text('o', h + "i"));
                        problems.push_back(text('i', h));
                        if (*c.letters == 'k') problems.push_back(text('i', h + "i"));
                    }
                    problems.push_back(text('o', ":3:2*7:400:500"));
                    problems.push_back(text('o', ":14:1*7:2:130"));
                } else {
                    problems = {text('o', ""), text('i', ""), text('o', ":2:3"), text('o', ":1:4"),
                                text('o', ":5:1")};
                    if (*c.letters == 'k') problems.push_back(text('i', ":3:2"));
                }
                for (const std::string &p : problems) {
                    const double e = check_problem(p, c, static_cast<uint64_t>(n));
                    if (HasFailure()) return;
                    if (e < 0.01) continue;  // exact, but for the reference
                    log_sum += std::log(e);
                    worst = std::max(worst, e);
                    ++count;
                }
            }
            std::printf("%-15s %-30s mean error %.3f, worst %.3f\n", table->name, c.executor,
                        std::exp(log_sum / count), worst);
        }
    }
}

TEST(real_solvers, decline_other_lengths_and_results_that_move) {
    for (const char *text : {"orf1",
                             "orf6",
                             "orf256",
                             "orf5*3",
                             "orf7*3",
                             "orf32*3",
                             "orb1",
                             "orb3",
                             "orb6",
                             "orb256*2",
                             "ok6f",
                             "ok256b",
                             "ok6h",
                             "ok256h*2",
                             "ok5e00",
                             "ok9e00",
                             "ok16e00",
                             "ok16e10",
                             "orf4x4",
                             "orf4*2*2",
                             "irf4:1:1*3:4:3",
                             "irf8:1:1*3:4:5",
                             "irb8:1:1*3:5:12",
                             "ik8f:1:1*3:8:9"}) {
        const problem p = problem_of(text);
        const buffers b = buffers_of(p);
        lyr::plan record = {};
        record.kind = p.kind == lyr_tools::transform::c2r   ? kind_c2r
                      : p.kind == lyr_tools::transform::r2c ? kind_r2c
                                                            : kind_r2r;
        record.split = -1;
        record.rank = p.rank;
        record.howmany_rank = p.batch_rank;
        std::ranges::copy(p.dims, record.dims);
        std::ranges::copy(p.batch, record.howmany_dims);
        std::ranges::copy(p.kinds, record.r2r_kinds);
        record.in = b.in[0];
        record.out = b.out[0];
        for (int entry = 11; entry < 19; ++entry) {
            if (lyr::registry[entry].solve == lyr::solve_problem_real_unit) continue;  // no codelet
            EXPECT_EQ(lyr::registry[entry].solve(&record), -1)
                << text << " by " << lyr::registry[entry].name;
            lyr::plan_clear(&record);
        }
    }
}

// What becomes of values that no arithmetic can hide.
TEST(real_solvers, infinities_and_ends) {
    for (const codelet_table *table : all_tables()) {
        const with_table active(table);
        for (const int64_t n : real_lengths) {
            const std::string size = std::to_string(n);
            for (const char *batch : {"", "*9"}) {
                const problem forward = problem_of("orf" + size + batch);
                if (lyr::codelet_r2c_many(nullptr, n) == nullptr && *batch) continue;
                buffers b = buffers_of(forward);
                const plan_holder holder(make_plan(forward, b));
                ASSERT_TRUE(holder.plan);
                b.in[0][n - 1] = std::numeric_limits<double>::infinity();
                lyr_fft_execute(holder.plan);
                EXPECT_EQ(b.out[0][1], 0) << "Im X[0]";
                EXPECT_EQ(b.out[0][n + 1], 0) << "Im X[n/2]";
                EXPECT_FALSE(std::isfinite(b.out[0][0]) || std::isfinite(b.out[0][n]));
            }
            for (const char *batch : {"", "*9", "*9i"}) {
                SCOPED_TRACE(size + batch + table->name);
                const problem backward = problem_of("orb" + size + batch);
                buffers b = buffers_of(backward), other = buffers_of(backward);
                const plan_holder holder(make_plan(backward, b));
                ASSERT_TRUE(holder.plan);
                for_each_transform(backward, lyr_tools::side::in, [&](int64_t t) {
                    const int64_t last = t + n / 2 * backward.dims[0].is;
                    b.in[0][2 * t + 1] = b.in[0][2 * last + 1] = NAN;
                    other.in[0][2 * t + 1] = other.in[0][2 * last + 1] = -3;
                });
                execute_on(backward, b, holder.plan);
                execute_on(backward, other, holder.plan);
                EXPECT_TRUE(same_outputs(backward, b, other)) << "ends have an effect";
            }
        }
    }
}

}  // namespace
}  // namespace lyr_test
