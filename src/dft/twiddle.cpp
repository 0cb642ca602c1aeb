#include "dft/twiddle.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "api/memory.h"

namespace lyr {

namespace {

constexpr double two_pi = 6.283185307179586476925286766559;

// An angle of u/N turns as q/(4N) turns in the first octant and the way back: which of the root's
// parts is the cosine, and their signs. Computed without branches: the quadrants of a table's
// angles come in no order that a processor could predict.
struct reduced_angle {
    int64_t q;         // 0 <= q <= N/2
    int64_t exchange;  // 1: cosine and sine change places
    uint64_t cosine_sign, sine_sign;
};

inline reduced_angle reduce(int64_t u, int64_t N) {
    int64_t q = 4 * u;
    const bool lower_half = q > 4 * N - q;
    q = lower_half ? 4 * N - q : q;
    const bool quarter_turn = q > N;
    q -= quarter_turn ? N : 0;
    const bool beyond_octant = q > N - q;
    q = beyond_octant ? N - q : q;
    return {q, beyond_octant != quarter_turn, uint64_t{quarter_turn} << 63,
            uint64_t{lower_half} << 63};
}

inline void octant_root(int64_t q, int64_t N, double *out) {
    const double x = two_pi * static_cast<double>(q) / static_cast<double>(4 * N);
    sincos(x, out + 1, out);
}

inline double with_sign(double value, uint64_t sign) {
    return std::bit_cast<double>(std::bit_cast<uint64_t>(value) ^ sign);
}

template <class number>
inline void restore(const reduced_angle &angle, const double *root, number *out) {
    out[0] = static_cast<number>(with_sign(root[angle.exchange], angle.cosine_sign));
    out[1] = static_cast<number>(with_sign(root[1 - angle.exchange], angle.sine_sign));
}

template <class number>
inline void read_root(const root_source *source, int64_t u, number *out) {
    const reduced_angle angle = reduce(u, source->N);
    if (source->octant) {
        restore(angle, source->octant + 2 * (angle.q >> source->step_log2), out);
    } else {
        double root[2] = {};
        octant_root(angle.q, source->N, root);
        restore(angle, root, out);
    }
}

using pair __attribute__((vector_size(complex_bytes), aligned(scalar_bytes))) = scalar;
using number_bits = std::conditional_t<sizeof(scalar) == sizeof(double), uint64_t, uint32_t>;
using pair_bits __attribute__((vector_size(complex_bytes), aligned(scalar_bytes))) = number_bits;

// Reflects an octant of roots, W(u, N) for u = 0..N/8, into the three behind it. N is a multiple of
// 8.
void reflect_octant(const double *octant, int64_t N, scalar *half_turn) {
    pair *const begin = reinterpret_cast<pair *>(half_turn);
    pair *const quarter = begin + N / 4, *const half = quarter + N / 4;
    for (int64_t u = 1; u < N / 8; ++u) {
        const auto c = static_cast<scalar>(octant[2 * u]);
        const auto s = static_cast<scalar>(octant[2 * u + 1]);
        begin[u] = pair{c, s};
        quarter[-u] = pair{s, c};
        quarter[u] = pair{-s, c};
        half[-u] = pair{-c, s};
    }
}

// W(u, N), 0 <= u < N, from those of the first half turn.
inline void read_half_turn(const scalar *half_turn, int64_t N, int64_t u, scalar *out) {
    const bool beyond = u >= N / 2;
    const number_bits sign = number_bits{beyond} << (8 * scalar_bytes - 1);
    const pair root = reinterpret_cast<const pair *>(half_turn)[beyond ? u - N / 2 : u];
    const pair_bits turned = reinterpret_cast<pair_bits>(root) ^ pair_bits { sign, sign };
    *reinterpret_cast<pair *>(out) = reinterpret_cast<pair>(turned) + pair{};  // no negative zeros
}

}  // namespace

void root_source_init(root_source *source, int64_t N, int64_t entries, scalar *room) {
    const int step_log2 = N % 4 == 0 ? 2 : N % 2 == 0 ? 1 : 0;
    const int64_t distinct = (N / 2 >> step_log2) + 1;
    source->N = N;
    source->step_log2 = step_log2;
    source->octant = nullptr;
    source->half_turn = nullptr;
    if (distinct > entries) return;
    const int64_t local_entries = sizeof source->local / (2 * sizeof(double));
    source->octant =
        distinct <= local_entries
            ? source->local
            : static_cast<double *>(planning_malloc(static_cast<size_t>(distinct) * 16));
    if (!source->octant) return;
    int64_t i = 0;  // at least one root is distinct
    do octant_root(i << step_log2, N, source->octant + 2 * i);
    while (++i < distinct);

    if (!room || N % 8 != 0 || entries < N / 2) return;
    reflect_octant(source->octant, N, room);
    for (int64_t eighth = 0; eighth < 4; ++eighth)
        read_root(source, eighth * (N / 8), room + eighth * (N / 4));
    source->half_turn = room;
}

void root_source_release(root_source *source) {
    if (source->octant != source->local) free(source->octant);
}

void root_of(const root_source *source, int64_t t, int64_t sign, double *out) {
    const int64_t N = source->N, u = t < N ? t : t % N;
    read_root(source, sign < 0 && u ? N - u : u, out);
}

void fill_roots(scalar *out, int64_t out_step, const root_source *source, int64_t start,
                int64_t step, int64_t count, int64_t sign) {
    const int64_t N = source->N;
    if (step >= N) step %= N;  // divisions are slow
    int64_t u = start < N ? start : start % N;
    if (sign < 0) {
        step = step ? N - step : 0;
        u = u ? N - u : 0;
    }
    const int64_t back = step - N;
    for (int64_t k = 0; k < count; ++k, out += 2 * out_step) {
        if (source->half_turn)
            read_half_turn(source->half_turn, N, u, out);
        else
            read_root(source, u, out);
        u += u + back < 0 ? step : back;
    }
}

void fill_twiddle_row(scalar *row, const root_source *source, int64_t r, int64_t step,
                      int64_t sign) {
    fill_roots(row, 1, source, step, step, r - 1, sign);
}

void fill_stage_twiddles(scalar *table, const root_source *source, int64_t r, int64_t L, int64_t m,
                         int64_t sign) {
    for (int64_t j = 0; j < L; ++j, table += 2 * (r - 1))
        fill_twiddle_row(table, source, r, m * j, sign);
}

}  // namespace lyr
