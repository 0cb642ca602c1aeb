#include "codelets/prime_roots.h"

#include "codelets/exact_roots.h"

namespace lyr {

namespace {

template <int R>
constexpr prime_roots<R> make_table() {
    exact_root roots[R] = {};
    for (int t = 0; t < R; ++t) roots[t] = root_of_unity(t, R);
    prime_roots<R> table = {};
    for (int j = 1; j <= table.h; ++j)
        for (int k = 1; k <= table.h; ++k) {
            const exact_root w = roots[j * k % R];
            scalar *cosine = table.rows[j - 1] + 2 * (k - 1), *sine = cosine + table.part;
            cosine[0] = cosine[1] = w.re;
            sine[0] = -w.im;
            sine[1] = w.im;
        }
    return table;
}

}  // namespace

template <int R>
constinit const prime_roots<R> prime_roots<R>::table = make_table<R>();

#define LYR_TABLE(R) template const prime_roots<R> prime_roots<R>::table;
LYR_PRIME_LENGTHS(LYR_TABLE)
#undef LYR_TABLE

}  // namespace lyr
