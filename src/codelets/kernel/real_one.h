// Real-data codelets, one transform: memory. Long transforms run with lanes inside.
#pragma once

#include "codelets/kernel/real.h"
#include "codelets/kernel/real_kernels.h"

namespace lyr::LYR_ISA {
namespace {

// More would need transpositions of longer blocks than short transforms have numbers.
constexpr int real_lanes = 2 * vec::lanes < 8 ? 2 * vec::lanes : 8;
using inner = real_vec<(real_lanes < 4 ? real_lanes : 4)>;
using one = real_vec<1>;

// Transforms of this length and longer run with lanes inside.
constexpr int shortest_inside = 32;

// ---- Where the numbers of one transform are
// ------------------------------------------------------

// Arrays as in real_kernel.
struct tabled_reals {
    scalar *R0, *R1;
    const int64_t *rs;

    LYR_INLINE scalar *at(int j) const { return (j % 2 ? R1 : R0) + rs[j / 2]; }
    template <class V>
    LYR_INLINE V load(int j) const {
        return V::of_lanes(LYR_LAMBDA(int l) { return *at(j + l); });
    }
    template <class V>
    LYR_INLINE void store(int j, V x) const {
#pragma GCC unroll 4
        for (int l = 0; l < V::lanes; ++l) *at(j + l) = x.lane(l);
    }
};

struct unit_reals {
    scalar *x;

    template <class V>
    LYR_INLINE V load(int j) const {
        return V::load(x + j);
    }
    template <class V>
    LYR_INLINE void store(int j, V v) const {
        v.store(x + j);
    }
};

// Spectra: V::lanes numbers X[k], X[k+1], .. or X[k], X[k-1], .. at a time. Imaginary parts that
// are zero are taken as such when loaded.
template <int N>
struct tabled_spectrum {
    scalar *Cr, *Ci;
    const int64_t *csr, *csi;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
#pragma GCC unroll 4
        for (int l = 0; l < V::lanes; ++l) {
            const int f = k + Step * l;
            Cr[csr[f]] = re.v[l];
            if (f != 0 && 2 * f != N) Ci[csi[f]] = im.v[l];
        }
    }
    template <int Step, class V>
    LYR_INLINE void load(int k, V &re, V &im) const {
        re = V::of_lanes(LYR_LAMBDA(int l) { return Cr[csr[k + Step * l]]; });
        im = V::of_lanes(LYR_LAMBDA(int l) {
            const int f = k + Step * l;
            return f != 0 && 2 * f != N ? Ci[csi[f]] : scalar{0};
        });
    }
    LYR_INLINE void store_one(int k, scalar re, scalar im) const {
        Cr[csr[k]] = re;
        if (k != 0 && 2 * k != N) Ci[csi[k]] = im;
    }
    LYR_INLINE scalar load_re(int k) const {
        return Cr[csr[k]];
    }
    LYR_INLINE scalar load_im(int k) const {
        return Ci[csi[k]];
    }
};

// Interleaved complex numbers; zero imaginary parts are stored.
template <int N>
struct unit_complex {
    scalar *c;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        if constexpr (Step > 0)
            store_pairs(c + 2 * k, re, im);
        else
            store_pairs_down(c + 2 * k, re, im);
        if (k == 0 || 2 * k == N) c[2 * k + 1] = 0;
    }
    template <int Step, class V>
    LYR_INLINE void load(int k, V &re, V &im) const {
        if constexpr (Step > 0)
            load_pairs(c + 2 * k, re, im);
        else
            load_pairs_down(c + 2 * k, re, im);
        if (k == 0 || 2 * k == N) im.v[0] = 0;
    }
    LYR_INLINE void store_one(int k, scalar re, scalar im) const {
        c[2 * k] = re;
        c[2 * k + 1] = k == 0 || 2 * k == N ? scalar{0} : im;
    }
    LYR_INLINE scalar load_re(int k) const { return c[2 * k]; }
    LYR_INLINE scalar load_im(int k) const { return c[2 * k + 1]; }
};

// Real part of X[k] at k, imaginary part at N - k.
template <int N>
struct half_complex {
    scalar *h;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        if constexpr (Step > 0) {
            re.store(h + k);
            if (k == 0) {
#pragma GCC unroll 4
                for (int l = 1; l < V::lanes; ++l) h[N - l] = im.v[l];
            } else {
                im.store_down(h + N - k);
            }
        } else {
            im.store(h + N - k);  // at k = N/2 also a zero, which is replaced
            re.store_down(h + k);
        }
    }
    template <int Step, class V>
    LYR_INLINE void load(int k, V &re, V &im) const {
        if constexpr (Step > 0) {
            re = V::load(h + k);
            if (k == 0) {
                im = V::of_lanes(LYR_LAMBDA(int l) { return l ? h[N - l] : scalar{0}; });
            } else {
                im = V::load_down(h + N - k);
            }
        } else {
            im = V::load(h + N - k);
            if (k == N / 2) im.v[0] = 0;
            re = V::load_down(h + k);
        }
    }
    LYR_INLINE void store_one(int k, scalar re, scalar im) const {
        h[k] = re;
        if (k != 0 && 2 * k != N) h[N - k] = im;
    }
    LYR_INLINE scalar load_re(int k) const {
        return h[k];
    }
    LYR_INLINE scalar load_im(int k) const {
        return h[N - k];
    }
};

