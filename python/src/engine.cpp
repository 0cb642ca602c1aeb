#include "engine.h"

#include <cstddef>
#include <cstdlib>

namespace lyra_python {

namespace {

constexpr int max_rank = 3;        // of a plan
constexpr int max_batch_rank = 3;  // of a plan

int64_t element_bytes(const transform &t, bool complex) {
    return (t.single ? 4 : 8) * (complex ? 2 : 1);
}

bool complex_in(operation what) {
    return what == operation::c2c || what == operation::c2r;
}
bool complex_out(operation what) {
    return what == operation::c2c || what == operation::r2c;
}

// Outermost first, by the stride of the output: stable, and fast for the few there are.
void sort_dimensions(dimension *d, int count) {
    for (int i = 1; i < count; ++i) {
        const dimension moving = d[i];
        int j = i;
        for (; j > 0 && d[j - 1].os < moving.os; --j) d[j] = d[j - 1];
        d[j] = moving;
    }
}

// Join neighbours that are one dimension in both arrays.
int join_dimensions(dimension *d, int count) {
    int kept = 0;
    for (int k = 0; k < count; ++k) {
        const dimension inner = d[k];
        if (kept > 0 && d[kept - 1].is == inner.n * inner.is &&
            d[kept - 1].os == inner.n * inner.os)
            d[kept - 1] = {d[kept - 1].n * inner.n, inner.is, inner.os};
        else
            d[kept++] = inner;
    }
    return kept;
}

// A pass along the axes from `first` to before `last` of t; `what` may differ from that of t.
int add_pass(schedule &s, plan_cache &cache, const transform &t, operation what, int first,
             int last, const view &in, const view &out) {
    if (s.count == schedule::max_passes) return -1;
    problem p;
    p.what = what;
    p.single = t.single;
    p.in_place = in.data == out.data;
    // Between real and complex numbers the library goes one way each.
    p.sign = what != operation::c2c     ? 0
             : t.what == operation::r2c ? -1
             : t.what == operation::c2r ? 1
                                        : t.sign;
    p.workers = t.workers;
    p.rank = last - first;
    bool transformed[max_ndim] = {};
    for (int k = first; k < last; ++k) {
        const int axis = t.axes[k];
        transformed[axis] = true;
        const bool strided = t.n[k] > 1;  // of a single number the stride may be anything
        p.dims[k - first] = {t.n[k], strided ? in.stride[axis] : 1, strided ? out.stride[axis] : 1};
        p.kinds[k - first] = t.kind;
    }
    const bool halved = what == operation::r2c || what == operation::c2r;
    sort_dimensions(p.dims, halved ? p.rank - 1 : p.rank);

    dimension batch[max_ndim];
    int batch_rank = 0;
    for (int d = 0; d < out.ndim; ++d)
        if (!transformed[d] && out.shape[d] != 1)
            batch[batch_rank++] = {out.shape[d], in.stride[d], out.stride[d]};
    sort_dimensions(batch, batch_rank);
    batch_rank = join_dimensions(batch, batch_rank);
    const int loops = batch_rank > max_batch_rank ? batch_rank - max_batch_rank : 0;
    p.batch_rank = batch_rank - loops;
    for (int k = 0; k < p.batch_rank; ++k) p.batch[k] = batch[loops + k];

    // Most passes need no loops, and no room for them.
    auto *q = static_cast<pass *>(malloc(loops ? sizeof(pass) : offsetof(pass, n)));
    if (!q) return -1;
    q->in = in.data;
    q->out = out.data;
    q->loop_rank = loops;
    for (int k = 0; k < loops; ++k) {
        q->n[k] = batch[k].n;
        q->in_bytes[k] = batch[k].is * element_bytes(t, complex_in(what));
        q->out_bytes[k] = batch[k].os * element_bytes(t, complex_out(what));
    }
    q->plan = acquire_plan(cache, p, in.data, out.data);
    if (!q->plan) {
        free(q);
        return -1;
    }
    s.passes[s.count++] = q;
    return 0;
}

}  // namespace

int add_transform(schedule &s, plan_cache &cache, const transform &t, const view &in,
                  const view &out) {
    // Groups of up to three axes, the last axes first: they are usually the densest.
    int last = t.naxes;
    const int first = last > max_rank ? last - max_rank : 0;
    switch (t.what) {
        case operation::c2c:
        case operation::r2r:
            if (add_pass(s, cache, t, t.what, first, last, in, out) != 0) return -1;
            for (last = first; last > 0; last -= max_rank)
                if (add_pass(s, cache, t, t.what, last > max_rank ? last - max_rank : 0, last, out,
                             out) != 0)
                    return -1;
            return 0;
        case operation::r2c:
            if (add_pass(s, cache, t, operation::r2c, first, last, in, out) != 0) return -1;
            for (last = first; last > 0; last -= max_rank)
                if (add_pass(s, cache, t, operation::c2c, last > max_rank ? last - max_rank : 0,
                             last, out, out) != 0)
                    return -1;
            return 0;
        case operation::c2r:
            for (int k = first; k > 0; k -= max_rank)
                if (add_pass(s, cache, t, operation::c2c, k > max_rank ? k - max_rank : 0, k, in,
                             in) != 0)
                    return -1;
            return add_pass(s, cache, t, operation::c2r, first, last, in, out);
    }
    return -1;
}

void run_schedule(const schedule &s) {
    for (int i = 0; i < s.count; ++i) {
        const pass &p = *s.passes[i];
        if (p.loop_rank == 0) {
            execute_plan(p.plan, p.in, p.out);
            continue;
        }
        int64_t at[max_ndim] = {};
        char *in = p.in, *out = p.out;
        for (int k = 0; k >= 0;) {
            execute_plan(p.plan, in, out);
            for (k = p.loop_rank - 1; k >= 0; --k) {
                in += p.in_bytes[k];
                out += p.out_bytes[k];
                if (++at[k] < p.n[k]) break;
                in -= p.n[k] * p.in_bytes[k];
                out -= p.n[k] * p.out_bytes[k];
                at[k] = 0;
            }
        }
    }
}

void release_schedule(schedule &s) {
    for (int i = 0; i < s.count; ++i) {
        release_plan(s.passes[i]->plan);
        free(s.passes[i]);
    }
    s.count = 0;
}

namespace {

// Calls visit(offset in elements) for the first number of every line along an axis.
template <class visitor>
void for_lines(const view &v, int axis, visitor visit) {
    int64_t at[max_ndim] = {}, offset = 0;
    for (int k = 0; k < v.ndim; ++k)
        if (k != axis && v.shape[k] == 0) return;
    for (int k = 0; k >= 0;) {
        visit(offset);
        for (k = v.ndim - 1; k >= 0; --k) {
            if (k == axis) continue;
            offset += v.stride[k];
            if (++at[k] < v.shape[k]) break;
            offset -= v.shape[k] * v.stride[k];
            at[k] = 0;
        }
    }
}

}  // namespace

namespace {

template <typename real>
void scale_line(real *x, int64_t count, int64_t stride, real re, real im) {
    if (stride == 1) {
        for (int64_t k = 0; k < count; ++k) {
            x[2 * k] *= re;
            x[2 * k + 1] *= im;
        }
        return;
    }
    for (int64_t k = 0; k < count; ++k) {
        x[2 * k * stride] *= re;
        x[2 * k * stride + 1] *= im;
    }
}

template <typename real>
void scale_line(real *x, int64_t count, int64_t stride, real factor) {
    if (stride == 1)
        for (int64_t k = 0; k < count; ++k) x[k] *= factor;
    else
        for (int64_t k = 0; k < count; ++k) x[k * stride] *= factor;
}

// The whole array as one line, if it has no gaps: the number of its elements, or 0.
int64_t dense_elements(const view &v) {
    int64_t count = 1, reach = 1;
    for (int k = 0; k < v.ndim; ++k) {
        count *= v.shape[k];
        reach += (v.shape[k] - 1) * (v.shape[k] > 1 ? v.stride[k] : 0);
    }
    return count == reach ? count : 0;
}

}  // namespace

template <typename real>
void scale(const view &v, bool complex, double re, double im) {
    real *const x = reinterpret_cast<real *>(v.data);
    const auto line = [&](int64_t offset, int64_t count, int64_t stride) {
        if (!complex)
            scale_line(x + offset, count, stride, static_cast<real>(re));
        else if (stride == 1 && re == im)
            scale_line(x + 2 * offset, 2 * count, 1, static_cast<real>(re));
        else
            scale_line(x + 2 * offset, count, stride, static_cast<real>(re), static_cast<real>(im));
    };
    if (const int64_t count = dense_elements(v)) return line(0, count, 1);
    int inner = 0;
    for (int k = 1; k < v.ndim; ++k)
        if (v.shape[k] > 1 && (v.shape[inner] == 1 || v.stride[k] < v.stride[inner])) inner = k;
    for_lines(v, inner, [&](int64_t offset) { line(offset, v.shape[inner], v.stride[inner]); });
}

template <typename real>
void scale_slice(const view &v, int axis, int64_t index, double factor) {
    real *const x = reinterpret_cast<real *>(v.data) + index * v.stride[axis];
    for_lines(v, axis, [&](int64_t offset) {
        x[offset] = static_cast<real>(static_cast<double>(x[offset]) * factor);
    });
}

template <typename real>
void complete_hermitian(const view &v, const transform &t) {
    struct number {
        real re, im;
    };
    bool mirrored[max_ndim] = {};
    for (int k = 0; k < t.naxes; ++k) mirrored[t.axes[k]] = true;
    const int halved = t.axes[t.naxes - 1];
    const int64_t from = v.shape[halved] / 2 + 1;
    if (from >= v.shape[halved]) return;

    // The innermost loop goes along the densest dimension.
    int inner = halved;
    for (int k = 0; k < v.ndim; ++k)
        if (v.shape[k] > 1 && v.stride[k] < v.stride[inner]) inner = k;

    number *const x = reinterpret_cast<number *>(v.data);
    int64_t at[max_ndim] = {}, to = 0, source = 0;
    const auto begin = [&](int k) { return k == halved ? from : int64_t{0}; };
    const auto mirror = [&](int k, int64_t index) {
        return mirrored[k] && index ? v.shape[k] - index : index;
    };
    for (int k = 0; k < v.ndim; ++k) at[k] = begin(k);
    for (int k = 0; k >= 0;) {
        to = source = 0;
        for (int d = 0; d < v.ndim; ++d) {
            if (d == inner) continue;
            to += at[d] * v.stride[d];
            source += mirror(d, at[d]) * v.stride[d];
        }
        const int64_t n = v.shape[inner], step = v.stride[inner];
        int64_t j = begin(inner);
        if (mirrored[inner]) {
            if (j == 0) {
                x[to] = {x[source].re, -x[source].im};
                j = 1;
            }
            for (; j < n; ++j) {
                const number z = x[source + (n - j) * step];
                x[to + j * step] = {z.re, -z.im};
            }
        } else {
            for (; j < n; ++j) {
                const number z = x[source + j * step];
                x[to + j * step] = {z.re, -z.im};
            }
        }
        for (k = v.ndim - 1; k >= 0; --k) {
            if (k == inner) continue;
            if (++at[k] < v.shape[k]) break;
            at[k] = begin(k);
        }
    }
}

template void scale<double>(const view &, bool, double, double);
template void scale<float>(const view &, bool, double, double);
template void scale_slice<double>(const view &, int, int64_t, double);
template void scale_slice<float>(const view &, int, int64_t, double);
template void complete_hermitian<double>(const view &, const transform &);
template void complete_hermitian<float>(const view &, const transform &);

}  // namespace lyra_python
