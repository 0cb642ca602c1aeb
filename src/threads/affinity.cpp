#include "threads/affinity.h"

#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace lyr {

namespace {

constexpr int32_t far_distance = 21;  // nodes nearer than this share work readily

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;  // for machine and workers
topology machine = {};
placement workers = {};
const platform *system_calls = &this_machine;

// Read and written with atomics.
int32_t policy = affinity_spread;
int32_t policy_fixed = 0;
int32_t caller_cpu = -1;  // workers.caller_cpu
int32_t processors = 0;   // 0: unknown

template <class number>
number load(const number *x) {
    return __atomic_load_n(x, __ATOMIC_RELAXED);
}
template <class number>
void store(number *x, number value) {
    __atomic_store_n(x, value, __ATOMIC_RELAXED);
}

int node_of(const topology *t, int32_t cpu) {
    return t->node_count > 0 && cpu >= 0 && cpu < max_processors ? t->cpu_to_node[cpu] : -1;
}

bool choose_close(placement *where, const topology *t, cpu_set_t *chosen) {
    for (int k = 0; k < t->node_count; ++k) {
        const int32_t node = t->nearest_nodes[where->caller_node][k];
        // One processor of its node is the caller's.
        if (node < 0 || where->node_free[node] < (k == 0 ? 2 : 1)) continue;
        *chosen = where->node_mask[node];
        --where->node_free[node];
        return true;
    }
    return false;
}

// How many of the nearest nodes, the caller's included, count as near: none when no other one does.
int near_nodes(const topology *t, int node) {
    int near = 1;
    while (near < t->node_count && t->nearest_nodes[node][near] >= 0 &&
           t->nearest_dist[node][near] < far_distance)
        ++near;
    return near > 1 ? near : 0;
}

// One group of processors after the other, over all nodes of a range of ranks. Cores often have
// neighbouring numbers where they share a cache, so the first workers lie apart.
bool choose_spread(placement *where, const topology *t, int first, int end, cpu_set_t *chosen) {
    const int32_t caller = where->caller_cpu, anchor = caller / group_count * group_count;
    for (int g = 0; g < group_count; ++g)
        for (int k = first; k < end; ++k) {
            const int32_t node = t->nearest_nodes[where->caller_node][k];
            if (node < 0) continue;
            cpu_set_t mask = where->group_mask[node][g];
            int32_t count = where->group_free[node][g];
            if (k == 0 && g == 0) {
                // The first of the caller's neighbours is kept for group 1.
                CPU_CLR(anchor, &mask);
                --count;
            } else if (k == 0) {
                if (g == 1 && anchor != caller && CPU_ISSET(anchor, &where->node_mask[node])) {
                    CPU_SET(anchor, &mask);
                    ++count;
                }
                if (CPU_ISSET(caller, &mask)) {
                    CPU_CLR(caller, &mask);
                    --count;
                }
            }
            if (count < 1) continue;
            *chosen = mask;
            --where->group_free[node][g];
            return true;
        }
    return false;
}

}  // namespace

int affinity_from_text(const char *value) {
    if (value && strcasecmp(value, "CLOSE") == 0) return affinity_close;
    if (value && strcasecmp(value, "NO") == 0) return affinity_none;
    return affinity_spread;
}

int affinity_policy_get() {
    return load(&policy);
}

void affinity_set_once(int new_policy) {
    if (__atomic_exchange_n(&policy_fixed, 1, __ATOMIC_RELAXED) == 0) store(&policy, new_policy);
}

void fill_masks(placement *where, const topology *t, const cpu_set_t *allowed) {
    memset(where->node_mask, 0, sizeof where->node_mask);
    memset(where->group_mask, 0, sizeof where->group_mask);
    memset(where->node_total, 0, sizeof where->node_total);
    memset(where->group_total, 0, sizeof where->group_total);
    for (int node = 0; node < t->node_count; ++node)
        for (const int32_t *cpu = t->node_cpus[node]; *cpu >= 0; ++cpu) {
            if (*cpu >= CPU_SETSIZE || !CPU_ISSET(*cpu, allowed)) continue;
            const int group = *cpu % group_count;
            CPU_SET(*cpu, &where->node_mask[node]);
            CPU_SET(*cpu, &where->group_mask[node][group]);
            ++where->node_total[node];
            ++where->group_total[node][group];
        }
}

