#include "short_time.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "lyr_fft.h"

namespace lyr_tools {

namespace {

struct release {
    void operator()(lyr_fft_complex *array) const { lyr_fft_free(array); }
    void operator()(lyr_fft_plan plan) const { lyr_fft_destroy_plan(plan); }
};

using complex_array = std::unique_ptr<lyr_fft_complex[], release>;
using plan_handle = std::unique_ptr<lyr_fft_plan_s, release>;

complex_array allocate(int64_t count) {
    return complex_array(static_cast<lyr_fft_complex *>(
        lyr_fft_malloc(static_cast<size_t>(count) * sizeof(lyr_fft_complex))));
}

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
    // Transforms are planned as a batch of this many; two real pieces share one of them, as real
    // and imaginary part.
    const int64_t batch = std::clamp<int64_t>(65536 / n, 1, 32);
    const complex_array in = allocate(n * batch);
    const complex_array out = allocate(n * batch);
    if (!in || !out) {
        error = "not enough memory";
        return false;
    }
    const int lengths[] = {static_cast<int>(n)};
    const plan_handle plan(lyr_fft_plan_many_dft(1, lengths, static_cast<int>(batch), in.get(),
                                                 nullptr, 1, lengths[0], out.get(), nullptr, 1,
                                                 lengths[0], LYR_FFT_FORWARD, LYR_FFT_ESTIMATE));
    if (!plan) {
        error = "no plan for windows of " + std::to_string(n) + " samples";
        return false;
    }
    const std::vector<double> window = hann_window(n);
    double sum = 0;
    for (const double w : window) sum += w;
    std::vector<double> power(static_cast<size_t>(n / 2 + 1));

    for (int64_t first = 0; first < p.count; first += 2 * batch) {
        const int64_t here = std::min(2 * batch, p.count - first);
        for (int64_t i = 0; i < 2 * batch; ++i) {
            const int64_t start = std::llround(p.centre + static_cast<double>(first + i) * p.hop -
                                               static_cast<double>(n) / 2);
            lyr_fft_complex *z = in.get() + i / 2 * n;
            for (int64_t j = 0; j < n; ++j) {
                const int64_t at = start + j;
                const bool sounds = i < here && at >= 0 && at < length;
                z[j][i % 2] =
                    sounds ? samples[static_cast<size_t>(at)] * window[static_cast<size_t>(j)] : 0;
            }
        }
        lyr_fft_execute(plan.get());
        for (int64_t i = 0; i < here; ++i) {
            const lyr_fft_complex *z = out.get() + i / 2 * n;
            for (int64_t k = 0; k <= n / 2; ++k) {
                // z = a + ib with the conjugate-symmetric spectra a and b of the two pieces.
                const lyr_fft_complex &here_z = z[k];
                const lyr_fft_complex &mirror = z[k == 0 ? 0 : n - k];
                const double sign = i % 2 == 0 ? 1 : -1;
                const double re = here_z[0] + sign * mirror[0];
                const double im = here_z[1] - sign * mirror[1];
                // The sum above is twice the spectrum, and half of a sine is at the mirror bin.
                const double scale = k == 0 || 2 * k == n ? 0.5 / sum : 1 / sum;
                power[static_cast<size_t>(k)] = (re * re + im * im) * scale * scale;
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
