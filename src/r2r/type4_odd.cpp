// Cosine and sine transforms of type IV of odd length n: a Hartley transform of length n between
// two permutations, without twiddle factors (the idea of Chan and Ho, 1990).
//
//     y[k] = 2 sum x[j] cos(2 pi (2j+1)(2k+1)/(8n)).
//
// The cosine is even in p = 2j+1, and p + 4n turns its sign: of p, -p, p+4n and 4n-p, modulo 8n,
// exactly one is 1 modulo 8. Let it be 8i+1 for input j and 8l+1 for output k. As 8 and n are
// coprime, 1/(8n) = n/8 + b/n modulo 1 where 8b = 1 modulo n, so that the angle is
// 2 pi (n/8 + u v/n) with u = b(8i+1) = i+b and v = 8l+1 modulo n: up to signs and sqrt(2), output
// k is element v or -v of the Hartley transform of the inputs in the order u.
//
// The sine transform is the cosine transform of the inputs turned round, with odd outputs negated.
#include "r2r/type4_odd.h"

#include <cstring>

namespace lyr {

namespace {

// Calls f(i, count, j, step, sign) for the runs of i whose j advances by a constant step; sign is
// that of x[j] in place 8i+1.
template <class function>
void for_each_run(int64_t n, function f) {
    int64_t i = 0;
    for (int quarter = 0; quarter < 4; ++quarter) {
        const int64_t end =
            (2 * n * (quarter + 1) + 6) / 8;  // first i with 8i+1 beyond the quarter
        const int64_t p = 8 * i + 1;
        const bool down = quarter % 2 != 0;
        const int64_t folded = down ? 2 * n * (quarter + 1) - p : p - 2 * n * quarter;
        f(i, end - i, (folded - 1) / 2, down ? -4 : 4, quarter == 1 || quarter == 2 ? -1.0 : 1.0);
        i = end;
    }
}

// The b of 8b = 1 modulo n: 7n n = -1 modulo 8.
int64_t inverse_of_8(int64_t n) {
    return (1 + n * (7 * n % 8)) / 8 % n;
}

struct bookkeeping {  // in solver_words
    int64_t first_u;  // b
    int64_t sine;
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

void execute_type4_odd(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const auto [n, is, os] = p->dims[0];
    const bool sine = b.sine != 0;
    scalar *z = scratch;

    int64_t u = b.first_u;
    for_each_run(n,
                 [&, is = is, n = n](int64_t, int64_t count, int64_t j, int64_t step, scalar sign) {
                     const scalar *x = in + (sine ? n - 1 - j : j) * is;
                     const int64_t x_step = (sine ? -step : step) * is;
                     for (; count > 0; --count, x += x_step) {
                         z[u] = sign * x[0];
                         if (++u == n) u = 0;
                     }
                 });

    const plan *child = p->children;
    child->execute_fn(child, z, z, scratch_below(p, scratch));

    // cos(pi n/4 + a) = sqrt(1/2) (+-cos a +- sin a).
    const scalar scale =
        n % 8 == 1 || n % 8 == 7 ? 1.41421356237309504880 : -1.41421356237309504880;
    const int64_t v_step = (n % 4 == 1 ? n - 8 % n : 8 % n) % n;
    int64_t v = (n % 4 == 1 ? n - 1 : 1) % n;
    for_each_run(n,
                 [&, os = os, n = n](int64_t, int64_t count, int64_t k, int64_t step, scalar sign) {
                     const scalar factor = sine && k % 2 != 0 ? -sign * scale : sign * scale;
                     scalar *y = out + k * os;
                     for (; count > 0; --count, y += step * os) {
                         y[0] = factor * z[v];
                         v += v_step;
                         if (v >= n) v -= n;
                     }
                 });
}

}  // namespace

int build_type4_odd(plan *p) {
    const int64_t n = p->dims[0].n;
    p->work_bytes = static_cast<uint64_t>(n) * scalar_bytes;
    const bookkeeping b = {inverse_of_8(n), p->r2r_kinds[0] == LYR_FFT_RODFT11};
    memcpy(p->solver_words, &b, sizeof b);

    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->r2r_kinds[0] = LYR_FFT_DHT;
    child->dims[0] = {n, 1, 1};
    child->in = child->out = scratch_array(p);
    p->execute_fn = execute_type4_odd;
    p->execute_name = "execute_type4_odd";
    return plan_solve(child);
}

}  // namespace lyr
