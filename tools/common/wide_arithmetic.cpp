#include "wide_arithmetic.h"

#include <utility>

namespace lyr_tools {

wide_complex root_of_unity(int64_t k, int64_t n) {
    k %= n;
    if (k < 0) k += n;
    const int64_t quadrant = 4 * k / n;
    const int64_t rest = 4 * k % n;  // in units of 1/n of a right angle
    const bool mirrored = 2 * rest > n;
    real sine;
    real cosine;
    const real folded = real(static_cast<double>(mirrored ? n - rest : rest));
    sine_cosine(wide_pi<real>() * folded / (2.0 * static_cast<double>(n)), sine, cosine);
    if (mirrored) std::swap(sine, cosine);
    switch (quadrant) {
        case 0:
            return {cosine, sine};
        case 1:
            return {-sine, cosine};
        case 2:
            return {-cosine, -sine};
        default:
            return {sine, -cosine};
    }
}

int64_t multiply_mod(int64_t a, int64_t b, int64_t n) {
    __extension__ typedef __int128 int128;
    return static_cast<int64_t>(int128{a} * b % n);
}

int64_t largest_prime_factor(int64_t n) {
    int64_t largest = 1;
    for (int64_t f = 2; f * f <= n; ++f)
        for (; n % f == 0; n /= f) largest = f;
    return n > 1 ? n : largest;
}

}  // namespace lyr_tools
