#include "fenced.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace lyr_fuzz {

namespace {

constexpr int most_arrays = 4;

// A fence, room, a fence.
double *make_room() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    constexpr size_t bytes = fenced_room * sizeof(double);
    void *all = mmap(nullptr, bytes + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) std::abort();
    void *room = static_cast<char *>(all) + page;
    if (mprotect(room, bytes, PROT_READ | PROT_WRITE) != 0) std::abort();
    return static_cast<double *>(room);
}

double *room_of(place where, size_t array) {
    static double *rooms[2][most_arrays];
    double *&room = rooms[where == place::at_end][array];
    if (room == nullptr) room = make_room();
    return room;
}

}  // namespace

void fence(lyr_tools::buffers &b, place where) {
    for (size_t i = 0; i < b.arrays.size(); ++i) {
        lyr_tools::guarded_array &a = b.arrays[i];
        if (a.guard != 0 || a.count > fenced_room || i >= most_arrays) std::abort();
        double *to = room_of(where, i) + (where == place::at_end ? fenced_room - a.count : 0);
        std::copy(a.data, a.data + a.count, to);
        for (int part = 0; part < 2; ++part) {
            if (b.in[part] == a.data) b.in[part] = to;
            if (b.out[part] == a.data) b.out[part] = to;
        }
        a.data = to;
    }
}

double *forbidden() {
    static double *const memory = [] {
        void *page = mmap(nullptr, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE,
                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) std::abort();
        return static_cast<double *>(page);
    }();
    return memory;
}

}  // namespace lyr_fuzz
