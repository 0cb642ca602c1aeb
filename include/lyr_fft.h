/*
 * LYRA FFT: fast Fourier transforms in double precision.
 *
 *     lyr_fft_plan plan = lyr_fft_plan_dft_1d(n, in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
 *     lyr_fft_execute(plan);
 *     lyr_fft_destroy_plan(plan);
 *
 * A plan describes one transform: its shape, its strides, its direction and the arrays it runs on.
 * Planning reads no data, writes no data, measures nothing and always gives the same plan for the
 * same problem. A plan is executed any number of times, on its own arrays or on new ones of the
 * same layout.
 *
 * Definitions. The forward transform (LYR_FFT_FORWARD) of n complex numbers x is
 *
 *     y[k] = sum over j of x[j] * exp(-2 pi i j k / n),   k = 0 .. n-1,
 *
 * the backward transform (LYR_FFT_BACKWARD) has the positive exponent. Nothing is ever scaled:
 * forward followed by backward returns n times the input. Multidimensional transforms apply the
 * one-dimensional transform along each dimension; arrays are row-major, the last dimension varies
 * fastest.
 *
 * Units. Lengths, strides and distances count elements of the array they belong to: complex numbers
 * for complex arrays, doubles for real arrays. Only lyr_fft_malloc counts bytes.
 *
 * Errors. A constructor returns a null plan when an argument is out of range, when memory runs out
 * or when the library has no way to compute the problem. Nothing is printed and nothing leaks.
 * Every other function ignores a null plan or a null array.
 *
 * Ownership. Arrays belong to the caller, plans to whoever calls lyr_fft_destroy_plan.
 *
 * Promises. Out-of-place transforms never write their input. Arrays need no alignment. The same
 * problem with the same thread count on the same kind of processor gives the same bits on every
 * run, at any alignment of the arrays and at any place in a batch.
 *
 * Threads. Any number of threads may create, execute and destroy plans at the same time, plans that
 * use several threads themselves included, and any number of threads may execute one plan at the
 * same time, on different output arrays. Only destroying a plan must wait until nobody executes it.
 * Executions take up to 16 KiB of the calling thread's stack for scratch memory; longer transforms
 * share blocks that are kept for the next execution, so that only the first execution of a plan by
 * several threads at once allocates memory. Where there is none, threads wait for each other.
 * Blocks are released with the last plan that may use them. A child of fork may execute the plans
 * that it inherited and make new ones.
 *
 * Fortran. Every function is also exported with a trailing underscore (lyr_fft_plan_dft_1d_), takes
 * every argument by reference, and receives and returns plans as 64-bit integers.
 */
#ifndef LYR_FFT_H
#define LYR_FFT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#ifdef __GNUC__
    #pragma GCC visibility push(default)
#endif

/* A plan handle. Null means "no plan". */
typedef struct lyr_fft_plan_s *lyr_fft_plan;

/* A complex number: real part, then imaginary part. With <complex.h> included first, C's own
 * complex type, which has the same representation. */
#if !defined(__cplusplus) && defined(_Complex_I) && defined(complex) && defined(I)
typedef double _Complex lyr_fft_complex;
#else
typedef double lyr_fft_complex[2];
#endif

/* One dimension of a transform or of a batch: length, input stride and output stride, in elements.
 */
typedef struct {
    int n;
    int is;
    int os;
} lyr_fft_iodim;

typedef struct {
    int64_t n;
    int64_t is;
    int64_t os;
} lyr_fft_iodim64;

