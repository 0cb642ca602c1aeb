/* Plans and runs one transform: whether the library starts on this processor at all. */
#include <lyr_fft.h>
#include <stdio.h>

int main(void) {
    lyr_fft_complex in[16] = {{1.0, 0.0}}, out[16];
    lyr_fft_plan plan = lyr_fft_plan_dft_1d(16, in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    lyr_fft_execute(plan);
    lyr_fft_destroy_plan(plan);
    for (int k = 0; k < 16; ++k)
        if (out[k][0] != 1.0 || out[k][1] != 0.0) return 1;
    puts("ok");
    return 0;
}
