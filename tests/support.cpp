#include "support.h"

#include <bit>

#include "planner/describe.h"

#ifdef LYRA_TEST_EMULATED_AVX512
namespace lyr::avx512_emulated {
extern const codelet_table table;
}
#endif

// Requests that cannot be met return null, as without sanitizers.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace lyr_test {

using lyr_tools::side;

const std::vector<const lyr::codelet_table *> &all_tables() {
    static const std::vector<const lyr::codelet_table *> tables = [] {
        std::vector<const lyr::codelet_table *> list;
        for (const lyr::codelet_table *const *t = lyr::supported_tables(); *t; ++t)
            list.push_back(*t);
#ifdef LYRA_TEST_EMULATED_AVX512
        list.push_back(&lyr::avx512_emulated::table);
#endif
        return list;
    }();
    return tables;
}

with_table::with_table(const lyr::codelet_table *table) : before(lyr::active_table()) {
    lyr::set_active_table(table);
}

with_table::~with_table() {
    lyr::set_active_table(before);
}

uint64_t random_source::next() {
    uint64_t z = state += 0x9e37'79b9'7f4a'7c15U;
    z = (z ^ (z >> 30)) * 0xbf58'476d'1ce4'e5b9U;
    z = (z ^ (z >> 27)) * 0x94d0'49bb'1331'11ebU;
    return z ^ (z >> 31);
}

lyr_tools::problem problem_of(const std::string &text) {
    lyr_tools::problem p;
    std::string error;
    if (!lyr_tools::parse_problem(text, int64_t{1} << 30, p, error)) {
        ADD_FAILURE() << text << ": " << error;
        return {};
    }
    return p;
}

lyr_tools::buffers buffers_of(const lyr_tools::problem &p, bool misaligned) {
    lyr_tools::buffer_options options;
    options.misaligned = misaligned;
    lyr_tools::buffers b;
    std::string error;
    if (!make_buffers(p, options, b, error)) ADD_FAILURE() << error;
    return b;
}

std::string plan_text(const lyr_fft_plan_s *plan) {
    std::string text;
    const auto line = [](void *context, int depth, const char *words) {
        std::string &all = *static_cast<std::string *>(context);
        all += std::string(static_cast<size_t>(2 * depth), ' ') + words + "\n";
    };
    lyr::plan_describe(plan, line, &text);
    return text;
}

bool same_outputs(const lyr_tools::problem &p, const lyr_tools::buffers &a,
                  const lyr_tools::buffers &b) {
    bool same = true;
    for_each_transform(p, side::out, [&](int64_t start) {
        for_each_element(p, side::out, [&](int64_t offset) {
            const auto x = load_element(p, a, side::out, start + offset);
            const auto y = load_element(p, b, side::out, start + offset);
            same = same && std::bit_cast<uint64_t>(x.re) == std::bit_cast<uint64_t>(y.re) &&
                   std::bit_cast<uint64_t>(x.im) == std::bit_cast<uint64_t>(y.im);
        });
    });
    return same;
}

}  // namespace lyr_test