/*
 * Real-to-real transforms of n real numbers x[0 .. n-1] to y[0 .. n-1]. Sums run over j = 0 .. n-1
 * unless they say otherwise.
 *
 *   R2HC      y[k] = sum x[j] cos(2 pi j k/n)               for k = 0 .. n/2, rounded down,
 *             y[n-k] = -sum x[j] sin(2 pi j k/n)            for 0 < k < n/2
 *   HC2R      y[k] = x[0] + 2 sum_{0<j<n/2} (x[j] cos(2 pi j k/n) - x[n-j] sin(2 pi j k/n)),
 *             for even n also + (-1)^k x[n/2]
 *   DHT       y[k] = sum x[j] (cos(2 pi j k/n) + sin(2 pi j k/n))
 *   REDFT00   y[k] = x[0] + (-1)^k x[n-1] + 2 sum_{0<j<n-1} x[j] cos(pi j k/(n-1)),   n > 1
 *   REDFT01   y[k] = x[0] + 2 sum_{j>0} x[j] cos(pi j (k+1/2)/n)
 *   REDFT10   y[k] = 2 sum x[j] cos(pi (j+1/2) k/n)
 *   REDFT11   y[k] = 2 sum x[j] cos(pi (j+1/2) (k+1/2)/n)
 *   RODFT00   y[k] = 2 sum x[j] sin(pi (j+1) (k+1)/(n+1))
 *   RODFT01   y[k] = (-1)^k x[n-1] + 2 sum_{j<n-1} x[j] sin(pi (j+1) (k+1/2)/n)
 *   RODFT10   y[k] = 2 sum x[j] sin(pi (j+1/2) (k+1)/n)
 *   RODFT11   y[k] = 2 sum x[j] sin(pi (j+1/2) (k+1/2)/n)
 *
 * R2HC stores the transform X of real numbers in half-complex order: Re X[0], Re X[1], .. Re
 * X[n/2], then Im X[(n-1)/2], .. Im X[1]. REDFTab (RODFTab) transforms a sequence that is even
 * (odd) about its ends: a = 1 when it is so about points half-way between elements, b = 1 when the
 * outputs are. REDFT10 is often called the DCT and REDFT01 its inverse.
 *
 * Nothing is scaled. A kind followed by its inverse returns the input times a factor:
 *
 *   kind      also known as        inverse   factor
 *   R2HC      real DFT             HC2R      n
 *   HC2R      inverse real DFT     R2HC      n
 *   DHT       Hartley transform    DHT       n
 *   REDFT00   DCT-I                REDFT00   2(n-1)
 *   REDFT01   DCT-III              REDFT10   2n
 *   REDFT10   DCT-II               REDFT01   2n
 *   REDFT11   DCT-IV               REDFT11   2n
 *   RODFT00   DST-I                RODFT00   2(n+1)
 *   RODFT01   DST-III              RODFT10   2n
 *   RODFT10   DST-II               RODFT01   2n
 *   RODFT11   DST-IV               RODFT11   2n
 */
typedef enum {
    LYR_FFT_R2HC = 0,
    LYR_FFT_HC2R = 1,
    LYR_FFT_DHT = 2,
    LYR_FFT_REDFT00 = 3,
    LYR_FFT_REDFT01 = 4,
    LYR_FFT_REDFT10 = 5,
    LYR_FFT_REDFT11 = 6,
    LYR_FFT_RODFT00 = 7,
    LYR_FFT_RODFT01 = 8,
    LYR_FFT_RODFT10 = 9,
    LYR_FFT_RODFT11 = 10
} lyr_fft_r2r_kind;

/* The sign of the exponent. */
#define LYR_FFT_FORWARD (-1)
#define LYR_FFT_BACKWARD (+1)

/* Flags are accepted by every constructor, for source compatibility with other planner-style
 * interfaces, and ignored: no flag changes a plan. */
#define LYR_FFT_MEASURE (0U)
#define LYR_FFT_DESTROY_INPUT (1U << 0)
#define LYR_FFT_UNALIGNED (1U << 1)
#define LYR_FFT_CONSERVE_MEMORY (1U << 2)
#define LYR_FFT_EXHAUSTIVE (1U << 3)
#define LYR_FFT_PRESERVE_INPUT (1U << 4)
#define LYR_FFT_PATIENT (1U << 5)
#define LYR_FFT_ESTIMATE (1U << 6)
#define LYR_FFT_WISDOM_ONLY (1U << 21)

/* ---- Complex transforms -----------------------------------------------------------------------
 */

