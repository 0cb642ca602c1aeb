// What the checks count with: complex numbers wider than double, roots of unity, and the integers
// behind them.
#pragma once

#include <cstdint>

#include "double_double.h"

namespace lyr_tools {

// For single precision double. Otherwise long double where the processor computes it, double-double
// elsewhere; with LYRA_QUAD, 113 bits in software on all processors.
#if defined(LYRA_SINGLE)
using real = double;
#elif defined(LYRA_QUAD) && defined(__x86_64__)
using real = __float128;
#elif defined(LYRA_QUAD) || defined(__x86_64__) || defined(__i386__)
using real = long double;
#else
using real = double_double;
#endif

struct wide_complex {
    real re{};
    real im{};
};

inline wide_complex operator+(const wide_complex &a, const wide_complex &b) {
    return {a.re + b.re, a.im + b.im};
}

inline wide_complex operator*(const wide_complex &a, const wide_complex &b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// exp(2 pi i k/n). The angle is folded into the first octant as an exact fraction.
wide_complex root_of_unity(int64_t k, int64_t n);

// a b mod n.
int64_t multiply_mod(int64_t a, int64_t b, int64_t n);

// The largest prime that divides n; 1 for 1.
int64_t largest_prime_factor(int64_t n);

}  // namespace lyr_tools
