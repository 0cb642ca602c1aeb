#include "accuracy.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "precision.h"
#include "r2r_formula.h"
#include "wide_arithmetic.h"

namespace lyr_tools {

namespace {

double relative(double error, double size) {
    if (error == 0) return 0;
    const double ratio = error / size;
    return std::isfinite(ratio) ? ratio : HUGE_VAL;
}

// The largest prime factor of the numbers of roots that a problem's dimensions need.
int64_t largest_prime(const problem &p) {
    int64_t largest = 1;
    for (int d = 0; d < p.rank; ++d) {
        const int64_t n = p.dims[d].n;
        const int64_t turn = p.kind == transform::r2r ? formula_of(p.kinds[d], n).turn : n;
        largest = std::max(largest, largest_prime_factor(turn));
    }
    return largest;
}

}  // namespace

void deviation::add(double d_re, double d_im, double re, double im) {
    const double e = d_re * d_re + d_im * d_im;
    const double s = re * re + im * im;
    error_square += e;
    square += s;
    // Written so that NaN wins and stays.
    if (!std::isnan(error_max) && !(std::sqrt(e) <= error_max)) error_max = std::sqrt(e);
    if (s > max * max) max = std::sqrt(s);
}

void merge(const problem &p, const deviation &d, accuracy &a) {
    const double levels = std::max(1.0, std::log2(static_cast<double>(point_count(p))));
    const double unit = std::numeric_limits<lyr::scalar>::epsilon() / 2 * std::sqrt(levels);
    a.l2 = std::max(a.l2, relative(std::sqrt(d.error_square), std::sqrt(d.square)) / unit);
    a.linf = std::max(a.linf, relative(d.error_max, d.max));
}

double l2_bound(const problem &p) {
    if (p.rank == 0) return 0;
    // Few roundings vary more: the measure is an average over the outputs. So does the worst of
    // many transforms.
    const auto points = static_cast<double>(point_count(p));
    const auto transforms = static_cast<double>(std::max<int64_t>(1, batch_count(p)));
    const double tail = 0.25 * std::sqrt(std::log(transforms) / points);
    if (points < 8) return 1.5 + tail;
    const int64_t prime = largest_prime(p);
    return (prime <= 7 ? 1.1 : prime <= 37 ? 1.2 : 1.8) + tail;
}

}  // namespace lyr_tools
