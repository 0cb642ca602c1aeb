// One real-to-real transform of the kinds other than REDFT00: short ones as products with their
// matrix (r2r/small.h), half-complex and Hartley transforms and cosine and sine transforms of types
// II to IV by way of a transform of half the work, sine transforms of type I like cosine ones
// (r2r/type1.h), type IV of odd lengths by way of a Hartley transform (r2r/type4_odd.h).
#include "planner/registry.h"
#include "r2r/small.h"
#include "r2r/through_dft.h"
#include "r2r/type1.h"
#include "r2r/type4_odd.h"

namespace lyr {

namespace {

bool is_single(const plan *p, int32_t kind) {
    return is_single_r2r(p, 2) && p->r2r_kinds[0] == kind;
}

int build(plan *p) {
    return is_small_r2r(p->r2r_kinds[0], p->dims[0].n) ? build_small(p) : build_through_dft(p);
}

}  // namespace

int solve_problem_r2hc_1d(plan *p) {
    if (!is_single(p, LYR_FFT_R2HC)) return -1;
    return build(p);
}

int solve_problem_hc2r_1d(plan *p) {
    if (!is_single(p, LYR_FFT_HC2R)) return -1;
    return build(p);
}

int solve_problem_dht_1d(plan *p) {
    if (!is_single(p, LYR_FFT_DHT)) return -1;
    return build(p);
}

int solve_problem_r2r_1d(plan *p) {
    if (!is_single_r2r(p, 1)) return -1;
    const int32_t kind = p->r2r_kinds[0];
    if (kind < LYR_FFT_R2HC || kind > LYR_FFT_RODFT11) return -1;
    if (kind == LYR_FFT_REDFT00) return -1;
    if (is_small_r2r(kind, p->dims[0].n)) return build_small(p);
    if (kind == LYR_FFT_RODFT00) return build_type1(p);
    const bool type4 = kind == LYR_FFT_REDFT11 || kind == LYR_FFT_RODFT11;
    return type4 && p->dims[0].n % 2 != 0 ? build_type4_odd(p) : build_through_dft(p);
}

}  // namespace lyr
