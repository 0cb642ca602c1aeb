#include "buffers.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>

namespace lyr_tools {

namespace {

// Guards and gaps hold quiet NaNs that carry their own position, so that a write of a neighbour's
// value is noticed too.
using bits = std::conditional_t<sizeof(scalar) == 8, uint64_t, uint32_t>;
bits pattern(int64_t index) {
    const auto position = static_cast<uint64_t>(index);
    if constexpr (sizeof(scalar) == 8)
        return 0x7ff8'5eed'0000'0000U | static_cast<uint32_t>(position);
    else
        return 0x7fc0'0000U | (position & 0x3f'ffffU);
}

// splitmix64: the same numbers everywhere, unlike the standard distributions.
uint64_t next_random(uint64_t &state) {
    uint64_t z = state += 0x9e37'79b9'7f4a'7c15U;
    z = (z ^ (z >> 30)) * 0xbf58'476d'1ce4'e5b9U;
    z = (z ^ (z >> 27)) * 0x94d0'49bb'1331'11ebU;
    return z ^ (z >> 31);
}

// A multiple of epsilon/2.
scalar uniform(uint64_t &state) {
    constexpr int digits = std::numeric_limits<scalar>::digits;
    return static_cast<scalar>(next_random(state) >> (64 - digits)) *
               (std::numeric_limits<scalar>::epsilon() / 2) -
           scalar{0.5};
}

bool allocate(int64_t count, const buffer_options &options, guarded_array &a) {
    const size_t bytes = static_cast<size_t>(count + 2 * options.guard) * sizeof(scalar) + 128;
    auto *block = static_cast<unsigned char *>(std::calloc(bytes, 1));
    if (block == nullptr) return false;
    a.block = {block, std::free};
    const auto start =
        reinterpret_cast<uintptr_t>(reinterpret_cast<scalar *>(block) + options.guard);
    const uintptr_t aligned = (start + 63) / 64 * 64 + (options.misaligned ? sizeof(scalar) : 0);
    a.data = reinterpret_cast<scalar *>(aligned);
    a.count = count;
    a.guard = options.guard;
    return true;
}

// Real numbers from one element to the next of unit stride.
int64_t element_width(const problem &p, side s) {
    return is_complex(p, s) && !p.split ? 2 : 1;
}

int64_t array_length(const problem &p, side s) {
    return extent(p, s) * element_width(p, s);
}

// Index in b.arrays of one side's array; part 1 is the imaginary part of split problems.
size_t array_index(const problem &p, side s, int part) {
    if (p.in_place || s == side::in) return static_cast<size_t>(part);
    return (is_complex(p, side::in) && p.split ? 2U : 1U) + static_cast<size_t>(part);
}

// Mark the numbers that one side uses. False when one is used twice.
bool mark(const problem &p, side s, buffers &b) {
    const uint8_t bit = s == side::in ? role_input : role_output;
    bool twice = false;
    for (int part = 0; part < (is_complex(p, s) && p.split ? 2 : 1); ++part) {
        std::vector<uint8_t> &role = b.arrays[array_index(p, s, part)].role;
        const int64_t width = element_width(p, s);
        for_each_transform(p, s, [&](int64_t start) {
            for_each_element(p, s, [&](int64_t offset) {
                for (int64_t w = 0; w < width; ++w) {
                    uint8_t &r = role[static_cast<size_t>((start + offset) * width + w)];
                    twice = twice || (r & bit) != 0;
                    r |= bit;
                }
            });
        });
    }
    return !twice;
}

// Fill guards and everything that is not input with the pattern.
void fill_pattern(buffers &b) {
    for (guarded_array &a : b.arrays)
        for (int64_t i = -a.guard; i < a.count + a.guard; ++i)
            if (i < 0 || i >= a.count || !(a.role[static_cast<size_t>(i)] & role_input))
                a.data[i] = std::bit_cast<scalar>(pattern(i));
}

// Give the planes of a half-complex array that are their own mirror image the symmetry of a real
// array's transform. Elements that are their own mirror image keep an imaginary part: it must be
// ignored.
void make_symmetric(const problem &p, buffers &b) {
    const int outer = p.rank - 1;
    int64_t n[2] = {1, 1};
    int64_t step[2] = {0, 0};
    for (int d = 0; d < outer; ++d) {
        n[d] = p.dims[d].n;
        step[d] = p.dims[d].is;
    }
    const lyr_fft_iodim64 &last = p.dims[p.rank - 1];
    for_each_transform(p, side::in, [&](int64_t start) {
        for (int64_t k = 0; k <= last.n / 2; ++k) {
            if (k != 0 && 2 * k != last.n) continue;
            for (int64_t i = 0; i < n[0]; ++i) {
                for (int64_t j = 0; j < n[1]; ++j) {
                    const int64_t mi = (n[0] - i) % n[0];
                    const int64_t mj = (n[1] - j) % n[1];
                    if (mi * n[1] + mj <= i * n[1] + j) continue;
                    const int64_t plane = start + k * last.is;
                    complex_value v =
                        load_element(p, b, side::in, plane + i * step[0] + j * step[1]);
                    v.im = -v.im;
                    store_element(p, b, side::in, plane + mi * step[0] + mj * step[1], v);
                }
            }
        }
    });
}

bool fits_int(int64_t x) {
    return x <= INT_MAX;
}

// Physical row lengths of a layout that is row-major with padding; false when it is not.
bool embedding(const problem &p, side s, int (&embed)[max_rank]) {
    embed[0] = static_cast<int>(stored_length(p, 0, s));
    for (int d = 1; d < p.rank; ++d) {
        const int64_t outer = stride(p.dims[d - 1], s);
        const int64_t inner = stride(p.dims[d], s);
        const int64_t length = outer / inner;
        if (outer % inner != 0 || length < stored_length(p, d, s) || !fits_int(length))
            return false;
        embed[d] = static_cast<int>(length);
    }
    return true;
}

bool is_usual(const problem &p) {
    problem q = p;
    if (!set_usual_strides(q, false)) return false;
    for (int d = 0; d < p.rank; ++d)
        if (q.dims[d].is != p.dims[d].is || q.dims[d].os != p.dims[d].os) return false;
    return true;
}

struct arrays {
    scalar *in, *out;
    lyr_fft_complex *cin, *cout;
};

// plan_basic and plan_many set `belongs` when the layout is one that their constructors can
// express.
lyr_fft_plan plan_basic(const problem &p, const arrays &a, unsigned flags, bool &belongs) {
    belongs = false;
    if (p.split || p.rank == 0 || p.batch_rank != 0 || !is_usual(p)) return nullptr;
    int n[max_rank] = {};
    for (int d = 0; d < p.rank; ++d) {
        if (!fits_int(p.dims[d].n)) return nullptr;
        n[d] = static_cast<int>(p.dims[d].n);
    }
    belongs = true;
    switch (p.kind) {
        case transform::c2c:
            if (p.rank == 1) return lyr_fft_plan_dft_1d(n[0], a.cin, a.cout, p.sign, flags);
            if (p.rank == 2) return lyr_fft_plan_dft_2d(n[0], n[1], a.cin, a.cout, p.sign, flags);
            return lyr_fft_plan_dft_3d(n[0], n[1], n[2], a.cin, a.cout, p.sign, flags);
        case transform::r2c:
            if (p.rank == 1) return lyr_fft_plan_dft_r2c_1d(n[0], a.in, a.cout, flags);
            if (p.rank == 2) return lyr_fft_plan_dft_r2c_2d(n[0], n[1], a.in, a.cout, flags);
            return lyr_fft_plan_dft_r2c_3d(n[0], n[1], n[2], a.in, a.cout, flags);
        case transform::c2r:
            if (p.rank == 1) return lyr_fft_plan_dft_c2r_1d(n[0], a.cin, a.out, flags);
            if (p.rank == 2) return lyr_fft_plan_dft_c2r_2d(n[0], n[1], a.cin, a.out, flags);
            return lyr_fft_plan_dft_c2r_3d(n[0], n[1], n[2], a.cin, a.out, flags);
        case transform::r2r:
            if (p.rank == 1) return lyr_fft_plan_r2r_1d(n[0], a.in, a.out, p.kinds[0], flags);
            if (p.rank == 2)
                return lyr_fft_plan_r2r_2d(n[0], n[1], a.in, a.out, p.kinds[0], p.kinds[1], flags);
            return lyr_fft_plan_r2r_3d(n[0], n[1], n[2], a.in, a.out, p.kinds[0], p.kinds[1],
                                       p.kinds[2], flags);
    }
    return nullptr;
}

lyr_fft_plan plan_many(const problem &p, const arrays &a, unsigned flags, bool &belongs) {
    belongs = false;
    if (p.split || p.rank == 0 || p.batch_rank > 1) return nullptr;
    int n[max_rank] = {};
    int in_rows[max_rank] = {};
    int out_rows[max_rank] = {};
    const lyr_fft_iodim64 &last = p.dims[p.rank - 1];
    const lyr_fft_iodim64 batch = p.batch_rank == 1 ? p.batch[0] : lyr_fft_iodim64{1, 1, 1};
    for (const int64_t x : {last.is, last.os, batch.n, batch.is, batch.os})
        if (!fits_int(x)) return nullptr;
    for (int d = 0; d < p.rank; ++d) {
        if (!fits_int(p.dims[d].n)) return nullptr;
        n[d] = static_cast<int>(p.dims[d].n);
    }
    if (!embedding(p, side::in, in_rows) || !embedding(p, side::out, out_rows)) return nullptr;
    belongs = true;
    // Layouts without gaps are passed the way most callers do.
    const bool gapless = p.kind == transform::c2c && std::equal(n, n + p.rank, in_rows) &&
                         std::equal(n, n + p.rank, out_rows);
    const int *inembed = gapless ? nullptr : in_rows;
    const int *onembed = gapless ? nullptr : out_rows;
    const int istride = static_cast<int>(last.is);
    const int ostride = static_cast<int>(last.os);
    const int count = static_cast<int>(batch.n);
    const int idist = static_cast<int>(batch.is);
    const int odist = static_cast<int>(batch.os);
    switch (p.kind) {
        case transform::c2c:
            return lyr_fft_plan_many_dft(p.rank, n, count, a.cin, inembed, istride, idist, a.cout,
                                         onembed, ostride, odist, p.sign, flags);
        case transform::r2c:
            return lyr_fft_plan_many_dft_r2c(p.rank, n, count, a.in, inembed, istride, idist,
                                             a.cout, onembed, ostride, odist, flags);
        case transform::c2r:
            return lyr_fft_plan_many_dft_c2r(p.rank, n, count, a.cin, inembed, istride, idist,
                                             a.out, onembed, ostride, odist, flags);
        case transform::r2r:
            return lyr_fft_plan_many_r2r(p.rank, n, count, a.in, inembed, istride, idist, a.out,
                                         onembed, ostride, odist, p.kinds, flags);
    }
    return nullptr;
}

// Split complex plans transform forward; the exchange of real and imaginary parts on both sides
// turns that into backward.
void split_parts(const problem &p, const buffers &b, scalar *(&in)[2], scalar *(&out)[2]) {
    const int first = p.kind == transform::c2c && p.sign == LYR_FFT_BACKWARD ? 1 : 0;
    for (int part = 0; part < 2; ++part) {
        in[part] = b.in[part ^ first];
        out[part] = b.out[part ^ first];
    }
}

lyr_fft_plan plan_guru64(const problem &p, const buffers &b, const arrays &a, unsigned flags) {
    scalar *in[2];
    scalar *out[2];
    split_parts(p, b, in, out);
    switch (p.kind) {
        case transform::c2c:
            if (p.split)
                return lyr_fft_plan_guru64_split_dft(p.rank, p.dims, p.batch_rank, p.batch, in[0],
                                                     in[1], out[0], out[1], flags);
            return lyr_fft_plan_guru64_dft(p.rank, p.dims, p.batch_rank, p.batch, a.cin, a.cout,
                                           p.sign, flags);
        case transform::r2c:
            if (p.split)
                return lyr_fft_plan_guru64_split_dft_r2c(p.rank, p.dims, p.batch_rank, p.batch,
                                                         in[0], out[0], out[1], flags);
            return lyr_fft_plan_guru64_dft_r2c(p.rank, p.dims, p.batch_rank, p.batch, a.in, a.cout,
                                               flags);
        case transform::c2r:
            if (p.split)
                return lyr_fft_plan_guru64_split_dft_c2r(p.rank, p.dims, p.batch_rank, p.batch,
                                                         in[0], in[1], out[0], flags);
            return lyr_fft_plan_guru64_dft_c2r(p.rank, p.dims, p.batch_rank, p.batch, a.cin, a.out,
                                               flags);
        case transform::r2r:
            return lyr_fft_plan_guru64_r2r(p.rank, p.dims, p.batch_rank, p.batch, a.in, a.out,
                                           p.kinds, flags);
    }
    return nullptr;
}

lyr_fft_plan plan_guru(const problem &p, const buffers &b, const arrays &a, unsigned flags) {
    lyr_fft_iodim dims[max_rank];
    lyr_fft_iodim batch[max_rank];
    const auto narrow = [](const lyr_fft_iodim64 &from, lyr_fft_iodim &to) {
        to = {static_cast<int>(from.n), static_cast<int>(from.is), static_cast<int>(from.os)};
        return fits_int(from.n) && fits_int(from.is) && fits_int(from.os);
    };
    for (int d = 0; d < p.rank; ++d)
        if (!narrow(p.dims[d], dims[d])) return nullptr;
    for (int d = 0; d < p.batch_rank; ++d)
        if (!narrow(p.batch[d], batch[d])) return nullptr;
    scalar *in[2];
    scalar *out[2];
    split_parts(p, b, in, out);
    switch (p.kind) {
        case transform::c2c:
            if (p.split)
                return lyr_fft_plan_guru_split_dft(p.rank, dims, p.batch_rank, batch, in[0], in[1],
                                                   out[0], out[1], flags);
            return lyr_fft_plan_guru_dft(p.rank, dims, p.batch_rank, batch, a.cin, a.cout, p.sign,
                                         flags);
        case transform::r2c:
            if (p.split)
                return lyr_fft_plan_guru_split_dft_r2c(p.rank, dims, p.batch_rank, batch, in[0],
                                                       out[0], out[1], flags);
            return lyr_fft_plan_guru_dft_r2c(p.rank, dims, p.batch_rank, batch, a.in, a.cout,
                                             flags);
        case transform::c2r:
            if (p.split)
                return lyr_fft_plan_guru_split_dft_c2r(p.rank, dims, p.batch_rank, batch, in[0],
                                                       in[1], out[0], flags);
            return lyr_fft_plan_guru_dft_c2r(p.rank, dims, p.batch_rank, batch, a.cin, a.out,
                                             flags);
        case transform::r2r:
            return lyr_fft_plan_guru_r2r(p.rank, dims, p.batch_rank, batch, a.in, a.out, p.kinds,
                                         flags);
    }
    return nullptr;
}

arrays arrays_of(const buffers &b) {
    return {b.in[0], b.out[0], reinterpret_cast<lyr_fft_complex *>(b.in[0]),
            reinterpret_cast<lyr_fft_complex *>(b.out[0])};
}

}  // namespace

