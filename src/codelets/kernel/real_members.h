// Real-data codelets: memory. Batches run with lanes across the transforms, single long transforms
// with lanes inside.
#pragma once

#include "codelets/kernel/real.h"
#include "codelets/kernel/real_kernels.h"

namespace lyr::LYR_ISA {
namespace {

constexpr int wide_lanes = 2 * vec::lanes;
using wide = real_vec<wide_lanes>;                          // lanes across transforms
using inner = real_vec<(wide_lanes < 4 ? wide_lanes : 4)>;  // lanes inside one
using one = real_vec<1>;

// Transforms of this length and longer run with lanes inside.
constexpr int shortest_inside = 32;
// Longer ones keep the values of a batch in memory, and loops over them are not unrolled.
constexpr int longest_unrolled = 16;

// ---- Where the numbers of one transform are
// ------------------------------------------------------

// Arrays as in real_kernel.
struct tabled_reals {
    double *R0, *R1;
    const int64_t *rs;

    LYR_INLINE double *at(int j) const { return (j % 2 ? R1 : R0) + rs[j / 2]; }
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
    double *x;

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
    double *Cr, *Ci;
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
            return f != 0 && 2 * f != N ? Ci[csi[f]] : 0.0;
        });
    }
    LYR_INLINE void store_one(int k, double re, double im) const {
        Cr[csr[k]] = re;
        if (k != 0 && 2 * k != N) Ci[csi[k]] = im;
    }
    LYR_INLINE double load_re(int k) const {
        return Cr[csr[k]];
    }
    LYR_INLINE double load_im(int k) const {
        return Ci[csi[k]];
    }
};

// Interleaved complex numbers; zero imaginary parts are stored.
template <int N>
struct unit_complex {
    double *c;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        if constexpr (Step > 0)
            store_pairs(c + 2 * k, re, im);
        else
            store_pairs_reversed(c + 2 * (k - V::lanes + 1), re, im);
        if (k == 0 || 2 * k == N) c[2 * k + 1] = 0;
    }
    template <int Step, class V>
    LYR_INLINE void load(int k, V &re, V &im) const {
        if constexpr (Step > 0)
            load_pairs(c + 2 * k, re, im);
        else
            load_pairs_reversed(c + 2 * (k - V::lanes + 1), re, im);
        if (k == 0 || 2 * k == N) im.v[0] = 0;
    }
    LYR_INLINE void store_one(int k, double re, double im) const {
        c[2 * k] = re;
        c[2 * k + 1] = k == 0 || 2 * k == N ? 0.0 : im;
    }
    LYR_INLINE double load_re(int k) const { return c[2 * k]; }
    LYR_INLINE double load_im(int k) const { return c[2 * k + 1]; }
};

// Real part of X[k] at k, imaginary part at N - k.
template <int N>
struct half_complex {
    double *h;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        if constexpr (Step > 0) {
            re.store(h + k);
            if (k == 0) {
#pragma GCC unroll 4
                for (int l = 1; l < V::lanes; ++l) h[N - l] = im.v[l];
            } else {
                reversed(im).store(h + N - k - V::lanes + 1);
            }
        } else {
            im.store(h + N - k);  // at k = N/2 also a zero, which is replaced
            reversed(re).store(h + k - V::lanes + 1);
        }
    }
    template <int Step, class V>
    LYR_INLINE void load(int k, V &re, V &im) const {
        if constexpr (Step > 0) {
            re = V::load(h + k);
            if (k == 0) {
                im = V::of_lanes(LYR_LAMBDA(int l) { return l ? h[N - l] : 0.0; });
            } else {
                im = reversed(V::load(h + N - k - V::lanes + 1));
            }
        } else {
            im = V::load(h + N - k);
            if (k == N / 2) im.v[0] = 0;
            re = reversed(V::load(h + k - V::lanes + 1));
        }
    }
    LYR_INLINE void store_one(int k, double re, double im) const {
        h[k] = re;
        if (k != 0 && 2 * k != N) h[N - k] = im;
    }
    LYR_INLINE double load_re(int k) const {
        return h[k];
    }
    LYR_INLINE double load_im(int k) const {
        return h[N - k];
    }
};

// Hartley transforms: output k is Re X[k] - Im X[k], output N - k their sum.
template <int N>
struct hartley {
    double *h;

