// Scratch memory of executions. Plans own none, so that one plan may be executed by any number of
// threads at once. A little lies on the stack of the calling thread. More is lent for the time of
// an execution: blocks of one size belong to all plans that need as much, so that plans which are
// executed in turn work in memory that is in the caches already.
#pragma once

#include "planner/plan.h"

namespace lyr {

// Callers' stacks may be small: threads with stacks of 64 KiB exist.
inline constexpr uint64_t stack_scratch_bytes = 16 << 10;

// Makes sure that there is at least one block that the solved plan can be lent. False without
// memory. Every successful call needs one of scratch_release, before the plan is cleared.
bool scratch_reserve(const plan *p);

// With the last plan of its size all blocks go. The plan is not being executed.
void scratch_release(const plan *p);

struct lent_scratch {
    struct scratch_block *block;
    scalar *memory;
};

// A block for an execution of a reserved plan that needs one, away from the places of both arrays
// within a page: a load that follows a store 4096 bytes (or a multiple) before it waits. Every
// thread gets one of its own; where there is no memory for another one, it waits until one comes
// back.
lent_scratch scratch_lend(const plan *p, const scalar *in, const scalar *out);
void scratch_return(const lent_scratch &scratch);

// Blocks that exist. For tests.
int64_t scratch_block_count();

}  // namespace lyr
