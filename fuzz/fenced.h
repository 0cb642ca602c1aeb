// Arrays between pages that cannot be touched.
#pragma once

#include <cstdint>

#include "buffers.h"
#include "problem.h"

namespace lyr_fuzz {

// Doubles that fit into one array.
inline constexpr int64_t fenced_room = 1 << 14;

// Where an array lies between its fences.
enum class place { at_start, at_end };

// Moves arrays that have no guards to fenced memory, where they keep their contents. There is room
// for one set of arrays at each place.
void fence(lyr_tools::buffers &b, place where);

// Memory that cannot even be read.
double *forbidden();

}  // namespace lyr_fuzz
