#include "threads/affinity.h"

#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace lyr {

namespace {

constexpr int32_t far_distance = 21;  // nodes nearer than this share work readily

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;  // for machine and allowed
topology machine = {};
processor_set allowed = {};
bool looked = false;  // at both
const platform *system_calls = &this_machine;

// Read and written with atomics.
int32_t policy = affinity_spread;
int32_t policy_fixed = 0;
int32_t default_policy = affinity_spread;
int32_t processors = 0;     // 0: unknown
uint64_t version = 1;       // grows when workers may have to move
int32_t without_nodes = 0;  // the machine shows none: nobody can be placed

template <class number>
number load(const number *x) {
    return __atomic_load_n(x, __ATOMIC_RELAXED);
}
template <class number>
void store(number *x, number value) {
    __atomic_store_n(x, value, __ATOMIC_RELAXED);
}

void set_policy(int32_t new_policy) {
    if (__atomic_exchange_n(&policy, new_policy, __ATOMIC_RELAXED) != new_policy)
        __atomic_fetch_add(&version, 1, __ATOMIC_RELAXED);
}

int32_t nearest(const topology *t, int node, int rank) {
    return t->nearest[int64_t{node} * t->node_count + rank];
}

bool choose_close(const topology *t, const processor_set *usable, int node, int64_t index,
                  processor_set *chosen) {
    for (int k = 0; k < t->node_count; ++k) {
        const int32_t near = nearest(t, node, k);
        int64_t room = 0;
        for (int g = 0; g < group_count; ++g) room += t->usable[near * group_count + g];
        if (k == 0) --room;  // one processor of its node is the caller's
        if (room < 0) room = 0;
        if (index >= room) {
            index -= room;
            continue;
        }
        for (int cpu = 0; cpu < t->end; ++cpu)
            if (t->node_of[cpu] == near && usable->has(cpu)) chosen->add(cpu);
        return true;
    }
    return false;
}

// How many of the nearest nodes, the caller's included, count as near: none when no other one does.
int near_nodes(const topology *t, int node) {
    int near = 1;
    while (near < t->node_count &&
           t->distance[int64_t{node} * t->node_count + nearest(t, node, near)] < far_distance)
        ++near;
    return near > 1 ? near : 0;
}

// One group of processors after the other, over all nodes of a range of ranks. Cores often have
// neighbouring numbers where they share a cache, so the first workers lie apart. The room that was
// passed over is taken off the index.
bool choose_spread(const topology *t, const processor_set *usable, int caller, int first, int end,
                   int64_t *index, processor_set *chosen) {
    const int node = t->node_of[caller], anchor = caller / group_count * group_count;
    for (int g = 0; g < group_count; ++g)
        for (int k = first; k < end; ++k) {
            const int32_t near = nearest(t, node, k);
            int64_t room = t->usable[near * group_count + g];
            // The first of the caller's neighbours is kept for group 1.
            const bool with_anchor = k == 0 && g == 1 && anchor != caller && usable->has(anchor) &&
                                     t->node_of[anchor] == near;
            room += with_anchor;
            if (k == 0 && g == 0) --room;
            const bool has_caller = k == 0 && g > 0 && caller % group_count == g;
            if (has_caller && usable->has(caller)) --room;
            if (room < 0) room = 0;
            if (*index >= room) {
                *index -= room;
                continue;
            }
            for (int cpu = g; cpu < t->end; cpu += group_count)
                if (t->node_of[cpu] == near && usable->has(cpu)) chosen->add(cpu);
            if (k == 0) {
                chosen->remove(caller);
                if (g == 0) chosen->remove(anchor);
                if (with_anchor) chosen->add(anchor);
            }
            return true;
        }
    return false;
}

}  // namespace

int affinity_from_text(const char *value) {
    if (value && strcasecmp(value, "CLOSE") == 0) return affinity_close;
    if (value && strcasecmp(value, "NO") == 0) return affinity_none;
    if (value && strcasecmp(value, "SPREAD") == 0) return affinity_spread;
    return load(&default_policy);
}

void affinity_set_default(int how) {
    __atomic_store_n(&default_policy, int32_t{how}, __ATOMIC_RELAXED);
}

int affinity_policy_get() {
    return load(&policy);
}

void affinity_set_once(int new_policy) {
    if (__atomic_exchange_n(&policy_fixed, 1, __ATOMIC_RELAXED) == 0) set_policy(new_policy);
}

bool choose_processors(const topology *t, const processor_set *usable, int how, int cpu,
                       int64_t index, processor_set *chosen) {
    *chosen = {};
    if (t->node_count == 0 || cpu < 0 || cpu >= max_processors || t->node_of[cpu] < 0) return false;
    const int node = t->node_of[cpu];
    if (how == affinity_close) return choose_close(t, usable, node, index, chosen);
    if (how != affinity_spread) return false;
    const int near = near_nodes(t, node);
    return choose_spread(t, usable, cpu, 0, near, &index, chosen) ||
           choose_spread(t, usable, cpu, near, t->node_count, &index, chosen);
}

namespace {

// The lock is held.
void look_at_machine() {
    bool changed = false;
    looked = true;
    // What is known stays, until lyr_fft_cleanup_threads: reading it takes longer than many plans.
    if (machine.node_count == 0)
        changed = topology_discover(&machine, system_calls->node_directory);
    processor_set now;
    if (system_calls->allowed_processors(&now) != 0) now = {};
    if (memcmp(&now, &allowed, sizeof now) != 0) {
        allowed = now;
        changed = true;
    }
    store(&without_nodes, int32_t{machine.node_count == 0});
    if (machine.node_count > 0) count_usable(&machine, &allowed);
    if (const int count = allowed.count()) store(&processors, count);
    if (changed) __atomic_fetch_add(&version, 1, __ATOMIC_RELAXED);
}

}  // namespace

int numa_node_count() {
    affinity_lock();
    look_at_machine();
    const int count = machine.node_count;
    affinity_unlock();
    return count;
}

int32_t affinity_discover() {
    affinity_lock();
    look_at_machine();
    set_policy(affinity_from_text(getenv("LYR_FFT_AFFINITY")));
    const int32_t cap = thread_cap_of(&machine);
    affinity_unlock();
    return cap;
}

placement affinity_here() {
    const bool matters = affinity_policy_get() != affinity_none && !load(&without_nodes);
    return {load(&version), 0, matters ? load(&system_calls)->current_processor() : -1};
}

void affinity_bind(pthread_t thread, const placement &where) {
    const int how = affinity_policy_get();
    processor_set chosen;
    affinity_lock();
    if (!looked) look_at_machine();
    if (!choose_processors(&machine, &allowed, how, where.cpu, where.index, &chosen))
        chosen = allowed;
    if (chosen.count() > 0) system_calls->bind(thread, &chosen);
    affinity_unlock();
}

void affinity_add_processors(pthread_t thread, processor_set *set) {
    processor_set one = {};
    if (load(&system_calls)->bound_to(thread, &one) == 0) set->add(one);
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
    looked = false;
    affinity_unlock();
}

void use_platform(const platform *p) {
    affinity_lock();
    topology_release(&machine);
    allowed = {};
    looked = false;
    store(&without_nodes, 0);
    store(&system_calls, p);
    store(&policy, int32_t{affinity_spread});
    store(&policy_fixed, 0);
    store(&processors, 0);
    __atomic_fetch_add(&version, 1, __ATOMIC_RELAXED);
    affinity_unlock();
}

void affinity_lock() {
    pthread_mutex_lock(&lock);
}

void affinity_unlock() {
    pthread_mutex_unlock(&lock);
}

}  // namespace lyr
