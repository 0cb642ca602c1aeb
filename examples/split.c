// Real and imaginary parts in arrays of their own: forward, and back with the parts exchanged.
#include <lyr_fft.h>
#include <math.h>
#include <stdio.h>

int main(void) {
    enum { n = 360 };
    double re[n], im[n], re_out[n], im_out[n];
    for (int j = 0; j < n; ++j) {
        re[j] = j % 7;
        im[j] = j % 11;
    }
    const lyr_fft_iodim dims[] = {{.n = n, .is = 1, .os = 1}};
    lyr_fft_plan plan =
        lyr_fft_plan_guru_split_dft(1, dims, 0, NULL, re, im, re_out, im_out, LYR_FFT_ESTIMATE);
    if (!plan) return 1;
    lyr_fft_execute(plan);
    printf("sum %+.3f %+.3fi\n", re_out[0], im_out[0]);

    // Exchanging the parts turns the direction round: the same plan goes back.
    lyr_fft_execute_split_dft(plan, im_out, re_out, im, re);
    lyr_fft_destroy_plan(plan);
    double largest = 0;
    for (int j = 0; j < n; ++j) {
        largest = fmax(largest, fabs(re[j] / n - j % 7));
        largest = fmax(largest, fabs(im[j] / n - j % 11));
    }
    printf("%s\n", largest < 1e-13 ? "back again" : "lost");
    return 0;
}
