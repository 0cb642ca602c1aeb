#include "planner/scratch.h"

#include <pthread.h>
#include <sched.h>

#include <bit>

#include "api/memory.h"

namespace lyr {

// In front of its memory, in lines of its own.
struct alignas(64) scratch_block {
    scratch_block *next;
    int32_t taken;
};

namespace {

constexpr uint64_t page = 4096;
constexpr int favourites = 16;

// The blocks of one size. The list only grows while there are plans that use it.
struct size_class {
    scratch_block *blocks;
    int64_t plans;
    // The block that a thread was lent last, for threads by their hash: threads that keep to
    // different blocks do not disturb each other.
    scratch_block *favourite[favourites];
};

// Four sizes for every power of two.
size_class classes[4 * 64];
int64_t blocks_existing = 0;
pthread_mutex_t mutex =
    PTHREAD_MUTEX_INITIALIZER;  // for plans and blocks_existing, and to add blocks

template <class value>
value load(const value *x) {
    return __atomic_load_n(x, __ATOMIC_ACQUIRE);
}

int class_index(uint64_t bytes) {
    const uint64_t last = (bytes - 1) | 4;  // at least three bits; they are many more
    const int log2 = static_cast<int>(std::bit_width(last)) - 1;
    return 4 * log2 + static_cast<int>(last >> (log2 - 2) & 3);
}

uint64_t class_bytes(int index) {
    return uint64_t{static_cast<uint64_t>(index % 4 + 5)} << (index / 4 - 2);
}

size_class *class_of(const plan *p) {
    return &classes[class_index(p->scratch_bytes)];
}

// Null without memory.
scratch_block *add_block(size_class *c, int32_t taken) {
    const uint64_t bytes = class_bytes(static_cast<int>(c - classes));
    void *memory = aligned_alloc_any(sizeof(scratch_block) + page + bytes);
    if (!memory) return nullptr;
    scratch_block *block = static_cast<scratch_block *>(memory);
    pthread_mutex_lock(&mutex);
    *block = {c->blocks, taken};
    __atomic_store_n(&c->blocks, block, __ATOMIC_RELEASE);
    ++blocks_existing;
    pthread_mutex_unlock(&mutex);
    return block;
}

bool take(scratch_block *block) {
    return __atomic_load_n(&block->taken, __ATOMIC_RELAXED) == 0 &&
           __atomic_exchange_n(&block->taken, 1, __ATOMIC_ACQUIRE) == 0;
}

__attribute__((noinline)) scratch_block *take_any(size_class *c, scratch_block **favourite) {
    for (;; sched_yield()) {
        scratch_block *block = load(&c->blocks);
        while (block && !take(block)) block = block->next;
        if (!block) block = add_block(c, 1);
        if (!block) continue;
        __atomic_store_n(favourite, block, __ATOMIC_RELEASE);
        return block;
    }
}

// The quarter of a page, counted from `memory` on, next to which an array begins.
uint64_t quarter_of(const scalar *array, const char *memory) {
    const uint64_t distance =
        reinterpret_cast<uintptr_t>(array) - reinterpret_cast<uintptr_t>(memory);
    return (distance + page / 8) / (page / 4) % 4;
}

}  // namespace

bool scratch_reserve(const plan *p) {
    if (p->scratch_bytes <= stack_scratch_bytes) return true;
    if (p->scratch_bytes > uint64_t{1} << 60) return false;
    size_class *c = class_of(p);
    pthread_mutex_lock(&mutex);
    ++c->plans;  // from here on no block of the class goes
    pthread_mutex_unlock(&mutex);
    if (load(&c->blocks) || add_block(c, 0)) return true;
    scratch_release(p);
    return false;
}

void scratch_release(const plan *p) {
    if (p->scratch_bytes <= stack_scratch_bytes) return;
    size_class *c = class_of(p);
    scratch_block *blocks = nullptr;
    pthread_mutex_lock(&mutex);
    if (--c->plans == 0) {
        blocks = c->blocks;
        *c = {};
        for (const scratch_block *b = blocks; b; b = b->next) --blocks_existing;
    }
    pthread_mutex_unlock(&mutex);
    while (blocks) {
        scratch_block *next = blocks->next;
        aligned_free(blocks);
        blocks = next;
    }
}

lent_scratch scratch_lend(const plan *p, const scalar *in, const scalar *out) {
    size_class *c = class_of(p);
    const uint64_t hash = static_cast<uint64_t>(pthread_self()) * 0x9E3779B97F4A7C15;
    scratch_block **favourite = &c->favourite[hash >> 60];
    scratch_block *block = load(favourite);
    if (!block || !take(block)) block = take_any(c, favourite);

    char *memory = reinterpret_cast<char *>(block + 1);
    const uint64_t near_in = quarter_of(in, memory), opposite = (near_in + 2) % 4;
    const uint64_t quarter = quarter_of(out, memory) == opposite ? (near_in + 1) % 4 : opposite;
    return {block, reinterpret_cast<scalar *>(memory + quarter * (page / 4))};
}

void scratch_return(const lent_scratch &scratch) {
    __atomic_store_n(&scratch.block->taken, 0, __ATOMIC_RELEASE);
}

int64_t scratch_block_count() {
    pthread_mutex_lock(&mutex);
    const int64_t count = blocks_existing;
    pthread_mutex_unlock(&mutex);
    return count;
}

// ---- Fork ---------------------------------------------------------------------------------------
// In the child nobody executes anything: what other threads were lent has come back.

namespace {

void before_fork() {
    pthread_mutex_lock(&mutex);
}

void after_fork_in_parent() {
    pthread_mutex_unlock(&mutex);
}

void after_fork_in_child() {
    for (const size_class &c : classes)
        for (scratch_block *b = c.blocks; b; b = b->next) b->taken = 0;
    pthread_mutex_unlock(&mutex);
}

__attribute__((constructor)) void survive_fork() {
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

}  // namespace

}  // namespace lyr
