// What lyr-fft makes of files and of problems, from the first byte to the picture. The first byte
// chooses the command, the rest is the file or the text.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "problem.h"

int lyr_fft_main(int argc, char **argv);

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}

// Fonts that were found once are kept until the end.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}

namespace {

// A problem that is read is written and read again as the same text.
void check_notation(const std::string &text) {
    lyr_tools::problem p, again;
    std::string error;
    if (!lyr_tools::parse_problem(text, int64_t{1} << 24, p, error)) return;
    const std::string written = format_problem(p);
    if (!lyr_tools::parse_problem(written, int64_t{1} << 24, again, error) ||
        format_problem(again) != written)
        std::abort();
}

void check_file(const uint8_t *data, size_t size, bool picture) {
    const int file = memfd_create("lyr-fft", 0);
    if (file < 0) std::abort();
    if (write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
    std::string path = "/proc/self/fd/" + std::to_string(file);
    std::string words[] = {"lyr-fft", "spectrum",  path,     "--window", "64",
                           "-o",      "/dev/null", "--size", "640x360"};
    char *argv[std::size(words) + 1] = {};
    for (size_t i = 0; i < std::size(words); ++i) argv[i] = words[i].data();
    const int argc = picture ? 9 : 3;
    if (!picture) argv[3] = nullptr;
    const int status = lyr_fft_main(argc, argv);
    if (status != 0 && status != 2) std::abort();
    close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const int what = data[0] % 32;
    if (what < 8)
        check_notation(std::string(reinterpret_cast<const char *>(data + 1), size - 1));
    else
        check_file(data + 1, size - 1, what == 31);
    return 0;
}
