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
LYR_REAL_LENGTHS(LYR_TABLE)
#undef LYR_TABLE

}  // namespace lyr
