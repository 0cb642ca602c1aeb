// Cosine and sine transforms of type I: REDFT00 of N+1 numbers x[0 .. N], RODFT00 of N-1 numbers
// x[1 .. N-1].
//
// The textbook way, one real transform of length N after sums and differences, finds every second
// output by a running sum and so loses accuracy as sqrt(N). Here instead:
//
// N even: the even inputs are a type I of half the size and the odd ones a type II,
//     y[k], y[N-k] = e[k] +- o[k],
// which is the first step of a split radix on the symmetric extension of x (Vetterli and
// Nussbaumer, 1984) and neither divides nor sums up. The halves of the halves cost less and less:
// together as much as one real transform of length N.
//
// N odd: 2N = 2*N is a product of coprime factors, so that the transform of length 2N is two of
// length N of symmetric real sequences, without any factors between (Good, 1958):
//     f[j] = x[j] + x[N-j] gives y[2m],   g[j] = (-1)^j (x[j] - x[N-j]) gives y[N-2m],
// which are the real and imaginary parts of the transform of f + i g. (Sines: the signs before
// x[N-j] change.)
//
// Both errors grow as those of a complex transform do, as sqrt(log N).
#include "r2r/type1.h"

#include <cstring>

#include "codelets/r2r_pass.h"
#include "codelets/select.h"
#include "planner/registry.h"
#include "r2r/small.h"
#include "r2r/through_dft.h"

