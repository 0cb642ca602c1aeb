// Times of the same plans by two libraries that have the interface of FFTW 3, in turns.
//
//     lyra-fftw3-race LIBRARY OTHER [PROBLEM...]
//
// A problem is a kind (c c2c, r r2c, b c2r), i for in place, s for transforms side by side, element
// by element, the lengths and, after *, the batch, such as ci16x16x16x16 or r512*100. The other
// library plans with FFTW_MEASURE. Printed are microseconds of both, the least of many turns, and
// their ratio.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using plan = void *;

template <class function>
function *get(void *library, const char *name) {
    void *f = dlsym(library, name);
    if (!f) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(2);
    }
    return reinterpret_cast<function *>(f);
}

struct problem {
    char kind;
    bool in_place, side_by_side;
    std::vector<int> n;
    int howmany = 1;
};

problem read(const char *text) {
    problem p = {*text++, false, false, {}, 1};
    if (*text == 'i') p.in_place = true, ++text;
    if (*text == 's') p.side_by_side = true, ++text;
    for (char *end; *text; text = *end ? end + 1 : end) {
        const bool batch = text[-1] == '*';
        const int value = static_cast<int>(std::strtol(text, &end, 10));
        if (end == text) break;
        if (batch)
            p.howmany = value;
        else
            p.n.push_back(value);
    }
    return p;
}

struct racer {
    void *library;
    void (*execute)(plan);
    plan made = nullptr;
    double least = 1e30;
};

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

int main(int argc, char **argv) {
    racer racers[2];
    for (int k = 0; k < 2; ++k) {
        racers[k].library = argc > 2 ? dlopen(argv[1 + k], RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (!racers[k].library) {
            std::fprintf(stderr, "usage: lyra-fftw3-race LIBRARY OTHER PROBLEM...\n");
            return 2;
        }
        racers[k].execute = get<void(plan)>(racers[k].library, "fftw_execute");
    }
    for (int a = 3; a < argc; ++a) {
        const problem p = read(argv[a]);
        const int rank = static_cast<int>(p.n.size());
        size_t points = 1;
        for (const int n : p.n) points *= static_cast<size_t>(n);
        const int half = p.n.back() / 2 + 1;
        const size_t rows = points / static_cast<size_t>(p.n.back());
        const size_t complexes = p.kind == 'c' ? points : rows * static_cast<size_t>(half);
        const size_t reals = p.in_place ? 2 * complexes : points;
        const size_t in_one = p.kind == 'r' ? reals : 2 * complexes;
        const size_t out_one = p.kind == 'b' ? reals : 2 * complexes;
        const int idist =
            p.side_by_side ? 1 : static_cast<int>(p.kind == 'r' ? in_one : in_one / 2);
        const int odist =
            p.side_by_side ? 1 : static_cast<int>(p.kind == 'b' ? out_one : out_one / 2);
        const int stride = p.side_by_side ? p.howmany : 1;
        const size_t h = static_cast<size_t>(p.howmany);
        double *in =
            static_cast<double *>(std::aligned_alloc(4096, (in_one * h * 8 / 4096 + 1) * 4096));
        double *out = p.in_place ? in
                                 : static_cast<double *>(std::aligned_alloc(
                                       4096, (out_one * h * 8 / 4096 + 1) * 4096));
        if (!in || !out) return 2;
        for (int k = 0; k < 2; ++k) {
            racer &r = racers[k];
            const unsigned flags = k == 0 ? 1U << 6 : 0;
            r.least = 1e30;
            if (p.kind == 'c')
                r.made = get<plan(int, const int *, int, double *, const int *, int, int, double *,
                                  const int *, int, int, int, unsigned)>(
                    r.library, "fftw_plan_many_dft")(rank, p.n.data(), p.howmany, in, nullptr,
                                                     stride, idist, out, nullptr, stride, odist, -1,
                                                     flags);
            else
                r.made = get<plan(int, const int *, int, double *, const int *, int, int, double *,
                                  const int *, int, int, unsigned)>(
                    r.library, p.kind == 'r' ? "fftw_plan_many_dft_r2c" : "fftw_plan_many_dft_c2r")(
                    rank, p.n.data(), p.howmany, in, nullptr, stride, idist, out, nullptr, stride,
                    odist, flags);
            if (!r.made) return 2;
        }
        std::memset(in, 0, in_one * h * 8);
        std::memset(out, 0, out_one * h * 8);
        // Turns of about 2 ms for 0.6 s.
        int times = 1;
        for (const double begin = seconds(); seconds() - begin < 0.6;)
            for (racer &r : racers) {
                const double start = seconds();
                for (int k = 0; k < times; ++k) r.execute(r.made);
                const double took = seconds() - start;
                r.least = std::min(r.least, took / times);
                if (took < 0.001) times *= 2;
            }
        std::printf("%-24s %12.2f us %12.2f us   ratio %.3f\n", argv[a], 1e6 * racers[0].least,
                    1e6 * racers[1].least, racers[0].least / racers[1].least);
        std::fflush(stdout);
        for (racer &r : racers) get<void(plan)>(r.library, "fftw_destroy_plan")(r.made);
        if (out != in) std::free(out);
        std::free(in);
    }
    return 0;
}
