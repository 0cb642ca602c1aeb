// Rank 0: the batch is copied from one layout to another. Dimensions are first put in the order of
// the output, and those that lie alike in both arrays become one.
#include <cstring>

#include "batch/copy_transpose.h"
#include "planner/registry.h"

namespace lyr {

namespace {

struct layout {
    int rank;
    lyr_fft_iodim64 dims[3];  // output strides descend
    int64_t width;            // doubles in an element
};

void sort_by_output(layout &l) {
    for (int k = 1; k < l.rank; ++k)
        for (int j = k; j > 0 && l.dims[j - 1].os < l.dims[j].os; --j) {
            const lyr_fft_iodim64 d = l.dims[j];
            l.dims[j] = l.dims[j - 1];
            l.dims[j - 1] = d;
        }
}

void merge(layout &l) {
    for (int k = l.rank - 2; k >= 0; --k) {
        const lyr_fft_iodim64 outer = l.dims[k], inner = l.dims[k + 1];
        if (outer.is != inner.n * inner.is || outer.os != inner.n * inner.os) continue;
        l.dims[k] = {outer.n * inner.n, inner.is, inner.os};
        for (int j = k + 1; j + 1 < l.rank; ++j) l.dims[j] = l.dims[j + 1];
        --l.rank;
    }
}

layout layout_of(const plan *p) {
    layout l = {0, {}, input_element_bytes(p) / scalar_bytes};
    for (int k = 0; k < p->howmany_rank; ++k)
        if (p->howmany_dims[k].n != 1) l.dims[l.rank++] = p->howmany_dims[k];
    sort_by_output(l);
    merge(l);
    return l;
}

// Calls f(input offset, output offset), in doubles, for every index of the outer dimensions.
template <class function>
void for_each_outer(const layout &l, int inner_rank, function f) {
    lyr_fft_iodim64 outer[3] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
    for (int k = 0; k < l.rank - inner_rank; ++k) outer[k] = l.dims[k];
    const auto [a, b, c] = outer;
    for (int64_t i = 0; i < a.n; ++i)
        for (int64_t j = 0; j < b.n; ++j)
            for (int64_t k = 0; k < c.n; ++k)
                f((i * a.is + j * b.is + k * c.is) * l.width,
                  (i * a.os + j * b.os + k * c.os) * l.width);
}

void copy_elements(const layout &l, const lyr_fft_iodim64 &d, const scalar *in, scalar *out) {
    for (int64_t k = 0; k < d.n; ++k)
        for (int64_t w = 0; w < l.width; ++w)
            out[k * d.os * l.width + w] = in[k * d.is * l.width + w];
}

// Two dimensions that no unit stride helps, a few cache lines of either side at a time.
void copy_strided(const layout &l, const lyr_fft_iodim64 &across, const lyr_fft_iodim64 &along,
                  const scalar *in, scalar *out) {
    constexpr int64_t tile = 16;
    for (int64_t i = 0; i < across.n; i += tile)
        for (int64_t j = 0; j < along.n; j += tile) {
            lyr_fft_iodim64 part = along;
            if (part.n > j + tile) part.n = j + tile;
            part.n -= j;
            for (int64_t k = i; k < across.n && k < i + tile; ++k)
                copy_elements(l, part, in + (k * across.is + j * along.is) * l.width,
                              out + (k * across.os + j * along.os) * l.width);
        }
}

void copy_matrix(const layout &l, const lyr_fft_iodim64 &across, const lyr_fft_iodim64 &along,
                 const scalar *in, scalar *out) {
    if (across.is != 1 || along.os != 1)
        copy_strided(l, across, along, in, out);
    else if (l.width == 2)
        copy_transpose_cpx(in, out, along.n, across.n, along.is, across.os);
    else
        copy_transpose_real(in, out, along.n, across.n, along.is, across.os);
}

void copy(layout l, const scalar *in, scalar *out) {
    const lyr_fft_iodim64 last = l.rank ? l.dims[l.rank - 1] : lyr_fft_iodim64{1, 1, 1};
    if (last.is == 1 && last.os == 1) {
        const auto bytes = static_cast<size_t>(scalar_bytes * last.n * l.width);
        for_each_outer(l, 1, [=](int64_t from, int64_t to) { memcpy(out + to, in + from, bytes); });
        return;
    }
    // The dimension of the smallest input stride becomes the last but one.
    int across = l.rank - 1;
    for (int k = 0; k < l.rank - 1; ++k)
        if (l.dims[k].is < l.dims[across].is) across = k;
    if (across == l.rank - 1) {
        for_each_outer(
            l, 1, [&](int64_t from, int64_t to) { copy_elements(l, last, in + from, out + to); });
        return;
    }
    const lyr_fft_iodim64 d = l.dims[across];
    l.dims[across] = l.dims[l.rank - 2];
    l.dims[l.rank - 2] = d;
    for_each_outer(l, 2,
                   [&](int64_t from, int64_t to) { copy_matrix(l, d, last, in + from, out + to); });
}

void execute_rearrange_outplace(const plan *p, scalar *in, scalar *out, scalar *) {
    copy(layout_of(p), in, out);
}

// ---- In place -----------------------------------------------------------------------------------

enum class movement { none, square, other };

bool swapped(const lyr_fft_iodim64 &a, const lyr_fft_iodim64 &b) {
    return a.n == b.n && a.is == b.os && a.os == b.is;
}

// Brings the two dimensions that a square transposition exchanges to the end.
movement movement_of(layout &l) {
    int moved[3];
    int count = 0;
    for (int k = 0; k < l.rank; ++k)
        if (l.dims[k].is != l.dims[k].os) moved[count++] = k;
    if (count == 0) return movement::none;
    if (count != 2 || !swapped(l.dims[moved[0]], l.dims[moved[1]])) return movement::other;
    const lyr_fft_iodim64 a = l.dims[moved[0]], b = l.dims[moved[1]];
    if (l.rank == 3) l.dims[0] = l.dims[3 - moved[0] - moved[1]];
    l.dims[l.rank - 2] = a;
    l.dims[l.rank - 1] = b;
    return movement::square;
}

struct complex_number {
    scalar re, im;
};

// Long power-of-two strides put all rows of a tile into one set of a cache. A set has room for so
// many, and each row is visited twice only.
constexpr int64_t tile = 8;

template <class element>
struct square_matrix {
    element *data;
    int64_t n, row, column;

