// Where worker threads run. Each new one is bound to processors near the thread that uses it, as
// the environment variable LYR_FFT_AFFINITY asks: SPREAD (also when unset or anything else) over
// the processors of the nearest nodes, CLOSE on the nearest node, NO not at all. Binding only helps
// speed: whatever fails leaves threads where the kernel puts them. Calling threads are never bound.
#pragma once

#include "threads/topology.h"

namespace lyr {

enum affinity { affinity_spread = 0, affinity_close = 1, affinity_none = 2 };

// The policy that a value of LYR_FFT_AFFINITY asks for; null: unset.
int affinity_from_text(const char *value);

int affinity_policy_get();

// Replaces the policy, the first time it is called in a process. Solvers of multithreaded plans
// call it with what suits their problem.
void affinity_set_once(int policy);

int numa_node_count();

// ---- Placement ----------------------------------------------------------------------------------

inline constexpr int group_count = 4;

// The processors for workers, by node and by number modulo 4 (a group), and how many of each are
// still free. Masks hold only processors that the process may use.
struct placement {
    cpu_set_t node_mask[max_nodes];
    cpu_set_t group_mask[max_nodes][group_count];
    int32_t node_total[max_nodes], group_total[max_nodes][group_count];
    int32_t node_free[max_nodes], group_free[max_nodes][group_count];
    int32_t caller_cpu = -1, caller_node = -1;  // of the thread that the workers serve; -1: unknown
};

void fill_masks(placement *where, const topology *t, const cpu_set_t *allowed);

// The caller runs on `cpu`, and no worker is placed yet.
void place_caller(placement *where, const topology *t, int32_t cpu);

// Chooses processors for one more worker, as the policy `how` wants, and counts them as taken;
// false when there are none left.
bool choose_processors(placement *where, const topology *t, int how, cpu_set_t *chosen);

// ---- The process --------------------------------------------------------------------------------
// All functions may be called from any thread.

// Looks at the machine, and reads LYR_FFT_AFFINITY. Returns how many threads a plan may use
// (thread_cap_of), -1 when the machine does not show it.
int32_t affinity_discover();

// The calling thread is the one that workers will serve; there are none yet. The second form
// does nothing when this is known already.
void affinity_start();
void affinity_start_if_unknown();

// True when the caller has left the processor that workers were placed for. `cpu`, where it is now,
// is taken from now on, and no worker counts as placed yet.
bool affinity_caller_moved(int cpu);

// Where the caller is; -1: unknown, or nobody cares because workers are not bound.
int affinity_caller_processor();

// Binds a thread that was just created.
void pin_new_worker(pthread_t thread);

// Processors that this process may use, at least 1.
int usable_processors();

// Frees the distances between nodes.
void affinity_release();

// Forgets everything and sees the machine through `p` from now on. For tests; no worker may exist.
void use_platform(const platform *p);

// Around fork.
void affinity_lock();
void affinity_unlock();

}  // namespace lyr
