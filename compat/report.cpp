// What LYRA_FFTW3_REPORT asks for: on standard error, when the process ends, the plans that were
// made and refused, and the time of their executions.
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "plan.h"

namespace compat {

namespace {

// One for each problem; never released, as plans point to them.
struct entry {
    char text[200];
    problem_kind kind;
    int rank;
    bool split;
    int64_t plans;
    int64_t executions, nanoseconds;  // read and written with atomics
    entry *next;
};

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;  // for what follows
entry *entries = nullptr;
int64_t refused[refusals];
pid_t process = 0;  // that made plans last
double first_plan = 0;

double now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

int64_t nanoseconds() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec;
}

void run_timed(const step *s, const arrays &a) {
    const int64_t start = nanoseconds();
    s->first->run(s->first, a);
    entry *e = static_cast<entry *>(s->counted);
    __atomic_fetch_add(&e->nanoseconds, nanoseconds() - start, __ATOMIC_RELAXED);
    __atomic_fetch_add(&e->executions, 1, __ATOMIC_RELAXED);
}

entry *find(const plan *p) {
    for (entry *e = entries; e; e = e->next)
        if (strcmp(e->text, p->text) == 0) return e;
    entry *e = static_cast<entry *>(calloc(1, sizeof(entry)));
    if (!e) return nullptr;
    memcpy(e->text, p->text, sizeof e->text);
    e->kind = p->kind;
    e->rank = p->rank;
    e->split = p->split;
    e->next = entries;
    entries = e;
    return e;
}

struct sums {
    int64_t plans, executions, nanoseconds;
};

void add(sums &s, const entry *e) {
    s.plans += e->plans;
    s.executions += __atomic_load_n(&e->executions, __ATOMIC_RELAXED);
    s.nanoseconds += __atomic_load_n(&e->nanoseconds, __ATOMIC_RELAXED);
}

double seconds(int64_t nanoseconds) {
    return 1e-9 * static_cast<double>(nanoseconds);
}

void print_kinds(FILE *file) {
    static const char *const names[] = {"complex", "real to complex", "complex to real",
                                        "real to real"};
    fprintf(file, "  %-28s %10s %12s %12s\n", "kind", "plans", "executions", "seconds");
    for (int kind = 0; kind < 4; ++kind)
        for (int split = 0; split < 2; ++split)
            for (int rank = 0; rank <= most_dimensions; ++rank) {
                sums s = {0, 0, 0};
                for (const entry *e = entries; e; e = e->next)
                    if (static_cast<int>(e->kind) == kind && e->split == (split == 1) &&
                        e->rank == rank)
                        add(s, e);
                if (s.plans == 0) continue;
                char name[64];
                snprintf(name, sizeof name, "%s%s, rank %d", names[kind], split ? ", split" : "",
                         rank);
                fprintf(file, "  %-28s %10lld %12lld %12.6f\n", name,
                        static_cast<long long>(s.plans), static_cast<long long>(s.executions),
                        seconds(s.nanoseconds));
            }
}

void print_slowest(FILE *file) {
    constexpr int most = 8;
    int64_t below = INT64_MAX;
    fprintf(file, "  most time went into (lengths with strides of input and output, * batch):\n");
    for (int shown = 0; shown < most;) {
        int64_t best = -1;
        for (const entry *e = entries; e; e = e->next)
            if (e->nanoseconds < below && e->nanoseconds > best) best = e->nanoseconds;
        if (best < 0) return;
        for (const entry *e = entries; e && shown < most; e = e->next)
            if (e->nanoseconds == best) {
                ++shown;
                fprintf(file, "    %12.6f s %10lld x  %s\n", seconds(best),
                        static_cast<long long>(e->executions), e->text);
            }
        below = best;
    }
}

void print_refused(FILE *file) {
    static const char *const names[refusals] = {
        "rank, dimensions or kinds missing or negative", "a length below 1",
        "a kind that is none, or REDFT00 of length 1", "FFTW_WISDOM_ONLY, and no wisdom",
        "no memory, or too large to address"};
    int64_t all = 0;
    for (const int64_t count : refused) all += count;
    fprintf(file, "  refused: %lld\n", static_cast<long long>(all));
    for (int k = 0; k < refusals; ++k)
        if (refused[k])
            fprintf(file, "    %10lld  %s\n", static_cast<long long>(refused[k]), names[k]);
}

// The descriptor rather than stderr, which programs close or redirect for their own purposes.
void print_report() {
    char *text = nullptr;
    size_t size = 0;
    FILE *file = open_memstream(&text, &size);
    if (!file) return;
    sums all = {0, 0, 0};
    for (const entry *e = entries; e; e = e->next) add(all, e);
    fprintf(file, "lyra-fftw3 (" FFTW_TEXT "): %s, process %d: ", program_invocation_short_name,
            static_cast<int>(getpid()));
    if (all.plans == 0) {
        fprintf(file, "loaded, no plan made\n");
    } else {
        fprintf(file, "%lld plans, %lld executions, %.6f s of %.3f s since the first plan\n",
                static_cast<long long>(all.plans), static_cast<long long>(all.executions),
                seconds(all.nanoseconds), now() - first_plan);
        print_kinds(file);
        print_slowest(file);
    }
    print_refused(file);
    fclose(file);
    for (size_t done = 0; text && done < size;) {
        const ssize_t written = write(STDERR_FILENO, text + done, size - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        done += static_cast<size_t>(written);
    }
    free(text);
}

bool wanted = false;

__attribute__((constructor)) void begin() {
    const char *value = getenv("LYRA_FFTW3_REPORT");
    wanted = value && *value && strcmp(value, "0") != 0;
    process = getpid();
}

// A child of fork that made no plans of its own has nothing to say.
__attribute__((destructor)) void end() {
    if (wanted && process == getpid()) print_report();
}

}  // namespace

bool report_wanted() {
    return wanted;
}

void report_refused(const request &, refusal why) {
    pthread_mutex_lock(&lock);
    process = getpid();
    ++refused[static_cast<int>(why)];
    pthread_mutex_unlock(&lock);
}

void report_plan(plan *p) {
    pthread_mutex_lock(&lock);
    process = getpid();
    if (first_plan == 0) first_plan = now();
    entry *e = find(p);
    if (e) ++e->plans;
    pthread_mutex_unlock(&lock);
    step *timed = e ? static_cast<step *>(calloc(1, sizeof(step))) : nullptr;
    if (!timed) return;
    timed->run = run_timed;
    timed->first = p->root;
    timed->counted = e;
    p->root = timed;
}

}  // namespace compat
