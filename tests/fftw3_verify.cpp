// Random problems through the interface of FFTW 3: ranks and batch ranks 0 to 5, any layout, in
// place or not, every kind. Results are compared with a plain transform in extended precision;
// elements between outputs, and inputs of what is out of place, must stay as they were.
//
//     lyra_fftw3_verify LIBRARY COUNT [SEED [OTHER]]
//
// LIBRARY is checked. OTHER, such as the original, shows what must not be refused: whatever it
// plans. Its results are compared with the same reference. Exit status 1 after a wrong result or a
// refusal.
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

#ifdef LYRA_COMPAT_FLOAT
using real = float;
    #define PREFIX "fftwf_"
constexpr double tolerance = 2e-5;
#else
using real = double;
    #define PREFIX "fftw_"
constexpr double tolerance = 2e-14;
#endif

using plan = void *;
struct iodim {
    int n, is, os;
};
struct iodim64 {
    ptrdiff_t n, is, os;
};
constexpr unsigned estimate = 1U << 6;

enum kind { c2c, r2c, c2r, r2r };

// The functions of a library that problems are planned and executed by.
struct interface {
    void *handle;

    template <class function>
    function *get(const char *name) const {
        void *f = dlsym(handle, (std::string(PREFIX) + name).c_str());
        if (!f) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(2);
        }
        return reinterpret_cast<function *>(f);
    }
};

struct dimension {
    ptrdiff_t n, is, os;
};

enum class form { guru, guru64, many };

struct problem {
    enum kind kind;
    int sign;
    bool split, in_place, new_arrays;
    form by;
    int threads;
    std::vector<dimension> dims, batch;
    std::vector<int> kinds;
    // Arguments of the advanced constructor, when it makes the plan.
    std::vector<int> inembed, onembed;
    bool embeds;
};

ptrdiff_t input_length(const problem &p, size_t k) {
    return p.kind == c2r && k + 1 == p.dims.size() ? p.dims[k].n / 2 + 1 : p.dims[k].n;
}
ptrdiff_t output_length(const problem &p, size_t k) {
    return p.kind == r2c && k + 1 == p.dims.size() ? p.dims[k].n / 2 + 1 : p.dims[k].n;
}
bool complex_input(const problem &p) {
    return p.kind == c2c || p.kind == c2r;
}
bool complex_output(const problem &p) {
    return p.kind == c2c || p.kind == r2c;
}

std::string text(const problem &p) {
    static const char *const names[] = {"c2c", "r2c", "c2r", "r2r"};
    static const char *const forms[] = {"guru", "guru64", "many"};
    std::string s = std::string(names[p.kind]) + (p.split ? " split" : "") +
                    (p.kind == c2c ? p.sign < 0 ? " forward" : " backward" : "") +
                    (p.in_place ? " in place " : " ") + forms[static_cast<int>(p.by)] + " ";
    const auto list = [&](const std::vector<dimension> &dims) {
        for (const dimension &d : dims)
            s += "(" + std::to_string(d.n) + " " + std::to_string(d.is) + " " +
                 std::to_string(d.os) + ")";
    };
    list(p.dims);
    s += " * ";
    list(p.batch);
    for (const int k : p.kinds) s += " kind " + std::to_string(k);
    return s + " threads " + std::to_string(p.threads);
}

// ---- Where elements are -------------------------------------------------------------------------

// Offsets of all elements of one side in row-major order, batch outermost.
std::vector<ptrdiff_t> places(const problem &p, bool output) {
    std::vector<ptrdiff_t> at = {0};
    const auto spread = [&](ptrdiff_t n, ptrdiff_t stride) {
        std::vector<ptrdiff_t> more;
        more.reserve(at.size() * static_cast<size_t>(n));
        for (const ptrdiff_t a : at)
            for (ptrdiff_t j = 0; j < n; ++j) more.push_back(a + j * stride);
        at.swap(more);
    };
    for (const dimension &d : p.batch) spread(d.n, output ? d.os : d.is);
    for (size_t k = 0; k < p.dims.size(); ++k)
        spread(output ? output_length(p, k) : input_length(p, k),
               output ? p.dims[k].os : p.dims[k].is);
    // The halved dimension of no dimension: one number.
    return at;
}