// Hartley transforms: output k is Re X[k] - Im X[k], output N - k their sum.
template <int N>
struct hartley {
    scalar *h;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        half_complex<N>{h}.template store<Step>(k, re - im, re + im);
    }
    LYR_INLINE void store_one(int k, scalar re, scalar im) const {
        h[k] = re;
        if (k == 0 || 2 * k == N) return;
        h[k] = re - im;
        h[N - k] = re + im;
    }
};

// ---- The transform ------------------------------------------------------------------------------

// Twiddle factors between the rows x[W*j + l] of a transform, l < W, and its columns: for each
// group of W frequencies k and each l > 0 the cosines and the sines of 2 pi l k/N.
template <int N, int W>
struct inside_twiddles {
    static constexpr int groups = N / W / 2 / W;
    struct pair {
        scalar cosine[W], sine[W];
    };
    pair of[groups][W - 1];
};
template <int N, int W>
constexpr inside_twiddles<N, W> make_inside_twiddles() {
    inside_twiddles<N, W> t = {};
    for (int g = 0; g < t.groups; ++g)
        for (int l = 1; l < W; ++l)
            for (int i = 0; i < W; ++i) {
                const root r = root_of<N>(l * (g * W + i));
                t.of[g][l - 1].cosine[i] = r.cosine;
                t.of[g][l - 1].sine[i] = r.sine;
            }
    return t;
}
template <int N, int W>
alignas(64) constexpr inside_twiddles<N, W> inside_table = make_inside_twiddles<N, W>();

// W transforms of M = N/W with a lane each; then, with lanes along the frequencies k, W-point
// butterflies that give X[k + q*M], q < W, half of them as mirror images.
template <int N, class V, class Reals, class Spectrum>
LYR_INLINE void forward_inside(const Reals &in, const Spectrum &out) {
    constexpr int W = V::lanes, M = N / W, groups = M / 2 / W;
    V re[M / 2 + 1], im[M / 2 + 1];
    real_forward<M, V>(
        LYR_LAMBDA(auto j) { return in.template load<V>(W * j); },
        LYR_LAMBDA(auto k, V v) { re[k] = v; }, LYR_LAMBDA(auto k, V v) { im[k] = v; });
    im[0] = V::zero();
    const auto turned = [](V & a, V & b, const typename inside_twiddles<N, W>::pair &t)
        __attribute__((always_inline)) {
        const V c = V::load(t.cosine), s = V::load(t.sine), x = a;
        a = fma(a * c, b, s);
        b = fma(b * c, x, -s);
    };
#pragma GCC unroll 4
    for (int g = 0; g < groups; ++g) {
        const int k = g * W;
        V a[W], b[W];
        unroll<W>(LYR_LAMBDA(auto i) {
            a[i] = re[k + i];
            b[i] = im[k + i];
        });
        transpose(a);
        transpose(b);
        unroll<W - 1>(
            LYR_LAMBDA(auto l) { turned(a[l + 1], b[l + 1], inside_table<N, W>.of[g][l]); });
        if constexpr (W == 2) {
            out.template store<1>(k, a[0] + a[1], b[0] + b[1]);
            out.template store<-1>(N / 2 - k, a[0] - a[1], b[1] - b[0]);
        } else {
            const V er = a[0] + a[2], ei = b[0] + b[2], fr = a[0] - a[2], fi = b[0] - b[2];
            const V sr = a[1] + a[3], si = b[1] + b[3], dr = a[1] - a[3], di = b[1] - b[3];
            out.template store<1>(k, er + sr, ei + si);
            out.template store<-1>(2 * M - k, er - sr, si - ei);
            out.template store<1>(k + M, fr + di, fi - dr);
            out.template store<-1>(M - k, fr - di, -(fi + dr));
        }
    }
    // k = M/2, where the transforms of M are real.
    const V x = re[M / 2];
    if constexpr (W == 2) {
        out.store_one(M / 2, x.v[0], -x.v[1]);
    } else {
        const scalar sum = x.v[1] + x.v[3], dif = x.v[1] - x.v[3];
        const one a = {x.v[0]}, b = {x.v[2]};
        out.store_one(M / 2, fma(a, one{dif}, sqrt_half).v, -fma(b, one{sum}, sqrt_half).v);
        out.store_one(M / 2 + M, fma(a, one{dif}, -sqrt_half).v, fma(b, one{sum}, -sqrt_half).v);
    }
}

