/*
 * LYRA FFT for C++17 and later: plans that clean up after themselves, spans, and typed problems.
 *
 *     std::vector<lyr_fft::complex> in(1024), out(1024);
 *     auto plan = lyr_fft::dft({1024}, in, out, lyr_fft::direction::forward).value();
 *     plan.execute();
 *
 * A thin layer of inline functions over lyr_fft.h, which defines the transforms, their layouts and
 * what is promised. Executing a plan costs nothing over the C function.
 *
 * The types of the arrays say the precision: those of float need libLYRA_fftf, those of double
 * libLYRA_fft.
 *
 * Constructors return a result: a plan, or the reason why there is none. `if (plan)` asks, *plan
 * and plan-> reach it, value() gives it or throws refused_plan (ends the program where exceptions
 * are off). Arrays belong to the caller and must outlive the executions that use them. Inputs are
 * spans of constant numbers, for they are never written unless the transform is in place, which is
 * when `in` and `out` begin at the same address.
 */
#ifndef LYR_FFT_HPP
#define LYR_FFT_HPP

#if __cplusplus < 201703L
    #error "lyr_fft.hpp needs C++17 or later, such as -std=c++17; lyr_fft.h needs C++11"
#endif

#include <lyr_fft.h>
#include <lyr_fftf.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>
#if __has_include(<version>)
    #include <version>
#endif
#ifdef __cpp_lib_span
    #include <span>
#endif

namespace lyr_fft {

// A complex number.
using complex = std::complex<double>;
// A complex number of single precision.
using complex_float = std::complex<float>;

// The sign of the exponent.
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

// ---- Arrays -------------------------------------------------------------------------------------

// Numbers one behind the other that belong to somebody else: std::span, and for C++17 the part of
// it that this layer needs. Vectors, std::array and plain arrays become spans by themselves.
#ifdef __cpp_lib_span
template <class T>
using span = std::span<T>;
#else
template <class T>
class span {
    // As std::span has it: elements may become const, and what ends with the expression may only be
    // read.
    template <class Array>
    using element = std::remove_pointer_t<decltype(std::data(std::declval<Array &>()))>;
    template <class Array, class Element>
    static constexpr bool fits = !std::is_same_v<std::decay_t<Array>, span> &&
                                 std::is_convertible_v<Element (*)[], T (*)[]> &&
                                 (std::is_lvalue_reference_v<Array> || std::is_const_v<T>);

  public:
    using element_type = T;
    using value_type = std::remove_cv_t<T>;
    using iterator = T *;

    constexpr span() noexcept = default;
    constexpr span(T *first_element, std::size_t count) noexcept
        : begins(first_element), length(count) {}
    template <class Array, class Element = element<Array>,
              std::enable_if_t<fits<Array, Element>, int> = 0>
    constexpr span(Array &&array) noexcept : begins(std::data(array)), length(std::size(array)) {}

    constexpr T *data() const noexcept { return begins; }
    constexpr std::size_t size() const noexcept { return length; }
    constexpr bool empty() const noexcept { return length == 0; }
    constexpr T &operator[](std::size_t index) const noexcept { return begins[index]; }
    constexpr iterator begin() const noexcept { return begins; }
    constexpr iterator end() const noexcept { return begins + length; }
    constexpr span first(std::size_t count) const noexcept { return {begins, count}; }
    constexpr span subspan(std::size_t start, std::size_t count) const noexcept {
        return {begins + start, count};
    }

  private:
    T *begins = nullptr;
    std::size_t length = 0;
};
#endif

// ---- Problems -----------------------------------------------------------------------------------

// Up to three things, one per dimension, outermost first: {480, 640}. Of a longer list the library
// learns the length, and refuses it.
template <class T>
struct per_dimension {
    // The library's highest rank.
    static constexpr std::size_t most = 3;

    constexpr per_dimension() = default;
    // From a list in braces.
    constexpr per_dimension(std::initializer_list<T> list)
        : rank(static_cast<int>(list.size() > most ? most + 1 : list.size())) {
        std::size_t k = 0;
        for (const T &item : list)
            if (k < most) items[k++] = item;
    }

