// Basic and advanced constructors: lengths, extents, strides and one batch dimension.
#include <cstring>

#include "api/construct.h"

namespace {

using namespace lyr;

// One call's layout arguments.
struct many_layout {
    int rank;
    const int *n;
    int howmany;
    const int *inembed;
    int istride;
    int idist;
    const int *onembed;
    int ostride;
    int odist;
};

// Contiguous arrays, one transform.
many_layout contiguous(int rank, const int *n, int dist) {
    return {rank, n, 1, nullptr, 1, dist, nullptr, 1, dist};
}

// An extent must hold the elements stored along its dimension: n/2+1 complex ones on the complex
// side of real data. The outermost extent does not constrain the layout.
bool extents_valid(int rank, const int *n, const int *embed, bool half_complex) {
    if (rank < 2 || !embed) return true;
    const int stored = half_complex ? n[rank - 1] / 2 + 1 : n[rank - 1];
    return embed[rank - 1] >= stored && (rank == 2 || embed[1] >= n[1]);
}

bool dims_valid(const many_layout &l, int32_t kind) {
    if (l.rank < 1 || l.rank > 3) return false;
    for (int k = 0; k < l.rank; ++k)
        if (l.n[k] < 1) return false;
    return extents_valid(l.rank, l.n, l.inembed, kind == kind_c2r) &&
           extents_valid(l.rank, l.n, l.onembed, kind == kind_r2c);
}

bool layout_valid(const many_layout &l, int32_t kind) {
    return l.n && dims_valid(l, kind) && l.howmany >= 1 && l.istride >= 1 && l.ostride >= 1 &&
           (l.howmany == 1 || (l.idist >= 1 && l.odist >= 1));
}

plan *plan_many(int32_t kind, int64_t sign, const many_layout &l, scalar *in, scalar *out,
                const lyr_fft_r2r_kind *r2r_kinds = nullptr) {
    plan *p = plan_create(kind, sign, -1, {in, nullptr, out, nullptr});
    if (!p) return nullptr;
    plan_fill_dims(p, l.rank, l.n, l.inembed, l.istride, l.onembed, l.ostride);
    if (l.howmany != 1) {
        p->howmany_rank = 1;
        p->howmany_dims[0] = {l.howmany, l.idist, l.odist};
    }
    for (int k = 0; r2r_kinds && k < l.rank; ++k) p->r2r_kinds[k] = kind_at(r2r_kinds, k);
    return plan_finish(p);
}

plan *plan_complex(const many_layout &l, lyr_fft_complex *in, lyr_fft_complex *out, int sign) {
    if (!l.n || (sign != -1 && sign != +1)) return nullptr;
    if (!layout_valid(l, kind_complex)) return nullptr;
    return plan_many(kind_complex, sign, l, reals(in), reals(out));
}

plan *plan_r2c(const many_layout &l, scalar *in, lyr_fft_complex *out) {
    return layout_valid(l, kind_r2c) ? plan_many(kind_r2c, -1, l, in, reals(out)) : nullptr;
}

plan *plan_c2r(const many_layout &l, lyr_fft_complex *in, scalar *out) {
    return layout_valid(l, kind_c2r) ? plan_many(kind_c2r, +1, l, reals(in), out) : nullptr;
}

plan *plan_r2r(const many_layout &l, scalar *in, scalar *out, const lyr_fft_r2r_kind *kind) {
    if (!kind || !layout_valid(l, kind_r2r)) return nullptr;
    return plan_many(kind_r2r, 0, l, in, out, kind);
}

}  // namespace

