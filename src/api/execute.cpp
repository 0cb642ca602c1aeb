// Execution, destruction and clean-up: null checks, then a jump to the planned executor.
#include <cstdlib>

#include "planner/plan.h"

namespace {

double *reals(lyr_fft_complex *array) {
    return reinterpret_cast<double *>(array);
}

// Calls that a plan is not made for have no effect.
bool is_interleaved(const lyr_fft_plan_s *plan, int32_t kind) {
    return plan && plan->kind == kind && plan->split != 1;
}

bool is_split(const lyr_fft_plan_s *plan, int32_t kind) {
    return plan && plan->kind == kind && plan->split == 1 && plan->execute_split_fn;
}

// Whether the arrays given at planning are all there: sides of complex numbers that are split have
// two.
bool has_arrays(const lyr_fft_plan_s *plan) {
    if (!plan->in || !plan->out) return false;
    if (plan->split != 1) return true;
    return (plan->kind == kind_r2c || plan->in_imag) && (plan->kind == kind_c2r || plan->out_imag);
}

void run(lyr_fft_plan_s *plan, double *in, double *out) {
    if (in && out) plan->execute_fn(plan, in, out);
}

}  // namespace

extern "C" {

void lyr_fft_execute(const lyr_fft_plan plan) {
    if (plan && has_arrays(plan)) plan->execute_fn(plan, plan->in, plan->out);
}

void lyr_fft_execute_dft(const lyr_fft_plan plan, lyr_fft_complex *in, lyr_fft_complex *out) {
    if (is_interleaved(plan, kind_complex)) run(plan, reals(in), reals(out));
}

void lyr_fft_execute_dft_r2c(const lyr_fft_plan plan, double *in, lyr_fft_complex *out) {
    if (is_interleaved(plan, kind_r2c)) run(plan, in, reals(out));
}

void lyr_fft_execute_dft_c2r(const lyr_fft_plan plan, lyr_fft_complex *in, double *out) {
    if (is_interleaved(plan, kind_c2r)) run(plan, reals(in), out);
}

void lyr_fft_execute_r2r(const lyr_fft_plan plan, double *in, double *out) {
    if (is_interleaved(plan, kind_r2r)) run(plan, in, out);
}

void lyr_fft_execute_split_dft(const lyr_fft_plan plan, double *ri, double *ii, double *ro,
                               double *io) {
    if (is_split(plan, kind_complex) && ri && ii && ro && io)
        plan->execute_split_fn(plan, ri, ii, ro, io);
}

void lyr_fft_execute_split_dft_r2c(const lyr_fft_plan plan, double *in, double *ro, double *io) {
    if (is_split(plan, kind_r2c) && in && ro && io)
        plan->execute_split_fn(plan, in, nullptr, ro, io);
}

void lyr_fft_execute_split_dft_c2r(const lyr_fft_plan plan, double *ri, double *ii, double *out) {
    if (is_split(plan, kind_c2r) && ri && ii && out)
        plan->execute_split_fn(plan, ri, ii, out, nullptr);
}

void lyr_fft_destroy_plan(lyr_fft_plan plan) {
    lyr::plan_clear(plan);
    free(plan);
}

void lyr_fft_cleanup(void) {}

}  // extern "C"