namespace lyr {

namespace {

// Scratch, N even: the even inputs, the odd inputs from `odd` on, and for strided outputs the
// outputs from `staging` on. N odd: N complex numbers.
struct bookkeeping {  // in solver_words
    r2r_pass_function join;
    void (*part)(scalar *re, scalar *im, const scalar *in, int64_t n);
    int64_t odd, staging;  // in doubles from the start
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

bookkeeping bookkeeping_of(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

bool is_sine(const plan *p) {
    return p->r2r_kinds[0] == LYR_FFT_RODFT00;
}

// N of the formulas above.
int64_t half_turn(const plan *p) {
    return is_sine(p) ? p->dims[0].n + 1 : p->dims[0].n - 1;
}

// ---- N even -------------------------------------------------------------------------------------

// a[0], b[0], a[1], .. a[count], one more of a than of b, `stride` apart from `in` on.
void deal(const bookkeeping &b, scalar *to_a, scalar *to_b, const scalar *in, int64_t stride,
          int64_t count) {
    if (stride == 1) {
        b.part(to_a, to_b, in, count);
    } else {
        gather_reals(to_a, in, 2 * stride, count);
        gather_reals(to_b, in + stride, 2 * stride, count);
    }
    to_a[count] = in[2 * count * stride];
}

void execute_halves(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const bookkeeping b = bookkeeping_of(p);
    const auto [n, is, os] = p->dims[0];
    const int64_t N = half_turn(p);
    scalar *even = scratch, *odd = even + b.odd, *below = scratch_below(p, scratch);
    if (is_sine(p))
        deal(b, odd, even, in, is, N / 2 - 1);
    else
        deal(b, even, odd, in, is, N / 2);
    const plan *type1 = &p->children[0], *type2 = &p->children[1];
    type1->execute_fn(type1, even, even, below);
    type2->execute_fn(type2, odd, odd, below);
    scalar *to = os == 1 ? out : even + b.staging;
    b.join({N, b.odd, nullptr}, even, to);
    if (os != 1) scatter_reals(out, os, to, n);
}

int build_halves(plan *p) {
    const int64_t N = half_turn(p),
                  room = (N / 2 + 2 * line_complex) / (2 * line_complex) * (2 * line_complex);
    const bool sine = is_sine(p), staged = p->dims[0].os != 1;
    const bookkeeping b = {
        sine ? active_table()->r2r_passes->rodft00_join : active_table()->r2r_passes->redft00_join,
        active_table()->splits.part, room, 2 * room};
    memcpy(p->solver_words, &b, sizeof b);
    p->work_bytes = static_cast<uint64_t>(2 * room + (staged ? p->dims[0].n : 0)) * scalar_bytes;

    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    for (int i = 0; i < 2; ++i) {
        plan *child = &p->children[i];
        plan_copy_problem(child, p);
        child->in = child->out = scratch_array(p, i);
        child->dims[0] = {i == 1 ? N / 2 : sine ? N / 2 - 1 : N / 2 + 1, 1, 1};
        if (i == 1) child->r2r_kinds[0] = sine ? LYR_FFT_RODFT10 : LYR_FFT_REDFT10;
        if (plan_solve(child) != 0) return -1;
    }
    p->execute_fn = execute_halves;
    p->execute_name = "execute_type1_halves";
    return 0;
}

// ---- N odd --------------------------------------------------------------------------------------

void fill_cosine(scalar *c, const scalar *x, int64_t stride, int64_t N) {
    c[0] = x[0] + x[N * stride];
    c[1] = x[0] - x[N * stride];
    scalar sign = -1;
    for (int64_t j = 1; j <= N / 2; ++j, sign = -sign) {
        const scalar a = x[j * stride], b = x[(N - j) * stride];
        c[2 * j] = c[2 * (N - j)] = a + b;
        c[2 * j + 1] = c[2 * (N - j) + 1] = sign * (a - b);
    }
}

void execute_redft00_coprime(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const int64_t N = half_turn(p), os = p->dims[0].os;
    scalar *c = scratch;
    fill_cosine(c, in, p->dims[0].is, N);
    const plan *child = p->children;
    child->execute_fn(child, c, c, scratch_below(p, scratch));
    for (int64_t m = 0; m <= N / 2; ++m) {
        out[2 * m * os] = c[2 * m];
        out[(N - 2 * m) * os] = c[2 * m + 1];
    }
}

// x[j] is at x[(j-1)*stride].
void fill_sine(scalar *c, const scalar *x, int64_t stride, int64_t N) {
    c[0] = c[1] = 0;
    scalar sign = -1;
    for (int64_t j = 1; j <= N / 2; ++j, sign = -sign) {
        const scalar a = x[(j - 1) * stride], b = x[(N - j - 1) * stride];
        c[2 * j] = a - b;
        c[2 * j + 1] = sign * (a + b);
        c[2 * (N - j)] = -c[2 * j];
        c[2 * (N - j) + 1] = -c[2 * j + 1];
    }
}

void execute_rodft00_coprime(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const int64_t N = half_turn(p), os = p->dims[0].os;
    scalar *c = scratch;
    fill_sine(c, in, p->dims[0].is, N);
    const plan *child = p->children;
    child->execute_fn(child, c, c, scratch_below(p, scratch));
    for (int64_t m = 1; m <= N / 2; ++m) {
        out[(2 * m - 1) * os] = -c[2 * m + 1];
        out[(N - 2 * m - 1) * os] = -c[2 * m];
    }
}

int build_coprime(plan *p) {
    const int64_t N = half_turn(p);
    p->work_bytes = static_cast<uint64_t>(N) * complex_bytes;
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->sign = -1;
    child->dims[0] = {N, 1, 1};
    child->in = child->out = scratch_array(p);
    p->execute_fn = is_sine(p) ? execute_rodft00_coprime : execute_redft00_coprime;
    p->execute_name = is_sine(p) ? "execute_rodft00_coprime" : "execute_redft00_coprime";
    return plan_solve(child);
}

}  // namespace

int build_type1(plan *p) {
    return half_turn(p) % 2 == 0 ? build_halves(p) : build_coprime(p);
}

int solve_problem_redft00_1d(plan *p) {
    if (!is_single_r2r(p, 2)) return -1;
    if (p->r2r_kinds[0] != LYR_FFT_REDFT00) return -1;
    return is_small_r2r(LYR_FFT_REDFT00, p->dims[0].n) ? build_small(p) : build_type1(p);
}

}  // namespace lyr
