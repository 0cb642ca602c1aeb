// The library in two precisions under one name: library<double> and library<float>.
#ifndef LYRA_PYTHON_LIBRARY_H
#define LYRA_PYTHON_LIBRARY_H

#include <lyr_fft.h>
#ifdef LYRA_PYTHON_SINGLE
    #include <lyr_fftf.h>
#endif

namespace lyra_python {

#ifdef LYRA_PYTHON_SINGLE
inline constexpr bool has_single = true;
#else
inline constexpr bool has_single = false;
#endif

template <typename real>
struct library;

#define LYRA_PYTHON_PRECISION(real, prefix)                              \
    template <>                                                          \
    struct library<real> {                                               \
        using complex = prefix##_complex;                                \
        using plan = prefix##_plan;                                      \
        static constexpr auto plan_c2c = prefix##_plan_guru64_dft;       \
        static constexpr auto plan_r2c = prefix##_plan_guru64_dft_r2c;   \
        static constexpr auto plan_c2r = prefix##_plan_guru64_dft_c2r;   \
        static constexpr auto plan_r2r = prefix##_plan_guru64_r2r;       \
        static constexpr auto execute_c2c = prefix##_execute_dft;        \
        static constexpr auto execute_r2c = prefix##_execute_dft_r2c;    \
        static constexpr auto execute_c2r = prefix##_execute_dft_c2r;    \
        static constexpr auto execute_r2r = prefix##_execute_r2r;        \
        static constexpr auto destroy = prefix##_destroy_plan;           \
        static constexpr auto set_threads = prefix##_plan_with_nthreads; \
    };

LYRA_PYTHON_PRECISION(double, lyr_fft)
#ifdef LYRA_PYTHON_SINGLE
LYRA_PYTHON_PRECISION(float, lyr_fftf)
#endif
#undef LYRA_PYTHON_PRECISION

}  // namespace lyra_python

#endif
