// What the solvers for prime factors above 37 share. They take the awkward factor p of n = p*m as
// stage 0 of a stage list and compute its m transforms of length p as cyclic convolutions of length
// M, through one forward plan for M points (child 0). The inverse transform inside a convolution is
// a second forward one, whose results come out in reversed order.
//
// A stage walks its m blocks a few neighbours at a time: side by side through the stages of the
// plan for M, so that lanes run along the blocks, or, where that would leave the cache or the plan
// has no stage list, gathered together and transformed one after another.
#pragma once

#include "codelets/select.h"
#include "dft/slabs.h"
#include "dft/wide.h"

namespace lyr {

// `width` transforms of length p: element q of block j is in[q*in_step + j*in_lane], output k goes
// to out[k*out_step + j*out_lane] (complex numbers). out may be in when the steps are the same.
// Blocks that run at a time: side by side at most so many, more gain nothing; else those of a line.
inline constexpr int64_t most_blocks = 32, blocks_one_by_one = line_complex;

struct convolution_blocks {
    const scalar *in;
    int64_t in_step, in_lane;
    scalar *out;
    int64_t out_step, out_lane;
    int64_t width;
};

struct convolution {
    int64_t p, M;
    // Runs the blocks.
    void (*run)(const plan *, const convolution *, const convolution_blocks &, scalar *vectors);
    slab_stages list;  // of child 0; no stages: blocks are not walked side by side
    product_set products;
    int64_t width;  // blocks at a time
    // Where in scratch memory their vectors are: element e of block j at e*width + j (side by side)
    // or e + j*M. Behind width*M numbers, twice as many where spectra have places of their own: the
    // scratch of walk_slab, or of child 0.
    int64_t vectors;
    int64_t spectra;         // from the vectors to their spectra; 0 where they take their places
    const scalar *filter;    // M complex numbers
    const scalar *chirp;     // Bluestein: p complex numbers
    const uint32_t *powers;  // Rader: g^k mod p, k < p - 1
};

// Allocates stages and tables, and reserves scratch, for n = p*m, p the last of the `count`
// factors, and plans the convolution. `room`: what the caller's tables take, in complex numbers;
// they begin at c->filter. Null when memory runs out; *status is then -1 or what the planner said.
convolution *convolution_begin(plan *p, const int64_t *factors, int count, int64_t M, int64_t room,
                               int32_t *status);

// What the filter is: element k is W(exponent(k), N)/divisor, or zero where the exponent is
// negative. Exact, so that its spectrum can be computed in more than the library's precision.
struct filter_roots {
    int64_t N;
    double divisor;
    reflection kind;  // of the spectrum
    int64_t (*exponent)(const convolution *, int64_t k);
    // Writes the same filter, rounded.
    void (*fill)(const convolution *, const filter_roots &, scalar *filter);
};

// Computes the filter's spectrum and sets the executor. 0, or -1 when memory runs out.
int32_t convolution_finish(plan *p, const filter_roots &exact, const char *unit_name,
                           const char *general_name);

// Where the spectra of the vectors of blocks belong.
inline scalar *spectra_of(const convolution *c, scalar *vectors) {
    return vectors + 2 * c->spectra;
}

// Forward transforms of the vectors of `width` blocks to their spectra.
void convolution_transform(const plan *p, const convolution *c, scalar *vectors, int64_t width);

// Multiplies spectra by the filter.
void convolution_filter(const convolution *c, scalar *spectra, int64_t width);

// Forward transforms of the spectra to the vectors.
void convolution_return(const plan *p, const convolution *c, scalar *vectors, int64_t width);

}  // namespace lyr