    int rank = 0;        // how many there are
    T items[most] = {};  // outermost first
};

// Lengths.
using shape = per_dimension<int>;
// What happens along each dimension of a real-to-real transform.
using kinds = per_dimension<kind>;

// Where the elements of an array lie, all in elements: neighbours along the last dimension `stride`
// apart, transforms `distance` apart (0: one behind the other, without gaps), `extent` physical
// lengths of the dimensions (empty: no padding).
struct layout {
    int stride = 1;     // from one element to the next along the last dimension
    int distance = 0;   // from one transform to the next
    shape extent = {};  // physical lengths
};

// `count` transforms of the same shape.
struct batch {
    int count = 1;    // how many
    layout in = {};   // where the inputs lie
    layout out = {};  // where the outputs lie
};

// {length, input stride, output stride}
using dimension = lyr_fft_iodim64;
// A problem of any layout: the dimensions of the transform and those of the batch, 0 to 3 each,
// outermost first.
struct dimensions {
    per_dimension<dimension> transform = {};  // of the transform
    per_dimension<dimension> batch = {};      // of the batch
};

// Real and imaginary parts in arrays of their own, of double, float, or constant ones. A plan of
// split complex arrays transforms forward; exchange the parts of input and output, at planning and
// at execution, for the backward transform.
template <class Real>
struct split {
    span<Real> re;  // real parts
    span<Real> im;  // imaginary parts

    // Real and imaginary parts exchanged: a forward transform of both sides becomes a backward one.
    constexpr split exchanged() const { return {im, re}; }
    // The same, only to be read.
    template <
        class Other,
        std::enable_if_t<!std::is_const_v<Real> && std::is_same_v<Other, const Real>, int> = 0>
    constexpr operator split<Other>() const {
        return {re, im};
    }
};

// ---- Results ------------------------------------------------------------------------------------

// Why there is no plan.
enum class error {
    array_too_short,  // a span ends before the last element of the problem
    refused           // an argument is out of range, memory ran out, or nothing solves the problem
};

// What result::value throws when there is no plan.
struct refused_plan : std::exception {
    // For the reason.
    explicit refused_plan(error why) noexcept : reason(why) {}
    // The reason in words.
    const char *what() const noexcept override {
        return reason == error::array_too_short ? "lyr_fft: an array is too short for the problem"
                                                : "lyr_fft: there is no plan for the problem";
    }

    error reason;  // why there is no plan
};

// A plan, or why there is none. Reaching for a plan that is not there is undefined, except by
// value().
template <class Plan>
class [[nodiscard]] result {
  public:
    // A plan.
    result(Plan plan) noexcept : held(std::move(plan)) {}
    // No plan.
    result(error why) noexcept : reason_(why) {}

    // Whether there is a plan.
    bool has_value() const noexcept { return static_cast<bool>(held); }
    // Whether there is a plan.
    explicit operator bool() const noexcept { return has_value(); }
    // Why there is no plan, when there is none.
    error reason() const noexcept { return reason_; }

    // The plan, which must be there.
    const Plan &operator*() const &noexcept { return held; }
    // The plan, which must be there, to be moved.
    Plan &&operator*() &&noexcept { return std::move(held); }
    // The plan, which must be there.
    const Plan *operator->() const noexcept { return &held; }

