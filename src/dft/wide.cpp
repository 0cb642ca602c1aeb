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

// Writes W(t, N), t < N, as products of two of about 2*sqrt(N) roots. table: N numbers.
void fill_wide_roots(wide_complex *table, int64_t N) {
    int64_t step = 1;
    while (step * step < N) step *= 2;
    for (int64_t t = 0; t < step && t < N; ++t) table[t] = wide_root(t, N);
    for (int64_t begin = step; begin < N; begin += step) {
        const wide_complex turn = wide_root(begin, N);
        for (int64_t t = 0; t < step && begin + t < N; ++t) table[begin + t] = turn * table[t];
    }
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

// Stages as in dft/c2c_1d.cpp. The result is in one of the two arrays, which is returned.
wide_complex *transform(wide_complex *from, wide_complex *to, int64_t M,
                        const wide_complex *roots) {
    for (int64_t L = 1, m = M; m > 1;) {
        const int64_t r = next_radix(m);
        m /= r;
        for (int64_t k = 0; k < L; ++k)
            for (int64_t j = 0; j < m; ++j) {
                wide_complex x[longest_radix];
                x[0] = from[k * r * m + j];
                for (int64_t q = 1; q < r; ++q) {
                    const wide_complex &w = roots[m * k * q], &a = from[(k * r + q) * m + j];
                    if (k == 0)
                        x[q] = a;
                    else
                        x[q] = {a.re * w.re + a.im * w.im, a.im * w.re - a.re * w.im};
                }
                butterfly(x, r, roots, M / r);
                for (int64_t p = 0; p < r; ++p) to[(k + p * L) * m + j] = x[p];
            }
        L *= r;
        wide_complex *const swap = from;
        from = to;
        to = swap;
    }
    return from;
}

}  // namespace

bool wide_spectrum_of_roots(scalar *out, const int64_t *exponents, int64_t N, int64_t M,
                            double divisor) {
    const int64_t longest = N > M ? N : M;
    wide_complex *const room = static_cast<wide_complex *>(
        planning_malloc(static_cast<size_t>(2 * M + longest) * sizeof *room));
    if (!room) return false;
    wide_complex *const x = room, *const other = room + M, *const roots = room + 2 * M;
    fill_wide_roots(roots, N);
    const wide scale = 1 / static_cast<wide>(divisor);
    for (int64_t k = 0; k < M; ++k) {
        x[k] = {0, 0};
        if (exponents[k] >= 0) {
            x[k] = roots[exponents[k]];
            x[k].re *= scale;
            x[k].im *= scale;
        }
    }
    fill_wide_roots(roots, M);
    const wide_complex *spectrum = transform(x, other, M, roots);
    for (int64_t j = 0; j < M; ++j) {
        out[2 * j] = static_cast<scalar>(spectrum[j].re);
        out[2 * j + 1] = static_cast<scalar>(spectrum[j].im);
    }
    free(room);
    return true;
}

}  // namespace lyr
