#include "dft/slabs.h"

#include <cstring>

namespace lyr {

slab_stages slab_stages_of(const plan *p) {
    slab_stages list = {0, nullptr, active_table()};
    if (p->form == plan_form::two_stages) {
        list.count = 2;
        list.stages = two_stages_of(p->aux);
    } else if (p->form == plan_form::stages || p->form == plan_form::paired_stages) {
        list.count = stages_of(p->aux).count;
        list.stages = stages_of(p->aux).stages;
    }
    return list;
}

void rotate_rows(scalar *rows, int64_t row, int64_t width, int64_t n, int64_t r, int64_t lanes,
                 const rotation &factors) {
    const int64_t L = n / r;
    for (int64_t k = 0; k < L; ++k)
        for (int64_t j = 0; j < width; ++j)
            for (int64_t p = 0; p < r; ++p) {
                const int64_t group = j / lanes * lanes, lane = j % lanes;
                const scalar *w =
                    factors.columns + 2 * ((k * factors.row + group) * r + p * lanes + lane);
                scalar *x = rows + 2 * ((k + p * L) * row + j);
                scalar re = x[0], im = x[1];
                if (const scalar *turn = factors.turns) {
                    turn += 2 * (k * r + p);
                    const scalar before = re;
                    re = before * turn[0] - im * turn[1];
                    im = before * turn[1] + im * turn[0];
                    x[0] = re + (re * w[0] - im * w[1]);
                    x[1] = im + (re * w[1] + im * w[0]);
                } else {
                    x[0] = re * w[0] - im * w[1];
                    x[1] = re * w[1] + im * w[0];
                }
            }
}

int pass_radices(int64_t n, int64_t lanes, int64_t *factors) {
    if (n == 256 && lanes > 1) {  // the slabs of 16x16 are too large for the first-level cache
        factors[0] = 4;
        factors[1] = factors[2] = 8;
        return 3;
    }
    return factorize_size(n, factors);
}

int64_t pass_width(int64_t n, int count, int64_t lanes) {
    constexpr int64_t one_page_of_rows = 256;
    if (lanes == line_complex) return n > 128 && n <= 512 && count > 2 ? 32 : 16;
    if (is_half_line(lanes)) return n < one_page_of_rows ? 8 : 16;
    return n < 2 * one_page_of_rows ? 8 : 16;
}

namespace {

// Slabs that take more are walked depth first, so that their stages run in the first-level cache.
constexpr int64_t depth_first_bytes = 24 << 10;

// Shorter rows take more instructions to be moved as whole lines than their misses may cost.
constexpr int64_t shortest_moved = 16;

// Whether walks have to see to whole lines where streams are `step` complex numbers apart.
bool collide_in(const codelet_table *table, int64_t streams, int64_t step) {
    const near_cache &cache = table->near;
    return cache.ways && streams_collide(cache, cache.ways, streams, step);
}

void copy_row(scalar *to, const scalar *from, int64_t count) {
    constexpr int64_t line = line_complex;
    int64_t j = 0;
    for (; j + line <= count; j += line) memcpy(to + 2 * j, from + 2 * j, 64);
    for (; j < count; ++j) memcpy(to + 2 * j, from + 2 * j, complex_bytes);
}

// What walks need to know of a stage.
struct slab_stage {
    const stage *d;
    const codelet_set *codelets;
};

slab_stage stage_at(const slab_stages &list, int64_t s) {
    const stage *d = list.stages + s;
    return {d, list.table->sets[d->sign != -1][d->r - 1]};
}

bool walks_depth_first(const slab_stages &list, int64_t h) {
    const stage &first = list.stages[0];
    return list.count > 2 && first.m * first.r * h * complex_bytes > depth_first_bytes;
}

// Complex numbers to leave out between the outputs of a first stage's butterflies, m rows of h
// apart: one row where they would else fall into few sets of the first-level cache.
int64_t gap_between_branches(const codelet_table *table, int64_t r, int64_t m, int64_t h) {
    const near_cache &cache = table->near.ways ? table->near : assumed_near_cache;
    const bool collide = set_distance(cache, m * h) == cache.way() ||
                         streams_collide(cache, cache.ways / 2, r, m * h);
    return collide ? h : 0;
}

// A first stage whose inputs collide: by way of rows that are copied as whole lines.
void walk_first_copied(const slab_stages &list, const slab &where, scalar *to, int64_t out_row,
                       int64_t out_p) {
    constexpr int64_t most_columns = shortest_moved;
    alignas(64) scalar rows[2 * most_columns * max_radix];
    const auto [d, codelets] = stage_at(list, 0);
    const int64_t m = d->m, r = d->r, h = where.width, in_q = m * where.in_row;
    for (int64_t j = 0; j < m; ++j)
        for (int64_t c = 0; c < h; c += most_columns) {
            const int64_t width = c + most_columns < h ? most_columns : h - c;
            const scalar *from = where.in + 2 * (j * where.in_row + c);
            for (int64_t q = 0; q < r; ++q)
                copy_row(rows + 2 * q * width, from + 2 * q * in_q, width);
            codelets->first_slab({1, 0, 0, width, out_p, width}, rows, to + 2 * (j * out_row + c));
        }
}

void walk_first(const slab_stages &list, const slab &where, scalar *to, int64_t out_row,
                int64_t out_p) {
    const auto [d, codelets] = stage_at(list, 0);
    const int64_t m = d->m, h = where.width;
    if (where.in_lane != 1)
        codelets->gathered_slab(d, where.in, where.in_row, where.in_lane, to, out_row, out_p, h);
    else if (h >= shortest_moved && list.count > 1 && where.in != to &&
             collide_in(list.table, d->r, m * where.in_row))
        walk_first_copied(list, where, to, out_row, out_p);
    else if (where.in_row == h && out_row == h)  // rows without gaps: one of m*h butterflies
        codelets->first_slab({1, 0, 0, m * h, out_p, m * h}, where.in, to);
    else
        codelets->first_slab({m, where.in_row, out_row, m * where.in_row, out_p, h}, where.in, to);
}

// A middle stage for `rows` rows of its matrix, first, first + step, ..: from and to hold these
// rows without gaps.
void walk_middle(const slab_stages &list, int64_t s, int64_t h, int64_t rows, int64_t first,
                 int64_t step, const scalar *from, scalar *to) {
    const auto [d, codelets] = stage_at(list, s);
    const int64_t row = d->m * h;
    codelets->twiddle_slab(d, {rows, d->r * row, row, row, rows * row, row, first, step}, from, to);
}

// The last stage for such rows, one by one, with outputs in split arrays. These are parted where
// they are whole rows of `width` numbers: full lines, where the rows of single butterflies would
// fall into few cache sets.
void walk_last_split(const slab_stages &list, const slab &where, int64_t rows, int64_t first,
                     int64_t step, const scalar *from) {
    const auto [d, codelets] = stage_at(list, list.count - 1);
    const auto &[re, im, out_row, room] = *where.split;
    const int64_t h = where.width;
    for (int64_t i = 0; i < rows; ++i) {
        const int64_t k = first + i * step;
        codelets->twiddle_slab(d, {1, 0, 0, h, h, h, k, 1}, from + 2 * i * d->r * h, room);
        list.table->splits.part_rows(re + k * out_row, im + k * out_row, d->L * out_row, room, h,
                                     d->r, h);
    }
}

// The last stage for such rows, whose outputs go to their places.
void walk_last(const slab_stages &list, const slab &where, int64_t rows, int64_t first,
               int64_t step, const scalar *from, const rotation *factors) {
    if (where.split) return walk_last_split(list, where, rows, first, step, from);
    const auto [d, codelets] = stage_at(list, list.count - 1);
    const int64_t h = where.width, out_row = where.out_row;
    const bool by_lines = h >= shortest_moved && collide_in(list.table, d->r, d->L * out_row);
    const column_walk walk = {rows, d->r * h, step * out_row, h,       d->L * out_row,
                              h,    first,    step,           by_lines};
    scalar *to = where.out + 2 * first * out_row;
    if (factors && codelets->rotated_slab)
        codelets->rotated_slab(d, walk, from, to, *factors, where.far);
    else if (where.far && codelets->far_slab)
        codelets->far_slab(d, walk, from, to);
    else
        codelets->twiddle_slab(d, walk, from, to);
}

// The stages after the first for the rows that come from row k0 of the first one's result, which
// is independent of the others: L2 to L1, then in L1.
void walk_branch(const slab_stages &list, const slab &where, int64_t k0, const scalar *from,
                 scalar *half_a, scalar *half_b, const rotation *factors) {
    const int64_t step = list.stages[0].r;
    int64_t rows = 1;
    for (int64_t s = 1; s < list.count - 1; ++s) {
        scalar *to = s % 2 == 1 ? half_a : half_b;
        walk_middle(list, s, where.width, rows, k0, step, from, to);
        rows *= list.stages[s].r;
        from = to;
    }
    walk_last(list, where, rows, k0, step, from, factors);
}

// Whether a slab of two stages is better off without scratch memory: where the first-level cache
// keeps little more than its output. Measured.
bool stays_in_output(const slab_stages &list, const slab &where) {
    constexpr int64_t most_bytes = 64 << 10;
    const stage &first = list.stages[0];
    return where.apart && !where.far && !where.split && list.count == 2 && where.in_lane == 1 &&
           first.m * first.r * where.out_row <= most_bytes / complex_bytes;
}

// The outputs of a first butterfly lie together in the output, so that those of a last one take the
// places of its inputs.
void walk_in_output(const slab_stages &list, const slab &where) {
    const auto [d, codelets] = stage_at(list, 1);
    const int64_t rows = d->L, row = where.out_row, step = rows * row;
    walk_first(list, where, where.out, step, row);
    codelets->twiddle_slab(d, {rows, row, row, step, step, where.width}, where.out, where.out);
}

}  // namespace

int64_t split_room(const slab_stages &list, int64_t width) {
    return list.stages[list.count - 1].r * width;
}

int64_t slab_scratch(const slab_stages &list, int64_t width) {
    if (list.count == 1) return 0;
    const auto &[codelet, m, L, is, os, twiddles, r, sign] = list.stages[0];
    const int64_t all = m * r * width;
    if (list.count == 2) return all;
    if (!walks_depth_first(list, width)) return 2 * all;
    // A slab that is not as wide may not be walked depth first.
    constexpr int64_t shallow = 2 * depth_first_bytes / complex_bytes;
    const int64_t deep = all + (r + 2 * m) * width;
    return deep > shallow ? deep : shallow;
}

void walk_slab(const slab_stages &list, const slab &where, scalar *scratch,
               const rotation *factors) {
    const int64_t h = where.width;
    if (list.count == 1 && where.split) {
        const auto &[re, im, row, room] = *where.split;
        walk_first(list, where, room, h, h);
        list.table->splits.part_rows(re, im, row, room, h, list.stages->r, h);
    } else if (list.count == 1) {
        walk_first(list, where, where.out, where.out_row, where.out_row);
    } else if (stays_in_output(list, where) && !factors) {
        walk_in_output(list, where);
    } else {
        const auto &[codelet, m, L, is, os, twiddles, r, sign] = list.stages[0];
        const bool depth_first = walks_depth_first(list, h);
        const bool apart =
            depth_first && where.in != scratch && (where.in_lane == 1 || list.table->near.ways);
        const int64_t gap = apart ? gap_between_branches(list.table, r, m, h) : 0;
        scalar *half_b = scratch + 2 * r * (m * h + gap);
        walk_first(list, where, scratch, h, m * h + gap);
        if (list.count == 2) {
            walk_last(list, where, r, 0, 1, scratch, factors);
        } else if (!depth_first) {
            const scalar *from = scratch;
            for (int64_t s = 1; s < list.count - 1; ++s) {
                scalar *to = s % 2 == 1 ? half_b : scratch;
                walk_middle(list, s, h, list.stages[s].L, 0, 1, from, to);
                from = to;
            }
            walk_last(list, where, list.stages[list.count - 1].L, 0, 1, from, factors);
        } else {
            for (int64_t k0 = 0; k0 < r; ++k0)
                walk_branch(list, where, k0, scratch + 2 * k0 * (m * h + gap), half_b,
                            half_b + 2 * m * h, factors);
        }
    }
    const stage &last = list.stages[list.count - 1];
    if (factors && (list.count == 1 || last.r > common_radix_limit))
        rotate_rows(where.out, where.out_row, h, last.L * last.r, last.r, list.table->lanes,
                    *factors);
}

}  // namespace lyr
