// Roots of unity for constants: computed by the compiler. Local to each object, as kernels include
// this.
#pragma once

#include <cstdint>

namespace lyr {
namespace {

struct exact_root {
    double re, im;
};

// W(t, N) = exp(2 pi i t/N), both parts rounded from results with at least eleven bits more. t has
// either sign.
constexpr exact_root root_of_unity(int64_t t, int64_t N) {
    t %= N;
    if (t < 0) t += N;
    // The angle in units of a quarter turn / N, reflected into the first octant.
    int64_t angle = 4 * t;
    const int64_t quarter = angle / N;
    angle -= quarter * N;
    const bool beyond = 2 * angle > N;
    if (beyond) angle = N - angle;
    const long double x = 1.57079632679489661923132169163975144L * static_cast<long double>(angle) /
                          static_cast<long double>(N);
    long double cosine = 1, sine = x, term = x;
    for (int k = 2; k < 30; ++k) {
        term = term * x / static_cast<long double>(k);
        long double &sum = k % 2 == 0 ? cosine : sine;
        sum += k % 4 < 2 ? term : -term;
    }
    if (beyond) {
        const long double exchanged = cosine;
        cosine = sine;
        sine = exchanged;
    }
    const auto c = static_cast<double>(cosine), s = static_cast<double>(sine);
    if (quarter == 0) return {c, s};
    if (quarter == 1) return {-s, c};
    if (quarter == 2) return {-c, -s};
    return {s, -c};
}

}  // namespace
}  // namespace lyr
