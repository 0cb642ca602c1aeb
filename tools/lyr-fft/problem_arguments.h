// What the commands on problems share: the problems named on the command line and the threads.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "problem.h"

namespace lyr_tools {

struct problem_arguments {
    std::vector<std::string> texts;
    int threads = 1;
};

// Declare --threads.
void add_threads(CLI::App &app, int &threads);

// Declare the problems and --threads.
void add_problems(CLI::App &app, problem_arguments &arguments);

// Read the problems, whose arrays may need max_bytes bytes each (`limit` says what that is), and
// set the number of threads for plans made from now on. All problems are read before any work, so
// that a typing error does not come after long work. Returns false with one line in `error`.
bool take_problems(const problem_arguments &arguments, int64_t max_bytes, const char *limit,
                   std::vector<problem> &problems, std::string &error);

// The same for commands that only fill the arrays: they may need memory_limit() bytes.
bool take_problems(const problem_arguments &arguments, std::vector<problem> &problems,
                   std::string &error);

// The width of a column that holds the problems, at most `most`; longer ones push what follows.
int problem_column(const std::vector<problem> &problems, int most);

}  // namespace lyr_tools
