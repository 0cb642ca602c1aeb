// What the tests share: codelet tables, problems as text, plans as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "buffers.h"
#include "codelets/select.h"
#include "planner/cache_sizes.h"
#include "planner/plan.h"
#include "problem.h"
#include "verdict.h"

namespace lyr_test {

using lyr::scalar;

// Half of the distance from 1 to the next number: the relative error of a rounding.
inline constexpr double roundoff = std::numeric_limits<scalar>::epsilon() / 2;

// A NaN that no transform makes, as bits and as a number.
using scalar_bits = std::conditional_t<sizeof(scalar) == 8, uint64_t, uint32_t>;
inline constexpr auto unwritten_bits =
    static_cast<scalar_bits>(sizeof(scalar) == 8 ? 0x7ff8'5eed'0000'0001U : 0x7fc5'eed1U);
inline const scalar unwritten = [] {
    scalar x;
    std::memcpy(&x, &unwritten_bits, sizeof x);
    return x;
}();
inline bool is_unwritten(scalar x) {
    return std::memcmp(&x, &unwritten_bits, sizeof x) == 0;
}

// Powers of two that leave room for products and sums: small, large, and near the end of the range.
inline constexpr double small_scale = sizeof(scalar) == 8 ? 0x1p-900 : 0x1p-60,
                        large_scale = sizeof(scalar) == 8 ? 0x1p900 : 0x1p60,
                        largest_scale = sizeof(scalar) == 8 ? 0x1p1014 : 0x1p118;

// 1 natively; where everything is many times slower (emulators, sanitizers) tests do about one of
// so many cases.
inline constexpr int64_t test_scale = LYRA_TEST_SCALE;

// The tables this processor supports, and emulated ones.
const std::vector<const lyr::codelet_table *> &all_tables();

// Makes a table the active one for the lifetime of the object.
class with_table {
  public:
    explicit with_table(const lyr::codelet_table *table);
    ~with_table();
    with_table(const with_table &) = delete;
    with_table &operator=(const with_table &) = delete;

  private:
    const lyr::codelet_table *before;
};

// Other sizes of caches for plans made during the lifetime of the object.
class with_caches {
  public:
    explicit with_caches(lyr::cache_sizes sizes) : before(lyr::caches()) { lyr::set_caches(sizes); }
    ~with_caches() { lyr::set_caches(before); }
    with_caches(const with_caches &) = delete;
    with_caches &operator=(const with_caches &) = delete;

  private:
    lyr::cache_sizes before;
};

// Plans as on a processor whose first-level cache is small, or is not.
class with_first_level_cache {
  public:
    explicit with_first_level_cache(bool small) : before(lyr::first_level_cache_is_small()) {
        lyr::set_small_first_level_cache(small);
    }
    ~with_first_level_cache() { lyr::set_small_first_level_cache(before); }
    with_first_level_cache(const with_first_level_cache &) = delete;
    with_first_level_cache &operator=(const with_first_level_cache &) = delete;

  private:
    bool before;
};

// Reproducible numbers (splitmix64).
struct random_source {
    uint64_t state;

    uint64_t next();
    int64_t below(int64_t limit) {  // 0 .. limit - 1
        return static_cast<int64_t>(next() % static_cast<uint64_t>(limit));
    }
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53 - 0.5; }
};

// A problem from its notation; a test failure and an empty problem when it is none.
lyr_tools::problem problem_of(const std::string &text);

// Tracked arrays of a problem, filled from the seed.
lyr_tools::buffers buffers_of(const lyr_tools::problem &p, bool misaligned = false);

// Destroys the plan at the end of its scope.
struct plan_holder {
    lyr_fft_plan plan;

    explicit plan_holder(lyr_fft_plan p) : plan(p) {}
    ~plan_holder() { lyr_fft_destroy_plan(plan); }
    plan_holder(const plan_holder &) = delete;
    plan_holder &operator=(const plan_holder &) = delete;
};

// The plan tree as plan_describe prints it, two blanks before a line for each level.
std::string plan_text(const lyr_fft_plan_s *plan);

// True when the outputs of two arrays of the same problem have the same bits.
bool same_outputs(const lyr_tools::problem &p, const lyr_tools::buffers &a,
                  const lyr_tools::buffers &b);

inline lyr_fft_complex *complexes(scalar *p) {
    return reinterpret_cast<lyr_fft_complex *>(p);
}

}  // namespace lyr_test
