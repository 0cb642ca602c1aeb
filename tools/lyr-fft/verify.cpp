// lyr-fft verify: how far off the outputs are.

#include <memory>
#include <vector>

#include "buffers.h"
#include "commands.h"
#include "problem.h"
#include "problem_arguments.h"
#include "verdict.h"

namespace lyr_tools {

namespace {

struct verify_arguments {
    problem_arguments problems;
    uint64_t seed = 1;
    bool misaligned = false;
};

int run_verify(const verify_arguments &arguments) {
    std::vector<problem> problems;
    std::string error;
    // Copies of inputs and outputs are kept besides the arrays.
    if (!take_problems(arguments.problems, memory_limit() / 2,
                       ", an eighth of this machine's memory", problems, error))
        return fail("%s", error.c_str());
    const int column = problem_column(problems, 36);

    int status = 0;
    progress progress("verify");
    print("%-*s %8s %6s %9s %-10s %s\n", column, "problem", "L2", "bound", "Linf", "method",
          "result");
    for (size_t i = 0; i < problems.size(); ++i) {
        const problem &p = problems[i];
        const std::string name = format_problem(p);
        buffers b;
        buffer_options options;
        options.misaligned = arguments.misaligned;
        progress.task = "verify " + name;
        progress.update(static_cast<double>(i), static_cast<double>(problems.size()));
        if (!make_buffers(p, options, b, error)) return fail("%s", error.c_str());
        lyr_fft_plan plan = make_plan(p, b);
        if (plan == nullptr) {
            progress.clear();
            print("%-*s %8s %6s %9s %-10s FAIL: no plan\n", column, name.c_str(), "-", "-", "-",
                  "-");
            status = 1;
            continue;
        }
        const verdict v = verify(p, b, plan, arguments.seed);
        lyr_fft_destroy_plan(plan);
        progress.clear();
        print("%-*s %8.3f %6.2f %9.2e %-10s %s%s%s", column, name.c_str(), v.error.l2, v.bound,
              v.error.linf, v.error.how, v.ok ? "ok" : "FAIL", v.damage.empty() ? "" : ": ",
              v.damage.c_str());
        if (v.error.checked < batch_count(p))
            print(", %lld of %lld compared", static_cast<long long>(v.error.checked),
                  static_cast<long long>(batch_count(p)));
        print("\n");
        flush_output();
        if (!v.ok) status = 1;
    }
    return status;
}

}  // namespace

command add_verify(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("verify", "Check results against the definition");
    auto values = std::make_shared<verify_arguments>();
    add_problems(*arguments, values->problems);
    arguments->add_option("-s,--seed", values->seed, "Seed of the random inputs [1]")
        ->check(between(0, 1e15))
        ->type_name("N");
    arguments->add_flag("-m,--misaligned", values->misaligned, "Arrays one number off alignment");
    arguments->footer(
        "L2 is the error relative to the result in units of 2^-53 sqrt(log2 points)\n"
        "(2^-24 in single precision),\n"
        "Linf the largest error relative to the largest output. Very large problems\n"
        "are checked by structure: impulses, linearity and shifts.\n"
        "Exit status: 0, 1 when a check failed, 2 after an error.");
    return {arguments, [values] { return run_verify(*values); }};
}

}  // namespace lyr_tools