bool make_buffers(const problem &p, const buffer_options &options, buffers &b, std::string &error) {
    buffers result;
    const bool split_in = is_complex(p, side::in) && p.split;
    const bool split_out = is_complex(p, side::out) && p.split;
    const int64_t in_length = array_length(p, side::in);
    const int64_t out_length = array_length(p, side::out);
    std::vector<int64_t> lengths;
    if (p.in_place) {
        lengths.assign(split_in ? 2 : 1, std::max(in_length, out_length));
    } else {
        lengths.assign(split_in ? 2 : 1, in_length);
        lengths.insert(lengths.end(), split_out ? 2 : 1, out_length);
    }
    try {
        result.arrays.resize(lengths.size());
        for (size_t i = 0; i < lengths.size(); ++i) {
            if (!allocate(lengths[i], options, result.arrays[i])) throw std::bad_alloc();
            if (options.tracked) result.arrays[i].role.assign(static_cast<size_t>(lengths[i]), 0);
        }
        for (int part = 0; part < 2; ++part) {
            if (part == 0 || split_in)
                result.in[part] = result.arrays[array_index(p, side::in, part)].data;
            if (part == 0 || split_out)
                result.out[part] = result.arrays[array_index(p, side::out, part)].data;
        }
        if (options.tracked) {
            mark(p, side::in, result);
            if (!mark(p, side::out, result)) {
                error = "bad problem " + in_quotes(format_problem(p)) + ": its outputs overlap";
                return false;
            }
            fill_buffers(p, options.seed, result);
        }
    } catch (const std::bad_alloc &) {
        error = "not enough memory for " + format_problem(p);
        return false;
    }
    b = std::move(result);
    return true;
}

