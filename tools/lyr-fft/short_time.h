// Short-time spectra of a signal, their average and its peaks.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lyr_tools {

// Windowed pieces of a signal: piece i has `window` samples around sample centre + i*hop, or the
// nearest to that that lie within the signal: an end is no sound.
struct pieces {
    int64_t window = 0;
    double centre = 0;
    double hop = 0;
    int64_t count = 0;
};

// Call f(i, power) with the power spectrum of every piece, no longer than the signal: window/2+1
// values, scaled so that a sine of amplitude a in the middle of a bin reads a^2. Returns false,
// with one line in `error`, when there is no plan; throws std::bad_alloc when memory runs out.
bool short_time_power(const std::vector<double> &samples, const pieces &p,
                      const std::function<void(int64_t, const double *)> &f, std::string &error);

// Pieces of half overlap that lie wholly in a signal of `length` samples; at least one when the
// window is no longer than the signal.
pieces whole_pieces(int64_t length, int64_t window);

// Power to decibels; silence is the lowest level.
inline constexpr double lowest_level = -200;
double decibels(double power);

struct peak {
    double frequency = 0;  // in bins
    double level = 0;      // dB
};

// The `count` strongest local maxima of a power spectrum above the lowest level, strongest first,
// at least four bins (a Hann window's main lobe) apart. Places and levels are those of a parabola
// through a maximum and its neighbours.
std::vector<peak> find_peaks(const std::vector<double> &power, int count);

}  // namespace lyr_tools