    element &at(int64_t i, int64_t j) const { return data[i * row + j * column]; }
};

// The tile at (i0, j0) above the diagonal changes places with the one below.
template <class element>
void exchange_tiles(const square_matrix<element> &a, int64_t i0, int64_t j0) {
    const int64_t rows = a.n - i0 < tile ? a.n - i0 : tile;
    const int64_t cols = a.n - j0 < tile ? a.n - j0 : tile;
    element kept[tile][tile];
    for (int64_t j = 0; j < cols; ++j)
        for (int64_t i = 0; i < rows; ++i) kept[i][j] = a.at(j0 + j, i0 + i);
    for (int64_t i = 0; i < rows; ++i)
        for (int64_t j = 0; j < cols; ++j) {
            element &x = a.at(i0 + i, j0 + j);
            const element old = x;
            x = kept[i][j];
            kept[i][j] = old;
        }
    for (int64_t j = 0; j < cols; ++j)
        for (int64_t i = 0; i < rows; ++i) a.at(j0 + j, i0 + i) = kept[i][j];
}

template <class element>
void transpose_square(const square_matrix<element> &a) {
    for (int64_t i0 = 0; i0 < a.n; i0 += tile) {
        for (int64_t i = i0; i < a.n && i < i0 + tile; ++i)
            for (int64_t j = i + 1; j < a.n && j < i0 + tile; ++j) {
                const element old = a.at(i, j);
                a.at(i, j) = a.at(j, i);
                a.at(j, i) = old;
            }
        for (int64_t j0 = i0 + tile; j0 < a.n; j0 += tile) exchange_tiles(a, i0, j0);
    }
}

void transpose_square(const layout &l, scalar *data) {
    const auto [n, row, column] = l.dims[l.rank - 1];
    if (l.width == 2)
        transpose_square<complex_number>(
            {reinterpret_cast<complex_number *>(data), n, row, column});
    else
        transpose_square<scalar>({data, n, row, column});
}

int64_t element_count(const layout &l) {
    int64_t count = 1;
    for (int k = 0; k < l.rank; ++k) count *= l.dims[k].n;
    return count;
}

// By way of a copy that has the order of the output and no gaps.
void copy_twice(const layout &l, const scalar *in, scalar *buffer, scalar *out) {
    layout gather = l, scatter = l;
    int64_t stride = 1;
    for (int k = l.rank - 1; k >= 0; --k) {
        gather.dims[k].os = scatter.dims[k].is = stride;
        stride *= l.dims[k].n;
    }
    merge(gather);
    merge(scatter);
    copy(gather, in, buffer);
    copy(scatter, buffer, out);
}

void execute_rearrange_inplace(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    layout l = layout_of(p);
    switch (movement_of(l)) {
        case movement::none:
            break;
        case movement::square:
            for_each_outer(l, 2, [&](int64_t, int64_t to) { transpose_square(l, out + to); });
            break;
        case movement::other:
            copy_twice(l, in, scratch, out);
    }
}

bool is_rearrangement(const plan *p) {
    return p->split != 1 && p->rank == 0 && (p->kind == kind_complex || p->kind == kind_r2r);
}

}  // namespace

int solve_problem_rearrange_inplace(plan *p) {
    if (!is_rearrangement(p) || p->in != p->out) return -1;
    layout l = layout_of(p);
    if (movement_of(l) == movement::other) {
        const int64_t bytes = scalar_bytes * element_count(l) * l.width;
        p->work_bytes = static_cast<uint64_t>(bytes);
    }
    p->execute_fn = execute_rearrange_inplace;
    p->execute_name = "execute_rearrange_inplace";
    return 0;
}

int solve_problem_rearrange_outplace(plan *p) {
    if (!is_rearrangement(p) || p->in == p->out) return -1;
    p->execute_fn = execute_rearrange_outplace;
    p->execute_name = "execute_rearrange_outplace";
    return 0;
}

}  // namespace lyr
