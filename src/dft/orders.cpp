#include "dft/orders.h"

#include <bit>
#include <cmath>

#include "codelets/select.h"
#include "dft/factorize.h"
#include "precision.h"

namespace lyr {

namespace {

// Tables and arrays that stay in the first-level cache cost nothing extra; arrays that leave the
// second-level cache cost more.
constexpr int64_t near_table_bytes = 16 << 10;
constexpr int64_t near_numbers[2] = {(16 << 10) / complex_bytes, (256 << 10) / complex_bytes};

// Vectors for `count` numbers: full ones and, for what is left, narrower ones. Four lanes of half a
// line take three numbers at once (takes_three), which costs more than a full vector. Measured.
float vectors(int32_t count, int32_t lanes) {
    const auto rest = static_cast<uint32_t>(count & (lanes - 1));
    const int shift = std::countr_zero(static_cast<uint32_t>(lanes));
    const auto full = static_cast<float>(count >> shift);
    if (rest == 3 && lanes == 4 && is_half_line(lanes)) return full + 1.5F;
    return full + static_cast<float>(std::popcount(rest));
}

// What each of r streams `step` complex numbers apart costs when they take more than half of the
// ways of the assumed first-level cache, and when they take more than all ways that there are. Of
// the step only its largest power of two matters.
float collision_cost(const float (&cost)[2], float ways, int32_t r, int32_t power_of_two) {
    constexpr int32_t period = assumed_near_cache.way() / complex_bytes,
                      half_of_the_ways = assumed_near_cache.ways / 2;
    const auto all_ways = static_cast<int32_t>(ways);
    const int32_t sharing = r * (power_of_two < period ? power_of_two : period);
    if (power_of_two < period && sharing <= half_of_the_ways * period) return 0;
    return cost[0] + (sharing > all_ways * period ? cost[1] : 0);
}

template <class Costs>
float table_cost(const Costs &c, int64_t bytes) {
    return bytes > near_table_bytes ? c.table_line * static_cast<float>(bytes >> 6) : 0;
}

// Vectors of eight lanes take what is left of a row of butterflies at once (load_part), but not
// what is left of the rows of a last stage.
float column_vectors(int32_t count, int32_t lanes) {
    constexpr int32_t with_parts = 8;
    if (lanes != with_parts) return vectors(count, lanes);
    const int32_t started = (count + lanes - 1) / lanes;
    return static_cast<float>(started);
}

// A divisor of the length, and what the model asks about it.
struct extent {
    int32_t count, power_of_two;
    float vectors, column_vectors;
};
extent extent_of(int32_t count, int32_t lanes) {
    return {count, count & -count, vectors(count, lanes), column_vectors(count, lanes)};
}

template <class Costs>
float stage_cost(const Costs &c, int32_t lanes, int r, const extent &L, const extent &m) {
    const int32_t radix = modelled_radices[r];
    const float streams = static_cast<float>(radix);
    const float in = collision_cost(c.collision_in, c.ways, radix, m.power_of_two);
    const float out =
        collision_cost(c.collision_out, c.ways, radix, L.power_of_two * m.power_of_two);
    if (L.count == 1) return m.column_vectors * (c.first[r] + streams * (in + out));
    const int64_t entries = int64_t{L.count} * (radix - 1);
    if (m.count == 1)
        return L.vectors * (c.last[r] + streams * out) +
               table_cost(c,
                          entries * (has_plain_groups(lanes, radix, L.count) ? complex_bytes
                                                                             : 2 * complex_bytes));
    return static_cast<float>(L.count) *
               (c.row + m.column_vectors * (c.middle[r] + streams * (in + out))) +
           table_cost(c,
                      entries * (has_ready_rows(lanes, radix, L.count) ? 2 * complex_bytes * lanes
                                                                       : complex_bytes));
}

template <class Costs>
float pass_cost(const Costs &c, int64_t n) {
    float line = 0;
    for (int level = 0; level < 2; ++level)
        if (n > near_numbers[level]) line += c.pass_line[level];
    const int64_t lines = n / line_complex;
    return line * static_cast<float>(lines);
}

// A number as the exponents of its primes, a byte each; the highest bits stay clear.
using exponents = uint64_t;
constexpr exponents guards = 0x8080808080808080;

constexpr int prime_count = 12;
constexpr uint8_t primes[prime_count] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37};

struct radix_powers {
    uint8_t of[all_radix_count][prime_count];
};
constexpr radix_powers powers = [] {
    radix_powers table = {};
    for (int r = 0; r < all_radix_count; ++r)
        for (int i = 0, left = modelled_radices[r]; i < prime_count; ++i)
            for (; left % primes[i] == 0; left /= primes[i]) ++table.of[r][i];
    return table;
}();

// The divisors of n as a lattice: number i is the product of powers of the primes of n, whose
// exponents are the digits of i in a mixed-radix system.
constexpr int most_primes = 8, most_divisors = 128;
struct lattice {
    int radix_count;
    int radix[all_radix_count];  // which ones divide n
    int step[all_radix_count];   // from a divisor to its product with the radix
    exponents radix_exponents[all_radix_count];
    int divisor_count;
    int32_t divisor[most_divisors];
    exponents divisor_exponents[most_divisors];
};

bool make_lattice(lattice &g, int32_t n, int radices) {
    int prime[most_primes], power[most_primes], step[most_primes], count = 0;
    g.divisor_count = 1;
    g.divisor[0] = 1;
    g.divisor_exponents[0] = 0;
    auto rest = static_cast<uint32_t>(n);
    for (int q = 0; q < prime_count && rest > 1; ++q) {
        if (rest % primes[q] != 0) continue;
        if (count == most_primes) return false;
        const int size = g.divisor_count;
        int k = 0;
        for (; rest % primes[q] == 0; rest /= primes[q], ++k) {
            const int to = g.divisor_count;
            if (to + size > most_divisors) return false;
            for (int i = to; i < to + size; ++i) {
                g.divisor[i] = g.divisor[i - size] * primes[q];
                g.divisor_exponents[i] =
                    g.divisor_exponents[i - size] + (exponents{1} << 8 * count);
            }
            g.divisor_count += size;
        }
        prime[count] = q;
        power[count] = k;
        step[count++] = size;
    }
    if (rest != 1) return false;
    g.radix_count = 0;
    for (int r = 0; r < radices; ++r) {
        int distance = 0;
        exponents e = 0;
        bool fits = true;
        for (int i = 0; i < count; ++i) {
            const int k = powers.of[r][prime[i]];
            fits &= k <= power[i];
            distance += k * step[i];
            e += static_cast<exponents>(k) << 8 * i;
        }
        // A radix with other primes as well finds a smaller number.
        if (!fits || g.divisor[distance] != modelled_radices[r]) continue;
        g.radix[g.radix_count] = r;
        g.step[g.radix_count] = distance;
        g.radix_exponents[g.radix_count++] = e;
    }
    return true;
}

}  // namespace

