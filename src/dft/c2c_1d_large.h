// Choices of the solver for long powers of two.
#pragma once

#include <cstdint>

namespace lyr {

// Threads share the work of two passes better than that of many stages: they pay much earlier.
// Vectors of several numbers lose less by many stages than by two passes. Measured.
bool use_large_method(int64_t n, int64_t nthreads, int64_t lanes);

// n1 of n = n1*n2: the largest divisor of n, at least 1, that is not above its square root.
int64_t split_large(int64_t n);

}  // namespace lyr