void fill_buffers(const problem &p, uint64_t seed, buffers &b) {
    uint64_t state = seed;
    for_each_transform(p, side::in, [&](int64_t start) {
        for_each_element(p, side::in, [&](int64_t offset) {
            complex_value v = {uniform(state), 0};
            if (is_complex(p, side::in)) v.im = uniform(state);
            store_element(p, b, side::in, start + offset, v);
        });
    });
    if (p.kind == transform::c2r && p.rank > 1) make_symmetric(p, b);
    fill_pattern(b);
    note_inputs(b);
}

void clear_buffers(const problem &p, buffers &b) {
    for_each_transform(p, side::in, [&](int64_t start) {
        for_each_element(p, side::in, [&](int64_t offset) {
            store_element(p, b, side::in, start + offset, {0, 0});
        });
    });
    fill_pattern(b);
    note_inputs(b);
}

void fill_for_timing(const problem &p, uint64_t seed, buffers &b) {
    uint64_t state = seed;
    for (guarded_array &a : b.arrays) {
        const bool random = !p.in_place && (a.data == b.in[0] || a.data == b.in[1]);
        // Stores that the compiler cannot drop: memory that was never written is one shared page
        // of zeros, which is faster to read than real data.
        volatile scalar *data = a.data;
        for (int64_t i = 0; i < a.count; ++i) data[i] = random ? uniform(state) : scalar{0};
    }
}

