// The subcommands of lyr-fft. Each one declares its arguments and returns what runs it; running
// gives the exit status: 0, 1 when a check failed, 2 after an error.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <string>

namespace lyr_tools {

struct command {
    CLI::App *arguments = nullptr;
    std::function<int()> run;
};

command add_info(CLI::App &app);
command add_plan(CLI::App &app);
command add_verify(CLI::App &app);
command add_bench(CLI::App &app);
command add_spectrum(CLI::App &app);
command add_run(CLI::App &app);
command add_help(CLI::App &app);

// Print "lyr-fft: ..." as one line on standard error. Returns 2.
[[gnu::format(printf, 1, 2)]] int fail(const char *format, ...);

// Print to standard output. Errors are noticed by finish_output.
[[gnu::format(printf, 1, 2)]] void print(const char *format, ...);

// Bring standard output up to date while work goes on.
void flush_output();

// Flush standard output. Returns `status`, or 2 with a message when something could not be written.
int finish_output(int status);

// The largest arrays a command takes: a quarter of the machine's memory, in bytes.
int64_t memory_limit();

// Accepts numbers from `low` to `high`, but no NaN.
CLI::Validator between(double low, double high);

// Progress on standard error: a line that is rewritten while work goes on and removed at the end.
// Nothing is shown when standard error is no terminal and in the first half second.
struct progress {
    explicit progress(std::string name);
    ~progress();
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    // Note that `done` of `total` parts are done.
    void update(double done, double total);
    // Remove the line, before something else is printed.
    void clear();

    std::string task;
    bool terminal;
    bool shown = false;
    double started, last;
};

// Seconds of a clock that never goes back.
double now();

}  // namespace lyr_tools
