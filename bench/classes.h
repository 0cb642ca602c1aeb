// The problem classes of the benchmark: named lists of problems that are measured and averaged
// together.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "problem.h"

namespace lyr_bench {

struct problem_class {
    const char *name;
    const char *title;   // one line for people
    bool by_default;     // measured when the command line names nothing
    const char *prefix;  // the letters that the notation of every problem starts with
    const char *shapes;  // the rest of each problem's notation, separated by spaces
    int threads = 1;
};

// All classes, in the order in which they are measured.
const std::vector<problem_class> &problem_classes();

// The class of that name, or null.
const problem_class *find_class(std::string_view name);

// The problems of a class in the notation of read_problem.
std::vector<std::string> problems_of(const problem_class &c);

// A problem, and on how many threads.
struct bench_problem {
    lyr_tools::problem p;
    int threads = 1;
};

// Reads the notation of lyr_tools::parse_problem, with " t=2" behind it for two threads. Limits and
// errors are as there.
bool read_problem(const std::string &text, int64_t max_bytes, bench_problem &what,
                  std::string &error);

// The shortest text that reads as the same problem.
std::string name_of(const bench_problem &what);

}  // namespace lyr_bench