void note_inputs(buffers &b) {
    for (guarded_array &a : b.arrays) a.before.assign(a.data, a.data + a.count);
}

std::string check_buffers(const problem &p, const buffers &b) {
    for (size_t i = 0; i < b.arrays.size(); ++i) {
        const guarded_array &a = b.arrays[i];
        const bool is_input = p.in_place || a.data == b.in[0] || a.data == b.in[1];
        const std::string name = p.in_place ? "the array" : is_input ? "the input" : "the output";
        const auto same = [](scalar x, bits expected) {
            return std::bit_cast<bits>(x) == expected;
        };
        for (int64_t k = 1; k <= a.guard; ++k) {
            if (!same(a.data[-k], pattern(-k)))
                return "wrote " + std::to_string(k) + " numbers before " + name;
            if (!same(a.data[a.count + k - 1], pattern(a.count + k - 1)))
                return "wrote " + std::to_string(k) + " numbers past the end of " + name;
        }
        for (int64_t k = 0; k < a.count; ++k) {
            const auto at = static_cast<size_t>(k);
            if (a.role[at] & role_output) continue;
            // In place, input elements that are no outputs may be overwritten.
            if (p.in_place && a.role[at] != 0) continue;
            if (!same(a.data[k], std::bit_cast<bits>(a.before[at])))
                return "changed " + name + " at number " + std::to_string(k) +
                       (a.role[at] != 0 ? "" : ", in a gap");
        }
    }
    return "";
}

