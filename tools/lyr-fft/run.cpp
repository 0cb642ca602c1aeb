// lyr-fft run: a program that is linked with FFTW 3, on this library.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "commands.h"
#include "problem.h"

namespace lyr_tools {

namespace {

// The folder with libfftw3.so.3, as seen from this program: installed, or where both were built.
std::string library_folder() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return "";
    for (const char *place : {LYRA_FFTW3_FROM_TOOL, "../compat/lyra-fftw3"}) {
        const auto folder = (program.parent_path() / place).lexically_normal();
        if (access((folder / "libfftw3.so.3").c_str(), R_OK) == 0) return folder.string();
    }
    return "";
}

// Puts an entry before what a list of paths in the environment holds.
void put_first(const char *variable, std::string entry) {
    if (const char *before = std::getenv(variable); before && *before)
        entry += std::string(":") + before;
    setenv(variable, entry.c_str(), 1);
}

int run_program(const std::vector<std::string> &words, bool report, bool preload) {
    if (words.empty()) return fail("a program is missing; see 'lyr-fft run --help'");
    if (words[0].starts_with('-'))
        return fail("unexpected argument %s; see 'lyr-fft run --help'",
                    in_quotes(words[0]).c_str());
    const std::string folder = library_folder();
    if (folder.empty())
        return fail(
            "there is no libfftw3.so.3 of this library beside lyr-fft (package lyra-fftw3)");
    if (preload) {
        const std::string single = folder + "/libfftw3f.so.3";
        if (access(single.c_str(), R_OK) == 0) put_first("LD_PRELOAD", single);
        put_first("LD_PRELOAD", folder + "/libfftw3.so.3");
    } else {
        put_first("LD_LIBRARY_PATH", folder);
    }
    if (report) setenv("LYRA_FFTW3_REPORT", "1", 1);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    return fail("cannot run %s: %s", in_quotes(words[0]).c_str(), std::strerror(errno));
}

}  // namespace

command add_run(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("run", "Run a program that uses FFTW on this library");
    arguments->prefix_command();
    arguments->footer(
        "What follows is the program and its arguments.\n"
        "The library path is set, nothing else. --report makes every process that loads\n"
        "the library say at its end, on standard error, which plans it made and how long\n"
        "they ran; a program that says nothing does not use it. Then it may have a\n"
        "library path of its own, as R has: --preload is for those.\n");
    auto report = std::make_shared<bool>(false);
    auto preload = std::make_shared<bool>(false);
    arguments->add_flag("--report", *report, "Say at the end what was planned and executed");
    arguments->add_flag("--preload", *preload, "Set LD_PRELOAD instead of the library path");
    return {arguments, [arguments, report, preload] {
                return run_program(arguments->remaining(), *report, *preload);
            }};
}

}  // namespace lyr_tools
