// What the solvers of split problems share.
#pragma once

#include "planner/plan.h"

namespace lyr {

// True when real or imaginary parts have an array of their own.
inline bool has_split_arrays(const plan *p) {
    return p->in_imag || p->out_imag;
}

// The executor for plain calls of a split plan: the imaginary arrays are those given at planning.
void execute_forwarded(const plan *p, scalar *in, scalar *out, scalar *scratch);

}  // namespace lyr
