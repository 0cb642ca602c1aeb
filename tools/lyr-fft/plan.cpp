// lyr-fft plan: how the library computes a problem.

#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "buffers.h"
#include "commands.h"
#include "planner/describe.h"
#include "planner/scratch.h"
#include "problem.h"
#include "problem_arguments.h"

namespace lyr_tools {

namespace {

// Larger arrays than the processor has addresses for.
constexpr int64_t address_limit = int64_t{1} << 46;

// Addresses for the arrays of a problem, without memory behind them: planning reads and writes no
// data.
class address_space {
  public:
    explicit address_space(const problem &p) {
        for (const side s : {side::in, side::out}) {
            if (s == side::out && p.in_place) {
                std::copy(std::begin(b.in), std::end(b.in), std::begin(b.out));
                continue;
            }
            const bool two = p.split && is_complex(p, s);
            for (int part = 0; part < (two ? 2 : 1); ++part) {
                const int64_t width =
                    is_complex(p, s) && !two ? lyr::complex_bytes : lyr::scalar_bytes;
                // In place the larger side counts.
                const int64_t in = extent(p, side::in), out = extent(p, side::out);
                const int64_t elements = p.in_place ? std::max(in, out) : extent(p, s);
                (s == side::in ? b.in : b.out)[part] = reserve(
                    static_cast<size_t>(elements * (p.in_place ? lyr::complex_bytes : width)));
            }
        }
    }
    ~address_space() {
        for (const auto &[start, bytes] : pieces) munmap(start, bytes);
    }
    address_space(const address_space &) = delete;
    address_space &operator=(const address_space &) = delete;

    bool good() const { return complete; }

    buffers b;

  private:
    scalar *reserve(size_t bytes) {
        void *start =
            mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (start == MAP_FAILED) {
            complete = false;
            return nullptr;
        }
        pieces.emplace_back(start, bytes);
        return static_cast<scalar *>(start);
    }

