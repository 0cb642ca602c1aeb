// Execution and destruction; memory, threads, versions and what else needs no planning.
#include <sys/types.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plan.h"
#include "threads/affinity.h"

using namespace compat;

namespace {

real *reals(complex *array) {
    return reinterpret_cast<real *>(array);
}

// Complex numbers side by side are split ones whose imaginary parts come one place later.
void run_pairs(const plan *p, real *in, real *out) {
    const bool in_pairs = p->split && p->kind != problem_kind::r2c;
    const bool out_pairs = p->split && p->kind != problem_kind::c2r;
    p->run(p->root, {in, in_pairs ? in + 1 : nullptr, out, out_pairs ? out + 1 : nullptr});
}

// The other way round: programs may execute an interleaved plan on such arrays.
void run_split(const plan *p, real *ri, real *ii, real *ro, real *io) {
    if (p->split)
        p->run(p->root, {ri, ii, ro, io});
    else
        p->run(p->root, {ri, nullptr, ro, nullptr});
}

}  // namespace

// Without effect when arrays were missing at planning.
EXPORT void FFTW(execute)(const plan *p) {
    if (p && p->at.ri && p->at.ro) p->run(p->root, p->at);
}

EXPORT void FFTW(execute_dft)(const plan *p, complex *in, complex *out) {
    if (p) run_pairs(p, reals(in), reals(out));
}
EXPORT void FFTW(execute_dft_r2c)(const plan *p, real *in, complex *out) {
    if (p) run_pairs(p, in, reals(out));
}
EXPORT void FFTW(execute_dft_c2r)(const plan *p, complex *in, real *out) {
    if (p) run_pairs(p, reals(in), out);
}
EXPORT void FFTW(execute_r2r)(const plan *p, real *in, real *out) {
    if (p) run_pairs(p, in, out);
}
EXPORT void FFTW(execute_split_dft)(const plan *p, real *ri, real *ii, real *ro, real *io) {
    if (p) run_split(p, ri, ii, ro, io);
}
EXPORT void FFTW(execute_split_dft_r2c)(const plan *p, real *in, real *ro, real *io) {
    if (p) run_split(p, in, nullptr, ro, io);
}
EXPORT void FFTW(execute_split_dft_c2r)(const plan *p, real *ri, real *ii, real *out) {
    if (p) run_split(p, ri, ii, out, nullptr);
}

EXPORT void FFTW(destroy_plan)(plan *p) {
    if (!p) return;
    destroy(p->root);
    free(p);
}

// ---- Memory: programs may release it with free --------------------------------------------------

EXPORT void *FFTW(malloc)(size_t n) {
    void *memory;
    return posix_memalign(&memory, 64, n ? n : 1) == 0 ? memory : nullptr;
}

EXPORT real *FFTW(alloc_real)(size_t n) {
    size_t bytes;
    if (__builtin_mul_overflow(n, sizeof(real), &bytes)) return nullptr;
    return static_cast<real *>(FFTW(malloc)(bytes));
}

EXPORT complex *FFTW(alloc_complex)(size_t n) {
    size_t bytes;
    if (__builtin_mul_overflow(n, sizeof(complex), &bytes)) return nullptr;
    return static_cast<complex *>(FFTW(malloc)(bytes));
}

EXPORT void FFTW(free)(void *p) {
    free(p);
}

// Plans run on arrays of any alignment, so that all addresses are alike.
EXPORT int FFTW(alignment_of)(real *) {
    return 0;
}

// ---- Threads ------------------------------------------------------------------------------------

namespace {
int threads_asked = 1;
}

EXPORT int FFTW(init_threads)() {
    return 1;
}

// Workers are bound to processors only on request, unlike those of the library by itself: programs
// come in several processes on a machine, which do not know of each other.
EXPORT void FFTW(plan_with_nthreads)(int nthreads) {
    if (!getenv("LYR_FFT_AFFINITY")) {
        lyr::affinity_set_default(lyr::affinity_none);
        lyr::affinity_set_once(lyr::affinity_none);  // solvers do not choose either
    }
    __atomic_store_n(&threads_asked, nthreads < 1 ? 1 : nthreads, __ATOMIC_RELAXED);
    LYRA(plan_with_nthreads)(nthreads);
}

