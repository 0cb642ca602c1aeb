#include "codelets/cpu.h"

#if defined(__x86_64__)
    #include <cpuid.h>
#elif defined(__aarch64__)
    #include <sys/auxv.h>

    #include <cstdint>
#endif

namespace lyr {

#if defined(__x86_64__)

cpu_features read_cpu_features() {
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return {};
    const bool fma = c & bit_FMA;
    const bool os_saves_registers = c & bit_OSXSAVE;
    if (!fma || !os_saves_registers || !__get_cpuid_count(7, 0, &a, &b, &c, &d)) return {};
    unsigned enabled, high;
    __asm__("xgetbv" : "=a"(enabled), "=d"(high) : "c"(0));
    constexpr unsigned ymm_state = 0x06, zmm_state = 0xe6;
    constexpr unsigned avx512_bits = bit_AVX512F | bit_AVX512DQ | bit_AVX512VL;
    const bool avx2 = (b & bit_AVX2) && (enabled & ymm_state) == ymm_state;
    const bool avx512 = (b & avx512_bits) == avx512_bits && (enabled & zmm_state) == zmm_state;
    return {avx2, avx2 && avx512, false};
}

#elif defined(__aarch64__)

// Linux bits of the auxiliary vector, spelled out for headers that predate them.
static constexpr unsigned long has_asimd = 1ul << 1;
static constexpr unsigned long has_register_reads = 1ul << 11;
static constexpr unsigned long has_fcma = 1ul << 14;

cpu_features read_cpu_features() {
    const unsigned long words = getauxval(AT_HWCAP);
    if (!(words & has_register_reads))
        return {false, false, (words & has_asimd) && (words & has_fcma)};
    // The kernel emulates these reads for programs. Advanced SIMD is absent when its field is 15.
    uint64_t pfr0, isar1;
    __asm__("mrs %0, ID_AA64PFR0_EL1" : "=r"(pfr0));
    __asm__("mrs %0, ID_AA64ISAR1_EL1" : "=r"(isar1));
    const bool asimd = ((pfr0 >> 20) & 0xf) != 0xf;
    const bool fcma = ((isar1 >> 16) & 0xf) != 0;
    return {false, false, asimd && fcma};
}

#else

cpu_features read_cpu_features() {
    return {};
}

#endif

}  // namespace lyr