    template <int Step, class V>
    LYR_INLINE void store(int k, V re, V im) const {
        half_complex<N>{h}.template store<Step>(k, re - im, re + im);
    }
    LYR_INLINE void store_one(int k, double re, double im) const {
        h[k] = re;
        if (k == 0 || 2 * k == N) return;
        h[k] = re - im;
        h[N - k] = re + im;
    }
};

// ---- One transform ------------------------------------------------------------------------------

// Twiddle factors between the rows x[W*j + l] of a transform, l < W, and its columns: for each
// group of W frequencies k and each l > 0 the cosines and the sines of 2 pi l k/N.
template <int N, int W>
struct inside_twiddles {
    static constexpr int groups = N / W / 2 / W;
    struct pair {
        double cosine[W], sine[W];
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
        a = fma(mul(a, c), b, s);
        b = fma(mul(b, c), x, -s);
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
        const double sum = x.v[1] + x.v[3], dif = x.v[1] - x.v[3];
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
        a = fma(mul(a, c), b, -s);
        b = fma(mul(b, c), x, s);
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
        const double ar = in.load_re(M / 2), ai = in.load_im(M / 2);
        const double br = in.load_re(M / 2 + M), bi = in.load_im(M / 2 + M);
        constexpr double sqrt2 = 2 * sqrt_half;
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

// ---- Batches ------------------------------------------------------------------------------------

// How the same number of neighbouring transforms, and the numbers of one, lie in memory.
enum class layout {
    side_by_side,   // transforms 1 apart
    pairs,          // complex numbers, those of neighbouring transforms next to each other
    real_lines,     // the numbers of a transform next to each other: real ones, half-complex order
    complex_lines,  // complex ones
    scattered,
};

// f(0), f(Step), .. below N: with constant arguments when N is short.
template <int N, int Step, class F>
LYR_INLINE void each(F f) {
    if constexpr (N <= longest_unrolled) {
        unroll<(N + Step - 1) / Step>(LYR_LAMBDA(auto i) { f(index<Step * i>{}); });
    } else {
#pragma GCC unroll 1
        for (int i = 0; i < N; i += Step) f(i);
    }
}

// Values of `wide::lanes` transforms: x[j], or in half-complex order X.
template <int N>
struct batch_of_reals {
    double *R0, *R1;
    const int64_t *rs;
    int64_t step;
    layout how;

    LYR_INLINE batch_of_reals(double *r0, double *r1, const int64_t *table, int64_t distance)
        : R0(r0), R1(r1), rs(table), step(distance), how(layout::scattered) {
        if (step == 1)
            how = layout::side_by_side;
        else if (N % wide_lanes == 0 && R1 - R0 == 1 && rs[1] == 2)
            how = layout::real_lines;
    }
    LYR_INLINE double *at(int j) const { return (j % 2 ? R1 : R0) + rs[j / 2]; }

    LYR_INLINE void load(wide (&x)[N]) const {
        if (how == layout::side_by_side) {
            each<N, 1>(LYR_LAMBDA(auto j) { x[j] = wide::load(at(j)); });
            return;
        }
        if constexpr (N % wide_lanes == 0) {
            if (how == layout::real_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto j) {
                    wide block[wide_lanes];
                    unroll<wide_lanes>(
                        LYR_LAMBDA(auto l) { block[l] = wide::load(R0 + j + l * step); });
                    transpose(block);
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { x[j + l] = block[l]; });
                });
                return;
            }
        }
        each<N, 1>(LYR_LAMBDA(auto j) { x[j] = wide::gather(at(j), step); });
    }
    LYR_INLINE void store(const wide (&x)[N]) const {
        if (how == layout::side_by_side) {
            each<N, 1>(LYR_LAMBDA(auto j) { x[j].store(at(j)); });
            return;
        }
        if constexpr (N % wide_lanes == 0) {
            if (how == layout::real_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto j) {
                    wide block[wide_lanes];
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { block[l] = x[j + l]; });
                    transpose(block);
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { block[l].store(R0 + j + l * step); });
                });
                return;
            }
        }
        each<N, 1>(LYR_LAMBDA(auto j) { x[j].scatter(at(j), step); });
    }
    // The first `count` lanes.
    LYR_INLINE void load_some(wide (&x)[N], int count) const {
        for (int j = 0; j < N; ++j) {
            x[j] = wide::zero();
            for (int l = 0; l < count; ++l) x[j].v[l] = at(j)[l * step];
        }
    }
    LYR_INLINE void store_some(const wide (&x)[N], int count) const {
        for (int j = 0; j < N; ++j)
            for (int l = 0; l < count; ++l) at(j)[l * step] = x[j].v[l];
    }
    LYR_INLINE void advance(int64_t count) {
        R0 += count * step;
        R1 += count * step;
    }
};

