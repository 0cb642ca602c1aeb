#include "problem.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "precision.h"

namespace lyr_tools {

namespace {

__extension__ typedef __int128 int128;

// Lengths and strides stop here, so that a sum of six products of two fits 128 bits.
constexpr int64_t max_number = int64_t{1} << 56;

constexpr char notation[] =
    R"(A problem is written as two to four letters and a shape:

    ocf1024         out of place, complex, forward, 1024 points
    icb60x48        in place, complex, backward, 60 x 48 points
    60x48           short for ocf60x48

letters   o, i    out of place, in place
          s       split: real and imaginary parts in separate arrays (oscf64);
                  out of place or complex only
          cf, cb  complex forward, complex backward
          rf, rb  real to complex, complex to real; lengths are those of the
                  real array
          k       real to real; each length is followed by its kind (ok64e10)
kinds     e00 e01 e10 e11  REDFT00 REDFT01 REDFT10 REDFT11
          o00 o01 o10 o11  RODFT00 RODFT01 RODFT10 RODFT11
          h f b            DHT R2HC HC2R
shape     1 to 3 lengths joined by x, outermost first; 0 alone means no
          dimension at all: the batch is only rearranged (ocf0*5:1:2)
batch     0 to 3 lengths, each after a *, outermost first:
          ocf128*1000      1000 transforms one after another
          ocf128*1000i     1000 transforms interleaved: element stride 1000,
                           distance 1
strides   LENGTH:IN:OUT for every dimension, in elements of the input and of
          the output array: ocf12:7:8x7:1:1*5:84:100

Without strides arrays are row-major and have no gaps; rows of in-place
transforms between real and complex are padded as the library asks.
)";

struct kind_name {
    const char *name;
    lyr_fft_r2r_kind kind;
};

constexpr kind_name kind_names[] = {
    {"e00", LYR_FFT_REDFT00}, {"e01", LYR_FFT_REDFT01}, {"e10", LYR_FFT_REDFT10},
    {"e11", LYR_FFT_REDFT11}, {"o00", LYR_FFT_RODFT00}, {"o01", LYR_FFT_RODFT01},
    {"o10", LYR_FFT_RODFT10}, {"o11", LYR_FFT_RODFT11}, {"h", LYR_FFT_DHT},
    {"f", LYR_FFT_R2HC},      {"b", LYR_FFT_HC2R},
};

const char *name_of(lyr_fft_r2r_kind kind) {
    for (const kind_name &k : kind_names)
        if (k.kind == kind) return k.name;
    return "?";
}

// The unread rest of a text.
struct reader {
    std::string_view rest;