complex_value load_element(const problem &p, const buffers &b, side s, int64_t offset) {
    scalar *const *array = s == side::in ? b.in : b.out;
    if (!is_complex(p, s)) return {array[0][offset], 0};
    if (p.split) return {array[0][offset], array[1][offset]};
    return {array[0][2 * offset], array[0][2 * offset + 1]};
}

complex_value load_saved_input(const problem &p, const buffers &b, int64_t offset) {
    const scalar *re = b.arrays[array_index(p, side::in, 0)].before.data();
    if (!is_complex(p, side::in)) return {re[offset], 0};
    if (!p.split) return {re[2 * offset], re[2 * offset + 1]};
    return {re[offset], b.arrays[array_index(p, side::in, 1)].before[static_cast<size_t>(offset)]};
}

void store_element(const problem &p, buffers &b, side s, int64_t offset, complex_value value) {
    scalar *const *array = s == side::in ? b.in : b.out;
    if (!is_complex(p, s)) {
        array[0][offset] = static_cast<scalar>(value.re);
    } else if (p.split) {
        array[0][offset] = static_cast<scalar>(value.re);
        array[1][offset] = static_cast<scalar>(value.im);
    } else {
        array[0][2 * offset] = static_cast<scalar>(value.re);
        array[0][2 * offset + 1] = static_cast<scalar>(value.im);
    }
}

