// The names that differ between the precisions: one set of sources serves both interfaces.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef LYRA_COMPAT_FLOAT
    #include "lyr_fftf.h"
    #define LYRA(name) lyr_fftf_##name
    #define FFTW(name) fftwf_##name
    #define FFTW_FORTRAN(name) sfftw_##name
    #define FFTW_FORTRAN_PREFIX "sfftw_"
    #define FFTW_TEXT "fftwf"
#else
    #include "lyr_fft.h"
    #define LYRA(name) lyr_fft_##name
    #define FFTW(name) fftw_##name
    #define FFTW_FORTRAN(name) dfftw_##name
    #define FFTW_FORTRAN_PREFIX "dfftw_"
    #define FFTW_TEXT "fftw"
#endif

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace compat {

#ifdef LYRA_COMPAT_FLOAT
using real = float;
#else
using real = double;
#endif
using complex = real[2];
using plan_handle = LYRA(plan);
using lyra_complex = LYRA(complex);

// Dimension records of the interface, 32 and 64 bits wide.
struct iodim {
    int n, is, os;
};
struct iodim64 {
    ptrdiff_t n, is, os;
};

// Flags of the interface that mean something here.
enum : unsigned {
    flag_exhaustive = 1U << 3,
    flag_patient = 1U << 5,
    flag_estimate = 1U << 6,
    flag_wisdom_only = 1U << 21,
};

}  // namespace compat
