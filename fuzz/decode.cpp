#include "decode.h"

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <utility>

namespace lyr_fuzz {

namespace {

using lyr_tools::transform;

struct byte_source {
    const uint8_t *next, *end;

    int byte() { return next < end ? *next++ : 0; }
    int below(int limit) { return byte() % limit; }
    bool one_in(int n) { return byte() % n == n - 1; }
};

constexpr int64_t hostile[] = {0,
                               -1,
                               INT_MIN,
                               INT_MAX,
                               INT64_MIN,
                               INT64_MAX,
                               int64_t{1} << 20,
                               (int64_t{1} << 24) + 43,  // prime
                               (int64_t{1} << 31) + 11,  // prime
                               10000000019,              // prime
                               int64_t{1} << 31,
                               int64_t{1} << 32,
                               int64_t{1} << 40,
                               int64_t{1} << 56,
                               int64_t{1} << 60,
                               INT64_MAX / 16};

int64_t hostile_number(byte_source &b) {
    const int which = b.below(24);
    if (which < 16) return hostile[which];
    uint64_t value = 0;
    for (int k = 0; k < which - 15; ++k) value = value * 256 + static_cast<uint64_t>(b.byte());
    return static_cast<int64_t>(value);
}

// Lengths of all algorithms: codelets, stages, prime factors, with and without a convolution.
int64_t length(byte_source &b, bool wild) {
    if (wild && b.one_in(8)) return hostile_number(b);
    constexpr int16_t longer[] = {45,  48,  49,   60,   64,   74,   81,   83,   91,  96,
                                  99,  100, 121,  127,  128,  129,  210,  211,  243, 246,
                                  255, 256, 289,  300,  328,  360,  384,  500,  512, 625,
                                  641, 727, 1000, 1009, 1024, 1025, 1155, 1536, 2048};
    const int which = b.byte();
    if (which < 200) return 1 + which % 42;
    return longer[static_cast<size_t>(which - 200) % std::size(longer)];
}

// Strides of the layouts that people have: dimensions nested in some order, with some gaps.
void nest(byte_source &b, call &c, bool input) {
    std::pair<int64_t *, int64_t> all[6];
    int count = 0;
    for (int d = 0; d < c.batch_rank; ++d)
        all[count++] = {input ? &c.batch[d].is : &c.batch[d].os, c.batch[d].n};
    for (int d = 0; d < c.rank; ++d)
        all[count++] = {input ? &c.dims[d].is : &c.dims[d].os, c.dims[d].n};
    const int how = b.byte();
    if (how % 4 == 1)
        for (int k = count - 1; k > 0; --k) std::swap(all[k], all[b.below(k + 1)]);
    if (how % 4 == 2) std::rotate(all, all + c.batch_rank, all + count);  // interleaved
    const bool gaps = how / 4 % 2 != 0, half = how / 8 % 2 != 0;
    int64_t step = gaps ? 1 + b.below(3) : 1;
    for (int k = count - 1; k >= 0; --k) {
        *all[k].first = step;
        int64_t n = std::clamp<int64_t>(all[k].second, 1, 1 << 20);
        if (half && c.rank > 0 &&
            all[k].first == (input ? &c.dims[c.rank - 1].is : &c.dims[c.rank - 1].os))
            n = c.kind == transform::r2c || c.kind == transform::c2r ? n / 2 + 1 : n;
        step = std::min<int64_t>(step * n + (gaps ? b.below(4) : 0), int64_t{1} << 30);
    }
}

void wild_strides(byte_source &b, call &c) {
    const auto stride = [&] { return b.one_in(6) ? hostile_number(b) : 1 + b.byte() % 40; };
    for (int d = 0; d < 3; ++d) {
        c.dims[d].is = stride(), c.dims[d].os = stride();
        c.batch[d].is = stride(), c.batch[d].os = stride();
    }
}

bool pair_of_real_and_complex(const call &c) {
    return c.kind == transform::r2c || c.kind == transform::c2r;
}

int64_t in_bytes(const call &c) {
    return !c.split && (c.kind == transform::c2c || c.kind == transform::c2r) ? 16 : 8;
}
int64_t out_bytes(const call &c) {
    return !c.split && (c.kind == transform::c2c || c.kind == transform::r2c) ? 16 : 8;
}

int64_t doubled(int64_t x) {
    return x > -(int64_t{1} << 40) && x < int64_t{1} << 40 ? 2 * x : x;
}

// In place most people mean results where the input was.
void results_stay(call &c) {
    for (lyr_fft_iodim64 *list : {c.dims, c.batch})
        for (int d = 0; d < 3; ++d) {
            const bool inner = pair_of_real_and_complex(c) && list == c.dims && d == c.rank - 1;
            if (inner)
                list[d].os = list[d].is;
            else if (in_bytes(c) > out_bytes(c))
                list[d].os = doubled(list[d].is);
            else if (in_bytes(c) < out_bytes(c))
                list[d].is = doubled(list[d].os);
            else
                list[d].os = list[d].is;
        }
}

void limit_to(call &c, int64_t points) {
    int64_t room = points;
    for (lyr_fft_iodim64 *list : {c.dims, c.batch})
        for (int d = 0; d < (list == c.dims ? c.rank : c.batch_rank) && d < 3; ++d) {
            list[d].n = std::clamp<int64_t>(list[d].n, 1, room);
            room /= list[d].n;
        }
}

template <class integer>
integer narrow(int64_t x) {
    return static_cast<integer>(static_cast<uint64_t>(x));
}

// Lengths and strides as the 32-bit forms see them.
void narrow_all(call &c) {
    for (lyr_fft_iodim64 *list : {c.dims, c.batch})
        for (int d = 0; d < 3; ++d)
            list[d] = {narrow<int>(list[d].n), narrow<int>(list[d].is), narrow<int>(list[d].os)};
}

}  // namespace

call decode(const uint8_t *data, size_t size) {
    byte_source b = {data, data + size};
    call c;
    c.how = static_cast<form>(b.below(4));
    c.kind = static_cast<transform>(b.below(4));
    const int style = b.byte();
    const bool wild = style % 4 == 3;
    c.in_place = style / 4 % 2 != 0;
    c.split = style / 8 % 4 == 3 && c.how >= form::guru && c.kind != transform::r2r;
    c.sign = style / 32 % 2 != 0 ? LYR_FFT_BACKWARD : LYR_FFT_FORWARD;
    c.other_arrays = style / 64 % 2 != 0;
    c.seed = 1 + static_cast<uint64_t>(b.byte());
    const int setting = b.byte();
    c.table = setting % 3;
    c.threads = setting < 252 ? 1 : 2 + setting % 2;
    c.rank = c.how < form::guru ? 1 + b.below(3) : b.below(4);
    c.batch_rank = c.how == form::basic ? 0 : c.how == form::many ? 1 : b.below(4);
    for (int d = 0; d < 3; ++d) {
        c.dims[d].n = length(b, wild);
        c.kinds[d] = b.below(11);
        c.batch[d].n = length(b, wild);
    }
    if (!wild) limit_to(c, 1024);
    wild_strides(b, c);
    if (!wild || b.one_in(2)) {
        nest(b, c, true);
        nest(b, c, false);
    }
    if (c.in_place && !b.one_in(4)) results_stay(c);
    if (c.how == form::many && c.rank > 1 && c.rank <= 3) {
        // Extents of which the strides above are made, or any.
        c.inembed = !b.one_in(4), c.onembed = !b.one_in(4);
        for (int d = 1; d < c.rank; ++d) {
            const int64_t in = c.dims[d].is, out = c.dims[d].os;
            c.in_extent[d] = narrow<int>(in > 0 ? c.dims[d - 1].is / in : b.byte());
            c.out_extent[d] = narrow<int>(out > 0 ? c.dims[d - 1].os / out : b.byte());
        }
        if (b.one_in(8)) c.in_extent[1] = narrow<int>(hostile_number(b));
        if (b.one_in(8)) c.out_extent[1] = narrow<int>(hostile_number(b));
    }
    if (wild) {
        const int what = b.byte();
        if (what % 8 == 1) c.rank = b.below(7) - 2;
        if (what % 8 == 2) c.batch_rank = c.how == form::many ? 1 : b.below(7) - 2;
        if (what % 8 == 3) c.sign = narrow<int>(hostile_number(b));
        if (what % 8 == 4) c.kinds[b.below(3)] = narrow<int>(hostile_number(b));
        if (what % 8 == 5) c.null_arrays = static_cast<unsigned>(b.below(16));
        if (what % 8 == 6) c.null_dims = true;
        if (what % 8 == 7) b.one_in(2) ? c.null_batch = true : c.null_kinds = true;
    }
    if (b.one_in(8)) c.failure = b.below(40);
    if (c.how != form::guru64) narrow_all(c);
    return c;
}

namespace {

// Strides of the constructors that compute them.
bool compute_strides(call &c) {
    if (c.how == form::basic) {
        c.batch_rank = 0;
        c.inembed = c.onembed = false;
        c.dims[c.rank - 1].is = c.dims[c.rank - 1].os = 1;
    }
    for (int d = c.rank - 2; d >= 0; --d) {
        int64_t in = c.dims[d + 1].n, out = in;
        if (d == c.rank - 2) {
            const int64_t half = in / 2 + 1, padded = c.in_place ? 2 * half : in;
            if (c.kind == transform::r2c) in = padded, out = half;
            if (c.kind == transform::c2r) in = half, out = padded;
        }
        if (c.inembed) in = c.in_extent[d + 1];
        if (c.onembed) out = c.out_extent[d + 1];
        if (__builtin_mul_overflow(c.dims[d + 1].is, in, &c.dims[d].is) ||
            __builtin_mul_overflow(c.dims[d + 1].os, out, &c.dims[d].os))
            return false;
    }
    return true;
}

bool is_guru(const call &c) {
    return c.how >= form::guru;
}

bool kind_is_valid(int kind, int64_t n) {
    return kind >= LYR_FFT_R2HC && kind <= LYR_FFT_RODFT11 && !(kind == LYR_FFT_REDFT00 && n == 1);
}

}  // namespace

claim claim_of(const call &c) {
    const int lowest_rank = is_guru(c) ? 0 : 1;
    if (c.rank < lowest_rank || c.rank > 3) return claim::refused;
    if (is_guru(c) && (c.batch_rank < 0 || c.batch_rank > 3)) return claim::refused;
    if (c.null_dims && (c.rank > 0 || !is_guru(c))) return claim::refused;
    if (c.null_batch && is_guru(c) && c.batch_rank > 0) return claim::refused;
    if (c.kind == transform::r2r && c.null_kinds && c.rank > 0) return claim::refused;
    const bool pair = pair_of_real_and_complex(c);
    if (c.rank == 0 && pair) return claim::refused;
    for (int d = 0; d < c.rank; ++d) {
        const lyr_fft_iodim64 &x = c.dims[d];
        if (x.n < 1) return claim::refused;
        if (is_guru(c) && (x.is < 1 || x.os < 1)) return claim::refused;
        if (c.kind == transform::r2r && !kind_is_valid(c.kinds[d], x.n)) return claim::refused;
    }
    if (is_guru(c)) {
        for (int d = 0; d < c.batch_rank; ++d)
            if (c.batch[d].n < 1 || c.batch[d].is < 1 || c.batch[d].os < 1) return claim::refused;
    } else {
        if (c.kind == transform::c2c && c.sign != -1 && c.sign != 1) return claim::refused;
        const lyr_fft_iodim64 &x = c.dims[c.rank - 1], &h = c.batch[0];
        if (c.how == form::many && (h.n < 1 || x.is < 1 || x.os < 1)) return claim::refused;
        if (c.how == form::many && h.n != 1 && (h.is < 1 || h.os < 1)) return claim::refused;
    }
    // The 32-bit form wants dimensions to nest, and arrays that are missing or in place give other
    // rules.
    const bool sides = c.split && pair;
    if (c.how != form::guru64 || c.in_place || c.null_arrays || sides || c.rank == 0)
        return claim::open;
    return claim::planned;
}

bool problem_of(const call &original, lyr_tools::problem &p) {
    call c = original;
    if (claim_of(c) == claim::refused) return false;
    if (c.split && c.in_place && pair_of_real_and_complex(c)) return false;  // not in the notation
    if (!is_guru(c) && !compute_strides(c)) return false;
    p = {};
    p.kind = c.kind;
    p.in_place = c.in_place;
    p.split = c.split;
    p.sign = c.sign == -1 ? -1 : 1;
    if (c.split && c.kind == transform::c2c) p.sign = -1;
    p.rank = c.rank;
    for (int d = 0; d < c.rank; ++d) {
        p.dims[d] = c.dims[d];
        p.kinds[d] = static_cast<lyr_fft_r2r_kind>(c.kinds[d]);
    }
    p.batch_rank = c.how == form::many && c.batch[0].n == 1 ? 0 : c.batch_rank;
    std::copy(c.batch, c.batch + p.batch_rank, p.batch);
    for (const lyr_fft_iodim64 *list : {p.dims, p.batch})
        for (int d = 0; d < (list == p.dims ? p.rank : p.batch_rank); ++d)
            if (list[d].n < 1 || list[d].is < 1 || list[d].os < 1) return false;
    return true;
}

void print_call(const call &c) {
    constexpr const char *forms[] = {"basic", "many", "guru", "guru64"};
    constexpr const char *kinds[] = {"c2c", "r2c", "c2r", "r2r"};
    std::fprintf(stderr, "%s %s%s%s sign %d rank %d", forms[static_cast<int>(c.how)],
                 c.split ? "split " : "", kinds[static_cast<int>(c.kind)],
                 c.in_place ? " in place" : "", c.sign, c.rank);
    for (int d = 0; d < 3; ++d)
        std::fprintf(stderr, " {%" PRId64 ", %" PRId64 ", %" PRId64 "}/%d", c.dims[d].n,
                     c.dims[d].is, c.dims[d].os, c.kinds[d]);
    std::fprintf(stderr, " batch %d", c.batch_rank);
    for (const lyr_fft_iodim64 &h : c.batch)
        std::fprintf(stderr, " {%" PRId64 ", %" PRId64 ", %" PRId64 "}", h.n, h.is, h.os);
    std::fprintf(stderr, " inembed %d: %d %d, onembed %d: %d %d", c.inembed, c.in_extent[1],
                 c.in_extent[2], c.onembed, c.out_extent[1], c.out_extent[2]);
    std::fprintf(stderr,
                 " null arrays %u dims %d batch %d kinds %d, threads %d, table %d, failure %" PRId64
                 ", seed %" PRIu64 "\n",
                 c.null_arrays, c.null_dims, c.null_batch, c.null_kinds, c.threads, c.table,
                 c.failure, c.seed);
}

}  // namespace lyr_fuzz
