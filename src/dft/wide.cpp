#include "dft/wide.h"

#include <cmath>
#include <cstdlib>

#include "api/memory.h"

namespace lyr {

namespace {

using wide = wide_number;

struct wide_complex {
    wide re, im;
};

wide_complex operator+(const wide_complex &a, const wide_complex &b) {
    return {a.re + b.re, a.im + b.im};
}
wide_complex operator-(const wide_complex &a, const wide_complex &b) {
    return {a.re - b.re, a.im - b.im};
}
wide_complex operator*(const wide_complex &a, const wide_complex &b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// a * conj(w).
wide_complex turned_back(const wide_complex &a, const wide_complex &w) {
    return {a.re * w.re + a.im * w.im, a.im * w.re - a.re * w.im};
}

// W(t, N) from an angle in the first octant.
wide_complex wide_root(int64_t t, int64_t N) {
    int64_t angle = 4 * t;  // in quarter turns / N
    const int64_t quarter = angle / N;
    angle -= quarter * N;
    const bool beyond = 2 * angle > N;
    if (beyond) angle = N - angle;
    const wide x = static_cast<wide>(1.57079632679489661923132169163975144L) *
                   static_cast<wide>(angle) / static_cast<wide>(N);
    const wide c = beyond ? std::sin(x) : std::cos(x), s = beyond ? std::cos(x) : std::sin(x);
    if (quarter == 0) return {c, s};
    if (quarter == 1) return {-s, c};
    if (quarter == 2) return {-c, -s};
    return {s, -c};
}

// Writes scale*W(t, N), t < N, the first half as products of two of about sqrt(2N) roots. table: N
// numbers.
void fill_wide_roots(wide_complex *table, int64_t N, wide scale) {
    const int64_t half = N / 2 + 1;
    int64_t step = 1;
    while (step * step < half) step *= 2;
    for (int64_t t = 0; t < step && t < half; ++t) {
        const wide_complex root = wide_root(t, N);
        table[t] = {scale * root.re, scale * root.im};
    }
    for (int64_t begin = step; begin < half; begin += step) {
        const wide_complex turn = wide_root(begin, N);
        for (int64_t t = 0; t < step && begin + t < half; ++t) table[begin + t] = turn * table[t];
    }
    for (int64_t t = half; t < N; ++t) table[t] = {table[N - t].re, -table[N - t].im};
}

constexpr int64_t longest_radix = 37;

// x becomes its transform of length r with W(-1, r). roots: W(t, r) is roots[t*step].
void butterfly(wide_complex *x, int64_t r, const wide_complex *roots, int64_t step) {
    if (r == 2) {
        const wide_complex a = x[0], b = x[1];
        x[0] = a + b;
        x[1] = a - b;
        return;
    }
    if (r == 4) {
        const wide_complex a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
        x[0] = a + c;
        x[2] = a - c;
        x[1] = {b.re + d.im, b.im - d.re};
        x[3] = {b.re - d.im, b.im + d.re};
        return;
    }
    const int64_t h = (r - 1) / 2;
    wide_complex sums[longest_radix / 2], differences[longest_radix / 2];
    wide_complex total = x[0];
    for (int64_t j = 0; j < h; ++j) {
        sums[j] = x[j + 1] + x[r - 1 - j];
        differences[j] = x[j + 1] - x[r - 1 - j];
        total = total + sums[j];
    }
    for (int64_t k = 1; k <= h; ++k) {
        wide_complex even = x[0], odd = {0, 0};
        int64_t t = 0;
        for (int64_t j = 0; j < h; ++j) {
            t = t + k < r ? t + k : t + k - r;
            const wide_complex &w = roots[t * step];
            even = {even.re + w.re * sums[j].re, even.im + w.re * sums[j].im};
            odd = {odd.re + w.im * differences[j].re, odd.im + w.im * differences[j].im};
        }
        // Outputs k and r - k are even -+ i*odd; x[0] is still needed, the others are not.
        x[k] = {even.re + odd.im, even.im - odd.re};
        x[r - k] = {even.re - odd.im, even.im + odd.re};
    }
    x[0] = total;
}

int64_t next_radix(int64_t rest) {
    if (rest % 4 == 0) return 4;
    for (int64_t r = 2;; ++r)
        if (rest % r == 0) return r;
}

// Transforms `length` numbers by stages as in dft/c2c_1d.cpp. roots: W(t, length) is
// roots[t*step]. The result is in one of the two arrays, which is returned.
wide_complex *transform(wide_complex *from, wide_complex *to, int64_t length,
                        const wide_complex *roots, int64_t step) {
    for (int64_t L = 1, m = length; m > 1;) {
        const int64_t r = next_radix(m);
        m /= r;
        for (int64_t k = 0; k < L; ++k)
            for (int64_t j = 0; j < m; ++j) {
                wide_complex x[longest_radix];
                x[0] = from[k * r * m + j];
                for (int64_t q = 1; q < r; ++q) {
                    const wide_complex &a = from[(k * r + q) * m + j];
                    x[q] = k == 0 ? a : turned_back(a, roots[m * k * q * step]);
                }
                butterfly(x, r, roots, length / r * step);
                for (int64_t p = 0; p < r; ++p) to[(k + p * L) * m + j] = x[p];
            }
        L *= r;
        wide_complex *const swap = from;
        from = to;
        to = swap;
    }
    return from;
}

void round_to(scalar *out, const wide_complex &x) {
    out[0] = static_cast<scalar>(x.re);
    out[1] = static_cast<scalar>(x.im);
}

// Element M - j of the spectrum, from element j.
wide_complex reflected(const wide_complex &x, int64_t j, reflection kind) {
    if (kind == reflection::same) return x;
    return j % 2 == 0 ? wide_complex{x.re, -x.im} : wide_complex{-x.re, x.im};
}

// Writes the spectrum of the M numbers x. Of a length divisible by 4 the elements 1, 5, 9, .. are
// a transform of a quarter of the length and give the elements 3, 7, 11, .. by reflection, and the
// even ones are the spectrum of half the length: half the work of a whole transform. x is
// overwritten; room: M/2 numbers, or M where 4 does not divide M.
void fill_spectrum(scalar *out, wide_complex *x, wide_complex *room, int64_t M,
                   const wide_complex *roots, reflection kind) {
    int64_t step = 1, length = M;
    for (; length % 4 == 0; step *= 2, length /= 2) {
        const int64_t quarter = length / 4, half = length / 2;
        wide_complex *const y = room;
        for (int64_t k = 0; k < quarter; ++k) {
            const wide_complex a = x[k], b = x[k + half];
            const wide_complex c = x[k + quarter], d = x[k + quarter + half];
            x[k] = a + b;
            x[k + quarter] = c + d;
            const wide_complex e = a - b, f = c - d;
            y[k] = turned_back({e.re + f.im, e.im - f.re}, roots[k * step]);
        }
        const wide_complex *const spectrum = transform(y, y + quarter, quarter, roots, 4 * step);
        for (int64_t i = 0; i < quarter; ++i) {
            const int64_t j = (4 * i + 1) * step;
            round_to(out + 2 * j, spectrum[i]);
            round_to(out + 2 * (M - j), reflected(spectrum[i], j, kind));
        }
    }
    const wide_complex *const spectrum = transform(x, room, length, roots, step);
    for (int64_t i = 0; i < length; ++i) round_to(out + 2 * i * step, spectrum[i]);
}

}  // namespace

bool wide_spectrum_of_roots(scalar *out, const int64_t *exponents, int64_t N, int64_t M,
                            double divisor, reflection kind) {
    const int64_t longest = N > M ? N : M;
    wide_complex *const x = static_cast<wide_complex *>(
        planning_malloc(static_cast<size_t>(2 * M + longest) * sizeof *x));
    if (!x) return false;
    wide_complex *const room = x + M, *const roots = room + M;
    fill_wide_roots(roots, N, 1 / static_cast<wide>(divisor));
    for (int64_t k = 0; k < M; ++k)
        x[k] = exponents[k] >= 0 ? roots[exponents[k]] : wide_complex{0, 0};
    fill_wide_roots(roots, M, 1);
    fill_spectrum(out, x, room, M, roots, kind);
    free(x);
    return true;
}

}  // namespace lyr
