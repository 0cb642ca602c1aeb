#include "planner/cache_sizes.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lyr {

namespace {

// Read and written with atomics; 0: not asked yet.
int64_t second_bytes = 0, last_bytes = 0;

// Reads the beginning of the file `name` of cache `index` as text. False when there is none.
bool read_cache_file(const char *directory, int index, const char *name, char (&text)[32]) {
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof path, "%s/index%d/%s", directory, index, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return false;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const ssize_t got = read(file, text, sizeof text - 1);
    close(file);
    if (got <= 0) return false;
    text[got] = '\0';
    return true;
}

// "1024K", or in units of "M" or of bytes. 0 for anything else.
int64_t parse_size(const char *text) {
    char *end;
    const long long number = strtoll(text, &end, 10);
    const int shift = *end == 'K' ? 10 : *end == 'M' ? 20 : 0;
    if (number < 1 || number > LLONG_MAX >> 20) return 0;
    return number << shift;
}

}  // namespace

cache_sizes read_cache_sizes(const char *directory) {
    constexpr int most_caches = 16;
    int64_t found[5] = {};  // by level
    for (int index = 0; index < most_caches; ++index) {
        char type[32], level[32], size[32];
        if (!read_cache_file(directory, index, "type", type)) break;
        if (strncmp(type, "Instruction", 11) == 0) continue;
        if (!read_cache_file(directory, index, "level", level)) continue;
        if (!read_cache_file(directory, index, "size", size)) continue;
        if (level[0] >= '1' && level[0] <= '4') found[level[0] - '0'] = parse_size(size);
    }
    constexpr int64_t least_second = 64 << 10;
    cache_sizes sizes = usual_caches;
    if (found[2] >= least_second) sizes.second = sizes.last = found[2];
    for (int level = 3; level <= 4; ++level)
        if (found[level] >= sizes.second) sizes.last = found[level];
    return sizes;
}

cache_sizes caches() {
    if (const int64_t last = __atomic_load_n(&last_bytes, __ATOMIC_ACQUIRE))
        return {__atomic_load_n(&second_bytes, __ATOMIC_RELAXED), last};
    int before;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    const cache_sizes sizes = read_cache_sizes("/sys/devices/system/cpu/cpu0/cache");
    pthread_setcancelstate(before, nullptr);
    set_caches(sizes);
    return sizes;
}

void set_caches(cache_sizes sizes) {
    __atomic_store_n(&second_bytes, sizes.second, __ATOMIC_RELAXED);
    __atomic_store_n(&last_bytes, sizes.last, __ATOMIC_RELEASE);
}

}  // namespace lyr
