// Which processors there are, and how far the memory of each is from the others: the machine's NUMA
// nodes as the kernel lists them below /sys/devices/system/node.
#pragma once

#include <pthread.h>
#include <sched.h>

#include <cstdint>

namespace lyr {

inline constexpr int max_nodes = 4;         // nodes with higher numbers are left out
inline constexpr int max_processors = 160;  // of a node, and in cpu_to_node

// Lists end with -1. What a failed step of the discovery would have filled keeps its old values.
struct topology {
    int32_t node_count =
        -1;                 // the highest node number plus 1; 0: nothing known; -1: not looked yet
    uint64_t node_present;  // bit i: node i is there
    int32_t node_cpus[max_nodes][max_processors + 1];  // ascending
    int32_t cpu_to_node[max_processors];               // -1: unknown
    int32_t *node_distance;                       // node_count * node_count, from malloc; or null
    int32_t nearest_nodes[max_nodes][max_nodes];  // of each node, the nearest one first
    int32_t nearest_dist[max_nodes][max_nodes];   // their distances
};

// What the library asks of the system about processors. Tests put another one in its place
// (use_platform in threads/affinity.h).
struct platform {
    const char *node_directory;
    int (*current_processor)();  // or -1
    // 0, or another value when the processors of this process (of this thread) cannot be read.
    int (*allowed_processors)(cpu_set_t *set);
    int (*bind)(pthread_t thread, const cpu_set_t *set);  // 0: done
};
extern const platform this_machine;

// A topology of which nothing is known yet.
void topology_reset(topology *t);
// Looks for nodes (once), their processors and distances (again with every call). False when there
// are no nodes or something about them cannot be read.
bool topology_discover(topology *t, const char *node_directory);
void topology_release(topology *t);  // node_distance

// Reads a processor mask: hexadecimal digits, the last one standing for processors 0 to 3, up to
// the first newline; commas are skipped. Returns the number of processors written to `cpus` in
// ascending order, at most max_processors, with a -1 behind them.
int parse_cpumap(const char *text, int32_t *cpus);

// Reads `count` distances. False when there are fewer.
bool parse_distances(const char *text, int count, int32_t *distances);

// How many threads a plan may use: on machines with an even number of nodes the processors of the
// lower half of them, where that is an even number; -1: any number.
int32_t thread_cap_of(const topology *t);

}  // namespace lyr
