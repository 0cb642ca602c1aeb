// The constructors of the interface: basic, advanced, guru in 32 and 64 bits, split.
#include "plan.h"

using namespace compat;

namespace {

real *reals(complex *array) {
    return reinterpret_cast<real *>(array);
}

request c2c(complex *in, complex *out, int sign, unsigned flags) {
    return {
        problem_kind::c2c, sign, false, {reals(in), nullptr, reals(out), nullptr}, flags, nullptr};
}
request r2c(real *in, complex *out, unsigned flags) {
    return {problem_kind::r2c, 0, false, {in, nullptr, reals(out), nullptr}, flags, nullptr};
}
request c2r(complex *in, real *out, unsigned flags) {
    return {problem_kind::c2r, 0, false, {reals(in), nullptr, out, nullptr}, flags, nullptr};
}
request r2r(real *in, real *out, const int *kinds, unsigned flags) {
    return {problem_kind::r2r, 0, false, {in, nullptr, out, nullptr}, flags, kinds};
}
request split_c2c(real *ri, real *ii, real *ro, real *io, unsigned flags) {
    return {problem_kind::c2c, -1, true, {ri, ii, ro, io}, flags, nullptr};
}
request split_r2c(real *in, real *ro, real *io, unsigned flags) {
    return {problem_kind::r2c, 0, true, {in, nullptr, ro, io}, flags, nullptr};
}
request split_c2r(real *ri, real *ii, real *out, unsigned flags) {
    return {problem_kind::c2r, 0, true, {ri, ii, out, nullptr}, flags, nullptr};
}

many_layout contiguous(int rank, const int *n) {
    return {rank, n, 1, nullptr, 1, 0, nullptr, 1, 0};
}

}  // namespace

// ---- Complex ------------------------------------------------------------------------------------

EXPORT plan *FFTW(plan_dft)(int rank, const int *n, complex *in, complex *out, int sign,
                            unsigned flags) {
    return make_plan(c2c(in, out, sign, flags), contiguous(rank, n));
}

EXPORT plan *FFTW(plan_dft_1d)(int n, complex *in, complex *out, int sign, unsigned flags) {
    return make_plan(c2c(in, out, sign, flags), contiguous(1, &n));
}

EXPORT plan *FFTW(plan_dft_2d)(int n0, int n1, complex *in, complex *out, int sign,
                               unsigned flags) {
    const int n[] = {n0, n1};
    return make_plan(c2c(in, out, sign, flags), contiguous(2, n));
}

EXPORT plan *FFTW(plan_dft_3d)(int n0, int n1, int n2, complex *in, complex *out, int sign,
                               unsigned flags) {
    const int n[] = {n0, n1, n2};
    return make_plan(c2c(in, out, sign, flags), contiguous(3, n));
}

EXPORT plan *FFTW(plan_many_dft)(int rank, const int *n, int howmany, complex *in,
                                 const int *inembed, int istride, int idist, complex *out,
                                 const int *onembed, int ostride, int odist, int sign,
                                 unsigned flags) {
    return make_plan(c2c(in, out, sign, flags),
                     {rank, n, howmany, inembed, istride, idist, onembed, ostride, odist});
}

