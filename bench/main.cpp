// lyra-bench: execution and planning times of this library and FFTW, side by side in one process.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <CLI/CLI.hpp>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "classes.h"
#include "engines.h"
#include "facts.h"
#include "measure.h"
#include "problem.h"

namespace {

using namespace lyr_bench;

// Each array of a problem, at most. Checking takes three times as much again.
constexpr int64_t most_bytes = int64_t{1} << 31;

constexpr size_t lyra = 0;  // places in the list of engines
constexpr size_t estimate = 1;
constexpr size_t fftw_measure = 2;

// Where Debian's packages of FFTW put it.
#ifdef LYRA_SINGLE
constexpr const char *packaged_fftw = "libfftw3f_threads.so.3";
#else
constexpr const char *packaged_fftw = "libfftw3_threads.so.3";
#endif

struct options {
    std::vector<std::string> names;
    std::string output;
    std::string fftw = packaged_fftw;
    std::string native_fftw;
    bool all_targets = false;
    double stop_after = INFINITY;
    bool list = false;
    bool patient = false;
    int64_t most_points = INT64_MAX;
    measure_options measuring;
};

struct job {
    std::string class_name;
    std::string title;
    std::vector<bench_problem> problems;
};

int bad_input(const std::string &message) {
    fprintf(stderr, "lyra-bench: %s\n", message.c_str());
    return 2;
}

// ---- What to measure ----------------------------------------------------------------------------

// Turn names of classes and problems into jobs. Problems named directly form a job of their own.
bool make_jobs(const options &o, std::vector<job> &jobs, std::string &error) {
    std::vector<const problem_class *> classes;
    job direct{"named", "named on the command line", {}};
    for (const std::string &name : o.names) {
        if (const problem_class *c = find_class(name)) {
            classes.push_back(c);
            continue;
        }
        bench_problem p;
        if (!read_problem(name, most_bytes, p, error)) {
            error = "no such class, and " + error;
            return false;
        }
        direct.problems.push_back(p);
    }
    if (o.names.empty()) {
        for (const problem_class &c : problem_classes())
            if (c.by_default) classes.push_back(&c);
    }
    for (const problem_class *c : classes) {
        job j{c->name, c->title, {}};
        for (const std::string &text : problems_of(*c)) {
            bench_problem p;
            if (!read_problem(text, most_bytes, p, error)) {
                error = std::string(c->name) + ": " + text + ": " + error;
                return false;
            }
            j.problems.push_back(p);
        }
        jobs.push_back(std::move(j));
    }
    if (!direct.problems.empty()) jobs.push_back(std::move(direct));

    for (job &j : jobs) {
        std::erase_if(j.problems, [&](const bench_problem &what) {
            return lyr_tools::point_count(what.p) * lyr_tools::batch_count(what.p) > o.most_points;
        });
    }
    std::erase_if(jobs, [](const job &j) { return j.problems.empty(); });
    if (jobs.empty()) error = "no problem has as few points as that";
    return !jobs.empty();
}

void list_classes() {
    for (const problem_class &c : problem_classes()) {
        printf("%s: %s%s\n   ", c.name, c.title, c.by_default ? "" : " (only when named)");
        for (const std::string &p : problems_of(c)) printf(" %s", p.c_str());
        printf("\n");
    }
}

// ---- Which libraries ----------------------------------------------------------------------------

// The second best vector target of this processor; null where it is the portable one, which serves
// processors that have nothing else.
const lyr::codelet_table *second_target() {
    const lyr::codelet_table *const *list = lyr::supported_tables();
    return list[0] && list[1] && list[2] ? list[1] : nullptr;
}

// Returns why it cannot be; empty when all is there.
std::string load_engines(const options &o) {
    std::vector<const lyr::codelet_table *> targets = {lyr::active_table()};
    if (o.all_targets && second_target()) targets.push_back(second_target());
    use_targets(targets);
    std::string error = load_fftw(o.fftw);
    if (error.empty() && !o.native_fftw.empty()) error = load_native_fftw(o.native_fftw);
    return error;
}

// ---- Where it is measured -----------------------------------------------------------------------

std::vector<fact> facts(const options &o, int argc, char **argv) {
    std::vector<fact> list = common_facts("lyra-bench", argc, argv);
    char limit[60];
    snprintf(limit, sizeof limit, "%g s for one plan of FFTW's", o.measuring.planning_limit);
    const std::vector<fact> ours = {{"fftw", fftw_description()},
                                    {"planning", limit},
                                    {"threads", "1, others where t= says so"}};
    list.insert(list.end() - 1, ours.begin(), ours.end());  // the command stays last
    if (!o.native_fftw.empty()) list.insert(list.end() - 1, {"native", native_fftw_description()});
    if (o.all_targets && second_target())
        list.insert(list.end() - 1, {"further target", second_target()->name});
    return list;
}

// ---- Figures ------------------------------------------------------------------------------------

// Our time divided by an engine's, from the shortest repetitions or from the medians; absent when
// one of the two has no time.
std::optional<double> ratio(const measurement &m, size_t to, double engine_times::*time) {
    const double ours = m.times[lyra].*time;
    const double theirs = m.times[to].*time;
    if (ours <= 0 || theirs <= 0) return std::nullopt;
    return ours / theirs;
}

double geometric_mean(const std::vector<double> &values) {
    double sum = 0;
    for (double v : values) sum += std::log(v);
    return std::exp(sum / double(values.size()));
}

// Three significant digits with a unit.
std::string time_text(double seconds) {
    if (seconds <= 0) return "-";
    const char *unit = "s";
    double value = seconds;
    if (seconds < 1e-6) {
        value = seconds * 1e9;
        unit = "ns";
    } else if (seconds < 1e-3) {
        value = seconds * 1e6;
        unit = "us";
    } else if (seconds < 1) {
        value = seconds * 1e3;
        unit = "ms";
    }
    char text[40];
    snprintf(text, sizeof text, "%.*f %s", value < 10 ? 2 : value < 100 ? 1 : 0, value, unit);
    return text;
}

std::string ratio_text(std::optional<double> r) {
    if (!r) return "-";
    char text[40];
    snprintf(text, sizeof text, "%.3f", *r);
    return text;
}

void print_heading(const job &j, const std::vector<engine> &list) {
    printf("\n%s: %s\n%-20s", j.class_name.c_str(), j.title.c_str(), "problem");
    for (const engine &e : list) printf(" %11s", e.name.c_str());
    printf("  %8s %8s  %10s %14s\n", "ratio", "(median)", "plan: lyra", "plan: estimate");
}

void print_row(const measurement &m) {
    printf("%-20s", m.name.c_str());
    if (!m.failure.empty()) {
        printf(" WRONG: %s\n", m.failure.c_str());
        return;
    }
    for (const engine_times &t : m.times)
        printf(" %11s", t.refused ? "refused" : time_text(t.least).c_str());
    bool cut = false;
    for (const engine_times &t : m.times) cut = cut || t.planning_cut;
    printf("  %8s %8s  %10s %14s%s\n",
           ratio_text(ratio(m, fftw_measure, &engine_times::least)).c_str(),
           ratio_text(ratio(m, fftw_measure, &engine_times::median)).c_str(),
           time_text(m.times[lyra].planning).c_str(), time_text(m.times[estimate].planning).c_str(),
           cut ? "  (FFTW's planning was cut)" : "");
    fflush(stdout);
}

void print_summary(const job &j, const std::vector<engine> &list,
                   const std::vector<measurement> &done) {
    int refused = 0;
    int wrong = 0;
    std::vector<std::pair<double, std::string>> slowest;
    for (const measurement &m : done) {
        refused += m.failure.empty() && m.times[lyra].refused;
        wrong += !m.failure.empty();
        if (const auto r = ratio(m, fftw_measure, &engine_times::least))
            slowest.emplace_back(*r, m.name);
    }
    printf("%s: %zu of %zu measured, %d refused, %d wrong\n", j.class_name.c_str(), slowest.size(),
           done.size(), refused, wrong);
    if (slowest.empty()) return;

    for (size_t e = 0; e < list.size(); ++e) {
        if (e == lyra) continue;
        std::vector<double> least;
        std::vector<double> median;
        for (const measurement &m : done) {
            if (const auto r = ratio(m, e, &engine_times::least)) least.push_back(*r);
            if (const auto r = ratio(m, e, &engine_times::median)) median.push_back(*r);
        }
        if (least.empty()) continue;
        printf("  geometric mean, lyra / %-9s %.3f   from medians %.3f\n", list[e].name.c_str(),
               geometric_mean(least), geometric_mean(median));
    }
    std::sort(slowest.rbegin(), slowest.rend());
    printf("  slowest:");
    for (size_t i = 0; i < std::min<size_t>(3, slowest.size()); ++i)
        printf("%s %s %.3f", i ? "," : "", slowest[i].second.c_str(), slowest[i].first);
    printf("\n");
    fflush(stdout);
}

// One line for every engine; times in seconds, empty where there is none.
void write_rows(FILE *file, const job &j, const std::vector<engine> &list, const measurement &m) {
    for (size_t e = 0; e < list.size(); ++e) {
        const engine_times &t = m.times[e];
        const char *status = !m.failure.empty() ? "wrong"
                             : t.refused        ? "refused"
                             : t.planning_cut   ? "cut"
                                                : "ok";
        fprintf(file, "%s\t%s\t%lld\t%lld\t%s\t%s", j.class_name.c_str(), m.name.c_str(),
                static_cast<long long>(m.points), static_cast<long long>(m.batch),
                list[e].name.c_str(), status);
        for (double seconds : {t.least, t.median, t.planning}) {
            if (seconds > 0) {
                fprintf(file, "\t%.6g", seconds);
            } else {
                fputc('\t', file);
            }
        }
        fprintf(file, "\t%lld\t%lld\n", static_cast<long long>(m.executions),
                static_cast<long long>(m.repetitions));
    }
    fflush(file);
}

// ---- The program --------------------------------------------------------------------------------

int run(const options &o, int argc, char **argv) {
    std::vector<job> jobs;
    std::string error;
    if (!make_jobs(o, jobs, error)) return bad_input(error);
    error = load_engines(o);
    if (!error.empty()) return bad_input("no FFTW: " + error);
    FILE *file = nullptr;
    if (!o.output.empty()) {
        file = fopen(o.output.c_str(), "w");
        if (!file) return bad_input("cannot write " + lyr_tools::in_quotes(o.output));
    }

    const std::vector<fact> where = facts(o, argc, argv);
    for (const auto &[name, value] : where) printf("%-10s %s\n", name.c_str(), value.c_str());
    if (file) write_facts(file, where);
    printf("ratio      lyra / measure, from the shortest repetitions; below 1 lyra is faster\n");
    if (file) {
        for (const job &j : jobs)
            fprintf(file, "# class %s: %s\n", j.class_name.c_str(), j.title.c_str());
        fprintf(file,
                "class\tproblem\tpoints\tbatch\tengine\tstatus\tleast_s\tmedian_s\tplanning_s\t"
                "executions\trepetitions\n");
    }

    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    int left_out = 0;
    bool all_right = true;
    for (const job &j : jobs) {
        const bool threaded = std::any_of(j.problems.begin(), j.problems.end(),
                                          [](const bench_problem &p) { return p.threads > 1; });
        const std::vector<engine> list =
            engines({.native = !o.native_fftw.empty(), .patient = o.patient, .single = threaded});
        print_heading(j, list);
        std::vector<measurement> done;
        for (const bench_problem &p : j.problems) {
            if (std::chrono::duration<double>(clock::now() - start).count() > o.stop_after) {
                ++left_out;
                continue;
            }
            measurement m = measure(p, list, o.measuring);
            print_row(m);
            if (file) write_rows(file, j, list, m);
            if (!m.failure.empty()) {
                fprintf(stderr, "lyra-bench: %s: %s\n", m.name.c_str(), m.failure.c_str());
                all_right = false;
            }
            done.push_back(std::move(m));
        }
        print_summary(j, list, done);
    }
    if (left_out > 0) {
        const std::string text = std::to_string(left_out) + " problems, for want of time";
        printf("left out: %s\n", text.c_str());
        if (file) write_facts(file, {{"left out", text}});
    }
    if (file) {
        const bool broken = ferror(file) != 0;
        if (fclose(file) != 0 || broken)
            return bad_input("cannot write " + lyr_tools::in_quotes(o.output));
    }
    return all_right ? 0 : 1;
}

}  // namespace

