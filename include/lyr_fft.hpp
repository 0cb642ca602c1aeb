/*
 * LYRA FFT for C++20: plans that clean up after themselves, spans, and typed problems.
 *
 *     std::vector<lyr_fft::complex> in(1024), out(1024);
 *     auto plan = lyr_fft::dft({1024}, in, out, lyr_fft::direction::forward).value();
 *     plan.execute();
 *
 * A thin layer of inline functions over lyr_fft.h, which defines the transforms, their layouts and
 * what is promised. Executing a plan costs nothing over the C function.
 *
 * Constructors return a result: a plan, or the reason why there is none. `if (plan)` asks, *plan
 * and plan-> reach it, value() gives it or throws refused_plan (ends the program where exceptions
 * are off). Arrays belong to the caller and must outlive the executions that use them. Inputs are
 * spans of constant numbers, for they are never written unless the transform is in place, which is
 * when `in` and `out` begin at the same address.
 */
#ifndef LYR_FFT_HPP
#define LYR_FFT_HPP

#include <lyr_fft.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <limits>
#include <new>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace lyr_fft {

using complex = std::complex<double>;

enum class direction : int { forward = LYR_FFT_FORWARD, backward = LYR_FFT_BACKWARD };

// The kinds of real-to-real transforms, defined at lyr_fft_r2r_kind.
enum class kind : int {
    r2hc = LYR_FFT_R2HC,
    hc2r = LYR_FFT_HC2R,
    dht = LYR_FFT_DHT,
    redft00 = LYR_FFT_REDFT00,
    redft01 = LYR_FFT_REDFT01,
    redft10 = LYR_FFT_REDFT10,
    redft11 = LYR_FFT_REDFT11,
    rodft00 = LYR_FFT_RODFT00,
    rodft01 = LYR_FFT_RODFT01,
    rodft10 = LYR_FFT_RODFT10,
    rodft11 = LYR_FFT_RODFT11
};

// ---- Problems -----------------------------------------------------------------------------------

// Up to three things, one per dimension, outermost first: {480, 640}. Of a longer list the library
// learns the length, and refuses it.
template <class T>
struct per_dimension {
    static constexpr std::size_t most = 3;

    constexpr per_dimension() = default;
    constexpr per_dimension(std::initializer_list<T> list)
        : rank(static_cast<int>(list.size() > most ? most + 1 : list.size())) {
        std::size_t k = 0;
        for (const T &item : list)
            if (k < most) items[k++] = item;
    }

    int rank = 0;
    T items[most] = {};
};

using shape = per_dimension<int>;
using kinds = per_dimension<kind>;

// Where the elements of an array lie, all in elements: neighbours along the last dimension `stride`
// apart, transforms `distance` apart (0: one behind the other, without gaps), `extent` physical
// lengths of the dimensions (empty: no padding).
struct layout {
    int stride = 1;
    int distance = 0;
    shape extent = {};
};

// `count` transforms of the same shape.
struct batch {
    int count = 1;
    layout in = {};
    layout out = {};
};

// A problem of any layout: the dimensions of the transform and those of the batch, 0 to 3 each,
// outermost first, as {.n = length, .is = input stride, .os = output stride}.
using dimension = lyr_fft_iodim64;
struct dimensions {
    per_dimension<dimension> transform = {};
    per_dimension<dimension> batch = {};
};

// Real and imaginary parts in arrays of their own, of double or const double. A plan of split
// complex arrays transforms forward; exchange the parts of input and output, at planning and at
// execution, for the backward transform.
template <class Real>
struct split {
    std::span<Real> re, im;

    constexpr split exchanged() const { return {im, re}; }
    constexpr operator split<const Real>() const requires(!std::is_const_v<Real>) {
        return {re, im};
    }
};

// ---- Results ------------------------------------------------------------------------------------

enum class error {
    array_too_short,  // a span ends before the last element of the problem
    refused           // an argument is out of range, memory ran out, or nothing solves the problem
};

struct refused_plan : std::exception {
    explicit refused_plan(error why) noexcept : reason(why) {}
    const char *what() const noexcept override {
        return reason == error::array_too_short ? "lyr_fft: an array is too short for the problem"
                                                : "lyr_fft: there is no plan for the problem";
    }

    error reason;
};

