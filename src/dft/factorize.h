// The radices of a length.
#pragma once

#include <cstdint>

namespace lyr {

inline constexpr int max_factors = 64;  // no 64-bit length has more

// Factors n into radices, in stage order. Returns their number, 0 for n below 2 or a null list. The
// last factor is the product of all prime factors above 37, if there are any.
int factorize_size(int64_t n, int64_t *factors);

// The last of the radices of n, which is at least 2.
int64_t last_radix(int64_t n);

// n without its prime factors up to 37: 1 when codelets serve the whole of n.
int64_t part_above_37(int64_t n);

}  // namespace lyr
