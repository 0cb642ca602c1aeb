// The plan record: problem descriptor and solved plan in one.
//
// Vocabulary used everywhere in the library:
//   n      length of a transform                 L      product of the radices of earlier stages
//   r      radix of a stage                      m      n / (L * r): butterflies per row of a stage
//   is,os  input and output stride, in elements  sign   -1 forward, +1 backward
//   h      number of transforms in a batch       work   scratch memory that an execution is lent
//   twiddles  roots of unity
// Lengths, strides and distances count elements of the array they belong to, never bytes.
#pragma once

#include <cstdint>

#include "interface.h"
#include "planner/executor.h"
#include "precision.h"

enum { kind_complex = 0, kind_c2r = 1, kind_r2c = 2, kind_r2r = 3, kind_rotated_batch = 7 };

namespace lyr {

// What parents ask about a child: how it works, as far as they can do its work in a better way of
// their own.
enum class plan_form : int32_t {
    other,
    codelet,            // one transform: a call of a codelet
    unit,               // one transform: a call of a transform whole in registers, or of a prime
    two_stages,         // one transform: stages in aux (two_stages_of)
    stages,             // one transform: stages in aux (stages_of)
    paired_stages,      // the same, executed two at a time
    turned_stages,      // the same, turned in between: only its own executor can run them
    turned_two,         // two stages, turned in between (pairs_of)
    turned_three,       // three stages, turned after the first one (pairs_of)
    own_stages,         // stages in aux (stages_of), which only the plan's own executor can run
    slabs,              // transforms side by side: a slab_batch in solver_words
    gathered_slabs,     // the same with input one after another
    loop,               // a batch: transform after transform of the child
    rows_then_columns,  // several dimensions: two children, the second one for the outermost
};

}  // namespace lyr

struct lyr_fft_plan_s {
    // The problem: filled by constructors and by the solvers that make child plans.
    int32_t kind;
    int64_t sign;   // -1 forward, +1 backward, 0 for real-to-real
    int64_t split;  // -1 interleaved arrays, 1 separate real and imaginary arrays
    int32_t rank;
    lyr_fft_iodim64 dims[3];  // dims[rank - 1] is the innermost
    int32_t r2r_kinds[3];
    int32_t howmany_rank;
    lyr_fft_iodim64 howmany_dims[3];
    lyr::scalar *in;
    lyr::scalar *in_imag;
    lyr::scalar *out;
    lyr::scalar *out_imag;
    int32_t shares_stages;  // 1: other executors may run the stages of the plan or of its children,
                            // by codelets that wide radices do not have

    // The solution: filled by the solver that accepts the problem.
    unsigned char solver_words[48];
    lyr::executor execute_fn;
    uint64_t scratch_bytes;  // that an execution takes, that of the children included
    lyr::split_executor execute_split_fn;
    const char *execute_name;
    lyr::plan_form form;
    uint64_t work_bytes;  // the executor's own scratch; that of the children lies behind it
    int64_t shares;       // threads that execute children at the same time, each with scratch
                          // for a child of its own; 0 counts as 1
    int32_t any_count;    // the executor also serves fewer transforms than were planned: a copy
                          // of the record with a smaller howmany_dims[0].n
    void *aux;
    uint64_t aux_bytes;
    uint32_t aux_owned;
    int32_t nchildren;
    lyr_fft_plan_s *children;

    int32_t far_output;       // 1: the output is more than caches keep, and nothing in the library
                              // reads it, in place too; solvers hand it on to children that write
                              // such output
    int64_t nthreads;         // the thread count in force when the plan was made
    int64_t peers;            // chunks of a batch like this one, itself included, that threads work
                              // off at the same time; 0 counts as 1
    int32_t reserved;         // a root for which scratch_reserve was called
    const char *solver_name;  // registry name of the solver that accepted the problem
};

namespace lyr {

// Stands for inembed or onembed: extents n when null.
void plan_fill_dims(plan *p, int rank, const int *n, const int *inembed, int istride,
                    const int *onembed, int ostride);

// A zero-filled array of `count` records, or null (count below 1, out of memory). The plan that
// stores it in `children` owns it.
plan *plan_alloc_children(int64_t count);

// Copies the problem fields of `from` into the zero-filled record `to`.
void plan_copy_problem(plan *to, const plan *from);

// Takes the outermost dimension out of the batch of p, which has one.
void plan_drop_batch_dimension(plan *p);

// Releases all that a solver attached; the problem fields stay. Null is ignored.
void plan_clear(plan *p);

// Bytes from the scratch of one of several threads to that of the next, each of `bytes`: with a
// page in between, since processors fetch lines ahead of those that a thread reads, and would take
// them from a neighbour that writes them.
inline uint64_t thread_scratch(uint64_t bytes, int64_t threads) {
    constexpr uint64_t page = 4096;
    return threads > 1 ? (bytes + 2 * page - 1) / page * page : bytes;
}

// The place in an execution's scratch where that of the children begins, or that of the children
// that thread `share` executes.
inline scalar *scratch_below(const plan *p, scalar *scratch, int64_t share = 0) {
    const uint64_t own = (p->work_bytes + 63) / 64 * (64 / scalar_bytes);
    const uint64_t each = share && p->nchildren ? (p->scratch_bytes / scalar_bytes - own) /
                                                      static_cast<uint64_t>(p->shares)
                                                : 0;
    return scratch + own + static_cast<uint64_t>(share) * each;
}

// Stand for arrays in scratch memory while plans are made: no other array is there. A plan has a
// few, told apart by `which`. Nothing is read or written through them.
inline scalar *scratch_array(const plan *p, int which = 0) {
    return reinterpret_cast<scalar *>(const_cast<unsigned char *>(p->solver_words)) + which;
}

// Tries the solvers of the registry in order. 0: solved. -1: no solver accepts the problem, the
// record holds only its problem again.
int32_t plan_solve(plan *p);

// Sets scratch_bytes of a plan that a solver was called for directly: the executor's own scratch,
// and behind it what the neediest of the children takes, once for every thread. plan_solve does it.
void plan_sum_scratch(plan *p);

// Bytes of one input or output element.
inline int64_t input_element_bytes(const plan *p) {
    return p->kind == kind_r2c || p->kind == kind_r2r ? scalar_bytes : complex_bytes;
}
inline int64_t output_element_bytes(const plan *p) {
    return p->kind == kind_c2r || p->kind == kind_r2r ? scalar_bytes : complex_bytes;
}

// Byte-wise step into an array.
inline scalar *advance(scalar *array, int64_t bytes) {
    return reinterpret_cast<scalar *>(reinterpret_cast<char *>(array) + bytes);
}

// True for the layout that contiguous codelets serve: one dimension, both strides 1.
inline bool unit_strides(const plan *p) {
    return p->dims[0].is == 1 && p->dims[0].os == 1;
}

}  // namespace lyr