EXPORT plan *FFTW(plan_guru_dft)(int rank, const iodim *dims, int howmany_rank,
                                 const iodim *howmany_dims, complex *in, complex *out, int sign,
                                 unsigned flags) {
    return make_plan(c2c(in, out, sign, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_dft)(int rank, const iodim64 *dims, int howmany_rank,
                                   const iodim64 *howmany_dims, complex *in, complex *out, int sign,
                                   unsigned flags) {
    return make_plan(c2c(in, out, sign, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru_split_dft)(int rank, const iodim *dims, int howmany_rank,
                                       const iodim *howmany_dims, real *ri, real *ii, real *ro,
                                       real *io, unsigned flags) {
    return make_plan(split_c2c(ri, ii, ro, io, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_split_dft)(int rank, const iodim64 *dims, int howmany_rank,
                                         const iodim64 *howmany_dims, real *ri, real *ii, real *ro,
                                         real *io, unsigned flags) {
    return make_plan(split_c2c(ri, ii, ro, io, flags), rank, dims, howmany_rank, howmany_dims);
}

// ---- Real to complex ----------------------------------------------------------------------------

EXPORT plan *FFTW(plan_dft_r2c)(int rank, const int *n, real *in, complex *out, unsigned flags) {
    return make_plan(r2c(in, out, flags), contiguous(rank, n));
}

EXPORT plan *FFTW(plan_dft_r2c_1d)(int n, real *in, complex *out, unsigned flags) {
    return make_plan(r2c(in, out, flags), contiguous(1, &n));
}

EXPORT plan *FFTW(plan_dft_r2c_2d)(int n0, int n1, real *in, complex *out, unsigned flags) {
    const int n[] = {n0, n1};
    return make_plan(r2c(in, out, flags), contiguous(2, n));
}

EXPORT plan *FFTW(plan_dft_r2c_3d)(int n0, int n1, int n2, real *in, complex *out, unsigned flags) {
    const int n[] = {n0, n1, n2};
    return make_plan(r2c(in, out, flags), contiguous(3, n));
}

EXPORT plan *FFTW(plan_many_dft_r2c)(int rank, const int *n, int howmany, real *in,
                                     const int *inembed, int istride, int idist, complex *out,
                                     const int *onembed, int ostride, int odist, unsigned flags) {
    return make_plan(r2c(in, out, flags),
                     {rank, n, howmany, inembed, istride, idist, onembed, ostride, odist});
}

EXPORT plan *FFTW(plan_guru_dft_r2c)(int rank, const iodim *dims, int howmany_rank,
                                     const iodim *howmany_dims, real *in, complex *out,
                                     unsigned flags) {
    return make_plan(r2c(in, out, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_dft_r2c)(int rank, const iodim64 *dims, int howmany_rank,
                                       const iodim64 *howmany_dims, real *in, complex *out,
                                       unsigned flags) {
    return make_plan(r2c(in, out, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru_split_dft_r2c)(int rank, const iodim *dims, int howmany_rank,
                                           const iodim *howmany_dims, real *in, real *ro, real *io,
                                           unsigned flags) {
    return make_plan(split_r2c(in, ro, io, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_split_dft_r2c)(int rank, const iodim64 *dims, int howmany_rank,
                                             const iodim64 *howmany_dims, real *in, real *ro,
                                             real *io, unsigned flags) {
    return make_plan(split_r2c(in, ro, io, flags), rank, dims, howmany_rank, howmany_dims);
}

// ---- Complex to real ----------------------------------------------------------------------------

EXPORT plan *FFTW(plan_dft_c2r)(int rank, const int *n, complex *in, real *out, unsigned flags) {
    return make_plan(c2r(in, out, flags), contiguous(rank, n));
}

EXPORT plan *FFTW(plan_dft_c2r_1d)(int n, complex *in, real *out, unsigned flags) {
    return make_plan(c2r(in, out, flags), contiguous(1, &n));
}

EXPORT plan *FFTW(plan_dft_c2r_2d)(int n0, int n1, complex *in, real *out, unsigned flags) {
    const int n[] = {n0, n1};
    return make_plan(c2r(in, out, flags), contiguous(2, n));
}

EXPORT plan *FFTW(plan_dft_c2r_3d)(int n0, int n1, int n2, complex *in, real *out, unsigned flags) {
    const int n[] = {n0, n1, n2};
    return make_plan(c2r(in, out, flags), contiguous(3, n));
}

EXPORT plan *FFTW(plan_many_dft_c2r)(int rank, const int *n, int howmany, complex *in,
                                     const int *inembed, int istride, int idist, real *out,
                                     const int *onembed, int ostride, int odist, unsigned flags) {
    return make_plan(c2r(in, out, flags),
                     {rank, n, howmany, inembed, istride, idist, onembed, ostride, odist});
}

EXPORT plan *FFTW(plan_guru_dft_c2r)(int rank, const iodim *dims, int howmany_rank,
                                     const iodim *howmany_dims, complex *in, real *out,
                                     unsigned flags) {
    return make_plan(c2r(in, out, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_dft_c2r)(int rank, const iodim64 *dims, int howmany_rank,
                                       const iodim64 *howmany_dims, complex *in, real *out,
                                       unsigned flags) {
    return make_plan(c2r(in, out, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru_split_dft_c2r)(int rank, const iodim *dims, int howmany_rank,
                                           const iodim *howmany_dims, real *ri, real *ii, real *out,
                                           unsigned flags) {
    return make_plan(split_c2r(ri, ii, out, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_split_dft_c2r)(int rank, const iodim64 *dims, int howmany_rank,
                                             const iodim64 *howmany_dims, real *ri, real *ii,
                                             real *out, unsigned flags) {
    return make_plan(split_c2r(ri, ii, out, flags), rank, dims, howmany_rank, howmany_dims);
}

// ---- Real to real -------------------------------------------------------------------------------
// Kinds are an enumeration of the interface, as wide as an int.

EXPORT plan *FFTW(plan_r2r)(int rank, const int *n, real *in, real *out, const int *kind,
                            unsigned flags) {
    return make_plan(r2r(in, out, kind, flags), contiguous(rank, n));
}

EXPORT plan *FFTW(plan_r2r_1d)(int n, real *in, real *out, int kind, unsigned flags) {
    return make_plan(r2r(in, out, &kind, flags), contiguous(1, &n));
}

EXPORT plan *FFTW(plan_r2r_2d)(int n0, int n1, real *in, real *out, int kind0, int kind1,
                               unsigned flags) {
    const int n[] = {n0, n1}, kinds[] = {kind0, kind1};
    return make_plan(r2r(in, out, kinds, flags), contiguous(2, n));
}

EXPORT plan *FFTW(plan_r2r_3d)(int n0, int n1, int n2, real *in, real *out, int kind0, int kind1,
                               int kind2, unsigned flags) {
    const int n[] = {n0, n1, n2}, kinds[] = {kind0, kind1, kind2};
    return make_plan(r2r(in, out, kinds, flags), contiguous(3, n));
}

EXPORT plan *FFTW(plan_many_r2r)(int rank, const int *n, int howmany, real *in, const int *inembed,
                                 int istride, int idist, real *out, const int *onembed, int ostride,
                                 int odist, const int *kind, unsigned flags) {
    return make_plan(r2r(in, out, kind, flags),
                     {rank, n, howmany, inembed, istride, idist, onembed, ostride, odist});
}

EXPORT plan *FFTW(plan_guru_r2r)(int rank, const iodim *dims, int howmany_rank,
                                 const iodim *howmany_dims, real *in, real *out, const int *kind,
                                 unsigned flags) {
    return make_plan(r2r(in, out, kind, flags), rank, dims, howmany_rank, howmany_dims);
}

EXPORT plan *FFTW(plan_guru64_r2r)(int rank, const iodim64 *dims, int howmany_rank,
                                   const iodim64 *howmany_dims, real *in, real *out,
                                   const int *kind, unsigned flags) {
    return make_plan(r2r(in, out, kind, flags), rank, dims, howmany_rank, howmany_dims);
}
