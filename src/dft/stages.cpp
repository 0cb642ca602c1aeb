#include "dft/stages.h"

#include <cstring>

#include "api/memory.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

// Last-stage codelets take the twiddles of `lanes` rows at a time: stores full groups of rows with
// the rows of a group side by side. table holds `rows` rows of `columns` complex numbers; scratch
// holds one group.
void group_rows(double *table, int64_t rows, int64_t columns, int64_t lanes, double *scratch) {
    const int64_t group_doubles = 2 * lanes * columns;
    for (int64_t k = 0; k + lanes <= rows; k += lanes, table += group_doubles) {
        memcpy(scratch, table, static_cast<size_t>(group_doubles) * sizeof(double));
        for (int64_t lane = 0; lane < lanes; ++lane)
            for (int64_t q = 0; q < columns; ++q) {
                const double *from = scratch + 2 * (lane * columns + q);
                double *to = table + 2 * (q * lanes + lane);
                to[0] = from[0];
                to[1] = from[1];
            }
    }
}

stage_codelet choose_codelet(const plan *p, stage_form form, int s, int count, int64_t r) {
    if (form == stage_form::slab) {
        const codelet_set *set = codelets_for(p, r);
        return reinterpret_cast<stage_codelet>(s == 0 ? set->first_slab : set->twiddle_slab);
    }
    if (s == 0) return codelet_first_stage(p, r);
    if (s < count - 1) return codelet_middle_stage(p, r);
    return codelet_last_stage(p, r);
}

}  // namespace

uint64_t stage_block_bytes(int64_t n, int count) {
    return static_cast<uint64_t>(n + 4 * count) * 16 + 72;
}

int build_stages(plan *p, stage_form form) {
    const int64_t n = p->dims[0].n;
    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1) return -1;
    for (int s = 0; s < count; ++s)
        if (!codelets_for(p, factors[s])) return -1;

    p->aux = aligned_alloc_zero(stage_block_bytes(n, count));
    if (!p->aux) return -1;
    p->aux_bytes = stage_block_bytes(n, count);
    p->aux_owned = 1;

    const int64_t header = count == 2 ? 0 : 8;
    const int64_t tables = (header + count * int64_t{sizeof(stage)} + 63) / 64 * 64;
    char *block = static_cast<char *>(p->aux);
    if (header) *reinterpret_cast<int64_t *>(block) = count;
    stage *stages = reinterpret_cast<stage *>(block + header);
    double *twiddles = reinterpret_cast<double *>(block + tables);

    const int64_t sign = p->sign == -1 ? -1 : +1;
    const int64_t lanes = active_table()->lanes;
    root_source roots;
    root_source_init(&roots, n, n - factors[0]);
    int64_t L = 1, m = n;
    for (int s = 0; s < count; ++s) {
        const int64_t r = factors[s];
        m /= r;
        stages[s] = {choose_codelet(p, form, s, count, r), m, L, 1, 1, nullptr, r, sign};
        if (s > 0) {
            fill_stage_twiddles(twiddles, &roots, r, L, m, sign);
            double group[2 * 4 * (max_radix - 1)];
            if (m == 1) group_rows(twiddles, L, r - 1, lanes, group);
            stages[s].twiddles = twiddles;
            twiddles += 2 * L * (r - 1);
        }
        L *= r;
    }
    root_source_release(&roots);
    stages[0].in_stride = p->dims[0].is;
    stages[count - 1].out_stride = p->dims[0].os;
    return count;
}

}  // namespace lyr
