// The problem classes of the benchmark: named lists of problems that are measured and averaged
// together.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lyr_bench {

struct problem_class {
    const char *name;
    const char *title;   // one line for people
    bool by_default;     // measured when the command line names nothing
    const char *prefix;  // the letters that the notation of every problem starts with
    const char *shapes;  // the rest of each problem's notation, separated by spaces
};

// All classes, in the order in which they are measured.
const std::vector<problem_class> &problem_classes();

// The class of that name, or null.
const problem_class *find_class(std::string_view name);

// The problems of a class in the notation of lyr_tools::parse_problem.
std::vector<std::string> problems_of(const problem_class &c);

}  // namespace lyr_bench
