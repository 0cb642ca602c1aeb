// Constructor calls with any arguments. A call that the header refuses gives no plan, and quickly.
// Problems that are small run on arrays that begin, and again on arrays that end, at the border of
// a page: results are those of the reference, the same bits at both places, and nothing else
// changes.
//
// LYRA_FUZZ_VERBOSE=1 prints every call before it is made; LYRA_FUZZ_SKIP leaves some out.
#include <sys/resource.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "buffers.h"
#include "codelets/select.h"
#include "decode.h"
#include "fenced.h"
#include "reference.h"
#include "verdict.h"

namespace {

// Larger blocks than any problem that is run needs are refused, so that planning is quick.
constexpr size_t largest_block = 1 << 20;

// Only while a constructor is at work.
bool watching = false;
int64_t until_failure = -1;
bool failed = false;

bool fails(size_t bytes) {
    if (!watching) return false;
    if (bytes <= largest_block && (until_failure < 0 || until_failure-- != 0)) return false;
    failed = true;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1:detect_stack_use_after_return=0";
}

extern "C" {
void *__real_malloc(size_t bytes);
void *__real_calloc(size_t count, size_t bytes);
void *__wrap_malloc(size_t bytes) {
    return fails(bytes) ? nullptr : __real_malloc(bytes);
}
void *__wrap_calloc(size_t count, size_t bytes) {
    return fails(count * bytes) ? nullptr : __real_calloc(count, bytes);
}
}

namespace lyr_fuzz {
namespace {

using lyr_tools::buffers;
using lyr_tools::problem;
using lyr_tools::side;
using lyr_tools::transform;

constexpr int64_t most_points = 1024;  // of a batch that is run

[[noreturn]] void report(const call &c, const problem *p, const char *what) {
    std::fprintf(stderr, "finding: %s\n", what);
    if (p != nullptr) std::fprintf(stderr, "problem: %s\n", format_problem(*p).c_str());
    print_call(c);
    std::abort();
}

struct arrays {
    double *in[2];
    double *out[2];

