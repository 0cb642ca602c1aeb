// In place: all small layouts, against the definitions; what is refused; the planner's judgement of
// which elements share a place, against a count of them.
#include <set>

#include "planner/places.h"
#include "small_layouts.h"
#include "support.h"

namespace {

using namespace lyr_test;

// A plan, and a right one, for every layout whose results do not fall on each other, and no plan
// for the others.
TEST(in_place, small_layouts) {
    random_source random{13};
    const auto next = [&random] { return random.uniform(); };
    int64_t tried = 0, planned = 0;
    for (const layout_kind &kind : layout_kinds)
        for (const layout_family &family : layout_families) {
            if (family.rank == 0 && kind.kind != transform::c2c && kind.kind != transform::r2r)
                continue;
            for_each_layout(kind, family, test_scale, [&](const small_layout &l) {
                if (HasFailure()) return;
                const std::vector<int64_t> in = places_of(l, side::in),
                                           out = places_of(l, side::out);
                const bool possible = !has_duplicates(out) || changes_nothing(l, in, out);
                const outcome o = try_layout(l, in, out, next, run_with_library);
                ++tried;
                planned += possible;
                EXPECT_EQ(o, possible ? outcome::right : outcome::refused) << text_of(l);
            });
        }
    EXPECT_GT(planned, tried / 4);
}

// ---- Which elements share a place ---------------------------------------------------------------

lyr::plan record_of(const small_layout &l) {
    static scalar block[block_doubles];
    constexpr int32_t kinds[] = {kind_complex, kind_r2c, kind_c2r, kind_r2r};
    lyr::plan p = {};
    p.kind = kinds[static_cast<int>(l.p.kind)];
    p.split = l.p.split ? 1 : -1;
    p.rank = l.p.rank;
    p.howmany_rank = l.p.batch_rank;
    std::copy(l.p.dims, l.p.dims + 3, p.dims);
    std::copy(l.p.batch, l.p.batch + 3, p.howmany_dims);
    p.in = block + l.in[0];
    p.out = block + l.out[0];
    if (l.p.split && l.p.kind != transform::r2c) p.in_imag = block + l.in[1];
    if (l.p.split && l.p.kind != transform::c2r) p.out_imag = block + l.out[1];
    return p;
}

// The places of the transforms number i of the first `dimensions` of the batch, in ascending order.
std::vector<std::set<int64_t>> places_by_transform(const small_layout &l, side s, int dimensions) {
    const std::vector<int64_t> all = places_of(l, s);
    size_t count = 1;
    for (int d = 0; d < dimensions; ++d) count *= static_cast<size_t>(l.p.batch[d].n);
    std::vector<std::set<int64_t>> sets(count);
    for (size_t k = 0; k < all.size(); ++k) sets[k / (all.size() / count)].insert(all[k]);
    return sets;
}

bool meet(const std::set<int64_t> &a, const std::set<int64_t> &b) {
    return std::any_of(a.begin(), a.end(), [&](int64_t place) { return b.count(place) > 0; });
}

bool walkable(const small_layout &l, int dimensions) {
    const auto in = places_by_transform(l, side::in, dimensions);
    const auto out = places_by_transform(l, side::out, dimensions);
    for (size_t i = 0; i < in.size(); ++i)
        for (size_t j = i + 1; j < in.size(); ++j)
            if (meet(out[i], in[j])) return false;
    return true;
}

bool works_one_by_one(const small_layout &l, bool any_order) {
    const lyr_fft_iodim64 &outer = l.p.batch[0];
    if (outer.n == 1) return true;
    const int64_t width_in = !l.p.split && is_complex(l.p, side::in) ? 2 : 1;
    const int64_t width_out = !l.p.split && is_complex(l.p, side::out) ? 2 : 1;
    if (outer.is * width_in != outer.os * width_out) return false;
    const auto in = places_by_transform(l, side::in, 1), out = places_by_transform(l, side::out, 1);
    for (size_t i = 0; i < in.size(); ++i)
        for (size_t j = 0; j < in.size(); ++j) {
            if (i == j) continue;
            if ((i < j || any_order) && meet(out[i], in[j])) return false;
            if (meet(in[i], in[j])) return false;
        }
    return true;
}

TEST(in_place, elements_that_share_a_place) {
    for (const layout_kind &kind : layout_kinds)
        for (const layout_family &family : layout_families) {
            if (family.rank == 0 && kind.kind != transform::c2c) continue;
            for_each_layout(kind, family, 37 * test_scale, [&](const small_layout &l) {
                if (HasFailure()) return;
                SCOPED_TRACE(text_of(l));
                const lyr::plan p = record_of(l);
                EXPECT_EQ(lyr::outputs_overlap(&p), has_duplicates(places_of(l, side::out)));
                EXPECT_EQ(lyr::inputs_overlap(&p), has_duplicates(places_of(l, side::in)));
                if (l.p.batch_rank == 0) return;
                EXPECT_EQ(lyr::works_one_by_one(&p), works_one_by_one(l, false));
                EXPECT_EQ(lyr::works_one_by_one(&p, lyr::batch_order::any),
                          works_one_by_one(l, true));
                int dimensions = 0;
                while (dimensions < l.p.batch_rank && walkable(l, dimensions + 1)) ++dimensions;
                EXPECT_EQ(lyr::walkable_dimensions(&p), dimensions);
            });
        }
}

// Long dimensions through each other are judged exactly as well, and at once.
TEST(in_place, long_layouts) {
    struct example {
        lyr_fft_iodim64 dims[2];  // of a copy in place
        bool overlap;
    };
    constexpr int64_t million = 1000000;
    const example examples[] = {
        {{{million, 1, million}, {million, million, 1}}, false},
        {{{million, 1, million - 1}, {million, million, 1}}, true},
        {{{million, 1, 1999999}, {million, million, 2000003}}, false},
        {{{2000004, 1, 1999999}, {2000000, million, 2000003}}, true},
        {{{3 * million, 1, 5999997}, {3 * million, million, 6000009}}, true},
    };
    for (const example &e : examples) {
        lyr::plan p = {};
        p.kind = kind_complex;
        p.split = -1;
        p.howmany_rank = 2;
        std::copy(e.dims, e.dims + 2, p.howmany_dims);
        EXPECT_EQ(lyr::outputs_overlap(&p), e.overlap) << &e - examples;
    }
}

}  // namespace
