// Chooses the codelet table for this processor, once, when the library is loaded, and looks
// codelets up in it.
#include "codelets/select.h"

#include <unistd.h>

#include <cstdlib>

#include "codelets/cpu.h"
#include "codelets/split_stages.h"

namespace lyr {

#if defined(__aarch64__)
namespace neon {
extern const codelet_table table;
}
namespace neon_fcma {
extern const codelet_table table;
}
#else
namespace generic128 {
extern const codelet_table table;
}
#endif
#if defined(__x86_64__)
namespace avx2 {
extern const codelet_table table;
extern const dense_batch *const far_batches;
extern const split_stages *const split_lists;
}  // namespace avx2
namespace avx512 {
extern const codelet_table table;
extern const dense_batch *const far_batches;
}  // namespace avx512
#endif

namespace {

constexpr int max_tables = 3;
const codelet_table *supported[max_tables + 1];
const codelet_table *active;
int64_t longest_prime, longest_real_prime;  // among the unit transforms that are used
bool small_cache;                           // first_level_cache_is_small

[[maybe_unused]] void refuse_processor() {
    static const char text[] = "FFT: The software is running into an error, please check CPU ID.\n";
    if (write(STDERR_FILENO, text, sizeof text - 1) < 0) abort();
    abort();
}

// Runs before other constructors, so that code that transforms while it is being loaded works.
__attribute__((constructor(101))) void select_table() {
    [[maybe_unused]] const cpu_features cpu = read_cpu_features();
    const codelet_table **next = supported;
#if defined(__aarch64__)
    if (cpu.fcma) *next++ = &neon_fcma::table;
    #ifndef LYRA_PORTABLE_FALLBACK
    else
        refuse_processor();
    #endif
    *next++ = &neon::table;
#else
    #if defined(__x86_64__)
    if (cpu.avx512) *next++ = &avx512::table;
    if (cpu.avx2) *next++ = &avx2::table;
    #endif
    *next++ = &generic128::table;
#endif
    active = supported[0];
    small_cache = sysconf(_SC_LEVEL1_DCACHE_SIZE) <= 32 << 10;
    longest_prime = small_cache ? longest_prime_in_32k : INT64_MAX;
    longest_real_prime = small_cache ? longest_real_prime_in_32k : INT64_MAX;
}

const codelet_set *lookup(const plan *p, int64_t n) {
    if (static_cast<uint64_t>(n) - 1 >= max_radix) return nullptr;
    return active->sets[p->sign != -1][n - 1];
}

}  // namespace

const codelet_table *active_table() {
    return active;
}
const codelet_table *const *supported_tables() {
    return supported;
}
void set_active_table(const codelet_table *table) {
    active = table;
}

bool first_level_cache_is_small() {
    return small_cache;
}
void set_small_first_level_cache(bool small) {
    small_cache = small;
}

const codelet_set *codelets_for(const plan *p, int64_t n) {
    return lookup(p, n);
}

executor unit_transform_for(const plan *p, int64_t n) {
    for (int list = 0; list < unit_lists; ++list) {
        if (list == list_of_primes && n > longest_prime) continue;
        for (const unit_transform *unit = *active->units[list]; unit->n != 0; ++unit)
            if (unit->n == n) return unit->run[p->sign != -1];
    }
    return nullptr;
}

const dense_batch *dense_batch_for(int64_t n) {
    for (const dense_batch *batch = *active->dense_batches; batch->n != 0; ++batch)
        if (batch->n == n) return batch;
    return nullptr;
}

const dense_batch *far_batch_for([[maybe_unused]] int64_t n) {
#if defined(__x86_64__)
    const dense_batch *batch = active == &avx512::table ? avx512::far_batches
                               : active == &avx2::table ? avx2::far_batches
                                                        : nullptr;
    for (; batch && batch->n != 0; ++batch)
        if (batch->n == n) return batch;
#endif
    return nullptr;
}

const split_stages *split_stages_for([[maybe_unused]] int64_t n) {
#if defined(__x86_64__)
    if (active != &avx2::table) return nullptr;
    for (const split_stages *list = avx2::split_lists; list->n != 0; ++list)
        if (list->n == n) return list;
#endif
    return nullptr;
}

executor real_unit_transform_for(const plan *p, int64_t n) {
    if (n > longest_real_prime) return nullptr;
    for (const unit_transform *unit = *active->real_units; unit->n != 0; ++unit)
        if (unit->n == n) return unit->run[p->kind == kind_c2r];
    return nullptr;
}

stage_codelet codelet_first_stage(const plan *p, int64_t n) {
    const codelet_set *set = lookup(p, n);
    if (!set) return nullptr;
    return unit_strides(p) ? set->first_unit : set->first_general;
}

stage_codelet codelet_middle_stage(const plan *p, int64_t n) {
    const codelet_set *set = lookup(p, n);
    return set ? set->middle : nullptr;
}

stage_codelet codelet_last_stage(const plan *p, int64_t n) {
    const codelet_set *set = lookup(p, n);
    if (!set) return nullptr;
    return unit_strides(p) ? set->last_unit : set->last_general;
}

const wide_stages *wide_stages_for(int64_t r) {
    for (int i = 0; active->wide && i < wide_radix_count; ++i)
        if (active->wide[i]->r == r) return active->wide[i];
    return nullptr;
}

const real_set *active_reals() {
    return active->reals;
}

real_kernel codelet_r2c(const plan *, int64_t n) {
    return static_cast<uint64_t>(n) - 1 < longest_real ? active->reals->r2c[n - 1] : nullptr;
}

real_kernel codelet_r2c_many(const plan *, int64_t n) {
    return static_cast<uint64_t>(n) - 1 < longest_real ? active->reals->r2c_many[n - 1] : nullptr;
}

}  // namespace lyr
