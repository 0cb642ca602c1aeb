#include "problem_arguments.h"

#include <algorithm>

#include "commands.h"

namespace lyr_tools {

void add_threads(CLI::App &app, int &threads) {
    app.add_option("-t,--threads", threads, "Threads to use [1]")
        ->check(between(1, 512))
        ->type_name("N");
}

void add_problems(CLI::App &app, problem_arguments &arguments) {
    app.add_option("PROBLEM", arguments.texts, "See 'lyr-fft help problem'")
        ->type_name("")
        ->required();
#ifdef LYRA_TOOL_WITH_FLOAT
    app.add_flag("--float")->description("Single precision");  // taken before (main.cpp)
#endif
    add_threads(app, arguments.threads);
}

bool take_problems(const problem_arguments &arguments, int64_t max_bytes, const char *limit,
                   std::vector<problem> &problems, std::string &error) {
    lyr_fft_plan_with_nthreads(arguments.threads);
    for (const std::string &text : arguments.texts)
        if (!parse_problem(text, max_bytes, problems.emplace_back(), error, limit)) return false;
    return true;
}

bool take_problems(const problem_arguments &arguments, std::vector<problem> &problems,
                   std::string &error) {
    return take_problems(arguments, memory_limit(), ", a quarter of this machine's memory",
                         problems, error);
}

int problem_column(const std::vector<problem> &problems, int most) {
    size_t width = sizeof "problem" - 1;
    for (const problem &p : problems) width = std::max(width, format_problem(p).size());
    return static_cast<int>(std::min(width, static_cast<size_t>(most)));
}

}  // namespace lyr_tools
