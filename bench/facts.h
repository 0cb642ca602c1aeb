// What a reader of figures has to know about the run that made them.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace lyr_bench {

using fact = std::pair<std::string, std::string>;  // name and value, each a piece of one line

// Date, processor and their number, this library, compiler, and the command line as it was.
std::vector<fact> common_facts(const char *program, int argc, char **argv);

// One comment line each, to stand above a table.
void write_facts(FILE *file, const std::vector<fact> &facts);

}  // namespace lyr_bench
