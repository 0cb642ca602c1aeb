// Lengths with one prime factor p above 37 whose p - 1 is a product of primes up to 37. With a
// generator g of the multiplicative group modulo p the transform without index 0 is a cyclic
// convolution of length p - 1 (Rader, 1968): X[g^-j] - x[0] is the sum of x[g^k] * W(g^(k-j)).
#include "dft/rader.h"

#include <cmath>
#include <cstring>

#include "dft/convolution.h"
#include "dft/twiddle.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// Indices are stored in 32 bits.
constexpr int64_t largest_prime = UINT32_MAX;

void copy_number(scalar *to, const scalar *from) {
    memcpy(to, from, complex_bytes);
}

// The second forward transform reverses, so that result k belongs to index g^k, where input k came
// from. x[0] takes part twice: added to element 0 of the spectrum it comes out added to every
// result, and X[0] is x[0] plus element 0 of the first spectrum.
void run_side_by_side(const plan *p, const convolution *c, const convolution_blocks &at,
                      scalar *vectors) {
    const int64_t w = at.width, M = c->M;
    scalar first[2 * most_blocks] = {};
    for (int64_t j = 0; j < w; ++j) copy_number(first + 2 * j, at.in + 2 * j * at.in_lane);
    for (int64_t k = 0; k < M; ++k) {
        const scalar *from = at.in + 2 * at.in_step * c->powers[k];
        scalar *to = vectors + 2 * k * w;
        for (int64_t j = 0; j < w; ++j) copy_number(to + 2 * j, from + 2 * j * at.in_lane);
    }
    scalar *const spectra = spectra_of(c, vectors);
    convolution_transform(p, c, vectors, w);
    for (int64_t i = 0; i < 2 * w; ++i) {
        const int64_t place = i / 2 * 2 * at.out_lane + i % 2;
        at.out[place] = first[i] + spectra[i];
    }
    convolution_filter(c, spectra, w);
    for (int64_t i = 0; i < 2 * w; ++i) spectra[i] += first[i];
    convolution_return(p, c, vectors, w);
    for (int64_t k = 0; k < M; ++k)
        memcpy(at.out + 2 * at.out_step * c->powers[k], vectors + 2 * k * w,
               static_cast<size_t>(complex_bytes * w));
}

// One transform without gaps. The pointers are locals, lest the compiler read them again after
// every store.
void gather_powers(scalar *to, const scalar *from, const uint32_t *powers, int64_t M) {
#pragma GCC unroll 4
    for (int64_t k = 0; k < M; ++k)
        copy_number(to + 2 * k, from + 2 * static_cast<size_t>(powers[k]));
}
void scatter_powers(scalar *to, const scalar *from, const uint32_t *powers, int64_t M) {
#pragma GCC unroll 4
    for (int64_t k = 0; k < M; ++k)
        copy_number(to + 2 * static_cast<size_t>(powers[k]), from + 2 * k);
}

void run_one_by_one(const plan *p, const convolution *c, const convolution_blocks &at,
                    scalar *vectors) {
    const int64_t M = c->M;
    scalar first[2 * blocks_one_by_one] = {};
    for (int64_t j = 0; j < at.width; ++j) copy_number(first + 2 * j, at.in + 2 * j * at.in_lane);
    if (at.width == 1 && at.in_step == 1) {
        gather_powers(vectors, at.in, c->powers, M);
    } else {
        for (int64_t k = 0; k < M; ++k)
            for (int64_t j = 0; j < at.width; ++j)
                copy_number(vectors + 2 * (j * M + k),
                            at.in + 2 * (c->powers[k] * at.in_step + j * at.in_lane));
    }
    scalar *const spectra = spectra_of(c, vectors);
    convolution_transform(p, c, vectors, at.width);
    for (int64_t j = 0; j < at.width; ++j) {
        const scalar *x = first + 2 * j, *sum = spectra + 2 * j * M;
        scalar *out = at.out + 2 * j * at.out_lane;
        out[0] = x[0] + sum[0];
        out[1] = x[1] + sum[1];
    }
    convolution_filter(c, spectra, at.width);
    for (int64_t j = 0; j < at.width; ++j) {
        spectra[2 * j * M] += first[2 * j];
        spectra[2 * j * M + 1] += first[2 * j + 1];
    }
    convolution_return(p, c, vectors, at.width);
    if (at.width == 1 && at.out_step == 1) {
        scatter_powers(at.out, vectors, c->powers, M);
    } else {
        for (int64_t k = 0; k < M; ++k)
            for (int64_t j = 0; j < at.width; ++j)
                copy_number(at.out + 2 * (c->powers[k] * at.out_step + j * at.out_lane),
                            vectors + 2 * (j * M + k));
    }
}

