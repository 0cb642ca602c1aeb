// lyr-fft: the library from the command line.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>

#include "commands.h"
#include "interface.h"
#include "problem.h"

namespace lyr_tools {

int fail(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::fflush(stdout);
    std::fputs("lyr-fft: ", stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
    return 2;
}

namespace {

// The first error of standard output; 0 as long as there is none.
int output_error = 0;

void note_output(bool good) {
    if (!good && output_error == 0) output_error = errno != 0 ? errno : EIO;
}

}  // namespace

void print(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    note_output(std::vprintf(format, arguments) >= 0);
    va_end(arguments);
}

void flush_output() {
    note_output(std::fflush(stdout) == 0);
}

int finish_output(int status) {
    flush_output();
    if (output_error == 0) return status;
    return fail("cannot write to standard output: %s", std::strerror(output_error));
}

CLI::Validator between(double low, double high) {
    return CLI::Validator(
        [low, high](const std::string &text) {
            double value = 0;
            if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high)
                return std::string();
            char reason[160];
            std::snprintf(reason, sizeof reason, "%s is no number from %.10g to %.10g",
                          in_quotes(text).c_str(), low, high);
            return std::string(reason);
        },
        "");
}

int64_t memory_limit() {
    const int64_t pages = sysconf(_SC_PHYS_PAGES);
    const int64_t page = sysconf(_SC_PAGESIZE);
    constexpr int64_t fallback = int64_t{1} << 30;
    return pages > 0 && page > 0 ? pages / 4 * page : fallback;
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

progress::progress(std::string name)
    : task(std::move(name)), terminal(isatty(STDERR_FILENO) != 0), started(now()), last(started) {}

progress::~progress() {
    clear();
}

void progress::update(double done, double total) {
    if (!terminal) return;
    const double time = now();
    if (time - started < 0.5 || time - last < 0.1) return;
    last = time;
    shown = true;
    const double part = total > 0 ? std::clamp(done / total, 0.0, 1.0) : 0.0;
    constexpr int width = 30;
    const int filled = static_cast<int>(part * width);
    std::fprintf(stderr, "\r%-30.30s [%.*s%*s] %3.0f%%", task.c_str(), filled,
                 "##############################", width - filled, "", 100 * part);
    std::fflush(stderr);
}

void progress::clear() {
    if (shown) std::fputs("\r\033[K", stderr);
    shown = false;
}

namespace {

// CLI11's messages may hold what the user typed.
std::string one_line(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
    constexpr size_t longest = 200;
    if (text.size() > longest) text = text.substr(0, longest) + "...";
    return text;
}

std::string version_text() {
    LFFTVersionRecord version;
    LFFTGetVersion(&version);
    return std::string("lyr-fft ") + version.library_version;
}

// What is wrong with the arguments, and where they are explained.
int fail_arguments(const CLI::App &app, const CLI::ParseError &error, const char *first) {
    if (!first) return fail("a command is missing; see 'lyr-fft --help'");
    const auto commands = app.get_subcommands();
    if (commands.empty())
        return fail("there is no %s %s; see 'lyr-fft --help'",
                    first[0] == '-' ? "option" : "command", in_quotes(first).c_str());
    const std::string &command = commands[0]->get_name();
    // Even if something else, such as what a mistyped option stands for, is missing.
    const auto unexpected = app.remaining(true);
    if (!unexpected.empty())
        return fail("unexpected argument %s; see 'lyr-fft %s --help'",
                    in_quotes(unexpected[0]).c_str(), command.c_str());
    return fail("%s; see 'lyr-fft %s --help'", one_line(error.what()).c_str(), command.c_str());
}

int run(int argc, char **argv) {
    CLI::App app("Fast Fourier transforms from the command line.", "lyr-fft");
    app.require_subcommand(1);
    app.get_formatter()->column_width(28);
    app.set_version_flag("--version", version_text(), "Print the version and exit");
    app.footer(
        "'lyr-fft COMMAND --help' explains a command,\n"
        "'lyr-fft help problem' how problems are written.");
    const command commands[] = {
        add_info(app),     add_plan(app), add_verify(app), add_bench(app), add_help(app),
#ifndef LYRA_SINGLE
        add_spectrum(app), add_run(app),
#endif
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &request) {
        // --version, or --help of the command that was named, if any.
        std::ostringstream text;
        std::ostringstream ignored;
        app.exit(request, text, ignored);
        print("%s", text.str().c_str());
        return finish_output(0);
    } catch (const CLI::ParseError &error) {
        return fail_arguments(app, error, argc < 2 ? nullptr : argv[1]);
    }
    for (const command &c : commands)
        if (c.arguments->parsed()) return finish_output(c.run());
    return 2;
}

}  // namespace

}  // namespace lyr_tools

#if !defined(LYRA_SINGLE) && defined(LYRA_TOOL_WITH_FLOAT)
// The same program in single precision, without spectrum.
int lyr_fft_single_main(int argc, char **argv);

namespace {

// Takes --float out of the arguments of a command that has it.
bool take_float(int &argc, char **argv) {
    const auto has = [&](const char *command) { return std::strcmp(argv[1], command) == 0; };
    if (argc < 2 || !(has("plan") || has("verify") || has("bench"))) return false;
    char **const end = argv + argc;
    const auto is_float = [](const char *text) { return std::strcmp(text, "--float") == 0; };
    char **const kept = std::remove_if(argv + 2, end, is_float);
    if (kept == end) return false;
    argc = static_cast<int>(kept - argv);
    argv[argc] = nullptr;
    return true;
}

}  // namespace
#endif

int main(int argc, char **argv) {
#if !defined(LYRA_SINGLE) && defined(LYRA_TOOL_WITH_FLOAT)
    if (take_float(argc, argv)) return lyr_fft_single_main(argc, argv);
#endif
    try {
        return lyr_tools::run(argc, argv);
    } catch (const std::bad_alloc &) {
        return lyr_tools::fail("not enough memory");
    } catch (const std::exception &error) {
        return lyr_tools::fail("%s", error.what());
    }
}
