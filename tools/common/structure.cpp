#include "structure.h"

#include <cmath>
#include <vector>

#include "r2r_formula.h"
#include "wide_arithmetic.h"

namespace lyr_tools {

namespace {

// exp(2 pi i k/n) for any k from two short tables.
struct turn_table {
    int64_t n = 1;
    int64_t block = 1;
    std::vector<wide_complex> fine;    // k = 0 .. block-1
    std::vector<wide_complex> coarse;  // k = 0, block, 2 block, ...
};

turn_table make_turn_table(int64_t n) {
    turn_table t;
    t.n = n;
    while (t.block * t.block < n) t.block *= 2;
    for (int64_t k = 0; k < t.block; ++k) t.fine.push_back(root_of_unity(k, n));
    for (int64_t k = 0; k < n; k += t.block) t.coarse.push_back(root_of_unity(k, n));
    return t;
}

// exp(2 pi i a b/n)
wide_complex turn(const turn_table &t, int64_t a, int64_t b) {
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
wide_complex response(const problem &p, const structure &s, int d, int64_t j, int64_t k) {
    if (p.kind == transform::r2r && d >= s.first) {
        const r2r_formula &f = s.formula[d];
        const r2r_weights w = weights_of(s.kind[d], f, s.n[d], j, k);
        const wide_complex root =
            turn(s.turns[d], f.a_step * j + f.a_first, f.b_step * k + f.b_first);
        return {real(w.cosine) * root.re + real(w.sine) * root.im, real(0.0)};
    }
    wide_complex root = turn(s.turns[d], j, k);
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
            wide_complex r = {real(doubled ? 2.0 : 1.0), real(0.0)};
            int64_t offset = start;
            for (int d = s.first; d < max_rank; ++d) {
                r = r * response(p, s, d, place.j[d], k[d]);
                offset += k[d] * stride(p.dims[d - s.first], side::out);
            }
            const complex_value v = load_element(p, b, side::out, offset);
            const bool complex = is_complex(p, side::out);
            deviation.add(static_cast<double>(real(v.re) - r.re),
                          complex ? static_cast<double>(real(v.im) - r.im) : 0,
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
            wide_complex r = {real(v.re), real(v.im)};
            for (int d = s.first; d < max_rank; ++d) {
                wide_complex factor = response(p, s, d, shift.j[d], k[d]);
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
    // The sum of two inputs is exact: both are multiples of epsilon/2 and at most 1/2.
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

}  // namespace lyr_tools
