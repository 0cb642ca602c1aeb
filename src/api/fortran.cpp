// Fortran entry points: the C functions with a trailing underscore. Scalars arrive by reference,
// arrays and plans' arrays as the addresses they already are, plan handles as 64-bit integers.
#include "interface.h"
#include "precision.h"

using lyr::scalar;

#pragma GCC visibility push(default)
extern "C" {

lyr_fft_plan lyr_fft_plan_dft_1d_(const int *n, lyr_fft_complex *in, lyr_fft_complex *out,
                                  const int *sign, const unsigned *flags) {
    return lyr_fft_plan_dft_1d(*n, in, out, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_2d_(const int *n0, const int *n1, lyr_fft_complex *in,
                                  lyr_fft_complex *out, const int *sign, const unsigned *flags) {
    return lyr_fft_plan_dft_2d(*n0, *n1, in, out, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_3d_(const int *n0, const int *n1, const int *n2, lyr_fft_complex *in,
                                  lyr_fft_complex *out, const int *sign, const unsigned *flags) {
    return lyr_fft_plan_dft_3d(*n0, *n1, *n2, in, out, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_(const int *rank, const int *n, lyr_fft_complex *in,
                               lyr_fft_complex *out, const int *sign, const unsigned *flags) {
    return lyr_fft_plan_dft(*rank, n, in, out, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_many_dft_(const int *rank, const int *n, const int *howmany,
                                    lyr_fft_complex *in, const int *inembed, const int *istride,
                                    const int *idist, lyr_fft_complex *out, const int *onembed,
                                    const int *ostride, const int *odist, const int *sign,
                                    const unsigned *flags) {
    return lyr_fft_plan_many_dft(*rank, n, *howmany, in, inembed, *istride, *idist, out, onembed,
                                 *ostride, *odist, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_1d_(const int *n, scalar *in, lyr_fft_complex *out,
                                      const unsigned *flags) {
    return lyr_fft_plan_dft_r2c_1d(*n, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_2d_(const int *n0, const int *n1, scalar *in,
                                      lyr_fft_complex *out, const unsigned *flags) {
    return lyr_fft_plan_dft_r2c_2d(*n0, *n1, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_3d_(const int *n0, const int *n1, const int *n2, scalar *in,
                                      lyr_fft_complex *out, const unsigned *flags) {
    return lyr_fft_plan_dft_r2c_3d(*n0, *n1, *n2, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_(const int *rank, const int *n, scalar *in, lyr_fft_complex *out,
                                   const unsigned *flags) {
    return lyr_fft_plan_dft_r2c(*rank, n, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_many_dft_r2c_(const int *rank, const int *n, const int *howmany,
                                        scalar *in, const int *inembed, const int *istride,
                                        const int *idist, lyr_fft_complex *out, const int *onembed,
                                        const int *ostride, const int *odist,
                                        const unsigned *flags) {
    return lyr_fft_plan_many_dft_r2c(*rank, n, *howmany, in, inembed, *istride, *idist, out,
                                     onembed, *ostride, *odist, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_1d_(const int *n, lyr_fft_complex *in, scalar *out,
                                      const unsigned *flags) {
    return lyr_fft_plan_dft_c2r_1d(*n, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_2d_(const int *n0, const int *n1, lyr_fft_complex *in,
                                      scalar *out, const unsigned *flags) {
    return lyr_fft_plan_dft_c2r_2d(*n0, *n1, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_3d_(const int *n0, const int *n1, const int *n2,
                                      lyr_fft_complex *in, scalar *out, const unsigned *flags) {
    return lyr_fft_plan_dft_c2r_3d(*n0, *n1, *n2, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_(const int *rank, const int *n, lyr_fft_complex *in, scalar *out,
                                   const unsigned *flags) {
    return lyr_fft_plan_dft_c2r(*rank, n, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_many_dft_c2r_(const int *rank, const int *n, const int *howmany,
                                        lyr_fft_complex *in, const int *inembed, const int *istride,
                                        const int *idist, scalar *out, const int *onembed,
                                        const int *ostride, const int *odist,
                                        const unsigned *flags) {
    return lyr_fft_plan_many_dft_c2r(*rank, n, *howmany, in, inembed, *istride, *idist, out,
                                     onembed, *ostride, *odist, *flags);
}

lyr_fft_plan lyr_fft_plan_r2r_1d_(const int *n, scalar *in, scalar *out,
                                  const lyr_fft_r2r_kind *kind, const unsigned *flags) {
    return lyr_fft_plan_r2r_1d(*n, in, out, *kind, *flags);
}

lyr_fft_plan lyr_fft_plan_r2r_2d_(const int *n0, const int *n1, scalar *in, scalar *out,
                                  const lyr_fft_r2r_kind *kind0, const lyr_fft_r2r_kind *kind1,
                                  const unsigned *flags) {
    return lyr_fft_plan_r2r_2d(*n0, *n1, in, out, *kind0, *kind1, *flags);
}

lyr_fft_plan lyr_fft_plan_r2r_3d_(const int *n0, const int *n1, const int *n2, scalar *in,
                                  scalar *out, const lyr_fft_r2r_kind *kind0,
                                  const lyr_fft_r2r_kind *kind1, const lyr_fft_r2r_kind *kind2,
                                  const unsigned *flags) {
    return lyr_fft_plan_r2r_3d(*n0, *n1, *n2, in, out, *kind0, *kind1, *kind2, *flags);
}

lyr_fft_plan lyr_fft_plan_r2r_(const int *rank, const int *n, scalar *in, scalar *out,
                               const lyr_fft_r2r_kind *kind, const unsigned *flags) {
    return lyr_fft_plan_r2r(*rank, n, in, out, kind, *flags);
}

lyr_fft_plan lyr_fft_plan_many_r2r_(const int *rank, const int *n, const int *howmany, scalar *in,
                                    const int *inembed, const int *istride, const int *idist,
                                    scalar *out, const int *onembed, const int *ostride,
                                    const int *odist, const lyr_fft_r2r_kind *kind,
                                    const unsigned *flags) {
    return lyr_fft_plan_many_r2r(*rank, n, *howmany, in, inembed, *istride, *idist, out, onembed,
                                 *ostride, *odist, kind, *flags);
}

lyr_fft_plan lyr_fft_plan_guru_dft_(const int *rank, const lyr_fft_iodim *dims,
                                    const int *howmany_rank, const lyr_fft_iodim *howmany_dims,
                                    lyr_fft_complex *in, lyr_fft_complex *out, const int *sign,
                                    const unsigned *flags) {
    return lyr_fft_plan_guru_dft(*rank, dims, *howmany_rank, howmany_dims, in, out, *sign, *flags);
}

lyr_fft_plan lyr_fft_plan_guru_dft_r2c_(const int *rank, const lyr_fft_iodim *dims,
                                        const int *howmany_rank, const lyr_fft_iodim *howmany_dims,
                                        scalar *in, lyr_fft_complex *out, const unsigned *flags) {
    return lyr_fft_plan_guru_dft_r2c(*rank, dims, *howmany_rank, howmany_dims, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_guru_dft_c2r_(const int *rank, const lyr_fft_iodim *dims,
                                        const int *howmany_rank, const lyr_fft_iodim *howmany_dims,
                                        lyr_fft_complex *in, scalar *out, const unsigned *flags) {
    return lyr_fft_plan_guru_dft_c2r(*rank, dims, *howmany_rank, howmany_dims, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_guru_r2r_(const int *rank, const lyr_fft_iodim *dims,
                                    const int *howmany_rank, const lyr_fft_iodim *howmany_dims,
                                    scalar *in, scalar *out, const lyr_fft_r2r_kind *kind,
                                    const unsigned *flags) {
    return lyr_fft_plan_guru_r2r(*rank, dims, *howmany_rank, howmany_dims, in, out, kind, *flags);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft_(const int *rank, const lyr_fft_iodim *dims,
                                          const int *howmany_rank,
                                          const lyr_fft_iodim *howmany_dims, scalar *ri, scalar *ii,
                                          scalar *ro, scalar *io, const unsigned *flags) {
    return lyr_fft_plan_guru_split_dft(*rank, dims, *howmany_rank, howmany_dims, ri, ii, ro, io,
                                       *flags);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft_r2c_(const int *rank, const lyr_fft_iodim *dims,
                                              const int *howmany_rank,
                                              const lyr_fft_iodim *howmany_dims, scalar *in,
                                              scalar *ro, scalar *io, const unsigned *flags) {
    return lyr_fft_plan_guru_split_dft_r2c(*rank, dims, *howmany_rank, howmany_dims, in, ro, io,
                                           *flags);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft_c2r_(const int *rank, const lyr_fft_iodim *dims,
                                              const int *howmany_rank,
                                              const lyr_fft_iodim *howmany_dims, scalar *ri,
                                              scalar *ii, scalar *out, const unsigned *flags) {
    return lyr_fft_plan_guru_split_dft_c2r(*rank, dims, *howmany_rank, howmany_dims, ri, ii, out,
                                           *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_dft_(const int *rank, const lyr_fft_iodim64 *dims,
                                      const int *howmany_rank, const lyr_fft_iodim64 *howmany_dims,
                                      lyr_fft_complex *in, lyr_fft_complex *out, const int *sign,
                                      const unsigned *flags) {
    return lyr_fft_plan_guru64_dft(*rank, dims, *howmany_rank, howmany_dims, in, out, *sign,
                                   *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_dft_r2c_(const int *rank, const lyr_fft_iodim64 *dims,
                                          const int *howmany_rank,
                                          const lyr_fft_iodim64 *howmany_dims, scalar *in,
                                          lyr_fft_complex *out, const unsigned *flags) {
    return lyr_fft_plan_guru64_dft_r2c(*rank, dims, *howmany_rank, howmany_dims, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_dft_c2r_(const int *rank, const lyr_fft_iodim64 *dims,
                                          const int *howmany_rank,
                                          const lyr_fft_iodim64 *howmany_dims, lyr_fft_complex *in,
                                          scalar *out, const unsigned *flags) {
    return lyr_fft_plan_guru64_dft_c2r(*rank, dims, *howmany_rank, howmany_dims, in, out, *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_r2r_(const int *rank, const lyr_fft_iodim64 *dims,
                                      const int *howmany_rank, const lyr_fft_iodim64 *howmany_dims,
                                      scalar *in, scalar *out, const lyr_fft_r2r_kind *kind,
                                      const unsigned *flags) {
    return lyr_fft_plan_guru64_r2r(*rank, dims, *howmany_rank, howmany_dims, in, out, kind, *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft_(const int *rank, const lyr_fft_iodim64 *dims,
                                            const int *howmany_rank,
                                            const lyr_fft_iodim64 *howmany_dims, scalar *ri,
                                            scalar *ii, scalar *ro, scalar *io,
                                            const unsigned *flags) {
    return lyr_fft_plan_guru64_split_dft(*rank, dims, *howmany_rank, howmany_dims, ri, ii, ro, io,
                                         *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft_r2c_(const int *rank, const lyr_fft_iodim64 *dims,
                                                const int *howmany_rank,
                                                const lyr_fft_iodim64 *howmany_dims, scalar *in,
                                                scalar *ro, scalar *io, const unsigned *flags) {
    return lyr_fft_plan_guru64_split_dft_r2c(*rank, dims, *howmany_rank, howmany_dims, in, ro, io,
                                             *flags);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft_c2r_(const int *rank, const lyr_fft_iodim64 *dims,
                                                const int *howmany_rank,
                                                const lyr_fft_iodim64 *howmany_dims, scalar *ri,
                                                scalar *ii, scalar *out, const unsigned *flags) {
    return lyr_fft_plan_guru64_split_dft_c2r(*rank, dims, *howmany_rank, howmany_dims, ri, ii, out,
                                             *flags);
}

void lyr_fft_execute_(const lyr_fft_plan *plan) {
    lyr_fft_execute(*plan);
}

void lyr_fft_execute_dft_(const lyr_fft_plan *plan, lyr_fft_complex *in, lyr_fft_complex *out) {
    lyr_fft_execute_dft(*plan, in, out);
}

void lyr_fft_execute_dft_r2c_(const lyr_fft_plan *plan, scalar *in, lyr_fft_complex *out) {
    lyr_fft_execute_dft_r2c(*plan, in, out);
}

void lyr_fft_execute_dft_c2r_(const lyr_fft_plan *plan, lyr_fft_complex *in, scalar *out) {
    lyr_fft_execute_dft_c2r(*plan, in, out);
}

void lyr_fft_execute_r2r_(const lyr_fft_plan *plan, scalar *in, scalar *out) {
    lyr_fft_execute_r2r(*plan, in, out);
}

void lyr_fft_execute_split_dft_(const lyr_fft_plan *plan, scalar *ri, scalar *ii, scalar *ro,
                                scalar *io) {
    lyr_fft_execute_split_dft(*plan, ri, ii, ro, io);
}

void lyr_fft_execute_split_dft_r2c_(const lyr_fft_plan *plan, scalar *in, scalar *ro, scalar *io) {
    lyr_fft_execute_split_dft_r2c(*plan, in, ro, io);
}

void lyr_fft_execute_split_dft_c2r_(const lyr_fft_plan *plan, scalar *ri, scalar *ii, scalar *out) {
    lyr_fft_execute_split_dft_c2r(*plan, ri, ii, out);
}

void lyr_fft_destroy_plan_(const lyr_fft_plan *plan) {
    lyr_fft_destroy_plan(*plan);
}

void lyr_fft_cleanup_() {
    lyr_fft_cleanup();
}

void *lyr_fft_malloc_(const size_t *n) {
    return lyr_fft_malloc(*n);
}

void lyr_fft_free_(void *p) {
    lyr_fft_free(p);
}

int lyr_fft_init_threads_() {
    return lyr_fft_init_threads();
}

void lyr_fft_plan_with_nthreads_(const int *nthreads) {
    lyr_fft_plan_with_nthreads(*nthreads);
}

void lyr_fft_cleanup_threads_() {
    lyr_fft_cleanup_threads();
}

}  // extern "C"
#pragma GCC visibility pop
