// Texts and places of the labels in a picture.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lyr_tools {

// A number with as many digits as a step of that size needs, and a minus sign, not a hyphen, for
// negative ones; very large and very small ones with a power of ten.
std::string number_text(double value, double step);

// A frequency that is known to about a tenth of a bin, with its unit.
std::string frequency_text(double hertz, double bin_width);

// A label along an axis: where its middle should be, and how wide it is.
struct label {
    double middle, width;
};

// Move labels, given from left to right, into the span from low to high. Returns the middle of
// each, or NaN for those to leave out, because less than `gap` would stay between them and a
// neighbour.
std::vector<double> place_labels(const std::vector<label> &labels, double low, double high,
                                 double gap);

// A text without characters from its middle, and three dots instead of them, so that `wanted`
// characters are left of it. Characters are those of UTF-8.
std::string shortened(std::string_view text, size_t wanted);

// The number of characters of a text in UTF-8.
size_t character_count(std::string_view text);

}  // namespace lyr_tools
