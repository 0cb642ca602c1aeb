// Guru constructors: the caller's own list of dimensions, 32-bit, 64-bit and split.
#include <cstring>

#include "api/construct.h"

namespace {

using namespace lyr;

// What the forms of the guru interface check differently.
enum rules : unsigned {
    length_1_is_rank_0 = 1,   // a transform of length 1 is a pure copy of the batch
    in_place_unit_check = 2,  // refuse one in-place transform with two different strides
    layout_check = 4,
};

struct guru_layout {
    int rank;
    lyr_fft_iodim64 dims[3];
    int howmany_rank;
    lyr_fft_iodim64 howmany_dims[3];
};

template <class iodim>
bool copy_dims(lyr_fft_iodim64 *to, const iodim *from, int rank) {
    for (int k = 0; k < rank; ++k) {
        to[k] = {from[k].n, from[k].is, from[k].os};
        if (from[k].n < 1 || from[k].is < 1 || from[k].os < 1) return false;
    }
    return true;
}

template <class iodim>
bool copy_layout(guru_layout &l, int rank, const iodim *dims, int howmany_rank,
                 const iodim *howmany_dims, unsigned rules) {
    if ((rank > 0 && !dims) || (howmany_rank > 0 && !howmany_dims)) return false;
    if (rank < 0 || rank > 3 || howmany_rank < 0 || howmany_rank > 3) return false;
    l.rank = rank;
    l.howmany_rank = howmany_rank;
    if (!copy_dims(l.dims, dims, rank) || !copy_dims(l.howmany_dims, howmany_dims, howmany_rank))
        return false;
    if ((rules & length_1_is_rank_0) && rank == 1 && l.dims[0].n == 1) l.rank = 0;
    return true;
}

// The other kinds multiply one number by a constant, or are not defined for it.
bool copies_length_1(int32_t kind) {
    return kind == LYR_FFT_R2HC || kind == LYR_FFT_HC2R || kind == LYR_FFT_DHT ||
           kind == LYR_FFT_REDFT01 || kind == LYR_FFT_RODFT01;
}

// The products below are of 32-bit numbers and cannot overflow.
bool nests(int64_t inner_n, int64_t inner_stride, int64_t outer_stride) {
    return inner_n * inner_stride <= outer_stride;
}

bool both_nest(const lyr_fft_iodim64 &inner, const lyr_fft_iodim64 &outer) {
    return nests(inner.n, inner.is, outer.is) && nests(inner.n, inner.os, outer.os);
}

// An outer stride inside the span of the inner dimension, yet above its stride.
bool collides(int64_t n, int64_t inner_stride, int64_t outer_stride) {
    return inner_stride < outer_stride && outer_stride <= (n - 1) * inner_stride;
}

// Rank 2 may interleave its dimensions; rank 3 and batches of rank 2 and 3 must nest row-major.
bool layout_accepted(const guru_layout &l) {
    const lyr_fft_iodim64 *d = l.dims;
    const lyr_fft_iodim64 *h = l.howmany_dims;
    if (l.rank == 0 || (l.rank == 1 && d[0].n == 1)) return true;
    if (l.rank == 2 && (collides(d[1].n, d[1].is, d[0].is) || collides(d[1].n, d[1].os, d[0].os)))
        return false;
    if (l.rank == 3 && ((d[2].n - 1) * d[2].is >= d[1].is || (d[2].n - 1) * d[2].os >= d[1].os ||
                        !both_nest(d[1], d[0])))
        return false;
    for (int k = l.howmany_rank - 1; k >= 1; --k)
        if (!both_nest(h[k], h[k - 1])) return false;
    return true;
}

plan *plan_guru(int32_t kind, int64_t sign, int64_t split, const guru_layout &l,
                const plan_arrays &arrays, unsigned rules,
                const lyr_fft_r2r_kind *r2r_kinds = nullptr) {
    if ((rules & in_place_unit_check) && l.rank == 1 && l.howmany_rank == 0 &&
        arrays.in == arrays.out && l.dims[0].is != l.dims[0].os)
        return nullptr;
    if ((rules & layout_check) && !layout_accepted(l)) return nullptr;
    plan *p = plan_create(kind, sign, split, arrays);
    if (!p) return nullptr;
    p->rank = l.rank;
    p->howmany_rank = l.howmany_rank;
    memcpy(p->dims, l.dims, static_cast<size_t>(l.rank) * sizeof l.dims[0]);
    memcpy(p->howmany_dims, l.howmany_dims, static_cast<size_t>(l.howmany_rank) * sizeof l.dims[0]);
    for (int k = 0; r2r_kinds && k < l.rank; ++k) p->r2r_kinds[k] = kind_at(r2r_kinds, k);
    return plan_finish(p);
}

}  // namespace

// The seven forms, for both widths of dimension record.

template <class iodim>
static plan *guru_dft(int rank, const iodim *dims, int howmany_rank, const iodim *howmany_dims,
                      lyr_fft_complex *in, lyr_fft_complex *out, int sign, unsigned rules) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, rules)) return nullptr;
    return plan_guru(kind_complex, sign, -1, l, {reals(in), nullptr, reals(out), nullptr}, rules);
}

template <class iodim>
static plan *guru_dft_r2c(int rank, const iodim *dims, int howmany_rank, const iodim *howmany_dims,
                          scalar *in, lyr_fft_complex *out) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, 0)) return nullptr;
    return plan_guru(kind_r2c, -1, -1, l, {in, nullptr, reals(out), nullptr}, 0);
}

