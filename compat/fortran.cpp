// Entry points of the interface's older Fortran form: arguments by reference, plans as 64-bit
// integers, dimensions and their kinds in Fortran's order (but for guru constructors), results as a
// first argument. Each exists
// with one and with two trailing underscores.
#include <cstdio>
#include <cstdlib>

#include "plan.h"

using namespace compat;

namespace {

// Lengths, extents and kinds in C's order.
struct reversed {
    explicit reversed(int rank, const int *values) {
        if (rank < 1 || rank > most_dimensions || !values) return;
        for (int k = 0; k < rank; ++k) at[k] = values[rank - 1 - k];
        given = true;
    }
    const int *get() const { return given ? at : nullptr; }
    int at[most_dimensions];
    bool given = false;
};

// The dimensions of guru constructors keep the order they are given in.
struct guru_dims {
    guru_dims(int rank, const int *n, const int *is, const int *os) {
        for (int k = 0; k < rank && k < most_dimensions; ++k) at[k] = {n[k], is[k], os[k]};
    }
    iodim at[most_dimensions];
};

request c2c(real *in, real *out, int sign, int flags) {
    return {problem_kind::c2c,
            sign,
            false,
            {in, nullptr, out, nullptr},
            static_cast<unsigned>(flags),
            nullptr};
}
request other(problem_kind kind, real *in, real *out, int flags, const int *kinds = nullptr) {
    return {kind, 0, false, {in, nullptr, out, nullptr}, static_cast<unsigned>(flags), kinds};
}
request split(problem_kind kind, const arrays &a, int flags) {
    return {kind, -1, true, a, static_cast<unsigned>(flags), nullptr};
}

plan *basic(const request &r, int rank, const int *n) {
    if (rank > most_dimensions) return nullptr;
    const reversed lengths(rank, n);
    return make_plan(r, {rank, lengths.get(), 1, nullptr, 1, 0, nullptr, 1, 0});
}

plan *many(const request &r, const int *rank, const int *n, const int *howmany, const int *inembed,
           const int *istride, const int *idist, const int *onembed, const int *ostride,
           const int *odist) {
    if (*rank > most_dimensions) return nullptr;
    const reversed lengths(*rank, n), in(*rank, inembed), out(*rank, onembed);
    return make_plan(r, {*rank, lengths.get(), *howmany, in.get(), *istride, *idist, out.get(),
                         *ostride, *odist});
}

struct guru_arguments {
    const int *rank, *n, *is, *os, *howmany_rank, *h_n, *h_is, *h_os;
};

plan *guru(const request &r, const guru_arguments &g) {
    if (*g.rank > most_dimensions || *g.howmany_rank > most_dimensions) return nullptr;
    const guru_dims dims(*g.rank, g.n, g.is, g.os);
    const guru_dims batch(*g.howmany_rank, g.h_n, g.h_is, g.h_os);
    return make_plan(r, *g.rank, dims.at, *g.howmany_rank, batch.at);
}

// The wisdom functions call back with the character by reference.
using fortran_write = void (*)(char *c, void *data);
using fortran_read = void (*)(int *c, void *data);
struct write_context {
    fortran_write write;
    void *data;
};
struct read_context {
    fortran_read read;
    void *data;
};
void write_one(char c, void *context) {
    const write_context *w = static_cast<write_context *>(context);
    w->write(&c, w->data);
}
int read_one(void *context) {
    const read_context *r = static_cast<read_context *>(context);
    int c = EOF;
    r->read(&c, r->data);
    return c < 0 ? EOF : static_cast<unsigned char>(c);
}

}  // namespace

extern "C" {
void FFTW(execute)(const plan *);
void FFTW(execute_dft)(const plan *, complex *, complex *);
void FFTW(execute_split_dft)(const plan *, real *, real *, real *, real *);
void FFTW(execute_split_dft_r2c)(const plan *, real *, real *, real *);
void FFTW(execute_split_dft_c2r)(const plan *, real *, real *, real *);
void FFTW(execute_r2r)(const plan *, real *, real *);
void FFTW(destroy_plan)(plan *);
void FFTW(print_plan)(const plan *);
void FFTW(flops)(const plan *, double *, double *, double *);
double FFTW(estimate_cost)(const plan *);
double FFTW(cost)(const plan *);
void FFTW(cleanup)();
void FFTW(forget_wisdom)();
void FFTW(export_wisdom)(void (*)(char, void *), void *);
int FFTW(import_wisdom)(int (*)(void *), void *);
int FFTW(import_system_wisdom)();
void FFTW(set_timelimit)(double);
int FFTW(init_threads)();
void FFTW(plan_with_nthreads)(int);
int FFTW(planner_nthreads)();
void FFTW(cleanup_threads)();
}

