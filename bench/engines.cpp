#include "engines.h"

#include <dlfcn.h>
#include <fftw3.h>

#include <algorithm>

namespace lyr_bench {

namespace {

using lyr_tools::transform;

// FFTW's names in the precision of this build.
#ifdef LYRA_SINGLE
    #define FFTW(name) fftwf_##name
    #define FFTW_PREFIX "fftwf_"
#else
    #define FFTW(name) fftw_##name
    #define FFTW_PREFIX "fftw_"
#endif

FFTW(complex) * as_fftw_complex(lyr::scalar *x) {
    return reinterpret_cast<FFTW(complex) *>(x);
}

void nothing() {}

// ---- This library -------------------------------------------------------------------------------

constexpr size_t most_targets = 2;
const lyr::codelet_table *tables[most_targets];  // null: no such target takes part

template <size_t target>
void select_target() {
    lyr::set_active_table(tables[target]);
}

int threads_set = 1;  // the library's setting, which all engines of it share

template <size_t target, bool single>
void *plan_lyra(const problem &p, const buffers &b, int threads) {
    const int wanted = single ? 1 : threads;
    // The setting is no part of planning.
    if (wanted != threads_set) lyr_fft_plan_with_nthreads(threads_set = wanted);
    return lyr_tools::make_plan(p, b);
}
void execute_lyra(void *plan) {
    lyr_fft_execute(static_cast<lyr_fft_plan>(plan));
}
void destroy_lyra(void *plan) {
    lyr_fft_destroy_plan(static_cast<lyr_fft_plan>(plan));
}

template <size_t target, bool single>
engine lyra_engine(const std::string &name) {
    return {name,         true,        select_target<target>, nothing, plan_lyra<target, single>,
            execute_lyra, destroy_lyra};
}

// ---- FFTW ---------------------------------------------------------------------------------------

// One build of FFTW. Builds are loaded while the program runs and see nothing of each other:
// linked, one would answer the other's calls.
struct fftw_build {
    const char *version;
    decltype(&FFTW(init_threads)) init_threads;
    decltype(&FFTW(plan_with_nthreads)) plan_with_nthreads;
    decltype(&FFTW(plan_guru64_dft)) plan_dft;
    decltype(&FFTW(plan_guru64_split_dft)) plan_split_dft;
    decltype(&FFTW(plan_guru64_dft_r2c)) plan_dft_r2c;
    decltype(&FFTW(plan_guru64_split_dft_r2c)) plan_split_dft_r2c;
    decltype(&FFTW(plan_guru64_dft_c2r)) plan_dft_c2r;
    decltype(&FFTW(plan_guru64_split_dft_c2r)) plan_split_dft_c2r;
    decltype(&FFTW(plan_guru64_r2r)) plan_r2r;
    decltype(&FFTW(execute)) execute;
    decltype(&FFTW(destroy_plan)) destroy_plan;
    decltype(&FFTW(forget_wisdom)) forget_wisdom;
    decltype(&FFTW(set_timelimit)) set_timelimit;
};

constexpr size_t usual = 0;
constexpr size_t native = 1;
fftw_build builds[2];

template <class function>
bool find(void *library, const char *name, function &result) {
    result = reinterpret_cast<function>(dlsym(library, name));
    return result != nullptr;
}

std::string load(const std::string &path, fftw_build &build) {
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) return dlerror();
    const bool complete =
        find(library, FFTW_PREFIX "version", build.version) &&
        find(library, FFTW_PREFIX "init_threads", build.init_threads) &&
        find(library, FFTW_PREFIX "plan_with_nthreads", build.plan_with_nthreads) &&
        find(library, FFTW_PREFIX "plan_guru64_dft", build.plan_dft) &&
        find(library, FFTW_PREFIX "plan_guru64_split_dft", build.plan_split_dft) &&
        find(library, FFTW_PREFIX "plan_guru64_dft_r2c", build.plan_dft_r2c) &&
        find(library, FFTW_PREFIX "plan_guru64_split_dft_r2c", build.plan_split_dft_r2c) &&
        find(library, FFTW_PREFIX "plan_guru64_dft_c2r", build.plan_dft_c2r) &&
        find(library, FFTW_PREFIX "plan_guru64_split_dft_c2r", build.plan_split_dft_c2r) &&
        find(library, FFTW_PREFIX "plan_guru64_r2r", build.plan_r2r) &&
        find(library, FFTW_PREFIX "execute", build.execute) &&
        find(library, FFTW_PREFIX "destroy_plan", build.destroy_plan) &&
        find(library, FFTW_PREFIX "forget_wisdom", build.forget_wisdom) &&
        find(library, FFTW_PREFIX "set_timelimit", build.set_timelimit);
    if (!complete) return path + " is not FFTW with threads: " + dlerror();
    if (build.init_threads() == 0) return path + ": FFTW's threads do not start";
    return "";
}

// In the order of lyr_fft_r2r_kind.
constexpr FFTW(r2r_kind) fftw_kinds[] = {FFTW_R2HC,    FFTW_HC2R,    FFTW_DHT,     FFTW_REDFT00,
                                         FFTW_REDFT01, FFTW_REDFT10, FFTW_REDFT11, FFTW_RODFT00,
                                         FFTW_RODFT01, FFTW_RODFT10, FFTW_RODFT11};

FFTW(iodim64) fftw_dimension(const lyr_fft_iodim64 &d) {
    return {static_cast<ptrdiff_t>(d.n), static_cast<ptrdiff_t>(d.is),
            static_cast<ptrdiff_t>(d.os)};
}

// Complex-to-real and half-complex-to-real plans keep FFTW's default, which allows it to overwrite
// the input: that is how it is fastest.
template <size_t which, unsigned flags>
void *plan_fftw(const problem &p, const buffers &b, int threads) {
    const fftw_build &fftw = builds[which];
    fftw.plan_with_nthreads(threads);
    lyr::scalar *in = b.in[0];
    lyr::scalar *out = b.out[0];
    FFTW(iodim64) dims[lyr_tools::max_rank] = {};
    FFTW(iodim64) batch[lyr_tools::max_rank] = {};
    FFTW(r2r_kind) kinds[lyr_tools::max_rank] = {};
    for (int d = 0; d < p.rank; ++d) dims[d] = fftw_dimension(p.dims[d]);
    for (int d = 0; d < p.rank; ++d) kinds[d] = fftw_kinds[p.kinds[d]];
    for (int d = 0; d < p.batch_rank; ++d) batch[d] = fftw_dimension(p.batch[d]);

    // The exchange of real and imaginary parts on both sides turns the direction round.
    const int re = p.kind == transform::c2c && p.sign == LYR_FFT_BACKWARD ? 1 : 0;
    const int im = 1 - re;
    switch (p.kind) {
        case transform::c2c:
            if (p.split)
                return fftw.plan_split_dft(p.rank, dims, p.batch_rank, batch, b.in[re], b.in[im],
                                           b.out[re], b.out[im], flags);
            return fftw.plan_dft(p.rank, dims, p.batch_rank, batch, as_fftw_complex(in),
                                 as_fftw_complex(out), p.sign, flags);
        case transform::r2c:
            if (p.split)
                return fftw.plan_split_dft_r2c(p.rank, dims, p.batch_rank, batch, in, b.out[re],
                                               b.out[im], flags);
            return fftw.plan_dft_r2c(p.rank, dims, p.batch_rank, batch, in, as_fftw_complex(out),
                                     flags);
        case transform::c2r:
            if (p.split)
                return fftw.plan_split_dft_c2r(p.rank, dims, p.batch_rank, batch, b.in[re],
                                               b.in[im], out, flags);
            return fftw.plan_dft_c2r(p.rank, dims, p.batch_rank, batch, as_fftw_complex(in), out,
                                     flags);
        case transform::r2r:
            return fftw.plan_r2r(p.rank, dims, p.batch_rank, batch, in, out, kinds, flags);
    }
    return nullptr;
}

template <size_t which>
void execute_fftw(void *plan) {
    builds[which].execute(static_cast<FFTW(plan)>(plan));
}

template <size_t which>
void destroy_fftw(void *plan) {
    builds[which].destroy_plan(static_cast<FFTW(plan)>(plan));
}

template <size_t which>
void forget_fftw() {
    builds[which].forget_wisdom();
}

template <size_t which, unsigned flags>
engine fftw_engine(const char *name) {
    return {name,
            flags == FFTW_ESTIMATE,
            nothing,
            forget_fftw<which>,
            plan_fftw<which, flags>,
            execute_fftw<which>,
            destroy_fftw<which>};
}

}  // namespace