    bool take(std::string_view word) {
        if (!rest.starts_with(word)) return false;
        rest.remove_prefix(word.size());
        return true;
    }
};

// Read a number from `least` to max_number.
bool take_number(reader &r, int64_t least, int64_t &value, std::string &error) {
    if (r.rest.empty() || r.rest[0] < '0' || r.rest[0] > '9') {
        error = r.rest.empty() ? "a number is missing at the end"
                               : "a number is missing before " + in_quotes(r.rest);
        return false;
    }
    const char *end = r.rest.data() + r.rest.size();
    const auto [stop, status] = std::from_chars(r.rest.data(), end, value);
    if (status != std::errc() || value > max_number) {
        error = "a number is too large";
        return false;
    }
    if (value < least) {
        error = "lengths and strides start at 1";
        return false;
    }
    r.rest.remove_prefix(static_cast<size_t>(stop - r.rest.data()));
    return true;
}

bool take_letters(reader &r, problem &p, std::string &error) {
    if (!r.rest.empty() && r.rest[0] >= '0' && r.rest[0] <= '9') return true;
    if (r.take("i")) {
        p.in_place = true;
    } else if (!r.take("o")) {
        error = "it starts with o, i or a length";
        return false;
    }
    p.split = r.take("s");
    if (r.take("cf")) {
        p.kind = transform::c2c;
    } else if (r.take("cb")) {
        p.kind = transform::c2c;
        p.sign = LYR_FFT_BACKWARD;
    } else if (r.take("rf")) {
        p.kind = transform::r2c;
    } else if (r.take("rb")) {
        p.kind = transform::c2r;
    } else if (r.take("k")) {
        p.kind = transform::r2r;
    } else {
        error = "the transform must be one of cf, cb, rf, rb, k";
        return false;
    }
    if (p.split && p.kind == transform::r2r) {
        error = "real-to-real arrays cannot be split";
        return false;
    }
    if (p.split && p.in_place && p.kind != transform::c2c) {
        error = "split transforms between real and complex are out of place";
        return false;
    }
    return true;
}

bool take_kind(reader &r, lyr_fft_r2r_kind &kind, std::string &error) {
    for (const kind_name &k : kind_names) {
        if (r.take(k.name)) {
            kind = k.kind;
            return true;
        }
    }
    error = "each length of a real-to-real transform needs its kind, as in ok64e10";
    return false;
}

// Read the strides after a length, if there are any.
bool take_strides(reader &r, lyr_fft_iodim64 &d, int &with_strides, std::string &error) {
    if (!r.take(":")) return true;
    ++with_strides;
    if (!take_number(r, 1, d.is, error)) return false;
    if (!r.take(":")) {
        error = "strides come in pairs, LENGTH:IN:OUT";
        return false;
    }
    return take_number(r, 1, d.os, error);
}

bool take_shape(reader &r, problem &p, int &with_strides, std::string &error) {
    if (r.rest == "0" || r.rest.starts_with("0*")) {
        r.rest.remove_prefix(1);
        return true;
    }
    do {
        if (p.rank == max_rank) {
            error = "a transform has at most 3 dimensions";
            return false;
        }
        lyr_fft_iodim64 &d = p.dims[p.rank];
        if (!take_number(r, 1, d.n, error)) return false;
        if (p.kind == transform::r2r) {
            if (!take_kind(r, p.kinds[p.rank], error)) return false;
            if (p.kinds[p.rank] == LYR_FFT_REDFT00 && d.n < 2) {
                error = "kind e00 needs a length of at least 2";
                return false;
            }
        }
        if (!take_strides(r, d, with_strides, error)) return false;
        ++p.rank;
    } while (r.take("x"));
    return true;
}

bool take_batch(reader &r, problem &p, int &with_strides, std::string &error) {
    while (r.take("*")) {
        if (p.batch_rank == max_rank) {
            error = "a batch has at most 3 dimensions";
            return false;
        }
        lyr_fft_iodim64 &d = p.batch[p.batch_rank];
        if (!take_number(r, 1, d.n, error)) return false;
        if (!take_strides(r, d, with_strides, error)) return false;
        ++p.batch_rank;
    }
    return true;
}

int128 wide_extent(const problem &p, side s) {
    int128 last = 0;
    for (int d = 0; d < p.rank; ++d)
        last += int128{stored_length(p, d, s) - 1} * stride(p.dims[d], s);
    for (int d = 0; d < p.batch_rank; ++d) last += int128{p.batch[d].n - 1} * stride(p.batch[d], s);
    return last + 1;
}

// Bytes of the arrays of a problem together.
int128 array_bytes(const problem &p) {
    const int128 in = wide_extent(p, side::in) *
                      (is_complex(p, side::in) ? lyr::complex_bytes : lyr::scalar_bytes);
    const int128 out = wide_extent(p, side::out) *
                       (is_complex(p, side::out) ? lyr::complex_bytes : lyr::scalar_bytes);
    return p.in_place ? std::max(in, out) : in + out;
}

bool parse(std::string_view text, int64_t max_bytes, const char *limit, problem &p,
           std::string &error) {
    reader r{text};
    int with_strides = 0;
    if (text.empty()) {
        error = "it is empty";
        return false;
    }
    if (!take_letters(r, p, error)) return false;
    if (!take_shape(r, p, with_strides, error)) return false;
    if (!take_batch(r, p, with_strides, error)) return false;
    const bool interleaved = p.batch_rank > 0 && r.take("i");
    if (!r.rest.empty()) {
        error = in_quotes(r.rest) + " is not understood";
        return false;
    }
    if (with_strides == 0) {
        if (!set_usual_strides(p, interleaved)) {
            error = "it is too large";
            return false;
        }
    } else if (with_strides != p.rank + p.batch_rank) {
        error = "strides must be given for all dimensions or for none";
        return false;
    } else if (interleaved) {
        error = "i and strides exclude each other";
        return false;
    }
    // The number of elements is checked as well as their extent: strides may make them overlap.
    int128 elements = 1;
    for (int d = 0; d < p.rank; ++d)
        elements = std::min<int128>(elements * p.dims[d].n, max_number);
    for (int d = 0; d < p.batch_rank; ++d)
        elements = std::min<int128>(elements * p.batch[d].n, max_number);
    if (array_bytes(p) > max_bytes || elements > max_bytes / lyr::scalar_bytes) {
        error = "it is too large: its arrays would need more than " +
                std::to_string(max_bytes >> 20) + " MiB" + limit;
        return false;
    }
    return true;
}

bool same_strides(const problem &a, const problem &b) {
    const auto same = [](const lyr_fft_iodim64 &x, const lyr_fft_iodim64 &y) {
        return x.is == y.is && x.os == y.os;
    };
    return std::equal(a.dims, a.dims + a.rank, b.dims, same) &&
           std::equal(a.batch, a.batch + a.batch_rank, b.batch, same);
}

}  // namespace

const char *problem_notation() {
    return notation;
}

int64_t problem_bytes(const problem &p) {
    return static_cast<int64_t>(array_bytes(p));
}

bool parse_problem(std::string_view text, int64_t max_bytes, problem &p, std::string &error,
                   const char *limit) {
    problem result;
    std::string reason;
    if (!parse(text, max_bytes, limit, result, reason)) {
        error = "bad problem " + in_quotes(text) + ": " + reason;
        return false;
    }
    p = result;
    return true;
}

