#include "r2r_formula.h"

namespace lyr_tools {

r2r_formula formula_of(lyr_fft_r2r_kind kind, int64_t n) {
    switch (kind) {
        case LYR_FFT_REDFT00:
            return {2 * (n - 1), 1, 0, 1, 0, false, true, true};
        case LYR_FFT_REDFT01:
            return {4 * n, 1, 0, 2, 1, false, true, false};
        case LYR_FFT_REDFT10:
            return {4 * n, 2, 1, 1, 0, false, false, false};
        case LYR_FFT_REDFT11:
            return {8 * n, 2, 1, 2, 1, false, false, false};
        case LYR_FFT_RODFT00:
            return {2 * (n + 1), 1, 1, 1, 1, true, false, false};
        case LYR_FFT_RODFT01:
            return {4 * n, 1, 1, 2, 1, true, false, true};
        case LYR_FFT_RODFT10:
            return {4 * n, 2, 1, 1, 1, true, false, false};
        case LYR_FFT_RODFT11:
            return {8 * n, 2, 1, 2, 1, true, false, false};
        default:  // R2HC, HC2R, DHT: weights in r2r_weights
            return {n, 1, 0, 1, 0, false, false, false};
    }
}

r2r_weights weights_of(lyr_fft_r2r_kind kind, const r2r_formula &f, int64_t n, int64_t j,
                       int64_t k) {
    switch (kind) {
        case LYR_FFT_R2HC:
            // Output k > n/2 is the imaginary part of the spectrum at n-k: minus the sine there,
            // plus the sine at k.
            return k <= n / 2 ? r2r_weights{1, 0} : r2r_weights{0, 1};
        case LYR_FFT_HC2R:
            if (j == 0 || 2 * j == n) return {1, 0};
            return 2 * j < n ? r2r_weights{2, 0} : r2r_weights{0, 2};
        case LYR_FFT_DHT:
            return {1, 1};
        default:
            break;
    }
    const bool once = (f.first_once && j == 0) || (f.last_once && j == n - 1);
    const double weight = once ? 1 : 2;
    return f.sine ? r2r_weights{0, weight} : r2r_weights{weight, 0};
}

}  // namespace lyr_tools
