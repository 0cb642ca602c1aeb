// Orders of radices by a cost model (docs/algorithms.md, "Orders of radices").
#pragma once

#include <cstdint>

#include "codelets/codelet.h"
#include "codelets/stage_costs.h"

namespace lyr {

// Longer transforms are made of the radices that factorize_size finds.
inline constexpr int64_t longest_modelled = 131072;

// What one stage of a transform of length n costs by the model, in about nanoseconds: modelled
// radix number r, L and m as in the stage's descriptor. Linear in the costs, which bench/orders
// relies on.
template <int Radices>
double modelled_cost(const costs_of_radices<Radices> &costs, int64_t lanes, int64_t n, int r,
                     int64_t L, int64_t m);

// The cheapest order of radices of n, in stage order. Returns their number; 0 when n is none of the
// model's lengths: 4 to longest_modelled, prime factors up to 37, at most 128 divisors.
template <int Radices>
int cheapest_order(const costs_of_radices<Radices> &costs, int64_t lanes, int64_t n,
                   int64_t *factors);

// The costs for a target on this machine, whose first-level cache decides between two sets; null
// where the target has none.
const stage_costs *costs_of(const codelet_table *table);

// The radices for the stages of one transform of length n on a target, as factorize_size returns
// them: by the model where the target has costs. Transforms side by side take those of
// factorize_size always, since their rows fill vectors whatever the radices.
int order_of_radices(const codelet_table *table, int64_t n, int64_t *factors);

// The same for transforms of strides 1 whose stages nothing but their executor runs: with wide
// radices (wide_stages) where the target has them.
int order_with_wide_radices(const codelet_table *table, int64_t n, int64_t *factors);

}  // namespace lyr
