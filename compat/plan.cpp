// From the arguments of a constructor to a plan.
#include "plan.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace compat {

namespace {

bool rank_valid(int rank) {
    return rank >= 0;
}

// Kinds that have no transform of one number: the basis has no length.
bool kind_valid(int kind, ptrdiff_t n) {
    if (kind < LYR_FFT_R2HC || kind > LYR_FFT_RODFT11) return false;
    return kind != LYR_FFT_REDFT00 || n > 1;
}

// Dimensions of length 1 that only copy need not be stored: there may be any number of them.
bool copies(const request &r, ptrdiff_t n, int k) {
    if (n != 1) return false;
    return r.kind == problem_kind::c2c ||
           (r.kind == problem_kind::r2r && r.kinds[k] <= LYR_FFT_DHT);
}

// Stands for arrays that are given later.
void fill_in_missing_arrays(problem &p) {
    arrays &a = p.at;
    const auto stand_in = [](int which) { return reinterpret_cast<real *>(uintptr_t{1} << which); };
    const bool both = !a.ri && !a.ro;
    if (!a.ri) a.ri = stand_in(48);
    if (!a.ro) a.ro = both ? a.ri : stand_in(49);
    if (!p.split) return;
    const bool in = p.kind != problem_kind::r2c, out = p.kind != problem_kind::c2r;
    if (in && !a.ii) a.ii = stand_in(50);
    if (out && !a.io) a.io = both && in ? a.ii : stand_in(51);
}

template <class dimension>
refusal copy_dimensions(problem &p, const request &r, int rank, const dimension *dims,
                        int batch_rank, const dimension *batch, bool &good) {
    good = false;
    if (!rank_valid(rank) || !rank_valid(batch_rank)) return refusal::arguments;
    if ((rank > 0 && !dims) || (batch_rank > 0 && !batch)) return refusal::arguments;
    if (r.kind == problem_kind::r2r && rank > 0 && !r.kinds) return refusal::arguments;
    for (int k = 0; k < rank; ++k) {
        if (dims[k].n < 1) return refusal::length;
        if (r.kind == problem_kind::r2r && !kind_valid(r.kinds[k], dims[k].n)) return refusal::kind;
    }
    for (int k = 0; k < batch_rank; ++k)
        if (batch[k].n < 0) return refusal::length;
    for (int k = 0; k < rank; ++k) {
        if (copies(r, dims[k].n, k)) continue;
        if (p.rank == most_dimensions) return refusal::memory;
        if (r.kind == problem_kind::r2r) p.kinds[p.rank] = r.kinds[k];
        p.dims[p.rank++] = {dims[k].n, dims[k].is, dims[k].os};
    }
    for (int k = 0; k < batch_rank; ++k) {
        if (batch[k].n == 1) continue;
        if (p.batch_rank == most_dimensions) return refusal::memory;
        p.batch[p.batch_rank++] = {batch[k].n, batch[k].is, batch[k].os};
    }
    good = true;
    return refusal::arguments;
}

bool is_empty(const problem &p) {
    for (int k = 0; k < p.batch_rank; ++k)
        if (p.batch[k].n == 0) return true;
    return false;
}

// "c2c forward 16:1:1,batch 4:16:16,in place"
void write_text(char *text, size_t size, const problem &p, bool in_place) {
    static const char *const names[] = {"c2c", "r2c", "c2r", "r2r"};
    size_t used = 0;
    const auto put = [&](const char *format, auto... values) {
        if (used < size)
            used += static_cast<size_t>(snprintf(text + used, size - used, format, values...));
    };
    put("%s%s", p.split ? "split " : "", names[static_cast<int>(p.kind)]);
    if (p.kind == problem_kind::c2c) put(" %s", p.sign == -1 ? "forward" : "backward");
    put("%s", " ");
    for (int k = 0; k < p.rank; ++k)
        put("%s%td:%td:%td", k ? "x" : "", p.dims[k].n, p.dims[k].is, p.dims[k].os);
    if (p.rank == 0) put("%s", "copy");
    for (int k = 0; k < p.batch_rank; ++k)
        put("%s%td:%td:%td", k ? "x" : " * ", p.batch[k].n, p.batch[k].is, p.batch[k].os);
    put("%s", in_place ? " in place" : "");
}

template <class dimension>
plan *make(const request &r, int rank, const dimension *dims, int batch_rank,
           const dimension *batch) {
    problem *p = static_cast<problem *>(calloc(1, sizeof(problem)));
    plan *made = static_cast<plan *>(calloc(1, sizeof(plan)));
    refusal why = refusal::memory;
    if (p && made) {
        p->kind = r.kind;
        p->sign = r.kind == problem_kind::c2c ? r.sign : 0;
        p->split = r.split;
        p->at = r.at;
        bool good;
        why = copy_dimensions(*p, r, rank, dims, batch_rank, batch, good);
        if (good) {
            fill_in_missing_arrays(*p);
            p->in_place = shares_arrays(p->at);
            const uint64_t hash = problem_hash(*p);
            const int rigour = rigour_of(r.flags);
            made->at = r.at;
            made->kind = r.kind;
            made->split = r.split;
            made->rank = p->rank;
            made->points = 1;
            for (int k = 0; k < p->rank; ++k) {
                made->points *= static_cast<double>(p->dims[k].n);
                made->log_points += log2(static_cast<double>(p->dims[k].n));
            }
            for (int k = 0; k < p->batch_rank; ++k)
                made->points *= static_cast<double>(p->batch[k].n);
            write_text(made->text, sizeof made->text, *p, p->in_place);
            why = refusal::memory;
            if ((r.flags & flag_wisdom_only) && !wisdom_knows(hash, rigour))
                why = refusal::wisdom;
            else if (is_empty(*p))
                made->root = build_nothing();
            else
                made->root = build(*p);
            if (made->root) wisdom_note(hash, rigour);
        }
    }
    free(p);
    if (made && made->root) {
        if (report_wanted()) report_plan(made);
        made->run = made->root->run;
        return made;
    }
    free(made);
    if (report_wanted()) report_refused(r, why);
    return nullptr;
}

}  // namespace

