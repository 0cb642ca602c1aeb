// The type of the numbers that are transformed. The same sources make two libraries: one for double
// precision, one (LYRA_SINGLE) for single precision, whose namespace, plan record and public
// functions have names of their own (cmake/precision.cmake). Roots of unity, filters and whatever
// else a plan is made of are computed in double precision or better and rounded once.
#pragma once

#include <cstdint>

namespace lyr {

#ifdef LYRA_SINGLE
using scalar = float;
#else
using scalar = double;
#endif

inline constexpr int64_t scalar_bytes = sizeof(scalar), complex_bytes = 2 * scalar_bytes;
inline constexpr int64_t line_complex = 64 / complex_bytes;  // numbers of a cache line

}  // namespace lyr