// ---- The reference ------------------------------------------------------------------------------

using wide = long double;
struct number {
    wide re, im;
};

const std::vector<number> &roots(ptrdiff_t n) {
    static std::map<ptrdiff_t, std::vector<number>> known;
    std::vector<number> &r = known[n];
    if (r.empty())
        for (ptrdiff_t k = 0; k < n; ++k) {
            const wide angle = 2 * 3.14159265358979323846264338327950288L * static_cast<wide>(k) /
                               static_cast<wide>(n);
            r.push_back({std::cos(angle), std::sin(angle)});
        }
    return r;
}

void transform_line(std::vector<number> &x, int sign) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(x.size());
    const std::vector<number> &w = roots(n);
    std::vector<number> y(x.size(), {0, 0});
    for (ptrdiff_t k = 0; k < n; ++k) {
        ptrdiff_t at = 0;
        number sum = {0, 0};
        for (const number &v : x) {
            const wide c = w[static_cast<size_t>(at)].re, s = sign * w[static_cast<size_t>(at)].im;
            sum.re += v.re * c - v.im * s;
            sum.im += v.re * s + v.im * c;
            at += k;
            if (at >= n) at -= n;
        }
        y[static_cast<size_t>(k)] = sum;
    }
    x.swap(y);
}

// Real-to-real transforms by their definition as sums of cosines or sines with angles pi a / b.
wide r2r_output(int kind, const std::vector<number> &x, ptrdiff_t k) {
    const ptrdiff_t n = static_cast<ptrdiff_t>(x.size());
    const auto cosine = [](ptrdiff_t a, ptrdiff_t b) {  // cos(2 pi a / b)
        return roots(b)[static_cast<size_t>(((a % b) + b) % b)].re;
    };
    const auto sine = [](ptrdiff_t a, ptrdiff_t b) {
        return roots(b)[static_cast<size_t>(((a % b) + b) % b)].im;
    };
    wide sum = 0;
    for (ptrdiff_t j = 0; j < n; ++j) {
        const wide v = x[static_cast<size_t>(j)].re;
        wide factor = 0;
        switch (kind) {
            case 0:
                factor = 2 * k <= n ? cosine(j * k, n) : -sine(j * (n - k), n);
                break;
            case 1:
                factor = j == 0 || 2 * j == n ? cosine(j * k, n)
                         : 2 * j < n          ? 2 * cosine(j * k, n)
                                              : -2 * sine((n - j) * k, n);
                break;
            case 2:
                factor = cosine(j * k, n) + sine(j * k, n);
                break;
            case 3:
                factor = (j == 0 || j == n - 1 ? 1 : 2) * cosine(j * k, 2 * (n - 1));
                break;
            case 4:
                factor = (j == 0 ? 1 : 2) * cosine(j * (2 * k + 1), 4 * n);
                break;
            case 5:
                factor = 2 * cosine((2 * j + 1) * k, 4 * n);
                break;
            case 6:
                factor = 2 * cosine((2 * j + 1) * (2 * k + 1), 8 * n);
                break;
            case 7:
                factor = 2 * sine((j + 1) * (k + 1), 2 * (n + 1));
                break;
            case 8:
                factor = (j == n - 1 ? 1 : 2) * sine((j + 1) * (2 * k + 1), 4 * n);
                break;
            case 9:
                factor = 2 * sine((2 * j + 1) * (k + 1), 4 * n);
                break;
            default:
                factor = 2 * sine((2 * j + 1) * (2 * k + 1), 8 * n);
        }
        sum += v * factor;
    }
    return sum;
}

