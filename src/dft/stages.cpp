#include "dft/stages.h"

#include <cstring>

#include "api/memory.h"
#include "codelets/stage_pairs.h"
#include "dft/twiddle.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// A middle stage's table of ready vectors.
void fill_ready_twiddles(scalar *table, const root_source *roots, int64_t r, int64_t L, int64_t m,
                         int64_t sign, int64_t lanes) {
    scalar row[2 * (max_radix - 1)];
    for (int64_t k = 0; k < L; ++k) {
        fill_twiddle_row(row, roots, r, m * k, sign);
        for (int64_t part = 0; part < 2 * (r - 1); ++part)
            for (int64_t i = 0; i < 2 * lanes; ++i) *table++ = row[part];
    }
}

// A last stage's table with i*w behind each factor w.
void fill_turned_rows(scalar *table, const root_source *roots, int64_t r, int64_t L, int64_t sign) {
    scalar row[2 * (max_radix - 1)];
    for (int64_t k = 0; k < L; ++k) {
        fill_twiddle_row(row, roots, r, k, sign);
        for (int64_t q = 0; q < r - 1; ++q, table += 4) {
            const scalar re = row[2 * q], im = row[2 * q + 1];
            table[0] = re;
            table[1] = im;
            table[2] = -im;
            table[3] = re;
        }
    }
}

// Rows of a last stage that its twiddle table has as ready vectors or turned, twice as long as
// plain numbers.
int64_t doubled_rows(const codelet_table *target, int64_t r, int64_t L) {
    if (target->turned) return has_turned_rows(r, L) ? L : 0;
    const int64_t lanes = target->lanes;
    return lanes == 1 || has_plain_groups(lanes, r, L) ? 0 : L - L % lanes;
}

// The last stage's table: full groups of `lanes` rows as ready vectors or plain
// (codelet_table::lanes), then the rows that are left.
void fill_grouped_twiddles(scalar *table, const root_source *roots, int64_t r, int64_t L,
                           int64_t sign, int64_t lanes, int64_t doubled) {
    const int64_t grouped = L - L % lanes;
    // By inputs, many rows at once: radices are small.
    constexpr int64_t most_rows = 64;
    for (int64_t k = 0; k < grouped && !doubled; k += most_rows) {
        const int64_t groups = (grouped - k < most_rows ? grouped - k : most_rows) / lanes;
        for (int64_t q = 1; q < r; ++q)
            fill_root_vectors(table + 2 * (k * (r - 1) + lanes * (q - 1)), lanes, lanes * (r - 1),
                              roots, k * q, q, groups * lanes, sign);
    }
    scalar column[2 * most_rows];
    for (int64_t k = 0; k < doubled; k += most_rows) {
        const int64_t rows = doubled - k < most_rows ? doubled - k : most_rows;
        for (int64_t q = 1; q < r; ++q) {
            fill_roots(column, 1, roots, k * q, q, rows, sign);
            scalar *re = table + 4 * k * (r - 1) + 4 * lanes * (q - 1);
            for (const scalar *w = column; w < column + 2 * rows; re += 4 * lanes * (r - 1))
                for (int64_t part = 0; part < 2 * lanes; part += 2, w += 2) {
                    re[part] = re[part + 1] = w[0];
                    re[2 * lanes + part] = re[2 * lanes + part + 1] = w[1];
                }
        }
    }
    table += 2 * (grouped + doubled) * (r - 1);
    for (int64_t k = grouped; k < L; ++k, table += 2 * (r - 1))
        fill_twiddle_row(table, roots, r, k, sign);
}

bool has_stages(const plan *p, int64_t r) {
    return codelets_for(p, r) || wide_stages_for(r);
}

stage_codelet choose_codelet(const plan *p, int s, int count, int64_t r) {
    if (const wide_stages *wide = wide_stages_for(r)) {
        const bool backward = p->sign != -1;
        return s == 0          ? wide->first[backward]
               : s < count - 1 ? wide->middle[backward]
                               : wide->last[backward];
    }
    if (s == 0) return codelet_first_stage(p, r);
    if (s < count - 1) return codelet_middle_stage(p, r);
    return codelet_last_stage(p, r);
}

