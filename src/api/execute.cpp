// Execution, destruction and clean-up: null checks, then a jump to the planned executor.
#include <cstdlib>

#include "planner/plan.h"

namespace {

double *reals(lyr_fft_complex *array) {
    return reinterpret_cast<double *>(array);
}

void run(lyr_fft_plan_s *plan, double *in, double *out) {
    if (plan && in && out) plan->execute_fn(plan, in, out);
}

}  // namespace

extern "C" {

void lyr_fft_execute(const lyr_fft_plan plan) {
    if (plan) run(plan, plan->in, plan->out);
}

void lyr_fft_execute_dft(const lyr_fft_plan plan, lyr_fft_complex *in, lyr_fft_complex *out) {
    run(plan, reals(in), reals(out));
}

void lyr_fft_execute_dft_r2c(const lyr_fft_plan plan, double *in, lyr_fft_complex *out) {
    run(plan, in, reals(out));
}

void lyr_fft_execute_dft_c2r(const lyr_fft_plan plan, lyr_fft_complex *in, double *out) {
    run(plan, reals(in), out);
}

void lyr_fft_execute_r2r(const lyr_fft_plan plan, double *in, double *out) {
    run(plan, in, out);
}

void lyr_fft_execute_split_dft(const lyr_fft_plan plan, double *ri, double *ii, double *ro,
                               double *io) {
    if (plan && ri && ii && ro && io && plan->execute_split_fn)
        plan->execute_split_fn(plan, ri, ii, ro, io);
}

void lyr_fft_execute_split_dft_r2c(const lyr_fft_plan plan, double *in, double *ro, double *io) {
    if (plan && in && ro && io && plan->execute_split_fn)
        plan->execute_split_fn(plan, in, nullptr, ro, io);
}

void lyr_fft_execute_split_dft_c2r(const lyr_fft_plan plan, double *ri, double *ii, double *out) {
    if (plan && ri && ii && out && plan->execute_split_fn)
        plan->execute_split_fn(plan, ri, ii, out, nullptr);
}

void lyr_fft_destroy_plan(lyr_fft_plan plan) {
    lyr::plan_clear(plan);
    free(plan);
}

void lyr_fft_cleanup(void) {}

}  // extern "C"