// Applies `line` along an axis of a row-major array; lines may change their length.
template <class function>
void along(std::vector<number> &x, size_t inner, size_t n, const function &line) {
    std::vector<number> y;
    const size_t outer = x.size() / (n * inner);
    std::vector<number> one(n);
    size_t length = 0;
    for (size_t o = 0; o < outer; ++o)
        for (size_t i = 0; i < inner; ++i) {
            one.resize(n);
            for (size_t j = 0; j < n; ++j) one[j] = x[(o * n + j) * inner + i];
            line(one);
            length = one.size();
            if (y.empty()) y.resize(outer * length * inner);
            for (size_t j = 0; j < length; ++j) y[(o * length + j) * inner + i] = one[j];
        }
    x.swap(y);
}

// Inputs in row-major order, batch outermost, become outputs in the same order.
void transform(const problem &p, std::vector<number> &x) {
    if (x.empty()) return;
    const size_t rank = p.dims.size();
    const auto inner = [&](size_t k, bool output) {
        size_t n = 1;
        for (size_t j = k + 1; j < rank; ++j)
            n *= static_cast<size_t>(output ? output_length(p, j) : input_length(p, j));
        return n;
    };
    const auto outer_dims = [&](int sign, size_t count) {
        for (size_t k = 0; k < count; ++k)
            along(x, inner(k, p.kind == r2c), static_cast<size_t>(p.dims[k].n),
                  [&](std::vector<number> &v) { transform_line(v, sign); });
    };
    if (rank == 0) {
        if (p.kind == r2c || p.kind == c2r)
            for (number &v : x) v.im = 0;
        return;
    }
    const size_t n = static_cast<size_t>(p.dims[rank - 1].n);
    switch (p.kind) {
        case c2c:
            outer_dims(p.sign < 0 ? -1 : 1, rank);
            break;
        case r2c:
            along(x, 1, n, [&](std::vector<number> &v) {
                transform_line(v, -1);
                v.resize(n / 2 + 1);
            });
            outer_dims(-1, rank - 1);
            break;
        case c2r:
            outer_dims(+1, rank - 1);
            along(x, 1, n / 2 + 1, [&](std::vector<number> &v) {
                v[0].im = 0;
                if (n % 2 == 0) v[n / 2].im = 0;
                v.resize(n);
                for (size_t k = n / 2 + 1; k < n; ++k) v[k] = {v[n - k].re, -v[n - k].im};
                transform_line(v, +1);
            });
            break;
        case r2r:
            for (size_t k = 0; k < rank; ++k)
                along(x, inner(k, false), static_cast<size_t>(p.dims[k].n),
                      [&](std::vector<number> &v) {
                          std::vector<number> y(v.size());
                          for (size_t j = 0; j < v.size(); ++j)
                              y[j] = {r2r_output(p.kinds[k], v, static_cast<ptrdiff_t>(j)), 0};
                          v.swap(y);
                      });
    }
}

// ---- Random problems ----------------------------------------------------------------------------

std::mt19937_64 generator;

ptrdiff_t between(ptrdiff_t low, ptrdiff_t high) {
    return std::uniform_int_distribution<ptrdiff_t>(low, high)(generator);
}
bool chance(int percent) {
    return between(1, 100) <= percent;
}

// Strides without overlaps for lengths, in any order of the dimensions, with gaps; some run
// backwards. unit: the least stride.
std::vector<ptrdiff_t> nested(const std::vector<ptrdiff_t> &lengths, ptrdiff_t unit, bool ordered,
                              bool backwards) {
    std::vector<size_t> order(lengths.size());
    for (size_t k = 0; k < order.size(); ++k) order[k] = order.size() - 1 - k;
    if (!ordered) std::shuffle(order.begin(), order.end(), generator);
    std::vector<ptrdiff_t> strides(lengths.size());
    ptrdiff_t stride = unit;
    for (const size_t k : order) {
        if (chance(10)) stride += unit * between(0, 3);
        strides[k] = backwards && chance(20) ? -stride : stride;
        stride *= std::max<ptrdiff_t>(lengths[k], 1);
    }
    return strides;
}

