// A real signal and its spectrum: which tones does it hold?
#include <lyr_fft.h>
#include <math.h>
#include <stdio.h>

int main(void) {
    enum { n = 1000 };  // samples, one second: bin k is k Hz
    double signal[n];
    lyr_fft_complex spectrum[n / 2 + 1];  // the other half mirrors this one

    lyr_fft_plan plan = lyr_fft_plan_dft_r2c_1d(n, signal, spectrum, LYR_FFT_ESTIMATE);
    if (!plan) return 1;
    const double turn = 2 * acos(-1) / n;
    for (int j = 0; j < n; ++j) signal[j] = 0.25 + sin(50 * turn * j) + 0.5 * cos(120 * turn * j);
    lyr_fft_execute(plan);
    lyr_fft_destroy_plan(plan);

    for (int k = 0; k <= n / 2; ++k) {
        // A tone shares its amplitude with its mirror image; bins 0 and n/2 have none.
        const double share = k == 0 || 2 * k == n ? 1 : 2;
        const double amplitude = share * hypot(spectrum[k][0], spectrum[k][1]) / n;
        if (amplitude > 1e-6) printf("%3d Hz: amplitude %.3f\n", k, amplitude);
    }
    return 0;
}
