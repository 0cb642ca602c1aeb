// Half-complex transforms, forward and backward, and Hartley transforms of a length that has a
// codelet of its own, one or a batch.
//
// One transform without strides has a codelet that is the executor. Else aux holds a real_block.
#include "planner/registry.h"
#include "real/direct.h"

namespace lyr {

namespace {

void execute_r2hc_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [v, idist, odist] = batch_of(p);
    run_real_block(real_block_of(p), in, p->dims[0].is, out, v, idist, odist);
}

void execute_hc2r_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [v, idist, odist] = batch_of(p);
    run_real_block(real_block_of(p), out, p->dims[0].os, in, v, idist, odist);
}

// From half-complex to Hartley: element k becomes Re X[k] - Im X[k], element n - k their sum.
void hartley_of_half_complex(scalar *out, int64_t n, int64_t os, int64_t count, int64_t odist) {
    const auto exchange = [](scalar &a, scalar &b) {
        const scalar re = a, im = b;
        a = re - im;
        b = re + im;
    };
    if (odist == 1) {
        for (int64_t k = 1; 2 * k < n; ++k)
            for (int64_t i = 0; i < count; ++i) exchange(out[k * os + i], out[(n - k) * os + i]);
        return;
    }
    for (int64_t i = 0; i < count; ++i, out += odist)
        for (int64_t k = 1; 2 * k < n; ++k) exchange(out[k * os], out[(n - k) * os]);
}

// Some transforms at a time, which are still in the cache when they are gone over; never one after
// others, which codelets may compute in another way.
void execute_dht_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    constexpr int64_t together = 32;
    const auto [v, idist, odist] = batch_of(p);
    const auto [n, is, os] = p->dims[0];
    auto rest = static_cast<int64_t>(v);
    while (rest > 0) {
        const int64_t count = rest <= together + 1 ? rest : together;
        run_real_block(real_block_of(p), in, is, out, static_cast<uint64_t>(count), idist, odist);
        hartley_of_half_complex(out, n, os, count, odist);
        rest -= count;
        in += count * idist;
        out += count * odist;
    }
}

struct half_complex_solver {
    lyr_fft_r2r_kind kind;
    const real_entry (&kernels)[real_sizes];
    const executor (&unit)[real_sizes + 1];
    executor execute;
    const char *name, *unit_name;
};

int solve(plan *p, const half_complex_solver &s) {
    if (p->kind != kind_r2r) return -1;
    if (p->r2r_kinds[0] != s.kind) return -1;
    if (!direct_layout(p)) return -1;
    const auto [n, is, os] = p->dims[0];
    const real_kernel kernel = find_real(s.kernels, n);
    if (!kernel) return -1;

    p->execute_name = s.name;
    p->execute_fn = s.execute;
    if (single_unit(p)) {
        p->execute_fn = s.unit[real_exponent(n)];
        p->execute_name = s.unit_name;
        return 0;
    }
    const bool forward = s.kind != LYR_FFT_HC2R;
    const int64_t real = forward ? is : os, spectrum = forward ? os : is;
    return build_real_block(p, kernel, n * spectrum, 2 * real, spectrum, -spectrum) ? 0 : -1;
}

}  // namespace

int solve_problem_r2hc_direct(plan *p) {
    const real_set *r = active_reals();
    return solve(p, {LYR_FFT_R2HC, r->forward, r->r2hc_unit, execute_r2hc_direct,
                     "execute_r2hc_direct", "execute_r2hc_direct_unit"});
}

int solve_problem_hc2r_direct(plan *p) {
    const real_set *r = active_reals();
    return solve(p, {LYR_FFT_HC2R, r->backward, r->hc2r_unit, execute_hc2r_direct,
                     "execute_hc2r_direct", "execute_hc2r_direct_unit"});
}

int solve_problem_dht_direct(plan *p) {
    const real_set *r = active_reals();
    return solve(p, {LYR_FFT_DHT, r->hartley, r->dht_unit, execute_dht_direct, "execute_dht_direct",
                     "execute_dht_direct_unit"});
}

}  // namespace lyr
