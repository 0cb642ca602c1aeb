// Fast convolution of a recording with the echo of a room, block by block (overlap-add):
//
//     convolution IN.wav OUT.wav      IN.wav: 16 bits, one channel
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <lyr_fft.hpp>
#include <random>

namespace {

constexpr int header_size = 44, echo_length = 8000, n = 32768, block = n - echo_length + 1;

// Decaying noise, after the sound itself.
std::vector<double> echo() {
    std::vector<double> h(echo_length);
    std::minstd_rand random;
    for (size_t j = 0; j < h.size(); ++j)
        h[j] = 0.06 * std::exp(-static_cast<double>(j) / 1500) *
               (static_cast<double>(random()) / std::minstd_rand::max() * 2 - 1);
    h[0] = 0.8;
    return h;
}

bool read(const char *name, char (&header)[header_size], std::vector<int16_t> &samples) {
    std::FILE *file = std::fopen(name, "rb");
    if (!file) return false;
    const bool good = std::fread(header, 1, header_size, file) == header_size;
    int16_t sample;
    while (std::fread(&sample, sizeof sample, 1, file) == 1) samples.push_back(sample);
    std::fclose(file);
    return good;
}

bool write(const char *name, const char (&header)[header_size],
           const std::vector<int16_t> &samples) {
    std::FILE *file = std::fopen(name, "wb");
    if (!file) return false;
    const bool good =
        std::fwrite(header, 1, header_size, file) == header_size &&
        std::fwrite(samples.data(), sizeof samples[0], samples.size(), file) == samples.size();
    return std::fclose(file) == 0 && good;
}

std::vector<double> convolve(const std::vector<int16_t> &x, const std::vector<double> &h) {
    lyr_fft::vector<double> piece(n);
    lyr_fft::vector<lyr_fft::complex> spectrum(n / 2 + 1), response(n / 2 + 1);
    const auto forward = lyr_fft::r2c({n}, piece, spectrum).value();
    const auto backward = lyr_fft::c2r({n}, spectrum, piece).value();

    std::copy(h.begin(), h.end(), piece.begin());
    forward.execute(piece, response);
    std::vector<double> y(x.size() + n);
    for (size_t start = 0; start < x.size(); start += block) {
        // Padded with zeros, so that the cyclic convolution of n samples is the plain one.
        const size_t length = std::min<size_t>(block, x.size() - start);
        std::fill(piece.begin(), piece.end(), 0.0);
        std::copy_n(x.begin() + static_cast<std::ptrdiff_t>(start), length, piece.begin());
        forward.execute();
        for (size_t k = 0; k < spectrum.size(); ++k) spectrum[k] *= response[k];
        backward.execute();
        for (size_t j = 0; j < n; ++j) y[start + j] += piece[j] / n;
    }
    y.resize(x.size());
    return y;
}

}  // namespace

int main(int argc, char **argv) {
    char header[header_size];
    std::vector<int16_t> x;
    if (argc != 3 || !read(argv[1], header, x)) {
        std::fprintf(stderr, "usage: convolution IN.wav OUT.wav\n");
        return 2;
    }
    const std::vector<double> h = echo(), y = convolve(x, h);

    // The sum that defines the convolution, for one sample in a thousand.
    double largest = 0;
    for (size_t j = 0; j < x.size(); j += 1000) {
        double sum = 0;
        for (size_t i = 0; i < h.size() && i <= j; ++i) sum += h[i] * x[j - i];
        largest = std::max(largest, std::abs(sum - y[j]));
    }
    std::printf("%zu samples, off by less than %s\n", x.size(), largest < 1e-8 ? "1e-8" : "???");

    for (size_t j = 0; j < x.size(); ++j)
        x[j] = static_cast<int16_t>(std::clamp(std::round(y[j]), -32768.0, 32767.0));
    return write(argv[2], header, x) ? 0 : 1;
}
