// How large the processor's caches are: what planning asks before it chooses between ways through
// memory.
#pragma once

#include <cstdint>

namespace lyr {

struct cache_sizes {
    int64_t second;  // bytes of a processor's second-level cache
    int64_t last;    // bytes of the last-level cache
};

// Where the system does not tell.
inline constexpr cache_sizes usual_caches = {int64_t{1} << 20, int64_t{32} << 20};

// Those of this machine, asked for once: the data caches that the kernel lists for the first
// processor.
cache_sizes caches();

// Other sizes for plans made from now on. For tests and benchmarks; not exported.
void set_caches(cache_sizes sizes);

// Reads the sizes below a directory like /sys/devices/system/cpu/cpu0/cache. What is missing or
// makes no sense there is as in usual_caches.
cache_sizes read_cache_sizes(const char *directory);

// Arrays of so many bytes leave little of the last-level cache to others. A result of that size
// that is not read again soon is better stored past the caches, which saves reading its lines
// before they are written. Measured with 32 MiB: from 8 MiB on that is faster, below slower.
inline int64_t far_output_bytes() {
    constexpr int64_t share = 4;
    return caches().last / share;
}

}  // namespace lyr
