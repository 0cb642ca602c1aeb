// Both libraries in one program: the spectrum of an impulse at position 1 in single precision, and
// how far it is from that in double precision.
#include <lyr_fft.h>
#include <lyr_fftf.h>
#include <math.h>
#include <stdio.h>

int main(void) {
    enum { n = 8 };
    lyr_fft_complex in[n] = {{0}}, out[n];
    lyr_fftf_complex in_single[n] = {{0}}, out_single[n];
    in[1][0] = 1;
    in_single[1][0] = 1;
    lyr_fft_plan plan = lyr_fft_plan_dft_1d(n, in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    lyr_fftf_plan single =
        lyr_fftf_plan_dft_1d(n, in_single, out_single, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    if (!plan || !single) return 1;
    lyr_fft_execute(plan);
    lyr_fftf_execute(single);
    double most = 0;
    for (int k = 0; k < n; ++k) {
        printf("%d: %+.3f %+.3fi\n", k, (double)out_single[k][0], (double)out_single[k][1]);
        for (int part = 0; part < 2; ++part)
            most = fmax(most, fabs((double)out_single[k][part] - out[k][part]));
    }
    printf("largest difference %s\n", most < 1e-7 ? "below 1e-7" : "too large");
    lyr_fft_destroy_plan(plan);
    lyr_fftf_destroy_plan(single);
    return most < 1e-7 ? 0 : 1;
}
