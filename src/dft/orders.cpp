#include "dft/orders.h"

#include <cmath>

#include "dft/factorize.h"

namespace lyr {

namespace {

// Tables and arrays that stay in the first-level cache cost nothing extra.
constexpr int64_t near_table_bytes = 16 << 10;
constexpr int64_t near_numbers = 1024;

// Vectors for `count` numbers: full ones and, for what is left, narrower ones.
float vectors(int64_t count, int64_t lanes) {
    const int64_t rest = count & (lanes - 1);
    return static_cast<float>(count / lanes + (rest & 1) + (rest >> 1));
}

// First-level caches repeat their sets every 4096 bytes. What each of r streams `step` complex
// numbers apart costs when they take more than half of the ways of a cache of 32 KiB, and when they
// take more than a cache of 48 KiB has.
float collision_cost(const float (&cost)[2], int64_t r, int64_t step) {
    constexpr int64_t period = 256;
    const int64_t power_of_two = step & -step;
    const bool whole = power_of_two >= period;
    const int64_t sharing = whole ? r : r * power_of_two / period;
    return (whole || sharing > 4 ? cost[0] : 0) + (sharing > 12 ? cost[1] : 0);
}

float table_cost(const stage_costs &c, int64_t bytes) {
    return bytes > near_table_bytes ? c.table_line * static_cast<float>(bytes >> 6) : 0;
}

// full_L, full_m: vectors(L, lanes), vectors(m, lanes).
float stage_cost(const stage_costs &c, int64_t lanes, int r, int64_t L, int64_t m, float full_L,
                 float full_m) {
    const int64_t radix = modelled_radices[r];
    const float streams = static_cast<float>(radix);
    const float in = streams * collision_cost(c.collision_in, radix, m);
    const float out = streams * collision_cost(c.collision_out, radix, L * m);
    if (L == 1) return full_m * (c.first[r] + in + out);
    const int64_t entries = L * (radix - 1);
    if (m == 1)
        return full_L * (c.last[r] + out) +
               table_cost(c, entries * (has_plain_groups(lanes, radix, L) ? 16 : 32));
    return static_cast<float>(L) *
               (c.row + (streams - 1) * c.row_twiddle + full_m * (c.middle[r] + in + out)) +
           table_cost(c, entries * (has_ready_rows(lanes, radix, L) ? 32 * lanes : 16));
}

float pass_cost(const stage_costs &c, int64_t n) {
    return n > near_numbers ? c.pass_line * static_cast<float>(n / 4) : 0;
}

// A number as the exponents of its primes, a byte each; the highest bits stay clear.
using exponents = uint64_t;
constexpr exponents guards = 0x8080808080808080;

// The divisors of n as a lattice: number i is the product of powers of the primes of n, whose
// exponents are the digits of i in a mixed-radix system.
constexpr int most_primes = 8, most_divisors = 128;
struct lattice {
    int radix_count;
    int radix[modelled_radix_count];  // which ones divide n
    int step[modelled_radix_count];   // from a divisor to its product with the radix
    exponents radix_exponents[modelled_radix_count];
    int divisor_count;
    exponents divisor_exponents[most_divisors];
    int32_t divisor[most_divisors];
};

bool make_lattice(lattice &g, int64_t n) {
    constexpr uint8_t primes[] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37};
    uint8_t prime[most_primes], power[most_primes];
    int step[most_primes], count = 0;
    g.divisor_count = 1;
    g.divisor[0] = 1;
    g.divisor_exponents[0] = 0;
    auto rest = static_cast<uint32_t>(n);
    for (const uint8_t p : primes) {
        if (rest % p != 0) continue;
        if (count == most_primes) return false;
        const int size = g.divisor_count;
        prime[count] = p;
        power[count] = 0;
        step[count] = size;
        for (; rest % p == 0; rest /= p) {
            ++power[count];
            if (g.divisor_count + size > most_divisors) return false;
            for (int i = 0; i < size; ++i) {
                const int from = g.divisor_count - size, to = g.divisor_count;
                g.divisor[to + i] = g.divisor[from + i] * p;
                g.divisor_exponents[to + i] =
                    g.divisor_exponents[from + i] + (exponents{1} << 8 * count);
            }
            g.divisor_count += size;
        }
        ++count;
        if (rest == 1) break;
    }
    if (rest != 1) return false;
    g.radix_count = 0;
    for (int r = 0; r < modelled_radix_count; ++r) {
        uint32_t left = modelled_radices[r];
        int distance = 0;
        exponents e = 0;
        for (int i = 0; i < count; ++i)
            for (int k = 0; k < power[i] && left % prime[i] == 0; ++k) {
                left /= prime[i];
                distance += step[i];
                e += exponents{1} << 8 * i;
            }
        if (left != 1) continue;
        g.radix[g.radix_count] = r;
        g.step[g.radix_count] = distance;
        g.radix_exponents[g.radix_count++] = e;
    }
    return true;
}

}  // namespace

double modelled_cost(const stage_costs &costs, int64_t lanes, int64_t n, int r, int64_t L,
                     int64_t m) {
    return static_cast<double>(pass_cost(costs, n) + stage_cost(costs, lanes, r, L, m,
                                                                vectors(L, lanes),
                                                                vectors(m, lanes)));
}

// The cost of a stage depends on its radix and on L alone: the cheapest way to each divisor L of n,
// from small ones to large ones (dynamic programming: Bellman, 1957).
int cheapest_order(const stage_costs &costs, int64_t lanes, int64_t n, int64_t *factors) {
    lattice g;
    if (n < 4 || n > longest_modelled || !make_lattice(g, n)) return 0;
    const int end = g.divisor_count - 1;
    float cost[most_divisors], full[most_divisors];
    int last[most_divisors];
    for (int i = 0; i <= end; ++i) {
        cost[i] = INFINITY;
        full[i] = vectors(g.divisor[i], lanes);
    }
    cost[0] = 0;
    const float pass = pass_cost(costs, n);
    for (int i = 0; i < end; ++i) {
        // Nothing is as cheap as what ends already.
        if (!(cost[i] < cost[end])) continue;
        const exponents room = (g.divisor_exponents[end] - g.divisor_exponents[i]) | guards;
        for (int k = 0; k < g.radix_count; ++k) {
            if (((room - g.radix_exponents[k]) & guards) != guards) continue;
            const int to = i + g.step[k];
            const float sum = cost[i] + pass +
                              stage_cost(costs, lanes, g.radix[k], g.divisor[i],
                                         g.divisor[end - to], full[i], full[end - to]);
            if (sum < cost[to]) {
                cost[to] = sum;
                last[to] = k;
            }
        }
    }
    int count = 0;
    for (int i = end; i > 0; i -= g.step[last[i]])
        factors[count++] = modelled_radices[g.radix[last[i]]];
    for (int i = 0; i < count / 2; ++i) {
        const int64_t factor = factors[i];
        factors[i] = factors[count - 1 - i];
        factors[count - 1 - i] = factor;
    }
    return count;
}

int order_of_radices(const codelet_table *table, int64_t n, int64_t *factors) {
    if (table->costs)
        if (const int count = cheapest_order(*table->costs, table->lanes, n, factors)) return count;
    return factorize_size(n, factors);
}

}  // namespace lyr