void choose_lengths(problem &p, ptrdiff_t most) {
    const size_t rank = static_cast<size_t>(chance(10) ? 0 : between(1, 5));
    const size_t batch_rank = static_cast<size_t>(between(0, chance(20) ? 5 : 2));
    ptrdiff_t left = most;
    for (size_t k = 0; k < rank; ++k) {
        const ptrdiff_t limit =
            rank == 1 ? left
                      : std::max<ptrdiff_t>(1, std::min<ptrdiff_t>(left, rank == 2   ? 60
                                                                         : rank == 3 ? 20
                                                                                     : 8));
        const ptrdiff_t n =
            chance(5) ? 1 : between(1, chance(70) ? std::min<ptrdiff_t>(limit, 16) : limit);
        p.dims.push_back({n, 1, 1});
        left = std::max<ptrdiff_t>(1, left / n);
    }
    for (size_t k = 0; k < batch_rank; ++k) {
        const ptrdiff_t n =
            chance(2) ? 0 : between(1, std::max<ptrdiff_t>(1, std::min<ptrdiff_t>(left, 7)));
        p.batch.push_back({n, 1, 1});
        left = std::max<ptrdiff_t>(1, left / std::max<ptrdiff_t>(n, 1));
    }
}

// The layout of the advanced and the basic constructors.
void choose_many_layout(problem &p) {
    if (p.batch.size() != 1) p.batch.assign(1, {between(1, 5), 1, 1});
    p.embeds = chance(50);
    const ptrdiff_t istride = chance(70) ? 1 : between(1, 3);
    const ptrdiff_t ostride = p.in_place || chance(70) ? istride : between(1, 3);
    const size_t rank = p.dims.size();
    ptrdiff_t is = istride, os = ostride;
    p.inembed.resize(rank);
    p.onembed.resize(rank);
    const bool padded = p.in_place && (p.kind == r2c || p.kind == c2r);
    for (size_t k = rank; k-- > 0;) {
        p.dims[k].is = is;
        p.dims[k].os = os;
        const bool last = k + 1 == rank;
        ptrdiff_t in = input_length(p, k), out = output_length(p, k);
        if (last && padded) {
            if (p.kind == r2c) in = 2 * (p.dims[k].n / 2 + 1);
            if (p.kind == c2r) out = 2 * (p.dims[k].n / 2 + 1);
        }
        if (p.embeds) {
            const ptrdiff_t more = between(0, 2);
            in += last && padded && p.kind == r2c ? 2 * more : more;
            out += p.in_place ? (last && padded && p.kind == c2r ? 2 * more : more) : between(0, 2);
        }
        p.inembed[k] = static_cast<int>(in);
        p.onembed[k] = static_cast<int>(out);
        is *= in;
        os *= out;
    }
    // The batch outside or, complex and real to real, inside.
    if (rank > 0 && !p.embeds && (p.kind == c2c || p.kind == r2r) && chance(20)) {
        const ptrdiff_t h = p.batch[0].n;
        for (dimension &d : p.dims) {
            d.is *= h;
            d.os *= h;
        }
        p.batch[0].is = istride;
        p.batch[0].os = ostride;
        return;
    }
    p.batch[0].is = is;
    p.batch[0].os = os;
}