template <int N, class V, class Spectrum, class Reals>
LYR_INLINE void backward_inside(const Spectrum &in, const Reals &out) {
    constexpr int W = V::lanes, M = N / W, groups = M / 2 / W;
    V re[M / 2 + 1], im[M / 2 + 1];
    const auto turned = [](V & a, V & b, const typename inside_twiddles<N, W>::pair &t)
        __attribute__((always_inline)) {
        const V c = V::load(t.cosine), s = V::load(t.sine), x = a;
        a = fma(a * c, b, -s);
        b = fma(b * c, x, s);
    };
#pragma GCC unroll 4
    for (int g = 0; g < groups; ++g) {
        const int k = g * W;
        V a[W], b[W];
        in.template load<1>(k, a[0], b[0]);
        if constexpr (W == 2) {
            V cr, ci;
            in.template load<-1>(N / 2 - k, cr, ci);
            a[1] = a[0] - cr;
            b[1] = b[0] + ci;
            a[0] = a[0] + cr;
            b[0] = b[0] - ci;
        } else {
            V cr, ci, dr, di, gr, gi;
            in.template load<-1>(2 * M - k, cr, ci);
            in.template load<1>(k + M, dr, di);
            in.template load<-1>(M - k, gr, gi);
            const V er = a[0] + cr, ei = b[0] - ci, fr = a[0] - cr, fi = b[0] + ci;
            const V sr = dr + gr, si = di - gi, ur = dr - gr, ui = di + gi;
            a[0] = er + sr;
            b[0] = ei + si;
            a[2] = er - sr;
            b[2] = ei - si;
            a[1] = fr - ui;
            b[1] = fi + ur;
            a[3] = fr + ui;
            b[3] = fi - ur;
        }
        unroll<W - 1>(
            LYR_LAMBDA(auto l) { turned(a[l + 1], b[l + 1], inside_table<N, W>.of[g][l]); });
        transpose(a);
        transpose(b);
        unroll<W>(LYR_LAMBDA(auto i) {
            re[k + i] = a[i];
            im[k + i] = b[i];
        });
    }
    if constexpr (W == 2) {
        re[M / 2].v = decltype(V::v){2 * in.load_re(M / 2), -2 * in.load_im(M / 2)};
    } else {
        const scalar ar = in.load_re(M / 2), ai = in.load_im(M / 2);
        const scalar br = in.load_re(M / 2 + M), bi = in.load_im(M / 2 + M);
        constexpr scalar sqrt2 = 2 * sqrt_half;
        re[M / 2].v = decltype(V::v){2 * (ar + br), sqrt2 * ((ar - br) - (ai + bi)), 2 * (bi - ai),
                                     -sqrt2 * ((ar - br) + (ai + bi))};
    }
    real_backward<M, V>(
        LYR_LAMBDA(auto k) { return re[k]; }, LYR_LAMBDA(auto k) { return im[k]; },
        LYR_LAMBDA(auto j, V v) { out.store(W * j, v); });
}

template <int N, class Reals, class Spectrum>
LYR_INLINE void forward_one(const Reals &in, const Spectrum &out) {
    if constexpr (N >= shortest_inside) {
        forward_inside<N, inner>(in, out);
    } else {
        one re[N / 2 + 1], im[N / 2 + 1];
        const auto load = LYR_LAMBDA(auto j) {
            return in.template load<one>(j);
        };
        const auto keep_re = LYR_LAMBDA(auto k, one v) {
            re[k] = v;
        };
        const auto keep_im = LYR_LAMBDA(auto k, one v) {
            im[k] = v;
        };
        if constexpr (N % 2)
            real_forward_odd<N, one>(load, keep_re, keep_im);
        else
            real_forward<N, one>(load, keep_re, keep_im);
        unroll<N / 2 + 1>(LYR_LAMBDA(auto k) { out.store_one(k, re[k].v, im[k].v); });
    }
}

template <int N, class Spectrum, class Reals>
LYR_INLINE void backward_one(const Spectrum &in, const Reals &out) {
    if constexpr (N >= shortest_inside)
        backward_inside<N, inner>(in, out);
    else
        real_backward<N, one>(
            LYR_LAMBDA(auto k) { return one{in.load_re(k)}; },
            LYR_LAMBDA(auto k) { return one{in.load_im(k)}; },
            LYR_LAMBDA(auto j, one v) { out.store(j, v); });
}

}  // namespace

template <int N>
void r2c_kernel(LYR_REAL_PARAMETERS) {
    forward_one<N>(tabled_reals{R0, R1, rs}, tabled_spectrum<N>{Cr, Ci, csr, csi});
}

template <int N>
void r2c_unit(const plan *, scalar *in, scalar *out, scalar *) {
    forward_one<N>(unit_reals{in}, unit_complex<N>{out});
}
template <int N>
void r2hc_unit(const plan *, scalar *in, scalar *out, scalar *) {
    forward_one<N>(unit_reals{in}, half_complex<N>{out});
}
template <int N>
void dht_unit(const plan *, scalar *in, scalar *out, scalar *) {
    forward_one<N>(unit_reals{in}, hartley<N>{out});
}
template <int N>
void c2r_unit(const plan *, scalar *in, scalar *out, scalar *) {
    backward_one<N>(unit_complex<N>{in}, unit_reals{out});
}
template <int N>
void hc2r_unit(const plan *, scalar *in, scalar *out, scalar *) {
    backward_one<N>(half_complex<N>{in}, unit_reals{out});
}

}  // namespace lyr::LYR_ISA
