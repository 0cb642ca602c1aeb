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
            double *cosine = table.rows[j - 1] + 2 * (k - 1), *sine = cosine + table.part;
            cosine[0] = cosine[1] = w.re;
            sine[0] = -w.im;
            sine[1] = w.im;
        }
    return table;
}

}  // namespace

template <int R>
constinit const prime_roots<R> prime_roots<R>::table = make_table<R>();

template const prime_roots<11> prime_roots<11>::table;
template const prime_roots<13> prime_roots<13>::table;
template const prime_roots<17> prime_roots<17>::table;
template const prime_roots<19> prime_roots<19>::table;
template const prime_roots<23> prime_roots<23>::table;
template const prime_roots<29> prime_roots<29>::table;
template const prime_roots<31> prime_roots<31>::table;
template const prime_roots<37> prime_roots<37>::table;
template const prime_roots<41> prime_roots<41>::table;
template const prime_roots<43> prime_roots<43>::table;
template const prime_roots<47> prime_roots<47>::table;
template const prime_roots<53> prime_roots<53>::table;
template const prime_roots<59> prime_roots<59>::table;
template const prime_roots<61> prime_roots<61>::table;
template const prime_roots<67> prime_roots<67>::table;
template const prime_roots<71> prime_roots<71>::table;
template const prime_roots<73> prime_roots<73>::table;

}  // namespace lyr