// Spectra in half-complex order: Re X[k] in y[k], Im X[k] in y[N - k]. `Zeroed`: the zero imaginary
// parts are written.
template <int N, bool Zeroed = false>
struct batch_of_spectra {
    double *Cr, *Ci;
    const int64_t *csr, *csi;
    int64_t step;
    layout how;

    LYR_INLINE batch_of_spectra(double *cr, double *ci, const int64_t *table_r,
                                const int64_t *table_i, int64_t distance)
        : Cr(cr), Ci(ci), csr(table_r), csi(table_i), step(distance), how(layout::scattered) {
        if (step == 1)
            how = layout::side_by_side;
        else if (step == 2 && Ci - Cr == 1 && csr[1] == csi[1])
            how = layout::pairs;
        else if (N % wide_lanes == 0 && Ci - Cr == 1 && csr[1] == 2 && csi[1] == 2)
            how = layout::complex_lines;
        else if (N % wide_lanes == 0 && Ci - Cr == N && csr[1] == 1 && csi[1] == -1)
            how = layout::real_lines;
    }
    // Where y[i] is.
    LYR_INLINE double *at(int i) const { return i <= N / 2 ? Cr + csr[i] : Ci + csi[N - i]; }

    LYR_INLINE void load(wide (&y)[N]) const {
        if (how == layout::side_by_side) {
            each<N, 1>(LYR_LAMBDA(auto i) { y[i] = wide::load(at(i)); });
            return;
        }
        if (how == layout::pairs) {
            y[0] = wide::gather(Cr, 2);
            each<(N - 1) / 2, 1>(
                LYR_LAMBDA(auto k) { load_pairs(Cr + csr[k + 1], y[k + 1], y[N - 1 - k]); });
            if constexpr (N % 2 == 0) y[N / 2] = wide::gather(Cr + csr[N / 2], 2);
            return;
        }
        if constexpr (N % wide_lanes == 0) {
            if (how == layout::complex_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto i) {
                    wide block[wide_lanes];
                    unroll<wide_lanes>(
                        LYR_LAMBDA(auto l) { block[l] = wide::load(Cr + i + l * step); });
                    transpose(block);
                    unroll<wide_lanes / 2>(LYR_LAMBDA(auto l) {
                        y[i / 2 + l] = block[2 * l];
                        if (i / 2 + l != 0) y[N - i / 2 - l] = block[2 * l + 1];
                    });
                });
                y[N / 2] = wide::gather(Cr + N, step);
                return;
            }
            if (how == layout::real_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto i) {
                    wide block[wide_lanes];
                    unroll<wide_lanes>(
                        LYR_LAMBDA(auto l) { block[l] = wide::load(Cr + i + l * step); });
                    transpose(block);
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { y[i + l] = block[l]; });
                });
                return;
            }
        }
        each<N, 1>(LYR_LAMBDA(auto i) { y[i] = wide::gather(at(i), step); });
    }
    LYR_INLINE void store(const wide (&y)[N]) const {
        if constexpr (Zeroed && N % wide_lanes == 0) {
            if (how == layout::complex_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto i) {
                    wide block[wide_lanes];
                    unroll<wide_lanes / 2>(LYR_LAMBDA(auto l) {
                        block[2 * l] = y[i / 2 + l];
                        block[2 * l + 1] = i / 2 + l != 0 ? y[(N - i / 2 - l) % N] : wide::zero();
                    });
                    transpose(block);
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { block[l].store(Cr + i + l * step); });
                });
                y[N / 2].scatter(Cr + N, step);
                wide::zero().scatter(Cr + N + 1, step);
                return;
            }
        }
        if (how == layout::side_by_side) {
            each<N, 1>(LYR_LAMBDA(auto i) { y[i].store(at(i)); });
            if constexpr (Zeroed) zero_ends(wide_lanes);
            return;
        }
        if (how == layout::pairs) {
            store_end(Cr, y[0]);
            each<(N - 1) / 2, 1>(
                LYR_LAMBDA(auto k) { store_pairs(Cr + csr[k + 1], y[k + 1], y[N - 1 - k]); });
            if constexpr (N % 2 == 0) store_end(Cr + csr[N / 2], y[N / 2]);
            return;
        }
        if constexpr (N % wide_lanes == 0) {
            if (how == layout::real_lines) {
                each<N, wide_lanes>(LYR_LAMBDA(auto i) {
                    wide block[wide_lanes];
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { block[l] = y[i + l]; });
                    transpose(block);
                    unroll<wide_lanes>(LYR_LAMBDA(auto l) { block[l].store(Cr + i + l * step); });
                });
                return;
            }
        }
        each<N, 1>(LYR_LAMBDA(auto i) { y[i].scatter(at(i), step); });
        if constexpr (Zeroed) zero_ends(wide_lanes);
    }
    LYR_INLINE static void store_end(double *c, wide re) {
        if constexpr (Zeroed)
            store_pairs(c, re, wide::zero());
        else
            re.scatter(c, 2);
    }
    LYR_INLINE void zero_ends(int64_t count) const {
        for (int64_t l = 0; l < count; ++l) {
            Ci[l * step] = 0;
            if constexpr (N % 2 == 0) Ci[csi[N / 2] + l * step] = 0;
        }
    }
    LYR_INLINE void load_some(wide (&y)[N], int count) const {
        for (int i = 0; i < N; ++i) {
            y[i] = wide::zero();
            for (int l = 0; l < count; ++l) y[i].v[l] = at(i)[l * step];
        }
    }
    LYR_INLINE void store_some(const wide (&y)[N], int count) const {
        for (int i = 0; i < N; ++i)
            for (int l = 0; l < count; ++l) at(i)[l * step] = y[i].v[l];
        if constexpr (Zeroed) zero_ends(count);
    }
    LYR_INLINE void advance(int64_t count) {
        Cr += count * step;
        Ci += count * step;
    }
};