// A plan, or why there is none. Reaching for a plan that is not there is undefined, except by
// value().
template <class Plan>
class [[nodiscard]] result {
  public:
    result(Plan plan) noexcept : held(std::move(plan)) {}
    result(error why) noexcept : reason_(why) {}

    bool has_value() const noexcept { return static_cast<bool>(held); }
    explicit operator bool() const noexcept { return has_value(); }
    // Why there is no plan, when there is none.
    error reason() const noexcept { return reason_; }

    const Plan &operator*() const &noexcept { return held; }
    Plan &&operator*() &&noexcept { return std::move(held); }
    const Plan *operator->() const noexcept { return &held; }

    const Plan &value() const & {
        check();
        return held;
    }
    Plan value() && {
        check();
        return std::move(held);
    }

  private:
    void check() const {
        if (has_value()) return;
#if defined(__cpp_exceptions)
        throw refused_plan(reason_);
#else
        std::abort();
#endif
    }

    Plan held;
    error reason_ = error::refused;
};

// ---- Plans --------------------------------------------------------------------------------------

namespace detail {

inline lyr_fft_complex *raw(const complex *array) noexcept {
    // std::complex<double> is an array of two doubles, real part first, by the standard. The C
    // interface takes inputs without const, but writes them only in place.
    return reinterpret_cast<lyr_fft_complex *>(const_cast<complex *>(array));
}
inline double *raw(const double *array) noexcept {
    return const_cast<double *>(array);
}

// The handle, released once.
class owned {
  public:
    owned() noexcept = default;
    explicit owned(lyr_fft_plan plan) noexcept : handle(plan) {}
    owned(owned &&other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    owned &operator=(owned &&other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~owned() { lyr_fft_destroy_plan(handle); }

    // False after being moved from.
    explicit operator bool() const noexcept { return handle != nullptr; }
    // Run on the arrays given at planning.
    void execute() const noexcept { lyr_fft_execute(handle); }
    // The handle for the C functions; stays owned by the plan.
    lyr_fft_plan get() const noexcept { return handle; }
    // Give the handle away: the caller destroys it.
    lyr_fft_plan release() noexcept { return std::exchange(handle, nullptr); }

  private:
    lyr_fft_plan handle = nullptr;
};

}  // namespace detail

// A plan from arrays of In to arrays of Out, either complex or double. Holds nothing but the C
// handle. Any number of threads may execute it at once.
template <class In, class Out>
class plan : public detail::owned {
  public:
    using owned::execute;
    using owned::owned;

