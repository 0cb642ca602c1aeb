// Choices of the interleaved batch solver.
#pragma once

#include <cstdint>

namespace lyr {

inline constexpr int64_t slab_quantum = 8;       // two cache lines, which processors fetch in pairs
inline constexpr int64_t slab_width_limit = 64;  // wider rows gain nothing
inline constexpr int64_t slab_scratch_bytes = 1 << 15;  // a slab stays near the core

// How many neighbouring transforms of length n are walked together.
int64_t slab_width(int64_t n, int64_t howmany, int stage_count);

}  // namespace lyr
