#include "codelets/real_roots.h"

#include "codelets/exact_roots.h"

namespace lyr {

namespace {

template <int N>
constexpr real_roots<N> make_table() {
    exact_root roots[N] = {};
    for (int t = 0; t < N; ++t) roots[t] = root_of_unity(t, N);
    real_roots<N> table = {};
    for (int j = 1; j <= table.pairs; ++j)
        for (int k = 1; k <= table.half; ++k) {
            const exact_root w = roots[j * k % N];
            table.rows[j - 1][2 * k - 2] = w.re;
            table.rows[j - 1][2 * k - 1] = -w.im;
        }
    return table;
}

}  // namespace

template <int N>
constinit const real_roots<N> real_roots<N>::table = make_table<N>();

#define LYR_TABLE(N) template const real_roots<N> real_roots<N>::table;
// clang-format off
LYR_TABLE(3) LYR_TABLE(5) LYR_TABLE(6) LYR_TABLE(7) LYR_TABLE(9) LYR_TABLE(10) LYR_TABLE(11)
LYR_TABLE(12) LYR_TABLE(13) LYR_TABLE(14) LYR_TABLE(15) LYR_TABLE(17) LYR_TABLE(18) LYR_TABLE(19)
LYR_TABLE(20) LYR_TABLE(21) LYR_TABLE(22) LYR_TABLE(23) LYR_TABLE(24) LYR_TABLE(25) LYR_TABLE(26)
LYR_TABLE(27) LYR_TABLE(28) LYR_TABLE(29) LYR_TABLE(30) LYR_TABLE(31) LYR_TABLE(33) LYR_TABLE(35)
LYR_TABLE(37) LYR_TABLE(39) LYR_TABLE(41) LYR_TABLE(43) LYR_TABLE(45) LYR_TABLE(47) LYR_TABLE(49)
LYR_TABLE(51) LYR_TABLE(53) LYR_TABLE(55) LYR_TABLE(57) LYR_TABLE(59) LYR_TABLE(61) LYR_TABLE(63)
LYR_TABLE(67) LYR_TABLE(71) LYR_TABLE(73) LYR_TABLE(79) LYR_TABLE(83) LYR_TABLE(89) LYR_TABLE(97)
LYR_TABLE(101)
// clang-format on
#undef LYR_TABLE

}  // namespace lyr