lyr_fft_plan make_plan(const problem &p, const buffers &b, constructor with, unsigned flags) {
    const arrays a = arrays_of(b);
    bool belongs;
    switch (with) {
        case constructor::basic:
            return plan_basic(p, a, flags, belongs);
        case constructor::many:
            return plan_many(p, a, flags, belongs);
        case constructor::guru:
            return plan_guru(p, b, a, flags);
        case constructor::guru64:
            return plan_guru64(p, b, a, flags);
        case constructor::automatic:
            break;
    }
    lyr_fft_plan plan = plan_basic(p, a, flags, belongs);
    if (belongs) return plan;
    plan = plan_many(p, a, flags, belongs);
    if (belongs) return plan;
    return plan_guru64(p, b, a, flags);
}

void execute_on(const problem &p, const buffers &b, lyr_fft_plan plan) {
    const arrays a = arrays_of(b);
    scalar *in[2];
    scalar *out[2];
    split_parts(p, b, in, out);
    switch (p.kind) {
        case transform::c2c:
            if (p.split)
                lyr_fft_execute_split_dft(plan, in[0], in[1], out[0], out[1]);
            else
                lyr_fft_execute_dft(plan, a.cin, a.cout);
            break;
        case transform::r2c:
            if (p.split)
                lyr_fft_execute_split_dft_r2c(plan, in[0], out[0], out[1]);
            else
                lyr_fft_execute_dft_r2c(plan, a.in, a.cout);
            break;
        case transform::c2r:
            if (p.split)
                lyr_fft_execute_split_dft_c2r(plan, in[0], in[1], out[0]);
            else
                lyr_fft_execute_dft_c2r(plan, a.cin, a.out);
            break;
        case transform::r2r:
            lyr_fft_execute_r2r(plan, a.in, a.out);
            break;
    }
}

}  // namespace lyr_tools
