// lyra-orders: times stage lists with every order of radices of a list of lengths, and fits the
// costs by which the library chooses among them (dft/orders.h).
//
//   lyra-orders time [TARGET] [LENGTH..] > times     a line for each list: target, length, radices,
//   ns lyra-orders fit < times                          the costs, for codelets/stage_costs.h
//   lyra-orders judge < times                        how good the library's choices are
//
// Without lengths: those that the costs in the library were fitted to. On a quiet machine; every
// list of a length is timed in turns with all others and with a transform that stays the same, so
// that changes of the clock rate cancel.
#include "dft/orders.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "api/memory.h"
#include "codelets/select.h"
#include "dft/factorize.h"
#include "dft/stages.h"

namespace {

using list = std::vector<int64_t>;
using lyr::scalar;

// ---- Timing -------------------------------------------------------------------------------------

constexpr int rounds = 7;
constexpr double seconds_of_turn = 15e-6;
constexpr size_t most_lists = 150;  // of one length; more are thinned out
constexpr size_t most_factors = 6;

const std::vector<int64_t> fitted_lengths = {
    60,    64,    66,     70,     72,    75,    77,    78,    80,    81,    84,    88,    90,
    91,    96,    98,     99,     100,   104,   105,   108,   110,   112,   117,   120,   125,
    126,   128,   130,    132,    135,   140,   143,   144,   147,   150,   154,   156,   160,
    162,   165,   168,    175,    176,   180,   182,   189,   192,   195,   196,   198,   200,
    204,   208,   210,    216,    220,   224,   225,   228,   234,   240,   243,   245,   250,
    252,   256,   260,    264,    270,   276,   280,   288,   294,   300,   308,   312,   315,
    320,   324,   330,    336,    343,   348,   350,   352,   360,   363,   372,   375,   378,
    384,   390,   392,    400,    405,   408,   416,   420,   432,   441,   444,   448,   450,
    462,   468,   480,    486,    490,   494,   500,   504,   512,   525,   528,   540,   560,
    567,   576,   588,    592,    600,   624,   625,   630,   640,   648,   660,   672,   675,
    686,   700,   720,    729,    735,   736,   750,   756,   768,   780,   784,   800,   810,
    840,   864,   875,    880,    882,   896,   900,   945,   960,   972,   980,   990,   1000,
    1008,  1024,  1050,   1056,   1080,  1120,  1152,  1200,  1215,  1248,  1260,  1280,  1296,
    1320,  1344,  1350,   1400,   1440,  1500,  1512,  1536,  1568,  1600,  1620,  1680,  1728,
    1792,  1800,  1920,   2000,   2016,  2048,  2100,  2160,  2187,  2304,  2400,  2500,  2520,
    2560,  2592,  2688,   2880,   3000,  3072,  3125,  3240,  3360,  3456,  3600,  3840,  4000,
    4096,  4200,  4608,   4800,   5000,  5040,  5120,  5400,  5760,  6000,  6144,  6400,  7168,
    7200,  7680,  8000,   8192,   9000,  9216,  10000, 12000, 12288, 14400, 15360, 16384, 18000,
    20000, 24576, 30000,  32768,  36000, 40000, 46656, 49152, 50000, 60000, 65536, 72000, 81920,
    90000, 98304, 100000, 120000, 131072};

// How many of the modelled radices the active table has for single transforms.
int radix_count(const lyr::codelet_table *table) {
    return table->wide ? lyr::all_radix_count : lyr::modelled_radix_count;
}

void add_lists(int64_t rest, list &factors, std::vector<list> &lists) {
    if (rest == 1) {
        lists.push_back(factors);
        return;
    }
    if (factors.size() == most_factors) return;
    for (int i = 0; i < radix_count(lyr::active_table()); ++i) {
        const uint8_t r = lyr::modelled_radices[i];
        if (rest % r != 0) continue;
        factors.push_back(r);
        add_lists(rest / r, factors, lists);
        factors.pop_back();
    }
}

// The lists of fewest factors and those with one more, thinned out evenly but reproducibly.
std::vector<list> lists_of(int64_t n) {
    std::vector<list> all, kept;
    list factors;
    add_lists(n, factors, all);
    size_t fewest = most_factors;
    for (const list &l : all)
        if (l.size() > 1) fewest = std::min(fewest, l.size());
    for (const list &l : all)
        if (l.size() > 1 && l.size() <= std::max(fewest + 1, size_t{3})) kept.push_back(l);
    std::mt19937 random(1);
    if (kept.size() > most_lists) {
        std::shuffle(kept.begin(), kept.end(), random);
        kept.resize(most_lists);
    }
    // Those that judge asks for.
    for (const bool ours : {false, true}) {
        int64_t chosen[lyr::max_factors];
        const int count = ours ? lyr::order_with_wide_radices(lyr::active_table(), n, chosen)
                               : lyr::factorize_size(n, chosen);
        const list l(chosen, chosen + count);
        if (count > 1 && std::ranges::find(kept, l) == kept.end()) kept.push_back(l);
    }
    return kept;
}

struct run {
    lyr::plan p = {};
    lyr::stage_list list;
    long repeats = 1;
    double best = HUGE_VAL;

