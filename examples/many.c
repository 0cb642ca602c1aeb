// Many short transforms by one plan: the columns of a table, in place, without copying them out.
#include <lyr_fft.h>
#include <stdio.h>

int main(void) {
    enum { rows = 16, columns = 1000 };
    static lyr_fft_complex table[rows][columns];

    // Elements of one transform lie a row apart, transforms one element apart.
    const int n[] = {rows};
    lyr_fft_plan plan = lyr_fft_plan_many_dft(1, n, columns, table[0], NULL, columns, 1, table[0],
                                              NULL, columns, 1, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    if (!plan) return 1;
    // Column c holds c ones, as far as there is room for them.
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) table[r][c][0] = r < c;
    lyr_fft_execute(plan);
    lyr_fft_destroy_plan(plan);
    const int shown[] = {0, 1, 8, 999};
    for (int i = 0; i < 4; ++i) {
        printf("column %3d:", shown[i]);
        for (int k = 0; k < 4; ++k)
            printf(" %+.3f%+.3fi", table[k][shown[i]][0], table[k][shown[i]][1]);
        printf("\n");
    }
    return 0;
}