template <int Radices>
double modelled_cost(const costs_of_radices<Radices> &costs, int64_t lanes, int64_t n, int r,
                     int64_t L, int64_t m) {
    const auto W = static_cast<int32_t>(lanes);
    return static_cast<double>(pass_cost(costs, n) +
                               stage_cost(costs, W, r, extent_of(static_cast<int32_t>(L), W),
                                          extent_of(static_cast<int32_t>(m), W)));
}

// The cost of a stage depends on its radix and on L alone: the cheapest way to each divisor L of n,
// from small ones to large ones (dynamic programming: Bellman, 1957).
template <int Radices>
int cheapest_order(const costs_of_radices<Radices> &costs, int64_t lanes, int64_t n,
                   int64_t *factors) {
    lattice g;
    if (n < 4 || n > longest_modelled || !make_lattice(g, static_cast<int32_t>(n), Radices))
        return 0;
    const auto W = static_cast<int32_t>(lanes);
    const int end = g.divisor_count - 1;
    float cost[most_divisors];
    extent divisor[most_divisors];
    int last[most_divisors];
    for (int i = 0; i <= end; ++i) {
        cost[i] = INFINITY;
        last[i] = 0;
        divisor[i] = extent_of(g.divisor[i], W);
    }
    const float pass = pass_cost(costs, n);
    cost[0] = 0;
    for (int i = 0; i < end; ++i) {
        if (!(cost[i] + pass < cost[end])) continue;  // out of reach, or dearer than a whole order
        const exponents room = (g.divisor_exponents[end] - g.divisor_exponents[i]) | guards;
        for (int k = 0; k < g.radix_count; ++k) {
            if (((room - g.radix_exponents[k]) & guards) != guards) continue;
            const int to = i + g.step[k];
            const float sum =
                cost[i] + pass + stage_cost(costs, W, g.radix[k], divisor[i], divisor[end - to]);
            const bool cheaper = sum < cost[to];
            cost[to] = cheaper ? sum : cost[to];
            last[to] = cheaper ? k : last[to];
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

template double modelled_cost(const stage_costs &, int64_t, int64_t, int, int64_t, int64_t);
template double modelled_cost(const wide_costs &, int64_t, int64_t, int, int64_t, int64_t);
template int cheapest_order(const stage_costs &, int64_t, int64_t, int64_t *);
template int cheapest_order(const wide_costs &, int64_t, int64_t, int64_t *);

const stage_costs *costs_of(const codelet_table *table) {
    constexpr bool single = sizeof(scalar) == sizeof(float);
    return is_half_line(table->lanes) && !single && first_level_cache_is_small()
               ? &near_costs_of_2_lanes
               : table->costs;
}

// Orders for vectors of a quarter of a line, which have no costs: a last radix of 16 has fewer
// rows, and rows of the stage before it are longer. Measured with 128-bit vectors on x86, counted
// on AArch64.
constexpr int quarter_line_radices = 3;
constexpr struct {
    int64_t n, radices[quarter_line_radices];
} quarter_line_orders[] = {{512, {8, 4, 16}}, {1024, {8, 8, 16}}, {2048, {16, 8, 16}}};

int order_of_quarter_lines(int64_t n, int64_t *factors) {
    for (const auto &order : quarter_line_orders) {
        if (order.n != n) continue;
        for (int i = 0; i < quarter_line_radices; ++i) factors[i] = order.radices[i];
        return quarter_line_radices;
    }
    return 0;
}

int order_of_radices(const codelet_table *table, int64_t n, int64_t *factors) {
    if (const stage_costs *costs = costs_of(table))
        if (const int count = cheapest_order(*costs, table->lanes, n, factors)) return count;
    if (table->lanes > 1 && 4 * table->lanes == line_complex)
        if (const int count = order_of_quarter_lines(n, factors)) return count;
    return factorize_size(n, factors);
}

int order_with_wide_radices(const codelet_table *table, int64_t n, int64_t *factors) {
    if (const wide_costs *costs = table->costs_with_wide)
        if (const int count = cheapest_order(*costs, table->lanes, n, factors)) return count;
    return order_of_radices(table, n, factors);
}

}  // namespace lyr