// Room for the block. One formula for the plain tables, whose entries add up to less than n, and
// what wider ones take in addition.
uint64_t block_bytes(int64_t n, const int64_t *factors, int count, const codelet_table *target) {
    const int64_t lanes = target->lanes;
    int64_t wider = 0, L = factors[0];
    for (int s = 1; s < count; ++s) {
        const int64_t r = factors[s];
        if (s == count - 1)
            wider += doubled_rows(target, r, L) * (r - 1);
        else if (has_ready_rows(lanes, r, L))
            wider += L * (r - 1) * (2 * lanes - 1);
        L *= r;
    }
    return static_cast<uint64_t>((n + wider) * complex_bytes + count * int64_t{sizeof(stage)} + 72);
}

}  // namespace

scalar *build_stages(plan *p, const int64_t *factors, int count, int64_t extra) {
    const int64_t n = p->dims[0].n;
    for (int s = 1; s < count; ++s)
        if (!has_stages(p, factors[s])) return nullptr;

    const codelet_table *target = active_table();
    const int64_t lanes = target->lanes;
    const uint64_t bytes =
        block_bytes(n, factors, count, target) + complex_bytes * static_cast<uint64_t>(extra);
    p->aux = aligned_alloc_any(bytes);
    if (!p->aux) return nullptr;
    p->aux_bytes = bytes;
    p->aux_owned = 1;

    const int64_t header = count == 2 && has_stages(p, factors[0]) ? 0 : 8;
    const int64_t tables = (header + count * int64_t{sizeof(stage)} + 63) / 64 * 64;
    char *block = static_cast<char *>(p->aux);
    if (header) *reinterpret_cast<int64_t *>(block) = count;
    stage *stages = reinterpret_cast<stage *>(block + header);
    scalar *twiddles = reinterpret_cast<scalar *>(block + tables);

    const int64_t sign = p->sign == -1 ? -1 : +1;
    root_source roots;
    root_source_init(&roots, n, n - factors[0]);
    int64_t L = 1, m = n;
    for (int s = 0; s < count; ++s) {
        const int64_t r = factors[s];
        m /= r;
        stages[s] = {choose_codelet(p, s, count, r), m, L, 1, 1, nullptr, r, sign};
        if (s > 0) {
            int64_t entries = L * (r - 1);
            const int64_t doubled = s == count - 1 ? doubled_rows(target, r, L) : 0;
            if (s == count - 1 && lanes > 1) {
                fill_grouped_twiddles(twiddles, &roots, r, L, sign, lanes, doubled);
                entries += doubled * (r - 1);
            } else if (doubled) {
                fill_turned_rows(twiddles, &roots, r, L, sign);
                entries += doubled * (r - 1);
            } else if (has_ready_rows(lanes, r, L) && s < count - 1) {
                fill_ready_twiddles(twiddles, &roots, r, L, m, sign, lanes);
                entries *= 2 * lanes;
            } else {
                fill_stage_twiddles(twiddles, &roots, r, L, m, sign);
            }
            stages[s].twiddles = twiddles;
            twiddles += 2 * entries;
        }
        L *= r;
    }
    root_source_release(&roots);
    memset(twiddles, 0, static_cast<size_t>(block + bytes - reinterpret_cast<char *>(twiddles)));
    stages[0].in_stride = p->dims[0].is;
    stages[count - 1].out_stride = p->dims[0].os;
    return twiddles;
}