    lyr_fft_complex *complex_in() const { return reinterpret_cast<lyr_fft_complex *>(in[0]); }
    lyr_fft_complex *complex_out() const { return reinterpret_cast<lyr_fft_complex *>(out[0]); }
};

lyr_fft_plan plan_basic(const call &c, const arrays &a, const int *n,
                        const lyr_fft_r2r_kind *kinds) {
    switch (c.kind) {
        case transform::c2c:
            return lyr_fft_plan_dft(c.rank, n, a.complex_in(), a.complex_out(), c.sign, 0);
        case transform::r2c:
            return lyr_fft_plan_dft_r2c(c.rank, n, a.in[0], a.complex_out(), 0);
        case transform::c2r:
            return lyr_fft_plan_dft_c2r(c.rank, n, a.complex_in(), a.out[0], 0);
        case transform::r2r:
            break;
    }
    return lyr_fft_plan_r2r(c.rank, n, a.in[0], a.out[0], kinds, 0);
}

lyr_fft_plan plan_many(const call &c, const arrays &a, const int *n,
                       const lyr_fft_r2r_kind *kinds) {
    const int last = std::clamp(c.rank, 1, 3) - 1;
    const int *inembed = c.inembed ? c.in_extent : nullptr;
    const int *onembed = c.onembed ? c.out_extent : nullptr;
    const int is = static_cast<int>(c.dims[last].is), os = static_cast<int>(c.dims[last].os);
    const int howmany = static_cast<int>(c.batch[0].n);
    const int idist = static_cast<int>(c.batch[0].is), odist = static_cast<int>(c.batch[0].os);
    switch (c.kind) {
        case transform::c2c:
            return lyr_fft_plan_many_dft(c.rank, n, howmany, a.complex_in(), inembed, is, idist,
                                         a.complex_out(), onembed, os, odist, c.sign, 0);
        case transform::r2c:
            return lyr_fft_plan_many_dft_r2c(c.rank, n, howmany, a.in[0], inembed, is, idist,
                                             a.complex_out(), onembed, os, odist, 0);
        case transform::c2r:
            return lyr_fft_plan_many_dft_c2r(c.rank, n, howmany, a.complex_in(), inembed, is, idist,
                                             a.out[0], onembed, os, odist, 0);
        case transform::r2r:
            break;
    }
    return lyr_fft_plan_many_r2r(c.rank, n, howmany, a.in[0], inembed, is, idist, a.out[0], onembed,
                                 os, odist, kinds, 0);
}

lyr_fft_plan plan_guru(const call &c, const arrays &a, const lyr_fft_iodim *dims,
                       const lyr_fft_iodim *batch, const lyr_fft_r2r_kind *kinds) {
    switch (c.kind) {
        case transform::c2c:
            if (c.split)
                return lyr_fft_plan_guru_split_dft(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                   a.in[1], a.out[0], a.out[1], 0);
            return lyr_fft_plan_guru_dft(c.rank, dims, c.batch_rank, batch, a.complex_in(),
                                         a.complex_out(), c.sign, 0);
        case transform::r2c:
            if (c.split)
                return lyr_fft_plan_guru_split_dft_r2c(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                       a.out[0], a.out[1], 0);
            return lyr_fft_plan_guru_dft_r2c(c.rank, dims, c.batch_rank, batch, a.in[0],
                                             a.complex_out(), 0);
        case transform::c2r:
            if (c.split)
                return lyr_fft_plan_guru_split_dft_c2r(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                       a.in[1], a.out[0], 0);
            return lyr_fft_plan_guru_dft_c2r(c.rank, dims, c.batch_rank, batch, a.complex_in(),
                                             a.out[0], 0);
        case transform::r2r:
            break;
    }
    return lyr_fft_plan_guru_r2r(c.rank, dims, c.batch_rank, batch, a.in[0], a.out[0], kinds, 0);
}

lyr_fft_plan plan_guru64(const call &c, const arrays &a, const lyr_fft_iodim64 *dims,
                         const lyr_fft_iodim64 *batch, const lyr_fft_r2r_kind *kinds) {
    switch (c.kind) {
        case transform::c2c:
            if (c.split)
                return lyr_fft_plan_guru64_split_dft(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                     a.in[1], a.out[0], a.out[1], 0);
            return lyr_fft_plan_guru64_dft(c.rank, dims, c.batch_rank, batch, a.complex_in(),
                                           a.complex_out(), c.sign, 0);
        case transform::r2c:
            if (c.split)
                return lyr_fft_plan_guru64_split_dft_r2c(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                         a.out[0], a.out[1], 0);
            return lyr_fft_plan_guru64_dft_r2c(c.rank, dims, c.batch_rank, batch, a.in[0],
                                               a.complex_out(), 0);
        case transform::c2r:
            if (c.split)
                return lyr_fft_plan_guru64_split_dft_c2r(c.rank, dims, c.batch_rank, batch, a.in[0],
                                                         a.in[1], a.out[0], 0);
            return lyr_fft_plan_guru64_dft_c2r(c.rank, dims, c.batch_rank, batch, a.complex_in(),
                                               a.out[0], 0);
        case transform::r2r:
            break;
    }
    return lyr_fft_plan_guru64_r2r(c.rank, dims, c.batch_rank, batch, a.in[0], a.out[0], kinds, 0);
}

lyr_fft_plan make_plan(const call &c, const arrays &a) {
    int n[3];
    lyr_fft_iodim dims[3], batch[3];
    for (int d = 0; d < 3; ++d) {
        n[d] = static_cast<int>(c.dims[d].n);
        dims[d] = {n[d], static_cast<int>(c.dims[d].is), static_cast<int>(c.dims[d].os)};
        batch[d] = {static_cast<int>(c.batch[d].n), static_cast<int>(c.batch[d].is),
                    static_cast<int>(c.batch[d].os)};
    }
    static_assert(sizeof(lyr_fft_r2r_kind) == sizeof c.kinds[0]);
    const auto *k = c.null_kinds ? nullptr : reinterpret_cast<const lyr_fft_r2r_kind *>(c.kinds);
    switch (c.how) {
        case form::basic:
            return plan_basic(c, a, c.null_dims ? nullptr : n, k);
        case form::many:
            return plan_many(c, a, c.null_dims ? nullptr : n, k);
        case form::guru:
            return plan_guru(c, a, c.null_dims ? nullptr : dims, c.null_batch ? nullptr : batch, k);
        case form::guru64:
            break;
    }
    return plan_guru64(c, a, c.null_dims ? nullptr : c.dims, c.null_batch ? nullptr : c.batch, k);
}

// Seconds that this thread has computed.
double thread_seconds() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

lyr_fft_plan plan_watched(const call &c, const arrays &a) {
    until_failure = c.failure;
    failed = false;
    watching = true;
    const double start = thread_seconds();
    const lyr_fft_plan plan = make_plan(c, a);
    const double seconds = thread_seconds() - start;
    watching = false;
    // With sanitizers, on whatever runs besides.
    if (plan == nullptr && seconds > 1) report(c, nullptr, "refused slowly");
    if (plan != nullptr && claim_of(c) == claim::refused) report(c, nullptr, "not refused");
    return plan;
}

// Arrays that a constructor must not touch.
arrays untouchable(const call &c) {
    double *const p = forbidden();
    arrays a = {{p, p + 64}, {p + 128, p + 192}};
    if (c.in_place) std::copy(a.in, a.in + 2, a.out);
    for (unsigned k = 0; k < 4; ++k)
        if (c.null_arrays >> k & 1) (k < 2 ? a.in[k] : a.out[k - 2]) = nullptr;
    return a;
}

bool is_small(const problem &p) {
    double points = 1, in = 1, out = 1;
    const auto add = [&](const lyr_fft_iodim64 &d) {
        const auto n = static_cast<double>(d.n);
        points *= n;
        in += (n - 1) * static_cast<double>(d.is);
        out += (n - 1) * static_cast<double>(d.os);
    };
    for (int d = 0; d < p.rank; ++d) add(p.dims[d]);
    for (int d = 0; d < p.batch_rank; ++d) add(p.batch[d]);
    return points <= most_points && 2 * in + 2 <= fenced_room && 2 * out + 2 <= fenced_room;
}

// Arrays of the problem at one place. False when outputs would overlap, which is undefined: then
// they are untracked zeros.
bool make_arrays(const problem &p, uint64_t seed, place where, buffers &b) {
    lyr_tools::buffer_options options;
    options.guard = 0;
    options.seed = seed;
    std::string error;
    bool defined = make_buffers(p, options, b, error);
    if (!defined) {
        options.tracked = false;
        if (!make_buffers(p, options, b, error)) std::abort();
    }
    fence(b, where);
    return defined;
}

arrays arrays_of(const buffers &b) {
    return {{b.in[0], b.in[1]}, {b.out[0], b.out[1]}};
}

bool same_bits(double x, double y) {
    return std::bit_cast<uint64_t>(x) == std::bit_cast<uint64_t>(y);
}

bool same_outputs(const problem &p, const buffers &a, const buffers &b) {
    bool same = true;
    for_each_transform(p, side::out, [&](int64_t start) {
        for_each_element(p, side::out, [&](int64_t offset) {
            const auto x = load_element(p, a, side::out, start + offset);
            const auto y = load_element(p, b, side::out, start + offset);
            same = same && same_bits(x.re, y.re) && same_bits(x.im, y.im);
        });
    });
    return same;
}

// What the arrays hold after a run must be the transform of what they held before.
void check_results(const call &c, const problem &p, const buffers &b) {
    const std::string damage = check_buffers(p, b);
    if (!damage.empty()) report(c, &p, damage.c_str());
    const lyr_tools::accuracy error = compare_with_reference(p, b);
    // Far beyond rounding, however few numbers there are.
    if (!(error.l2 <= (p.rank > 0 ? 16 : 0)) || !(error.linf <= (p.rank > 0 ? 1e-13 : 0)))
        report(c, &p, "wrong result");
}

// Whether LYRA_FUZZ_SKIP names a kind of call that is to be left out, as long as findings about it
// would hide others: "moving" results in place, "null" arrays, "threads".
bool is_skipped(const char *what) {
    static const char *const skipped = std::getenv("LYRA_FUZZ_SKIP");
    return skipped != nullptr && std::strstr(skipped, what) != nullptr;
}

bool results_move(const problem &p) {
    if (!p.in_place) return false;
    if (p.kind == transform::r2c || p.kind == transform::c2r) return true;
    const auto moves = [](const lyr_fft_iodim64 &d) { return d.is != d.os; };
    return std::any_of(p.dims, p.dims + p.rank, moves) ||
           std::any_of(p.batch, p.batch + p.batch_rank, moves);
}

void run_small(const call &c, const problem &p) {
    if (is_skipped("moving") && results_move(p)) return;
    buffers first, second;
    const bool defined = make_arrays(p, c.seed, place::at_end, first);
    make_arrays(p, c.seed, place::at_start, second);
    const lyr_fft_plan plan = plan_watched(c, arrays_of(first));
    if (plan == nullptr) {
        if (!failed && defined && claim_of(c) == claim::planned) report(c, &p, "no plan");
        return;
    }
    if (c.other_arrays)
        execute_on(p, first, plan);
    else
        lyr_fft_execute(plan);
    if (defined) check_results(c, p, first);
    execute_on(p, second, plan);
    if (defined && !same_outputs(p, first, second)) report(c, &p, "other bits in other places");
    lyr_fft_destroy_plan(plan);
}

void run_untouchable(const call &c) {
    const arrays a = untouchable(c);
    const lyr_fft_plan plan = plan_watched(c, a);
    // A null array makes the call return without effect.
    const bool in_missing = a.in[0] == nullptr, out_missing = a.out[0] == nullptr;
    if (plan != nullptr && (in_missing || out_missing)) lyr_fft_execute(plan);
    if (plan != nullptr && !c.split && c.kind == transform::c2c) {
        lyr_fft_execute_dft(plan, nullptr, a.complex_out());
        lyr_fft_execute_dft(plan, a.complex_in(), nullptr);
    }
    lyr_fft_destroy_plan(plan);
}

void choose_table(int which) {
    const lyr::codelet_table *const *tables = lyr::supported_tables();
    int count = 0;
    while (tables[count] != nullptr) ++count;
    lyr::set_active_table(tables[which % count]);
}

void run(const call &c) {
    static const bool verbose = std::getenv("LYRA_FUZZ_VERBOSE") != nullptr;
    if (verbose) print_call(c);
    choose_table(c.table);
    lyr_fft_plan_with_nthreads(is_skipped("threads") ? 1 : c.threads);
    if (c.null_arrays != 0 && is_skipped("null")) return;
    problem p;
    if (c.null_arrays == 0 && problem_of(c, p) && is_small(p))
        run_small(c, p);
    else
        run_untouchable(c);
}

}  // namespace
}  // namespace lyr_fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    lyr_fuzz::run(lyr_fuzz::decode(data, size));
    return 0;
}