/*
 * Plan a complex transform of contiguous arrays of n, n0*n1, n0*n1*n2 or n[0]*..*n[rank-1] complex
 * numbers, rank 1 to 3. `in` may equal `out` (in place). sign is LYR_FFT_FORWARD or
 * LYR_FFT_BACKWARD. Returns null when a length is below 1, the rank is out of range or the sign is
 * neither.
 */
lyr_fft_plan lyr_fft_plan_dft_1d(int n, lyr_fft_complex *in, lyr_fft_complex *out, int sign,
                                 unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_2d(int n0, int n1, lyr_fft_complex *in, lyr_fft_complex *out,
                                 int sign, unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_3d(int n0, int n1, int n2, lyr_fft_complex *in, lyr_fft_complex *out,
                                 int sign, unsigned flags);
lyr_fft_plan lyr_fft_plan_dft(int rank, const int *n, lyr_fft_complex *in, lyr_fft_complex *out,
                              int sign, unsigned flags);

/*
 * Plan `howmany` complex transforms of the same shape. Element (j0, .., j[rank-1]) of transform b
 * is read at in[b*idist + (row-major index within inembed)*istride] and written likewise with
 * onembed, ostride and odist. inembed and onembed give the physical extent of each dimension; null
 * means n. The outermost extent is not used. Strides are at least 1, and so are distances when
 * howmany is not
 * 1. In-place batches that would overlap are refused; out-of-place outputs must not overlap each
 * other or the input.
 */
lyr_fft_plan lyr_fft_plan_many_dft(int rank, const int *n, int howmany, lyr_fft_complex *in,
                                   const int *inembed, int istride, int idist, lyr_fft_complex *out,
                                   const int *onembed, int ostride, int odist, int sign,
                                   unsigned flags);

/* ---- Real-to-complex and complex-to-real transforms -------------------------------------------
 */

/*
 * The transform of n real numbers is stored as its first n/2+1 complex outputs (the others are
 * their conjugates); in more dimensions the last one is shortened so. In place, each row of the
 * real array is padded to 2*(n/2+1) doubles. Complex-to-real ignores the imaginary parts of the
 * outputs that are real by symmetry, and never writes its input when out of place.
 */
lyr_fft_plan lyr_fft_plan_dft_r2c_1d(int n, double *in, lyr_fft_complex *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_r2c_2d(int n0, int n1, double *in, lyr_fft_complex *out,
                                     unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_r2c_3d(int n0, int n1, int n2, double *in, lyr_fft_complex *out,
                                     unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_r2c(int rank, const int *n, double *in, lyr_fft_complex *out,
                                  unsigned flags);
lyr_fft_plan lyr_fft_plan_many_dft_r2c(int rank, const int *n, int howmany, double *in,
                                       const int *inembed, int istride, int idist,
                                       lyr_fft_complex *out, const int *onembed, int ostride,
                                       int odist, unsigned flags);

lyr_fft_plan lyr_fft_plan_dft_c2r_1d(int n, lyr_fft_complex *in, double *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_c2r_2d(int n0, int n1, lyr_fft_complex *in, double *out,
                                     unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_c2r_3d(int n0, int n1, int n2, lyr_fft_complex *in, double *out,
                                     unsigned flags);
lyr_fft_plan lyr_fft_plan_dft_c2r(int rank, const int *n, lyr_fft_complex *in, double *out,
                                  unsigned flags);
lyr_fft_plan lyr_fft_plan_many_dft_c2r(int rank, const int *n, int howmany, lyr_fft_complex *in,
                                       const int *inembed, int istride, int idist, double *out,
                                       const int *onembed, int ostride, int odist, unsigned flags);

/* ---- Real-to-real transforms ------------------------------------------------------------------
 */

/*
 * One lyr_fft_r2r_kind per dimension, each kind as in the table at lyr_fft_r2r_kind; layouts as for
 * lyr_fft_plan_many_dft, in doubles. Returns null also for a kind that is none and for REDFT00 of
 * length 1.
 */
lyr_fft_plan lyr_fft_plan_r2r_1d(int n, double *in, double *out, lyr_fft_r2r_kind kind,
                                 unsigned flags);
lyr_fft_plan lyr_fft_plan_r2r_2d(int n0, int n1, double *in, double *out, lyr_fft_r2r_kind kind0,
                                 lyr_fft_r2r_kind kind1, unsigned flags);
lyr_fft_plan lyr_fft_plan_r2r_3d(int n0, int n1, int n2, double *in, double *out,
                                 lyr_fft_r2r_kind kind0, lyr_fft_r2r_kind kind1,
                                 lyr_fft_r2r_kind kind2, unsigned flags);
lyr_fft_plan lyr_fft_plan_r2r(int rank, const int *n, double *in, double *out,
                              const lyr_fft_r2r_kind *kind, unsigned flags);
lyr_fft_plan lyr_fft_plan_many_r2r(int rank, const int *n, int howmany, double *in,
                                   const int *inembed, int istride, int idist, double *out,
                                   const int *onembed, int ostride, int odist,
                                   const lyr_fft_r2r_kind *kind, unsigned flags);

/* ---- Guru interface: any layout ---------------------------------------------------------------
 */

/*
 * The transform and the batch as explicit dimensions, 0 to 3 of each, outermost first, every length
 * and stride at least 1. Rank 0 plans a pure rearrangement of the batch. The split forms take real
 * and imaginary parts in separate arrays, with strides in doubles; split complex plans transform
 * forward, and backward when the real and imaginary arrays are exchanged at execution.
 */
lyr_fft_plan lyr_fft_plan_guru_dft(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                   const lyr_fft_iodim *howmany_dims, lyr_fft_complex *in,
                                   lyr_fft_complex *out, int sign, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_dft_r2c(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                       const lyr_fft_iodim *howmany_dims, double *in,
                                       lyr_fft_complex *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_dft_c2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                       const lyr_fft_iodim *howmany_dims, lyr_fft_complex *in,
                                       double *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_r2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                   const lyr_fft_iodim *howmany_dims, double *in, double *out,
                                   const lyr_fft_r2r_kind *kind, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_split_dft(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                         const lyr_fft_iodim *howmany_dims, double *ri, double *ii,
                                         double *ro, double *io, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_split_dft_r2c(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                             const lyr_fft_iodim *howmany_dims, double *in,
                                             double *ro, double *io, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru_split_dft_c2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                             const lyr_fft_iodim *howmany_dims, double *ri,
                                             double *ii, double *out, unsigned flags);

/* The same with 64-bit lengths and strides. */
lyr_fft_plan lyr_fft_plan_guru64_dft(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                     const lyr_fft_iodim64 *howmany_dims, lyr_fft_complex *in,
                                     lyr_fft_complex *out, int sign, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_dft_r2c(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                         const lyr_fft_iodim64 *howmany_dims, double *in,
                                         lyr_fft_complex *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_dft_c2r(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                         const lyr_fft_iodim64 *howmany_dims, lyr_fft_complex *in,
                                         double *out, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_r2r(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                     const lyr_fft_iodim64 *howmany_dims, double *in, double *out,
                                     const lyr_fft_r2r_kind *kind, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_split_dft(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                           const lyr_fft_iodim64 *howmany_dims, double *ri,
                                           double *ii, double *ro, double *io, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_split_dft_r2c(int rank, const lyr_fft_iodim64 *dims,
                                               int howmany_rank,
                                               const lyr_fft_iodim64 *howmany_dims, double *in,
                                               double *ro, double *io, unsigned flags);
lyr_fft_plan lyr_fft_plan_guru64_split_dft_c2r(int rank, const lyr_fft_iodim64 *dims,
                                               int howmany_rank,
                                               const lyr_fft_iodim64 *howmany_dims, double *ri,
                                               double *ii, double *out, unsigned flags);

/* ---- Execution --------------------------------------------------------------------------------
 */

/* Run a plan on the arrays given at planning. Without effect when one of them was null. */
void lyr_fft_execute(const lyr_fft_plan plan);

/*
 * Run a plan on other arrays. They must have the planned layout, and an in-place plan must be run
 * in place; alignment does not matter. A null array, or a plan of another kind than the function's,
 * makes the call return without effect.
 */
void lyr_fft_execute_dft(const lyr_fft_plan plan, lyr_fft_complex *in, lyr_fft_complex *out);
void lyr_fft_execute_dft_r2c(const lyr_fft_plan plan, double *in, lyr_fft_complex *out);
void lyr_fft_execute_dft_c2r(const lyr_fft_plan plan, lyr_fft_complex *in, double *out);
void lyr_fft_execute_r2r(const lyr_fft_plan plan, double *in, double *out);
void lyr_fft_execute_split_dft(const lyr_fft_plan plan, double *ri, double *ii, double *ro,
                               double *io);
void lyr_fft_execute_split_dft_r2c(const lyr_fft_plan plan, double *in, double *ro, double *io);
void lyr_fft_execute_split_dft_c2r(const lyr_fft_plan plan, double *ri, double *ii, double *out);

/* Release a plan and everything it owns. Null is ignored. */
void lyr_fft_destroy_plan(lyr_fft_plan plan);

/* Does nothing: the planner keeps no global state. May be called at any time, any number of times.
 */
void lyr_fft_cleanup(void);

/* ---- Memory -----------------------------------------------------------------------------------
 */

/* A zero-filled block of n bytes, aligned to 64 bytes; null when memory runs out. Transforms work
 * on any array; aligned ones are a little faster. Release with lyr_fft_free. */
void *lyr_fft_malloc(size_t n);

/* Release a block from lyr_fft_malloc. Null is ignored, and so is a pointer that did not come from
 * lyr_fft_malloc as long as the 8 bytes before it can be read. */
void lyr_fft_free(void *p);

/* ---- Threads ----------------------------------------------------------------------------------
 */

/*
 * A plan made for several threads shares its work among the calling thread and its workers, threads
 * that the library makes when it first needs them and keeps for later. Workers that wait spin for
 * about a millisecond and then sleep. They are bound to processors near the calling thread, by the
 * environment variable LYR_FFT_AFFINITY:
 *
 *   SPREAD  over the processors of the nearest NUMA nodes (the default),
 *   CLOSE   all on the nearest node,
 *   NO      not at all, until the first plan for several threads chooses one of the others.
 *
 * Calling threads are never bound. Workers take no signals but those of their own faults and
 * SIGPROF. No function of the library is a cancellation point.
 */

/* Prepare the library for threads. Returns 1. Optional: lyr_fft_plan_with_nthreads calls it. */
int lyr_fft_init_threads(void);

/* The number of threads, 1 to 512 (values outside are clipped), that plans made from now on may
 * use. The setting is one for the whole process; 1 at start. On machines with an even number of
 * NUMA nodes a plan uses no more threads than half of the nodes have processors. The number of
 * threads may change results in their last bits. Reads LYR_FFT_AFFINITY. */
void lyr_fft_plan_with_nthreads(int nthreads);

/* End all worker threads: waits for transforms in progress, and returns when the threads are gone.
 * May be called at any time except in signal handlers. Plans made before go on working: executing
 * them makes new workers. */
void lyr_fft_cleanup_threads(void);

/* ---- Version ----------------------------------------------------------------------------------
 */

/* Name and version texts, each NUL-terminated within its 100 bytes. */
typedef struct {
    char product_name[100];
    char product_version[100];
    char component_name[100];
    char component_version[100];
    char compiler[100];
    char library_name[100];
    char library_version[100];
} LFFTVersionRecord;

/* Fill *record and return 1; return 0 when record is null. */
int LFFTGetVersion(LFFTVersionRecord *record);

/* The version of the programming interface, as text. */
extern const char lyr_fft_version[];

#ifdef __GNUC__
    #pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif /* LYR_FFT_H */