// The powers of g, and the filter W(sign*g^-k, p)/(p - 1).
void fill_powers(uint32_t *powers, int64_t p) {
    const int64_t g = find_generator(p);
    for (int64_t k = 0, power = 1; k < p - 1; ++k, power = mod_multiply(power, g, p))
        powers[k] = static_cast<uint32_t>(power);
}

void fill_filter(const convolution *c, const filter_roots &exact, scalar *filter) {
    exact_root_source roots;
    root_source_init(&roots, c->p, c->M);
    for (int64_t k = 0; k < c->M; ++k) {
        double root[2];
        root_of(&roots, exact.exponent(c, k), +1, root);
        filter[2 * k] = static_cast<scalar>(root[0] / exact.divisor);
        filter[2 * k + 1] = static_cast<scalar>(root[1] / exact.divisor);
    }
    root_source_release(&roots);
}

// Exponents of W(1, p) for sign +1 and -1: g^-k is g^(p-1-k).
template <int Sign>
int64_t filter_exponent(const convolution *c, int64_t k) {
    const int64_t power = c->powers[k == 0 ? 0 : c->M - k];
    return Sign > 0 ? power : c->p - power;
}

}  // namespace

int64_t mod_multiply(int64_t a, int64_t b, int64_t q) {
    if (q <= INT32_MAX) return a * b % q;
    int64_t sum = 0;  // shift and add: no product of two numbers below 2^62 is formed
    for (; b > 0; b >>= 1) {
        if (b & 1) sum = sum + a >= q ? sum + a - q : sum + a;
        a = a + a >= q ? a + a - q : a + a;
    }
    return sum;
}

int64_t mod_pow(int64_t base, int64_t exponent, int64_t modulus) {
    if (exponent == 0) return 1;
    if (exponent % 2 != 0) return mod_multiply(base, mod_pow(base, exponent - 1, modulus), modulus);
    const int64_t half = mod_pow(base, exponent / 2, modulus);
    return mod_multiply(half, half, modulus);
}

bool is_prime(int64_t p) {
    if (p < 4) return p > 1;
    if (p % 2 == 0) return false;
    for (int64_t divisor = 3; divisor <= p / divisor; divisor += 2)
        if (p % divisor == 0) return false;
    return true;
}

int64_t find_generator(int64_t p) {
    int64_t primes[16];  // no number of 63 bits has more
    int count = 0;
    primes[count++] = 2;
    int64_t rest = p - 1;
    while (rest % 2 == 0) rest /= 2;
    for (int64_t divisor = 3; divisor <= rest / divisor; divisor += 2) {
        if (rest % divisor != 0) continue;
        primes[count++] = divisor;
        while (rest % divisor == 0) rest /= divisor;
    }
    if (rest > 1) primes[count++] = rest;
    for (int64_t g = 2;; ++g) {
        bool generates = true;
        for (int i = 0; i < count && generates; ++i)
            generates = mod_pow(g, (p - 1) / primes[i], p) != 1;
        if (generates) return g;
    }
}

int solve_problem_c2c_1d_rader(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex || p->howmany_rank != 0 || p->rank != 1) return -1;
    const int64_t n = p->dims[0].n;
    if (n < 1 || part_above_37(n) == 1) return -1;
    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1) return -1;
    const int64_t prime = factors[count - 1];
    if (prime > largest_prime || part_above_37(prime - 1) != 1 || !is_prime(prime)) return -1;

    const int64_t M = prime - 1;
    int32_t status;
    constexpr int64_t powers_in_number = complex_bytes / int64_t{sizeof(uint32_t)};
    convolution *c = convolution_begin(p, factors, count, M,
                                       M + (M + powers_in_number - 1) / powers_in_number, &status);
    if (!c) return status;
    uint32_t *powers = reinterpret_cast<uint32_t *>(const_cast<scalar *>(c->filter) + 2 * M);
    c->powers = powers;
    c->run = c->list.count ? run_side_by_side : run_one_by_one;
    fill_powers(powers, prime);
    // g^(M/2) is -1, so that element k + M/2 of the filter is the conjugate of element k.
    const filter_roots exact = {prime, static_cast<double>(M), reflection::alternating_conjugate,
                                p->sign == -1 ? filter_exponent<-1> : filter_exponent<+1>,
                                fill_filter};
    return convolution_finish(p, exact, "execute_1d_rader", "execute_1d_rader_discrete");
}

}  // namespace lyr
