#include "facts.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <thread>

#include "interface.h"
#include "planner/describe.h"

namespace lyr_bench {

namespace {

std::string first_word(const std::string &path) {
    std::ifstream file(path);
    std::string word;
    file >> word;
    return word;
}

// "48K, 1024K, 32768K": data caches of the first processor, nearest first; empty where the system
// does not tell.
std::string cache_sizes() {
    std::string sizes;
    for (int i = 0; i < 8; ++i) {
        const std::string folder =
            "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i) + "/";
        const std::string type = first_word(folder + "type");
        if (type.empty() || type == "Instruction") continue;
        sizes += (sizes.empty() ? "" : ", ") + first_word(folder + "size");
    }
    return sizes;
}

// Makers' names of generations, as far as one is needed to tell the server processors apart that
// are all called the same.
std::string generation(const std::string &vendor, int family, int model) {
    if (vendor != "AuthenticAMD") return "";
    if (family == 26) return "Zen 5, ";
    if (family == 25)
        return (model >= 0x10 && model < 0x20) || model >= 0x60 ? "Zen 4, " : "Zen 3, ";
    return "";
}

std::string processor_name() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string name, vendor, implementer, part;
    int family = 0, model = 0;
    for (std::string line; std::getline(cpuinfo, line);) {
        const size_t colon = line.find(": ");
        if (line.empty() && !name.empty()) break;  // of the first processor
        if (colon == std::string::npos) continue;
        const std::string value = line.substr(colon + 2);
        if (line.starts_with("model name")) name = value;
        if (line.starts_with("vendor_id")) vendor = value;
        if (line.starts_with("cpu family")) family = std::atoi(value.c_str());
        if (line.starts_with("model\t")) model = std::atoi(value.c_str());
        if (line.starts_with("CPU implementer")) implementer = value;
        if (line.starts_with("CPU part")) part = value;
    }
    if (!implementer.empty() && name.empty()) name = "implementer " + implementer + " part " + part;
    if (name.empty()) name = "unknown";
    if (family > 0)
        name += " (" + generation(vendor, family, model) + "family " + std::to_string(family) +
                ", model " + std::to_string(model) + ")";
    const std::string caches = cache_sizes();
    return caches.empty() ? name : name + ", caches of " + caches;
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
