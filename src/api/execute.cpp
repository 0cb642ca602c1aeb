// Execution, destruction and clean-up: null checks, then a jump to the planned executor.
#include <cstdlib>

#include "planner/scratch.h"

namespace {

using lyr::plan;
using lyr::scalar;

scalar *reals(lyr_fft_complex *array) {
    return reinterpret_cast<scalar *>(array);
}

// Calls that a plan is not made for have no effect.
bool is_interleaved(const plan *p, int32_t kind) {
    return p && p->kind == kind && p->split != 1;
}

bool is_split(const plan *p, int32_t kind) {
    return p && p->kind == kind && p->split == 1 && p->execute_split_fn;
}

// Whether the arrays given at planning are all there: sides of complex numbers that are split have
// two.
bool has_arrays(const plan *p) {
    if (!p->in || !p->out) return false;
    if (p->split != 1) return true;
    return (p->kind == kind_r2c || p->in_imag) && (p->kind == kind_c2r || p->out_imag);
}

// Executions with scratch memory, out of line: those without have no stack frame. The arguments
// stay in registers, as a copy of them in memory would be waited for.
__attribute__((noinline)) void run_on_stack(const plan *p, scalar *in, scalar *out) {
    alignas(64) scalar scratch[lyr::stack_scratch_bytes / sizeof(scalar)];
    p->execute_fn(p, in, out, scratch);
    __asm__ volatile("" ::"r"(scratch) : "memory");  // no tail call
}

__attribute__((noinline)) void run_on_lent(const plan *p, scalar *in, scalar *out) {
    const lyr::lent_scratch scratch = lyr::scratch_lend(p, in, out);
    p->execute_fn(p, in, out, scratch.memory);
    lyr::scratch_return(scratch);
}

void run(const plan *p, scalar *in, scalar *out) {
    if (!in || !out) return;
    if (p->scratch_bytes == 0)
        p->execute_fn(p, in, out, nullptr);
    else if (p->scratch_bytes <= lyr::stack_scratch_bytes)
        run_on_stack(p, in, out);
    else
        run_on_lent(p, in, out);
}

__attribute__((noinline)) void run_split_on_stack(const plan *p, scalar *ri, scalar *ii, scalar *ro,
                                                  scalar *io) {
    alignas(64) scalar scratch[lyr::stack_scratch_bytes / sizeof(scalar)];
    p->execute_split_fn(p, ri, ii, ro, io, scratch);
    __asm__ volatile("" ::"r"(scratch) : "memory");
}

void run_split(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io) {
    if (p->scratch_bytes <= lyr::stack_scratch_bytes) {
        run_split_on_stack(p, ri, ii, ro, io);
        return;
    }
    const lyr::lent_scratch scratch = lyr::scratch_lend(p, ri, ro);
    p->execute_split_fn(p, ri, ii, ro, io, scratch.memory);
    lyr::scratch_return(scratch);
}

}  // namespace

extern "C" {

void lyr_fft_execute(const lyr_fft_plan plan) {
    if (plan && has_arrays(plan)) run(plan, plan->in, plan->out);
}

void lyr_fft_execute_dft(const lyr_fft_plan plan, lyr_fft_complex *in, lyr_fft_complex *out) {
    if (is_interleaved(plan, kind_complex)) run(plan, reals(in), reals(out));
}

void lyr_fft_execute_dft_r2c(const lyr_fft_plan plan, scalar *in, lyr_fft_complex *out) {
    if (is_interleaved(plan, kind_r2c)) run(plan, in, reals(out));
}

void lyr_fft_execute_dft_c2r(const lyr_fft_plan plan, lyr_fft_complex *in, scalar *out) {
    if (is_interleaved(plan, kind_c2r)) run(plan, reals(in), out);
}

void lyr_fft_execute_r2r(const lyr_fft_plan plan, scalar *in, scalar *out) {
    if (is_interleaved(plan, kind_r2r)) run(plan, in, out);
}

void lyr_fft_execute_split_dft(const lyr_fft_plan plan, scalar *ri, scalar *ii, scalar *ro,
                               scalar *io) {
    if (is_split(plan, kind_complex) && ri && ii && ro && io) run_split(plan, ri, ii, ro, io);
}

void lyr_fft_execute_split_dft_r2c(const lyr_fft_plan plan, scalar *in, scalar *ro, scalar *io) {
    if (is_split(plan, kind_r2c) && in && ro && io) run_split(plan, in, nullptr, ro, io);
}

void lyr_fft_execute_split_dft_c2r(const lyr_fft_plan plan, scalar *ri, scalar *ii, scalar *out) {
    if (is_split(plan, kind_c2r) && ri && ii && out) run_split(plan, ri, ii, out, nullptr);
}

void lyr_fft_destroy_plan(lyr_fft_plan plan) {
    if (!plan) return;
    if (plan->reserved) lyr::scratch_release(plan);
    lyr::plan_clear(plan);
    free(plan);
}

void lyr_fft_cleanup(void) {}

}  // extern "C"
