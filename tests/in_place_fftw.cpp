// Which small in-place layouts the library and FFTW plan, and get right.
//
//     lyra_in_place_fftw [N]    one of N layouts
//
// Prints a line for each kind, and every layout that FFTW gets right and the library refuses or
// gets wrong; fails when there is one. FFTW 3.3.10 calls itself without end when it plans some of
// the layouts; they count as refused by it.
#include <fftw3.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/resource.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "small_layouts.h"

namespace {

using namespace lyr_test;

sigjmp_buf before_planning;

void leave_planner(int) {
    siglongjmp(before_planning, 1);
}

// Has the end of the stack reported, on a stack of its own, and brings it nearer.
void prepare_for_deep_recursion() {
    static char other_stack[1 << 16];
    stack_t stack = {};
    stack.ss_sp = other_stack;
    stack.ss_size = sizeof other_stack;
    struct sigaction action = {};
    action.sa_handler = leave_planner;
    action.sa_flags = SA_ONSTACK;
    rlimit limit = {};
    if (getrlimit(RLIMIT_STACK, &limit) != 0) exit(2);
    limit.rlim_cur = 1 << 20;
    if (sigaltstack(&stack, nullptr) != 0 || sigaction(SIGSEGV, &action, nullptr) != 0 ||
        setrlimit(RLIMIT_STACK, &limit) != 0)
        exit(2);
}

bool run_with_fftw(const small_layout &l, double *block) {
    const problem &p = l.p;
    fftw_iodim64 dims[3], batch[3];
    fftw_r2r_kind kinds[3];
    for (int d = 0; d < 3; ++d) {
        dims[d] = {p.dims[d].n, p.dims[d].is, p.dims[d].os};
        batch[d] = {p.batch[d].n, p.batch[d].is, p.batch[d].os};
        switch (p.kinds[d]) {
            case LYR_FFT_HC2R:
                kinds[d] = FFTW_HC2R;
                break;
            case LYR_FFT_REDFT10:
                kinds[d] = FFTW_REDFT10;
                break;
            default:
                kinds[d] = FFTW_DHT;
        }
    }
    double *in = block + l.in[0], *in_imag = block + l.in[1];
    double *out = block + l.out[0], *out_imag = block + l.out[1];
    const auto complexes = [](double *a) { return reinterpret_cast<fftw_complex *>(a); };
    constexpr unsigned flags = FFTW_ESTIMATE;
    fftw_plan volatile plan = nullptr;
    if (sigsetjmp(before_planning, 1) != 0) return false;
    switch (p.kind) {
        case transform::c2c:
            plan = p.split ? fftw_plan_guru64_split_dft(p.rank, dims, p.batch_rank, batch, in,
                                                        in_imag, out, out_imag, flags)
                           : fftw_plan_guru64_dft(p.rank, dims, p.batch_rank, batch, complexes(in),
                                                  complexes(out), FFTW_FORWARD, flags);
            break;
        case transform::r2c:
            plan = p.split ? fftw_plan_guru64_split_dft_r2c(p.rank, dims, p.batch_rank, batch, in,
                                                            out, out_imag, flags)
                           : fftw_plan_guru64_dft_r2c(p.rank, dims, p.batch_rank, batch, in,
                                                      complexes(out), flags);
            break;
        case transform::c2r:
            plan = p.split ? fftw_plan_guru64_split_dft_c2r(p.rank, dims, p.batch_rank, batch, in,
                                                            in_imag, out, flags)
                           : fftw_plan_guru64_dft_c2r(p.rank, dims, p.batch_rank, batch,
                                                      complexes(in), out, flags);
            break;
        default:
            plan = fftw_plan_guru64_r2r(p.rank, dims, p.batch_rank, batch, in, out, kinds, flags);
    }
    if (!plan) return false;
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return true;
}

std::string name_of(const layout_kind &kind) {
    constexpr const char *names[] = {"complex", "r2c", "c2r", "r2r"};
    std::string name = names[static_cast<int>(kind.kind)];
    if (kind.kind == transform::r2r) name += " " + std::to_string(kind.r2r);
    if (kind.split)
        name += " split " + std::to_string(kind.in_imag) + " " + std::to_string(kind.out) + " " +
                std::to_string(kind.out_imag);
    return name;
}

}  // namespace

int main(int argc, char **argv) {
    const int64_t thinner = argc > 1 ? atoll(argv[1]) : 1;
    if (thinner < 1) return 2;
    std::minstd_rand random(13);
    const auto next = [&] { return std::uniform_real_distribution<double>(-0.5, 0.5)(random); };
    int64_t behind = 0;
    prepare_for_deep_recursion();
    printf("%-22s %9s %9s | %9s %9s %9s | %9s %9s\n", "", "layouts", "possible", "right", "refused",
           "wrong", "FFTW right", "wrong");
    for (const layout_kind &kind : layout_kinds)
        for (const layout_family &family : layout_families) {
            if (family.rank == 0 && kind.kind != transform::c2c && kind.kind != transform::r2r)
                continue;
            int64_t tried = 0, possible = 0, ours[3] = {}, theirs[3] = {};
            for_each_layout(kind, family, thinner, [&](const small_layout &l) {
                const std::vector<int64_t> in = places_of(l, side::in),
                                           out = places_of(l, side::out);
                const outcome mine = try_layout(l, in, out, next, run_with_library);
                const outcome other = try_layout(l, in, out, next, run_with_fftw);
                ++tried;
                possible += !has_duplicates(out) || changes_nothing(l, in, out);
                ++ours[static_cast<int>(mine)];
                ++theirs[static_cast<int>(other)];
                if (mine == outcome::wrong ||
                    (mine == outcome::refused && other == outcome::right)) {
                    if (++behind <= 100)
                        printf("%s: %s\n", mine == outcome::wrong ? "wrong" : "refused",
                               text_of(l).c_str());
                }
            });
            printf("%-16s %d*%d   %9" PRId64 " %9" PRId64 " | %9" PRId64 " %9" PRId64 " %9" PRId64
                   " | %9" PRId64 " %9" PRId64 "\n",
                   name_of(kind).c_str(), family.rank, family.batch_rank, tried, possible, ours[0],
                   ours[1], ours[2], theirs[0], theirs[2]);
        }
    printf("behind FFTW: %" PRId64 "\n", behind);
    return behind != 0;
}
