// Choices of the solver for long transforms.
#pragma once

#include <cstdint>

namespace lyr {

// Whether n, a product of small primes, runs as two passes over memory rather than in stages, each
// of which is one. Threads share the work of two passes, which pays earlier; in place stages
// stay ahead for longer. Measured.
bool use_large_method(int64_t n, int64_t nthreads, int64_t lanes, bool in_place);

// Shorter transforms are done before threads have begun.
inline constexpr int64_t shortest_shared = 65536;

// n1 of n = n1*n2 for two passes, at least 1, n a product of primes up to 37: a divisor of n up to
// its square root and, if possible, not below half of that; both multiples of 4 if possible, else
// at least n2. Columns then fill vectors, and rows of the output whole lines. For powers of two and
// vectors of half a line it may be twice the root, or four times where the matrix between the
// passes lies transposed.
int64_t split_large(int64_t n, int64_t lanes, bool transposed);

}  // namespace lyr