std::vector<engine> engines(const engine_choice &choice) {
    std::vector<engine> list = {
        lyra_engine<0, false>("lyra"),
        fftw_engine<usual, FFTW_ESTIMATE>("estimate"),
        fftw_engine<usual, FFTW_MEASURE>("measure"),
    };
    if (choice.native) list.push_back(fftw_engine<native, FFTW_MEASURE>("native"));
    if (choice.patient) list.push_back(fftw_engine<usual, FFTW_PATIENT>("patient"));
    if (choice.single) list.push_back(lyra_engine<0, true>("single"));
    if (tables[1]) {
        const std::string target = tables[1]->name;
        list.push_back(lyra_engine<1, false>("lyra-" + target));
        if (choice.single) list.push_back(lyra_engine<1, true>("single-" + target));
    }
    return list;
}

void use_targets(const std::vector<const lyr::codelet_table *> &targets) {
    for (size_t t = 0; t < most_targets; ++t) tables[t] = t < targets.size() ? targets[t] : nullptr;
    select_target<0>();
}

std::string load_fftw(const std::string &library) {
    return load(library, builds[usual]);
}

std::string load_native_fftw(const std::string &library) {
    return load(library, builds[native]);
}

void limit_planning(double seconds) {
    for (const fftw_build &build : builds)
        if (build.set_timelimit) build.set_timelimit(seconds);
}

bool input_may_change(const problem &p) {
    if (p.in_place || p.kind == transform::c2r) return true;
    if (p.kind != transform::r2r) return false;
    return std::find(p.kinds, p.kinds + p.rank, LYR_FFT_HC2R) != p.kinds + p.rank;
}

std::string fftw_description() {
    return builds[usual].version;
}

std::string native_fftw_description() {
    return builds[native].version;
}

}  // namespace lyr_bench
