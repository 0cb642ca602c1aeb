#include "problem.h"

namespace compat {

namespace {

ptrdiff_t magnitude(ptrdiff_t x) {
    return x < 0 ? -x : x;
}

// Kinds that leave a single number as it is.
bool kind_copies_one(int kind) {
    return kind == LYR_FFT_R2HC || kind == LYR_FFT_HC2R || kind == LYR_FFT_DHT ||
           kind == LYR_FFT_REDFT01 || kind == LYR_FFT_RODFT01;
}

bool halves(const problem &p) {
    return p.kind == problem_kind::r2c || p.kind == problem_kind::c2r;
}

void drop_idle_dimensions(problem &p) {
    int kept = 0;
    for (int k = 0; k < p.rank; ++k) {
        const bool idle =
            p.dims[k].n == 1 && (p.kind != problem_kind::r2r || kind_copies_one(p.kinds[k]));
        if (idle && !(halves(p) && k == p.rank - 1)) continue;
        p.dims[kept] = p.dims[k];
        p.kinds[kept++] = p.kinds[k];
    }
    p.rank = kept;
    if (halves(p) && p.rank == 0) {
        p.rank = 1;
        p.dims[0] = {1, 1, 1};
    }
    // One element has no stride.
    for (int k = 0; k < p.rank; ++k) {
        if (p.dims[k].n == 1) p.dims[k].is = p.dims[k].os = 1;
        if (output_length(p, k) == 1) p.dims[k].os = 1;
        if (input_length(p, k) == 1) p.dims[k].is = 1;
    }
    kept = 0;
    for (int k = 0; k < p.batch_rank; ++k) {
        const iodim64 &d = p.batch[k];
        if (d.n != 1 && (d.is != 0 || d.os != 0)) p.batch[kept++] = d;
    }
    p.batch_rank = kept;
}

offsets turn_backward_batches(problem &p) {
    offsets moved = {0, 0};
    for (int k = 0; k < p.batch_rank; ++k) {
        iodim64 &d = p.batch[k];
        if (d.is > 0 || d.os > 0) continue;
        moved.in += (d.n - 1) * d.is * input_unit(p);
        moved.out += (d.n - 1) * d.os * output_unit(p);
        d.is = -d.is;
        d.os = -d.os;
    }
    p.at.ri += moved.in;
    if (p.at.ii) p.at.ii += moved.in;
    p.at.ro += moved.out;
    if (p.at.io) p.at.io += moved.out;
    return moved;
}

bool belongs_before(const iodim64 &a, const iodim64 &b) {
    if (magnitude(a.os) != magnitude(b.os)) return magnitude(a.os) > magnitude(b.os);
    return magnitude(a.is) > magnitude(b.is);
}

// Stable, as equal strides keep their order. There are few.
void sort_by_stride(iodim64 *dims, int *kinds, int rank) {
    for (int k = 1; k < rank; ++k) {
        const iodim64 d = dims[k];
        const int kind = kinds ? kinds[k] : 0;
        int j = k;
        for (; j > 0 && belongs_before(d, dims[j - 1]); --j) {
            dims[j] = dims[j - 1];
            if (kinds) kinds[j] = kinds[j - 1];
        }
        dims[j] = d;
        if (kinds) kinds[j] = kind;
    }
}

void merge_batches(problem &p) {
    int kept = 0;
    for (int k = 0; k < p.batch_rank; ++k) {
        const iodim64 d = p.batch[k];
        iodim64 *outer = kept > 0 ? &p.batch[kept - 1] : nullptr;
        ptrdiff_t in_reach, out_reach, n;
        if (outer && !__builtin_mul_overflow(d.n, d.is, &in_reach) &&
            !__builtin_mul_overflow(d.n, d.os, &out_reach) && outer->is == in_reach &&
            outer->os == out_reach && !__builtin_mul_overflow(outer->n, d.n, &n))
            *outer = {n, d.is, d.os};
        else
            p.batch[kept++] = d;
    }
    p.batch_rank = kept;
}

ptrdiff_t volume(const problem &p, ptrdiff_t (*length)(const problem &, int)) {
    constexpr ptrdiff_t limit = PTRDIFF_MAX / 64;
    ptrdiff_t n = 1;
    for (int k = 0; k < p.rank; ++k)
        if (__builtin_mul_overflow(n, length(p, k), &n)) return -1;
    for (int k = 0; k < p.batch_rank; ++k)
        if (__builtin_mul_overflow(n, p.batch[k].n, &n)) return -1;
    return n > limit ? -1 : n;
}

}  // namespace

ptrdiff_t input_length(const problem &p, int k) {
    return p.kind == problem_kind::c2r && k == p.rank - 1 ? p.dims[k].n / 2 + 1 : p.dims[k].n;
}

ptrdiff_t output_length(const problem &p, int k) {
    return p.kind == problem_kind::r2c && k == p.rank - 1 ? p.dims[k].n / 2 + 1 : p.dims[k].n;
}

bool shares_arrays(const arrays &a) {
    return a.ri == a.ro || a.ri == a.io || (a.ii && (a.ii == a.ro || a.ii == a.io));
}

bool stays(const problem &p) {
    const arrays &a = p.at;
    if (a.ri != a.ro || (halves(p) ? p.split : a.ii != a.io)) return false;
    const int last = p.rank - 1;
    const ptrdiff_t in = input_unit(p), out = output_unit(p);
    for (int k = 0; k < p.rank; ++k) {
        if (halves(p) && k == last) continue;
        if (p.dims[k].is * in != p.dims[k].os * out) return false;
    }
    for (int k = 0; k < p.batch_rank; ++k)
        if (p.batch[k].is * in != p.batch[k].os * out) return false;
    return !halves(p) || (p.dims[last].is == 1 && p.dims[last].os == 1);
}

offsets normalise(problem &p) {
    drop_idle_dimensions(p);
    const offsets moved = turn_backward_batches(p);
    sort_by_stride(p.dims, p.kinds, halves(p) ? p.rank - 1 : p.rank);
    sort_by_stride(p.batch, nullptr, p.batch_rank);
    merge_batches(p);
    return moved;
}

ptrdiff_t input_volume(const problem &p) {
    return volume(p, input_length);
}

ptrdiff_t output_volume(const problem &p) {
    return volume(p, output_length);
}

void make_input_dense(problem &p) {
    ptrdiff_t stride = 1;
    for (int k = p.rank - 1; k >= 0; --k) {
        p.dims[k].is = stride;
        stride *= input_length(p, k);
    }
    for (int k = p.batch_rank - 1; k >= 0; --k) {
        p.batch[k].is = stride;
        stride *= p.batch[k].n;
    }
}

void make_output_dense(problem &p) {
    ptrdiff_t stride = 1;
    for (int k = p.rank - 1; k >= 0; --k) {
        p.dims[k].os = stride;
        stride *= output_length(p, k);
    }
    for (int k = p.batch_rank - 1; k >= 0; --k) {
        p.batch[k].os = stride;
        stride *= p.batch[k].n;
    }
}

}  // namespace compat
