// Short real-to-real transforms: the product with the matrix that the definition gives, where that
// is faster than any pass. aux: the matrix by inputs, n numbers of output for each.
#include "r2r/small.h"

#include <cstring>

#include "api/memory.h"
#include "codelets/r2r_pass.h"
#include "codelets/select.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

void execute_small(const plan *p, scalar *in, scalar *out, scalar *) {
    r2r_small_function run;
    memcpy(&run, p->solver_words, sizeof run);
    run({p->dims[0].is, p->dims[0].os, static_cast<const scalar *>(p->aux)}, in, out);
}

// The whole turn that the angles of a kind are fractions of.
int64_t turn_of(int32_t kind, int64_t n) {
    switch (kind) {
        case LYR_FFT_R2HC:
        case LYR_FFT_HC2R:
        case LYR_FFT_DHT:
            return n;
        case LYR_FFT_REDFT00:
            return 2 * (n - 1);
        case LYR_FFT_RODFT00:
            return 2 * (n + 1);
        case LYR_FFT_REDFT11:
        case LYR_FFT_RODFT11:
            return 8 * n;
        default:
            return 4 * n;
    }
}

// What output k gets of input j, 0.5 to 2 times a cosine or sine.
double coefficient(const exact_root_source &roots, int32_t kind, int64_t n, int64_t j, int64_t k) {
    const auto root = [&](int64_t t, double factor, int part) {
        double w[2];
        root_of(&roots, t, +1, w);
        return factor * w[part];
    };
    const auto cosine = [&](int64_t t, double factor) { return root(t, factor, 0); };
    const auto sine = [&](int64_t t, double factor) { return root(t, factor, 1); };
    const bool first = j == 0, last = j == n - 1;
    switch (kind) {
        case LYR_FFT_R2HC:
            return 2 * k <= n ? cosine(j * k, 1) : sine(j * (n - k), -1);
        case LYR_FFT_HC2R:
            if (first || 2 * j == n) return cosine(j * k, 1);
            return 2 * j < n ? cosine(j * k, 2) : sine((n - j) * k, -2);
        case LYR_FFT_DHT:
            return cosine(j * k, 1) + sine(j * k, 1);
        case LYR_FFT_REDFT00:
            return cosine(j * k, first || last ? 1 : 2);
        case LYR_FFT_REDFT01:
            return cosine(j * (2 * k + 1), first ? 1 : 2);
        case LYR_FFT_REDFT10:
            return cosine((2 * j + 1) * k, 2);
        case LYR_FFT_REDFT11:
            return cosine((2 * j + 1) * (2 * k + 1), 2);
        case LYR_FFT_RODFT00:
            return sine((j + 1) * (k + 1), 2);
        case LYR_FFT_RODFT01:
            return sine((j + 1) * (2 * k + 1), last ? 1 : 2);
        case LYR_FFT_RODFT10:
            return sine((2 * j + 1) * (k + 1), 2);
        default:  // RODFT11
            return sine((2 * j + 1) * (2 * k + 1), 2);
    }
}

}  // namespace

// Measured with AVX2. Where no transform of half the length does the work, longer products pay.
bool is_small_r2r(int32_t kind, int64_t n) {
    const bool even = n % 2 == 0;
    switch (kind) {
        case LYR_FFT_R2HC:
        case LYR_FFT_HC2R:
        case LYR_FFT_DHT:
            return n <= (even ? 8 : r2r_small_limit);
        case LYR_FFT_REDFT00:
        case LYR_FFT_RODFT00:
            return n <= (even ? r2r_small_limit : 23);
        case LYR_FFT_REDFT11:
        case LYR_FFT_RODFT11:
            return n <= (even ? 24 : r2r_small_limit);
        default:
            return n <= (even ? 16 : r2r_small_limit);
    }
}

int build_small(plan *p) {
    const int64_t n = p->dims[0].n;
    const uint64_t bytes = static_cast<uint64_t>(n * n) * scalar_bytes;
    p->aux = aligned_alloc_zero(bytes);
    if (!p->aux) return -1;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    scalar *matrix = static_cast<scalar *>(p->aux);
    const int32_t kind = p->r2r_kinds[0];
    exact_root_source roots;
    root_source_init(&roots, turn_of(kind, n), n * n);
    for (int64_t j = 0; j < n; ++j)
        for (int64_t k = 0; k < n; ++k)
            *matrix++ = static_cast<scalar>(coefficient(roots, kind, n, j, k));
    root_source_release(&roots);
    const r2r_small_function run = active_table()->r2r_passes->small.by_length[n - 1];
    memcpy(p->solver_words, &run, sizeof run);
    p->execute_fn = execute_small;
    p->execute_name = "execute_r2r_small";
    return 0;
}

}  // namespace lyr
