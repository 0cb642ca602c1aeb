// lyr-fft bench: how fast problems are.

#include <algorithm>
#include <memory>
#include <vector>

#include "buffers.h"
#include "commands.h"
#include "problem.h"
#include "problem_arguments.h"

namespace lyr_tools {

namespace {

// A sample repeats the transform until it takes this long, in seconds: the clock and the loop cost
// far less.
constexpr double sample_time = 20e-6;

struct bench_arguments {
    problem_arguments problems;
    double seconds = 0.5;
};

struct timing {
    double planning = 0;  // seconds
    double least = 0;     // seconds per execution
    double median = 0;
    int64_t executions = 0;
};

// Seconds per execution over `count` executions.
double measure(lyr_fft_plan plan, int64_t count) {
    const double start = now();
    for (int64_t i = 0; i < count; ++i) lyr_fft_execute(plan);
    return (now() - start) / static_cast<double>(count);
}

timing time_plan(lyr_fft_plan plan, double seconds, progress &progress) {
    timing t;
    const double start = now();
    // The first execution fills the caches and is not counted.
    measure(plan, 1);
    int64_t count = 1;
    while (measure(plan, count) * static_cast<double>(count) < sample_time && count < 1'000'000)
        count *= 2;
    std::vector<double> samples;
    do {
        samples.push_back(measure(plan, count));
        t.executions += count;
        progress.update(now() - start, seconds);
    } while (now() - start < seconds || samples.size() < 3);
    std::sort(samples.begin(), samples.end());
    t.least = samples.front();
    t.median = samples[samples.size() / 2];
    return t;
}

std::string format_time(double seconds) {
    char text[32];
    if (seconds < 1e-6)
        std::snprintf(text, sizeof text, "%.1f ns", seconds * 1e9);
    else if (seconds < 1e-3)
        std::snprintf(text, sizeof text, "%.2f us", seconds * 1e6);
    else if (seconds < 1)
        std::snprintf(text, sizeof text, "%.2f ms", seconds * 1e3);
    else
        std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

int run_bench(const bench_arguments &arguments) {
    std::vector<problem> problems;
    std::string error;
    if (!take_problems(arguments.problems, problems, error)) return fail("%s", error.c_str());
    const int column = problem_column(problems, 24);
    int status = 0;
    print("%-*s %10s %10s %10s %8s %10s\n", column, "problem", "planning", "least", "median",
          "mflops", "executions");
    for (const problem &p : problems) {
        const std::string name = format_problem(p);
        buffers b;
        buffer_options options;
        options.tracked = false;
        if (!make_buffers(p, options, b, error)) return fail("%s", error.c_str());
        fill_for_timing(p, 1, b);
        const double start = now();
        lyr_fft_plan plan = make_plan(p, b);
        const double planning = now() - start;
        if (plan == nullptr) {
            print("%-*s no plan\n", column, name.c_str());
            status = 1;
            continue;
        }
        timing t;
        {
            progress progress("bench " + name);
            t = time_plan(plan, arguments.seconds, progress);
        }
        lyr_fft_destroy_plan(plan);
        print("%-*s %10s %10s %10s %8.0f %10lld\n", column, name.c_str(),
              format_time(planning).c_str(), format_time(t.least).c_str(),
              format_time(t.median).c_str(), conventional_flops(p) / t.least * 1e-6,
              static_cast<long long>(t.executions));
        flush_output();
    }
    return status;
}

}  // namespace

command add_bench(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("bench", "Measure speed");
    auto values = std::make_shared<bench_arguments>();
    add_problems(*arguments, values->problems);
    arguments->add_option("-s,--seconds", values->seconds, "Time per problem [0.5]")
        ->check(between(0.001, 3600.0))
        ->type_name("S");
    arguments->footer(
        "Times are of one execution of the whole problem, all its batch. mflops are\n"
        "5 N log2 N per complex transform of N points, half of that per real one,\n"
        "over the least time. Inputs are random out of place and zero in place, where\n"
        "repeated transforms of anything else would overflow.\n"
        "Exit status: 0, 1 when a problem has no plan, 2 after an error.");
    return {arguments, [values] { return run_bench(*values); }};
}

}  // namespace lyr_tools
