// Transforms of real data: pure arithmetic on vectors, each lane a transform of its own.
//
// Split radix with the odd samples as x[4j+1] and x[4j-1], whose twiddle factors are conjugates
// (Kamar and Elcherif, 1989), on real data (Sorensen, Jones, Heideman, Burrus, 1987). A factor
// c(1 + it) costs two fused operations for 1 + it; its cosine is the same for both odd parts and
// goes into the last additions (Linzer and Feig, 1993). Tangents stay below 1: beyond an eighth of
// a turn the factor is s(cot + i).
//
// Additions and fused operations, forward: 2, 6, 20, 58, 156, 394, 956 for 2 .. 128.
#pragma once

#include "codelets/kernel/butterfly.h"
#include "codelets/kernel/octants.h"
#include "codelets/simd/real_vec.h"

namespace lyr::LYR_ISA {
namespace {

// exp(2 pi i m/N), 0 <= m < N, from the first octant.
struct root {
    scalar cosine, sine;
};
template <int N>
constexpr root root_of(int m) {
    if (2 * m > N) {
        const root r = root_of<N>(N - m);
        return {r.cosine, -r.sine};
    }
    if (4 * m > N) {
        const root r = root_of<N>(N / 2 - m);
        return {-r.cosine, r.sine};
    }
    if (8 * m > N) return {octant<N>::sine[N / 4 - m], octant<N>::cosine[N / 4 - m]};
    return {octant<N>::cosine[m], octant<N>::sine[m]};
}

template <class V, int N>
struct half_spectrum {
    V re[N / 2 + 1], im[N / 2 + 1];  // im[0] and, for even N, im[N/2] are not used
};

// X[k], k = 0 .. N/2, of x. in(index<j>) is x[j]; re(index<k>, value) and im(index<k>, value) take
// the results, im only 0 < k < N/2. All of x is asked for before the first result is given.
template <int N, class V, class In, class Re, class Im>
LYR_INLINE void real_forward(In in, Re re, Im im) {
    if constexpr (N == 1) {
        re(index<0>{}, in(index<0>{}));
    } else if constexpr (N == 2) {
        const V a = in(index<0>{}), b = in(index<1>{});
        re(index<0>{}, a + b);
        re(index<1>{}, a - b);
    } else {
        half_spectrum<V, N / 2> e;
        half_spectrum<V, N / 4> p, q;
        real_forward<N / 2, V>(
            LYR_LAMBDA(auto j) { return in(index<2 * j>{}); },
            LYR_LAMBDA(auto k, V v) { e.re[k] = v; }, LYR_LAMBDA(auto k, V v) { e.im[k] = v; });
        real_forward<N / 4, V>(
            LYR_LAMBDA(auto j) { return in(index<4 * j + 1>{}); },
            LYR_LAMBDA(auto k, V v) { p.re[k] = v; }, LYR_LAMBDA(auto k, V v) { p.im[k] = v; });
        real_forward<N / 4, V>(
            LYR_LAMBDA(auto j) { return in(index<(4 * j + N - 1) % N>{}); },
            LYR_LAMBDA(auto k, V v) { q.re[k] = v; }, LYR_LAMBDA(auto k, V v) { q.im[k] = v; });

        const V sum = p.re[0] + q.re[0];
        re(index<0>{}, e.re[0] + sum);
        re(index<N / 2>{}, e.re[0] - sum);
        re(index<N / 4>{}, e.re[N / 4]);
        im(index<N / 4>{}, q.re[0] - p.re[0]);
        if constexpr (N >= 8) {
            unroll<N / 8 - 1>(LYR_LAMBDA(auto k0) {
                constexpr int k = k0 + 1;
                constexpr scalar c = octant<N>::cosine[k], t = octant<N>::tangent[k];
                // s = (p(1 - it) + q(1 + it)), d = (q(1 + it) - p(1 - it)):
                // X[k] = e[k] + cs, X[k + N/4] = e[k + N/4] + icd, and their mirror images.
                const V pr = fma(p.re[k], p.im[k], t), pi = fma(p.im[k], p.re[k], -t);
                const V qr = fma(q.re[k], q.im[k], -t), qi = fma(q.im[k], q.re[k], t);
                const V sr = pr + qr, si = pi + qi, dr = qr - pr, di = qi - pi;
                re(index<k>{}, fma(e.re[k], sr, c));
                im(index<k>{}, fma(e.im[k], si, c));
                re(index<N / 2 - k>{}, fma(e.re[k], sr, -c));
                im(index<N / 2 - k>{}, fms(e.im[k], si, c));
                re(index<N / 4 - k>{}, fma(e.re[N / 4 - k], di, c));
                im(index<N / 4 - k>{}, fma(e.im[N / 4 - k], dr, c));
                re(index<N / 4 + k>{}, fma(e.re[N / 4 - k], di, -c));
                im(index<N / 4 + k>{}, fms(e.im[N / 4 - k], dr, c));
            });
            constexpr int k = N / 8;
            const V s = p.re[k] + q.re[k], d = q.re[k] - p.re[k];
            re(index<k>{}, fma(e.re[k], s, sqrt_half));
            im(index<k>{}, fma(e.im[k], d, sqrt_half));
            re(index<3 * k>{}, fma(e.re[k], s, -sqrt_half));
            im(index<3 * k>{}, fms(e.im[k], d, sqrt_half));
        }
    }
}

// The unscaled inverse DFT of in_re(index<k>) + i*in_im(index<k>).
template <int N, class V, class InRe, class InIm>
LYR_INLINE void complex_backward(InRe in_re, InIm in_im, V (&re)[N], V (&im)[N]) {
    if constexpr (N == 1) {
        re[0] = in_re(index<0>{});
        im[0] = in_im(index<0>{});
    } else if constexpr (N == 2) {
        const V ar = in_re(index<0>{}), ai = in_im(index<0>{});
        const V br = in_re(index<1>{}), bi = in_im(index<1>{});
        re[0] = ar + br;
        im[0] = ai + bi;
        re[1] = ar - br;
        im[1] = ai - bi;
    } else {
        constexpr int h = N / 2, m = N / 4;
        V er[h], ei[h], ur[m], ui[m], wr[m], wi[m];
        complex_backward<h, V>(
            LYR_LAMBDA(auto j) { return in_re(index<2 * j>{}); },
            LYR_LAMBDA(auto j) { return in_im(index<2 * j>{}); }, er, ei);
        complex_backward<m, V>(
            LYR_LAMBDA(auto j) { return in_re(index<4 * j + 1>{}); },
            LYR_LAMBDA(auto j) { return in_im(index<4 * j + 1>{}); }, ur, ui);
        complex_backward<m, V>(
            LYR_LAMBDA(auto j) { return in_re(index<(4 * j + N - 1) % N>{}); },
            LYR_LAMBDA(auto j) { return in_im(index<(4 * j + N - 1) % N>{}); }, wr, wi);
        unroll<m>(LYR_LAMBDA(auto k) {
            V pr = ur[k], pi = ui[k], qr = wr[k], qi = wi[k];
            scalar c = 1;
            if constexpr (2 * k == m) {
                pr = ur[k] - ui[k];
                pi = ui[k] + ur[k];
                qr = wr[k] + wi[k];
                qi = wi[k] - wr[k];
                c = sqrt_half;
            } else if constexpr (k > 0 && 2 * k < m) {
                constexpr scalar t = octant<N>::tangent[k];
                pr = fma(ur[k], ui[k], -t);
                pi = fma(ui[k], ur[k], t);
                qr = fma(wr[k], wi[k], t);
                qi = fma(wi[k], wr[k], -t);
                c = octant<N>::cosine[k];
            } else if constexpr (k > 0) {
                constexpr scalar t = octant<N>::tangent[m - k];
                pr = fms(ui[k], ur[k], t);
                pi = fma(ur[k], ui[k], t);
                qr = fma(wi[k], wr[k], t);
                qi = fms(wr[k], wi[k], t);
                c = octant<N>::cosine[m - k];
            }
            const V sr = pr + qr, si = pi + qi, dr = pr - qr, di = pi - qi;
            if constexpr (k == 0) {
                re[0] = er[0] + sr;
                im[0] = ei[0] + si;
                re[h] = er[0] - sr;
                im[h] = ei[0] - si;
                re[m] = er[m] - di;
                im[m] = ei[m] + dr;
                re[3 * m] = er[m] + di;
                im[3 * m] = ei[m] - dr;
            } else {
                re[k] = fma(er[k], sr, c);
                im[k] = fma(ei[k], si, c);
                re[h + k] = fma(er[k], sr, -c);
                im[h + k] = fma(ei[k], si, -c);
                re[m + k] = fma(er[m + k], di, -c);
                im[m + k] = fma(ei[m + k], dr, c);
                re[3 * m + k] = fma(er[m + k], di, c);
                im[3 * m + k] = fma(ei[m + k], dr, -c);
            }
        });
    }
}

// x from X[k] = in_re(index<k>) + i*in_im(index<k>), in_im only 0 < k < N/2; unscaled.
// out(index<j>, value) takes x[j], after all of X has been asked for.
//
// Split radix over frequencies: X[2k] is the spectrum of a transform of N/2; X[4k+1], k < N/4, of a
// complex one, whose turned results are added with the conjugates that X[4k-1] would give.
template <int N, class V, class InRe, class InIm, class Out>
LYR_INLINE void real_backward(InRe in_re, InIm in_im, Out out) {
    if constexpr (N == 2) {
        const V a = in_re(index<0>{}), b = in_re(index<1>{});
        out(index<0>{}, a + b);
        out(index<1>{}, a - b);
    } else {
        constexpr int h = N / 2, m = N / 4;
        V e[h], zr[m], zi[m];
        real_backward<h, V>(
            LYR_LAMBDA(auto k) { return in_re(index<2 * k>{}); },
            LYR_LAMBDA(auto k) { return in_im(index<2 * k>{}); },
            LYR_LAMBDA(auto j, V v) { e[j] = v; });
        complex_backward<m, V>(
            LYR_LAMBDA(auto k) {
                constexpr int f = 4 * k + 1;
                return in_re(index<(f < h ? f : N - f)>{});
            },
            LYR_LAMBDA(auto k) {
                constexpr int f = 4 * k + 1;
                if constexpr (f < h)
                    return in_im(index<f>{});
                else
                    return -in_im(index<N - f>{});
            },
            zr, zi);
        unroll<m>(LYR_LAMBDA(auto j) {
            V re = zr[j], im = zi[j];
            scalar c = 1;
            if constexpr (2 * j == m) {
                re = zr[j] - zi[j];
                im = zr[j] + zi[j];
                c = sqrt_half;
            } else if constexpr (j > 0 && 2 * j < m) {
                constexpr scalar t = octant<N>::tangent[j];
                re = fma(zr[j], zi[j], -t);
                im = fma(zi[j], zr[j], t);
                c = octant<N>::cosine[j];
            } else if constexpr (j > 0) {
                constexpr scalar t = octant<N>::tangent[m - j];
                re = fms(zi[j], zr[j], t);
                im = fma(zr[j], zi[j], t);
                c = octant<N>::cosine[m - j];
            }
            out(index<j>{}, fma(e[j], re, 2 * c));
            out(index<m + j>{}, fma(e[m + j], im, -2 * c));
            out(index<h + j>{}, fma(e[j], re, -2 * c));
            out(index<3 * m + j>{}, fma(e[m + j], im, 2 * c));
        });
    }
}

// Forward transforms of odd length, by symmetric pairs (see butterfly_odd).
template <int N, class V, class In, class Re, class Im>
requires(N % 2 == 1 && N > 1) LYR_INLINE void real_forward_odd(In in, Re re, Im im) {
    constexpr int h = N / 2;
    const V x0 = in(index<0>{});
    V sum[h], dif[h];
    unroll<h>(LYR_LAMBDA(auto j) {
        const V a = in(index<j + 1>{}), b = in(index<N - 1 - j>{});
        sum[j] = a + b;
        dif[j] = a - b;
    });
    V all = sum[0];
    unroll<h - 1>(LYR_LAMBDA(auto j) { all = all + sum[j + 1]; });
    re(index<0>{}, x0 + all);
    unroll<h>(LYR_LAMBDA(auto k0) {
        constexpr int k = k0 + 1;
        V c = fma(x0, sum[0], roots<N>::cosine[k]);
        V s = scale(dif[0], -roots<N>::sine[k]);
        unroll<h - 1>(LYR_LAMBDA(auto j) {
            constexpr int jk = (j + 2) * k % N;
            c = fma(c, sum[j + 1], roots<N>::cosine[jk]);
            s = fma(s, dif[j + 1], -roots<N>::sine[jk]);
        });
        re(index<k>{}, c);
        im(index<k>{}, s);
    });
}

}  // namespace
}  // namespace lyr::LYR_ISA
