// Lengths with prime factors above 37 for which Rader's algorithm does not serve: the product p of
// those factors is computed as a convolution with a chirp (Bluestein, 1970). With
// jk = (j^2 + k^2 - (k-j)^2)/2 the transform is c[k] * sum of (x[j]*c[j]) * conj(c[k-j]), where
// c[k] = W(sign*k^2, 2p): a cyclic convolution of any length from 2p - 1 on.
#include "dft/bluestein.h"

#include <cstring>

#include "dft/convolution.h"
#include "dft/twiddle.h"
#include "planner/registry.h"

namespace lyr {

namespace {

constexpr int64_t strip = 64;  // elements of the blocks that are moved before the next ones

void run_side_by_side(const plan *p, const convolution *c, const convolution_blocks &at,
                      scalar *vectors) {
    const int64_t w = at.width;
    if (at.in_lane == 1) {
        c->products.rows(vectors, w, at.in, at.in_step, c->chirp, c->p, w);
    } else {
        for (int64_t q = 0; q < c->p; ++q)
            for (int64_t j = 0; j < w; ++j)
                memcpy(vectors + 2 * (q * w + j), at.in + 2 * (q * at.in_step + j * at.in_lane),
                       complex_bytes);
        c->products.rows(vectors, w, vectors, w, c->chirp, c->p, w);
    }
    memset(vectors + 2 * c->p * w, 0, static_cast<size_t>(complex_bytes * (c->M - c->p) * w));
    convolution_transform(p, c, vectors, w);
    convolution_filter(c, spectra_of(c, vectors), w);
    convolution_return(p, c, vectors, w);
    // Element k of the result is in row -k mod M. Blocks side by side have stages behind them, so
    // that their output is side by side too.
    c->products.rows(at.out, at.out_step, vectors, w, c->chirp, 1, w);
    c->products.rows(at.out + 2 * at.out_step, at.out_step, vectors + 2 * (c->M - 1) * w, -w,
                     c->chirp + 2, c->p - 1, w);
}

void run_one_by_one(const plan *p, const convolution *c, const convolution_blocks &at,
                    scalar *vectors) {
    const int64_t size = c->p, M = c->M;
    for (int64_t q = 0; q < size; q += strip)
        for (int64_t j = 0; j < at.width; ++j)
            c->products.elements(vectors + 2 * (j * M + q), 1,
                                 at.in + 2 * (q * at.in_step + j * at.in_lane), at.in_step,
                                 c->chirp + 2 * q, q + strip <= size ? strip : size - q);
    for (int64_t j = 0; j < at.width; ++j)
        memset(vectors + 2 * (j * M + size), 0, static_cast<size_t>(complex_bytes * (M - size)));
    convolution_transform(p, c, vectors, at.width);
    convolution_filter(c, spectra_of(c, vectors), at.width);
    convolution_return(p, c, vectors, at.width);
    for (int64_t j = 0; j < at.width; ++j)
        c->products.elements(at.out + 2 * j * at.out_lane, at.out_step, vectors + 2 * j * M, 1,
                             c->chirp, 1);
    for (int64_t k = 1; k < size; k += strip)
        for (int64_t j = 0; j < at.width; ++j)
            c->products.elements(at.out + 2 * (k * at.out_step + j * at.out_lane), at.out_step,
                                 vectors + 2 * (j * M + M - k), -1, c->chirp + 2 * k,
                                 k + strip <= size ? strip : size - k);
}

void fill_chirp(scalar *chirp, int64_t p, int64_t sign) {
    exact_root_source roots;
    root_source_init(&roots, 2 * p, p);
    int64_t square = 0;  // k^2 mod 2p
    for (int64_t k = 0; k < p; ++k) {
        double root[2];
        root_of(&roots, square, sign, root);
        chirp[2 * k] = static_cast<scalar>(root[0]);
        chirp[2 * k + 1] = static_cast<scalar>(root[1]);
        square += 2 * k + 1;
        if (square >= 2 * p) square -= 2 * p;
    }
    root_source_release(&roots);
}

void fill_filter(const convolution *c, const filter_roots &exact, scalar *filter) {
    const auto divisor = static_cast<scalar>(exact.divisor);
    const int64_t p = c->p, M = c->M;
    memset(filter + 2 * p, 0, static_cast<size_t>(complex_bytes * (M - 2 * p + 1)));
    for (int64_t k = 0; k < p; ++k) {
        scalar *ahead = filter + 2 * k, *behind = filter + 2 * (k ? M - k : 0);
        ahead[0] = behind[0] = c->chirp[2 * k] / divisor;
        ahead[1] = behind[1] = -c->chirp[2 * k + 1] / divisor;
    }
}

// Exponents of W(1, 2p) of the conjugate chirp.
template <int Sign>
int64_t filter_exponent(const convolution *c, int64_t k) {
    const int64_t j = k < c->p ? k : c->M - k, N = 2 * c->p;
    if (j >= c->p) return -1;
    const int64_t square = j * j % N;
    return Sign < 0 || square == 0 ? square : N - square;
}

// ---- The length of the convolution --------------------------------------------------------------

// Found to be fast, shorter and longer ones.
constexpr int64_t short_lengths[] = {48, 60, 64, 72, 96, 100, 120, 128, 144, 160, 192, 196, 256};
constexpr int64_t long_lengths[] = {1728,  1760,  3960,  4800,  4840,  4928,  5082,  6400,
                                    6480,  7040,  8800,  9600,  9680,  10164, 10560, 10648,
                                    11088, 11616, 12320, 12672, 13068, 13200, 14520, 14784,
                                    15092, 15840, 17424, 17600, 19008, 19712};
constexpr int64_t longest_detour = 99;
// For these the search further down would go too far.
constexpr int64_t hard_cases[] = {1949, 2501, 2503, 3373, 3391, 3397, 4859, 5039, 6053, 6113,
                                  6131, 6133, 6143, 7207, 7349, 8087, 8089, 8927, 9239};

bool smooth_to_11(int64_t n) {
    constexpr int64_t primes[] = {2, 3, 5, 7, 11};
    for (int64_t prime : primes)
        while (n % prime == 0) n /= prime;
    return n == 1;
}

// Made of the radices whose butterflies cost least for their size.
bool made_of_good_radices(int64_t n) {
    constexpr int64_t radices[] = {10, 6, 8, 9, 7, 12, 4, 2};
    while (n > 1) {
        int64_t found = 0;
        for (int64_t r : radices)
            if (n % r == 0) {
                found = r;
                break;
            }
        if (!found) return false;
        n /= found;
    }
    return true;
}

// The shortest product of good radices from `least` on. For each product of odd primes there is one
// power of two that comes to at least that much; if it makes no good length with it, larger ones
// may.
int64_t shortest_good_length(int64_t least) {
    int64_t best = INT64_MAX;
    for (int64_t sevens = 1; sevens < 2 * least; sevens *= 7)
        for (int64_t fives = sevens; fives < 2 * least; fives *= 5)
            for (int64_t odd = fives; odd < 2 * least; odd *= 3) {
                int64_t length = odd;
                while (length < least) length *= 2;
                while (length < best && !made_of_good_radices(length)) length *= 2;
                if (length < best) best = length;
            }
    return best;
}

}  // namespace

int64_t bluestein_length(int64_t p) {
    int64_t M = 2 * p - 1;
    for (int64_t length : short_lengths)
        if (M <= length && length <= 4 * p - 3) return length;
    for (int64_t hard : hard_cases)
        if (p == hard) {
            while (!smooth_to_11(M)) ++M;
            return M;
        }
    for (int64_t length : long_lengths)
        if (M <= length && length <= M + longest_detour) return length;
    return shortest_good_length(M);
}

int solve_problem_c2c_1d_bluestein(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex || p->howmany_rank != 0 || p->rank != 1) return -1;
    const int64_t n = p->dims[0].n;
    if (n < 1 || part_above_37(n) == 1) return -1;
    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1) return -1;
    const int64_t size = factors[count - 1];
    if (size > (int64_t{1} << 56)) return -1;  // no memory holds it, and no product overflows below

    const int64_t M = bluestein_length(size);
    int32_t status;
    convolution *c = convolution_begin(p, factors, count, M, M + size, &status);
    if (!c) return status;
    scalar *chirp = const_cast<scalar *>(c->filter) + 2 * M;
    c->chirp = chirp;
    c->run = c->list.count ? run_side_by_side : run_one_by_one;
    fill_chirp(chirp, size, p->sign == -1 ? -1 : +1);
    const filter_roots exact = {2 * size, static_cast<double>(M), reflection::same,
                                p->sign == -1 ? filter_exponent<-1> : filter_exponent<+1>,
                                fill_filter};
    return convolution_finish(p, exact, "execute_1d_prime_bluestein",
                              "execute_1d_prime_bluestein_discrete");
}

}  // namespace lyr
