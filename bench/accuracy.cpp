// lyra-accuracy: errors of this library's results against transforms in quad precision.

#include "accuracy.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "buffers.h"
#include "classes.h"
#include "codelets/select.h"
#include "facts.h"
#include "problem.h"
#include "reference.h"

namespace {

using namespace lyr_bench;
using lyr_tools::problem;

constexpr int64_t most_bytes = int64_t{1} << 26;

// The reference takes about a second for the longest of them.
const std::vector<problem_class> &accuracy_classes() {
    static const std::vector<problem_class> classes = {
        {"powers of two", "complex", true, "ocf",
         "2 4 8 16 32 64 128 256 512 1024 2048 4096 8192 16384 32768 65536"},
        {"largest prime 3 to 7", "complex", true, "ocf",
         "3 5 6 7 9 10 12 15 20 24 30 36 48 60 80 96 100 105 120 144 180 200 240 243 315 343 360 "
         "480 500 625 720 1000 1200 1536 2000 2401 2520 3000 3125 5040 6000 6561 7680 10000 12000 "
         "16807 20000 30000"},
        {"largest prime 11 to 37", "complex", true, "ocf",
         "11 13 17 19 22 23 26 29 31 33 34 37 38 39 44 46 52 55 58 62 65 74 77 91 121 143 169 221 "
         "289 323 361 437 529 667 841 899 961 1001 1147 1331 1369 1430 2197 2431 4199 5005 7429 "
         "10010 12597 20677"},
        {"prime above 37", "complex", true, "ocf",
         "41 43 47 53 59 61 67 71 73 79 83 89 97 101 103 107 127 131 163 191 199 211 251 257 331 "
         "383 509 521 673 769 911 1009 1021 1153 1459 1949 2003 2053 4093 4099 7919 8191"},
        {"composite, a factor above 37", "complex", true, "ocf",
         "82 86 94 106 118 123 129 134 158 166 177 202 205 246 303 344 376 410 505 536 632 664 808 "
         "1017 1212 1515 1763 2021 2064 2209 3131 4141 5126 6060 8686"},
        {"planes and cubes", "complex", true, "ocf",
         "8x8 16x16 60x48 64x64 101x11 128x128 16x16x16"},
        {"real to complex", "real", true, "orf",
         "4 8 9 11 12 15 16 27 30 31 32 41 60 64 81 100 101 120 128 243 256 315 331 360 500 512 "
         "625 "
         "720 999 1000 1001 1009 1024 2000 2048 2187 3375 4096 4099 5040 8192 10000 16384 20000 "
         "32768 65536 60x48 64x64 16x16x16"},
        {"complex to real", "real", true, "orb",
         "4 8 9 11 12 15 16 27 30 31 32 41 60 64 81 100 101 120 128 243 256 315 331 360 500 512 "
         "625 "
         "720 999 1000 1001 1009 1024 2000 2048 2187 3375 4096 4099 5040 8192 10000 16384 20000 "
         "32768 65536 60x48 64x64 16x16x16"},
    };
    return classes;
}

// Every kind of real-to-real transform is a class of its own, over these lengths.
constexpr int64_t real_lengths[] = {8,   15,  16,  17,  31,  32,  33,   63,   64,   65,   100,
                                    101, 127, 128, 129, 255, 256, 1000, 1001, 1023, 1024, 1025};
struct kind_class {
    const char *notation, *name;
};
constexpr kind_class kind_classes[] = {
    {"f", "R2HC"},      {"b", "HC2R"},      {"h", "DHT"},       {"e00", "REDFT00"},
    {"e10", "REDFT10"}, {"e01", "REDFT01"}, {"e11", "REDFT11"}, {"o00", "RODFT00"},
    {"o10", "RODFT10"}, {"o01", "RODFT01"}, {"o11", "RODFT11"},
};

struct options {
    int seeds = 3;
    int64_t most_points = INT64_MAX;
    std::string output;
    std::string target;
};

struct class_sum {
    double sum = 0, worst = 0;
    int64_t count = 0;
    std::string worst_problem;
};

bool choose_target(const std::string &name) {
    for (const lyr::codelet_table *const *t = lyr::supported_tables(); *t; ++t) {
        if (name != (*t)->name) continue;
        lyr::set_active_table(*t);
        return true;
    }
    return false;
}

// Measure one problem with every seed. False when a result cannot be right.
bool measure(const options &o, const char *class_name, const std::string &text, FILE *file,
             class_sum &total) {
    problem p;
    std::string error;
    if (!lyr_tools::parse_problem(text, most_bytes, p, error)) {
        fprintf(stderr, "lyra-accuracy: %s: %s\n", text.c_str(), error.c_str());
        return false;
    }
    if (lyr_tools::point_count(p) > o.most_points) return true;
    lyr_tools::buffers b;
    if (!lyr_tools::make_buffers(p, {}, b, error)) {
        fprintf(stderr, "lyra-accuracy: %s: %s\n", text.c_str(), error.c_str());
        return false;
    }
    lyr_fft_plan plan = lyr_tools::make_plan(p, b);
    bool right = plan != nullptr;
    if (!plan) fprintf(stderr, "lyra-accuracy: %s: refused\n", text.c_str());
    for (int seed = 1; plan && seed <= o.seeds; ++seed) {
        lyr_tools::fill_buffers(p, static_cast<uint64_t>(seed), b);
        lyr_fft_execute(plan);
        const lyr_tools::accuracy a = lyr_tools::compare_with_reference(p, b);
        if (!(a.l2 <= lyr_tools::l2_bound(p))) {  // also true for nan
            fprintf(stderr, "lyra-accuracy: %s, seed %d: error %.3f, allowed is %.1f\n",
                    text.c_str(), seed, a.l2, lyr_tools::l2_bound(p));
            right = false;
        }
        if (a.l2 > total.worst) {
            total.worst = a.l2;
            total.worst_problem = text;
        }
        total.sum += a.l2;
        ++total.count;
        if (file)
            fprintf(file, "%s\t%s\t%lld\t%d\t%.4f\t%.3g\n", class_name, text.c_str(),
                    static_cast<long long>(lyr_tools::point_count(p)), seed, a.l2, a.linf);
    }
    lyr_fft_destroy_plan(plan);
    return right;
}

bool measure_class(const options &o, const char *name, const std::vector<std::string> &problems,
                   FILE *file) {
    class_sum total;
    bool right = true;
    for (const std::string &text : problems) right &= measure(o, name, text, file, total);
    if (total.count > 0)
        printf("%-30s %10lld %8.3f %8.3f  %s\n", name, static_cast<long long>(total.count),
               total.sum / static_cast<double>(total.count), total.worst,
               total.worst_problem.c_str());
    fflush(stdout);
    return right;
}

int run(const options &o, int argc, char **argv) {
    FILE *file = nullptr;
    if (!o.target.empty() && !choose_target(o.target)) {
        fprintf(stderr, "lyra-accuracy: this processor has no vector target %s\n",
                lyr_tools::in_quotes(o.target).c_str());
        return 2;
    }
    if (!o.output.empty()) {
        file = fopen(o.output.c_str(), "w");
        if (!file) {
            fprintf(stderr, "lyra-accuracy: cannot write %s\n", o.output.c_str());
            return 2;
        }
        write_facts(file, common_facts("lyra-accuracy", argc, argv));
        fprintf(file, "class\tproblem\tpoints\tseed\tl2\tlinf\n");
    }
    printf("%-30s %10s %8s %8s  of\n", "class", "transforms", "mean L2", "worst");
    bool right = true;
    for (const problem_class &c : accuracy_classes())
        right &= measure_class(o, c.name, problems_of(c), file);
    for (const kind_class &k : kind_classes) {
        std::vector<std::string> problems;
        for (const int64_t n : real_lengths)
            problems.push_back("ok" + std::to_string(n) + k.notation);
        right &= measure_class(o, k.name, problems, file);
    }
    if (file && fclose(file) != 0) {
        fprintf(stderr, "lyra-accuracy: cannot write %s\n", o.output.c_str());
        return 2;
    }
    return right ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    options o;
    CLI::App app{
        "Errors of this library's results against transforms in quad precision "
        "(lyra-accuracy-float: of single precision against extended precision), for random inputs: "
        "|output - exact| / |exact| in units of 2^-53 (2^-24) sqrt(log2 points), mean and worst of "
        "classes. "
        "Exits with 1 when one is larger than promised."};
    app.option_defaults()->always_capture_default();
    app.add_option("--seeds", o.seeds, "number of inputs for every problem")
        ->check(CLI::PositiveNumber);
    app.add_option("--at-most", o.most_points, "leave out problems of more points than this")
        ->check(CLI::PositiveNumber)
        ->default_str("no limit");
    app.add_option("--target", o.target, "the vector target to measure, such as avx2")
        ->default_str("the best here");
    app.add_option("--output", o.output, "also write all errors to this file, as a TSV table");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        fprintf(stderr, "lyra-accuracy: %s\n", e.what());
        return 2;
    }
    return run(o, argc, argv);
}
