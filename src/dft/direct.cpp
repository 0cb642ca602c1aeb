// One complex transform of a length that has a codelet of its own: one codelet call.
//
// aux: the codelet in the first word, the codelet's scratch of n complex numbers from byte 64.
#include <cstring>

#include "api/memory.h"
#include "codelets/select.h"
#include "planner/registry.h"

namespace lyr {

namespace {

constexpr int64_t header_complex = 4;

direct_codelet dft_direct_lookup(const plan *p) {
    const codelet_set *set = codelets_for(p, p->dims[0].n);
    if (!set) return nullptr;
    return unit_strides(p) ? set->direct_unit : set->direct_general;
}

void call(direct_codelet codelet, const plan *p, const scalar *in, scalar *out) {
    codelet(out, in, p->dims[0].is * complex_bytes, p->dims[0].os * complex_bytes, nullptr);
}

void execute_dft_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    direct_codelet codelet;
    memcpy(&codelet, p->aux, sizeof codelet);
    call(codelet, p, in, out);
}

// Without memory for aux the plan still works: the codelet is looked up at each call, and no
// codelet of that many values needs scratch.
void execute_dft_direct_without_aux(const plan *p, scalar *in, scalar *out, scalar *) {
    call(dft_direct_lookup(p), p, in, out);
}

// General-stride codelets address with 32-bit element strides.
bool strides_fit_codelets(const plan *p) {
    return p->dims[0].is <= INT32_MAX && p->dims[0].os <= INT32_MAX;
}

}  // namespace

int solve_problem_dft_direct(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;
    const direct_codelet codelet = dft_direct_lookup(p);
    if (!codelet) return -1;
    if (!strides_fit_codelets(p)) return -1;

    p->form = plan_form::codelet;
    p->execute_fn = execute_dft_direct_without_aux;
    p->execute_name = "execute_dft_direct_without_aux";
    const uint64_t bytes = static_cast<uint64_t>(p->dims[0].n + header_complex) * complex_bytes;
    p->aux = aligned_alloc_zero(bytes);
    if (p->aux) {
        p->aux_bytes = bytes;
        p->aux_owned = 1;
        memcpy(p->aux, &codelet, sizeof codelet);
        p->execute_fn = execute_dft_direct;
        p->execute_name = "execute_dft_direct";
    }
    return 0;
}

}  // namespace lyr
