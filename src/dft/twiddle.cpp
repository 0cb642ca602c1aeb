#include "dft/twiddle.h"

#include <bit>
#include <cstdlib>
#include <type_traits>

#include "api/memory.h"

// Compiled without fusing multiplications and additions.

namespace lyr {

namespace {

// A quarter turn, as a sum.
constexpr double quarter_turn[2] = {1.57079632679489661923, 6.12323399573676603587e-17};

template <class table>
void set_unit(roots_of<table> *source) {
    // As many leading digits as N leaves room for: products with integers up to N are exact, and
    // the first of them leaves a rest that is.
    const auto N = static_cast<double>(source->N);
    const auto dropped = static_cast<int>(std::bit_width(static_cast<uint64_t>(source->N)));
    const uint64_t mask = ~uint64_t{0} << (dropped < 52 ? dropped : 52);
    const double first = std::bit_cast<double>(std::bit_cast<uint64_t>(quarter_turn[0] / N) & mask);
    source->unit[0] = first;
    source->unit[1] = ((quarter_turn[0] - first * N) + quarter_turn[1]) / N;
}

constexpr double one_over_factorial(int n) {
    double product = 1;
    for (int i = 2; i <= n; ++i) product *= i;
    return 1 / product;
}

using pair __attribute__((vector_size(2 * sizeof(double)))) = double;
using pair_of_floats __attribute__((vector_size(2 * sizeof(float)))) = float;

// A root in a table, of numbers of type `table`.
template <class table>
using entry = std::conditional_t<sizeof(table) == sizeof(float), pair_of_floats, pair>;

// Cosine and sine of angles of q units, q <= N/2, by Taylor's series, where they are rounded to
// single precision. number: a double or a pair of them.
template <class number>
inline void octant_roots_to_round(number q, const double (&unit)[2], number *cosine, number *sine) {
    constexpr auto f = one_over_factorial;
    const number x = q * unit[0] + q * unit[1];
    const number z = x * x, zz = z * z;
    *cosine = 1 - z * (f(2) + zz * (f(6) + zz * f(10))) + zz * (f(4) + zz * (f(8) + zz * f(12)));
    *sine = x - x * z * ((f(3) + zz * (f(7) + zz * f(11))) - z * (f(5) + zz * f(9)));
}

// The same in double precision. Angle and square are sums of two numbers each, and what is small is
// added last (Dekker, 1971), so that little more is lost than by rounding the results.
template <class number>
inline void exact_octant_roots(number q, const double (&unit)[2], number *cosine, number *sine) {
    constexpr auto f = one_over_factorial;
    const number product = q * unit[0], rest = q * unit[1];
    const number x = product + rest, x_low = rest - (x - product);
    const number z = x * x;

    // x = t + low, t so short that its square is exact; x^2 = t^2 + low * (x + t).
    constexpr double shift = 3 << 25;
    const number t = (x + shift) - shift, low = (x - t) + x_low;
    const number half_square = t * t * 0.5, near = 1 - half_square;
    // Every other power on its own: shorter chains of dependent operations.
    const number zz = z * z;
    const number cosine_tail = zz * ((f(4) + zz * (f(8) + zz * (f(12) + zz * f(16)))) -
                                     z * (f(6) + zz * (f(10) + zz * f(14))));
    *cosine = near + (((1 - near) - half_square) + (cosine_tail - low * (x + t) * 0.5));

    const number sine_tail = x * z *
                             ((f(3) + zz * (f(7) + zz * (f(11) + zz * f(15)))) -
                              z * (f(5) + zz * (f(9) + zz * (f(13) + zz * f(17)))));
    *sine = x + (x_low * near - sine_tail);
}

template <class table, class number>
inline void octant_roots(number q, const double (&unit)[2], number *cosine, number *sine) {
    if constexpr (sizeof(table) == sizeof(float))
        octant_roots_to_round(q, unit, cosine, sine);
    else
        exact_octant_roots(q, unit, cosine, sine);
}

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
    const bool beyond_quarter = q > N;
    q -= beyond_quarter ? N : 0;
    const bool beyond_octant = q > N - q;
    q = beyond_octant ? N - q : q;
    return {q, beyond_octant != beyond_quarter, uint64_t{beyond_quarter} << 63,
            uint64_t{lower_half} << 63};
}

inline double with_sign(double value, uint64_t sign) {
    return std::bit_cast<double>(std::bit_cast<uint64_t>(value) ^ sign);
}

template <class table>
inline entry<table> restore(const reduced_angle &angle, double c, double s) {
    const double root[2] = {c, s};
    return entry<table>{static_cast<table>(with_sign(root[angle.exchange], angle.cosine_sign)),
                        static_cast<table>(with_sign(root[1 - angle.exchange], angle.sine_sign))};
}

template <class table>
entry<table> compute_root(const roots_of<table> *source, int64_t u) {
    const reduced_angle angle = reduce(u, source->N);
    double c, s;
    octant_roots<table>(static_cast<double>(angle.q), source->unit, &c, &s);
    return restore<table>(angle, c, s);
}

template <class table>
const entry<table> *half_turn_of(const roots_of<table> *source) {
    return reinterpret_cast<const entry<table> *>(source->half_turn);
}

// W(u, N) as the half turn's root of the same cosine.
template <class table>
inline entry<table> read_root(const roots_of<table> *source, int64_t u) {
    const int64_t N = source->N;
    const entry<table> root = half_turn_of(source)[u <= N - u ? u : N - u];
    return u <= N - u ? root : root * entry<table>{1, -1};
}

// A root of the first octant and the three that are its mirror images. Where two fall together the
// last is as compute_root has it.
template <class table>
inline void reflect(entry<table> *half_turn, int64_t N, int64_t u, table c, table s) {
    entry<table> *const quarter = half_turn + N / 4;
    quarter[N / 4 - u] = entry<table>{-c, s};
    quarter[u] = entry<table>{-s, c};
    quarter[-u] = entry<table>{s, c};
    half_turn[u] = entry<table>{c, s};
}

// N is no multiple of 4: an even one leaves the mirror images of a quarter turn. The last pair may
// end behind the half turn.
template <class table>
void fill_half_turn_singly(entry<table> *half_turn, const roots_of<table> *source) {
    const int64_t N = source->N;
    const bool even = N % 2 == 0;
    for (int64_t u = 0; u <= N / (even ? 4 : 2); u += 2) {
        const reduced_angle angles[2] = {reduce(u, N), reduce(u + 1, N)};
        const pair q = {static_cast<double>(angles[0].q), static_cast<double>(angles[1].q)};
        pair c, s;
        octant_roots<table>(q, source->unit, &c, &s);
        for (int i = 0; i < 2; ++i) {
            const entry<table> root = restore<table>(angles[i], c[i], s[i]);
            half_turn[u + i] = root;
            if (even) half_turn[N / 2 - u - i] = entry<table>{-root[0], root[1]};
        }
    }
}

template <class table>
void fill_half_turn(roots_of<table> *source) {
    const int64_t N = source->N;
    auto *const half_turn = reinterpret_cast<entry<table> *>(source->half_turn);
    if (N % 4 != 0) {
        fill_half_turn_singly(half_turn, source);
        return;
    }
    const auto next_roots = [&](pair q, int64_t u, int64_t count) {
        pair c, s;
        octant_roots<table>(q, source->unit, &c, &s);
        for (int64_t i = 0; i < count; ++i)
            reflect(half_turn, N, u + i, static_cast<table>(c[i]), static_cast<table>(s[i]));
    };
    int64_t u = 0;
    pair q = {0, 4};
    for (; u < N / 8; u += 2, q += 8) next_roots(q, u, 2);
    if (u == N / 8) next_roots(q, u, 1);
}

template <class table>
inline void store(table *out, entry<table> root) {
    out[0] = root[0];
    out[1] = root[1];
}

}  // namespace

