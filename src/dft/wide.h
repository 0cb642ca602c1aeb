// Discrete Fourier transforms in more than the library's precision, for tables that are made once.
// Where the processor has no such numbers there are none.
#pragma once

#include <cfloat>
#include <cstdint>

#include "precision.h"

namespace lyr {

#ifdef LYRA_SINGLE
using wide_number = double;
#else
using wide_number = long double;
#endif
inline constexpr bool has_wide_numbers = sizeof(scalar) < sizeof(double) || LDBL_MANT_DIG == 64;

// What element M - j of a spectrum of M elements is: element j itself, or its conjugate, negative
// for odd j.
enum class reflection { same, alternating_conjugate };

// The spectrum of x[k] = W(exponents[k], N) / divisor, an exponent below 0 standing for a zero, as
// out[j] = sum of x[k] * W(-jk, M), j, k < M, rounded once. It has the reflection named: half of
// it is computed. M is a product of primes up to 37, N below 2^31. False, with nothing written,
// when memory runs out.
bool wide_spectrum_of_roots(scalar *out, const int64_t *exponents, int64_t N, int64_t M,
                            double divisor, reflection kind);

}  // namespace lyr