    // The plan; throws refused_plan when there is none.
    const Plan &value() const & {
        check();
        return held;
    }
    // The plan, moved; throws refused_plan when there is none.
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

// The C functions of each precision.
template <class Real>
struct c_functions;
#define LYR_FFT_C_FUNCTIONS(Real, prefix)                                         \
    template <>                                                                   \
    struct c_functions<Real> {                                                    \
        using plan = prefix##plan;                                                \
        using complex = prefix##complex;                                          \
        static constexpr auto destroy = prefix##destroy_plan;                     \
        static constexpr auto execute = prefix##execute;                          \
        static constexpr auto execute_dft = prefix##execute_dft;                  \
        static constexpr auto execute_r2c = prefix##execute_dft_r2c;              \
        static constexpr auto execute_c2r = prefix##execute_dft_c2r;              \
        static constexpr auto execute_r2r = prefix##execute_r2r;                  \
        static constexpr auto execute_split_dft = prefix##execute_split_dft;      \
        static constexpr auto execute_split_r2c = prefix##execute_split_dft_r2c;  \
        static constexpr auto execute_split_c2r = prefix##execute_split_dft_c2r;  \
        static constexpr auto many_dft = prefix##plan_many_dft;                   \
        static constexpr auto many_r2c = prefix##plan_many_dft_r2c;               \
        static constexpr auto many_c2r = prefix##plan_many_dft_c2r;               \
        static constexpr auto many_r2r = prefix##plan_many_r2r;                   \
        static constexpr auto guru_dft = prefix##plan_guru64_dft;                 \
        static constexpr auto guru_r2c = prefix##plan_guru64_dft_r2c;             \
        static constexpr auto guru_c2r = prefix##plan_guru64_dft_c2r;             \
        static constexpr auto guru_r2r = prefix##plan_guru64_r2r;                 \
        static constexpr auto guru_split_dft = prefix##plan_guru64_split_dft;     \
        static constexpr auto guru_split_r2c = prefix##plan_guru64_split_dft_r2c; \
        static constexpr auto guru_split_c2r = prefix##plan_guru64_split_dft_c2r; \
        static constexpr auto allocate = prefix##malloc;                          \
        static constexpr auto release = prefix##free;                             \
    }
LYR_FFT_C_FUNCTIONS(double, lyr_fft_);
LYR_FFT_C_FUNCTIONS(float, lyr_fftf_);
#undef LYR_FFT_C_FUNCTIONS

// The precision of real and complex numbers.
template <class Number>
struct precision {
    using real = Number;
};
template <class Real>
struct precision<std::complex<Real>> {
    using real = Real;
};
template <class Number>
using real_of = typename precision<Number>::real;
// Whose functions allocate elements of any type: numbers need no library but that of their
// precision.
template <class T>
using memory_functions =
    c_functions<std::conditional_t<std::is_same_v<real_of<T>, float>, float, double>>;

// std::complex<T> is an array of two T, real part first, by the standard. The C interface takes
// inputs without const, but writes them only in place.
template <class Real>
typename c_functions<Real>::complex *raw(const std::complex<Real> *array) noexcept {
    return reinterpret_cast<typename c_functions<Real>::complex *>(
        const_cast<std::complex<Real> *>(array));
}
inline double *raw(const double *array) noexcept {
    return const_cast<double *>(array);
}
inline float *raw(const float *array) noexcept {
    return const_cast<float *>(array);
}

// The handle, released once.
template <class Real>
class owned {
    using c = c_functions<Real>;

  public:
    owned() noexcept = default;
    explicit owned(typename c::plan plan) noexcept : handle(plan) {}
    owned(owned &&other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    owned &operator=(owned &&other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~owned() { c::destroy(handle); }

    // False after being moved from.
    explicit operator bool() const noexcept { return handle != nullptr; }
    // Run on the arrays given at planning.
    void execute() const noexcept { c::execute(handle); }
    // The handle for the C functions; stays owned by the plan.
    typename c::plan get() const noexcept { return handle; }
    // Give the handle away: the caller destroys it.
    typename c::plan release() noexcept { return std::exchange(handle, nullptr); }

  private:
    typename c::plan handle = nullptr;
};

}  // namespace detail

// A plan from arrays of In to arrays of Out, numbers of one precision, complex or real. Holds
// nothing but the C handle. Any number of threads may execute it at once.
template <class In, class Out = In>
class plan : public detail::owned<detail::real_of<In>> {
    using real = detail::real_of<In>;
    using c = detail::c_functions<real>;
    static_assert(std::is_same_v<real, detail::real_of<Out>>, "two precisions");

  public:
    using detail::owned<real>::execute;
    using detail::owned<real>::owned;