    // Run on other arrays of the planned layout; in place if, and only if, so planned. Lengths are
    // not checked.
    void execute(std::span<const In> in, std::span<Out> out) const noexcept {
        if constexpr (std::is_same_v<In, complex> && std::is_same_v<Out, complex>)
            lyr_fft_execute_dft(get(), detail::raw(in.data()), detail::raw(out.data()));
        else if constexpr (std::is_same_v<Out, complex>)
            lyr_fft_execute_dft_r2c(get(), detail::raw(in.data()), detail::raw(out.data()));
        else if constexpr (std::is_same_v<In, complex>)
            lyr_fft_execute_dft_c2r(get(), detail::raw(in.data()), detail::raw(out.data()));
        else
            lyr_fft_execute_r2r(get(), detail::raw(in.data()), detail::raw(out.data()));
    }
};

// The same for split complex arrays.
class split_dft_plan : public detail::owned {
  public:
    using owned::execute;
    using owned::owned;
    void execute(split<const double> in, split<double> out) const noexcept {
        lyr_fft_execute_split_dft(get(), detail::raw(in.re.data()), detail::raw(in.im.data()),
                                  out.re.data(), out.im.data());
    }
};
class split_r2c_plan : public detail::owned {
  public:
    using owned::execute;
    using owned::owned;
    void execute(std::span<const double> in, split<double> out) const noexcept {
        lyr_fft_execute_split_dft_r2c(get(), detail::raw(in.data()), out.re.data(), out.im.data());
    }
};
class split_c2r_plan : public detail::owned {
  public:
    using owned::execute;
    using owned::owned;
    void execute(split<const double> in, std::span<double> out) const noexcept {
        lyr_fft_execute_split_dft_c2r(get(), detail::raw(in.re.data()), detail::raw(in.im.data()),
                                      out.data());
    }
};

using dft_plan = plan<complex, complex>;
using r2c_plan = plan<double, complex>;
using c2r_plan = plan<complex, double>;
using r2r_plan = plan<double, double>;

// ---- Checking and describing problems -----------------------------------------------------------

namespace detail {

// Counts of elements, which stick at the largest number instead of overflowing. Anything out of
// range is left to the library to refuse.
constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

constexpr std::int64_t times(std::int64_t a, std::int64_t b) noexcept {
    if (a <= 0 || b <= 0) return 0;
    return a > endless / b ? endless : a * b;
}
constexpr std::int64_t plus(std::int64_t a, std::int64_t b) noexcept {
    return a > endless - b ? endless : a + b;
}

// What an array of the problem holds along the last dimension.
enum class content { whole, half, padded };  // n; n/2+1 complex; those seen as doubles

constexpr std::int64_t row(int n, content c) noexcept {
    const std::int64_t half = n / 2 + 1;
    return c == content::whole ? n : c == content::half ? half : 2 * half;
}

// One array of a batch as the advanced constructors take it.
struct described {
    const int *extent;  // null: none
    int stride;
    int distance;
    std::int64_t elements;  // up to the last one used
};

constexpr described describe(const shape &n, const batch &b, const layout &l, content c) noexcept {
    described d{l.extent.rank > 0 ? l.extent.items : nullptr, l.stride, l.distance, 0};
    if (n.rank < 1 || n.rank > 3) return d;
    const int n_last = n.items[n.rank - 1];
    std::int64_t last = 0, elements = 1, step = 1;
    for (int k = n.rank - 1; k >= 0; --k) {
        const bool innermost = k == n.rank - 1;
        const std::int64_t length = innermost ? row(n_last, c) : n.items[k];
        // The padding itself is never touched.
        const std::int64_t used = innermost && c == content::padded ? n_last : length;
        last = plus(last, times(used - 1, step));
        const std::int64_t physical = d.extent != nullptr && k > 0 ? l.extent.items[k] : length;
        elements = times(elements, physical);
        step = times(step, physical);
    }
    if (d.distance == 0) {
        const std::int64_t dense = times(elements, l.stride);
        constexpr int most = std::numeric_limits<int>::max();
        d.distance = dense > most ? (b.count == 1 ? most : 0) : static_cast<int>(dense);
    }
    d.elements = plus(plus(times(last, l.stride), times(b.count - 1, d.distance)), 1);
    return d;
}

template <class T>
constexpr bool holds(std::span<T> array, std::int64_t elements) noexcept {
    return elements <= static_cast<std::int64_t>(array.size());
}
template <class Real>
constexpr bool holds(const split<Real> &array, std::int64_t elements) noexcept {
    return holds(array.re, elements) && holds(array.im, elements);
}

// An extent must name every dimension.
constexpr bool complete(const shape &n, const batch &b) noexcept {
    return (b.in.extent.rank == 0 || b.in.extent.rank == n.rank) &&
           (b.out.extent.rank == 0 || b.out.extent.rank == n.rank);
}

template <class Plan>
result<Plan> finish(lyr_fft_plan handle) noexcept {
    if (handle == nullptr) return error::refused;
    return Plan(handle);
}

struct sides {
    content in, out;
};

// Plan by the advanced constructor that f calls with both arrays' descriptions.
template <class Plan, class In, class Out, class F>
result<Plan> plan_many(const shape &n, std::span<const In> in, std::span<Out> out, const batch &b,
                       sides contents, F f) noexcept {
    if (!complete(n, b)) return error::refused;
    const described i = describe(n, b, b.in, contents.in);
    const described o = describe(n, b, b.out, contents.out);
    if (!holds(in, i.elements) || !holds(out, o.elements)) return error::array_too_short;
    return finish<Plan>(f(i, o));
}

// Elements from the first to the last, for dimensions whose last one is halved in `half` arrays.
constexpr std::int64_t span_of(const dimensions &d, content c,
                               std::int64_t dimension::*stride) noexcept {
    std::int64_t last = 0;
    for (int k = 0; k < d.transform.rank && k < 3; ++k) {
        const dimension &x = d.transform.items[k];
        const bool halved = c == content::half && k == d.transform.rank - 1;
        last = plus(last, times(halved ? x.n / 2 : x.n - 1, x.*stride));
    }
    for (int k = 0; k < d.batch.rank && k < 3; ++k)
        last = plus(last, times(d.batch.items[k].n - 1, d.batch.items[k].*stride));
    return plus(last, 1);
}

template <class Plan, class In, class Out, class F>
result<Plan> plan_guru(const dimensions &d, const In &in, const Out &out, sides contents,
                       F f) noexcept {
    if (!holds(in, span_of(d, contents.in, &dimension::is)) ||
        !holds(out, span_of(d, contents.out, &dimension::os)))
        return error::array_too_short;
    return finish<Plan>(f());
}

inline constexpr sides complex_sides{content::whole, content::whole};
inline constexpr sides r2c_sides{content::whole, content::half};
inline constexpr sides c2r_sides{content::half, content::whole};

inline bool same(const void *a, const void *b) noexcept {
    return a == b;
}

// The C enumeration of each dimension.
struct kind_list {
    explicit constexpr kind_list(const kinds &k) noexcept {
        for (int i = 0; i < 3; ++i) items[i] = static_cast<lyr_fft_r2r_kind>(k.items[i]);
    }
    lyr_fft_r2r_kind items[3] = {};
};

}  // namespace detail

// ---- Constructors -------------------------------------------------------------------------------

// Complex transforms of `n`, rank 1 to 3.
inline result<dft_plan> dft(const shape &n, std::span<const complex> in, std::span<complex> out,
                            direction sign, const batch &b = {}) noexcept {
    return detail::plan_many<dft_plan>(
        n, in, out, b, detail::complex_sides,
        [&](const detail::described &i, const detail::described &o) {
            return lyr_fft_plan_many_dft(n.rank, n.items, b.count, detail::raw(in.data()), i.extent,
                                         i.stride, i.distance, detail::raw(out.data()), o.extent,
                                         o.stride, o.distance, static_cast<int>(sign), 0);
        });
}

// Real to complex; rows of the output are n/2+1 long, and in place those of the input are padded to
// 2(n/2+1) doubles.
inline result<r2c_plan> r2c(const shape &n, std::span<const double> in, std::span<complex> out,
                            const batch &b = {}) noexcept {
    detail::sides contents = detail::r2c_sides;
    if (detail::same(in.data(), out.data())) contents.in = detail::content::padded;
    return detail::plan_many<r2c_plan>(
        n, in, out, b, contents, [&](const detail::described &i, const detail::described &o) {
            return lyr_fft_plan_many_dft_r2c(
                n.rank, n.items, b.count, detail::raw(in.data()), i.extent, i.stride, i.distance,
                detail::raw(out.data()), o.extent, o.stride, o.distance, 0);
        });
}

// Complex to real, the same layouts the other way round.
inline result<c2r_plan> c2r(const shape &n, std::span<const complex> in, std::span<double> out,
                            const batch &b = {}) noexcept {
    detail::sides contents = detail::c2r_sides;
    if (detail::same(in.data(), out.data())) contents.out = detail::content::padded;
    return detail::plan_many<c2r_plan>(
        n, in, out, b, contents, [&](const detail::described &i, const detail::described &o) {
            return lyr_fft_plan_many_dft_c2r(
                n.rank, n.items, b.count, detail::raw(in.data()), i.extent, i.stride, i.distance,
                detail::raw(out.data()), o.extent, o.stride, o.distance, 0);
        });
}

// Real to real, one kind per dimension.
inline result<r2r_plan> r2r(const shape &n, std::span<const double> in, std::span<double> out,
                            const kinds &k, const batch &b = {}) noexcept {
    if (k.rank != n.rank) return error::refused;
    const detail::kind_list list(k);
    return detail::plan_many<r2r_plan>(
        n, in, out, b, detail::complex_sides,
        [&](const detail::described &i, const detail::described &o) {
            return lyr_fft_plan_many_r2r(n.rank, n.items, b.count, detail::raw(in.data()), i.extent,
                                         i.stride, i.distance, detail::raw(out.data()), o.extent,
                                         o.stride, o.distance, list.items, 0);
        });
}

// The same for any layout.
inline result<dft_plan> dft(const dimensions &d, std::span<const complex> in,
                            std::span<complex> out, direction sign) noexcept {
    return detail::plan_guru<dft_plan>(d, in, out, detail::complex_sides, [&] {
        return lyr_fft_plan_guru64_dft(d.transform.rank, d.transform.items, d.batch.rank,
                                       d.batch.items, detail::raw(in.data()),
                                       detail::raw(out.data()), static_cast<int>(sign), 0);
    });
}

inline result<r2c_plan> r2c(const dimensions &d, std::span<const double> in,
                            std::span<complex> out) noexcept {
    return detail::plan_guru<r2c_plan>(d, in, out, detail::r2c_sides, [&] {
        return lyr_fft_plan_guru64_dft_r2c(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, detail::raw(in.data()),
                                           detail::raw(out.data()), 0);
    });
}

inline result<c2r_plan> c2r(const dimensions &d, std::span<const complex> in,
                            std::span<double> out) noexcept {
    return detail::plan_guru<c2r_plan>(d, in, out, detail::c2r_sides, [&] {
        return lyr_fft_plan_guru64_dft_c2r(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, detail::raw(in.data()),
                                           detail::raw(out.data()), 0);
    });
}

inline result<r2r_plan> r2r(const dimensions &d, std::span<const double> in, std::span<double> out,
                            const kinds &k) noexcept {
    if (k.rank != d.transform.rank) return error::refused;
    const detail::kind_list list(k);
    return detail::plan_guru<r2r_plan>(d, in, out, detail::complex_sides, [&] {
        return lyr_fft_plan_guru64_r2r(d.transform.rank, d.transform.items, d.batch.rank,
                                       d.batch.items, detail::raw(in.data()),
                                       detail::raw(out.data()), list.items, 0);
    });
}

// The same for split arrays, with strides in doubles.
inline result<split_dft_plan> split_dft(const dimensions &d, split<const double> in,
                                        split<double> out) noexcept {
    return detail::plan_guru<split_dft_plan>(d, in, out, detail::complex_sides, [&] {
        return lyr_fft_plan_guru64_split_dft(
            d.transform.rank, d.transform.items, d.batch.rank, d.batch.items,
            detail::raw(in.re.data()), detail::raw(in.im.data()), out.re.data(), out.im.data(), 0);
    });
}

inline result<split_r2c_plan> split_r2c(const dimensions &d, std::span<const double> in,
                                        split<double> out) noexcept {
    return detail::plan_guru<split_r2c_plan>(d, in, out, detail::r2c_sides, [&] {
        return lyr_fft_plan_guru64_split_dft_r2c(d.transform.rank, d.transform.items, d.batch.rank,
                                                 d.batch.items, detail::raw(in.data()),
                                                 out.re.data(), out.im.data(), 0);
    });
}

inline result<split_c2r_plan> split_c2r(const dimensions &d, split<const double> in,
                                        std::span<double> out) noexcept {
    return detail::plan_guru<split_c2r_plan>(d, in, out, detail::c2r_sides, [&] {
        return lyr_fft_plan_guru64_split_dft_c2r(d.transform.rank, d.transform.items, d.batch.rank,
                                                 d.batch.items, detail::raw(in.re.data()),
                                                 detail::raw(in.im.data()), out.data(), 0);
    });
}

// ---- Memory and threads -------------------------------------------------------------------------

// Gives containers memory aligned to 64 bytes.
template <class T>
struct allocator {
    using value_type = T;

    allocator() noexcept = default;
    template <class U>
    allocator(const allocator<U> &) noexcept {}

    T *allocate(std::size_t n) {
        // 72 bytes more than asked for are taken.
        constexpr std::size_t most = (std::numeric_limits<std::size_t>::max() - 72) / sizeof(T);
        void *p = n <= most ? lyr_fft_malloc(n * sizeof(T)) : nullptr;
        if (p == nullptr) fail();
        return static_cast<T *>(p);
    }
    void deallocate(T *p, std::size_t) noexcept { lyr_fft_free(p); }

    template <class U>
    bool operator==(const allocator<U> &) const noexcept {
        return true;
    }

  private:
    [[noreturn]] static void fail() {
#if defined(__cpp_exceptions)
        throw std::bad_alloc();
#else
        std::abort();
#endif
    }
};

// A vector whose numbers are aligned to 64 bytes.
template <class T>
using vector = std::vector<T, allocator<T>>;

// The number of threads that plans made from now on may use, for the whole process.
inline void set_threads(int count) noexcept {
    lyr_fft_plan_with_nthreads(count);
}

}  // namespace lyr_fft

#endif  // LYR_FFT_HPP
