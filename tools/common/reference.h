// What the outputs of a problem should be.
//
// The reference sums the definitions of the header in wide arithmetic. Angles are reduced as exact
// integer fractions of a turn. Short transforms are summed term by term, long ones by a plain
// mixed-radix or chirp algorithm that shares no code with the library.
#pragma once

#include "accuracy.h"
#include "buffers.h"
#include "problem.h"

namespace lyr_tools {

// True when the reference takes about a second at most for one transform.
bool reference_is_affordable(const problem &p);

// Compare the outputs with the reference of the saved inputs. Of batches too large to compare all
// in about a second, evenly spaced transforms with the first and the last are compared.
accuracy compare_with_reference(const problem &p, const buffers &b);

}  // namespace lyr_tools
