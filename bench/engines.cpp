#include "engines.h"

#include <fftw3.h>

#include <algorithm>

namespace lyr_bench {

namespace {

using lyr_tools::transform;

fftw_complex *as_fftw_complex(double *x) {
    return reinterpret_cast<fftw_complex *>(x);
}

void forget_nothing() {}

void *plan_lyra(const problem &p, const buffers &b, int threads) {
    static int set = 1;  // the setting is no part of planning
    if (threads != set) lyr_fft_plan_with_nthreads(set = threads);
    return lyr_tools::make_plan(p, b);
}
void *plan_lyra_single(const problem &p, const buffers &b, int) {
    return plan_lyra(p, b, 1);
}
void execute_lyra(void *plan) {
    lyr_fft_execute(static_cast<lyr_fft_plan>(plan));
}
void destroy_lyra(void *plan) {
    lyr_fft_destroy_plan(static_cast<lyr_fft_plan>(plan));
}

// In the order of lyr_fft_r2r_kind.
constexpr fftw_r2r_kind fftw_kinds[] = {FFTW_R2HC,    FFTW_HC2R,    FFTW_DHT,     FFTW_REDFT00,
                                        FFTW_REDFT01, FFTW_REDFT10, FFTW_REDFT11, FFTW_RODFT00,
                                        FFTW_RODFT01, FFTW_RODFT10, FFTW_RODFT11};

fftw_iodim64 fftw_dimension(const lyr_fft_iodim64 &d) {
    return {static_cast<ptrdiff_t>(d.n), static_cast<ptrdiff_t>(d.is),
            static_cast<ptrdiff_t>(d.os)};
}

// Complex-to-real and half-complex-to-real plans keep FFTW's default, which allows it to overwrite
// the input: that is how it is fastest.
template <unsigned flags>
void *plan_fftw(const problem &p, const buffers &b, int threads) {
    fftw_plan_with_nthreads(threads);
    double *in = b.in[0];
    double *out = b.out[0];
    fftw_iodim64 dims[lyr_tools::max_rank] = {};
    fftw_iodim64 batch[lyr_tools::max_rank] = {};
    fftw_r2r_kind kinds[lyr_tools::max_rank] = {};
    for (int d = 0; d < p.rank; ++d) dims[d] = fftw_dimension(p.dims[d]);
    for (int d = 0; d < p.rank; ++d) kinds[d] = fftw_kinds[p.kinds[d]];
    for (int d = 0; d < p.batch_rank; ++d) batch[d] = fftw_dimension(p.batch[d]);

    // The exchange of real and imaginary parts on both sides turns the direction round.
    const int re = p.kind == transform::c2c && p.sign == LYR_FFT_BACKWARD ? 1 : 0;
    const int im = 1 - re;
    switch (p.kind) {
        case transform::c2c:
            if (p.split)
                return fftw_plan_guru64_split_dft(p.rank, dims, p.batch_rank, batch, b.in[re],
                                                  b.in[im], b.out[re], b.out[im], flags);
            return fftw_plan_guru64_dft(p.rank, dims, p.batch_rank, batch, as_fftw_complex(in),
                                        as_fftw_complex(out), p.sign, flags);
        case transform::r2c:
            if (p.split)
                return fftw_plan_guru64_split_dft_r2c(p.rank, dims, p.batch_rank, batch, in,
                                                      b.out[re], b.out[im], flags);
            return fftw_plan_guru64_dft_r2c(p.rank, dims, p.batch_rank, batch, in,
                                            as_fftw_complex(out), flags);
        case transform::c2r:
            if (p.split)
                return fftw_plan_guru64_split_dft_c2r(p.rank, dims, p.batch_rank, batch, b.in[re],
                                                      b.in[im], out, flags);
            return fftw_plan_guru64_dft_c2r(p.rank, dims, p.batch_rank, batch, as_fftw_complex(in),
                                            out, flags);
        case transform::r2r:
            return fftw_plan_guru64_r2r(p.rank, dims, p.batch_rank, batch, in, out, kinds, flags);
    }
    return nullptr;
}

void execute_fftw(void *plan) {
    fftw_execute(static_cast<fftw_plan>(plan));
}

void destroy_fftw(void *plan) {
    fftw_destroy_plan(static_cast<fftw_plan>(plan));
}

}  // namespace

std::vector<engine> engines(bool with_patient, bool with_single) {
    fftw_init_threads();
    std::vector<engine> list = {
        {"lyra", true, forget_nothing, plan_lyra, execute_lyra, destroy_lyra},
        {"estimate", true, fftw_forget_wisdom, plan_fftw<FFTW_ESTIMATE>, execute_fftw,
         destroy_fftw},
        {"measure", false, fftw_forget_wisdom, plan_fftw<FFTW_MEASURE>, execute_fftw, destroy_fftw},
    };
    if (with_patient) {
        list.push_back({"patient", false, fftw_forget_wisdom, plan_fftw<FFTW_PATIENT>, execute_fftw,
                        destroy_fftw});
    }
    if (with_single)
        list.push_back(
            {"single", true, forget_nothing, plan_lyra_single, execute_lyra, destroy_lyra});
    return list;
}

void limit_planning(double seconds) {
    fftw_set_timelimit(seconds);
}

bool input_may_change(const problem &p) {
    if (p.in_place || p.kind == transform::c2r) return true;
    if (p.kind != transform::r2r) return false;
    return std::find(p.kinds, p.kinds + p.rank, LYR_FFT_HC2R) != p.kinds + p.rank;
}

const char *fftw_description() {
    return fftw_version;
}

}  // namespace lyr_bench