template <class number>
void root_source_init(roots_of<number> *source, int64_t N, int64_t entries) {
    const int64_t distinct = N / (N % 4 == 0 ? 8 : 2) + 1;
    source->N = N;
    set_unit(source);
    source->half_turn = nullptr;
    if (distinct > entries) return;
    const int64_t table_entries = N / 2 + 2;
    const int64_t local_entries = sizeof source->local / (2 * sizeof(number));
    source->half_turn = table_entries <= local_entries
                            ? source->local
                            : static_cast<number *>(planning_malloc(
                                  static_cast<size_t>(table_entries) * sizeof(entry<number>)));
    if (source->half_turn) fill_half_turn(source);
}

template <class number>
void root_source_release(roots_of<number> *source) {
    if (source->half_turn != source->local) free(source->half_turn);
}

template void root_source_init(exact_root_source *, int64_t, int64_t);
template void root_source_release(exact_root_source *);
#ifdef LYRA_SINGLE
template void root_source_init(root_source *, int64_t, int64_t);
template void root_source_release(root_source *);
#endif

void root_of(const exact_root_source *source, int64_t t, int64_t sign, double *out) {
    const int64_t N = source->N;
    int64_t u = t < N ? t : t % N;
    if (sign < 0 && u) u = N - u;
    store(out, source->half_turn ? read_root(source, u) : compute_root(source, u));
}