namespace {

// The factors of `lanes` neighbouring rows, powers 1 to count, as ready vectors whose imaginary
// parts have the signs of those of i*w. Returns what is behind them.
scalar *fill_ready_rows(scalar *table, const root_source *roots, int64_t row, int64_t count,
                        int64_t sign, int64_t lanes) {
    scalar powers[2 * (max_radix - 1)];
    for (int64_t lane = 0; lane < lanes; ++lane) {
        fill_roots(powers, 1, roots, row + lane, row + lane, count, sign);
        for (int64_t h = 0; h < count; ++h) {
            scalar *re = table + 4 * lanes * h + 2 * lane, *im = re + 2 * lanes;
            re[0] = re[1] = powers[2 * h];
            im[0] = -powers[2 * h + 1];
            im[1] = powers[2 * h + 1];
        }
    }
    return table + 4 * lanes * count;
}

using paired_radices = int64_t[most_paired_stages];

// The stages of turned ones from the third on, behind the L rows of the stages before them. Of four
// the third is left out: five have one more in the middle.
struct later_radices {
    int64_t L, middle, before_last, last;
};
later_radices later_of(const paired_radices &radices) {
    const auto &[r1, r2, r3, r4, r5] = radices;
    if (r5) return {r1 * r2 * r3, r3, r4, r5};
    return {r1 * r2, 1, r3, r4};
}

// Factors of neighbouring rows of a stage, r1 of them at a time, in the order of the rows.
scalar *fill_ready_stage(scalar *table, const root_source *roots, int64_t rows, int64_t r,
                         int64_t sign, int64_t lanes) {
    for (int64_t k = 0; k < rows; k += lanes)
        table = fill_ready_rows(table, roots, k, r - 1, sign, lanes);
    return table;
}

// The third stage of three, in the order of the walk.
void fill_third_of_turned(scalar *table, const root_source *roots, const paired_radices &radices,
                          int64_t sign, int64_t lanes) {
    const int64_t r1 = radices[0], r2 = radices[1], r3 = radices[2];
    const int64_t factors = factors_around(r3, inputs_before_third(static_cast<int>(r3)));
    for (int64_t k = 0; k < r1; k += lanes)
        for (int64_t i = 0; i < r2; ++i)
            table = fill_ready_rows(table, roots, k + i * r1, factors, sign, lanes);
}

// The last two stages of four or five, for the r1 columns of a block at a time: plain groups of as
// many as lanes.
void fill_last_of_turned(scalar *table, const root_source *roots, const paired_radices &radices,
                         int64_t sign, int64_t lanes) {
    const auto &[L, middle, r3, r4] = later_of(radices);
    const int64_t r1 = radices[0], r2 = radices[1];
    const int64_t third = factors_around(r3, inputs_before_last_but_one(r3)),
                  last = factors_around(r4, inputs_before(r4));
    const int64_t block_numbers = 2 * r1 * (third + r3 * last);
    // Blocks not in their order but in that of the roots, which are then read along memory.
    for (int64_t i = 0; i < r2 * middle; ++i) {
        const int64_t c = r1 * i;
        scalar *to = table + (i % r2 * middle + i / r2) * block_numbers;
        for (int64_t h = 0; h < third; ++h)
            fill_root_vectors(to + 2 * lanes * h, lanes, third * lanes, roots, (h + 1) * c * r4,
                              (h + 1) * r4, r1, sign);
        to += 2 * r1 * third;
        for (int64_t p = 0; p < r3; ++p, to += 2 * r1 * last)
            for (int64_t h = 0; h < last; ++h)
                fill_root_vectors(to + 2 * lanes * h, lanes, last * lanes, roots,
                                  (h + 1) * (c + p * L), h + 1, r1, sign);
    }
}

// Complex numbers that the factors of turned stages take.
int64_t factors_of_turned(const paired_radices &radices) {
    const int64_t r1 = radices[0], r2 = radices[1], r3 = radices[2];
    const int64_t second = 2 * r1 * (r2 - 1);
    if (r3 == 0) return second;
    if (radices[3] == 0)
        return second + 2 * r1 * r2 * factors_around(r3, inputs_before_third(static_cast<int>(r3)));
    const auto &[L, middle, before_last, last] = later_of(radices);
    return second + 2 * r1 * r2 * (middle - 1) +
           L * (factors_around(before_last, inputs_before_last_but_one(before_last)) +
                before_last * factors_around(last, inputs_before(last)));
}

}  // namespace