void place_caller(placement *where, const topology *t, int32_t cpu) {
    where->caller_cpu = cpu;
    where->caller_node = node_of(t, cpu);
    if (where->caller_node < 0) return;
    memcpy(where->node_free, where->node_total, sizeof where->node_free);
    memcpy(where->group_free, where->group_total, sizeof where->group_free);
}

bool choose_processors(placement *where, const topology *t, int how, cpu_set_t *chosen) {
    if (where->caller_node < 0) return false;
    if (how == affinity_close) return choose_close(where, t, chosen);
    if (how != affinity_spread) return false;
    const int near = near_nodes(t, where->caller_node);
    return choose_spread(where, t, 0, near, chosen) ||
           choose_spread(where, t, near, t->node_count, chosen);
}

namespace {

// The lock is held.
void place_caller_on(int32_t cpu) {
    place_caller(&workers, &machine, cpu);
    store(&caller_cpu, cpu);
}

}  // namespace

int numa_node_count() {
    affinity_lock();
    if (machine.node_count < 0) topology_discover(&machine, system_calls->node_directory);
    const int count = machine.node_count;
    affinity_unlock();
    return count;
}

int32_t affinity_discover() {
    affinity_lock();
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    // What is known stays, until lyr_fft_cleanup_threads: reading it takes longer than many plans.
    const bool known =
        machine.node_distance || topology_discover(&machine, system_calls->node_directory);
    if (system_calls->allowed_processors(&allowed) == 0) {
        if (known) fill_masks(&workers, &machine, &allowed);
        store(&processors, static_cast<int32_t>(CPU_COUNT(&allowed)));
    }
    store(&policy, static_cast<int32_t>(affinity_from_text(getenv("LYR_FFT_AFFINITY"))));
    const int32_t cap = known ? thread_cap_of(&machine) : -1;
    affinity_unlock();
    return cap;
}

void affinity_start() {
    if (affinity_policy_get() == affinity_none) return;
    affinity_lock();
    place_caller_on(system_calls->current_processor());
    affinity_unlock();
}

void affinity_start_if_unknown() {
    affinity_lock();
    const bool unknown = workers.caller_node < 0;
    affinity_unlock();
    if (unknown) affinity_start();
}

bool affinity_caller_moved(int cpu) {
    if (affinity_policy_get() == affinity_none || cpu < 0 || cpu == load(&caller_cpu)) return false;
    affinity_lock();
    place_caller_on(cpu);
    affinity_unlock();
    return true;
}

int affinity_caller_processor() {
    return affinity_policy_get() == affinity_none ? -1 : load(&system_calls)->current_processor();
}

void pin_new_worker(pthread_t thread) {
    const int how = affinity_policy_get();
    if (how == affinity_none) return;
    cpu_set_t chosen;
    affinity_lock();
    if (choose_processors(&workers, &machine, how, &chosen)) system_calls->bind(thread, &chosen);
    affinity_unlock();
}

int usable_processors() {
    int32_t known = load(&processors);
    if (known > 0) return known;
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    known = online > 0 ? static_cast<int32_t>(online) : 1;
    store(&processors, known);
    return known;
}

void affinity_release() {
    affinity_lock();
    topology_release(&machine);
    affinity_unlock();
}

void use_platform(const platform *p) {
    affinity_lock();
    topology_release(&machine);
    topology_reset(&machine);
    workers = {};
    store(&system_calls, p);
    store(&policy, int32_t{affinity_spread});
    store(&policy_fixed, 0);
    store(&caller_cpu, -1);
    store(&processors, 0);
    affinity_unlock();
}

void affinity_lock() {
    pthread_mutex_lock(&lock);
}

void affinity_unlock() {
    pthread_mutex_unlock(&lock);
}

}  // namespace lyr