// One definition, two names.
#define BOTH(name, parameters, ...)                                                             \
    EXPORT void FFTW_FORTRAN(name##_) parameters __VA_ARGS__ EXPORT void FFTW_FORTRAN(name##__) \
        parameters __attribute__((alias(TEXT_OF(name##_))));
#define TEXT_OF(name) FFTW_FORTRAN_PREFIX #name

#define GURU_PARAMETERS                                                             \
    const int *rank, const int *n, const int *is, const int *os, const int *h_rank, \
        const int *h_n, const int *h_is, const int *h_os
#define GURU_ARGUMENTS \
    { rank, n, is, os, h_rank, h_n, h_is, h_os }
#define MANY_IN                                                                                  \
    const int *rank, const int *n, const int *howmany, real *in, const int *inembed,             \
        const int *istride, const int *idist, real *out, const int *onembed, const int *ostride, \
        const int *odist
#define MANY_ARGUMENTS rank, n, howmany, inembed, istride, idist, onembed, ostride, odist

// clang-format off
BOTH(plan_dft, (plan **p, const int *rank, const int *n, real *in, real *out, const int *sign, const int *flags),
     { *p = basic(c2c(in, out, *sign, *flags), *rank, n); })
BOTH(plan_dft_1d, (plan **p, const int *n, real *in, real *out, const int *sign, const int *flags),
     { *p = basic(c2c(in, out, *sign, *flags), 1, n); })
BOTH(plan_dft_2d, (plan **p, const int *nx, const int *ny, real *in, real *out, const int *sign, const int *flags),
     { const int n[] = {*nx, *ny}; *p = basic(c2c(in, out, *sign, *flags), 2, n); })
BOTH(plan_dft_3d, (plan **p, const int *nx, const int *ny, const int *nz, real *in, real *out, const int *sign, const int *flags),
     { const int n[] = {*nx, *ny, *nz}; *p = basic(c2c(in, out, *sign, *flags), 3, n); })
BOTH(plan_many_dft, (plan **p, MANY_IN, const int *sign, const int *flags),
     { *p = many(c2c(in, out, *sign, *flags), MANY_ARGUMENTS); })
BOTH(plan_guru_dft, (plan **p, GURU_PARAMETERS, real *in, real *out, const int *sign, const int *flags),
     { *p = guru(c2c(in, out, *sign, *flags), GURU_ARGUMENTS); })
BOTH(plan_guru_split_dft, (plan **p, GURU_PARAMETERS, real *ri, real *ii, real *ro, real *io, const int *flags),
     { *p = guru(split(problem_kind::c2c, {ri, ii, ro, io}, *flags), GURU_ARGUMENTS); })

BOTH(plan_dft_r2c, (plan **p, const int *rank, const int *n, real *in, real *out, const int *flags),
     { *p = basic(other(problem_kind::r2c, in, out, *flags), *rank, n); })
BOTH(plan_dft_r2c_1d, (plan **p, const int *n, real *in, real *out, const int *flags),
     { *p = basic(other(problem_kind::r2c, in, out, *flags), 1, n); })
BOTH(plan_dft_r2c_2d, (plan **p, const int *nx, const int *ny, real *in, real *out, const int *flags),
     { const int n[] = {*nx, *ny}; *p = basic(other(problem_kind::r2c, in, out, *flags), 2, n); })
BOTH(plan_dft_r2c_3d, (plan **p, const int *nx, const int *ny, const int *nz, real *in, real *out, const int *flags),
     { const int n[] = {*nx, *ny, *nz}; *p = basic(other(problem_kind::r2c, in, out, *flags), 3, n); })
BOTH(plan_many_dft_r2c, (plan **p, MANY_IN, const int *flags),
     { *p = many(other(problem_kind::r2c, in, out, *flags), MANY_ARGUMENTS); })
BOTH(plan_guru_dft_r2c, (plan **p, GURU_PARAMETERS, real *in, real *out, const int *flags),
     { *p = guru(other(problem_kind::r2c, in, out, *flags), GURU_ARGUMENTS); })
BOTH(plan_guru_split_dft_r2c, (plan **p, GURU_PARAMETERS, real *in, real *ro, real *io, const int *flags),
     { *p = guru(split(problem_kind::r2c, {in, nullptr, ro, io}, *flags), GURU_ARGUMENTS); })

BOTH(plan_dft_c2r, (plan **p, const int *rank, const int *n, real *in, real *out, const int *flags),
     { *p = basic(other(problem_kind::c2r, in, out, *flags), *rank, n); })
BOTH(plan_dft_c2r_1d, (plan **p, const int *n, real *in, real *out, const int *flags),
     { *p = basic(other(problem_kind::c2r, in, out, *flags), 1, n); })
BOTH(plan_dft_c2r_2d, (plan **p, const int *nx, const int *ny, real *in, real *out, const int *flags),
     { const int n[] = {*nx, *ny}; *p = basic(other(problem_kind::c2r, in, out, *flags), 2, n); })
BOTH(plan_dft_c2r_3d, (plan **p, const int *nx, const int *ny, const int *nz, real *in, real *out, const int *flags),
     { const int n[] = {*nx, *ny, *nz}; *p = basic(other(problem_kind::c2r, in, out, *flags), 3, n); })
BOTH(plan_many_dft_c2r, (plan **p, MANY_IN, const int *flags),
     { *p = many(other(problem_kind::c2r, in, out, *flags), MANY_ARGUMENTS); })
BOTH(plan_guru_dft_c2r, (plan **p, GURU_PARAMETERS, real *in, real *out, const int *flags),
     { *p = guru(other(problem_kind::c2r, in, out, *flags), GURU_ARGUMENTS); })
BOTH(plan_guru_split_dft_c2r, (plan **p, GURU_PARAMETERS, real *ri, real *ii, real *out, const int *flags),
     { *p = guru(split(problem_kind::c2r, {ri, ii, out, nullptr}, *flags), GURU_ARGUMENTS); })

BOTH(plan_r2r, (plan **p, const int *rank, const int *n, real *in, real *out, const int *kinds, const int *flags),
     { const reversed k(*rank, kinds); *p = basic(other(problem_kind::r2r, in, out, *flags, k.get()), *rank, n); })
BOTH(plan_r2r_1d, (plan **p, const int *n, real *in, real *out, const int *kind, const int *flags),
     { *p = basic(other(problem_kind::r2r, in, out, *flags, kind), 1, n); })
BOTH(plan_r2r_2d, (plan **p, const int *nx, const int *ny, real *in, real *out, const int *kx, const int *ky, const int *flags),
     { const int n[] = {*nx, *ny}, k[] = {*ky, *kx}; *p = basic(other(problem_kind::r2r, in, out, *flags, k), 2, n); })
BOTH(plan_r2r_3d, (plan **p, const int *nx, const int *ny, const int *nz, real *in, real *out, const int *kx, const int *ky, const int *kz, const int *flags),
     { const int n[] = {*nx, *ny, *nz}, k[] = {*kz, *ky, *kx}; *p = basic(other(problem_kind::r2r, in, out, *flags, k), 3, n); })
BOTH(plan_many_r2r, (plan **p, MANY_IN, const int *kinds, const int *flags),
     { const reversed k(*rank, kinds); *p = many(other(problem_kind::r2r, in, out, *flags, k.get()), MANY_ARGUMENTS); })
BOTH(plan_guru_r2r, (plan **p, GURU_PARAMETERS, real *in, real *out, const int *kinds, const int *flags),
     { *p = guru(other(problem_kind::r2r, in, out, *flags, kinds), GURU_ARGUMENTS); })

BOTH(execute, (plan *const *p), { FFTW(execute)(*p); })
BOTH(execute_dft, (plan *const *p, complex *in, complex *out), { FFTW(execute_dft)(*p, in, out); })
BOTH(execute_split_dft, (plan *const *p, real *ri, real *ii, real *ro, real *io), { FFTW(execute_split_dft)(*p, ri, ii, ro, io); })
BOTH(execute_dft_r2c, (plan *const *p, complex *in, complex *out), { FFTW(execute_dft)(*p, in, out); })
BOTH(execute_split_dft_r2c, (plan *const *p, real *in, real *ro, real *io), { FFTW(execute_split_dft_r2c)(*p, in, ro, io); })
BOTH(execute_dft_c2r, (plan *const *p, complex *in, complex *out), { FFTW(execute_dft)(*p, in, out); })
BOTH(execute_split_dft_c2r, (plan *const *p, real *ri, real *ii, real *out), { FFTW(execute_split_dft_c2r)(*p, ri, ii, out); })
BOTH(execute_r2r, (plan *const *p, real *in, real *out), { FFTW(execute_r2r)(*p, in, out); })
BOTH(destroy_plan, (plan **p), { FFTW(destroy_plan)(*p); })

BOTH(cleanup, (), { FFTW(cleanup)(); })
BOTH(forget_wisdom, (), { FFTW(forget_wisdom)(); })
BOTH(export_wisdom, (fortran_write write, void *data), { write_context w = {write, data}; FFTW(export_wisdom)(write_one, &w); })
BOTH(import_wisdom, (int *success, fortran_read read, void *data), { read_context r = {read, data}; *success = FFTW(import_wisdom)(read_one, &r); })
BOTH(import_system_wisdom, (int *success), { *success = FFTW(import_system_wisdom)(); })
BOTH(print_plan, (plan *const *p), { FFTW(print_plan)(*p); fflush(stdout); })
BOTH(flops, (plan *const *p, double *add, double *mul, double *fma), { FFTW(flops)(*p, add, mul, fma); })
BOTH(estimate_cost, (double *cost, plan *const *p), { *cost = FFTW(estimate_cost)(*p); })
BOTH(cost, (double *cost, plan *const *p), { *cost = FFTW(cost)(*p); })
BOTH(set_timelimit, (const double *seconds), { FFTW(set_timelimit)(*seconds); })
BOTH(init_threads, (int *success), { *success = FFTW(init_threads)(); })
BOTH(plan_with_nthreads, (const int *nthreads), { FFTW(plan_with_nthreads)(*nthreads); })
BOTH(planner_nthreads, (int *nthreads), { *nthreads = FFTW(planner_nthreads)(); })
BOTH(cleanup_threads, (), { FFTW(cleanup_threads)(); })
// clang-format on
