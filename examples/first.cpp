// The spectrum of an impulse at position 1, through the C++ layer.
#include <cstdio>
#include <lyr_fft.hpp>

int main() {
    std::vector<lyr_fft::complex> in(8), out(8);
    in[1] = 1;
    const auto plan = lyr_fft::dft({8}, in, out, lyr_fft::direction::forward);
    if (!plan) return 1;
    plan->execute();
    int k = 0;
    for (const lyr_fft::complex y : out) std::printf("%d: %+.3f %+.3fi\n", k++, y.real(), y.imag());
}
