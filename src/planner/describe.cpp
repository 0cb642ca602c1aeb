#include "planner/describe.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "batch/slab_batch.h"
#include "codelets/select.h"
#include "dft/stages.h"
#include "planner/scratch.h"

namespace lyr {

namespace {

struct text {
    char chars[600];
    size_t length;
};

__attribute__((format(printf, 2, 3))) void append(text &t, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int n = vsnprintf(t.chars + t.length, sizeof t.chars - t.length, format, arguments);
    va_end(arguments);
    if (n > 0) t.length += static_cast<size_t>(n);
    if (t.length >= sizeof t.chars) t.length = sizeof t.chars - 1;
}

void append_dims(text &t, const char *separator, const lyr_fft_iodim64 *dims, int rank) {
    for (int k = 0; k < rank; ++k)
        append(t, "%s%" PRId64 ":%" PRId64 ":%" PRId64, k ? separator : "", dims[k].n, dims[k].is,
               dims[k].os);
}

static_assert(max_factors <= most_stages);

// The stages that a plan runs by itself; a count of 0 when there are none.
stage_list stages_in(const plan *p) {
    if (p->kind != kind_complex || p->split == 1) return {0, nullptr};
    switch (p->form) {
        case plan_form::slabs:
        case plan_form::gathered_slabs: {
            slab_batch batch;
            memcpy(&batch, p->solver_words, sizeof batch);
            return {batch.list.count, const_cast<stage *>(batch.list.stages)};
        }
        case plan_form::two_stages:
            return {2, two_stages_of(p->aux)};
        case plan_form::stages:
        case plan_form::paired_stages:
        case plan_form::turned_stages:
        case plan_form::turned_two:
        case plan_form::turned_three:
        case plan_form::own_stages:
            return stages_of(p->aux);
        default:
            return {0, nullptr};
    }
}

void describe(const plan *p, int depth, void (*line)(void *, int, const char *), void *context) {
    static const char *const kinds[] = {"complex", "c2r", "r2c", "r2r"};
    text t = {};
    append(t, "%s: %s", p->solver_name, p->execute_name);
    line(context, depth, t.chars);
    t.length = 0;
    append(t, "  %s%s", p->split == 1 ? "split " : "",
           p->kind <= kind_r2r ? kinds[p->kind] : "rotated batch");
    if (p->kind == kind_complex) append(t, p->sign == -1 ? " forward" : " backward");
    append(t, " ");
    append_dims(t, "x", p->dims, p->rank);
    if (p->rank == 0) append(t, "copy");
    if (p->howmany_rank > 0) {
        append(t, " * ");
        append_dims(t, " * ", p->howmany_dims, p->howmany_rank);
    }
    int64_t radices[most_stages];
    const int count = plan_stages(p, radices);
    for (int k = 0; k < count; ++k) append(t, "%s%" PRId64, k ? "x" : ", radices ", radices[k]);
    if (depth == 0 && p->scratch_bytes)
        append(t, ", scratch %" PRIu64 " bytes %s", p->scratch_bytes,
               p->scratch_bytes <= stack_scratch_bytes ? "on the stack" : "lent");
    if (p->work_bytes) append(t, ", work %" PRIu64 " bytes", p->work_bytes);
    if (p->aux_bytes && p->aux_owned) append(t, ", tables %" PRIu64 " bytes", p->aux_bytes);
    line(context, depth, t.chars);
    for (int32_t i = 0; i < p->nchildren; ++i) describe(&p->children[i], depth + 1, line, context);
}

}  // namespace

int plan_stages(const plan *p, int64_t *radices) {
    const stage_list list = stages_in(p);
    for (int64_t s = 0; s < list.count; ++s) radices[s] = list.stages[s].r;
    return static_cast<int>(list.count);
}

void plan_describe(const lyr_fft_plan_s *root, void (*line)(void *, int, const char *),
                   void *context) {
    if (root && line) describe(root, 0, line, context);
}

const char *active_target() {
    return active_table()->name;
}

}  // namespace lyr
