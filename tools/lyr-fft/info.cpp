// lyr-fft info: what this library and this machine are.

#include <fstream>
#include <map>
#include <memory>

#include "commands.h"
#include "interface.h"
#include "planner/describe.h"
#include "problem_arguments.h"
#include "threads/pool.h"
#include "threads/threads.h"

namespace lyr_tools {

namespace {

// The processor as /proc/cpuinfo names it: by name on x86, by numbers on Arm.
std::string processor_name() {
    std::ifstream file("/proc/cpuinfo");
    std::map<std::string, std::string> first;
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::string name = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        const size_t start = line.find_first_not_of(" \t", colon + 1);
        if (start != std::string::npos) first.emplace(name, line.substr(start));
    }
    if (first.contains("model name")) return first["model name"];
    if (first.contains("CPU part"))
        return "implementer " + first["CPU implementer"] + ", part " + first["CPU part"] +
               ", variant " + first["CPU variant"] + ", revision " + first["CPU revision"];
    return "unknown";
}

// "4 (asked for 8), workers spread"
std::string thread_settings() {
    const int64_t asked = lyr::library_threads(), used = lyr::threads_for_plan(asked);
    std::string text = std::to_string(used);
    if (used != asked) text += " (asked for " + std::to_string(asked) + ")";
    switch (lyr::affinity_policy_get()) {
        case lyr::affinity_spread:
            return text + ", workers spread";
        case lyr::affinity_close:
            return text + ", workers close";
        default:
            return text + ", workers not bound";
    }
}

int run_info(int threads) {
    lyr_fft_plan_with_nthreads(threads);
    LFFTVersionRecord version;
    if (LFFTGetVersion(&version) != 1) return fail("the library has no version");
    const auto line = [](const char *name, const std::string &value) {
        print("%-16s %s\n", name, value.c_str());
    };
    line("LYRA FFT", version.library_version);
    line("processor", processor_name());
    line("processors", std::to_string(lyr::usable_processors()));
    line("NUMA nodes",
         lyr::numa_node_count() > 0 ? std::to_string(lyr::numa_node_count()) : "unknown");
    line("vector target", lyr::active_target());
    line("threads", thread_settings());
    print("\nversion query, with the names of the product that the library comes in:\n");
    const auto text = [&](const char *name, const std::string &value) {
        line((std::string("  ") + name).c_str(), value);
    };
    text("product", std::string(version.product_name) + " " + version.product_version);
    text("component", std::string(version.component_name) + " " + version.component_version);
    text("library", std::string(version.library_name) + " " + version.library_version);
    text("interface", lyr_fft_version);
    text("compiler", version.compiler);
    return 0;
}

}  // namespace

command add_info(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("info", "Show version, processor and settings");
    auto threads = std::make_shared<int>(1);
    add_threads(*arguments, *threads);
    return {arguments, [threads] { return run_info(*threads); }};
}

}  // namespace lyr_tools