plan *make_plan(const request &r, int rank, const iodim64 *dims, int batch_rank,
                const iodim64 *batch) {
    return make(r, rank, dims, batch_rank, batch);
}

plan *make_plan(const request &r, int rank, const iodim *dims, int batch_rank, const iodim *batch) {
    return make(r, rank, dims, batch_rank, batch);
}

namespace {

// Physical extent of dimension k when the caller gives none: the halved dimension has n/2+1 complex
// numbers, and in place as many pairs of reals.
ptrdiff_t default_extent(const request &r, const many_layout &l, int k, bool complex_side) {
    const ptrdiff_t n = l.n[k];
    const bool halved =
        (r.kind == problem_kind::r2c || r.kind == problem_kind::c2r) && k == l.rank - 1;
    if (!halved) return n;
    if (complex_side) return n / 2 + 1;
    return r.at.ri == r.at.ro ? 2 * (n / 2 + 1) : n;
}

void fill_strides(const request &r, const many_layout &l, iodim64 *dims) {
    ptrdiff_t is = l.istride, os = l.ostride;
    for (int k = l.rank - 1; k >= 0; --k) {
        dims[k] = {l.n[k], is, os};
        is *= l.inembed ? l.inembed[k] : default_extent(r, l, k, r.kind == problem_kind::c2r);
        os *= l.onembed ? l.onembed[k] : default_extent(r, l, k, r.kind == problem_kind::r2c);
    }
}

}  // namespace

plan *make_plan(const request &r, const many_layout &l) {
    const iodim64 batch = {l.howmany, l.idist, l.odist};
    if (l.rank > 0 && l.n) {
        iodim64 *dims =
            static_cast<iodim64 *>(malloc(static_cast<size_t>(l.rank) * sizeof(iodim64)));
        if (!dims) {
            if (report_wanted()) report_refused(r, refusal::memory);
            return nullptr;
        }
        fill_strides(r, l, dims);
        plan *p = make_plan(r, l.rank, dims, 1, &batch);
        free(dims);
        return p;
    }
    return make_plan(r, l.rank, static_cast<const iodim64 *>(nullptr), 1, &batch);
}

}  // namespace compat
