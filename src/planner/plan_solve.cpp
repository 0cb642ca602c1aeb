#include "planner/plan.h"
#include "planner/registry.h"

namespace lyr {

int32_t plan_solve(plan *p) {
    if (!p) return -1;
    // A batch of one is a single transform, whatever its distances.
    if (p->howmany_rank == 1 && p->howmany_dims[0].n == 1) p->howmany_rank = 0;
    for (const registry_entry &entry : registry) {
        if (entry.solve(p) == 0) {
            p->solver_name = entry.name;
            return 0;
        }
        plan_clear(p);
    }
    return -1;
}

}  // namespace lyr
