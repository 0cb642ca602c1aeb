#include "verdict.h"

#include "reference.h"
#include "structure.h"

namespace lyr_tools {

verdict verify(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed) {
    verdict v;
    v.bound = l2_bound(p);
    fill_buffers(p, seed, b);
    lyr_fft_execute(plan);
    v.damage = check_buffers(p, b);
    if (reference_is_affordable(p)) {
        v.error = compare_with_reference(p, b);
    } else {
        v.error = check_structure(p, b, plan, seed, v.damage);
        // Both sides of these comparisons carry rounding errors.
        v.bound *= 2;
    }
    v.ok = v.damage.empty() && v.error.l2 <= v.bound;
    return v;
}

}  // namespace lyr_tools
