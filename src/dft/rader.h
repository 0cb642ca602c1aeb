// Number theory of Rader's algorithm.
#pragma once

#include <cstdint>

namespace lyr {

// a*b mod q for 0 <= a, b < q < 2^62.
int64_t mod_multiply(int64_t a, int64_t b, int64_t q);

// base^exponent mod modulus, 0 <= base < modulus.
int64_t mod_pow(int64_t base, int64_t exponent, int64_t modulus);

// By trial division.
bool is_prime(int64_t p);

// The smallest generator of the multiplicative group of the prime p > 2.
int64_t find_generator(int64_t p);

}  // namespace lyr