// Both precisions have a program of their own, this one's name and "-float". Returns when it cannot
// be run.
static int run_single_precision(char **argv) {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length < 0) return bad_input("cannot find lyra-bench-float");
    const std::string program = std::string(path, static_cast<size_t>(length)) + "-float";
    execv(program.c_str(), argv);
    return bad_input("cannot run " + program);
}

int main(int argc, char **argv) {
    options o;
    bool single = false;
    CLI::App app{
        "Times of this library and FFTW (estimate, measure), side by side: execution, planning, "
        "and the ratio lyra / measure. One thread, or as many as a problem asks for; \"single\" is "
        "then this library on one."};
    app.option_defaults()->always_capture_default();
    app.add_option(
        "name", o.names,
        "classes (see --list) or problems such as ocf1024, icf60x48 or 'ocf512x512 t=2'; "
        "without a name, all usual classes");
    app.add_flag("--float", single, "single precision: libLYRA_fftf and FFTW's library for it");
    app.add_flag("--list", o.list, "list the classes and their problems");
    app.add_option("--output", o.output, "also write all figures to this file, as a TSV table");
    app.add_option("--fftw", o.fftw, "shared library of FFTW to compare with, threads included");
    app.add_option("--native-fftw", o.native_fftw,
                   "another build of it as well, measure mode, called \"native\"");
    app.add_flag("--all-targets", o.all_targets,
                 "this library with its second vector target as well, where there is one");
    app.add_flag("--patient", o.patient, "FFTW patient as well (slow to plan)");
    app.add_option("--at-most", o.most_points,
                   "leave out problems of more points than this, batch included")
        ->check(CLI::PositiveNumber)
        ->default_str("no limit");
    app.add_option("--seconds", o.measuring.seconds,
                   "time to spend on executions of one problem, all engines together")
        ->check(CLI::Range(0.0, 3600.0));
    app.add_option("--stop-after", o.stop_after, "begin no problem after so many seconds")
        ->check(CLI::PositiveNumber)
        ->default_str("no limit");
    app.add_option("--planning-limit", o.measuring.planning_limit,
                   "seconds that FFTW may spend on one plan")
        ->check(CLI::Range(0.001, 86400.0));
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        return bad_input(e.what());
    }
    if (single && sizeof(lyr::scalar) == sizeof(double)) return run_single_precision(argv);
    if (o.list) {
        list_classes();
        return 0;
    }
    return run(o, argc, argv);
}