// From x to y in half-complex order.
template <int N>
LYR_INLINE void forward_values(const wide (&x)[N], wide (&y)[N]) {
    const auto in = LYR_LAMBDA(auto j) {
        return x[j];
    };
    const auto re = LYR_LAMBDA(auto k, wide v) {
        y[k] = v;
    };
    const auto im = LYR_LAMBDA(auto k, wide v) {
        y[N - k] = v;
    };
    if constexpr (N % 2)
        real_forward_odd<N, wide>(in, re, im);
    else
        real_forward<N, wide>(in, re, im);
}
template <int N>
LYR_INLINE void backward_values(const wide (&y)[N], wide (&x)[N]) {
    real_backward<N, wide>(
        LYR_LAMBDA(auto k) { return y[k]; }, LYR_LAMBDA(auto k) { return y[N - k]; },
        LYR_LAMBDA(auto j, wide v) { x[j] = v; });
}
// The one function for remainders and, of long transforms, for all that is not side by side.
template <int N>
__attribute__((noinline)) void forward_values_far(const wide (&x)[N], wide (&y)[N]) {
    forward_values<N>(x, y);
}
template <int N>
__attribute__((noinline)) void backward_values_far(const wide (&y)[N], wide (&x)[N]) {
    backward_values<N>(y, x);
}

// `count` transforms, less than lanes, of a batch: with the arithmetic of the others.
template <int N, class Reals, class Spectra>
LYR_INLINE void forward_rest(const Reals &in, const Spectra &out, int count) {
    wide x[N], y[N];
    in.load_some(x, count);
    forward_values_far<N>(x, y);
    out.store_some(y, count);
}
template <int N, class Spectra, class Reals>
LYR_INLINE void backward_rest(const Spectra &in, const Reals &out, int count) {
    wide y[N], x[N];
    in.load_some(y, count);
    backward_values_far<N>(y, x);
    out.store_some(x, count);
}

template <int N, bool Zeroed>
LYR_INLINE void forward_batch(LYR_REAL_PARAMETERS) {
    batch_of_reals<N> in(R0, R1, rs, ivs);
    batch_of_spectra<N, Zeroed> out(Cr, Ci, csr, csi, ovs);
    wide x[N], y[N];
    for (; v >= wide_lanes; v -= wide_lanes) {
        in.load(x);
        if constexpr (N <= longest_unrolled)
            forward_values<N>(x, y);
        else
            forward_values_far<N>(x, y);
        out.store(y);
        in.advance(wide_lanes);
        out.advance(wide_lanes);
    }
    if constexpr (N >= shortest_inside) {
        if (v > 0) forward_rest<N>(in, out, static_cast<int>(v));
    } else {
        for (; v > 0; --v) {
            forward_one<N>(tabled_reals{in.R0, in.R1, rs},
                           tabled_spectrum<N>{out.Cr, out.Ci, csr, csi});
            if constexpr (Zeroed) out.zero_ends(1);
            in.advance(1);
            out.advance(1);
        }
    }
}

}  // namespace

