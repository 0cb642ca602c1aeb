#include "dft/stages.h"

#include "api/memory.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

// The last stage's table: full groups of `lanes` rows as vectors of doubled parts
// (codelet_table::lanes), the rest in plain order. row holds one row.
void fill_grouped_twiddles(double *table, const root_source *roots, int64_t r, int64_t L,
                           int64_t sign, int64_t lanes) {
    double row[2 * (max_radix - 1)];
    const int64_t grouped = L - L % lanes;
    for (int64_t k = 0; k < grouped; ++k) {
        fill_twiddle_row(row, roots, r, k, sign);
        const int64_t lane = k % lanes;
        double *group = table + 4 * (k - lane) * (r - 1);
        for (int64_t q = 0; q < r - 1; ++q) {
            double *re = group + 4 * lanes * q + 2 * lane;
            double *im = re + 2 * lanes;
            re[0] = re[1] = row[2 * q];
            im[0] = im[1] = row[2 * q + 1];
        }
    }
    table += 4 * grouped * (r - 1);
    for (int64_t k = grouped; k < L; ++k, table += 2 * (r - 1))
        fill_twiddle_row(table, roots, r, k, sign);
}

stage_codelet choose_codelet(const plan *p, stage_form form, int s, int count, int64_t r) {
    if (form == stage_form::slab) {
        const codelet_set *set = codelets_for(p, r);
        return stored_slab_codelet(s == 0 ? set->first_slab : set->twiddle_slab);
    }
    if (s == 0) return codelet_first_stage(p, r);
    if (s < count - 1) return codelet_middle_stage(p, r);
    return codelet_last_stage(p, r);
}

}  // namespace

uint64_t stage_block_bytes(int64_t n, int64_t count, int64_t last_radix, int64_t lanes) {
    const int64_t wide = count > 1 && lanes > 1 ? n / last_radix * (last_radix - 1) : 0;
    return static_cast<uint64_t>(n + wide + 4 * count) * 16 + 72;
}

int build_stages(plan *p, stage_form form) {
    const int64_t n = p->dims[0].n;
    int64_t factors[max_factors];
    const int count = factorize_size(n, factors);
    if (count < 1) return -1;
    for (int s = 0; s < count; ++s)
        if (!codelets_for(p, factors[s])) return -1;

    const int64_t lanes = active_table()->lanes;
    const uint64_t bytes = stage_block_bytes(n, count, factors[count - 1], lanes);
    p->aux = aligned_alloc_zero(bytes);
    if (!p->aux) return -1;
    p->aux_bytes = bytes;
    p->aux_owned = 1;

    const int64_t header = count == 2 ? 0 : 8;
    const int64_t tables = (header + count * int64_t{sizeof(stage)} + 63) / 64 * 64;
    char *block = static_cast<char *>(p->aux);
    if (header) *reinterpret_cast<int64_t *>(block) = count;
    stage *stages = reinterpret_cast<stage *>(block + header);
    double *twiddles = reinterpret_cast<double *>(block + tables);

    const int64_t sign = p->sign == -1 ? -1 : +1;
    root_source roots;
    root_source_init(&roots, n, n - factors[0]);
    int64_t L = 1, m = n;
    for (int s = 0; s < count; ++s) {
        const int64_t r = factors[s];
        m /= r;
        stages[s] = {choose_codelet(p, form, s, count, r), m, L, 1, 1, nullptr, r, sign};
        if (s > 0) {
            if (s == count - 1 && lanes > 1)
                fill_grouped_twiddles(twiddles, &roots, r, L, sign, lanes);
            else
                fill_stage_twiddles(twiddles, &roots, r, L, m, sign);
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
