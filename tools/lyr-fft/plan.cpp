// lyr-fft plan: how the library computes a problem.

#include <memory>
#include <vector>

#include "buffers.h"
#include "commands.h"
#include "planner/describe.h"
#include "problem.h"
#include "problem_arguments.h"

namespace lyr_tools {

namespace {

void print_line(void *, int depth, const char *text) {
    print("%*s%s\n", 2 + 2 * depth, "", text);
}

int run_plan(const problem_arguments &arguments) {
    std::vector<problem> problems;
    std::string error;
    if (!take_problems(arguments, memory_limit(), problems, error))
        return fail("%s", error.c_str());
    int status = 0;
    for (const problem &p : problems) {
        buffers b;
        buffer_options options;
        options.tracked = false;
        if (!make_buffers(p, options, b, error)) return fail("%s", error.c_str());
        lyr_fft_plan plan = make_plan(p, b);
        print("%s\n", format_problem(p).c_str());
        if (plan == nullptr) {
            print("  no plan\n");
            status = 1;
            continue;
        }
        lyr::plan_describe(plan, print_line, nullptr);
        lyr_fft_destroy_plan(plan);
    }
    return status;
}

}  // namespace

command add_plan(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("plan", "Show how problems are computed");
    auto values = std::make_shared<problem_arguments>();
    add_problems(*arguments, *values);
    arguments->footer("Exit status: 0, 1 when a problem has no plan, 2 after an error.");
    return {arguments, [values] { return run_plan(*values); }};
}

}  // namespace lyr_tools
