// The spectrogram picture.
#pragma once

#include <string>
#include <vector>

#include "short_time.h"

namespace lyr_tools {

// Levels of a signal over time and frequency, and what the picture says about it.
struct spectrogram {
    std::string title;
    std::string subtitle;
    double duration = 0;             // seconds along the horizontal axis
    double lowest = 0, highest = 0;  // Hz along the vertical axis
    double bin_width = 0;            // Hz from one bin to the next
    int64_t columns = 0;             // levels has this many columns of `bins` levels each
    int64_t bins = 0;
    std::vector<float> levels;    // dB, column after column, from 0 Hz upwards
    std::vector<double> average;  // dB per bin, over the whole signal
    std::vector<peak> peaks;      // marked on the average
    std::string level_unit;       // of the colour scale
    double range = 0;             // dB that the colours span; 0: chosen by the levels
    bool kilohertz = false;
};

// Pixels of the whole picture.
struct picture_size {
    int width = 1280, height = 720;
};

// Pixels of the time axis: more columns of levels than that are not seen.
int picture_columns(const picture_size &size);

// Draw a spectrogram and write it as PNG. Returns false with one line in `error`.
bool write_picture(const spectrogram &s, const picture_size &size, const std::string &path,
                   std::string &error);

}  // namespace lyr_tools