bool set_usual_strides(problem &p, bool interleaved) {
    int128 batch = 1;
    for (int d = 0; d < p.batch_rank; ++d) {
        batch *= p.batch[d].n;
        if (batch > max_number) return false;
    }
    for (const side s : {side::in, side::out}) {
        const auto set = [s](lyr_fft_iodim64 &d, int128 step) {
            if (step > max_number) return false;
            (s == side::in ? d.is : d.os) = static_cast<int64_t>(step);
            return true;
        };
        const bool half_complex = p.kind == transform::r2c || p.kind == transform::c2r;
        int128 step = interleaved ? batch : 1;
        for (int d = p.rank - 1; d >= 0; --d) {
            if (!set(p.dims[d], step)) return false;
            const bool last = d == p.rank - 1;
            const bool padded = last && half_complex && p.in_place && !is_complex(p, s);
            step *= padded ? 2 * (p.dims[d].n / 2 + 1) : stored_length(p, d, s);
        }
        // The transform of no dimension in place still pairs one real with one complex number.
        if (p.rank == 0 && half_complex && p.in_place && !is_complex(p, s)) step *= 2;
        if (interleaved) step = 1;
        for (int d = p.batch_rank - 1; d >= 0; --d) {
            if (!set(p.batch[d], step)) return false;
            step *= p.batch[d].n;
        }
    }
    return true;
}

std::string format_problem(const problem &p) {
    std::string text = p.in_place ? "i" : "o";
    if (p.split) text += 's';
    switch (p.kind) {
        case transform::c2c:
            text += p.sign == LYR_FFT_FORWARD ? "cf" : "cb";
            break;
        case transform::r2c:
            text += "rf";
            break;
        case transform::c2r:
            text += "rb";
            break;
        case transform::r2r:
            text += "k";
            break;
    }
    problem usual = p;
    problem interleaved = p;
    const bool is_usual = set_usual_strides(usual, false) && same_strides(p, usual);
    const bool is_interleaved = !is_usual && p.batch_rank > 0 &&
                                set_usual_strides(interleaved, true) &&
                                same_strides(p, interleaved);
    const auto add = [&](const lyr_fft_iodim64 &d, const char *kind) {
        text += std::to_string(d.n) + kind;
        if (is_usual || is_interleaved) return;
        for (const int64_t step : {d.is, d.os}) {
            text += ':';
            text += std::to_string(step);
        }
    };
    if (p.rank == 0) text += '0';
    for (int d = 0; d < p.rank; ++d) {
        if (d > 0) text += 'x';
        add(p.dims[d], p.kind == transform::r2r ? name_of(p.kinds[d]) : "");
    }
    for (int d = 0; d < p.batch_rank; ++d) {
        text += '*';
        add(p.batch[d], "");
    }
    if (is_interleaved) text += 'i';
    return text;
}

int64_t point_count(const problem &p) {
    int64_t count = 1;
    for (int d = 0; d < p.rank; ++d) count *= p.dims[d].n;
    return count;
}

int64_t batch_count(const problem &p) {
    int64_t count = 1;
    for (int d = 0; d < p.batch_rank; ++d) count *= p.batch[d].n;
    return count;
}

double conventional_flops(const problem &p) {
    const double n = static_cast<double>(point_count(p));
    const double factor = p.kind == transform::c2c ? 5.0 : 2.5;
    return factor * n * std::log2(n) * static_cast<double>(batch_count(p));
}

bool is_complex(const problem &p, side s) {
    switch (p.kind) {
        case transform::c2c:
            return true;
        case transform::r2c:
            return s == side::out;
        case transform::c2r:
            return s == side::in;
        case transform::r2r:
            break;
    }
    return false;
}

int64_t stored_length(const problem &p, int d, side s) {
    const bool halved = p.kind != transform::c2c && is_complex(p, s) && d == p.rank - 1;
    return halved ? p.dims[d].n / 2 + 1 : p.dims[d].n;
}

int64_t extent(const problem &p, side s) {
    return static_cast<int64_t>(wide_extent(p, s));
}

size_t printable_length(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return byte(0) >= ' ' && byte(0) <= '~' ? 1 : 0;
    const size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
    if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length) return 0;
    uint32_t code = byte(0) & (0x7fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3f);
    }
    constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto within = [code](uint32_t low, uint32_t high) { return code >= low && code <= high; };
    const bool shown = code >= least[length] && code <= 0x10ffff && !within(0xd800, 0xdfff) &&
                       !within(0x80, 0x9f) &&      // control characters
                       !within(0x200b, 0x200f) &&  // what has no width or turns the direction
                       !within(0x2028, 0x202e) && !within(0x2060, 0x206f) && code != 0xfeff;
    return shown ? length : 0;
}

std::string in_quotes(std::string_view text) {
    constexpr int longest = 60;
    std::string result = "'";
    int characters = 0;
    for (; !text.empty() && characters < longest; ++characters) {
        const size_t length = printable_length(text);
        result += length > 0 ? text.substr(0, length) : "?";
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result + (text.empty() ? "'" : "...'");
}

}  // namespace lyr_tools
