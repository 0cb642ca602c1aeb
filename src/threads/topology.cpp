#include "threads/topology.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Of OpenMP 4.5, where the program uses it.
extern "C" {
__attribute__((weak)) int omp_get_num_places(void);
__attribute__((weak)) int omp_get_place_num_procs(int place);
__attribute__((weak)) void omp_get_place_proc_ids(int place, int *ids);
}

namespace lyr {

namespace {

// ---- This machine -------------------------------------------------------------------------------

// Programs bind their threads later, and what threads make inherits that.
processor_set processors_at_load = {};

__attribute__((constructor)) void remember_processors() {
    if (sched_getaffinity(0, sizeof processors_at_load, processors_at_load.system()) != 0)
        processors_at_load = {};
}

int bind_thread(pthread_t thread, const processor_set *set) {
    return pthread_setaffinity_np(thread, sizeof *set, set->system());
}
int processors_of_thread(pthread_t thread, processor_set *set) {
    return pthread_getaffinity_np(thread, sizeof *set, set->system());
}

// OpenMP binds the first thread of a program even before we are loaded when it is asked to bind
// any; the program's processors are those of its places then.
void add_places_of_openmp(processor_set *set) {
    if (!omp_get_num_places || !omp_get_place_num_procs || !omp_get_place_proc_ids) return;
    if (!getenv("OMP_PROC_BIND") && !getenv("OMP_PLACES") && !getenv("GOMP_CPU_AFFINITY")) return;
    for (int place = omp_get_num_places() - 1; place >= 0; --place) {
        const int count = omp_get_place_num_procs(place);
        if (count < 1) continue;
        int *ids = static_cast<int *>(malloc(static_cast<size_t>(count) * sizeof(int)));
        if (!ids) return;
        omp_get_place_proc_ids(place, ids);
        for (int k = 0; k < count; ++k)
            if (ids[k] >= 0 && ids[k] < max_processors) set->add(ids[k]);
        free(ids);
    }
}

// Those at load, and what has been added since.
int allowed_processors(processor_set *set) {
    *set = processors_at_load;
    processor_set more = {};
    const pid_t threads[] = {0, getpid()};  // this one, the first one
    for (const pid_t thread : threads)
        if (sched_getaffinity(thread, sizeof more, more.system()) == 0) set->add(more);
    add_places_of_openmp(set);
    return set->count() > 0 ? 0 : -1;
}

// ---- Reading ------------------------------------------------------------------------------------

struct node_set {
    bool present[max_node_number + 1];
    int32_t count;
};

void scan_nodes(const char *directory, node_set *nodes) {
    *nodes = {};
    DIR *d = opendir(directory);
    if (!d) return;
    while (const dirent *entry = readdir(d)) {
        if (strncmp(entry->d_name, "node", 4) != 0) continue;
        const char *digits = entry->d_name + 4;
        if (*digits < '0' || *digits > '9') continue;
        char *end;
        const unsigned long node = strtoul(digits, &end, 10);
        if (*end || node > max_node_number || nodes->present[node]) continue;
        nodes->present[node] = true;
        ++nodes->count;
    }
    closedir(d);
}

// The file `name` of a node as text from malloc; null when there is nothing to read.
char *read_node_file(const char *directory, int node, const char *name) {
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof path, "%s/node%d/%s", directory, node, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return nullptr;
    // More than a full line for any machine: 8192 processors, 1024 distances.
    constexpr size_t size = 16384;
    char *text = static_cast<char *>(malloc(size));
    if (!text) return nullptr;
    int file;
    do file = open(path, O_RDONLY | O_CLOEXEC);
    while (file < 0 && errno == EINTR);
    size_t held = 0;
    while (file >= 0 && held + 1 < size) {
        const ssize_t got = read(file, text + held, size - 1 - held);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        held += static_cast<size_t>(got);
    }
    if (file >= 0) close(file);
    text[held] = '\0';
    if (held > 0) return text;
    free(text);
    return nullptr;
}

bool read_processors(topology *t, const char *directory) {
    for (int cpu = 0; cpu < max_processors; ++cpu) t->node_of[cpu] = -1;
    t->end = 0;
    for (int node = 0; node < t->node_count; ++node) {
        char *text = read_node_file(directory, t->numbers[node], "cpumap");
        if (!text) return false;
        processor_set cpus;
        parse_cpumap(text, &cpus);
        free(text);
        for (int cpu = 0; cpu < max_processors; ++cpu) {
            if (!cpus.has(cpu)) continue;
            t->node_of[cpu] = static_cast<int16_t>(node);
            if (t->end <= cpu) t->end = cpu + 1;
        }
    }
    return true;
}

bool read_distances(topology *t, const char *directory) {
    for (int node = 0; node < t->node_count; ++node) {
        char *text = read_node_file(directory, t->numbers[node], "distance");
        const bool read = text && parse_distances(text, t->node_count,
                                                  t->distance + int64_t{node} * t->node_count);
        free(text);
        if (!read) return false;
    }
    return true;
}

// Nodes at the same distance stay in the order of their numbers.
void rank_nodes(topology *t) {
    for (int64_t node = 0; node < t->node_count; ++node) {
        const int32_t *distance = t->distance + node * t->node_count;
        int32_t *nearest = t->nearest + node * t->node_count;
        for (int32_t other = 0; other < t->node_count; ++other) {
            int32_t place = other;
            for (; place > 0 && distance[nearest[place - 1]] > distance[other]; --place)
                nearest[place] = nearest[place - 1];
            nearest[place] = other;
        }
    }
}

// One block for all lists.
bool allocate_lists(topology *t, int32_t nodes) {
    const size_t n = static_cast<size_t>(nodes);
    t->numbers = static_cast<int32_t *>(
        calloc(n + 2 * n * n + n * group_count + max_processors / 2, sizeof(int32_t)));
    if (!t->numbers) return false;
    t->node_count = nodes;
    t->distance = t->numbers + n;
    t->nearest = t->distance + n * n;
    t->usable = t->nearest + n * n;
    t->node_of = reinterpret_cast<int16_t *>(t->usable + n * group_count);
    return true;
}

}  // namespace

const platform this_machine = {"/sys/devices/system/node", sched_getcpu, allowed_processors,
                               bind_thread, processors_of_thread};

bool topology_discover(topology *t, const char *node_directory) {
    *t = {};
    node_set nodes;
    scan_nodes(node_directory, &nodes);
    if (nodes.count == 0 || !allocate_lists(t, nodes.count)) return false;
    for (int32_t number = 0, node = 0; number <= max_node_number; ++number)
        if (nodes.present[number]) t->numbers[node++] = number;
    if (read_processors(t, node_directory) && read_distances(t, node_directory)) {
        rank_nodes(t);
        return true;
    }
    topology_release(t);
    return false;
}

void topology_release(topology *t) {
    free(t->numbers);
    *t = {};
}

void count_usable(topology *t, const processor_set *allowed) {
    memset(t->usable, 0, static_cast<size_t>(t->node_count) * group_count * sizeof(int32_t));
    for (int cpu = 0; cpu < t->end; ++cpu)
        if (t->node_of[cpu] >= 0 && allowed->has(cpu))
            ++t->usable[t->node_of[cpu] * group_count + cpu % group_count];
}

int parse_cpumap(const char *text, processor_set *cpus) {
    *cpus = {};
    int64_t cpu = 0;
    for (size_t end = strcspn(text, "\n"); end > 0; --end) {
        const char c = text[end - 1];
        if (c == ',') continue;
        const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : 0;
        for (int bit = 0; bit < 4; ++bit, ++cpu)
            if ((digit >> bit & 1) && cpu < max_processors) cpus->add(cpu);
    }
    return cpus->count();
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
    for (int cpu = 0; cpu < t->end; ++cpu)
        processors += t->node_of[cpu] >= 0 && t->node_of[cpu] < t->node_count / 2;
    return processors > 0 && processors % 2 == 0 ? processors : -1;
}

}  // namespace lyr
