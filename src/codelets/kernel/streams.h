// The inputs or outputs of a butterfly in memory, as walks advance over them.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"

namespace lyr::LYR_ISA {
namespace {

constexpr bool half_a_line = 2 * vec::lanes == line_complex;

// The R inputs (or outputs) of a butterfly in memory, `step` complex numbers apart: a
// pointer for every `accesses_per_pointer` of them and offsets of one, two, three.. steps. Few
// pointers to advance, few registers, one instruction per access.
template <int R>
struct stream {
    static constexpr int span = accesses_per_pointer;
    static constexpr int pointers = (R + span - 1) / span;
    static constexpr int offsets = R < span ? R : span;
    scalar *base[pointers];
    int64_t offset[offsets];  // in real numbers

    LYR_INLINE stream(const scalar *p, int64_t step) {
        unroll<offsets>(LYR_LAMBDA(auto i) {
            offset[i] = 2 * i * step;
            // Opaque to the compiler, which would else keep a pointer per access and advance them
            // all. (x86 addresses twice the first offset without a register.)
            if constexpr (i != 0 && (i != 2 || span > 4)) __asm__("" : "+r"(offset[i]));
        });
        unroll<pointers>(
            LYR_LAMBDA(auto g) { base[g] = const_cast<scalar *>(p) + 2 * span * g * step; });
    }
    // Elsewhere, with the steps of another stream.
    LYR_INLINE stream(scalar *p, const stream &other) {
        unroll<offsets>(LYR_LAMBDA(auto i) { offset[i] = other.offset[i]; });
        unroll<pointers>(LYR_LAMBDA(auto g) { base[g] = p + (other.base[g] - other.base[0]); });
    }
    template <int Q>
    LYR_INLINE scalar *at(index<Q>) const {
        constexpr int i = Q % span;
        return base[Q / span] + (i == 2 && span == 4 ? 2 * offset[1] : offset[i]);
    }
    LYR_INLINE void advance(int64_t numbers) {
        unroll<pointers>(LYR_LAMBDA(auto g) { base[g] += 2 * numbers; });
    }
};

// The parts of the inputs (or outputs) of a butterfly in split arrays. One pointer walks over them:
// a pointer for every few parts would take more registers than there are.
template <int R>
struct split_stream {
    static constexpr int span = accesses_per_pointer;
    scalar *re;
    int64_t im;    // bytes from a real part to its imaginary part
    int64_t jump;  // over `span` numbers
    int64_t offset[span];

    LYR_INLINE split_stream(const scalar *real, const scalar *imag, int64_t step)
        : re(const_cast<scalar *>(real)),
          im(reinterpret_cast<intptr_t>(imag) - reinterpret_cast<intptr_t>(real)),
          jump(span * step) {
        unroll<span>(LYR_LAMBDA(auto i) {
            offset[i] = i * step;
            if constexpr (i != 0 && (i != 2 || span > 4)) __asm__("" : "+r"(offset[i]));
        });
    }
    // Calls f(index<Q>, address of the real part, address of the imaginary part) for all Q.
    template <class F>
    LYR_INLINE void for_each(F &&f) const {
        scalar *real = re;
        unroll<(R + span - 1) / span>(LYR_LAMBDA(auto group) {
            scalar *imag = reinterpret_cast<scalar *>(reinterpret_cast<intptr_t>(real) + im);
            __asm__("" : "+r"(imag));
            unroll<(R - group * span < span ? R - group * span : span)>(LYR_LAMBDA(auto i) {
                const int64_t at = i == 2 && span == 4 ? 2 * offset[1] : offset[i];
                f(index<group * span + i>{}, real + at, imag + at);
            });
            real += jump;
            __asm__("" : "+r"(real));
        });
    }
    LYR_INLINE void advance(int64_t numbers) { re += numbers; }
};

// Whether R streams `step` complex numbers apart take more than half of the ways of the sets they
// fall into, or all fall into one set.
template <int R>
LYR_INLINE bool streams_collide(int64_t step) {
    constexpr near_cache cache = assumed_near_cache;
    return set_distance(cache, step) == cache.way() ||
           lyr::streams_collide(cache, cache.ways / 2, R, step);
}

}  // namespace
}  // namespace lyr::LYR_ISA