template <int N>
void r2c_kernel(LYR_REAL_PARAMETERS) {
    forward_one<N>(tabled_reals{R0, R1, rs}, tabled_spectrum<N>{Cr, Ci, csr, csi});
}
template <int N>
void r2c_many_kernel(LYR_REAL_PARAMETERS) {
    forward_batch<N, false>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}
template <int N>
void r2c_many_zeroed_kernel(LYR_REAL_PARAMETERS) {
    forward_batch<N, true>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}

template <int N>
void forward_kernel(LYR_REAL_PARAMETERS) {
    if (N >= shortest_inside && v == 1)
        r2c_kernel<N>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
    else
        forward_batch<N, false>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}

template <int N>
void backward_kernel(LYR_REAL_PARAMETERS) {
    const auto single = LYR_LAMBDA(double *r0, double *r1, double *cr, double *ci) {
        backward_one<N>(tabled_spectrum<N>{cr, ci, csr, csi}, tabled_reals{r0, r1, rs});
    };
    if (N >= shortest_inside && v == 1) {
        single(R0, R1, Cr, Ci);
        return;
    }
    batch_of_spectra<N> in(Cr, Ci, csr, csi, ivs);
    batch_of_reals<N> out(R0, R1, rs, ovs);
    wide y[N], x[N];
    for (; v >= wide_lanes; v -= wide_lanes) {
        in.load(y);
        if constexpr (N <= longest_unrolled)
            backward_values<N>(y, x);
        else
            backward_values_far<N>(y, x);
        out.store(x);
        in.advance(wide_lanes);
        out.advance(wide_lanes);
    }
    if constexpr (N >= shortest_inside) {
        if (v > 0) backward_rest<N>(in, out, static_cast<int>(v));
    } else {
        for (; v > 0; --v) {
            single(out.R0, out.R1, in.Cr, in.Ci);
            in.advance(1);
            out.advance(1);
        }
    }
}

template <int N>
void r2c_unit(plan *, double *in, double *out) {
    forward_one<N>(unit_reals{in}, unit_complex<N>{out});
}
template <int N>
void r2hc_unit(plan *, double *in, double *out) {
    forward_one<N>(unit_reals{in}, half_complex<N>{out});
}
template <int N>
void dht_unit(plan *, double *in, double *out) {
    forward_one<N>(unit_reals{in}, hartley<N>{out});
}
template <int N>
void c2r_unit(plan *, double *in, double *out) {
    backward_one<N>(unit_complex<N>{in}, unit_reals{out});
}
template <int N>
void hc2r_unit(plan *, double *in, double *out) {
    backward_one<N>(half_complex<N>{in}, unit_reals{out});
}

}  // namespace lyr::LYR_ISA

// Instantiates the kernels of one power of two for the table.
#define LYR_REAL_TYPES                                                                          \
    (double *, double *, double *, double *, const int64_t *, const int64_t *, const int64_t *, \
     uint64_t, int64_t, int64_t)
#define LYR_DEFINE_REAL(N)                                  \
    namespace lyr::LYR_ISA {                                \
    template void r2c_kernel<N> LYR_REAL_TYPES;             \
    template void forward_kernel<N> LYR_REAL_TYPES;         \
    template void backward_kernel<N> LYR_REAL_TYPES;        \
    template void r2c_unit<N>(plan *, double *, double *);  \
    template void r2hc_unit<N>(plan *, double *, double *); \
    template void dht_unit<N>(plan *, double *, double *);  \
    template void c2r_unit<N>(plan *, double *, double *);  \
    template void hc2r_unit<N>(plan *, double *, double *); \
    }
// Of those of the batched solver.
#define LYR_DEFINE_REAL_MANY(N)                             \
    namespace lyr::LYR_ISA {                                \
    template void r2c_many_kernel<N> LYR_REAL_TYPES;        \
    template void r2c_many_zeroed_kernel<N> LYR_REAL_TYPES; \
    }
