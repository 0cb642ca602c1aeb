// Numbers of about 106 bits as unevaluated sums of two doubles, for processors whose long double is
// computed in software. Compile users with -ffp-contract=off: contraction breaks the error terms.
#pragma once

#include <cmath>

namespace lyr_tools {

struct double_double {
    double high = 0;
    double low = 0;

    double_double() = default;
    double_double(double x) : high(x) {}  // NOLINT: a number like any other
    double_double(double h, double l) : high(h), low(l) {}

    explicit operator double() const { return high + low; }
};

// a + b where |a| >= |b|, exactly.
inline double_double quick_sum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}

// a + b, exactly.
inline double_double exact_sum(double a, double b) {
    const double s = a + b;
    const double t = s - a;
    return {s, (a - (s - t)) + (b - t)};
}

inline double_double operator-(double_double a) {
    return {-a.high, -a.low};
}

inline double_double operator+(double_double a, double_double b) {
    double_double s = exact_sum(a.high, b.high);
    const double_double t = exact_sum(a.low, b.low);
    s = quick_sum(s.high, s.low + t.high);
    return quick_sum(s.high, s.low + t.low);
}

inline double_double operator-(double_double a, double_double b) {
    return a + -b;
}

inline double_double operator*(double_double a, double_double b) {
    const double p = a.high * b.high;
    const double e = std::fma(a.high, b.high, -p) + (a.high * b.low + a.low * b.high);
    return quick_sum(p, e);
}

inline double_double operator/(double_double a, double b) {
    const double q = a.high / b;
    const double_double rest = a - double_double(q) * double_double(b);
    return quick_sum(q, (rest.high + rest.low) / b);
}

// Sine and cosine of an angle between 0 and pi/4, for numbers that libm does not know.
template <class wide>
void sine_cosine(wide angle, wide &sine, wide &cosine) {
    const wide square = angle * angle;
    wide s_term = angle;
    wide c_term = 1.0;
    sine = s_term;
    cosine = c_term;
    // 16 terms of each series: the first one left out is below 1e-40.
    for (int k = 1; k <= 16; ++k) {
        c_term = -(c_term * square) / ((2.0 * k - 1) * (2.0 * k));
        s_term = -(s_term * square) / ((2.0 * k) * (2.0 * k + 1));
        cosine = cosine + c_term;
        sine = sine + s_term;
    }
}

inline void sine_cosine(double angle, double &sine, double &cosine) {
    sine = std::sin(angle);
    cosine = std::cos(angle);
}

inline void sine_cosine(long double angle, long double &sine, long double &cosine) {
    sine = std::sin(angle);
    cosine = std::cos(angle);
}

// pi in each precision.
template <class real>
real wide_pi();
template <>
inline double wide_pi<double>() {
    return 3.141592653589793238462643383279502884;
}
template <>
inline double_double wide_pi<double_double>() {
    return {3.141592653589793116e+00, 1.224646799147353207e-16};
}
template <>
inline long double wide_pi<long double>() {
    return 3.141592653589793238462643383279502884L;
}
#ifdef __x86_64__
template <>
inline __float128 wide_pi<__float128>() {
    return static_cast<__float128>(3.141592653589793116e+00) + 1.224646799147353207e-16 -
           2.994769809718339666e-33;
}
#endif

}  // namespace lyr_tools
