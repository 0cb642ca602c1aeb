#include "facts.h"

#include <ctime>
#include <fstream>
#include <thread>

#include "lyr_fft.h"
#include "planner/describe.h"

namespace lyr_bench {

namespace {

std::string processor_name() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string model;
    std::string part;
    for (std::string line; std::getline(cpuinfo, line);) {
        const size_t colon = line.find(": ");
        if (colon == std::string::npos) continue;
        if (line.starts_with("model name")) return line.substr(colon + 2);
        if (line.starts_with("CPU implementer")) model = line.substr(colon + 2);
        if (line.starts_with("CPU part")) part = line.substr(colon + 2);
    }
    return model.empty() ? "unknown" : "implementer " + model + " part " + part;
}

}  // namespace

std::vector<fact> common_facts(const char *program, int argc, char **argv) {
    char date[40];
    const time_t now = time(nullptr);
    tm parts;
    strftime(date, sizeof date, "%Y-%m-%d %H:%M UTC", gmtime_r(&now, &parts));
    std::string command = program;
    for (int i = 1; i < argc; ++i) command += std::string(" ") + argv[i];
    for (char &c : command)
        if (c == '\n' || c == '\t' || c == '\r') c = ' ';
#ifdef __clang__
    const std::string compiler = __VERSION__;
#else
    const std::string compiler = "gcc " __VERSION__;
#endif
    LFFTVersionRecord version;
    LFFTGetVersion(&version);
    return {
        {"date", date},
        {"processor", processor_name()},
        {"processors", std::to_string(std::thread::hardware_concurrency())},
        {"lyra", std::string(version.library_version) + ", target " + lyr::active_target()},
        {"compiler", compiler},
        {"command", command},
    };
}

void write_facts(FILE *file, const std::vector<fact> &facts) {
    for (const auto &[name, value] : facts)
        fprintf(file, "# %s: %s\n", name.c_str(), value.c_str());
}

}  // namespace lyr_bench
