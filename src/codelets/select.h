// The choice among the codelet tables, and lookups in the chosen one. Kernels do not include this:
// they are compiled without knowing what a plan is.
#pragma once

#include "codelets/codelet.h"
#include "codelets/real.h"
#include "planner/plan.h"

namespace lyr {

// The table in use, chosen when the library is loaded.
const codelet_table *active_table();

// Tables this processor can run, best first, null-terminated.
const codelet_table *const *supported_tables();

// Makes another supported table the active one for plans made from now on. For tests and
// benchmarks; not exported.
void set_active_table(const codelet_table *table);

// Whether this processor's first-level data cache has 32 KiB at most, or the system does not tell.
// It can be set for tests, for orders of radices and pairs of stages; not exported.
bool first_level_cache_is_small();
void set_small_first_level_cache(bool small);

// Whether so many lanes fill half of a cache line, as those of AVX2 do: many measured choices are
// other ones for such vectors.
constexpr bool is_half_line(int64_t lanes) {
    return 2 * lanes == line_complex;
}

// The codelets of length n for the direction of the plan, or null.
const codelet_set *codelets_for(const plan *p, int64_t n);

// The transform of n numbers with strides 1 in the direction of the plan, or null. (Primes whose
// coefficients the processor's first-level cache cannot hold count as missing.)
executor unit_transform_for(const plan *p, int64_t n);

// Batches of n numbers without gaps, or null.
const dense_batch *dense_batch_for(int64_t n);

// The same batches with the same results, which go past the caches; or null. The output begins with
// a cache line, and the table's finish_far is to follow.
const dense_batch *far_batch_for(int64_t n);

// Between n real numbers and n/2+1 complex ones, strides 1, in the direction of the plan's kind, or
// null.
executor real_unit_transform_for(const plan *p, int64_t n);

// Lookups by length; null for n without a codelet. Any sign but -1 is backward.
stage_codelet codelet_first_stage(const plan *p, int64_t n);
stage_codelet codelet_middle_stage(const plan *p, int64_t n);
stage_codelet codelet_last_stage(const plan *p, int64_t n);

// The stages of a wide radix, or null.
const wide_stages *wide_stages_for(int64_t r);

// The codelets of the active table.
const real_set *active_reals();

// Lookups by length in the active table; null for n without a codelet. The plan's strides do not
// matter.
real_kernel codelet_r2c(const plan *p, int64_t n);
real_kernel codelet_r2c_many(const plan *p, int64_t n);

}  // namespace lyr