namespace {

using number_pair = entry<scalar>;

}  // namespace

void fill_roots(scalar *out, int64_t out_step, const root_source *source, int64_t start,
                int64_t step, int64_t count, int64_t sign) {
    const int64_t N = source->N;
    if (step >= N) step %= N;  // divisions are slow
    int64_t u = start < N ? start : start % N;
    const number_pair *const half_turn = half_turn_of(source);
    const number_pair upper = {1, static_cast<scalar>(sign < 0 ? -1 : 1)}, lower = {1, -upper[1]};
    // Adding zero makes negative zeros positive.
    for (int64_t k = 0; k < count; u -= N) {
        if (!half_turn) {
            for (; k < count && u < N; ++k, u += step, out += 2 * out_step)
                store(out, compute_root(source, u) * upper + number_pair{});
        } else {
            for (; k < count && u <= N / 2; ++k, u += step, out += 2 * out_step)
                store(out, half_turn[u] * upper + number_pair{});
            for (; k < count && u < N; ++k, u += step, out += 2 * out_step)
                store(out, half_turn[N - u] * lower + number_pair{});
        }
    }
}

namespace {

// Adding zero makes negative zeros positive.
template <int64_t lanes>
void copy_root_vectors(scalar *out, int64_t out_step, const number_pair *root, int64_t ahead,
                       number_pair turn, int64_t vectors) {
    for (int64_t k = 0; k < vectors; ++k, out += 2 * out_step)
        for (int64_t lane = 0; lane < lanes; ++lane, root += ahead)
            store(out + 2 * lane, *root * turn + number_pair{});
}

}  // namespace

void fill_root_vectors(scalar *out, int64_t lanes, int64_t out_step, const root_source *source,
                       int64_t start, int64_t step, int64_t count, int64_t sign) {
    const int64_t half = source->N / 2, end = start + (count - 1) * step;
    const number_pair *const half_turn = half_turn_of(source);
    if (!half_turn || (start <= half && half < end)) {
        for (int64_t k = 0; k < count; k += lanes, out += 2 * out_step)
            fill_roots(out, 1, source, start + k * step, step, lanes, sign);
        return;
    }
    const bool lower = start > half;
    const number_pair turn = {1, static_cast<scalar>((sign < 0) != lower ? -1 : 1)};
    const number_pair *root = half_turn + (lower ? source->N - start : start);
    const int64_t ahead = lower ? -step : step;
    const auto copy = lanes == 2   ? copy_root_vectors<2>
                      : lanes == 4 ? copy_root_vectors<4>
                                   : copy_root_vectors<8>;
    copy(out, out_step, root, ahead, turn, count / lanes);
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