int build_turned(plan *p, const int64_t (&radices)[most_paired_stages]) {
    const int64_t r1 = radices[0], r2 = radices[1], r3 = radices[2], n = p->dims[0].n;
    int64_t count = 2;
    while (count < most_paired_stages && radices[count]) ++count;
    const int64_t lanes = active_table()->lanes, sign = p->sign == -1 ? -1 : +1;
    const int64_t tables = (8 + count * int64_t{sizeof(stage)} + 63) / 64 * 64;
    const auto bytes = static_cast<uint64_t>(tables + factors_of_turned(radices) * complex_bytes);
    p->aux = aligned_alloc_any(bytes);
    if (!p->aux) return -1;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    char *block = static_cast<char *>(p->aux);
    *reinterpret_cast<int64_t *>(block) = count;
    stage *stages = reinterpret_cast<stage *>(block + 8);
    scalar *table = reinterpret_cast<scalar *>(block + tables);
    for (int64_t s = 0, m = n, done = 1; s < count; done *= radices[s++])
        stages[s] = {nullptr, m /= radices[s], done, 1, 1, nullptr, radices[s], sign};
    stages[0].twiddles = table;

    root_source roots;
    root_source_init(&roots, r1 * r2, r1 * r2);
    table = fill_ready_stage(table, &roots, r1, r2, sign, lanes);
    root_source_release(&roots);
    if (count == 2) return 0;
    if (count == 5) {
        root_source_init(&roots, r1 * r2 * r3, r1 * r2 * r3);
        table = fill_ready_stage(table, &roots, r1 * r2, r3, sign, lanes);
        root_source_release(&roots);
    }
    root_source_init(&roots, n, n);
    if (count == 3)
        fill_third_of_turned(table, &roots, radices, sign, lanes);
    else
        fill_last_of_turned(table, &roots, radices, sign, lanes);
    root_source_release(&roots);
    return 0;
}

void fill_mirrored(scalar *table, const stage &third, const stage &last) {
    const int64_t L = third.L, columns = L / 2 + 1, entries = columns * (third.r - 1);
    const int64_t step = doubled_rows(active_table(), last.r, last.L) ? 4 : 2;
    memcpy(table, third.twiddles, static_cast<size_t>(entries * complex_bytes));
    table += 2 * entries;
    for (int64_t k = 0; k < columns; ++k)
        for (int64_t p = 0; p < third.r; ++p) {
            const scalar *w = last.twiddles + step * (k + p * L) * (last.r - 1);
            for (int64_t q = 1; q < last.r; ++q, table += 2, w += step)
                memcpy(table, w, complex_bytes);
        }
}

void alternate_rows(scalar *table, int64_t r, int64_t L, int64_t lanes) {
    if (lanes == 1) return;
    const bool plain = has_plain_groups(lanes, r, L);
    const int64_t vector = 2 * lanes, group = (plain ? 1 : 2) * vector * (r - 1);
    for (int64_t k = 0; k + vector <= L; k += vector, table += 2 * group)
        for (scalar *a = table; a < table + group; a += vector) {
            // Two doubles for each row: row k + i is number i of the two vectors.
            scalar rows[4 * max_lanes];
            memcpy(rows, a, static_cast<size_t>(scalar_bytes * vector));
            memcpy(rows + vector, a + group, static_cast<size_t>(scalar_bytes * vector));
            for (int64_t i = 0; i < lanes; ++i) {
                memcpy(a + 2 * i, rows + 4 * i, complex_bytes);
                memcpy(a + group + 2 * i, rows + 4 * i + 2, complex_bytes);
            }
        }
}

int32_t plan_solve_in_stages(plan *p) {
    const int64_t n = p->dims[0].n;
    const bool single = p->howmany_rank == 0 || (p->howmany_rank == 1 && p->howmany_dims[0].n == 1);
    if (p->kind == kind_complex && p->rank == 1 && single && unit_transform_for(p, n) &&
        !codelets_for(p, n)) {
        p->howmany_rank = 0;
        if (solve_problem_c2c_1d(p) == 0) {
            plan_sum_scratch(p);
            p->solver_name = "solve_problem_c2c_1d";
            return 0;
        }
        plan_clear(p);
    }
    return plan_solve(p);
}

}  // namespace lyr