    run(int64_t n, const std::vector<int64_t> &factors) {
        p.kind = kind_complex;
        p.sign = -1;
        p.split = -1;
        p.rank = 1;
        p.dims[0] = {n, 1, 1};
        if (!lyr::build_stages(&p, factors.data(), static_cast<int>(factors.size()), 0)) {
            std::fprintf(stderr, "lyra-orders: out of memory\n");
            std::exit(1);
        }
        list = factors.size() == 2 ? lyr::stage_list{2, lyr::two_stages_of(p.aux)}
                                   : lyr::stages_of(p.aux);
    }
    ~run() { lyr::plan_clear(&p); }
    run(const run &) = delete;

    double time(const scalar *in, scalar *work, scalar *out) const {
        const auto start = std::chrono::steady_clock::now();
        for (long i = 0; i < repeats; ++i) {
            const scalar *from = in;
            for (int64_t s = 0; s < list.count; ++s) {
                scalar *to = (list.count - 1 - s) % 2 == 0 ? out : work;
                list.stages[s].codelet(list.stages + s, from, to);
                from = to;
            }
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        return took.count() / static_cast<double>(repeats);
    }
};

std::string text_of(const list &factors) {
    std::string text;
    for (const int64_t f : factors) text += (text.empty() ? "" : "x") + std::to_string(f);
    return text;
}

// Arrays at offsets from a page that do not slow each other down.
struct arrays {
    scalar *block, *in, *work, *out;
    explicit arrays(int64_t n) {
        const size_t bytes = (static_cast<size_t>(n * lyr::complex_bytes) + 8191) / 4096 * 4096;
        block = static_cast<scalar *>(std::aligned_alloc(4096, 3 * bytes));
        if (!block) std::exit(1);
        std::fill_n(block, 3 * bytes / sizeof(scalar), static_cast<scalar>(1e-3));
        in = block;
        work = block + (bytes + 1536) / sizeof(scalar);
        out = block + (2 * bytes + 2112) / sizeof(scalar);
    }
    ~arrays() { std::free(block); }
    arrays(const arrays &) = delete;
};

void time_length(int64_t n, const arrays &a, run &steady, double &steady_best) {
    const std::vector<list> lists = lists_of(n);
    std::vector<run *> runs;
    for (const list &l : lists) {
        runs.push_back(new run(n, l));
        run &r = *runs.back();
        r.time(a.in, a.work, a.out);
        const double once = r.time(a.in, a.work, a.out);
        r.repeats = std::max(1L, std::lround(seconds_of_turn / std::max(once, 1e-9)));
    }
    double clock = HUGE_VAL;
    for (int i = 0; i < rounds; ++i)
        for (run *r : runs) {
            clock = std::min(clock, steady.time(a.in, a.work, a.out));
            r->time(a.in, a.work, a.out);
            r->best = std::min(r->best, r->time(a.in, a.work, a.out));
        }
    steady_best = std::min(steady_best, clock);
    for (size_t i = 0; i < lists.size(); ++i) {
        std::printf("%s %lld %s %.2f\n", lyr::active_table()->name, static_cast<long long>(n),
                    text_of(lists[i]).c_str(), runs[i]->best * steady_best / clock * 1e9);
        delete runs[i];
    }
    std::fflush(stdout);
}

int measure(const char *target, const std::vector<int64_t> &lengths) {
    for (const lyr::codelet_table *const *t = lyr::supported_tables(); *t; ++t)
        if (!target || std::strcmp((*t)->name, target) == 0) {
            lyr::set_active_table(*t);
            break;
        }
    const arrays a(*std::max_element(lengths.begin(), lengths.end()));
    run steady(192, {12, 16});
    steady.repeats = 50;
    double steady_best = HUGE_VAL;
    for (int i = 0; i < 1000; ++i)
        steady_best = std::min(steady_best, steady.time(a.in, a.work, a.out));
    for (const int64_t n : lengths) time_length(n, a, steady, steady_best);
    return 0;
}

// ---- Fitting ------------------------------------------------------------------------------------

struct timing {
    int64_t n;
    list factors;
    double ns;
};

std::map<std::string, std::vector<timing>> read_times() {
    std::map<std::string, std::vector<timing>> times;
    std::string target, radices;
    timing t;
    while (std::cin >> target >> t.n >> radices >> t.ns) {
        t.factors.clear();
        std::istringstream in(radices);
        for (std::string f; std::getline(in, f, 'x');) t.factors.push_back(std::stoll(f));
        times[target].push_back(t);
    }
    return times;
}

const lyr::codelet_table *table_of(const std::string &target) {
    for (const lyr::codelet_table *const *t = lyr::supported_tables(); *t; ++t)
        if (target == (*t)->name) return *t;
    std::fprintf(stderr, "lyra-orders: no target %s here\n", target.c_str());
    std::exit(1);
}

constexpr size_t cost_count = offsetof(lyr::wide_costs, ways) / sizeof(float);
static_assert((cost_count + 1) * sizeof(float) == sizeof(lyr::wide_costs));

// Of this machine's first-level cache, whose sets repeat every 4096 bytes.
float ways() {
    const long way_bytes = 4096, count = sysconf(_SC_LEVEL1_DCACHE_SIZE) / way_bytes;
    return static_cast<float>(count);
}

double modelled(const lyr::wide_costs &costs, int64_t lanes, int64_t n, const list &factors) {
    double sum = 0;
    int64_t L = 1;
    for (const int64_t f : factors) {
        const auto *r = std::find(lyr::modelled_radices, std::end(lyr::modelled_radices), f);
        sum += lyr::modelled_cost(costs, lanes, n, static_cast<int>(r - lyr::modelled_radices), L,
                                  n / (L * f));
        L *= f;
    }
    return sum;
}

// The model is linear in the costs: their parts in a time are what it says for unit vectors.
std::vector<double> parts_of(int64_t lanes, const timing &t) {
    std::vector<double> parts(cost_count);
    for (size_t i = 0; i < cost_count; ++i) {
        float unit[cost_count] = {};
        unit[i] = 1;
        lyr::wide_costs costs = {};
        std::memcpy(&costs, unit, sizeof unit);
        costs.ways = ways();
        parts[i] = modelled(costs, lanes, t.n, t.factors);
    }
    return parts;
}

// Costs, none negative, that make the sum of squares of relative errors least; lists that are far
// from the best one of their length count little. By coordinates, in turns (Hildreth, 1957).
lyr::wide_costs fit(int64_t lanes, const std::vector<timing> &times) {
    std::map<int64_t, double> best;
    for (const timing &t : times) {
        double &b = best.try_emplace(t.n, t.ns).first->second;
        b = std::min(b, t.ns);
    }
    // The normal equations.
    static double square[cost_count][cost_count], right[cost_count];
    std::memset(square, 0, sizeof square);
    std::memset(right, 0, sizeof right);
    for (const timing &t : times) {
        const double share = best[t.n] / t.ns, weight = share * share * share;
        std::vector<double> row = parts_of(lanes, t);
        for (double &x : row) x *= weight / t.ns;
        for (size_t i = 0; i < cost_count; ++i) {
            if (row[i] == 0) continue;
            right[i] += row[i] * weight;
            for (size_t k = 0; k < cost_count; ++k) square[i][k] += row[i] * row[k];
        }
    }
    double costs[cost_count] = {};
    for (int turn = 0; turn < 20000; ++turn)
        for (size_t i = 0; i < cost_count; ++i) {
            if (square[i][i] == 0) continue;
            double slope = -right[i];
            for (size_t k = 0; k < cost_count; ++k) slope += square[i][k] * costs[k];
            costs[i] = std::max(0.0, costs[i] - slope / square[i][i]);
        }
    lyr::wide_costs result = {};
    result.ways = ways();
    float *to = reinterpret_cast<float *>(&result);
    for (size_t i = 0; i < cost_count; ++i) to[i] = static_cast<float>(costs[i]);
    // A radix that was not measured at a place is not to be used there.
    for (size_t i = 0; i < size_t{3} * lyr::all_radix_count; ++i)
        if (square[i][i] == 0) to[i] = 1e6F;
    return result;
}

void print_row(const char *name, const float *costs, int count) {
    std::printf("    .%s = {", name);
    for (int i = 0; i < count; ++i)
        std::printf("%s%.2fF", i ? ", " : "", static_cast<double>(costs[i]));
    std::printf("},\n");
}

void print(const lyr::wide_costs &c, int radices) {
    print_row("first", c.first, radices);
    print_row("middle", c.middle, radices);
    print_row("last", c.last, radices);
    std::printf("    .row = %.3fF,\n", static_cast<double>(c.row));
    print_row("collision_in", c.collision_in, 2);
    print_row("collision_out", c.collision_out, 2);
    print_row("pass_line", c.pass_line, 2);
    std::printf("    .table_line = %.3fF,\n", static_cast<double>(c.table_line));
    std::printf("    .ways = %.0f,\n", static_cast<double>(c.ways));
}

// The time of the list that `choose` finds, relative to the best one of each length.
template <class F>
void judge(const char *name, const std::vector<timing> &times, bool each, F &&choose) {
    std::map<int64_t, std::map<list, double>> lengths;
    for (const timing &t : times) lengths[t.n][t.factors] = t.ns;
    double log_sum = 0, worst = 0;
    int count = 0, missing = 0;
    int64_t worst_n = 0;
    for (const auto &[n, lists] : lengths) {
        const auto best = std::ranges::min_element(
            lists, [](const auto &a, const auto &b) { return a.second < b.second; });
        int64_t factors[lyr::max_factors];
        const int k = choose(n, factors);
        const auto found = lists.find(list(factors, factors + k));
        if (found == lists.end()) {
            ++missing;
            if (each)
                std::printf("  %6lld %-16s not timed\n", static_cast<long long>(n),
                            text_of(list(factors, factors + k)).c_str());
            continue;
        }
        const double ratio = found->second / best->second;
        if (each && ratio > 1.05)
            std::printf("  %6lld %-16s %5.2f of %s\n", static_cast<long long>(n),
                        text_of(found->first).c_str(), ratio, text_of(best->first).c_str());
        log_sum += std::log(ratio);
        ++count;
        if (ratio > worst) {
            worst = ratio;
            worst_n = n;
        }
    }
    std::printf("%s: mean %.4f, worst %.2f at %lld, %d lengths, %d not timed\n", name,
                std::exp(log_sum / std::max(count, 1)), worst, static_cast<long long>(worst_n),
                count, missing);
}

int fit_all() {
    for (const auto &[target, times] : read_times()) {
        const lyr::codelet_table *const table = table_of(target);
        const int64_t lanes = table->lanes;
        const lyr::wide_costs costs = fit(lanes, times);
        double square = 0;
        for (const timing &t : times) {
            const double error = modelled(costs, lanes, t.n, t.factors) / t.ns - 1;
            square += error * error;
        }
        std::printf("// %s: %zu lists, error of the model %.1f %%\n", target.c_str(), times.size(),
                    100 * std::sqrt(square / static_cast<double>(times.size())));
        print(costs, radix_count(table));
        judge("model", times, true, [&](int64_t n, int64_t *factors) {
            return lyr::cheapest_order(costs, lanes, n, factors);
        });
        judge("factorize_size", times, false, lyr::factorize_size);
    }
    return 0;
}

int judge_all() {
    for (const auto &[target, times] : read_times()) {
        const lyr::codelet_table *const table = table_of(target);
        judge(target.c_str(), times, true, [&](int64_t n, int64_t *factors) {
            return lyr::order_with_wide_radices(table, n, factors);
        });
    }
    return 0;
}

}  // namespace

int main(int count, char **words) {
    const std::string what = count > 1 ? words[1] : "";
    if (what == "fit") return fit_all();
    if (what == "judge") return judge_all();
    std::vector<int64_t> lengths;
    for (int i = 3; i < count; ++i) lengths.push_back(std::atoll(words[i]));
    if (what == "time")
        return measure(count > 2 ? words[2] : nullptr, lengths.empty() ? fitted_lengths : lengths);
    std::fprintf(stderr, "usage: lyra-orders time [TARGET] [LENGTH..] | fit | judge\n");
    return 2;
}
