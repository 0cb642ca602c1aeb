// Where worker threads run. Each is bound to processors near the thread that it works for, as the
// environment variable LYR_FFT_AFFINITY asks: SPREAD (also when unset or anything else) over the
// processors of the nearest nodes, CLOSE on the nearest node, NO not at all: then, and where
// everything near is taken, a worker gets the processors of the process. Binding only helps speed:
// whatever fails leaves threads where the kernel puts them. Calling threads are never bound.
#pragma once

#include "threads/topology.h"

namespace lyr {

enum affinity { affinity_spread = 0, affinity_close = 1, affinity_none = 2 };

// The policy that a value of LYR_FFT_AFFINITY asks for; null: unset.
int affinity_from_text(const char *value);

// What unset and unknown texts stand for from now on; affinity_spread at start.
void affinity_set_default(int how);

int affinity_policy_get();

// Replaces the policy, the first time it is called in a process. Solvers of multithreaded plans
// call it with what suits their problem.
void affinity_set_once(int policy);

// 0: unknown.
int numa_node_count();

// Chooses processors for the worker number `index` of a caller on processor `cpu`, as the policy
// `how` wants; false when there are none left.
bool choose_processors(const topology *t, const processor_set *usable, int how, int cpu,
                       int64_t index, processor_set *chosen);

// ---- The process --------------------------------------------------------------------------------
// All functions may be called from any thread.

// Looks at the machine, and reads LYR_FFT_AFFINITY. Returns how many threads a plan may use
// (thread_cap_of), -1 when the machine does not show it.
int32_t affinity_discover();

// What a worker was bound for. A worker stays where it is as long as nothing of it changes.
struct placement {
    uint64_t version;  // of the policy, and of what is known of the machine; 0: not bound yet
    int64_t index;     // among the workers of its caller
    int32_t cpu;       // where the caller was; -1: unknown, or nobody cares
};

// The place of the first worker of the calling thread.
placement affinity_here();

// Binds a worker.
void affinity_bind(pthread_t thread, const placement &where);

// Processors that a thread may run on, added to a set.
void affinity_add_processors(pthread_t thread, processor_set *set);

// Processors that this process may use, at least 1.
int usable_processors();

// Forgets the machine.
void affinity_release();

// Forgets everything and sees the machine through `p` from now on. For tests; no worker may exist.
void use_platform(const platform *p);

// Around fork.
void affinity_lock();
void affinity_unlock();

}  // namespace lyr
