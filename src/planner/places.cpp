#include "planner/places.h"

namespace lyr {

namespace {

// ---- Equations ----------------------------------------------------------------------------------

// step * x for low <= x <= high.
struct term {
    int64_t step, low, high;
    bool shared;  // one of two whose sum has a bound, see `equation`
};

// Seven for each side of a problem (three dimensions, three of the batch, two parts of a complex
// number), one more for the shared pair.
constexpr int most_terms = 16;
constexpr int64_t most_steps = 10000;

// sum of the terms = target, where the shared terms, if any, add up to shared_limit at most.
struct equation {
    term terms[most_terms];
    int count;
    int64_t target, shared_limit;
};

int64_t magnitude(int64_t a) {
    return a < 0 ? -a : a;
}

void add(equation &e, int64_t step, int64_t low, int64_t high) {
    if (low == high) {
        e.target -= step * low;
        return;
    }
    if (step < 0) {
        const int64_t least = -high;
        step = -step;
        high = -low;
        low = least;
    }
    for (int k = 0; k < e.count; ++k)
        if (e.terms[k].step == step && !e.terms[k].shared) {
            e.terms[k].low += low;
            e.terms[k].high += high;
            return;
        }
    if (step != 0) e.terms[e.count++] = {step, low, high, false};
}

void add_shared(equation &e, int64_t step, int64_t low, int64_t high) {
    e.terms[e.count++] = {step, low, high, true};
}

int64_t floor_of_ratio(int64_t a, int64_t b) {
    return a / b - (a % b != 0 && (a < 0) != (b < 0));
}
int64_t ceiling_of_ratio(int64_t a, int64_t b) {
    return -floor_of_ratio(-a, b);
}

int64_t greatest_divisor(int64_t a, int64_t b) {
    while (b != 0) {
        const int64_t rest = a % b;
        a = b;
        b = rest;
    }
    return magnitude(a);
}

// The x of a x = 1 modulo m, for coprime a and m.
int64_t inverse_modulo(int64_t a, int64_t m) {
    int64_t r = m, next_r = (a % m + m) % m, x = 0, next_x = 1;
    while (next_r != 0) {
        const int64_t q = r / next_r, rest = r - q * next_r, x2 = x - q * next_x;
        r = next_r;
        next_r = rest;
        x = next_x;
        next_x = x2;
    }
    return (x % m + m) % m;
}

// The values first, first + step, .. of one index that leave a multiple of `divisor` for the rest.
struct candidates {
    int64_t first, step;  // step 0: none
};

candidates find_candidates(int64_t step, int64_t target, int64_t divisor, int64_t low) {
    const int64_t common = greatest_divisor(step, divisor), m = divisor / common;
    if (target % common != 0) return {0, 0};
    // Beyond this, products could overflow: all values are tried.
    if (m > INT32_MAX) return {low, 1};
    const int64_t goal = (target / common % m + m) % m;
    const int64_t root = goal * inverse_modulo(step / common, m) % m;
    return {low + ((root - low) % m + m) % m, m};
}

struct search {
    const equation *e;
    // What the terms from k on can add up to, and the divisor of all their sums.
    int64_t low[most_terms + 1], high[most_terms + 1], divisor[most_terms + 1];
    int64_t steps;  // left
};

// shared: the sum of the shared terms so far.
bool reaches(search &s, int k, int64_t target, int64_t shared) {
    if (k == s.e->count) return target == 0;
    if (--s.steps < 0) return true;
    if (target < s.low[k] || target > s.high[k]) return false;
    const term t = s.e->terms[k];
    const int64_t most = target - s.low[k + 1], least = target - s.high[k + 1];
    int64_t low = ceiling_of_ratio(t.step > 0 ? least : most, t.step);
    int64_t high = floor_of_ratio(t.step > 0 ? most : least, t.step);
    if (low < t.low) low = t.low;
    if (high > t.high) high = t.high;
    if (t.shared && high > s.e->shared_limit - shared) high = s.e->shared_limit - shared;
    if (low > high) return false;
    candidates c = {low, 1};
    if (k + 1 < s.e->count) c = find_candidates(t.step, target, s.divisor[k + 1], low);
    if (c.step == 0) return false;
    for (int64_t x = c.first; x <= high; x += c.step) {
        if (reaches(s, k + 1, target - t.step * x, t.shared ? shared + x : shared)) return true;
        if (s.steps < 0) return true;
    }
    return false;
}

bool goes_before(const term &a, const term &b) {
    return magnitude(a.step) > magnitude(b.step);
}

// Large steps first: they leave least to choose. But the two parts of a complex number go before
// them: once these are settled, all the others often have a common divisor.
void sort_terms(equation &e) {
    for (int k = 1; k < e.count; ++k)
        for (int j = k; j > 0 && goes_before(e.terms[j], e.terms[j - 1]); --j) {
            const term t = e.terms[j];
            e.terms[j] = e.terms[j - 1];
            e.terms[j - 1] = t;
        }
    if (e.count < 1) return;
    const term last = e.terms[e.count - 1];
    if (last.step != 1 || last.shared || last.high - last.low > 2) return;
    for (int k = e.count - 1; k > 0; --k) e.terms[k] = e.terms[k - 1];
    e.terms[0] = last;
}

// Whether the equation has a solution; also true when that takes too long to tell.
bool has_solution(equation &e) {
    sort_terms(e);
    search s;
    s.e = &e;
    s.steps = most_steps;
    s.low[e.count] = s.high[e.count] = s.divisor[e.count] = 0;
    for (int k = e.count - 1; k >= 0; --k) {
        const term t = e.terms[k];
        const int64_t a = t.step * t.low, b = t.step * t.high;
        s.low[k] = s.low[k + 1] + (a < b ? a : b);
        s.high[k] = s.high[k + 1] + (a < b ? b : a);
        s.divisor[k] = greatest_divisor(t.step, s.divisor[k + 1]);
    }
    return reaches(s, 0, e.target, 0);
}

// ---- Places -------------------------------------------------------------------------------------

// The dimensions of one side, the batch first, in doubles.
struct side {
    struct axis {
        int64_t n, step;
    } axes[7];
    int count, batch;
};

enum class which { input, output };

side side_of(const plan *p, which w) {
    const bool input = w == which::input;
    const int64_t width =
        p->split == 1 ? 1
                      : (input ? input_element_bytes(p) : output_element_bytes(p)) / scalar_bytes;
    const bool half = p->kind == (input ? kind_c2r : kind_r2c);
    side s = {};
    for (int k = 0; k < p->howmany_rank; ++k) {
        const lyr_fft_iodim64 &d = p->howmany_dims[k];
        s.axes[s.count++] = {d.n, (d.n > 1 ? input ? d.is : d.os : 0) * width};
    }
    s.batch = s.count;
    for (int k = 0; k < p->rank; ++k) {
        const lyr_fft_iodim64 &d = p->dims[k];
        const int64_t n = half && k == p->rank - 1 ? d.n / 2 + 1 : d.n;
        s.axes[s.count++] = {n, (n > 1 ? input ? d.is : d.os : 0) * width};
    }
    if (width == 2) s.axes[s.count++] = {2, 1};
    return s;
}

// Adds the places of a side from axis `first` on, with the factor +1 or -1.
void add_places(equation &e, const side &s, int first, int64_t factor) {
    for (int k = first; k < s.count; ++k) add(e, factor * s.axes[k].step, 0, s.axes[k].n - 1);
}

// Whether each axis steps over all that shorter steps reach: then no places are shared. Quick.
bool nests(side s) {
    int64_t reach = 0;
    for (int k = 0; k < s.count; ++k) {
        int least = k;
        for (int j = k + 1; j < s.count; ++j)
            if (s.axes[j].step < s.axes[least].step) least = j;
        const side::axis a = s.axes[least];
        s.axes[least] = s.axes[k];
        s.axes[k] = a;
        if (a.n == 1) continue;
        if (a.step <= reach) return false;
        reach += (a.n - 1) * a.step;
    }
    return true;
}

// From the first to the last place of one transform.
int64_t reach_of(const side &s) {
    int64_t reach = 0;
    for (int k = 1; k < s.count; ++k) reach += (s.axes[k].n - 1) * s.axes[k].step;
    return reach;
}

bool are_alike(const side &a, const side &b) {
    if (a.count != b.count) return false;
    for (int k = 0; k < a.count; ++k)
        if (a.axes[k].n != b.axes[k].n || a.axes[k].step != b.axes[k].step) return false;
    return true;
}

// Whether two elements of one array share a place: a difference of their indices is a solution, of
// which the first number that is not zero is positive.
bool overlaps_itself(const side &s) {
    if (nests(s)) return false;
    for (int k = 0; k < s.count; ++k) {
        if (s.axes[k].n == 1) continue;
        equation e = {};
        add(e, s.axes[k].step, 1, s.axes[k].n - 1);
        for (int j = k + 1; j < s.count; ++j)
            add(e, s.axes[j].step, 1 - s.axes[j].n, s.axes[j].n - 1);
        if (has_solution(e)) return true;
    }
    return false;
}

struct arrays {
    const scalar *of[2];
};

arrays arrays_of(const plan *p, which w) {
    return w == which::input ? arrays{{p->in, p->in_imag}} : arrays{{p->out, p->out_imag}};
}

// From array a to array b, in doubles. Arrays that are not doubles apart are taken for separate.
struct distance {
    int64_t doubles;
    bool apart;
};

distance distance_of(const scalar *a, const scalar *b) {
    const auto bytes =
        static_cast<int64_t>(reinterpret_cast<uintptr_t>(b) - reinterpret_cast<uintptr_t>(a));
    return {bytes / scalar_bytes,
            bytes % scalar_bytes != 0 || magnitude(bytes / scalar_bytes) > INT64_MAX / 16};
}

// Whether transform i, by the batch indices, has an element of side a on an element of side b of
// transform j, where i and j are alike in the batch dimensions before `m` and i < j in dimension m;
// backward: i > j. The batch dimensions after m take any value.
bool meet(const side &a, const side &b, int64_t from_a_to_b, int m, bool backward) {
    const int64_t n = a.axes[m].n, step_a = a.axes[m].step, step_b = b.axes[m].step;
    if (n == 1) return false;
    equation e = {};
    e.target = from_a_to_b;
    for (int k = 0; k < m; ++k) add(e, a.axes[k].step - b.axes[k].step, 0, a.axes[k].n - 1);
    add_places(e, a, m + 1, +1);
    add_places(e, b, m + 1, -1);
    // Index i (or j) of the earlier one, and the difference of at least 1.
    const int64_t difference = backward ? step_a : -step_b;
    if (step_a == step_b) {
        add(e, difference, 1, n - 1);
    } else {
        add_shared(e, step_a - step_b, 0, n - 2);
        add_shared(e, difference, 1, n - 1);
        e.shared_limit = n - 1;
    }
    return has_solution(e);
}

// The same for all arrays of the sides.
bool any_meet(const plan *p, which wa, which wb, int m, bool backward) {
    const side a = side_of(p, wa), b = side_of(p, wb);
    const arrays of_a = arrays_of(p, wa), of_b = arrays_of(p, wb);
    const int split = p->split == 1 ? 2 : 1;
    for (int i = 0; i < split; ++i)
        for (int j = 0; j < split; ++j) {
            if (i > 0 && !of_a.of[i]) continue;
            if (j > 0 && !of_b.of[j]) continue;
            const distance d = distance_of(of_a.of[i], of_b.of[j]);
            if (!d.apart && meet(a, b, d.doubles, m, backward)) return true;
        }
    return false;
}

bool overlap(const plan *p, which w) {
    const side s = side_of(p, w);
    if (overlaps_itself(s)) return true;
    const arrays of = arrays_of(p, w);
    if (p->split != 1 || !of.of[0] || !of.of[1]) return false;
    const distance d = distance_of(of.of[0], of.of[1]);
    if (d.apart) return false;
    equation e = {};
    e.target = d.doubles;
    add_places(e, s, 0, +1);
    add_places(e, s, 0, -1);
    return has_solution(e);
}

}  // namespace

bool is_in_place(const plan *p) {
    if (p->out == p->in) return true;
    if (p->split != 1) return false;
    const bool crossed = p->in_imag && p->out == p->in_imag;
    return crossed || (p->out_imag && (p->out_imag == p->in || p->out_imag == p->in_imag));
}

bool outputs_overlap(const plan *p) {
    return overlap(p, which::output);
}

bool inputs_overlap(const plan *p) {
    return overlap(p, which::input);
}

bool works_one_by_one(const plan *p, batch_order order) {
    if (p->howmany_rank < 1) return false;
    if (!is_in_place(p) || p->howmany_dims[0].n == 1) return true;
    const side in = side_of(p, which::input), out = side_of(p, which::output);
    const int64_t step = in.axes[0].step;
    if (step != out.axes[0].step) return false;
    // The usual cases: transforms that lie apart, or results where the input was.
    if (p->split != 1 && reach_of(in) < step && reach_of(out) < step) return true;
    if (p->split != 1 && are_alike(in, out) && nests(in)) return true;
    // Some solvers use the places of a transform's input on the way.
    const int directions = order == batch_order::any ? 2 : 1;
    for (int k = 0; k < directions; ++k)
        if (any_meet(p, which::output, which::input, 0, k == 1)) return false;
    return !any_meet(p, which::input, which::input, 0, false);
}

int walkable_dimensions(const plan *p) {
    int walkable = 0;
    while (walkable < p->howmany_rank && !any_meet(p, which::output, which::input, walkable, false))
        ++walkable;
    return walkable;
}

}  // namespace lyr
