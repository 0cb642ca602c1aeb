#include "threads/topology.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lyr {

namespace {

constexpr int cpumap_bytes = 159;    // of a file, without the end of the text
constexpr int distance_bytes = 159;  // room for far more than max_nodes numbers

int bind_thread(pthread_t thread, const cpu_set_t *set) {
    return pthread_setaffinity_np(thread, sizeof *set, set);
}
int allowed_processors(cpu_set_t *set) {
    return sched_getaffinity(0, sizeof *set, set);
}

int scan_nodes(const char *directory, uint64_t *present) {
    DIR *d = opendir(directory);
    if (!d) return 0;
    int count = 0;
    while (const dirent *entry = readdir(d)) {
        if (strncmp(entry->d_name, "node", 4) != 0) continue;
        const char *digits = entry->d_name + 4;
        char *end;
        const unsigned long node = strtoul(digits, &end, 0);
        if (end == digits || node >= max_nodes) continue;
        *present |= uint64_t{1} << node;
        if (count <= static_cast<int>(node)) count = static_cast<int>(node) + 1;
    }
    closedir(d);
    return count;
}

// Reads the beginning of the file `name` of a node as text; `size` counts the terminator. False
// when there is nothing to read.
bool read_node_file(const char *directory, int node, const char *name, char *text, size_t size) {
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof path, "%s/node%d/%s", directory, node, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return false;
    int file;
    do file = open(path, O_RDONLY | O_CLOEXEC);
    while (file < 0 && errno == EINTR);
    if (file < 0) return false;
    size_t held = 0;
    while (held + 1 < size) {
        const ssize_t got = read(file, text + held, size - 1 - held);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        held += static_cast<size_t>(got);
    }
    close(file);
    text[held] = '\0';
    return held > 0;
}

bool read_processors(topology *t, const char *directory) {
    for (int32_t &node : t->cpu_to_node) node = -1;
    for (int node = 0; node < t->node_count; ++node) {
        char text[cpumap_bytes + 1];
        if (!read_node_file(directory, node, "cpumap", text, sizeof text)) return false;
        parse_cpumap(text, t->node_cpus[node]);
        for (const int32_t *cpu = t->node_cpus[node]; *cpu >= 0; ++cpu)
            if (*cpu < max_processors) t->cpu_to_node[*cpu] = node;
    }
    return true;
}

int32_t *distances_of(const topology *t, int node) {
    return t->node_distance + int64_t{node} * t->node_count;
}

bool read_distances(topology *t, const char *directory) {
    topology_release(t);
    const auto count = static_cast<size_t>(t->node_count);
    t->node_distance = static_cast<int32_t *>(calloc(count * count, sizeof(int32_t)));
    if (!t->node_distance) return false;
    for (int node = 0; node < t->node_count; ++node) {
        if (!(t->node_present >> node & 1)) continue;
        char text[distance_bytes + 1];
        if (read_node_file(directory, node, "distance", text, sizeof text) &&
            parse_distances(text, t->node_count, distances_of(t, node)))
            continue;
        topology_release(t);
        return false;
    }
    return true;
}

// Nodes at the same distance stay in the order of their numbers.
void rank_nodes(topology *t) {
    for (int node = 0; node < t->node_count; ++node) {
        if (!(t->node_present >> node & 1)) continue;
        int32_t *nodes = t->nearest_nodes[node], *distances = t->nearest_dist[node];
        int count = 0;
        for (int other = 0; other < t->node_count; ++other) {
            if (!(t->node_present >> other & 1)) continue;
            const int32_t distance = distances_of(t, node)[other];
            int place = count++;
            for (; place > 0 && distances[place - 1] > distance; --place) {
                nodes[place] = nodes[place - 1];
                distances[place] = distances[place - 1];
            }
            nodes[place] = other;
            distances[place] = distance;
        }
        for (; count < max_nodes; ++count) nodes[count] = distances[count] = -1;
    }
}

}  // namespace

const platform this_machine = {"/sys/devices/system/node", sched_getcpu, allowed_processors,
                               bind_thread};

void topology_reset(topology *t) {
    *t = {};
    memset(t->node_cpus, -1, sizeof t->node_cpus);
    memset(t->cpu_to_node, -1, sizeof t->cpu_to_node);
    memset(t->nearest_nodes, -1, sizeof t->nearest_nodes);
    memset(t->nearest_dist, -1, sizeof t->nearest_dist);
}

bool topology_discover(topology *t, const char *node_directory) {
    if (t->node_count < 0) {
        topology_reset(t);
        t->node_count = scan_nodes(node_directory, &t->node_present);
    }
    if (t->node_count == 0) return false;
    if (!read_processors(t, node_directory) || !read_distances(t, node_directory)) return false;
    rank_nodes(t);
    return true;
}

void topology_release(topology *t) {
    free(t->node_distance);
    t->node_distance = nullptr;
}

int parse_cpumap(const char *text, int32_t *cpus) {
    int count = 0;
    int32_t cpu = 0;
    for (size_t end = strcspn(text, "\n"); end > 0; --end) {
        const char c = text[end - 1];
        if (c == ',') continue;
        const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : 0;
        for (int bit = 0; bit < 4; ++bit, ++cpu)
            if (digit >> bit & 1 && count < max_processors) cpus[count++] = cpu;
    }
    cpus[count] = -1;
    return count;
}

bool parse_distances(const char *text, int count, int32_t *distances) {
    for (int k = 0; k < count; ++k) {
        const char *start = text + strspn(text, " \t");
        if (*start < '0' || *start > '9') return false;  // a newline ends the row
        char *end;
        const unsigned long distance = strtoul(start, &end, 0);
        if (distance == ULONG_MAX) return false;
        distances[k] = distance < INT32_MAX ? static_cast<int32_t>(distance) : INT32_MAX;
        text = end;
    }
    return true;
}

int32_t thread_cap_of(const topology *t) {
    if (t->node_count < 2 || t->node_count % 2 != 0) return -1;
    int32_t processors = 0;
    for (int node = 0; node < t->node_count / 2; ++node)
        for (const int32_t *cpu = t->node_cpus[node]; *cpu >= 0; ++cpu) ++processors;
    return processors > 0 && processors % 2 == 0 ? processors : -1;
}

}  // namespace lyr