    std::vector<std::pair<void *, size_t>> pieces;
    bool complete = true;
};

// Plans beyond that have no plan: running out of memory would end other programs, too.
int64_t limit_own_memory() {
    const int64_t half = 2 * memory_limit();
    rlimit limit;
    if (getrlimit(RLIMIT_DATA, &limit) == 0 && limit.rlim_cur > static_cast<rlim_t>(half)) {
        limit.rlim_cur = static_cast<rlim_t>(half);
        setrlimit(RLIMIT_DATA, &limit);
    }
    return half;
}

// Print a text after `indent` blanks; lines longer than 80 columns go on four columns further
// right.
void print_wrapped(int indent, std::string text) {
    for (int more = 0;; more = 4) {
        const auto room = static_cast<size_t>(std::max(80 - indent - more, 40));
        size_t length = text.size();
        if (length > room) {
            length = text.rfind(' ', room);
            if (length == std::string::npos) length = std::min(text.find(' '), text.size());
        }
        print("%*s%s\n", indent + more, "", text.substr(0, length).c_str());
        if (length >= text.size()) return;
        text.erase(0, length + 1);
    }
}

void print_solver_line(void *, int depth, const char *text) {
    const auto blanks = std::strspn(text, " ");
    print_wrapped(2 + 2 * depth + static_cast<int>(blanks), text + blanks);
}

// ---- The short view -----------------------------------------------------------------------------

// What the solvers do, for those who do not know them.
struct method {
    const char *solver, *words;
};
constexpr method methods[] = {
    {"solve_problem_rearrange_inplace", "numbers moved, in place"},
    {"solve_problem_rearrange_outplace", "numbers copied"},
    {"solve_problem_dft_split", "split arrays joined, transformed, and parted again"},
    {"solve_problem_dft_many_split", "split arrays, one after another"},
    {"solve_problem_nop", "numbers copied"},
    {"solve_problem_dft_unit", "1 pass"},
    {"solve_problem_real_unit", "1 pass"},
    {"solve_problem_many_inside", "rows, then columns, side by side"},
    {"solve_problem_odd_real_large", "a plane, in two passes over half of it"},
    {"solve_problem_c2r_multidimension_many", "rows and columns, side by side"},
    {"solve_problem_r2c_multidimension_many", "rows and columns, side by side"},
    {"solve_problem_dft_many_multithread", "shared among threads"},
    {"solve_bufferized_problem", "columns, a few at a time through a buffer"},
    {"solve_indirect_problem", "transposed, then one after another"},
    {"solve_problem_dft_many_transpose", "side by side"},
    {"solve_problem_dft_many_post_transpose", "results stored side by side"},
    {"solve_problem_r2c_1d_direct", "1 pass"},
    {"solve_problem_r2c_many_direct", "1 pass"},
    {"solve_problem_c2r_direct", "1 pass"},
    {"solve_problem_r2hc_direct", "1 pass"},
    {"solve_problem_hc2r_direct", "1 pass"},
    {"solve_problem_dht_direct", "1 pass"},
    {"solve_problem_redft00_direct", "1 pass"},
    {"solve_problem_c2r_many", "side by side"},
    {"solve_problem_r2c_many", "side by side"},
    {"solve_problem_r2hc_many", "side by side"},
    {"solve_problem_dft_many", "one after another"},
    {"solve_problem_c2c_1d_rader", "a large prime factor as a convolution (Rader)"},
    {"solve_problem_c2c_1d_bluestein", "a convolution of a better length (Bluestein)"},
    {"solve_problem_c2c_1d_large", "a plane, in two passes over memory"},
    {"solve_problem_dft_direct", "1 pass"},
    {"solve_problem_r2c_1d", "a complex transform, and a pass after it"},
    {"solve_problem_c2r_1d", "a pass, and a complex transform"},
    {"solve_problem_r2hc_1d", "a real-to-complex transform, reordered"},
    {"solve_problem_hc2r_1d", "reordered, a complex-to-real transform"},
    {"solve_problem_dht_1d", "a real-to-complex transform, and a pass after it"},
    {"solve_problem_redft00_1d", "a transform of another kind between two passes"},
    {"solve_problem_r2r_1d", "a complex transform between two passes"},
    {"solve_problem_multidimension", "rows, then columns"},
    {"solve_problem_c2r_multidimension", "columns, then rows"},
    {"solve_problem_inplace_buffered", "through a buffer, and copied to their places"},
    {"solve_problem_dft_many_transpose_rotate", "columns, turned into rows"},
};

std::string words_of(const lyr::plan *p) {
    // Plans that run as two passes may come from the solver of stages too.
    const std::string_view solver = std::strcmp(p->execute_name, "execute_c2c_1d_large") == 0
                                        ? "solve_problem_c2c_1d_large"
                                        : p->solver_name;
    std::string words;
    for (const method &m : methods)
        if (solver == m.solver) words = m.words;
    int64_t radices[lyr::most_stages];
    const int passes = lyr::plan_stages(p, radices);
    if (passes == 0) {
        if (!words.empty()) return words;
        return solver == "solve_problem_c2c_1d" ? "1 pass" : std::string(solver);
    }
    if (passes == 1 && !words.empty()) return words;
    words += (words.empty() ? "" : ", ") + std::to_string(passes) +
             (passes == 1 ? " pass, radix " : " passes, radices ");
    for (int k = 0; k < passes; ++k) words += (k > 0 ? " x " : "") + std::to_string(radices[k]);
    return words;
}

// "10 of 60 x 48 complex"
std::string shape_of(const lyr::plan *p) {
    static const char *const kinds[] = {"complex", "complex to real", "real to complex",
                                        "real to real"};
    std::string text;
    for (int k = 0; k < p->howmany_rank; ++k)
        text += std::to_string(p->howmany_dims[k].n) + (k + 1 < p->howmany_rank ? " x " : " of ");
    for (int k = 0; k < p->rank; ++k) text += (k > 0 ? " x " : "") + std::to_string(p->dims[k].n);
    if (p->rank == 0) text += "1 number";
    return text + ", " + kinds[p->kind <= kind_r2r ? p->kind : 0];
}

struct line {
    int depth;
    std::string text;
};

// The steps of a plan, without the shape of the first: what equal siblings have in common.
void describe_steps(const lyr::plan *p, int depth, std::vector<line> &lines) {
    lines.push_back({depth, words_of(p)});
    std::vector<line> before;
    size_t shown_at = 0;
    int repeated = 0;
    const auto note = [&] {
        if (repeated > 0) lines[shown_at].text += " (and " + std::to_string(repeated) + " like it)";
        repeated = 0;
    };
    for (int32_t i = 0; i < p->nchildren; ++i) {
        std::vector<line> child;
        describe_steps(p->children + i, depth + 1, child);
        const bool same = std::equal(
            child.begin(), child.end(), before.begin(), before.end(),
            [](const line &a, const line &b) { return a.depth == b.depth && a.text == b.text; });
        if (same) {
            ++repeated;
            continue;
        }
        note();
        shown_at = lines.size();
        before = child;
        child[0].text = shape_of(p->children + i) + ": " + child[0].text;
        lines.insert(lines.end(), child.begin(), child.end());
    }
    note();
}

struct needs {
    uint64_t tables = 0;
    int64_t threads = 1;
};

void add_needs(const lyr::plan *p, needs &sum) {
    if (p->aux_owned) sum.tables += p->aux_bytes;
    const std::string_view solver = p->solver_name, executor = p->execute_name;
    sum.threads = std::max(sum.threads, p->shares);
    if (solver == "solve_problem_dft_many_transpose_rotate" ||
        (executor.starts_with("execute_1d_") && executor.ends_with("_multithread")))
        sum.threads = std::max(sum.threads, p->nthreads);
    for (int32_t i = 0; i < p->nchildren; ++i) add_needs(p->children + i, sum);
}

std::string size_text(double bytes) {
    static const char *const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    int unit = 0;
    for (; bytes >= 1024 && unit < 4; ++unit) bytes /= 1024;
    char text[40];
    std::snprintf(text, sizeof text, bytes < 9.95 && unit > 0 ? "%.1f %s" : "%.0f %s", bytes,
                  units[unit]);
    return text;
}

void print_short(const problem &p, const lyr::plan *plan) {
    std::vector<line> lines;
    describe_steps(plan, 0, lines);
    lines[0].text = shape_of(plan) + ": " + lines[0].text;
    for (const line &l : lines) print_wrapped(2 + 2 * l.depth, l.text);
    needs n;
    add_needs(plan, n);
    print_wrapped(2, "memory: arrays " + size_text(static_cast<double>(problem_bytes(p))) +
                         ", scratch " + size_text(static_cast<double>(plan->scratch_bytes)) +
                         (plan->scratch_bytes == 0                         ? ""
                          : plan->scratch_bytes > lyr::stack_scratch_bytes ? " (lent)"
                                                                           : " (on the stack)") +
                         ", tables " + size_text(static_cast<double>(n.tables)));
    print("  threads: %lld\n", static_cast<long long>(n.threads));
}

int run_plan(const problem_arguments &arguments, bool solvers) {
    std::vector<problem> problems;
    std::string error;
    if (!take_problems(arguments, address_limit, ", more than there are addresses", problems,
                       error))
        return fail("%s", error.c_str());
    const int64_t half = limit_own_memory();
    int status = 0;
    for (const problem &p : problems) {
        const std::string name = format_problem(p);
        const address_space arrays(p);
        if (!arrays.good()) return fail("%s: no addresses for its arrays", name.c_str());
        lyr_fft_plan plan = make_plan(p, arrays.b);
        print("%s\n", name.c_str());
        if (plan == nullptr) {
            print("  no plan, or none that fits into half of the memory, %s\n",
                  size_text(static_cast<double>(half)).c_str());
            status = 1;
            continue;
        }
        if (solvers)
            lyr::plan_describe(plan, print_solver_line, nullptr);
        else
            print_short(p, plan);
        lyr_fft_destroy_plan(plan);
    }
    return status;
}

}  // namespace

command add_plan(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("plan", "Show how problems are computed");
    auto values = std::make_shared<problem_arguments>();
    auto solvers = std::make_shared<bool>(false);
    add_problems(*arguments, *values);
    arguments->add_flag("--solvers", *solvers, "Show names of solvers, strides and bytes");
    arguments->footer(
        "Each line is a step: so many transforms of so many points, and how they are\n"
        "done; steps that it is made of follow, indented. A pass reads and writes all\n"
        "numbers once, by transforms of the length that is called its radix. Arrays are\n"
        "not allocated, so lengths may be larger than memory.\n\n"
        "With --solvers: the names are those of docs/architecture.md; dimensions are\n"
        "LENGTH:INPUT STRIDE:OUTPUT STRIDE, a batch follows a *.\n\n"
        "Exit status: 0, 1 when a problem has no plan, 2 after an error.");
    return {arguments, [values, solvers] { return run_plan(*values, *solvers); }};
}

}  // namespace lyr_tools
