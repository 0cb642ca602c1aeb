// Choices of the solver for multithreaded batches.
#pragma once

#include <cstdint>

namespace lyr {

// Whether `total` points are worth their threads when dealt out in so many chunks.
bool worth_threads(int64_t total, int64_t chunks);

}  // namespace lyr
