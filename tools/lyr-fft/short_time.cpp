#include "short_time.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "lyr_fft.hpp"

namespace lyr_tools {

namespace {

std::vector<double> hann_window(int64_t n) {
    std::vector<double> window(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) {
        // Half a sample off the ends, so that short windows keep no zero.
        const double turn = (static_cast<double>(i) + 0.5) / static_cast<double>(n);
        window[static_cast<size_t>(i)] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * turn);
    }
    return window;
}

}  // namespace

bool short_time_power(const std::vector<double> &samples, const pieces &p,
                      const std::function<void(int64_t, const double *)> &f, std::string &error) {
    const int64_t n = p.window;
    const auto length = static_cast<int64_t>(samples.size());
    const auto bins = static_cast<size_t>(n / 2 + 1);
    // Transforms are planned as a batch of this many.
    const int64_t batch = std::clamp<int64_t>(65536 / n, 1, 64);
    lyr_fft::vector<double> in(static_cast<size_t>(n * batch));
    lyr_fft::vector<lyr_fft::complex> out(bins * static_cast<size_t>(batch));
    const auto plan =
        lyr_fft::r2c({static_cast<int>(n)}, in, out, {.count = static_cast<int>(batch)});
    if (!plan) {
        error = "no plan for windows of " + std::to_string(n) + " samples";
        return false;
    }
    const std::vector<double> window = hann_window(n);
    double sum = 0;
    for (const double w : window) sum += w;
    std::vector<double> power(bins);

    for (int64_t first = 0; first < p.count; first += batch) {
        const int64_t here = std::min(batch, p.count - first);
        for (int64_t i = 0; i < here; ++i) {
            const int64_t wished = std::llround(p.centre + static_cast<double>(first + i) * p.hop -
                                                static_cast<double>(n) / 2);
            const double *from = samples.data() + std::clamp<int64_t>(wished, 0, length - n);
            double *piece = in.data() + i * n;
            for (int64_t j = 0; j < n; ++j) piece[j] = from[j] * window[static_cast<size_t>(j)];
        }
        plan->execute();
        for (int64_t i = 0; i < here; ++i) {
            const lyr_fft::complex *z = out.data() + static_cast<size_t>(i) * bins;
            for (size_t k = 0; k < bins; ++k) {
                // Half of a sine is at the mirror bin.
                const bool alone = k == 0 || static_cast<int64_t>(2 * k) == n;
                const double scale = alone ? 1 / sum : 2 / sum;
                power[k] = std::norm(z[k]) * scale * scale;
            }
            f(first + i, power.data());
        }
    }
    return true;
}

pieces whole_pieces(int64_t length, int64_t window) {
    pieces p;
    p.window = window;
    p.centre = static_cast<double>(window) / 2;
    p.hop = std::max(1.0, std::floor(static_cast<double>(window) / 2));
    p.count = (length - window) / static_cast<int64_t>(p.hop) + 1;
    return p;
}

double decibels(double power) {
    return power > 1e-20 ? 10 * std::log10(power) : lowest_level;
}

std::vector<peak> find_peaks(const std::vector<double> &power, int count) {
    // Raised to this power the main lobe of a Hann window is nearly a parabola: places are off by
    // less than 0.002 bins, against 0.016 for the parabola in decibels.
    constexpr double exponent = 0.115;
    std::vector<peak> all;
    for (size_t k = 1; k + 1 < power.size(); ++k) {
        if (decibels(power[k]) <= lowest_level) continue;
        if (power[k] < power[k - 1] || power[k] <= power[k + 1]) continue;
        const double left = std::pow(power[k - 1], exponent);
        const double here = std::pow(power[k], exponent);
        const double right = std::pow(power[k + 1], exponent);
        const double shift = 0.5 * (left - right) / (left - 2 * here + right);
        const double top = here - 0.25 * (left - right) * shift;
        all.push_back({static_cast<double>(k) + shift, 10 / exponent * std::log10(top)});
    }
    std::sort(all.begin(), all.end(), [](const peak &a, const peak &b) {
        return a.level != b.level ? a.level > b.level : a.frequency < b.frequency;
    });
    std::vector<peak> chosen;
    for (const peak &candidate : all) {
        if (static_cast<int>(chosen.size()) == count) break;
        const bool apart = std::none_of(chosen.begin(), chosen.end(), [&](const peak &other) {
            return std::abs(other.frequency - candidate.frequency) < 4;
        });
        if (apart) chosen.push_back(candidate);
    }
    return chosen;
}

}  // namespace lyr_tools