    // Run on other arrays of the planned layout; in place if, and only if, so planned. Lengths are
    // not checked.
    void execute(span<const In> in, span<Out> out) const noexcept {
        constexpr bool from_complex = !std::is_same_v<In, real>;
        constexpr bool to_complex = !std::is_same_v<Out, real>;
        if constexpr (from_complex && to_complex)
            c::execute_dft(this->get(), detail::raw(in.data()), detail::raw(out.data()));
        else if constexpr (to_complex)
            c::execute_r2c(this->get(), detail::raw(in.data()), detail::raw(out.data()));
        else if constexpr (from_complex)
            c::execute_c2r(this->get(), detail::raw(in.data()), detail::raw(out.data()));
        else
            c::execute_r2r(this->get(), detail::raw(in.data()), detail::raw(out.data()));
    }
};

// A plan from split complex arrays to split complex arrays.
template <class Real>
class basic_split_dft_plan : public detail::owned<Real> {
  public:
    using detail::owned<Real>::execute;
    using detail::owned<Real>::owned;
    // Run on other arrays of the planned layout.
    void execute(split<const Real> in, split<Real> out) const noexcept {
        detail::c_functions<Real>::execute_split_dft(this->get(), detail::raw(in.re.data()),
                                                     detail::raw(in.im.data()), out.re.data(),
                                                     out.im.data());
    }
};
// A plan from real arrays to split complex arrays.
template <class Real>
class basic_split_r2c_plan : public detail::owned<Real> {
  public:
    using detail::owned<Real>::execute;
    using detail::owned<Real>::owned;
    // Run on other arrays of the planned layout.
    void execute(span<const Real> in, split<Real> out) const noexcept {
        detail::c_functions<Real>::execute_split_r2c(this->get(), detail::raw(in.data()),
                                                     out.re.data(), out.im.data());
    }
};
// A plan from split complex arrays to real arrays.
template <class Real>
class basic_split_c2r_plan : public detail::owned<Real> {
  public:
    using detail::owned<Real>::execute;
    using detail::owned<Real>::owned;
    // Run on other arrays of the planned layout.
    void execute(split<const Real> in, span<Real> out) const noexcept {
        detail::c_functions<Real>::execute_split_c2r(this->get(), detail::raw(in.re.data()),
                                                     detail::raw(in.im.data()), out.data());
    }
};

// Complex to complex, in the precision of Real.
template <class Real>
using basic_dft_plan = plan<std::complex<Real>, std::complex<Real>>;
// Real to complex, in the precision of Real.
template <class Real>
using basic_r2c_plan = plan<Real, std::complex<Real>>;
// Complex to real, in the precision of Real.
template <class Real>
using basic_c2r_plan = plan<std::complex<Real>, Real>;
// Real to real, in the precision of Real.
template <class Real>
using basic_r2r_plan = plan<Real, Real>;

// Complex to complex.
using dft_plan = basic_dft_plan<double>;
// Real to complex.
using r2c_plan = basic_r2c_plan<double>;
// Complex to real.
using c2r_plan = basic_c2r_plan<double>;
// Real to real.
using r2r_plan = basic_r2r_plan<double>;
// Split complex to split complex.
using split_dft_plan = basic_split_dft_plan<double>;
// Real to split complex.
using split_r2c_plan = basic_split_r2c_plan<double>;
// Split complex to real.
using split_c2r_plan = basic_split_c2r_plan<double>;

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
constexpr bool holds(span<T> array, std::int64_t elements) noexcept {
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

template <class Plan, class Handle>
result<Plan> finish(Handle handle) noexcept {
    if (handle == nullptr) return error::refused;
    return Plan(handle);
}

struct sides {
    content in, out;
};

// Plan by the advanced constructor that f calls with both arrays' descriptions.
template <class Plan, class In, class Out, class F>
result<Plan> plan_many(const shape &n, span<const In> in, span<Out> out, const batch &b,
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

// The constructors below in either precision.

template <class Real>
result<basic_dft_plan<Real>> make_dft(const shape &n, span<const std::complex<Real>> in,
                                      span<std::complex<Real>> out, direction sign,
                                      const batch &b) noexcept {
    return plan_many<basic_dft_plan<Real>>(
        n, in, out, b, complex_sides, [&](const described &i, const described &o) {
            return c_functions<Real>::many_dft(n.rank, n.items, b.count, raw(in.data()), i.extent,
                                               i.stride, i.distance, raw(out.data()), o.extent,
                                               o.stride, o.distance, static_cast<int>(sign), 0);
        });
}

template <class Real>
result<basic_r2c_plan<Real>> make_r2c(const shape &n, span<const Real> in,
                                      span<std::complex<Real>> out, const batch &b) noexcept {
    sides contents = r2c_sides;
    if (same(in.data(), out.data())) contents.in = content::padded;
    return plan_many<basic_r2c_plan<Real>>(
        n, in, out, b, contents, [&](const described &i, const described &o) {
            return c_functions<Real>::many_r2c(n.rank, n.items, b.count, raw(in.data()), i.extent,
                                               i.stride, i.distance, raw(out.data()), o.extent,
                                               o.stride, o.distance, 0);
        });
}

template <class Real>
result<basic_c2r_plan<Real>> make_c2r(const shape &n, span<const std::complex<Real>> in,
                                      span<Real> out, const batch &b) noexcept {
    sides contents = c2r_sides;
    if (same(in.data(), out.data())) contents.out = content::padded;
    return plan_many<basic_c2r_plan<Real>>(
        n, in, out, b, contents, [&](const described &i, const described &o) {
            return c_functions<Real>::many_c2r(n.rank, n.items, b.count, raw(in.data()), i.extent,
                                               i.stride, i.distance, raw(out.data()), o.extent,
                                               o.stride, o.distance, 0);
        });
}

template <class Real>
result<basic_r2r_plan<Real>> make_r2r(const shape &n, span<const Real> in, span<Real> out,
                                      const kinds &k, const batch &b) noexcept {
    if (k.rank != n.rank) return error::refused;
    const kind_list list(k);
    return plan_many<basic_r2r_plan<Real>>(
        n, in, out, b, complex_sides, [&](const described &i, const described &o) {
            return c_functions<Real>::many_r2r(n.rank, n.items, b.count, raw(in.data()), i.extent,
                                               i.stride, i.distance, raw(out.data()), o.extent,
                                               o.stride, o.distance, list.items, 0);
        });
}

template <class Real>
result<basic_dft_plan<Real>> make_dft(const dimensions &d, span<const std::complex<Real>> in,
                                      span<std::complex<Real>> out, direction sign) noexcept {
    return plan_guru<basic_dft_plan<Real>>(d, in, out, complex_sides, [&] {
        return c_functions<Real>::guru_dft(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, raw(in.data()), raw(out.data()),
                                           static_cast<int>(sign), 0);
    });
}

template <class Real>
result<basic_r2c_plan<Real>> make_r2c(const dimensions &d, span<const Real> in,
                                      span<std::complex<Real>> out) noexcept {
    return plan_guru<basic_r2c_plan<Real>>(d, in, out, r2c_sides, [&] {
        return c_functions<Real>::guru_r2c(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, raw(in.data()), raw(out.data()), 0);
    });
}

template <class Real>
result<basic_c2r_plan<Real>> make_c2r(const dimensions &d, span<const std::complex<Real>> in,
                                      span<Real> out) noexcept {
    return plan_guru<basic_c2r_plan<Real>>(d, in, out, c2r_sides, [&] {
        return c_functions<Real>::guru_c2r(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, raw(in.data()), raw(out.data()), 0);
    });
}

template <class Real>
result<basic_r2r_plan<Real>> make_r2r(const dimensions &d, span<const Real> in, span<Real> out,
                                      const kinds &k) noexcept {
    if (k.rank != d.transform.rank) return error::refused;
    const kind_list list(k);
    return plan_guru<basic_r2r_plan<Real>>(d, in, out, complex_sides, [&] {
        return c_functions<Real>::guru_r2r(d.transform.rank, d.transform.items, d.batch.rank,
                                           d.batch.items, raw(in.data()), raw(out.data()),
                                           list.items, 0);
    });
}

template <class Real>
result<basic_split_dft_plan<Real>> make_split_dft(const dimensions &d, split<const Real> in,
                                                  split<Real> out) noexcept {
    return plan_guru<basic_split_dft_plan<Real>>(d, in, out, complex_sides, [&] {
        return c_functions<Real>::guru_split_dft(
            d.transform.rank, d.transform.items, d.batch.rank, d.batch.items, raw(in.re.data()),
            raw(in.im.data()), out.re.data(), out.im.data(), 0);
    });
}

template <class Real>
result<basic_split_r2c_plan<Real>> make_split_r2c(const dimensions &d, span<const Real> in,
                                                  split<Real> out) noexcept {
    return plan_guru<basic_split_r2c_plan<Real>>(d, in, out, r2c_sides, [&] {
        return c_functions<Real>::guru_split_r2c(d.transform.rank, d.transform.items, d.batch.rank,
                                                 d.batch.items, raw(in.data()), out.re.data(),
                                                 out.im.data(), 0);
    });
}

template <class Real>
result<basic_split_c2r_plan<Real>> make_split_c2r(const dimensions &d, split<const Real> in,
                                                  span<Real> out) noexcept {
    return plan_guru<basic_split_c2r_plan<Real>>(d, in, out, c2r_sides, [&] {
        return c_functions<Real>::guru_split_c2r(d.transform.rank, d.transform.items, d.batch.rank,
                                                 d.batch.items, raw(in.re.data()),
                                                 raw(in.im.data()), out.data(), 0);
    });
}

}  // namespace detail

// ---- Constructors -------------------------------------------------------------------------------

// Complex transforms of `n`, rank 1 to 3.
inline result<dft_plan> dft(const shape &n, span<const complex> in, span<complex> out,
                            direction sign, const batch &b = {}) noexcept {
    return detail::make_dft<double>(n, in, out, sign, b);
}
// The same in single precision.
inline result<basic_dft_plan<float>> dft(const shape &n, span<const complex_float> in,
                                         span<complex_float> out, direction sign,
                                         const batch &b = {}) noexcept {
    return detail::make_dft<float>(n, in, out, sign, b);
}

// Real to complex; rows of the output are n/2+1 long, and in place those of the input are padded to
// 2(n/2+1) real numbers.
inline result<r2c_plan> r2c(const shape &n, span<const double> in, span<complex> out,
                            const batch &b = {}) noexcept {
    return detail::make_r2c<double>(n, in, out, b);
}
// The same in single precision.
inline result<basic_r2c_plan<float>> r2c(const shape &n, span<const float> in,
                                         span<complex_float> out, const batch &b = {}) noexcept {
    return detail::make_r2c<float>(n, in, out, b);
}

// Complex to real, the same layouts the other way round.
inline result<c2r_plan> c2r(const shape &n, span<const complex> in, span<double> out,
                            const batch &b = {}) noexcept {
    return detail::make_c2r<double>(n, in, out, b);
}
// The same in single precision.
inline result<basic_c2r_plan<float>> c2r(const shape &n, span<const complex_float> in,
                                         span<float> out, const batch &b = {}) noexcept {
    return detail::make_c2r<float>(n, in, out, b);
}

// Real to real, one kind per dimension.
inline result<r2r_plan> r2r(const shape &n, span<const double> in, span<double> out, const kinds &k,
                            const batch &b = {}) noexcept {
    return detail::make_r2r<double>(n, in, out, k, b);
}
// The same in single precision.
inline result<basic_r2r_plan<float>> r2r(const shape &n, span<const float> in, span<float> out,
                                         const kinds &k, const batch &b = {}) noexcept {
    return detail::make_r2r<float>(n, in, out, k, b);
}

// Complex transforms of any layout.
inline result<dft_plan> dft(const dimensions &d, span<const complex> in, span<complex> out,
                            direction sign) noexcept {
    return detail::make_dft<double>(d, in, out, sign);
}
// The same in single precision.
inline result<basic_dft_plan<float>> dft(const dimensions &d, span<const complex_float> in,
                                         span<complex_float> out, direction sign) noexcept {
    return detail::make_dft<float>(d, in, out, sign);
}

// Real to complex, any layout.
inline result<r2c_plan> r2c(const dimensions &d, span<const double> in,
                            span<complex> out) noexcept {
    return detail::make_r2c<double>(d, in, out);
}
// The same in single precision.
inline result<basic_r2c_plan<float>> r2c(const dimensions &d, span<const float> in,
                                         span<complex_float> out) noexcept {
    return detail::make_r2c<float>(d, in, out);
}

// Complex to real, any layout.
inline result<c2r_plan> c2r(const dimensions &d, span<const complex> in,
                            span<double> out) noexcept {
    return detail::make_c2r<double>(d, in, out);
}
// The same in single precision.
inline result<basic_c2r_plan<float>> c2r(const dimensions &d, span<const complex_float> in,
                                         span<float> out) noexcept {
    return detail::make_c2r<float>(d, in, out);
}

// Real to real, any layout, one kind per dimension.
inline result<r2r_plan> r2r(const dimensions &d, span<const double> in, span<double> out,
                            const kinds &k) noexcept {
    return detail::make_r2r<double>(d, in, out, k);
}
// The same in single precision.
inline result<basic_r2r_plan<float>> r2r(const dimensions &d, span<const float> in, span<float> out,
                                         const kinds &k) noexcept {
    return detail::make_r2r<float>(d, in, out, k);
}

// Split complex arrays, forward, with strides in real numbers.
inline result<split_dft_plan> split_dft(const dimensions &d, split<const double> in,
                                        split<double> out) noexcept {
    return detail::make_split_dft<double>(d, in, out);
}
// The same in single precision.
inline result<basic_split_dft_plan<float>> split_dft(const dimensions &d, split<const float> in,
                                                     split<float> out) noexcept {
    return detail::make_split_dft<float>(d, in, out);
}

// Real to split complex arrays, with strides in real numbers.
inline result<split_r2c_plan> split_r2c(const dimensions &d, span<const double> in,
                                        split<double> out) noexcept {
    return detail::make_split_r2c<double>(d, in, out);
}
// The same in single precision.
inline result<basic_split_r2c_plan<float>> split_r2c(const dimensions &d, span<const float> in,
                                                     split<float> out) noexcept {
    return detail::make_split_r2c<float>(d, in, out);
}

// Split complex to real arrays, with strides in real numbers.
inline result<split_c2r_plan> split_c2r(const dimensions &d, split<const double> in,
                                        span<double> out) noexcept {
    return detail::make_split_c2r<double>(d, in, out);
}
// The same in single precision.
inline result<basic_split_c2r_plan<float>> split_c2r(const dimensions &d, split<const float> in,
                                                     span<float> out) noexcept {
    return detail::make_split_c2r<float>(d, in, out);
}

// ---- Memory and threads -------------------------------------------------------------------------

// Gives containers memory aligned to 64 bytes.
template <class T>
struct allocator {
    // What is allocated.
    using value_type = T;

    allocator() noexcept = default;
    // Allocators of all types are one.
    template <class U>
    allocator(const allocator<U> &) noexcept {}

    // Memory for n numbers, zero-filled; throws std::bad_alloc when there is none.
    T *allocate(std::size_t n) {
        // 72 bytes more than asked for are taken.
        constexpr std::size_t most = (std::numeric_limits<std::size_t>::max() - 72) / sizeof(T);
        void *p = n <= most ? memory::allocate(n * sizeof(T)) : nullptr;
        if (p == nullptr) fail();
        return static_cast<T *>(p);
    }
    // Release what allocate gave.
    void deallocate(T *p, std::size_t) noexcept { memory::release(p); }

    // All are equal.
    template <class U>
    bool operator==(const allocator<U> &) const noexcept {
        return true;
    }

  private:
    using memory = detail::memory_functions<T>;

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
// The same for plans in single precision.
inline void set_threads_float(int count) noexcept {
    lyr_fftf_plan_with_nthreads(count);
}

}  // namespace lyr_fft

#endif  // LYR_FFT_HPP
