// Plans of the library, kept for the next call.
//
// A cache belongs to whoever holds the interpreter lock: functions that take one are called with
// it. Planning releases it meanwhile.
#ifndef LYRA_PYTHON_PLANS_H
#define LYRA_PYTHON_PLANS_H

#include <cstddef>
#include <cstdint>

namespace lyra_python {

enum class operation : int32_t { c2c, r2c, c2r, r2r };

// Lengths and strides count elements: real numbers of real arrays, complex ones of complex arrays.
struct dimension {
    int64_t n, is, os;
};

// What one plan of the library does.
struct problem {
    operation what;
    bool single;  // float instead of double
    bool in_place;
    int32_t sign;  // of complex transforms
    int32_t workers;
    int32_t rank;        // 1 to 3
    int32_t batch_rank;  // 0 to 3
    dimension dims[3];
    dimension batch[3];
    int32_t kinds[3];  // of real-to-real transforms
};

struct kept_plan;

struct plan_cache {
    static constexpr size_t bucket_count = 256;
    kept_plan *buckets[bucket_count];
    kept_plan *newest, *oldest;
    size_t count, bytes, limit;
    uint64_t hits, misses;
};

// A plan for the problem, and a reference to it. in and out are where it will be executed first;
// nothing is read or written there. Null without an exception set: no memory, or no plan.
kept_plan *acquire_plan(plan_cache &cache, const problem &p, void *in, void *out);
void release_plan(kept_plan *plan);

// May be called without the interpreter lock, by any number of threads.
void execute_plan(const kept_plan *plan, void *in, void *out);

// Remove the least recently used plans until no more than `limit` bytes are left. Plans that are
// executed at the moment live until they are released.
void trim_cache(plan_cache &cache, size_t limit);

}  // namespace lyra_python

#endif