void choose_guru_layout(problem &p) {
    std::vector<ptrdiff_t> in, out;
    for (const dimension &d : p.batch) in.push_back(d.n), out.push_back(d.n);
    for (size_t k = 0; k < p.dims.size(); ++k) {
        in.push_back(input_length(p, k));
        out.push_back(output_length(p, k));
    }
    const bool ordered = chance(40), backwards = chance(30);
    const ptrdiff_t unit = p.split && chance(50) ? 2 : 1;
    std::vector<ptrdiff_t> is = nested(in, unit, ordered, backwards);
    std::vector<ptrdiff_t> os = nested(out, unit, ordered, backwards);
    if (p.in_place && chance(70)) {
        const bool halved = p.kind == r2c || p.kind == c2r;
        if (!halved) {
            os = is;
        } else if (!p.dims.empty()) {
            // Rows without gaps, padded; everything else at the same places on both sides.
            std::vector<ptrdiff_t> rest(in.begin(), in.end() - 1);
            const ptrdiff_t row = p.dims.back().n / 2 + 1;
            const std::vector<ptrdiff_t> s = nested(rest, row, ordered, backwards);
            const ptrdiff_t complex_factor = p.split ? 2 : 1;
            for (size_t k = 0; k < s.size(); ++k) {
                is[k] = p.kind == r2c ? 2 * s[k] : complex_factor * s[k];
                os[k] = p.kind == c2r ? 2 * s[k] : complex_factor * s[k];
            }
            is.back() = os.back() = 1;
        }
    }
    size_t k = 0;
    for (dimension &d : p.batch) {
        d.is = is[k];
        d.os = os[k++];
        if (!p.in_place && chance(3)) d.is = 0;
    }
    for (dimension &d : p.dims) {
        d.is = is[k];
        d.os = os[k++];
        if (!p.in_place && p.kind != c2r && chance(2)) d.is = 0;
    }
}

problem choose_problem() {
    problem p = {};
    p.kind = static_cast<enum kind>(between(0, 3));
    p.sign = chance(50) ? -1 : +1;
    p.in_place = chance(40);
    p.by = chance(40) ? form::many : chance(50) ? form::guru : form::guru64;
    p.split = p.by != form::many && p.kind != r2r && chance(30);
    if (p.split) p.sign = -1;
    p.new_arrays = chance(40);
    p.threads = chance(10) ? 2 : 1;
    choose_lengths(p, chance(10) ? 2500 : 500);
    if (p.by == form::many)
        choose_many_layout(p);
    else
        choose_guru_layout(p);
    for (size_t k = 0; k < p.dims.size() && p.kind == r2r; ++k) {
        int kind = static_cast<int>(between(0, 10));
        if (kind == 3 && p.dims[k].n == 1) kind = 5;
        p.kinds.push_back(kind);
    }
    return p;
}

// ---- Arrays -------------------------------------------------------------------------------------

// Memory for one side: the first element is at `base`, in reals; imaginary parts come `imaginary`
// reals later.
struct side {
    std::vector<ptrdiff_t> at;  // in reals, from the first element
    ptrdiff_t base, size, imaginary;
    bool complex;
};

side layout_side(const problem &p, bool output) {
    side s;
    s.complex = output ? complex_output(p) : complex_input(p);
    s.at = places(p, output);
    const ptrdiff_t unit = s.complex && !p.split ? 2 : 1;
    ptrdiff_t low = 0, high = 0;
    for (ptrdiff_t &a : s.at) {
        a *= unit;
        low = std::min(low, a);
        high = std::max(high, a);
    }
    constexpr ptrdiff_t fence = 5;
    s.base = fence - low;
    s.size = high + unit + s.base + fence;
    s.imaginary = 1;
    if (s.complex && p.split) {
        s.imaginary = s.size;
        s.size *= 2;
    }
    return s;
}

struct run_arrays {
    std::vector<real> in, out;  // in place: `in` alone
};

