// Long transforms as two passes over memory (dft/four_step.h).
#include "dft/c2c_1d_large.h"

#include <cmath>

#include "codelets/select.h"
#include "dft/four_step.h"
#include "dft/stages.h"
#include "planner/places.h"
#include "planner/registry.h"

namespace lyr {

namespace {

bool is_power_of_two(int64_t n) {
    return (n & (n - 1)) == 0;
}

struct lengths {
    int64_t powers_of_two, others;
};

// The shortest ones that one thread takes in two passes. Vectors of whole lines lose by stages
// whose streams fall into few cache sets, and others when arrays outgrow the second-level cache.
// Measured.
lengths shortest_large(int64_t n, int64_t lanes, bool in_place) {
    constexpr bool single = sizeof(scalar) == sizeof(float);
    if (lanes == line_complex) return {16384, n % 2048 == 0 ? 6144 : single ? 180000 : 125000};
    if (is_half_line(lanes)) {
        if (single) return {131072, 900000};
        return {65536, in_place || n % 2 != 0 ? 700000 : 450000};
    }
    return {lanes == 1 ? 16384 : 262144, 900000};
}

}  // namespace

bool use_large_method(int64_t n, int64_t nthreads, int64_t lanes, bool in_place) {
    if (n < 1) return false;
    if (nthreads >= 2 && n >= shortest_shared) return true;
    const auto [powers_of_two, others] = shortest_large(n, lanes, in_place);
    return n >= (is_power_of_two(n) ? powers_of_two : others);
}

namespace {

// The best of the divisors of n up to `root` found so far. Those near the root are preferred, but
// those from its half on which suit vectors and lines best of all.
struct split_search {
    int64_t n, root, n1;

    bool is_better(int64_t d) const {
        const auto rank = [this](int64_t x) {
            if (x < root / 2) return -1;
            return 2 * (n / x % line_complex == 0) + (x % line_complex == 0);
        };
        const int a = rank(d), b = rank(n1);
        return a != b ? a > b : d > n1;
    }
};

// Tries d times all products of powers of primes from number `from` on that divide rest.
void try_divisors(split_search &search, int64_t d, int64_t rest, int from) {
    constexpr int64_t primes[] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37};
    if (search.is_better(d)) search.n1 = d;
    for (int q = from; q < 12; ++q)
        if (rest % primes[q] == 0 && d <= search.root / primes[q])
            try_divisors(search, d * primes[q], rest / primes[q], q);
}

}  // namespace

int64_t split_large(int64_t n, int64_t lanes, bool transposed) {
    const bool halves = is_half_line(lanes);
    // In double precision the slabs of 256 are the least efficient, and where the matrix lies
    // transposed, columns of 256 and 512. Measured.
    if (transposed && (n == 65536 || n == 131072)) return 1024;
    if (n == 65536 && lanes > 1) {
        if (!halves) return 128;
        if (line_complex == 4) return 512;
    }
    split_search search = {n, static_cast<int64_t>(sqrt(static_cast<double>(n))), 1};
    try_divisors(search, 1, n, 0);
    // Vectors of half a line do better with long columns than with long rows. Measured.
    if (halves && is_power_of_two(n) && search.n1 < search.root) return 2 * search.n1;
    return search.n1;
}

int solve_problem_c2c_1d_large(plan *p) {
    if (p->split == 1) return -1;
    if (p->howmany_rank != 0 || p->rank != 1 || p->kind != kind_complex) return -1;
    if (!unit_strides(p)) return -1;
    const int64_t n = p->dims[0].n, lanes = active_table()->lanes;
    if (!use_large_method(n, p->nthreads, lanes, is_in_place(p))) return -1;
    if (suits_turned_blocks(p)) return -1;
    const int64_t n1 = split_large(n, lanes, transposes_matrix(p));
    if (n1 <= max_radix) return -1;
    return build_four_step(p, n1, n / n1);
}

}  // namespace lyr