template <class iodim>
static plan *guru_dft_c2r(int rank, const iodim *dims, int howmany_rank, const iodim *howmany_dims,
                          lyr_fft_complex *in, scalar *out) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, 0)) return nullptr;
    return plan_guru(kind_c2r, +1, -1, l, {reals(in), nullptr, out, nullptr}, 0);
}

template <class iodim>
static plan *guru_r2r(int rank, const iodim *dims, int howmany_rank, const iodim *howmany_dims,
                      scalar *in, scalar *out, const lyr_fft_r2r_kind *kind, unsigned rules) {
    guru_layout l;
    if (rank >= 1 && !kind) return nullptr;
    if (rank == 1 && !copies_length_1(kind_at(kind, 0))) rules &= ~unsigned{length_1_is_rank_0};
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, rules)) return nullptr;
    return plan_guru(kind_r2r, 0, -1, l, {in, nullptr, out, nullptr}, rules, kind);
}

template <class iodim>
static plan *guru_split_dft(int rank, const iodim *dims, int howmany_rank,
                            const iodim *howmany_dims, scalar *ri, scalar *ii, scalar *ro,
                            scalar *io, unsigned rules) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, rules)) return nullptr;
    return plan_guru(kind_complex, -1, 1, l, {ri, ii, ro, io}, rules);
}

template <class iodim>
static plan *guru_split_dft_r2c(int rank, const iodim *dims, int howmany_rank,
                                const iodim *howmany_dims, scalar *in, scalar *ro, scalar *io) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, 0)) return nullptr;
    return plan_guru(kind_r2c, -1, 1, l, {in, nullptr, ro, io}, 0);
}

template <class iodim>
static plan *guru_split_dft_c2r(int rank, const iodim *dims, int howmany_rank,
                                const iodim *howmany_dims, scalar *ri, scalar *ii, scalar *out) {
    guru_layout l;
    if (!copy_layout(l, rank, dims, howmany_rank, howmany_dims, 0)) return nullptr;
    return plan_guru(kind_c2r, +1, 1, l, {ri, ii, out, nullptr}, 0);
}

extern "C" {

lyr_fft_plan lyr_fft_plan_guru_dft(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                   const lyr_fft_iodim *howmany_dims, lyr_fft_complex *in,
                                   lyr_fft_complex *out, int sign, unsigned) {
    return guru_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign,
                    length_1_is_rank_0 | layout_check);
}

lyr_fft_plan lyr_fft_plan_guru_dft_r2c(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                       const lyr_fft_iodim *howmany_dims, scalar *in,
                                       lyr_fft_complex *out, unsigned) {
    return guru_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out);
}

lyr_fft_plan lyr_fft_plan_guru_dft_c2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                       const lyr_fft_iodim *howmany_dims, lyr_fft_complex *in,
                                       scalar *out, unsigned) {
    return guru_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out);
}

lyr_fft_plan lyr_fft_plan_guru_r2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                   const lyr_fft_iodim *howmany_dims, scalar *in, scalar *out,
                                   const lyr_fft_r2r_kind *kind, unsigned) {
    return guru_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind,
                    length_1_is_rank_0 | in_place_unit_check);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                         const lyr_fft_iodim *howmany_dims, scalar *ri, scalar *ii,
                                         scalar *ro, scalar *io, unsigned) {
    return guru_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, ro, io, layout_check);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft_r2c(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                             const lyr_fft_iodim *howmany_dims, scalar *in,
                                             scalar *ro, scalar *io, unsigned) {
    return guru_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, ro, io);
}

lyr_fft_plan lyr_fft_plan_guru_split_dft_c2r(int rank, const lyr_fft_iodim *dims, int howmany_rank,
                                             const lyr_fft_iodim *howmany_dims, scalar *ri,
                                             scalar *ii, scalar *out, unsigned) {
    return guru_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, ii, out);
}

lyr_fft_plan lyr_fft_plan_guru64_dft(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                     const lyr_fft_iodim64 *howmany_dims, lyr_fft_complex *in,
                                     lyr_fft_complex *out, int sign, unsigned) {
    return guru_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign, 0);
}

lyr_fft_plan lyr_fft_plan_guru64_dft_r2c(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                         const lyr_fft_iodim64 *howmany_dims, scalar *in,
                                         lyr_fft_complex *out, unsigned) {
    return guru_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out);
}

lyr_fft_plan lyr_fft_plan_guru64_dft_c2r(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                         const lyr_fft_iodim64 *howmany_dims, lyr_fft_complex *in,
                                         scalar *out, unsigned) {
    return guru_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out);
}

lyr_fft_plan lyr_fft_plan_guru64_r2r(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                     const lyr_fft_iodim64 *howmany_dims, scalar *in, scalar *out,
                                     const lyr_fft_r2r_kind *kind, unsigned) {
    return guru_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind, 0);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft(int rank, const lyr_fft_iodim64 *dims, int howmany_rank,
                                           const lyr_fft_iodim64 *howmany_dims, scalar *ri,
                                           scalar *ii, scalar *ro, scalar *io, unsigned) {
    return guru_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, ro, io, 0);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft_r2c(int rank, const lyr_fft_iodim64 *dims,
                                               int howmany_rank,
                                               const lyr_fft_iodim64 *howmany_dims, scalar *in,
                                               scalar *ro, scalar *io, unsigned) {
    return guru_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, ro, io);
}

lyr_fft_plan lyr_fft_plan_guru64_split_dft_c2r(int rank, const lyr_fft_iodim64 *dims,
                                               int howmany_rank,
                                               const lyr_fft_iodim64 *howmany_dims, scalar *ri,
                                               scalar *ii, scalar *out, unsigned) {
    return guru_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, ii, out);
}

}  // extern "C"
