// Wisdom. Plans here need none: it is a list of the problems that have been planned, each with the
// greatest rigour that was asked for, so that programs find what they stored and FFTW_WISDOM_ONLY
// says what they expect.
//
// As text, a line for each: (lyra_fftw3 fftw_wisdom NEWLINE   (#x0123456789abcdef 1) .. NEWLINE )
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plan.h"

namespace compat {

namespace {

struct entry {
    uint64_t hash;  // 0: free
    int rigour;
};

// An open hash table, at most half full; its size is a power of two.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;  // for what follows
entry *table = nullptr;
size_t table_size = 0, table_count = 0;
constexpr size_t most_entries = size_t{1} << 20;

entry *find(entry *in, size_t size, uint64_t hash) {
    size_t k = hash & (size - 1);
    while (in[k].hash != 0 && in[k].hash != hash) k = (k + 1) & (size - 1);
    return in + k;
}

// Wisdom that there is no memory for is lost.
void note(uint64_t hash, int rigour) {
    if (2 * (table_count + 1) > table_size) {
        const size_t size = table_size ? 2 * table_size : 64;
        entry *larger =
            size > 2 * most_entries ? nullptr : static_cast<entry *>(calloc(size, sizeof(entry)));
        if (!larger) return;
        for (size_t k = 0; k < table_size; ++k)
            if (table[k].hash != 0) *find(larger, size, table[k].hash) = table[k];
        free(table);
        table = larger;
        table_size = size;
    }
    entry *e = find(table, table_size, hash);
    if (e->hash == 0) {
        *e = {hash, rigour};
        ++table_count;
    } else if (e->rigour < rigour) {
        e->rigour = rigour;
    }
}

void mix(uint64_t &hash, uint64_t value) {
    // FNV-1a (Fowler, Noll, Vo), a byte at a time.
    for (int k = 0; k < 8; ++k) {
        hash ^= value >> (8 * k) & 0xff;
        hash *= 0x100000001b3;
    }
}

void mix(uint64_t &hash, const iodim64 &d) {
    mix(hash, static_cast<uint64_t>(d.n));
    mix(hash, static_cast<uint64_t>(d.is));
    mix(hash, static_cast<uint64_t>(d.os));
}

const char head[] = "(lyra_fftw3 " FFTW_TEXT "_wisdom";

using write_function = void (*)(char c, void *data);
using read_function = int (*)(void *data);

void write_text(const char *text, write_function write, void *data) {
    for (; *text; ++text) write(*text, data);
}

void export_all(write_function write, void *data) {
    write_text(head, write, data);
    write_text("\n", write, data);
    // A copy, as the caller's function may plan.
    pthread_mutex_lock(&lock);
    const size_t size = table_size;
    entry *entries = size ? static_cast<entry *>(malloc(size * sizeof(entry))) : nullptr;
    if (entries) memcpy(entries, table, size * sizeof(entry));
    pthread_mutex_unlock(&lock);
    for (size_t k = 0; entries && k < size; ++k) {
        if (entries[k].hash == 0) continue;
        char line[64];
        snprintf(line, sizeof line, "  (#x%016llx %d)\n",
                 static_cast<unsigned long long>(entries[k].hash), entries[k].rigour);
        write_text(line, write, data);
    }
    free(entries);
    write_text(")\n", write, data);
}

// Characters with one looked ahead.
struct reader {
    read_function read;
    void *data;
    int next;

