// Choices of Bluestein's algorithm.
#pragma once

#include <cstdint>

namespace lyr {

// The length of the cyclic convolution that serves p points: at least 2p - 1, a length with fast
// transforms. p > 37.
int64_t bluestein_length(int64_t p);

}  // namespace lyr
