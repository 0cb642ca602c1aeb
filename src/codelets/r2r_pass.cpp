// The passes of r2r_pass.h for one vector target. Compiled with contraction: products and sums
// fuse where the compiler sees them.
#include "codelets/r2r_pass.h"

#include LYR_ISA_HEADER

#include "codelets/simd/real_vec.h"

namespace lyr::LYR_ISA {

namespace {

constexpr scalar sqrt2 = 1.41421356237309504880;

template <int W>
struct complexes {
    real_vec<W> re, im;

    LYR_INLINE static complexes load(const scalar *p) {
        complexes x;
        load_pairs(p, x.re, x.im);
        return x;
    }
    // Those that end with the one at p, last one first.
    LYR_INLINE static complexes load_down(const scalar *p) {
        complexes x;
        load_pairs_down(p, x.re, x.im);
        return x;
    }
};

// Factor number i of a table.
template <int W>
LYR_INLINE complexes<W> factor(const r2r_pass &p, int64_t table, int64_t i) {
    const scalar *re = p.twiddles + 2 * table * p.count + i;
    return {real_vec<W>::load(re), real_vec<W>::load(re + p.count)};
}

template <int W>
LYR_INLINE complexes<W> product(complexes<W> a, complexes<W> b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
// a times the conjugate of b.
template <int W>
LYR_INLINE complexes<W> back_product(complexes<W> a, complexes<W> b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

// Calls body.operator()<W>(i) so that the blocks i..i+W-1 cover 0..count-1; the last two may
// overlap, so the pass must not read what it writes.
template <int W = 2 * vec::lanes, class function>
LYR_INLINE void cover(int64_t count, function body) {
    if constexpr (W > 1) {
        if (count < W) {
            cover<W / 2>(count, body);
            return;
        }
    }
    int64_t i = 0;
    for (; i + W <= count; i += W) body.template operator()<W>(i);
    if (i < count) body.template operator()<W>(count - W);
}

// ---- Where the spectrum goes and comes from -----------------------------------------------------
// put_up stores Y[k], Y[k+1], ..; put_down Y[k], Y[k-1], ..; t are the factors for these.

struct r2hc {
    static constexpr scalar scale = 0.5;  // of the sums
    static constexpr bool rotates = false;
    static constexpr scalar first = 1, last = 1;  // of Y[0] and Y[n/2]
    static int64_t place(int64_t, int64_t k) { return k; }

    template <int W>
    LYR_INLINE static void put_up(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        y.re.store(out + k);
        y.im.store_down(out + n - k);
    }
    template <int W>
    LYR_INLINE static void put_down(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        y.re.store_down(out + k);
        y.im.store(out + n - k);
    }
    template <int W>
    LYR_INLINE static complexes<W> get_up(const scalar *in, int64_t n, int64_t k) {
        return {real_vec<W>::load(in + k), real_vec<W>::load_down(in + n - k)};
    }
    template <int W>
    LYR_INLINE static complexes<W> get_down(const scalar *in, int64_t n, int64_t k) {
        return {real_vec<W>::load_down(in + k), real_vec<W>::load(in + n - k)};
    }
};
using hc2r = r2hc;

struct dht {
    static constexpr scalar scale = 0.5;
    static constexpr bool rotates = false;
    static constexpr scalar first = 1, last = 1;
    static int64_t place(int64_t, int64_t k) { return k; }

    template <int W>
    LYR_INLINE static void put_up(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        r2hc::put_up<W>(out, n, k, {y.re - y.im, y.re + y.im});
    }
    template <int W>
    LYR_INLINE static void put_down(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        r2hc::put_down<W>(out, n, k, {y.re - y.im, y.re + y.im});
    }
};

struct redft {
    static constexpr scalar scale = 1;
    static constexpr bool rotates = true;
    static constexpr scalar first = 2, last = sqrt2;
    static int64_t place(int64_t, int64_t k) { return k; }

    template <int W>
    LYR_INLINE static void put_up(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        r2hc::put_up<W>(out, n, k, {y.re, -y.im});
    }
    template <int W>
    LYR_INLINE static void put_down(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        r2hc::put_down<W>(out, n, k, {y.re, -y.im});
    }
    template <int W>
    LYR_INLINE static complexes<W> get_up(const scalar *in, int64_t n, int64_t k) {
        const complexes<W> y = r2hc::get_up<W>(in, n, k);
        return {y.re, -y.im};
    }
    template <int W>
    LYR_INLINE static complexes<W> get_down(const scalar *in, int64_t n, int64_t k) {
        const complexes<W> y = r2hc::get_down<W>(in, n, k);
        return {y.re, -y.im};
    }
};

// Element k of the cosine transform is element n-1-k of the sine transform.
struct rodft {
    static constexpr scalar scale = 1;
    static constexpr bool rotates = true;
    static constexpr scalar first = 2, last = sqrt2;
    static int64_t place(int64_t n, int64_t k) { return n - 1 - k; }

    template <int W>
    LYR_INLINE static void put_up(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        y.re.store_down(out + n - 1 - k);
        (-y.im).store(out + k - 1);
    }
    template <int W>
    LYR_INLINE static void put_down(scalar *out, int64_t n, int64_t k, complexes<W> y) {
        y.re.store(out + n - 1 - k);
        (-y.im).store_down(out + k - 1);
    }
    template <int W>
    LYR_INLINE static complexes<W> get_up(const scalar *in, int64_t n, int64_t k) {
        return {real_vec<W>::load_down(in + n - 1 - k), -real_vec<W>::load(in + k - 1)};
    }
    template <int W>
    LYR_INLINE static complexes<W> get_down(const scalar *in, int64_t n, int64_t k) {
        return {real_vec<W>::load(in + n - 1 - k), -real_vec<W>::load_down(in + k - 1)};
    }
};

// ---- Even lengths -------------------------------------------------------------------------------

// From the transform of the pairs to the output.
template <class kind>
void unfold(const r2r_pass &pass, const scalar *z, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n, h = n / 2;
    out[kind::place(n, 0)] = kind::first * (z[0] + z[1]);
    out[kind::place(n, h)] = kind::last * (z[0] - z[1]);
    cover(p.count, [&]<int W>(int64_t i) {
        const int64_t k = i + 1;
        const auto a = complexes<W>::load(z + 2 * k);
        const auto b = complexes<W>::load_down(z + 2 * (h - k));
        const complexes<W> w = factor<W>(p, 0, i);
        const complexes<W> e = {scale(a.re + b.re, kind::scale), scale(a.im - b.im, kind::scale)};
        const complexes<W> g = product<W>({a.im + b.im, b.re - a.re}, w);  // -i w (a - conj b)
        complexes<W> up = {e.re + g.re, e.im + g.im};
        complexes<W> down = {e.re - g.re, g.im - e.im};
        if constexpr (kind::rotates) {
            up = product<W>(up, factor<W>(p, 1, i));
            down = product<W>(down, factor<W>(p, 2, i));
        }
        kind::template put_up<W>(out, n, k, up);
        kind::template put_down<W>(out, n, h - k, down);
    });
}

// From the input to what the backward transform makes pairs from.
template <class kind>
void fold(const r2r_pass &pass, const scalar *in, scalar *z) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n, h = n / 2;
    const scalar first = in[kind::place(n, 0)];
    const scalar last = (kind::rotates ? sqrt2 : 1) * in[kind::place(n, h)];
    z[0] = first + last;
    z[1] = first - last;
    cover(p.count, [&]<int W>(int64_t i) {
        const int64_t k = i + 1;
        complexes<W> a = kind::template get_up<W>(in, n, k);
        complexes<W> b = kind::template get_down<W>(in, n, h - k);
        if constexpr (kind::rotates) {
            a = back_product<W>(a, factor<W>(p, 1, i));
            b = back_product<W>(b, factor<W>(p, 2, i));
        }
        const complexes<W> e = {a.re + b.re, a.im - b.im};
        // i conj(w) (a - conj b)
        const complexes<W> g = back_product<W>({-(a.im + b.im), a.re - b.re}, factor<W>(p, 0, i));
        store_pairs(z + 2 * k, e.re + g.re, e.im + g.im);
        store_pairs_down(z + 2 * (h - k), e.re - g.re, g.im - e.im);
    });
}

// ---- Odd lengths --------------------------------------------------------------------------------

template <class kind>
void spread(const r2r_pass &pass, const scalar *y, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n;
    out[kind::place(n, 0)] = kind::first * y[0];
    cover(n / 2, [&]<int W>(int64_t i) {
        auto x = complexes<W>::load(y + 2 * (i + 1));
        if constexpr (kind::rotates) {
            x = product<W>(x, factor<W>(p, 0, i));
            x = {scale(x.re, 2), scale(x.im, 2)};
        }
        kind::template put_up<W>(out, n, i + 1, x);
    });
}

template <class kind>
void collect(const r2r_pass &pass, const scalar *in, scalar *y) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n;
    y[0] = in[kind::place(n, 0)];
    y[1] = 0;
    cover(n / 2, [&]<int W>(int64_t i) {
        complexes<W> x = kind::template get_up<W>(in, n, i + 1);
        if constexpr (kind::rotates) x = back_product<W>(x, factor<W>(p, 0, i));
        store_pairs(y + 2 * (i + 1), x.re, x.im);
    });
}

// ---- The order of types II and III --------------------------------------------------------------

template <bool negate>
LYR_INLINE auto turned(auto x) {
    return negate ? -x : x;
}

// Even elements upwards from the start, odd ones downwards from the end.
template <bool negate_odd>
void part_mirrored(const r2r_pass &pass, const scalar *in, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n;
    cover(n / 2, [&]<int W>(int64_t j) {
        const auto x = complexes<W>::load(in + 2 * j);
        x.re.store(out + j);
        turned<negate_odd>(x.im).store_down(out + n - 1 - j);
    });
    if (n % 2 != 0) out[n / 2] = in[n - 1];
}

template <bool negate_odd>
void join_mirrored(const r2r_pass &pass, const scalar *in, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n;
    cover(n / 2, [&]<int W>(int64_t j) {
        const auto odd = real_vec<W>::load_down(in + n - 1 - j);
        store_pairs(out + 2 * j, real_vec<W>::load(in + j), turned<negate_odd>(odd));
    });
    if (n % 2 != 0) out[n - 1] = in[n / 2];
}

// ---- Type IV ------------------------------------------------------------------------------------
// Complex numbers j and h-1-j at a time: their four real numbers lie in two pairs.

template <bool sine>
void type4_before(const r2r_pass &pass, const scalar *in, scalar *z) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n, h = n / 2;
    cover(p.count, [&]<int W>(int64_t j) {
        const auto x = complexes<W>::load(in + 2 * j);
        const auto y = complexes<W>::load_down(in + n - 2 - 2 * j);
        const complexes<W> a = sine ? complexes<W>{y.im, x.re} : complexes<W>{x.re, y.im};
        const complexes<W> b = sine ? complexes<W>{x.im, y.re} : complexes<W>{y.re, x.im};
        const complexes<W> up = product<W>(a, factor<W>(p, 0, j));
        const complexes<W> down = product<W>(b, factor<W>(p, 1, j));
        store_pairs(z + 2 * j, up.re, up.im);
        store_pairs_down(z + 2 * (h - 1 - j), down.re, down.im);
    });
}

template <bool sine>
void type4_after(const r2r_pass &pass, const scalar *z, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t n = p.n, h = n / 2;
    cover(p.count, [&]<int W>(int64_t k) {
        const auto up = complexes<W>::load(z + 2 * k);
        const auto down = complexes<W>::load_down(z + 2 * (h - 1 - k));
        const auto a = product(up, factor<W>(p, 0, k));
        const auto b = product(down, factor<W>(p, 1, k));
        constexpr scalar odd = sine ? 2 : -2;
        store_pairs(out + 2 * k, scale(a.re, 2), scale(b.im, odd));
        store_pairs_down(out + n - 2 - 2 * k, scale(b.re, 2), scale(a.im, odd));
    });
}

// ---- Type I -------------------------------------------------------------------------------------

void redft00_join(const r2r_pass &pass, const scalar *in, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t N = p.n, H = N / 2;
    const scalar *even = in, *odd = in + p.count;
    cover(H, [&]<int W>(int64_t k) {
        const auto a = real_vec<W>::load(even + k), b = real_vec<W>::load(odd + k);
        (a + b).store(out + k);
        (a - b).store_down(out + N - k);
    });
    out[H] = even[H];
}

void rodft00_join(const r2r_pass &pass, const scalar *in, scalar *out) {
    const r2r_pass p = pass;  // which the stores below cannot change
    const int64_t N = p.n, H = N / 2;
    const scalar *even = in, *odd = in + p.count;
    cover(H - 1, [&]<int W>(int64_t k) {
        const auto a = real_vec<W>::load(even + k), b = real_vec<W>::load(odd + k);
        (b + a).store(out + k);
        (b - a).store_down(out + N - 2 - k);
    });
    out[H - 1] = odd[H - 1];
}

// ---- Short transforms ---------------------------------------------------------------------------

// W outputs. Two sums, so that one addition need not wait for the one before.
template <int n, int W>
LYR_INLINE real_vec<W> row_sums(const scalar *x, const scalar *matrix) {
    auto even = scale(real_vec<W>::load(matrix), x[0]), odd = real_vec<W>::zero();
#pragma GCC unroll 32
    for (int64_t j = 1; j < n; ++j) {
        auto &sum = j % 2 != 0 ? odd : even;
        sum = sum + scale(real_vec<W>::load(matrix + j * n), x[j]);
    }
    return even + odd;
}

template <int n>
void small(const r2r_small &pass, const scalar *in, scalar *out) {
    const auto [is, os, matrix] = pass;
    scalar x[n], y[n];
    for (int j = 0; j < n; ++j) x[j] = in[j * is];
    const bool strided = os != 1;
    scalar *to = strided ? y : out;
    cover(n, [&, m = matrix]<int W>(int64_t k) { row_sums<n, W>(x, m + k).store(to + k); });
    if (strided)
        for (int k = 0; k < n; ++k) out[k * os] = y[k];
}

template <int... n>
constexpr r2r_small_set small_functions(indices<n...>) {
    return {{small<n + 1>...}};
}

}  // namespace

extern const r2r_pass_set r2r_passes;
const r2r_pass_set r2r_passes = {
    {
        {nullptr, unfold<r2hc>},
        {fold<hc2r>, nullptr},
        {nullptr, unfold<dht>},
        {},
        {fold<redft>, join_mirrored<false>},
        {part_mirrored<false>, unfold<redft>},
        {type4_before<false>, type4_after<false>},
        {},
        {fold<rodft>, join_mirrored<true>},
        {part_mirrored<true>, unfold<rodft>},
        {type4_before<true>, type4_after<true>},
    },
    {
        {nullptr, spread<r2hc>},
        {collect<hc2r>, nullptr},
        {nullptr, spread<dht>},
        {},
        {collect<redft>, join_mirrored<false>},
        {part_mirrored<false>, spread<redft>},
        {},
        {},
        {collect<rodft>, join_mirrored<true>},
        {part_mirrored<true>, spread<rodft>},
        {},
    },
    redft00_join,
    rodft00_join,
    small_functions(count_to<r2r_small_limit>::type{}),
};

}  // namespace lyr::LYR_ISA