plan make_plan(const interface &lib, const problem &p, real *in, real *out, const side &is,
               const side &os) {
    const int rank = static_cast<int>(p.dims.size()), h = static_cast<int>(p.batch.size());
    real *ri = in + is.base, *ro = out + os.base;
    real *ii = ri + is.imaginary, *io = ro + os.imaginary;
    if (p.by == form::many) {
        std::vector<int> n;
        for (const dimension &d : p.dims) n.push_back(static_cast<int>(d.n));
        const int howmany = static_cast<int>(p.batch[0].n);
        const int idist = static_cast<int>(p.batch[0].is), odist = static_cast<int>(p.batch[0].os);
        const int istride = rank ? static_cast<int>(p.dims.back().is) : 1;
        const int ostride = rank ? static_cast<int>(p.dims.back().os) : 1;
        const int *inembed = p.embeds ? p.inembed.data() : nullptr;
        const int *onembed = p.embeds ? p.onembed.data() : nullptr;
        // The original may write into extents that it takes as its own: copies, not the vectors.
        switch (p.kind) {
            case c2c:
                return lib.get<plan(int, const int *, int, real *, const int *, int, int, real *,
                                    const int *, int, int, int, unsigned)>("plan_many_dft")(
                    rank, n.data(), howmany, ri, inembed, istride, idist, ro, onembed, ostride,
                    odist, p.sign, estimate);
            case r2c:
            case c2r:
                return lib.get<plan(int, const int *, int, real *, const int *, int, int, real *,
                                    const int *, int, int, unsigned)>(
                    p.kind == r2c ? "plan_many_dft_r2c" : "plan_many_dft_c2r")(
                    rank, n.data(), howmany, ri, inembed, istride, idist, ro, onembed, ostride,
                    odist, estimate);
            default:
                return lib.get<plan(int, const int *, int, real *, const int *, int, int, real *,
                                    const int *, int, int, const int *, unsigned)>("plan_many_r2r")(
                    rank, n.data(), howmany, ri, inembed, istride, idist, ro, onembed, ostride,
                    odist, p.kinds.data(), estimate);
        }
    }
    const auto plan_guru = [&](auto example, const std::string &name) -> plan {
        using record = decltype(example);
        using length = decltype(example.n);
        std::vector<record> dims, batch;
        for (const dimension &d : p.dims)
            dims.push_back(
                {static_cast<length>(d.n), static_cast<length>(d.is), static_cast<length>(d.os)});
        for (const dimension &d : p.batch)
            batch.push_back(
                {static_cast<length>(d.n), static_cast<length>(d.is), static_cast<length>(d.os)});
        const record *d = dims.data(), *b = batch.data();
        if (p.kind == r2r)
            return lib.get<plan(int, const record *, int, const record *, real *, real *,
                                const int *, unsigned)>((name + "_r2r").c_str())(
                rank, d, h, b, ri, ro, p.kinds.data(), estimate);
        if (p.kind == c2c && !p.split)
            return lib
                .get<plan(int, const record *, int, const record *, real *, real *, int, unsigned)>(
                    (name + "_dft").c_str())(rank, d, h, b, ri, ro, p.sign, estimate);
        if (p.kind == c2c)
            return lib.get<plan(int, const record *, int, const record *, real *, real *, real *,
                                real *, unsigned)>((name + "_split_dft").c_str())(
                rank, d, h, b, ri, ii, ro, io, estimate);
        const std::string direction = p.kind == r2c ? "_dft_r2c" : "_dft_c2r";
        if (!p.split)
            return lib
                .get<plan(int, const record *, int, const record *, real *, real *, unsigned)>(
                    (name + direction).c_str())(rank, d, h, b, ri, ro, estimate);
        const auto split = lib.get<plan(int, const record *, int, const record *, real *, real *,
                                        real *, unsigned)>((name + "_split" + direction).c_str());
        return p.kind == r2c ? split(rank, d, h, b, ri, ro, io, estimate)
                             : split(rank, d, h, b, ri, ii, ro, estimate);
    };
    return p.by == form::guru ? plan_guru(iodim{}, "plan_guru")
                              : plan_guru(iodim64{}, "plan_guru64");
}

