#include <cerrno>

#include "planner/plan.h"
#include "planner/registry.h"

namespace lyr {

void plan_sum_scratch(plan *p) {
    uint64_t below = 0;
    for (int32_t i = 0; i < p->nchildren; ++i)
        if (p->children[i].scratch_bytes > below) below = p->children[i].scratch_bytes;
    const int64_t shares = p->shares > 1 ? p->shares : 1;
    if (below) below = thread_scratch(below, shares);
    p->scratch_bytes = (p->work_bytes + 63) / 64 * 64 + static_cast<uint64_t>(shares) * below;
}

int32_t plan_solve(plan *p) {
    if (!p) return -1;
    // A batch of one is a single transform, whatever its distances.
    if (p->howmany_rank == 1 && p->howmany_dims[0].n == 1) p->howmany_rank = 0;
    for (const registry_entry &entry : registry) {
        if (entry.solve(p) == 0) {
            p->solver_name = entry.name;
            plan_sum_scratch(p);
            return 0;
        }
        plan_clear(p);
        // The other ways would take their time to run into the same.
        if (errno == ENOMEM) return -1;
    }
    return -1;
}

}  // namespace lyr
