// Which processors there are, and how far the memory of each is from the others: the machine's NUMA
// nodes as the kernel lists them below /sys/devices/system/node.
#pragma once

#include <pthread.h>
#include <sched.h>

#include <cstddef>
#include <cstdint>

namespace lyr {

// As many as kernels can be built for.
inline constexpr int max_processors = 8192;
inline constexpr int max_node_number = 1023;

// A cpu_set_t with room for any machine.
struct processor_set {
    uint64_t words[max_processors / 64];

    bool has(int64_t cpu) const {
        return cpu >= 0 && cpu < max_processors && (words[cpu / 64] >> (cpu % 64) & 1);
    }
    void add(int64_t cpu) { words[cpu / 64] |= uint64_t{1} << (cpu % 64); }
    void remove(int64_t cpu) { words[cpu / 64] &= ~(uint64_t{1} << (cpu % 64)); }
    void add(const processor_set &other) {
        for (size_t i = 0; i < sizeof words / sizeof words[0]; ++i) words[i] |= other.words[i];
    }
    int count() const {
        int bits = 0;
        for (const uint64_t word : words) bits += __builtin_popcountll(word);
        return bits;
    }
    cpu_set_t *system() { return reinterpret_cast<cpu_set_t *>(words); }
    const cpu_set_t *system() const { return reinterpret_cast<const cpu_set_t *>(words); }
};

// Processors whose numbers leave the same remainder often lie apart: a group.
inline constexpr int group_count = 4;

// Nodes are counted from 0 in the order of their numbers, which may have gaps.
struct topology {
    int32_t node_count;  // 0: nothing known, and no list is there
    int32_t *numbers;    // the kernel's number of each node
    int32_t *distance;   // node_count * node_count
    int32_t *nearest;    // node_count of each node, the nearest one first
    int32_t *usable;     // by node and group: processors that the process may use
    int16_t *node_of;    // max_processors; -1: unknown
    int32_t end;         // all processors of nodes have numbers below
};

// What the library asks of the system about processors. Tests put another one in its place
// (use_platform in threads/affinity.h).
struct platform {
    const char *node_directory;
    int (*current_processor)();  // or -1
    // The rest return 0, or another value when it cannot be done.
    int (*allowed_processors)(processor_set *set);  // of this process
    int (*bind)(pthread_t thread, const processor_set *set);
    int (*bound_to)(pthread_t thread, processor_set *set);
};
extern const platform this_machine;

// Reads nodes, their processors and distances; the lists are in memory from malloc until
// topology_release. False when there are no nodes, or something about them cannot be read.
bool topology_discover(topology *t, const char *node_directory);
void topology_release(topology *t);

// Fills `usable`.
void count_usable(topology *t, const processor_set *allowed);

// Reads a processor mask: hexadecimal digits, the last one standing for processors 0 to 3, up to
// the first newline; commas are skipped. Returns the number of processors in the set.
int parse_cpumap(const char *text, processor_set *cpus);

// Reads `count` distances. False when there are fewer.
bool parse_distances(const char *text, int count, int32_t *distances);

// How many threads a plan may use: on machines with an even number of nodes the processors of the
// lower half of them, where that is an even number; -1: any number.
int32_t thread_cap_of(const topology *t);

}  // namespace lyr
