#include "reference.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "r2r_formula.h"
#include "wide_arithmetic.h"

namespace lyr_tools {

namespace {

// Up to this length every output is summed term by term.
constexpr int64_t longest_direct = 128;
// Up to this prime factor the mixed-radix algorithm is used.
constexpr int64_t largest_radix = 128;

// Forward transforms of one length.
struct reference_dft {
    int64_t n = 0;
    std::vector<wide_complex> roots;           // exp(-2 pi i k/n)
    std::unique_ptr<reference_dft> inner;      // chirp only: the length of the convolution
    std::vector<wide_complex> chirp;           // exp(-pi i k^2/n)
    std::vector<wide_complex> chirp_spectrum;  // of its conjugate, wrapped around, over the length
    mutable std::vector<wide_complex> work, terms;  // scratch
};

void run(const reference_dft &d, const wide_complex *in, wide_complex *out);

void prepare(reference_dft &d, int64_t n) {
    d.n = n;
    const auto size = static_cast<size_t>(n);
    d.roots.resize(size);
    for (int64_t k = 0; k <= n / 2; ++k) {
        const wide_complex w = root_of_unity(k, n);
        d.roots[static_cast<size_t>(k)] = {w.re, -w.im};
        if (k != 0) d.roots[static_cast<size_t>(n - k)] = w;
    }
    d.terms.resize(largest_radix);
    if (n <= longest_direct || largest_prime_factor(n) <= largest_radix) return;

    int64_t m = 1;
    while (m < 2 * n - 1) m *= 2;
    d.inner = std::make_unique<reference_dft>();
    prepare(*d.inner, m);
    d.chirp.resize(size);
    d.work.resize(static_cast<size_t>(m));
    d.chirp_spectrum.resize(static_cast<size_t>(m));
    for (int64_t k = 0; k < n; ++k) {
        const wide_complex w = root_of_unity(multiply_mod(k, k, 2 * n), 2 * n);
        d.chirp[static_cast<size_t>(k)] = {w.re, -w.im};
        const wide_complex scaled = {w.re / static_cast<double>(m), w.im / static_cast<double>(m)};
        d.work[static_cast<size_t>(k)] = scaled;
        d.work[static_cast<size_t>(k == 0 ? 0 : m - k)] = scaled;
    }
    run(*d.inner, d.work.data(), d.chirp_spectrum.data());
}

// The n-th part of a transform: in[0], in[step], ... into out[0 .. n-1]; n*step is the length.
void run_radix(const reference_dft &d, int64_t n, int64_t step, const wide_complex *in,
               wide_complex *out) {
    int64_t radix = 2;
    while (n % radix != 0) ++radix;
    if (n <= 8 || radix == n) {
        for (int64_t k = 0; k < n; ++k) {
            wide_complex sum = in[0];
            for (int64_t j = 1; j < n; ++j)
                sum = sum + in[j * step] * d.roots[static_cast<size_t>(j * k % n * step)];
            out[k] = sum;
        }
        return;
    }
    const int64_t part = n / radix;
    for (int64_t j = 0; j < radix; ++j)
        run_radix(d, part, step * radix, in + j * step, out + j * part);
    wide_complex *terms = d.terms.data();
    for (int64_t k = 0; k < part; ++k) {
        for (int64_t j = 0; j < radix; ++j)
            terms[j] = out[j * part + k] * d.roots[static_cast<size_t>(j * k * step)];
        for (int64_t q = 0; q < radix; ++q) {
            wide_complex sum = terms[0];
            for (int64_t j = 1; j < radix; ++j)
                sum = sum + terms[j] * d.roots[static_cast<size_t>(j * q % radix * part * step)];
            out[q * part + k] = sum;
        }
    }
}

void run(const reference_dft &d, const wide_complex *in, wide_complex *out) {
    if (d.n <= longest_direct) {
        for (int64_t k = 0; k < d.n; ++k) {
            wide_complex sum;
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
    std::vector<wide_complex> spectrum(d.work.size());
    for (int64_t j = 0; j < m; ++j)
        d.work[static_cast<size_t>(j)] =
            j < d.n ? in[j] * d.chirp[static_cast<size_t>(j)] : wide_complex{};
    run(*d.inner, d.work.data(), spectrum.data());
    for (size_t j = 0; j < spectrum.size(); ++j) {
        const wide_complex product = spectrum[j] * d.chirp_spectrum[j];
        spectrum[j] = {product.re, -product.im};
    }
    run(*d.inner, spectrum.data(), d.work.data());
    for (int64_t k = 0; k < d.n; ++k) {
        const wide_complex &c = d.work[static_cast<size_t>(k)];
        out[k] = wide_complex{c.re, -c.im} * d.chirp[static_cast<size_t>(k)];
    }
}

// Transforms along one dimension of any problem.
struct reference_line {
    bool real_to_real = false;
    lyr_fft_r2r_kind kind{};
    int64_t n = 0;
    int sign = LYR_FFT_FORWARD;
    r2r_formula formula;
    reference_dft dft;  // of formula.turn points for real-to-real, of n otherwise
};

void prepare_line(const problem &p, int d, reference_line &line) {
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

void run_r2r_direct(const reference_line &line, std::vector<wide_complex> &x) {
    const r2r_formula &f = line.formula;
    std::vector<wide_complex> y(x.size());
    for (int64_t k = 0; k < line.n; ++k) {
        real sum{};
        for (int64_t j = 0; j < line.n; ++j) {
            const r2r_weights w = weights_of(line.kind, f, line.n, j, k);
            const int64_t angle =
                multiply_mod(f.a_step * j + f.a_first, f.b_step * k + f.b_first, f.turn);
            const wide_complex &root = line.dft.roots[static_cast<size_t>(angle)];
            sum = sum + x[static_cast<size_t>(j)].re *
                            (real(w.cosine) * root.re - real(w.sine) * root.im);
        }
        y[static_cast<size_t>(k)].re = sum;
    }
    x.swap(y);
}

// The same through one transform of formula.turn points for the cosines and one for the sines:
// inputs are laid out at their a(j), outputs are found at their b(k).
void run_r2r_by_dft(const reference_line &line, std::vector<wide_complex> &x) {
    const r2r_formula &f = line.formula;
    const auto turn = static_cast<size_t>(f.turn);
    std::vector<wide_complex> y(x.size());
    for (const bool sine : {false, true}) {
        std::vector<wide_complex> spread(turn);
        std::vector<wide_complex> spectrum(turn);
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

void run_line(const reference_line &line, std::vector<wide_complex> &x) {
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
        for (wide_complex &v : x) v.im = -v.im;
    std::vector<wide_complex> y(x.size());
    run(line.dft, x.data(), y.data());
    x.swap(y);
    if (backward)
        for (wide_complex &v : x) v.im = -v.im;
}

// One transform: row-major data, with the input's stored lengths before and the output's after.
void run_transform(const problem &p, const std::vector<reference_line> &lines,
                   std::vector<wide_complex> &data) {
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
        std::vector<wide_complex> result(static_cast<size_t>(outer * to * inner));
        std::vector<wide_complex> row;
        for (int64_t i = 0; i < outer; ++i) {
            for (int64_t k = 0; k < inner; ++k) {
                row.assign(static_cast<size_t>(n), wide_complex{});
                for (int64_t j = 0; j < from; ++j) {
                    const wide_complex &v = data[static_cast<size_t>((i * from + j) * inner + k)];
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

}  // namespace

bool reference_is_affordable(const problem &p) {
    return reference_cost(p) <= affordable_cost;
}

accuracy compare_with_reference(const problem &p, const buffers &b) {
    const int64_t most = std::max(
        int64_t{2}, static_cast<int64_t>(std::min(affordable_cost / reference_cost(p), 1e15)));
    std::vector<reference_line> lines(static_cast<size_t>(p.rank));
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
    std::vector<wide_complex> data;
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
            const wide_complex &r = data[i++];
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

}  // namespace lyr_tools
