// Blurs a picture by a Gaussian, whatever its width, in the frequency domain:
//
//     image_filter OUT.pgm        writes the test card and its blurred copy, side by side
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <lyr_fft.hpp>
#include <numbers>

namespace {

constexpr int height = 360, width = 480, half = width / 2 + 1;

size_t index(int row, int column, int length) {
    return static_cast<size_t>(row) * static_cast<size_t>(length) + static_cast<size_t>(column);
}

// Rings that grow narrower outwards, and a square.
double card(int row, int column) {
    const double y = row - height / 2.0, x = column - width / 2.0;
    if (std::abs(x + 120) < 40 && std::abs(y + 80) < 40) return 1;
    return 0.5 + 0.5 * std::cos((x * x + y * y) / 300);
}

// The transform of a Gaussian of standard deviation `sigma` at frequency k of n.
double gaussian(int k, int n, double sigma) {
    const double turns = static_cast<double>(std::min(k, n - k)) / n;
    return std::exp(-2 * std::pow(std::numbers::pi * sigma * turns, 2));
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<double> picture(index(height, 0, width)), blurred(picture.size());
    std::vector<lyr_fft::complex> spectrum(index(height, 0, half));
    const auto forward = lyr_fft::r2c({height, width}, picture, spectrum).value();
    const auto backward = lyr_fft::c2r({height, width}, spectrum, blurred).value();

    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column)
            picture[index(row, column, width)] = card(row, column);
    forward.execute();
    constexpr double sigma = 4, scale = 1.0 / (height * width);
    for (int row = 0; row < height; ++row)
        for (int k = 0; k < half; ++k)
            spectrum[index(row, k, half)] *=
                scale * gaussian(row, height, sigma) * gaussian(k, width, sigma);
    backward.execute();

    // The mean stays; the contrast at the edge, where the rings are narrow, does not.
    const auto contrast = [](const std::vector<double> &p) {
        const double *row = &p[index(height / 2, 0, width)];
        const auto [low, high] = std::minmax_element(row, row + 40);
        return *high - *low;
    };
    std::printf("contrast at the edge: %.3f, blurred %.3f\n", contrast(picture), contrast(blurred));

    std::FILE *file = argc == 2 ? std::fopen(argv[1], "wb") : nullptr;
    if (!file) return 1;
    std::fprintf(file, "P5 %d %d 255\n", 2 * width, height);
    for (int row = 0; row < height; ++row)
        for (const auto *p : {&picture, &blurred})
            for (int column = 0; column < width; ++column) {
                const double grey = (*p)[index(row, column, width)];
                std::fputc(static_cast<int>(std::lround(255 * std::clamp(grey, 0.0, 1.0))), file);
            }
    return std::fclose(file);
}
