// lyr-fft plan: how the library computes a problem.

#include <memory>
#include <vector>

#include "buffers.h"
#include "commands.h"
#include "planner/describe.h"
#include "problem.h"

namespace lyr_tools {

namespace {

struct plan_arguments {
    std::vector<std::string> problems;
    int threads = 1;
};

void print_line(void *, int depth, const char *text) {
    print("%*s%s\n", 2 + 2 * depth, "", text);
}

int run_plan(const plan_arguments &arguments) {
    lyr_fft_plan_with_nthreads(arguments.threads);
    int status = 0;
    for (const std::string &text : arguments.problems) {
        problem p;
        std::string error;
        buffers b;
        buffer_options options;
        options.tracked = false;
        if (!parse_problem(text, memory_limit(), p, error) || !make_buffers(p, options, b, error))
            return fail("%s", error.c_str());
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
    auto values = std::make_shared<plan_arguments>();
    arguments->add_option("PROBLEM", values->problems, "See 'lyr-fft help problem'")
        ->type_name("")
        ->required();
    arguments->add_option("-t,--threads", values->threads, "Threads to plan for [1]")
        ->check(between(1, 512))
        ->type_name("N");
    arguments->footer("Exit status: 0, 1 when a problem has no plan, 2 after an error.");
    return {arguments, [values] { return run_plan(*values); }};
}

}  // namespace lyr_tools
