/* A plugin for QEMU's user-mode emulator: how many instructions each thread executes and which
   system calls it makes between marks that the program sets, and what the caches of simulated
   threads fetch and write back meanwhile.

       qemu-aarch64 -plugin trace_plugin.so[,cache=KIB] PROGRAM ARGUMENTS...

   A mark is a system call prctl(TRACE_PRCTL, ACTION, NUMBER), which fails in the kernel and is not
   counted. ACTION trace_mark prints a line

       mark NUMBER instructions OWN OTHERS lines 6 NUMBERS calls N:OWN:OTHERS ...

   with everything up to now: of the calling thread, and of all others. Lines are of 64 bytes: those
   that leave and enter a core's own cache (8 ways), and those that leave and enter its share of a
   cache that cores share (half as large, 16 ways, hashed): fetched because of a load, begun by a
   store, written back. The line that was not used for longest is replaced. ACTION trace_cache
   changes to the caches of the simulated thread NUMBER, trace_flush empties all of them. They see
   the first real thread alone. */

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qemu_plugin.h"
#include "trace.h"

enum { most_threads = 4096, most_calls = 512, simulated = 2, most_ways = 16, prctl_number = 167 };

int qemu_plugin_version = 1;

struct counts {
    uint64_t instructions;
    uint32_t calls[most_calls];
    char padding[64];
};
static struct counts of_thread[most_threads];

/* ---- Caches ------------------------------------------------------------------------------------
 */

struct set {
    uint64_t
        line[most_ways]; /* the one used last comes first; the lowest bit is set when written */
};
struct cache {
    struct set *sets;
    size_t count; /* 0: no caches */
    int ways;
    bool hashed;
};
struct traffic {
    uint64_t fetched, stored, written; /* lines */
};
static struct cache own[simulated], shared[simulated];
static struct traffic beyond_own, beyond_shared;
static int thread_in_use;

/* The line that has to go from a cache to make place; 0: none, or it is there already. */
static uint64_t use_line(struct cache *c, uint64_t line, bool store, bool write,
                         struct traffic *beyond) {
    const uint64_t index = c->hashed ? line * UINT64_C(0x9e3779b97f4a7c15) >> 40 : line / 2;
    struct set *s = &c->sets[index % c->count];
    uint64_t found = line | (uint64_t)write, gone = 0;
    int place = 0;
    while (place < c->ways - 1 && (s->line[place] & ~UINT64_C(1)) != line) ++place;
    if ((s->line[place] & ~UINT64_C(1)) == line) {
        found |= s->line[place];
    } else {
        gone = s->line[place];
        beyond->written += gone & 1;
        *(store ? &beyond->stored : &beyond->fetched) += 1;
    }
    memmove(s->line + 1, s->line, (size_t)place * sizeof s->line[0]);
    s->line[0] = found;
    return gone;
}

/* What was written leaves a core's own cache for the shared one. */
static void write_back(uint64_t line) {
    struct traffic not_asked_for = {0, 0, 0};
    if (!(line & 1)) return;
    use_line(&shared[thread_in_use], line & ~UINT64_C(1), true, true, &not_asked_for);
    beyond_shared.written += not_asked_for.written;
}

static void use_address(uint64_t address, bool store) {
    const uint64_t line = address / 64 * 2 + 2; /* 0 is an empty place */
    const uint64_t misses = beyond_own.fetched + beyond_own.stored;
    const uint64_t gone = use_line(&own[thread_in_use], line, store, store, &beyond_own);
    if (beyond_own.fetched + beyond_own.stored == misses) return;
    use_line(&shared[thread_in_use], line, store, false, &beyond_shared);
    write_back(gone);
}

static void empty(struct cache *c, struct traffic *beyond) {
    for (size_t i = 0; i < c->count; ++i)
        for (int k = 0; k < c->ways; ++k) {
            beyond->written += c->sets[i].line[k] & 1;
            if (!c->hashed) write_back(c->sets[i].line[k]);
            c->sets[i].line[k] = 0;
        }
}

