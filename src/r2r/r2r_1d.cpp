// One real-to-real transform of the kinds other than REDFT00: half-complex and Hartley transforms
// and cosine and sine transforms of types II to IV by way of a transform of half the work, sine
// transforms of type I like cosine ones (r2r/type1.h), type IV of odd lengths by way of a Hartley
// transform (r2r/type4_odd.h).
#include <cstring>

#include "planner/registry.h"
#include "r2r/through_dft.h"
#include "r2r/type1.h"
#include "r2r/type4_odd.h"

namespace lyr {

namespace {

void execute_r2r_1d_one(plan *p, double *in, double *out) {
    double factor;
    memcpy(&factor, p->solver_words, sizeof factor);
    out[0] = factor * in[0];
}

// n = 1: every kind but REDFT00 multiplies by a constant.
double factor_of_one(int32_t kind) {
    switch (kind) {
        case LYR_FFT_REDFT10:
        case LYR_FFT_RODFT10:
        case LYR_FFT_RODFT00:
            return 2;
        case LYR_FFT_REDFT11:
        case LYR_FFT_RODFT11:
            return 1.41421356237309504880;
        default:
            return 1;
    }
}

int build_one(plan *p) {
    const double factor = factor_of_one(p->r2r_kinds[0]);
    memcpy(p->solver_words, &factor, sizeof factor);
    p->execute_fn = execute_r2r_1d_one;
    p->execute_name = "execute_r2r_1d";
    return 0;
}

bool is_single(const plan *p, int32_t kind) {
    return is_single_r2r(p, 2) && p->r2r_kinds[0] == kind;
}

}  // namespace

int solve_problem_r2hc_1d(plan *p) {
    return is_single(p, LYR_FFT_R2HC) ? build_through_dft(p) : -1;
}

int solve_problem_hc2r_1d(plan *p) {
    return is_single(p, LYR_FFT_HC2R) ? build_through_dft(p) : -1;
}

int solve_problem_dht_1d(plan *p) {
    return is_single(p, LYR_FFT_DHT) ? build_through_dft(p) : -1;
}

int solve_problem_r2r_1d(plan *p) {
    if (!is_single_r2r(p, 1)) return -1;
    const int32_t kind = p->r2r_kinds[0];
    if (kind < LYR_FFT_R2HC || kind > LYR_FFT_RODFT11) return -1;
    if (kind == LYR_FFT_REDFT00) return -1;
    if (p->dims[0].n == 1) return build_one(p);
    if (kind == LYR_FFT_RODFT00) return build_type1(p);
    const bool type4 = kind == LYR_FFT_REDFT11 || kind == LYR_FFT_RODFT11;
    return type4 && p->dims[0].n % 2 != 0 ? build_type4_odd(p) : build_through_dft(p);
}

}  // namespace lyr
