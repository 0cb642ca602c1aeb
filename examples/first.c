// The spectrum of an impulse at position 1: one turn around the unit circle.
#include <lyr_fft.h>
#include <stdio.h>

int main(void) {
    enum { n = 8 };
    lyr_fft_complex in[n] = {{0}}, out[n];
    in[1][0] = 1;
    lyr_fft_plan plan = lyr_fft_plan_dft_1d(n, in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    if (!plan) return 1;
    lyr_fft_execute(plan);
    for (int k = 0; k < n; ++k) printf("%d: %+.3f %+.3fi\n", k, out[k][0], out[k][1]);
    lyr_fft_destroy_plan(plan);
    return 0;
}
