// How a problem is measured.
//
// The engines take turns: a repetition is a short loop of executions, the same number for every
// engine, and each engine does one repetition before any does its next. What disturbs the machine
// for a while disturbs all of them. All work on the same arrays, and each starts its repetition
// with one untimed execution, so that all find their own tables in the cache.
//
// Where executions overwrite their input, a loop of them transforms its own results, which grow
// with each pass. The input then starts near the small end of the exponents, is put back before
// each repetition, and the loop stops before the large end: nothing overflows and nothing becomes
// subnormal.

#include "measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>

namespace lyr_bench {

namespace {

using lyr_tools::side;

constexpr uint64_t seed = 20;

// In-place loops start with values around 2^start_exponent and may grow by 2^growth_room. The
// results of one transform spread over some fifty binary orders of magnitude around their norm, so
// both ends keep a distance from the smallest and largest exponents, -1022 and 1023, in single
// precision -126 and 127, where results spread over half as many.
constexpr bool is_single = sizeof(lyr::scalar) == 4;
constexpr int start_exponent = is_single ? -70 : -900;
constexpr double growth_room = is_single ? 140 : 1800;

// Executions longer than this find nothing in the caches that an untimed one would have put there.
constexpr double long_execution = 5e-3;

using clock = std::chrono::steady_clock;

double seconds_since(clock::time_point start) {
    return std::chrono::duration<double>(clock::now() - start).count();
}

// A problem's arrays and the plans on them. plans[e] belongs to engine e; null: refused.
struct bench_state {
    const problem *p = nullptr;
    int threads = 1;
    buffers arrays;
    std::vector<lyr::scalar>
        source[2];  // what the input is put back from; empty when nothing changes it
    int64_t most_executions = 0;
    std::vector<void *> plans;
};

// The shortest of several plannings, each from scratch; 0 when refused.
double planning_time(const engine &e, const bench_state &s) {
    constexpr int most_plans = 20;
    constexpr int least_plans = 3;
    constexpr double enough_seconds = 0.02;

    double least = 0;
    double total = 0;
    for (int i = 0; i < most_plans && (i < least_plans || total < enough_seconds); ++i) {
        e.select();
        e.forget();
        const clock::time_point start = clock::now();
        void *plan = e.plan(*s.p, s.arrays, s.threads);
        const double seconds = seconds_since(start);
        if (!plan) return 0;
        e.destroy(plan);
        least = i == 0 ? seconds : std::min(least, seconds);
        total += seconds;
    }
    return least;
}

void make_plans(const std::vector<engine> &list, const measure_options &options, bench_state &s,
                measurement &m) {
    limit_planning(options.planning_limit);
    // Plans that live share tables with new ones of the same library: planning is timed before any
    // plan stays.
    for (size_t e = 0; e < list.size(); ++e) {
        if (list[e].plans_at_once) m.times[e].planning = planning_time(list[e], s);
    }
    for (size_t e = 0; e < list.size(); ++e) {
        list[e].select();
        list[e].forget();
        const clock::time_point start = clock::now();
        s.plans[e] = list[e].plan(*s.p, s.arrays, s.threads);
        const double seconds = seconds_since(start);
        m.times[e].refused = !s.plans[e];
        if (list[e].plans_at_once || !s.plans[e]) continue;
        m.times[e].planning = seconds;
        m.times[e].planning_cut = seconds >= options.planning_limit;
    }
}

std::vector<lyr_tools::complex_value> outputs(const bench_state &s) {
    std::vector<lyr_tools::complex_value> values;
    values.reserve(
        static_cast<size_t>(lyr_tools::point_count(*s.p) * lyr_tools::batch_count(*s.p)));
    lyr_tools::for_each_transform(*s.p, side::out, [&](int64_t first) {
        lyr_tools::for_each_element(*s.p, side::out, [&](int64_t offset) {
            values.push_back(lyr_tools::load_element(*s.p, s.arrays, side::out, first + offset));
        });
    });
    return values;
}

// The relative distance of two results in the Euclidean norm.
double distance(const std::vector<lyr_tools::complex_value> &a,
                const std::vector<lyr_tools::complex_value> &b) {
    double difference = 0;
    double norm = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        difference += std::pow(a[i].re - b[i].re, 2) + std::pow(a[i].im - b[i].im, 2);
        norm += b[i].re * b[i].re + b[i].im * b[i].im;
    }
    return std::sqrt(difference / norm);
}

// Execute every plan once from the same input. Returns why a result cannot be right; empty when
// all agree.
std::string compare_results(const std::vector<engine> &list, bench_state &s) {
    // Good transforms differ by one or two of these units.
    constexpr double units_allowed = 16;
    const double unit = std::numeric_limits<lyr::scalar>::epsilon() / 2 *
                        std::sqrt(std::log2(2.0 + double(lyr_tools::point_count(*s.p))));

    std::vector<lyr_tools::complex_value> expected;
    std::string expected_from;
    for (size_t e = 0; e < list.size(); ++e) {
        if (!s.plans[e]) continue;
        lyr_tools::fill_buffers(*s.p, seed, s.arrays);
        list[e].select();
        list[e].execute(s.plans[e]);
        if (list[e].name.starts_with("lyra")) {
            const std::string damage = lyr_tools::check_buffers(*s.p, s.arrays);
            if (!damage.empty()) return list[e].name + ": " + damage;
        }
        std::vector<lyr_tools::complex_value> result = outputs(s);
        if (expected_from.empty()) {
            expected = std::move(result);
            expected_from = list[e].name;
            continue;
        }
        const double apart = distance(result, expected) / unit;
        if (!(apart <= units_allowed)) {  // also true for nan
            char text[200];
            snprintf(text, sizeof text, "results of %s and %s are %.3g units apart, allowed are %g",
                     list[e].name.c_str(), expected_from.c_str(), apart, units_allowed);
            return text;
        }
    }
    return "";
}

// Fill the arrays for timing, and find how many executions may follow one another.
void prepare_input(bench_state &s) {
    lyr_tools::fill_buffers(*s.p, seed, s.arrays);
    s.most_executions = INT64_MAX;
    if (!input_may_change(*s.p)) return;

    for (int part = 0; part < 2 && s.arrays.in[part]; ++part) {
        const lyr_tools::guarded_array &in = s.arrays.arrays[static_cast<size_t>(part)];
        s.source[part].assign(in.data, in.data + in.count);
        for (lyr::scalar &x : s.source[part]) x = std::ldexp(x, start_exponent);
    }
    // The norm of a complex transform of N points grows by sqrt(N), that of a real one by up to
    // twice as much.
    const double growth = 0.5 * std::log2(double(lyr_tools::point_count(*s.p))) +
                          (s.p->kind == lyr_tools::transform::c2c ? 0 : 1);
    s.most_executions = static_cast<int64_t>(growth_room / std::max(growth, 0.1));
}

void refill(bench_state &s) {
    for (int part = 0; part < 2; ++part)
        if (!s.source[part].empty())
            std::memcpy(s.arrays.in[part], s.source[part].data(),
                        s.source[part].size() * sizeof(lyr::scalar));
}

// Seconds of one execution in a loop of them.
double repetition(const engine &e, void *plan, int64_t executions, bool warm, bench_state &s) {
    e.select();
    refill(s);
    if (warm) {
        e.execute(plan);
        refill(s);
    }
    const clock::time_point start = clock::now();
    for (int64_t i = 0; i < executions; ++i) e.execute(plan);
    return seconds_since(start) / double(executions);
}

// A first idea of the time of one execution, in seconds.
double rough_time(const engine &e, void *plan, bench_state &s) {
    constexpr double enough_seconds = 20e-6;
    for (int64_t executions = 1;; executions *= 2) {
        executions = std::min(executions, s.most_executions);
        const double seconds = repetition(e, plan, executions, executions == 1, s);
        if (seconds * double(executions) >= enough_seconds || executions == s.most_executions)
            return seconds;
    }
}

void time_plans(const std::vector<engine> &list, const measure_options &options, bench_state &s,
                measurement &m) {
    prepare_input(s);

    double fastest = INFINITY;
    double round = 0;  // one execution of every engine
    for (size_t e = 0; e < list.size(); ++e) {
        if (!s.plans[e]) continue;
        const double seconds = rough_time(list[e], s.plans[e], s);
        fastest = std::min(fastest, seconds);
        round += seconds;
    }
    if (round == 0) return;
    const bool warm = fastest < long_execution;
    m.executions = std::clamp<int64_t>(
        static_cast<int64_t>(std::ceil(options.repetition / fastest)), 1, s.most_executions);
    m.repetitions = std::max<int64_t>(
        options.least_repetitions,
        static_cast<int64_t>(options.seconds / (round * double(m.executions + (warm ? 1 : 0)))));

    std::vector<std::vector<double>> seconds(list.size());
    for (int64_t r = 0; r < m.repetitions; ++r) {
        for (size_t e = 0; e < list.size(); ++e) {
            if (!s.plans[e]) continue;
            seconds[e].push_back(repetition(list[e], s.plans[e], m.executions, warm, s));
        }
    }
    for (size_t e = 0; e < list.size(); ++e) {
        if (seconds[e].empty()) continue;
        std::sort(seconds[e].begin(), seconds[e].end());
        const size_t half = seconds[e].size() / 2;
        m.times[e].least = seconds[e].front();
        m.times[e].median = seconds[e].size() % 2 ? seconds[e][half]
                                                  : (seconds[e][half - 1] + seconds[e][half]) / 2;
    }
}

bool crosses_page(const lyr_tools::guarded_array &a) {
    constexpr uintptr_t page = 4096;
    const auto first = reinterpret_cast<uintptr_t>(a.data),
               length = static_cast<uintptr_t>(a.count) * sizeof *a.data;
    return length <= page && first % page + length > page;
}

// An access across two pages takes several times as long, and whether short arrays have one would
// depend on what the heap was used for before: those that do are left where they are and allocated
// once more.
bool make_arrays(const problem &p, lyr_tools::buffers &arrays, std::string &error) {
    constexpr int attempts = 64;
    std::vector<lyr_tools::buffers> left;
    for (int i = 1;; ++i) {
        if (!lyr_tools::make_buffers(p, {.seed = seed}, arrays, error)) return false;
        if (i == attempts || std::none_of(arrays.arrays.begin(), arrays.arrays.end(), crosses_page))
            return true;
        left.push_back(std::move(arrays));
        arrays = {};
    }
}

}  // namespace

measurement measure(const bench_problem &what, const std::vector<engine> &list,
                    const measure_options &options) {
    const problem &p = what.p;
    measurement m;
    m.name = name_of(what);
    m.points = lyr_tools::point_count(p);
    m.batch = lyr_tools::batch_count(p);
    m.times.resize(list.size());

    bench_state s;
    s.p = &p;
    s.threads = what.threads;
    s.plans.resize(list.size());
    if (!make_arrays(p, s.arrays, m.failure)) return m;
    make_plans(list, options, s, m);
    m.failure = compare_results(list, s);
    if (m.failure.empty()) time_plans(list, options, s, m);
    for (size_t e = 0; e < list.size(); ++e) {
        if (s.plans[e]) list[e].destroy(s.plans[e]);
    }
    return m;
}

}  // namespace lyr_bench