    int take() {
        const int c = next;
        next = c < 0 ? c : read(data);
        return c;
    }
    void skip_space() {
        while (next == ' ' || next == '\n' || next == '\t' || next == '\r') take();
    }
    bool takes(char c) {
        skip_space();
        if (next != static_cast<unsigned char>(c)) return false;
        // Nothing is read beyond the last parenthesis: more may follow in a file.
        return true;
    }
};

int hex_digit(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// One entry, after its parenthesis.
bool read_entry(reader &r, entry &e) {
    r.skip_space();
    if (r.take() != '#' || r.take() != 'x') return false;
    e.hash = 0;
    int digits = 0;
    for (; hex_digit(r.next) >= 0; ++digits)
        e.hash = e.hash << 4 | static_cast<uint64_t>(hex_digit(r.take()));
    if (digits != 16 || e.hash == 0) return false;
    r.skip_space();
    if (r.next < '0' || r.next > '3') return false;
    e.rigour = r.take() - '0';
    return r.takes(')') && r.take() == ')';
}

// All or nothing: entries count when the closing parenthesis has come.
int import_all(read_function read, void *data) {
    reader r = {read, data, 0};
    r.next = read(data);
    r.skip_space();
    for (const char *c = head; *c; ++c)
        if (r.next != static_cast<unsigned char>(*c))
            return 0;
        else
            r.take();
    entry *entries = nullptr;
    size_t count = 0, room = 0;
    bool good = false;
    for (;;) {
        r.skip_space();
        if (r.next == ')') {
            good = true;
            break;
        }
        entry e;
        if (r.take() != '(' || !read_entry(r, e)) break;
        if (count == room) {
            room = room ? 2 * room : 64;
            entry *more = static_cast<entry *>(realloc(entries, room * sizeof(entry)));
            if (!more) break;
            entries = more;
        }
        entries[count++] = e;
    }
    if (good) {
        pthread_mutex_lock(&lock);
        for (size_t k = 0; k < count; ++k) note(entries[k].hash, entries[k].rigour);
        pthread_mutex_unlock(&lock);
    }
    free(entries);
    return good;
}

void write_to_file(char c, void *file) {
    fputc(c, static_cast<FILE *>(file));
}
int read_from_file(void *file) {
    return fgetc(static_cast<FILE *>(file));
}
int read_from_string(void *text) {
    const char **at = static_cast<const char **>(text);
    return **at ? static_cast<unsigned char>(*(*at)++) : EOF;
}

struct string_writer {
    char *text;
    size_t length, room;
    bool failed;
};
void write_to_string(char c, void *data) {
    string_writer *w = static_cast<string_writer *>(data);
    if (w->length + 2 > w->room && !w->failed) {
        const size_t room = w->room ? 2 * w->room : 256;
        char *more = static_cast<char *>(realloc(w->text, room));
        w->failed = !more;
        if (more) {
            w->text = more;
            w->room = room;
        }
    }
    if (w->failed) return;
    w->text[w->length++] = c;
    w->text[w->length] = 0;
}

}  // namespace

uint64_t problem_hash(const problem &p) {
    uint64_t hash = 0xcbf29ce484222325;
    mix(hash, static_cast<uint64_t>(p.kind));
    mix(hash, p.kind == problem_kind::c2c && p.sign == -1);
    mix(hash, p.split);
    mix(hash, p.in_place);
    mix(hash, static_cast<uint64_t>(p.rank));
    for (int k = 0; k < p.rank; ++k) {
        mix(hash, p.dims[k]);
        if (p.kind == problem_kind::r2r) mix(hash, static_cast<uint64_t>(p.kinds[k]));
    }
    for (int k = 0; k < p.batch_rank; ++k) mix(hash, p.batch[k]);
    return hash ? hash : 1;
}

int rigour_of(unsigned flags) {
    if (flags & flag_estimate) return 0;
    if (flags & flag_exhaustive) return 3;
    return flags & flag_patient ? 2 : 1;
}

bool wisdom_knows(uint64_t hash, int rigour) {
    pthread_mutex_lock(&lock);
    const entry *e = table_size ? find(table, table_size, hash) : nullptr;
    const bool known = e && e->hash == hash && e->rigour >= rigour;
    pthread_mutex_unlock(&lock);
    return known;
}

void wisdom_note(uint64_t hash, int rigour) {
    pthread_mutex_lock(&lock);
    note(hash, rigour);
    pthread_mutex_unlock(&lock);
}

}  // namespace compat

using namespace compat;

EXPORT void FFTW(export_wisdom)(write_function write, void *data) {
    export_all(write, data);
}

EXPORT void FFTW(export_wisdom_to_file)(FILE *file) {
    export_all(write_to_file, file);
}

EXPORT int FFTW(export_wisdom_to_filename)(const char *name) {
    FILE *file = fopen(name, "w");
    if (!file) return 0;
    export_all(write_to_file, file);
    const bool good = !ferror(file);
    return fclose(file) == 0 && good;
}

// The caller releases it with free.
EXPORT char *FFTW(export_wisdom_to_string)() {
    string_writer w = {nullptr, 0, 0, false};
    export_all(write_to_string, &w);
    if (!w.failed) return w.text;
    free(w.text);
    return nullptr;
}

EXPORT int FFTW(import_wisdom)(read_function read, void *data) {
    return import_all(read, data);
}

EXPORT int FFTW(import_wisdom_from_file)(FILE *file) {
    return import_all(read_from_file, file);
}

EXPORT int FFTW(import_wisdom_from_filename)(const char *name) {
    FILE *file = fopen(name, "r");
    if (!file) return 0;
    const int good = import_all(read_from_file, file);
    fclose(file);
    return good;
}

EXPORT int FFTW(import_wisdom_from_string)(const char *text) {
    return import_all(read_from_string, &text);
}

// /etc/fftw/wisdom is the original's.
EXPORT int FFTW(import_system_wisdom)() {
    return 0;
}

EXPORT void FFTW(forget_wisdom)() {
    pthread_mutex_lock(&lock);
    free(table);
    table = nullptr;
    table_size = table_count = 0;
    pthread_mutex_unlock(&lock);
}

EXPORT void FFTW(cleanup)() {
    FFTW(forget_wisdom)();
}
