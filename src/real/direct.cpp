#include "real/direct.h"

#include <bit>

#include "api/memory.h"
#include "planner/places.h"

namespace lyr {

real_kernel find_real(const real_entry (&entries)[real_sizes], int64_t n) {
    for (const real_entry &entry : entries)
        if (entry.n == n) return entry.kernel;
    return nullptr;
}

int real_exponent(int64_t n) {
    const auto bits = static_cast<uint64_t>(n);
    if (n < 2 || n > longest_real || !std::has_single_bit(bits)) return 0;
    return std::countr_zero(bits);
}

bool build_real_block(plan *p, real_kernel kernel, int64_t to_imaginary, int64_t rs, int64_t csr,
                      int64_t csi) {
    if (!kernel) return false;
    const int64_t n = p->dims[0].n;
    const uint64_t bytes = static_cast<uint64_t>(n + 1) * sizeof(real_block);
    auto *block = static_cast<real_block *>(aligned_alloc_zero(bytes));
    if (!block) return false;
    *block = {n, to_imaginary, kernel};
    auto *tables = reinterpret_cast<int64_t *>(block + 1);
    for (int64_t k = 0; k < n; ++k) {
        tables[k] = k * rs;
        tables[n + k] = k * csr;
        tables[2 * n + k] = k * csi;
    }
    p->aux = block;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    p->any_count = 1;
    return true;
}

bool direct_layout(const plan *p) {
    if (p->split == 1 || p->rank != 1) return false;
    // A codelet reads a transform before it writes it.
    return p->howmany_rank == 0 || (p->howmany_rank == 1 && works_one_by_one(p));
}

}  // namespace lyr
