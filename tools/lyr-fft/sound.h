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
};

// Read a file that libsndfile understands, or else a text with one number per line, of which only
// the first column counts; blank lines and lines that start with # are skipped. text_rate is the
// rate of a text's numbers; 0 means not given, and then 1 is taken. Returns false with one line in
// `error` for files that cannot be read or hold no samples, values that are not finite, and files
// of more than max_samples samples.
bool read_sound(const std::string &path, double text_rate, int64_t max_samples, sound &result,
                std::string &error);

}  // namespace lyr_tools