void execute(const interface &lib, plan made, const problem &p, real *in, real *out, const side &is,
             const side &os) {
    if (!p.new_arrays) {
        lib.get<void(plan)>("execute")(made);
        return;
    }
    real *ri = in + is.base, *ro = out + os.base;
    real *ii = ri + is.imaginary, *io = ro + os.imaginary;
    static const char *const names[] = {"execute_dft", "execute_dft_r2c", "execute_dft_c2r",
                                        "execute_r2r"};
    if (!p.split)
        lib.get<void(plan, real *, real *)>(names[p.kind])(made, ri, ro);
    else if (p.kind == c2c)
        lib.get<void(plan, real *, real *, real *, real *)>("execute_split_dft")(made, ri, ii, ro,
                                                                                 io);
    else if (p.kind == r2c)
        lib.get<void(plan, real *, real *, real *)>("execute_split_dft_r2c")(made, ri, ro, io);
    else
        lib.get<void(plan, real *, real *, real *)>("execute_split_dft_c2r")(made, ri, ii, ro);
}

enum class outcome { right, wrong, refused, crashed };

struct memory {
    std::vector<real> in, out;
};

// One problem by one library. reason: what is wrong.
outcome check(const interface &lib, const problem &p, const side &is, const side &os,
              const memory &start, const std::vector<number> &expected, bool input_kept,
              std::string &reason) {
    memory first = start;
    real *in = first.in.data(), *out = p.in_place ? in : first.out.data();
    lib.get<void(int)>("plan_with_nthreads")(p.threads);
    const plan made = make_plan(lib, p, in, out, is, os);
    if (!made) return outcome::refused;
    // Whatever planning did to the arrays, the original may have overwritten them.
    memory second = start;
    if (p.new_arrays) {
        in = second.in.data();
        out = p.in_place ? in : second.out.data();
    } else {
        std::copy(start.in.begin(), start.in.end(), first.in.begin());
        std::copy(start.out.begin(), start.out.end(), first.out.begin());
    }
    execute(lib, made, p, in, out, is, os);
    lib.get<void(plan)>("destroy_plan")(made);

    wide difference = 0, norm = 0;
    std::vector<bool> written(p.in_place ? start.in.size() : start.out.size());
    for (size_t k = 0; k < os.at.size(); ++k) {
        const ptrdiff_t at = os.base + os.at[k];
        const wide re = out[at] - expected[k].re;
        const wide im = os.complex ? out[at + os.imaginary] - expected[k].im : 0;
        written[static_cast<size_t>(at)] = true;
        if (os.complex) written[static_cast<size_t>(at + os.imaginary)] = true;
        difference += re * re + im * im;
        norm +=
            expected[k].re * expected[k].re + (os.complex ? expected[k].im * expected[k].im : 0);
    }
    const double error = norm > 0 ? static_cast<double>(std::sqrt(difference / norm))
                                  : static_cast<double>(std::sqrt(difference));
    if (!(error <= tolerance)) {
        reason = "error " + std::to_string(error);
        return outcome::wrong;
    }
    const std::vector<real> &before = p.in_place ? start.in : start.out;
    if (p.in_place)
        for (const ptrdiff_t a : is.at) {
            written[static_cast<size_t>(is.base + a)] = true;
            if (is.complex) written[static_cast<size_t>(is.base + a + is.imaginary)] = true;
        }
    // In place, padding between real numbers of a row is scratch space.
    const bool padded = p.in_place && (p.kind == r2c || p.kind == c2r);
    for (size_t k = 0; k < before.size() && !padded; ++k)
        if (!written[k] && out[k] != before[k]) {
            reason = "wrote between outputs";
            return outcome::wrong;
        }
    if (input_kept && !p.in_place && memcmp(in, start.in.data(), start.in.size() * sizeof(real))) {
        reason = "wrote its input";
        return outcome::wrong;
    }
    return outcome::right;
}

