// What the processor can do.
#pragma once

namespace lyr {

struct cpu_features {
    bool avx2;    // AVX2 and FMA
    bool avx512;  // AVX-512 F, DQ and VL
    bool fcma;    // Advanced SIMD with the Armv8.3-A complex-number instructions
};

// Reads the identification registers, or what the kernel tells about them.
cpu_features read_cpu_features();

}  // namespace lyr