extern "C" {

lyr_fft_plan lyr_fft_plan_many_dft(int rank, const int *n, int howmany, lyr_fft_complex *in,
                                   const int *inembed, int istride, int idist, lyr_fft_complex *out,
                                   const int *onembed, int ostride, int odist, int sign, unsigned) {
    return plan_complex({rank, n, howmany, inembed, istride, idist, onembed, ostride, odist}, in,
                        out, sign);
}

lyr_fft_plan lyr_fft_plan_dft_1d(int n, lyr_fft_complex *in, lyr_fft_complex *out, int sign,
                                 unsigned) {
    return plan_complex(contiguous(1, &n, 1), in, out, sign);
}

lyr_fft_plan lyr_fft_plan_dft_2d(int n0, int n1, lyr_fft_complex *in, lyr_fft_complex *out,
                                 int sign, unsigned) {
    const int n[] = {n0, n1};
    return plan_complex(contiguous(2, n, 1), in, out, sign);
}

lyr_fft_plan lyr_fft_plan_dft_3d(int n0, int n1, int n2, lyr_fft_complex *in, lyr_fft_complex *out,
                                 int sign, unsigned) {
    const int n[] = {n0, n1, n2};
    return plan_complex(contiguous(3, n, 1), in, out, sign);
}

lyr_fft_plan lyr_fft_plan_dft(int rank, const int *n, lyr_fft_complex *in, lyr_fft_complex *out,
                              int sign, unsigned) {
    return plan_complex(contiguous(rank, n, 0), in, out, sign);
}

lyr_fft_plan lyr_fft_plan_many_dft_r2c(int rank, const int *n, int howmany, scalar *in,
                                       const int *inembed, int istride, int idist,
                                       lyr_fft_complex *out, const int *onembed, int ostride,
                                       int odist, unsigned) {
    return plan_r2c({rank, n, howmany, inembed, istride, idist, onembed, ostride, odist}, in, out);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_1d(int n, scalar *in, lyr_fft_complex *out, unsigned) {
    return plan_r2c(contiguous(1, &n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_2d(int n0, int n1, scalar *in, lyr_fft_complex *out, unsigned) {
    const int n[] = {n0, n1};
    return plan_r2c(contiguous(2, n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_r2c_3d(int n0, int n1, int n2, scalar *in, lyr_fft_complex *out,
                                     unsigned) {
    const int n[] = {n0, n1, n2};
    return plan_r2c(contiguous(3, n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_r2c(int rank, const int *n, scalar *in, lyr_fft_complex *out,
                                  unsigned) {
    return plan_r2c(contiguous(rank, n, 0), in, out);
}

lyr_fft_plan lyr_fft_plan_many_dft_c2r(int rank, const int *n, int howmany, lyr_fft_complex *in,
                                       const int *inembed, int istride, int idist, scalar *out,
                                       const int *onembed, int ostride, int odist, unsigned) {
    return plan_c2r({rank, n, howmany, inembed, istride, idist, onembed, ostride, odist}, in, out);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_1d(int n, lyr_fft_complex *in, scalar *out, unsigned) {
    return plan_c2r(contiguous(1, &n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_2d(int n0, int n1, lyr_fft_complex *in, scalar *out, unsigned) {
    const int n[] = {n0, n1};
    return plan_c2r(contiguous(2, n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_c2r_3d(int n0, int n1, int n2, lyr_fft_complex *in, scalar *out,
                                     unsigned) {
    const int n[] = {n0, n1, n2};
    return plan_c2r(contiguous(3, n, 1), in, out);
}

lyr_fft_plan lyr_fft_plan_dft_c2r(int rank, const int *n, lyr_fft_complex *in, scalar *out,
                                  unsigned) {
    return plan_c2r(contiguous(rank, n, 0), in, out);
}

lyr_fft_plan lyr_fft_plan_many_r2r(int rank, const int *n, int howmany, scalar *in,
                                   const int *inembed, int istride, int idist, scalar *out,
                                   const int *onembed, int ostride, int odist,
                                   const lyr_fft_r2r_kind *kind, unsigned) {
    return plan_r2r({rank, n, howmany, inembed, istride, idist, onembed, ostride, odist}, in, out,
                    kind);
}

lyr_fft_plan lyr_fft_plan_r2r_1d(int n, scalar *in, scalar *out, lyr_fft_r2r_kind kind, unsigned) {
    return plan_r2r(contiguous(1, &n, 1), in, out, &kind);
}

lyr_fft_plan lyr_fft_plan_r2r_2d(int n0, int n1, scalar *in, scalar *out, lyr_fft_r2r_kind kind0,
                                 lyr_fft_r2r_kind kind1, unsigned) {
    const int n[] = {n0, n1};
    const lyr_fft_r2r_kind kinds[] = {kind0, kind1};
    return plan_r2r(contiguous(2, n, 1), in, out, kinds);
}

lyr_fft_plan lyr_fft_plan_r2r_3d(int n0, int n1, int n2, scalar *in, scalar *out,
                                 lyr_fft_r2r_kind kind0, lyr_fft_r2r_kind kind1,
                                 lyr_fft_r2r_kind kind2, unsigned) {
    const int n[] = {n0, n1, n2};
    const lyr_fft_r2r_kind kinds[] = {kind0, kind1, kind2};
    return plan_r2r(contiguous(3, n, 1), in, out, kinds);
}

lyr_fft_plan lyr_fft_plan_r2r(int rank, const int *n, scalar *in, scalar *out,
                              const lyr_fft_r2r_kind *kind, unsigned) {
    return plan_r2r(contiguous(rank, n, 0), in, out, kind);
}

}  // extern "C"