// The same in a process of its own: FFTW 3.3.10 recurses without end on some layouts.
template <class function>
outcome in_a_child(const function &checked) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        const outcome result = checked();
        std::fflush(stdout);
        _exit(static_cast<int>(result));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return outcome::crashed;
    return static_cast<outcome>(WEXITSTATUS(status));
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: lyra_fftw3_verify LIBRARY COUNT [SEED [OTHER]]\n");
        return 2;
    }
    const auto load = [](const char *name) {
        void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (!handle) std::fprintf(stderr, "%s\n", dlerror());
        return handle;
    };
    const interface ours = {load(argv[1])};
    const interface other = {argc > 4 ? load(argv[4]) : nullptr};
    if (!ours.handle || (argc > 4 && !other.handle)) return 2;
    const long count = std::atol(argv[2]);
    char *rest = nullptr;
    const uint64_t seed = argc > 3 ? std::strtoull(argv[3], &rest, 10) : 1;
    const long only = rest && *rest == ':' ? std::atol(rest + 1) : -1;

    long wrong = 0, refused = 0, only_other = 0, others[4] = {};
    for (long k = 0; k < count; ++k) {
        if (only >= 0 && k != only) continue;
        generator.seed(seed * 1000003 + static_cast<uint64_t>(k));
        const problem p = choose_problem();
        side is = layout_side(p, false), os = layout_side(p, true);
        if (p.in_place) {
            // One array for both; the first elements coincide.
            const ptrdiff_t base = std::max(is.base, os.base);
            const ptrdiff_t parts = p.split ? 2 : 1;
            const auto one = [&](const side &s) {
                return (s.complex && p.split ? s.size / 2 : s.size) - s.base + base;
            };
            const ptrdiff_t size = std::max(one(is), one(os));
            for (side *s : {&is, &os}) {
                s->base = base;
                if (s->complex && p.split) s->imaginary = size;
                s->size = size * parts;
            }
        }
        memory start;
        std::uniform_real_distribution<real> values(-1, 1);
        start.in.resize(static_cast<size_t>(is.size));
        start.out.resize(static_cast<size_t>(os.size));
        for (real &x : start.in) x = values(generator);
        for (real &x : start.out) x = values(generator);
        std::vector<number> expected(is.at.size());
        for (size_t j = 0; j < is.at.size(); ++j) {
            const ptrdiff_t at = is.base + is.at[j];
            expected[j] = {start.in[static_cast<size_t>(at)],
                           is.complex ? start.in[static_cast<size_t>(at + is.imaginary)] : 0};
        }
        transform(p, expected);
        std::string reason;
        const outcome result = check(ours, p, is, os, start, expected, true, reason);
        if (result == outcome::wrong) {
            ++wrong;
            std::printf("wrong (%s): %ld: %s\n", reason.c_str(), k, text(p).c_str());
        }
        if (result == outcome::refused) {
            ++refused;
            std::printf("refused: %ld: %s\n", k, text(p).c_str());
        }
        if (!other.handle) continue;
        const outcome theirs = in_a_child([&] {
            const outcome r = check(other, p, is, os, start, expected, false, reason);
            if (r == outcome::wrong)
                std::printf("the other (%s): %ld: %s\n", reason.c_str(), k, text(p).c_str());
            return r;
        });
        ++others[static_cast<int>(theirs)];
        only_other +=
            theirs != outcome::refused && theirs != outcome::crashed && result == outcome::refused;
    }
    std::printf("%ld problems: %ld wrong, %ld refused", count, wrong, refused);
    if (other.handle)
        std::printf(
            "; the other: %ld right, %ld wrong, %ld refused, %ld crashed; it planned %ld "
            "that are refused here",
            others[0], others[1], others[2], others[3], only_other);
    std::printf("\n");
    return wrong || refused ? 1 : 0;
}
