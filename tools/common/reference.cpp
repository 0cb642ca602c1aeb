#include "reference.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "double_double.h"

namespace lyr_tools {

namespace {

// Up to this length every output is summed term by term.
constexpr int64_t longest_direct = 128;
// Up to this prime factor the mixed-radix algorithm is used.
constexpr int64_t largest_radix = 128;

int64_t largest_prime_factor(int64_t n) {
    int64_t largest = 1;
    for (int64_t f = 2; f * f <= n; ++f)
        for (; n % f == 0; n /= f) largest = f;
    return n > 1 ? n : largest;
}

// a b mod n.
int64_t multiply_mod(int64_t a, int64_t b, int64_t n) {
    __extension__ typedef __int128 int128;
    return static_cast<int64_t>(int128{a} * b % n);
}

template <class real>
struct wide_complex {
    real re{};
    real im{};
};

template <class real>
wide_complex<real> operator+(const wide_complex<real> &a, const wide_complex<real> &b) {
    return {a.re + b.re, a.im + b.im};
}

template <class real>
wide_complex<real> operator*(const wide_complex<real> &a, const wide_complex<real> &b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// exp(2 pi i k/n). The angle is folded into the first octant as an exact fraction.
template <class real>
wide_complex<real> root_of_unity(int64_t k, int64_t n) {
    k %= n;
    if (k < 0) k += n;
    const int64_t quadrant = 4 * k / n;
    const int64_t rest = 4 * k % n;  // in units of 1/n of a right angle
    const bool mirrored = 2 * rest > n;
    real sine;
    real cosine;
    const real folded = real(static_cast<double>(mirrored ? n - rest : rest));
    sine_cosine(wide_pi<real>() * folded / (2.0 * static_cast<double>(n)), sine, cosine);
    if (mirrored) std::swap(sine, cosine);
    switch (quadrant) {
        case 0:
            return {cosine, sine};
        case 1:
            return {-sine, cosine};
        case 2:
            return {-cosine, -sine};
        default:
            return {sine, -cosine};
    }
}

// Forward transforms of one length.
template <class real>
struct reference_dft {
    using number = wide_complex<real>;

    int64_t n = 0;
    std::vector<number> roots;                // exp(-2 pi i k/n)
    std::unique_ptr<reference_dft> inner;     // chirp only: the length of the convolution
    std::vector<number> chirp;                // exp(-pi i k^2/n)
    std::vector<number> chirp_spectrum;       // of its conjugate, wrapped around, over the length
    mutable std::vector<number> work, terms;  // scratch
};

template <class real>
void run(const reference_dft<real> &d, const wide_complex<real> *in, wide_complex<real> *out);

template <class real>
void prepare(reference_dft<real> &d, int64_t n) {
    d.n = n;
    const auto size = static_cast<size_t>(n);
    d.roots.resize(size);
    for (int64_t k = 0; k <= n / 2; ++k) {
        const wide_complex<real> w = root_of_unity<real>(k, n);
        d.roots[static_cast<size_t>(k)] = {w.re, -w.im};
        if (k != 0) d.roots[static_cast<size_t>(n - k)] = w;
    }
    d.terms.resize(largest_radix);
    if (n <= longest_direct || largest_prime_factor(n) <= largest_radix) return;

    int64_t m = 1;
    while (m < 2 * n - 1) m *= 2;
    d.inner = std::make_unique<reference_dft<real>>();
    prepare(*d.inner, m);
    d.chirp.resize(size);
    d.work.resize(static_cast<size_t>(m));
    d.chirp_spectrum.resize(static_cast<size_t>(m));
    for (int64_t k = 0; k < n; ++k) {
        const wide_complex<real> w = root_of_unity<real>(multiply_mod(k, k, 2 * n), 2 * n);
        d.chirp[static_cast<size_t>(k)] = {w.re, -w.im};
        const wide_complex<real> scaled = {w.re / static_cast<double>(m),
                                           w.im / static_cast<double>(m)};
        d.work[static_cast<size_t>(k)] = scaled;
        d.work[static_cast<size_t>(k == 0 ? 0 : m - k)] = scaled;
    }
    run(*d.inner, d.work.data(), d.chirp_spectrum.data());
}

// The n-th part of a transform: in[0], in[step], ... into out[0 .. n-1]; n*step is the length.
template <class real>
void run_radix(const reference_dft<real> &d, int64_t n, int64_t step, const wide_complex<real> *in,
               wide_complex<real> *out) {
    int64_t radix = 2;
    while (n % radix != 0) ++radix;
    if (n <= 8 || radix == n) {
        for (int64_t k = 0; k < n; ++k) {
            wide_complex<real> sum = in[0];
            for (int64_t j = 1; j < n; ++j)
                sum = sum + in[j * step] * d.roots[static_cast<size_t>(j * k % n * step)];
            out[k] = sum;
        }
        return;
    }
    const int64_t part = n / radix;
    for (int64_t j = 0; j < radix; ++j)
        run_radix(d, part, step * radix, in + j * step, out + j * part);
    wide_complex<real> *terms = d.terms.data();
    for (int64_t k = 0; k < part; ++k) {
        for (int64_t j = 0; j < radix; ++j)
            terms[j] = out[j * part + k] * d.roots[static_cast<size_t>(j * k * step)];
        for (int64_t q = 0; q < radix; ++q) {
            wide_complex<real> sum = terms[0];
            for (int64_t j = 1; j < radix; ++j)
                sum = sum + terms[j] * d.roots[static_cast<size_t>(j * q % radix * part * step)];
            out[q * part + k] = sum;
        }
    }
}

template <class real>
void run(const reference_dft<real> &d, const wide_complex<real> *in, wide_complex<real> *out) {
    if (d.n <= longest_direct) {
        for (int64_t k = 0; k < d.n; ++k) {
            wide_complex<real> sum;
            for (int64_t j = 0; j < d.n; ++j)
                sum = sum + in[j] * d.roots[static_cast<size_t>(j * k % d.n)];
            out[k] = sum;
        }
        return;
    }
    if (!d.inner) {
        run_radix(d, d.n, 1, in, out);
        return;
    }
    // j k = (j^2 + k^2 - (k-j)^2)/2 makes the transform a convolution with the chirp. The backward
    // transform of the product is the forward one with conjugates around it.
    const auto m = static_cast<int64_t>(d.work.size());
    std::vector<wide_complex<real>> spectrum(d.work.size());
    for (int64_t j = 0; j < m; ++j)
        d.work[static_cast<size_t>(j)] =
            j < d.n ? in[j] * d.chirp[static_cast<size_t>(j)] : wide_complex<real>{};
    run(*d.inner, d.work.data(), spectrum.data());
    for (size_t j = 0; j < spectrum.size(); ++j) {
        const wide_complex<real> product = spectrum[j] * d.chirp_spectrum[j];
        spectrum[j] = {product.re, -product.im};
    }
    run(*d.inner, spectrum.data(), d.work.data());
    for (int64_t k = 0; k < d.n; ++k) {
        const wide_complex<real> &c = d.work[static_cast<size_t>(k)];
        out[k] = wide_complex<real>{c.re, -c.im} * d.chirp[static_cast<size_t>(k)];
    }
}

// A real-to-real kind as weight(j) * trig(2 pi a(j) b(k)/turn), a(j) = a_step*j + a_first and
// likewise b. The weights are 2, but 1 at the inputs named.
struct r2r_formula {
    int64_t turn = 1;
    int64_t a_step = 1, a_first = 0;
    int64_t b_step = 1, b_first = 0;
    bool sine = false;
    bool first_once = false, last_once = false;
};

r2r_formula formula_of(lyr_fft_r2r_kind kind, int64_t n) {
    switch (kind) {
        case LYR_FFT_REDFT00:
            return {2 * (n - 1), 1, 0, 1, 0, false, true, true};
        case LYR_FFT_REDFT01:
            return {4 * n, 1, 0, 2, 1, false, true, false};
        case LYR_FFT_REDFT10:
            return {4 * n, 2, 1, 1, 0, false, false, false};
        case LYR_FFT_REDFT11:
            return {8 * n, 2, 1, 2, 1, false, false, false};
        case LYR_FFT_RODFT00:
            return {2 * (n + 1), 1, 1, 1, 1, true, false, false};
        case LYR_FFT_RODFT01:
            return {4 * n, 1, 1, 2, 1, true, false, true};
        case LYR_FFT_RODFT10:
            return {4 * n, 2, 1, 1, 1, true, false, false};
        case LYR_FFT_RODFT11:
            return {8 * n, 2, 1, 2, 1, true, false, false};
        default:  // R2HC, HC2R, DHT: weights in r2r_weights
            return {n, 1, 0, 1, 0, false, false, false};
    }
}

// The weights of cosine and sine in output k of input j.
struct r2r_weights {
    double cosine = 0;
    double sine = 0;
};

r2r_weights weights_of(lyr_fft_r2r_kind kind, const r2r_formula &f, int64_t n, int64_t j,
                       int64_t k) {
    switch (kind) {
        case LYR_FFT_R2HC:
            // Output k > n/2 is the imaginary part of the spectrum at n-k: minus the sine there,
            // plus the sine at k.
            return k <= n / 2 ? r2r_weights{1, 0} : r2r_weights{0, 1};
        case LYR_FFT_HC2R:
            if (j == 0 || 2 * j == n) return {1, 0};
            return 2 * j < n ? r2r_weights{2, 0} : r2r_weights{0, 2};
        case LYR_FFT_DHT:
            return {1, 1};
        default:
            break;
    }
    const bool once = (f.first_once && j == 0) || (f.last_once && j == n - 1);
    const double weight = once ? 1 : 2;
    return f.sine ? r2r_weights{0, weight} : r2r_weights{weight, 0};
}

// Transforms along one dimension of any problem.
template <class real>
struct reference_line {
    bool real_to_real = false;
    lyr_fft_r2r_kind kind{};
    int64_t n = 0;
    int sign = LYR_FFT_FORWARD;
    r2r_formula formula;
    reference_dft<real> dft;  // of formula.turn points for real-to-real, of n otherwise
};

template <class real>
void prepare_line(const problem &p, int d, reference_line<real> &line) {
    line.n = p.dims[d].n;
    line.real_to_real = p.kind == transform::r2r;
    line.sign = p.kind == transform::c2c   ? p.sign
                : p.kind == transform::c2r ? LYR_FFT_BACKWARD
                                           : LYR_FFT_FORWARD;
    if (line.real_to_real) {
        line.kind = p.kinds[d];
        line.formula = formula_of(line.kind, line.n);
        prepare(line.dft, line.formula.turn);
    } else {
        prepare(line.dft, line.n);
    }
}

template <class real>
void run_r2r_direct(const reference_line<real> &line, std::vector<wide_complex<real>> &x) {
    const r2r_formula &f = line.formula;
    std::vector<wide_complex<real>> y(x.size());
    for (int64_t k = 0; k < line.n; ++k) {
        real sum{};
        for (int64_t j = 0; j < line.n; ++j) {
            const r2r_weights w = weights_of(line.kind, f, line.n, j, k);
            const int64_t angle =
                multiply_mod(f.a_step * j + f.a_first, f.b_step * k + f.b_first, f.turn);
            const wide_complex<real> &root = line.dft.roots[static_cast<size_t>(angle)];
            sum = sum + x[static_cast<size_t>(j)].re *
                            (real(w.cosine) * root.re - real(w.sine) * root.im);
        }
        y[static_cast<size_t>(k)].re = sum;
    }
    x.swap(y);
}

// The same through one transform of formula.turn points for the cosines and one for the sines:
// inputs are laid out at their a(j), outputs are found at their b(k).
template <class real>
void run_r2r_by_dft(const reference_line<real> &line, std::vector<wide_complex<real>> &x) {
    const r2r_formula &f = line.formula;
    const auto turn = static_cast<size_t>(f.turn);
    std::vector<wide_complex<real>> y(x.size());
    for (const bool sine : {false, true}) {
        std::vector<wide_complex<real>> spread(turn);
        std::vector<wide_complex<real>> spectrum(turn);
        const auto part = [sine](const r2r_weights &w) { return sine ? w.sine : w.cosine; };
        // R2HC chooses cosine or sine by output, the other kinds by input.
        const bool by_output = line.kind == LYR_FFT_R2HC;
        bool any = by_output;
        for (int64_t j = 0; j < line.n; ++j) {
            const double w = by_output ? 1 : part(weights_of(line.kind, f, line.n, j, 0));
            any = any || w != 0;
            spread[static_cast<size_t>((f.a_step * j + f.a_first) % f.turn)].re =
                x[static_cast<size_t>(j)].re * real(w);
        }
        if (!any) continue;
        run(line.dft, spread.data(), spectrum.data());
        for (int64_t k = 0; k < line.n; ++k) {
            if (by_output && part(weights_of(line.kind, f, line.n, 0, k)) == 0) continue;
            const auto at = static_cast<size_t>((f.b_step * k + f.b_first) % f.turn);
            real &out = y[static_cast<size_t>(k)].re;
            out = sine ? out - spectrum[at].im : out + spectrum[at].re;
        }
    }
    x.swap(y);
}

template <class real>
void run_line(const reference_line<real> &line, std::vector<wide_complex<real>> &x) {
    if (line.real_to_real) {
        if (line.n <= longest_direct)
            run_r2r_direct(line, x);
        else
            run_r2r_by_dft(line, x);
        return;
    }
    // Backward is forward with conjugates around it.
    const bool backward = line.sign == LYR_FFT_BACKWARD;
    if (backward)
        for (wide_complex<real> &v : x) v.im = -v.im;
    std::vector<wide_complex<real>> y(x.size());
    run(line.dft, x.data(), y.data());
    x.swap(y);
    if (backward)
        for (wide_complex<real> &v : x) v.im = -v.im;
}

// One transform: row-major data, with the input's stored lengths before and the output's after.
template <class real>
void run_transform(const problem &p, const std::vector<reference_line<real>> &lines,
                   std::vector<wide_complex<real>> &data) {
    using number = wide_complex<real>;
    int64_t length[max_rank] = {1, 1, 1};
    for (int d = 0; d < p.rank; ++d) length[d] = stored_length(p, d, side::in);
    const auto along = [&](int d) {
        int64_t outer = 1;
        int64_t inner = 1;
        for (int e = 0; e < d; ++e) outer *= length[e];
        for (int e = d + 1; e < p.rank; ++e) inner *= length[e];
        const int64_t from = length[d];
        const int64_t to = stored_length(p, d, side::out);
        const int64_t n = p.dims[d].n;
        std::vector<number> result(static_cast<size_t>(outer * to * inner));
        std::vector<number> row;
        for (int64_t i = 0; i < outer; ++i) {
            for (int64_t k = 0; k < inner; ++k) {
                row.assign(static_cast<size_t>(n), number{});
                for (int64_t j = 0; j < from; ++j) {
                    const number &v = data[static_cast<size_t>((i * from + j) * inner + k)];
                    if (p.kind == transform::c2r && d == p.rank - 1) {
                        // The other half is the mirror image; what mirrors itself is real.
                        if (j == 0 || 2 * j == n) {
                            row[static_cast<size_t>(j)] = {v.re, real{}};
                        } else {
                            row[static_cast<size_t>(j)] = v;
                            row[static_cast<size_t>(n - j)] = {v.re, -v.im};
                        }
                    } else {
                        row[static_cast<size_t>(j)] = v;
                    }
                }
                run_line(lines[static_cast<size_t>(d)], row);
                for (int64_t j = 0; j < to; ++j)
                    result[static_cast<size_t>((i * to + j) * inner + k)] =
                        row[static_cast<size_t>(j)];
            }
        }
        data.swap(result);
        length[d] = to;
    };
    // The halved dimension is the first one of r2c and the last one of c2r.
    if (p.kind == transform::c2r)
        for (int d = 0; d < p.rank; ++d) along(d);
    else
        for (int d = p.rank - 1; d >= 0; --d) along(d);
}

// Differences of one transform from what it should be.
struct deviation {
    double error_square = 0, square = 0, error_max = 0, max = 0;

    void add(double d_re, double d_im, double re, double im) {
        const double e = d_re * d_re + d_im * d_im;
        const double s = re * re + im * im;
        error_square += e;
        square += s;
        // Written so that NaN wins and stays.
        if (!std::isnan(error_max) && !(std::sqrt(e) <= error_max)) error_max = std::sqrt(e);
        if (s > max * max) max = std::sqrt(s);
    }
};

double relative(double error, double size) {
    if (error == 0) return 0;
    const double ratio = error / size;
    return std::isfinite(ratio) ? ratio : HUGE_VAL;
}

void merge(const problem &p, const deviation &d, accuracy &a) {
    const double levels = std::max(1.0, std::log2(static_cast<double>(point_count(p))));
    const double unit = 0x1p-53 * std::sqrt(levels);
    a.l2 = std::max(a.l2, relative(std::sqrt(d.error_square), std::sqrt(d.square)) / unit);
    a.linf = std::max(a.linf, relative(d.error_max, d.max));
}

template <class real>
accuracy compare(const problem &p, const buffers &b, int64_t most) {
    std::vector<reference_line<real>> lines(static_cast<size_t>(p.rank));
    for (int d = 0; d < p.rank; ++d) prepare_line(p, d, lines[static_cast<size_t>(d)]);
    std::vector<int64_t> in_starts;
    std::vector<int64_t> out_starts;
    for_each_transform(p, side::in, [&](int64_t start) { in_starts.push_back(start); });
    for_each_transform(p, side::out, [&](int64_t start) { out_starts.push_back(start); });
    const auto count = static_cast<int64_t>(in_starts.size());
    const int64_t checked = std::min(count, most);

    accuracy result;
    result.how = "reference";
    result.checked = checked;
    std::vector<wide_complex<real>> data;
    for (int64_t c = 0; c < checked; ++c) {
        const auto at = static_cast<size_t>(checked == 1 ? 0 : c * (count - 1) / (checked - 1));
        data.clear();
        for_each_element(p, side::in, [&](int64_t offset) {
            const complex_value v = load_saved_input(p, b, in_starts[at] + offset);
            data.push_back({real(v.re), real(v.im)});
        });
        run_transform(p, lines, data);
        deviation deviation;
        size_t i = 0;
        for_each_element(p, side::out, [&](int64_t offset) {
            const complex_value v = load_element(p, b, side::out, out_starts[at] + offset);
            const wide_complex<real> &r = data[i++];
            const bool complex = is_complex(p, side::out);
            const auto re = static_cast<double>(r.re);
            const double im = complex ? static_cast<double>(r.im) : 0;
            deviation.add(static_cast<double>(real(v.re) - r.re),
                          complex ? static_cast<double>(real(v.im) - r.im) : 0, re, im);
        });
        merge(p, deviation, result);
    }
    return result;
}

#if defined(__x86_64__) || defined(__i386__)
using native_real = long double;
#else
using native_real = double_double;
#endif

// Complex multiplications of one reference transform, roughly.
double reference_cost(const problem &p) {
    const auto points = static_cast<double>(point_count(p));
    double cost = 0;
    for (int d = 0; d < p.rank; ++d) {
        const int64_t n = p.dims[d].n;
        if (n <= longest_direct) {
            cost += points * static_cast<double>(n);
            continue;
        }
        const int64_t turn = p.kind == transform::r2r ? formula_of(p.kinds[d], n).turn : n;
        const double lengthening = static_cast<double>(turn) / static_cast<double>(n);
        double levels = 0;
        if (largest_prime_factor(turn) <= largest_radix) {
            for (int64_t rest = turn, f = 2; rest > 1; ++f)
                for (; rest % f == 0; rest /= f) levels += static_cast<double>(f) + 1;
        } else {
            levels = 4 * 3 * 3 * std::log2(4 * static_cast<double>(turn));
        }
        cost += points * lengthening * levels;
    }
    return std::max(cost, points);
}

// Cost of about a second in long double.
constexpr double affordable_cost = 1e8;

// exp(2 pi i k/n) for any k from two short tables.
struct turn_table {
    using number = wide_complex<native_real>;

    int64_t n = 1;
    int64_t block = 1;
    std::vector<number> fine;    // k = 0 .. block-1
    std::vector<number> coarse;  // k = 0, block, 2 block, ...
};

turn_table make_turn_table(int64_t n) {
    turn_table t;
    t.n = n;
    while (t.block * t.block < n) t.block *= 2;
    for (int64_t k = 0; k < t.block; ++k) t.fine.push_back(root_of_unity<native_real>(k, n));
    for (int64_t k = 0; k < n; k += t.block) t.coarse.push_back(root_of_unity<native_real>(k, n));
    return t;
}

// exp(2 pi i a b/n)
wide_complex<native_real> turn(const turn_table &t, int64_t a, int64_t b) {
    const int64_t k = multiply_mod(a, b, t.n);
    return t.coarse[static_cast<size_t>(k / t.block)] * t.fine[static_cast<size_t>(k % t.block)];
}

// What the structural checks know about each dimension, outermost first and filled up to three.
struct structure {
    int64_t in_length[max_rank] = {1, 1, 1};
    int64_t out_length[max_rank] = {1, 1, 1};
    int64_t n[max_rank] = {1, 1, 1};
    r2r_formula formula[max_rank];
    lyr_fft_r2r_kind kind[max_rank] = {};
    turn_table turns[max_rank];
    int first = max_rank;  // of the real dimensions
};

structure make_structure(const problem &p) {
    structure s;
    s.first = max_rank - p.rank;
    for (int d = 0; d < max_rank; ++d) {
        if (d >= s.first) {
            const int e = d - s.first;
            s.in_length[d] = stored_length(p, e, side::in);
            s.out_length[d] = stored_length(p, e, side::out);
            s.n[d] = p.dims[e].n;
            s.kind[d] = p.kinds[e];
        }
        const bool by_formula = p.kind == transform::r2r && d >= s.first;
        if (by_formula) s.formula[d] = formula_of(s.kind[d], s.n[d]);
        s.turns[d] = make_turn_table(by_formula ? s.formula[d].turn : s.n[d]);
    }
    return s;
}

// Call f(k, i) with the index triple k and the row-major index i of every output.
template <class function>
void for_each_output(const structure &s, function f) {
    int64_t k[max_rank];
    size_t i = 0;
    for (k[0] = 0; k[0] < s.out_length[0]; ++k[0])
        for (k[1] = 0; k[1] < s.out_length[1]; ++k[1])
            for (k[2] = 0; k[2] < s.out_length[2]; ++k[2]) f(k, i++);
}

// The factor of dimension d in output k of an impulse at j.
wide_complex<native_real> response(const problem &p, const structure &s, int d, int64_t j,
                                   int64_t k) {
    if (p.kind == transform::r2r && d >= s.first) {
        const r2r_formula &f = s.formula[d];
        const r2r_weights w = weights_of(s.kind[d], f, s.n[d], j, k);
        const wide_complex<native_real> root =
            turn(s.turns[d], f.a_step * j + f.a_first, f.b_step * k + f.b_first);
        return {native_real(w.cosine) * root.re + native_real(w.sine) * root.im, native_real(0.0)};
    }
    wide_complex<native_real> root = turn(s.turns[d], j, k);
    const bool backward =
        p.kind == transform::c2r || (p.kind == transform::c2c && p.sign == LYR_FFT_BACKWARD);
    if (!backward) root.im = -root.im;
    return root;
}

struct impulse {
    int64_t j[max_rank];
};

// A random place for an impulse. Half-complex inputs get it where it alone, or it and the mirror
// image that is not stored, makes a real output.
impulse random_impulse(const problem &p, const structure &s, uint64_t &state) {
    impulse place;
    for (int d = 0; d < max_rank; ++d) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        place.j[d] = static_cast<int64_t>((state >> 11) % static_cast<uint64_t>(s.in_length[d]));
    }
    if (p.kind == transform::c2r && p.rank > 0) {
        int64_t &last = place.j[max_rank - 1];
        const int64_t n = s.n[max_rank - 1];
        if (last == 0 || 2 * last == n) last = n > 2 ? 1 : 0;
        if (n <= 2) place.j[0] = place.j[1] = 0;
    }
    return place;
}

// The outputs of all transforms, batch after batch, row-major.
std::vector<complex_value> collect_outputs(const problem &p, const buffers &b) {
    std::vector<complex_value> values;
    values.reserve(static_cast<size_t>(point_count(p) * batch_count(p)));
    for_each_transform(p, side::out, [&](int64_t start) {
        for_each_element(p, side::out, [&](int64_t offset) {
            values.push_back(load_element(p, b, side::out, start + offset));
        });
    });
    return values;
}

std::vector<complex_value> collect_inputs(const problem &p, const buffers &b) {
    std::vector<complex_value> values;
    values.reserve(static_cast<size_t>(point_count(p) * batch_count(p)));
    for_each_transform(p, side::in, [&](int64_t start) {
        for_each_element(p, side::in, [&](int64_t offset) {
            values.push_back(load_saved_input(p, b, start + offset));
        });
    });
    return values;
}

void run_and_inspect(const problem &p, const buffers &b, lyr_fft_plan plan, std::string &damage) {
    lyr_fft_execute(plan);
    if (damage.empty()) damage = check_buffers(p, b);
}

// Every transform of the batch gets an impulse at a place of its own.
void check_impulses(const problem &p, const structure &s, buffers &b, lyr_fft_plan plan,
                    uint64_t &state, std::string &damage, accuracy &result) {
    clear_buffers(p, b);
    std::vector<impulse> places;
    for_each_transform(p, side::in, [&](int64_t start) {
        const impulse place = random_impulse(p, s, state);
        for (int d = s.first; d < max_rank; ++d)
            start += place.j[d] * stride(p.dims[d - s.first], side::in);
        store_element(p, b, side::in, start, {1, 0});
        places.push_back(place);
    });
    note_inputs(b);
    run_and_inspect(p, b, plan, damage);
    size_t t = 0;
    for_each_transform(p, side::out, [&](int64_t start) {
        const impulse &place = places[t++];
        const int64_t last = place.j[max_rank - 1];
        const bool doubled = p.kind == transform::c2r && last != 0 && 2 * last != s.n[max_rank - 1];
        deviation deviation;
        for_each_output(s, [&](const int64_t *k, size_t) {
            wide_complex<native_real> r = {native_real(doubled ? 2.0 : 1.0), native_real(0.0)};
            int64_t offset = start;
            for (int d = s.first; d < max_rank; ++d) {
                r = r * response(p, s, d, place.j[d], k[d]);
                offset += k[d] * stride(p.dims[d - s.first], side::out);
            }
            const complex_value v = load_element(p, b, side::out, offset);
            const bool complex = is_complex(p, side::out);
            deviation.add(static_cast<double>(native_real(v.re) - r.re),
                          complex ? static_cast<double>(native_real(v.im) - r.im) : 0,
                          static_cast<double>(r.re), complex ? static_cast<double>(r.im) : 0);
        });
        merge(p, deviation, result);
    });
}

// Compare the outputs with expected values in the order of collect_outputs.
void compare_outputs(const problem &p, const buffers &b, const std::vector<complex_value> &expected,
                     accuracy &result) {
    size_t i = 0;
    for_each_transform(p, side::out, [&](int64_t start) {
        deviation deviation;
        for_each_element(p, side::out, [&](int64_t offset) {
            const complex_value v = load_element(p, b, side::out, start + offset);
            const complex_value &e = expected[i++];
            deviation.add(v.re - e.re, v.im - e.im, e.re, e.im);
        });
        merge(p, deviation, result);
    });
}

// The inputs moved cyclically by `shift`, and the outputs turned accordingly.
void check_shift(const problem &p, const structure &s, buffers &b, lyr_fft_plan plan,
                 const std::vector<complex_value> &inputs, std::vector<complex_value> outputs,
                 const impulse &shift, std::string &damage, accuracy &result) {
    const auto points = static_cast<size_t>(s.n[0] * s.n[1] * s.n[2]);
    size_t first = 0;
    for_each_transform(p, side::in, [&](int64_t start) {
        int64_t j[max_rank];
        for (j[0] = 0; j[0] < s.n[0]; ++j[0])
            for (j[1] = 0; j[1] < s.n[1]; ++j[1])
                for (j[2] = 0; j[2] < s.n[2]; ++j[2]) {
                    int64_t from = 0;
                    int64_t offset = start;
                    for (int d = 0; d < max_rank; ++d)
                        from = from * s.n[d] + (j[d] + shift.j[d]) % s.n[d];
                    for (int d = s.first; d < max_rank; ++d)
                        offset += j[d] * stride(p.dims[d - s.first], side::in);
                    store_element(p, b, side::in, offset,
                                  inputs[first + static_cast<size_t>(from)]);
                }
        first += points;
    });
    note_inputs(b);
    run_and_inspect(p, b, plan, damage);
    const auto stored = static_cast<size_t>(s.out_length[0] * s.out_length[1] * s.out_length[2]);
    for (size_t t = 0; t < outputs.size(); t += stored) {
        for_each_output(s, [&](const int64_t *k, size_t i) {
            complex_value &v = outputs[t + i];
            wide_complex<native_real> r = {native_real(v.re), native_real(v.im)};
            for (int d = s.first; d < max_rank; ++d) {
                wide_complex<native_real> factor = response(p, s, d, shift.j[d], k[d]);
                factor.im = -factor.im;
                r = r * factor;
            }
            v = {static_cast<double>(r.re), static_cast<double>(r.im)};
        });
    }
    compare_outputs(p, b, outputs, result);
}

}  // namespace

accuracy check_structure(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed,
                         std::string &damage) {
    accuracy result;
    result.how = "structure";
    result.checked = batch_count(p);
    const structure s = make_structure(p);
    uint64_t state = seed;
    // Real-to-real transforms have no simple shift; more impulses make up for it.
    const bool shifts = p.kind == transform::c2c || p.kind == transform::r2c;
    for (int i = 0; i < (shifts ? 2 : 6); ++i) check_impulses(p, s, b, plan, state, damage, result);

    fill_buffers(p, seed, b);
    const std::vector<complex_value> inputs = collect_inputs(p, b);
    run_and_inspect(p, b, plan, damage);
    std::vector<complex_value> outputs = collect_outputs(p, b);
    fill_buffers(p, seed + 1, b);
    if (shifts)
        check_shift(p, s, b, plan, inputs, outputs, random_impulse(p, s, state), damage, result);

    fill_buffers(p, seed + 2, b);
    run_and_inspect(p, b, plan, damage);
    size_t i = 0;
    for_each_transform(p, side::out, [&](int64_t start) {
        for_each_element(p, side::out, [&](int64_t offset) {
            const complex_value v = load_element(p, b, side::out, start + offset);
            outputs[i].re += v.re;
            outputs[i++].im += v.im;
        });
    });
    // The sum of two inputs is exact: both are multiples of 2^-53 and at most 1/2.
    fill_buffers(p, seed + 2, b);
    i = 0;
    for_each_transform(p, side::in, [&](int64_t start) {
        for_each_element(p, side::in, [&](int64_t offset) {
            const complex_value v = load_saved_input(p, b, start + offset);
            const complex_value &w = inputs[i++];
            store_element(p, b, side::in, start + offset, {v.re + w.re, v.im + w.im});
        });
    });
    note_inputs(b);
    run_and_inspect(p, b, plan, damage);
    compare_outputs(p, b, outputs, result);
    return result;
}

bool reference_is_affordable(const problem &p) {
    return reference_cost(p) <= affordable_cost;
}

accuracy compare_with_reference(const problem &p, const buffers &b, precision arithmetic) {
    const int64_t most = std::max(
        int64_t{2}, static_cast<int64_t>(std::min(affordable_cost / reference_cost(p), 1e15)));
    switch (arithmetic) {
        case precision::extended:
            return compare<long double>(p, b, most);
        case precision::double_double:
            return compare<double_double>(p, b, most);
        case precision::native:
            break;
    }
    return compare<native_real>(p, b, most);
}

int64_t largest_prime(const problem &p) {
    int64_t largest = 1;
    for (int d = 0; d < p.rank; ++d) {
        const int64_t n = p.dims[d].n;
        const int64_t turn = p.kind == transform::r2r ? formula_of(p.kinds[d], n).turn : n;
        largest = std::max(largest, largest_prime_factor(turn));
    }
    return largest;
}

double l2_bound(const problem &p) {
    if (p.rank == 0) return 0;
    // Few roundings vary more: the measure is an average over the outputs.
    if (point_count(p) < 8) return 1.5;
    const int64_t prime = largest_prime(p);
    return prime <= 7 ? 1.1 : prime <= 37 ? 1.2 : 1.8;
}

verdict verify(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed) {
    verdict v;
    v.bound = l2_bound(p);
    fill_buffers(p, seed, b);
    run_and_inspect(p, b, plan, v.damage);
    if (reference_is_affordable(p)) {
        v.error = compare_with_reference(p, b);
    } else {
        v.error = check_structure(p, b, plan, seed, v.damage);
        // Both sides of these comparisons carry rounding errors.
        v.bound *= 2;
    }
    v.ok = v.damage.empty() && v.error.l2 <= v.bound;
    return v;
}

}  // namespace lyr_tools