static void flush(void) {
    const int before = thread_in_use;
    for (thread_in_use = 0; thread_in_use < simulated; ++thread_in_use) {
        empty(&own[thread_in_use], &beyond_own);
        empty(&shared[thread_in_use], &beyond_shared);
    }
    thread_in_use = before;
}

static int make_cache(struct cache *c, size_t bytes, int ways, bool hashed) {
    *c = (struct cache){NULL, bytes / 64 / (size_t)ways, ways, hashed};
    c->sets = calloc(c->count ? c->count : 1, sizeof(struct set));
    return c->sets ? 0 : -1;
}

static void memory_used(unsigned int cpu, qemu_plugin_meminfo_t info, uint64_t address,
                        void *data) {
    (void)data;
    if (cpu == 0) use_address(address, qemu_plugin_mem_is_store(info));
}

/* ---- Counting ----------------------------------------------------------------------------------
 */

static void block_executed(unsigned int cpu, void *instructions) {
    of_thread[cpu % most_threads].instructions += (uint64_t)(uintptr_t)instructions;
}

static void block_translated(qemu_plugin_id_t id, struct qemu_plugin_tb *block) {
    (void)id;
    const size_t count = qemu_plugin_tb_n_insns(block);
    qemu_plugin_register_vcpu_tb_exec_cb(block, block_executed, QEMU_PLUGIN_CB_NO_REGS,
                                         (void *)(uintptr_t)count);
    for (size_t i = 0; own[0].count > 0 && i < count; ++i)
        qemu_plugin_register_vcpu_mem_cb(qemu_plugin_tb_get_insn(block, i), memory_used,
                                         QEMU_PLUGIN_CB_NO_REGS, QEMU_PLUGIN_MEM_RW, NULL);
}

static void print_mark(unsigned int own, uint64_t number) {
    uint64_t others = 0;
    for (int t = 0; t < most_threads; ++t) others += of_thread[t].instructions;
    others -= of_thread[own].instructions;
    fprintf(stderr, "mark %" PRIu64 " instructions %" PRIu64 " %" PRIu64, number,
            of_thread[own].instructions, others);
    fprintf(stderr, " lines");
    const struct traffic *const traffic[] = {&beyond_own, &beyond_shared};
    for (int k = 0; k < 2; ++k)
        fprintf(stderr, " %" PRIu64 " %" PRIu64 " %" PRIu64, traffic[k]->fetched,
                traffic[k]->stored, traffic[k]->written);
    fprintf(stderr, " calls");
    for (int call = 0; call < most_calls; ++call) {
        uint64_t all = 0;
        for (int t = 0; t < most_threads; ++t) all += of_thread[t].calls[call];
        const uint64_t mine = of_thread[own].calls[call];
        if (all) fprintf(stderr, " %d:%" PRIu64 ":%" PRIu64, call, mine, all - mine);
    }
    fprintf(stderr, "\n");
}

static void system_call(qemu_plugin_id_t id, unsigned int cpu, int64_t number, uint64_t a1,
                        uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6,
                        uint64_t a7, uint64_t a8) {
    (void)id, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
    const unsigned int own = cpu % most_threads;
    if (number != prctl_number || a1 != TRACE_PRCTL) {
        if (number >= 0 && number < most_calls) ++of_thread[own].calls[number];
        return;
    }
    if (a2 == trace_cache) thread_in_use = (int)(a3 % simulated);
    if (a2 == trace_flush) flush();
    if (a2 == trace_mark) print_mark(own, a3);
}

int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv) {
    (void)info;
    for (int k = 0; k < argc; ++k) {
        if (strncmp(argv[k], "cache=", 6) != 0) return -1;
        const size_t bytes = strtoul(argv[k] + 6, NULL, 10) * 1024;
        for (int t = 0; t < simulated; ++t)
            if (make_cache(&own[t], bytes, 8, false) || make_cache(&shared[t], bytes / 2, 16, true))
                return -1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, block_translated);
    qemu_plugin_register_vcpu_syscall_cb(id, system_call);
    return 0;
}