EXPORT int FFTW(planner_nthreads)() {
    return __atomic_load_n(&threads_asked, __ATOMIC_RELAXED);
}

EXPORT void FFTW(cleanup_threads)() {
    FFTW(plan_with_nthreads)(1);
    LYRA(cleanup_threads)();
}

// The planner always is.
EXPORT void FFTW(make_planner_thread_safe)() {}

// The library's own workers do the work in any case.
EXPORT void FFTW(threads_set_callback)(void (*)(void *(*)(char *), char *, size_t, int, void *),
                                       void *) {}

// ---- Planning takes no time worth a limit -------------------------------------------------------

EXPORT void FFTW(set_timelimit)(double) {}

// ---- Costs --------------------------------------------------------------------------------------

// Operations by the usual count, 4 n log2 n additions and 2 n log2 n multiplications, half for real
// data; a third of the multiplications go together with an addition. What is executed depends on
// the processor and is not counted.
EXPORT void FFTW(flops)(const plan *p, double *add, double *mul, double *fma) {
    const double all = p ? p->points * p->log_points : 0;
    const double part = p && p->kind == problem_kind::c2c ? 1 : 0.5;
    if (add) *add = 3 * part * all;
    if (mul) *mul = part * all;
    if (fma) *fma = part * all;
}

EXPORT double FFTW(estimate_cost)(const plan *p) {
    double add, mul, fma;
    FFTW(flops)(p, &add, &mul, &fma);
    return add + mul + 2 * fma + (p ? p->points : 0);
}

EXPORT double FFTW(cost)(const plan *p) {
    return FFTW(estimate_cost)(p);
}

// ---- Plans as text ------------------------------------------------------------------------------

namespace {

// Appends to a text that grows; the text is gone when memory runs out.
struct growing {
    char *text;
    size_t length, room;
    int open;  // parentheses
};

void append(growing *g, const char *piece, size_t length) {
    if (!g->text) return;
    if (g->length + length + 1 > g->room) {
        const size_t room = 2 * (g->length + length + 1);
        char *more = static_cast<char *>(realloc(g->text, room));
        if (!more) {
            free(g->text);
            g->text = nullptr;
            return;
        }
        g->text = more;
        g->room = room;
    }
    memcpy(g->text + g->length, piece, length);
    g->length += length;
    g->text[g->length] = 0;
}

void append_line(void *context, int depth, const char *text) {
    growing *g = static_cast<growing *>(context);
    for (; g->open > depth; --g->open) append(g, ")", 1);
    append(g, "\n", 1);
    for (int k = 0; k < depth; ++k) append(g, "  ", 2);
    append(g, "(", 1);
    append(g, text, strlen(text));
    g->open = depth + 1;
}

}  // namespace

EXPORT char *FFTW(sprint_plan)(const plan *p) {
    growing g = {static_cast<char *>(malloc(256)), 0, 256, 1};
    if (!g.text) return nullptr;
    append(&g, "(lyra-fft ", 10);
    if (p) {
        append(&g, p->text, strlen(p->text));
        describe(p->root, 1, append_line, &g);
    }
    for (; g.open > 0; --g.open) append(&g, ")", 1);
    return g.text;
}

EXPORT void FFTW(fprint_plan)(const plan *p, FILE *file) {
    char *text = FFTW(sprint_plan)(p);
    if (text) fputs(text, file);
    free(text);
}

EXPORT void FFTW(print_plan)(const plan *p) {
    FFTW(fprint_plan)(p, stdout);
}

// ---- Versions -----------------------------------------------------------------------------------
// Programs look at the first words, and linkers copy the original's number of bytes into some.

extern "C" {
__attribute__((visibility("default"))) extern const char FFTW(version)[21] = FFTW_TEXT
#ifdef LYRA_COMPAT_FLOAT
    "-3.3.10-lyr_fft";
#else
    "-3.3.10-lyra_fft";
#endif
__attribute__((visibility("default"))) extern const char FFTW(cc)[96] = "c++";
__attribute__((visibility("default"))) extern const char FFTW(codelet_optim)[1] = "";
}
