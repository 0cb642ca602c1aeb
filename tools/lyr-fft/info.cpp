// lyr-fft info: what this library and this machine are.

#include <algorithm>
#include <fstream>
#include <map>
#include <thread>

#include "commands.h"
#include "lyr_fft.h"
#include "planner/describe.h"
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

int run_info() {
    LFFTVersionRecord version;
    if (LFFTGetVersion(&version) != 1) return fail("the library has no version");
    const auto line = [](const char *name, const std::string &value) {
        print("%-16s %s\n", name, value.c_str());
    };
    line("product", std::string(version.product_name) + " " + version.product_version);
    line("component", std::string(version.component_name) + " " + version.component_version);
    line("library", std::string(version.library_name) + " " + version.library_version);
    line("interface", lyr_fft_version);
    line("compiler", version.compiler);
    line("processor", processor_name());
    line("processors", std::to_string(std::max(1U, std::thread::hardware_concurrency())));
    line("vector target", lyr::active_target());
    line("threads", std::to_string(lyr::library_threads()));
    return 0;
}

}  // namespace

command add_info(CLI::App &app) {
    return {app.add_subcommand("info", "Show version, processor and settings"), run_info};
}

}  // namespace lyr_tools
