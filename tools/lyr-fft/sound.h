// Reading a signal from a sound file or from a column of numbers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lyr_tools {

struct sound {
    std::vector<double> samples;  // channels mixed down to their average
    double rate = 0;              // samples per second
    int channels = 1;
    bool is_text = false;
    int64_t column = 1, columns = 1;  // of a text: the one that was read, and how many there are
};

// What is said about a signal beside its file; 0: nothing.
struct sound_choice {
    double rate = 0;     // of the numbers of a text; else 1
    int64_t column = 0;  // of a text, counted from 1; else the first
    int64_t most_samples = INT64_MAX;
};

// The path that stands for standard input.
inline constexpr const char *standard_input = "-";

// Read a file that libsndfile understands, or else a text with a line of columns for each number,
// separated by blanks, tabs, commas or semicolons; blank lines and lines that start with # are
// skipped. Returns false with one line in `error` for files that cannot be read or hold no samples,
// values that are not finite, commas that could be those of decimals, and files of more samples
// than wanted.
bool read_sound(const std::string &path, const sound_choice &choice, sound &result,
                std::string &error);

}  // namespace lyr_tools
