#include "dft/twiddle.h"

#include <cmath>
#include <cstdlib>

namespace lyr {

namespace {

constexpr double two_pi = 6.283185307179586476925286766559;

// An angle of u/N turns, 0 <= u < N, as q/(4N) turns in the first octant and what leads back.
struct reduced_angle {
    int64_t q;  // 0 <= q <= N/2
    bool swap, quarter_turn, negate_sine;
};

inline reduced_angle reduce(int64_t u, int64_t N) {
    int64_t q = 4 * u;
    const bool lower_half = q > 4 * N - q;
    if (lower_half) q = 4 * N - q;
    const bool quarter_turn = q > N;
    if (quarter_turn) q -= N;
    const bool swap = q > N - q;
    if (swap) q = N - q;
    return {q, swap, quarter_turn, lower_half};
}

inline void octant_root(int64_t q, int64_t N, double *out) {
    const double x = two_pi * static_cast<double>(q) / static_cast<double>(4 * N);
    sincos(x, out + 1, out);
}

inline void unreduce(const reduced_angle &angle, const double *root, double *out) {
    double c = root[0], s = root[1];
    if (angle.swap) {
        const double t = c;
        c = s, s = t;
    }
    if (angle.quarter_turn) {
        const double t = c;
        c = -s, s = t;
    }
    out[0] = c;
    out[1] = angle.negate_sine ? -s : s;
}

inline void read_root(const root_source *source, int64_t u, double *out) {
    const reduced_angle angle = reduce(u, source->N);
    double root[2];
    const double *found = root;
    if (source->octant)
        found = source->octant + 2 * (angle.q / source->step);
    else
        octant_root(angle.q, source->N, root);
    unreduce(angle, found, out);
}

}  // namespace

void compute_twiddle(int64_t t, int64_t N, double *out) {
    int64_t u = t % N;
    if (u < 0) u += N;
    const reduced_angle angle = reduce(u, N);
    double root[2];
    octant_root(angle.q, N, root);
    unreduce(angle, root, out);
}

void root_source_init(root_source *source, int64_t N, int64_t entries) {
    const int64_t step = N % 4 == 0 ? 4 : N % 2 == 0 ? 2 : 1;
    const int64_t distinct = N / 2 / step + 1;
    source->N = N;
    source->step = step;
    source->octant = nullptr;
    if (distinct > entries) return;
    const int64_t local_entries = sizeof source->local / (2 * sizeof(double));
    source->octant = distinct <= local_entries
                         ? source->local
                         : static_cast<double *>(malloc(static_cast<size_t>(distinct) * 16));
    if (!source->octant) return;
    for (int64_t i = 0; i < distinct; ++i) octant_root(i * step, N, source->octant + 2 * i);
}

void root_source_release(root_source *source) {
    if (source->octant != source->local) free(source->octant);
}

void fill_twiddle_row(double *row, const root_source *source, int64_t r, int64_t step,
                      int64_t sign) {
    const int64_t N = source->N;
    step %= N;
    if (sign < 0 && step) step = N - step;
    int64_t u = 0;
    for (int64_t k = 1; k < r; ++k, row += 2) {
        u += step;
        if (u >= N) u -= N;
        read_root(source, u, row);
    }
}

void fill_stage_twiddles(double *table, const root_source *source, int64_t r, int64_t L, int64_t m,
                         int64_t sign) {
    if (!table || L == 0 || r < 2) return;
    for (int64_t j = 0; j < L; ++j, table += 2 * (r - 1))
        fill_twiddle_row(table, source, r, m * j, sign);
}

void fill_stage_twiddles(double *table, int64_t N, int64_t r, int64_t L, int64_t m, int64_t sign) {
    if (!table || L == 0 || r < 2) return;
    root_source source;
    root_source_init(&source, N, L * (r - 1));
    fill_stage_twiddles(table, &source, r, L, m, sign);
    root_source_release(&source);
}

void fill_half_angle(double *table, int64_t n) {
    for (int64_t k = 1; 2 * k < n; ++k) compute_twiddle(-k, 2 * n, table + 2 * (k - 1));
}

void fill_quarter_angle(double *table, int64_t n) {
    for (int64_t k = 0; k < n; ++k) compute_twiddle(-k, 4 * n, table + 2 * k);
}

void fill_odd_sixteenth_angle(double *table, int64_t n) {
    for (int64_t k = 0; k < n; ++k) compute_twiddle(2 * k + 1, 16 * n, table + 2 * k);
}

}  // namespace lyr
