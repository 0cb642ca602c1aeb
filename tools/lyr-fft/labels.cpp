#include "labels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace lyr_tools {

namespace {

constexpr const char *minus_sign = "−";

// Bytes after the first one of a character.
bool continues(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

// "·10⁻⁹" for -9.
std::string power_of_ten(int exponent) {
    constexpr const char *raised[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
    std::string text = exponent < 0 ? "·10⁻" : "·10";
    for (const char digit : std::to_string(std::abs(exponent))) text += raised[digit - '0'];
    return text;
}

}  // namespace

std::string number_text(double value, double step) {
    constexpr int most_decimals = 6;
    constexpr double large = 1e7;
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    const double size = std::abs(value);
    if (size < step / 1e6) return "0";
    char text[48];
    std::string power;
    if (decimals > most_decimals || size >= large) {
        const double exponent = std::floor(std::log10(size) + 1e-9);
        const auto digits = static_cast<int>(exponent - std::floor(std::log10(step) + 1e-9));
        std::snprintf(text, sizeof text, "%.*f", std::clamp(digits, 0, 9),
                      size / std::pow(10, exponent));
        power = power_of_ten(static_cast<int>(exponent));
    } else {
        std::snprintf(text, sizeof text, "%.*f", decimals, size);
    }
    const bool zero = std::string_view(text).find_first_of("123456789") == std::string_view::npos;
    return (value < 0 && !zero ? minus_sign : "") + (text + power);
}

std::string frequency_text(double hertz, double bin_width) {
    return number_text(hertz, bin_width / 10) + " Hz";
}

std::vector<double> place_labels(const std::vector<label> &labels, double low, double high,
                                 double gap) {
    std::vector<double> middles;
    double end = -std::numeric_limits<double>::infinity();  // of the label before
    for (const label &l : labels) {
        const double half = l.width / 2;
        const double middle = std::max(std::min(l.middle, high - half), low + half);
        const bool free = middle - half >= end + gap;
        middles.push_back(free ? middle : std::numeric_limits<double>::quiet_NaN());
        if (free) end = middle + half;
    }
    return middles;
}

size_t character_count(std::string_view text) {
    return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), continues));
}

std::string shortened(std::string_view text, size_t wanted) {
    std::string head, tail;
    const size_t all = character_count(text);
    const size_t first = (wanted + 1) / 2;
    const size_t last = all - std::min(all, wanted / 2);
    size_t character = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i > 0 && !continues(text[i])) ++character;
        if (character < first) head += text[i];
        if (character >= last) tail += text[i];
    }
    return head + "..." + tail;
}

}  // namespace lyr_tools
