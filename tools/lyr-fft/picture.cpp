#include "picture.h"

#include <cairo.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

#include "labels.h"
#include "problem.h"

namespace lyr_tools {

namespace {

// Places in pixels. Everything is drawn into the box between the margins.
constexpr double margin_left = 82;
constexpr double margin_top = 64;
constexpr double margin_bottom = 62;
constexpr double average_gap = 24;
constexpr double average_width = 170;
constexpr double scale_gap = 30;
constexpr double scale_width = 16;
constexpr double margin_right = 72;
constexpr double right_of_box =
    average_gap + average_width + scale_gap + scale_width + margin_right;

struct rgb {
    double r, g, b;
};

constexpr rgb ink = {0.13, 0.14, 0.17};
constexpr rgb faint = {0.42, 0.44, 0.49};
constexpr rgb grid = {0.88, 0.89, 0.91};
constexpr rgb accent = {0.70, 0.19, 0.30};

// One colour of the OKLab space, where equal steps look equal; false when sRGB cannot show it.
bool from_oklab(double lightness, double a, double b, rgb &colour) {
    const double l = std::pow(lightness + 0.3963377774 * a + 0.2158037573 * b, 3);
    const double m = std::pow(lightness - 0.1055613458 * a - 0.0638541728 * b, 3);
    const double s = std::pow(lightness - 0.0894841775 * a - 1.2914855480 * b, 3);
    const std::array<double, 3> linear = {
        4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
        -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
        -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s,
    };
    std::array<double, 3> encoded;
    bool shown = true;
    for (size_t i = 0; i < 3; ++i) {
        shown = shown && linear[i] >= -1e-6 && linear[i] <= 1 + 1e-6;
        const double x = std::clamp(linear[i], 0.0, 1.0);
        encoded[i] = x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
    }
    colour = {encoded[0], encoded[1], encoded[2]};
    return shown;
}

// Colours from quiet, 0, to loud, 1: the lightness grows evenly, so that equal differences of level
// look equal and the picture survives in grey, while the hue turns from blue through red to yellow.
rgb colour_of(double level) {
    const double x = std::clamp(level, 0.0, 1.0);
    const double lightness = 0.12 + 0.86 * x;
    const double hue = (275 + 190 * x) * std::numbers::pi / 180;
    // The most colourful that the screen can show, up to a limit that fades at both ends.
    double chroma = 0.21 * std::sqrt(std::sin(std::numbers::pi * std::pow(x, 0.8) * 0.93 + 0.08));
    rgb colour = {0, 0, 0};
    while (!from_oklab(lightness, chroma * std::cos(hue), chroma * std::sin(hue), colour) &&
           chroma > 0.002)
        chroma -= 0.002;
    return colour;
}

std::array<uint32_t, 256> colour_table() {
    std::array<uint32_t, 256> table;
    for (size_t i = 0; i < table.size(); ++i) {
        const rgb c = colour_of(static_cast<double>(i) / 255);
        const auto byte = [](double x) { return static_cast<uint32_t>(std::lround(255 * x)); };
        table[i] = byte(c.r) << 16 | byte(c.g) << 8 | byte(c.b);
    }
    return table;
}

struct box {
    double x, y, width, height;
};

// A linear axis: the values at its two ends.
struct axis {
    double low, high;

    double part(double value) const { return (value - low) / (high - low); }
};

// A round step (1, 2 or 5 times a power of ten) that divides a span into at most `most` parts.
double round_step(double span, double most) {
    const double least = span / std::max(1.0, most);
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= least * (1 - 1e-9)) return factor * power;
    return 10 * power;
}

// Call f(value, text) for the ticks of an axis.
template <class function>
void for_each_tick(const axis &a, double most, function f) {
    const double step = round_step(a.high - a.low, most);
    const double first = std::ceil(a.low / step - 1e-6);
    const double last = std::floor(a.high / step + 1e-6);
    for (double i = first; i <= last; ++i) f(i * step, number_text(i * step, step));
}

void set_colour(cairo_t *c, const rgb &colour) {
    cairo_set_source_rgb(c, colour.r, colour.g, colour.b);
}

void set_font(cairo_t *c, double size, bool bold = false) {
    cairo_select_font_face(c, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(c, size);
}

double text_width(cairo_t *c, const std::string &text) {
    cairo_text_extents_t extents;
    cairo_text_extents(c, text.c_str(), &extents);
    return extents.x_advance;
}

// Draw text whose baseline starts (align 0), is centred (0.5) or ends (1) at x, y.
void draw_text(cairo_t *c, double x, double y, double align, const std::string &text) {
    cairo_move_to(c, x - align * text_width(c, text), y);
    cairo_show_text(c, text.c_str());
}

void draw_upward(cairo_t *c, double x, double y, const std::string &text) {
    cairo_save(c);
    cairo_translate(c, x, y);
    cairo_rotate(c, -std::numbers::pi / 2);
    draw_text(c, 0, 0, 0.5, text);
    cairo_restore(c);
}

// Shorten a text from its middle until it fits.
std::string fitted(cairo_t *c, const std::string &text, double width) {
    constexpr size_t least = 8;
    std::string part = text;
    for (size_t wanted = character_count(text); text_width(c, part) > width && wanted > least;)
        part = shortened(text, --wanted);
    return part;
}

// Draw the texts of ticks below a horizontal axis, none outside of it by more than a few pixels.
void draw_tick_texts(cairo_t *c, const box &b, double baseline,
                     const std::vector<std::pair<double, std::string>> &ticks) {
    constexpr double beyond = 6;  // less than half of what is between two axes
    constexpr double gap = 5;
    std::vector<label> labels;
    labels.reserve(ticks.size());
    for (const auto &[x, text] : ticks) labels.push_back({x, text_width(c, text)});
    const std::vector<double> places =
        place_labels(labels, b.x - beyond, b.x + b.width + beyond, gap);
    for (size_t i = 0; i < ticks.size(); ++i)
        if (!std::isnan(places[i])) draw_text(c, places[i], baseline, 0.5, ticks[i].second);
}

void stroke_line(cairo_t *c, double x0, double y0, double x1, double y1) {
    cairo_move_to(c, x0, y0);
    cairo_line_to(c, x1, y1);
    cairo_stroke(c);
}

// Lines of one pixel are sharp between pixel borders.
double sharp(double x) {
    return std::floor(x) + 0.5;
}

void draw_frame(cairo_t *c, const box &b) {
    set_colour(c, ink);
    cairo_set_line_width(c, 1);
    cairo_rectangle(c, sharp(b.x) - 1, sharp(b.y) - 1, b.width + 1, b.height + 1);
    cairo_stroke(c);
}

// Level of one pixel row from `low` to `high` bins: the loudest bin in it, so that thin lines stay
// visible, or an interpolation where bins are wider than pixels.
double level_between(const float *column, int64_t bins, double low, double high) {
    const auto last = static_cast<double>(bins - 1);
    const double middle = std::clamp((low + high) / 2, 0.0, last);
    const auto below = static_cast<int64_t>(std::floor(middle));
    const int64_t above = std::min(below + 1, bins - 1);
    const double part = middle - static_cast<double>(below);
    double level = (1 - part) * column[below] + part * column[above];
    const auto from = static_cast<int64_t>(std::ceil(std::max(low, 0.0)));
    const auto to = static_cast<int64_t>(std::floor(std::min(high, last)));
    for (int64_t k = from; k <= to; ++k) level = std::max(level, double{column[k]});
    return level;
}

// Levels shown for silence.
constexpr axis silent_axis = {-100, 0};

// The levels that the colours span: from the loudest down to one that a fifth of the picture is
// below, which is background in most signals.
axis level_axis(const spectrogram &s) {
    std::vector<float> sorted = s.levels;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 5);
    std::nth_element(sorted.begin(), middle, sorted.end());
    const double quiet = *middle;
    const double loud = *std::max_element(sorted.begin(), sorted.end());
    if (loud <= lowest_level) return silent_axis;
    const double high = 5 * std::ceil(loud / 5);
    if (s.range > 0) return {high - s.range, high};
    return {std::clamp(5 * std::floor(quiet / 5), high - 100, high - 40), high};
}

void draw_levels(cairo_t *c, const box &b, const spectrogram &s, const axis &levels) {
    const auto width = static_cast<int>(b.width);
    const auto height = static_cast<int>(b.height);
    const std::array<uint32_t, 256> colours = colour_table();
    cairo_surface_t *image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    if (cairo_surface_status(image) == CAIRO_STATUS_SUCCESS) {
        cairo_surface_flush(image);
        unsigned char *data = cairo_image_surface_get_data(image);
        const std::ptrdiff_t row_bytes = cairo_image_surface_get_stride(image);
        const double hertz = (s.highest - s.lowest) / height;
        for (int x = 0; x < width; ++x) {
            const int64_t column = std::min(s.columns - 1, x * s.columns / width);
            for (int y = 0; y < height; ++y) {
                const double low = s.lowest + hertz * (height - 1 - y);
                const double level = level_between(s.levels.data() + column * s.bins, s.bins,
                                                   low / s.bin_width, (low + hertz) / s.bin_width);
                const double part = std::clamp(levels.part(level), 0.0, 1.0);
                const uint32_t pixel = colours[static_cast<size_t>(std::lround(255 * part))];
                std::memcpy(data + y * row_bytes + x * std::ptrdiff_t{sizeof pixel}, &pixel,
                            sizeof pixel);
            }
        }
        cairo_surface_mark_dirty(image);
        cairo_set_source_surface(c, image, b.x, b.y);
        cairo_paint(c);
    }
    cairo_surface_destroy(image);
    draw_frame(c, b);
}

void draw_time_axis(cairo_t *c, const box &b, const spectrogram &s) {
    const axis time = {0, s.duration};
    set_font(c, 13);
    set_colour(c, ink);
    const double bottom = b.y + b.height;
    std::vector<std::pair<double, std::string>> ticks;
    for_each_tick(time, b.width / 90, [&](double value, const std::string &text) {
        const double x = sharp(b.x + b.width * time.part(value));
        stroke_line(c, x, bottom, x, bottom + 5);
        ticks.emplace_back(x, text);
    });
    draw_tick_texts(c, b, bottom + 20, ticks);
    set_font(c, 14);
    draw_text(c, b.x + b.width / 2, bottom + 44, 0.5, "Time (s)");
}

void draw_frequency_axis(cairo_t *c, const box &b, const spectrogram &s) {
    const double unit = s.kilohertz ? 1000 : 1;
    const axis frequency = {s.lowest / unit, s.highest / unit};
    set_font(c, 13);
    set_colour(c, ink);
    double widest = 0;
    for_each_tick(frequency, b.height / 50, [&](double value, const std::string &text) {
        const double y = sharp(b.y + b.height * (1 - frequency.part(value)));
        stroke_line(c, b.x - 6, y, b.x - 1, y);
        draw_text(c, b.x - 10, y + 4.5, 1, text);
        widest = std::max(widest, text_width(c, text));
    });
    set_font(c, 14);
    draw_upward(c, std::max(18.0, b.x - 26 - widest), b.y + b.height / 2,
                s.kilohertz ? "Frequency (kHz)" : "Frequency (Hz)");
}

// More would cover the curve.
constexpr size_t most_labels = 15;

// The average spectrum beside the picture, along the same frequency axis, with its peaks.
void draw_average(cairo_t *c, const box &b, const spectrogram &s) {
    double loud = lowest_level;
    double quiet = -lowest_level;
    const auto inside = [&](double bin) {
        return bin * s.bin_width >= s.lowest && bin * s.bin_width <= s.highest;
    };
    for (size_t k = 0; k < s.average.size(); ++k) {
        if (!inside(static_cast<double>(k))) continue;
        loud = std::max(loud, s.average[k]);
        quiet = std::min(quiet, s.average[k]);
    }
    for (const peak &p : s.peaks) loud = std::max(loud, p.level);
    const double high = 10 * std::ceil(loud / 10);
    const axis levels =
        loud <= lowest_level
            ? silent_axis
            : axis{std::clamp(10 * std::floor(quiet / 10), high - 120, high - 20), high};
    const axis frequency = {s.lowest, s.highest};
    const auto x_of = [&](double level) {
        return b.x + b.width * std::clamp(levels.part(level), 0.0, 1.0);
    };
    const auto y_of = [&](double hertz) { return b.y + b.height * (1 - frequency.part(hertz)); };

    set_font(c, 12);
    cairo_set_line_width(c, 1);
    std::vector<std::pair<double, std::string>> ticks;
    for_each_tick(levels, b.width / 34, [&](double value, const std::string &text) {
        const double x = sharp(x_of(value));
        set_colour(c, grid);
        stroke_line(c, x, b.y, x, b.y + b.height);
        set_colour(c, ink);
        stroke_line(c, x, b.y + b.height, x, b.y + b.height + 5);
        ticks.emplace_back(x, text);
    });
    draw_tick_texts(c, b, b.y + b.height + 20, ticks);
    cairo_save(c);
    cairo_rectangle(c, b.x, b.y, b.width, b.height);
    cairo_clip(c);
    set_colour(c, {0.25, 0.35, 0.60});
    cairo_set_line_width(c, 1.2);
    for (size_t k = 0; k < s.average.size(); ++k)
        cairo_line_to(c, x_of(s.average[k]), y_of(static_cast<double>(k) * s.bin_width));
    cairo_stroke(c);
    cairo_restore(c);
    draw_frame(c, b);

    // Labels go beside their peak, inside of the frame, and are left out where they would overlap a
    // stronger one's.
    set_font(c, 11);
    std::vector<double> taken;
    for (const peak &p : s.peaks) {
        if (!inside(p.frequency)) continue;
        const double hertz = p.frequency * s.bin_width;
        const double x = x_of(p.level);
        const double y = std::clamp(y_of(hertz), b.y + 8, b.y + b.height - 8);
        const bool free = std::none_of(taken.begin(), taken.end(),
                                       [y](double other) { return std::abs(other - y) < 13; });
        if (!free || taken.size() == most_labels) continue;
        taken.push_back(y);
        const std::string text = frequency_text(hertz, s.bin_width);
        const double width = text_width(c, text);
        const bool right = x + 7 + width < b.x + b.width;
        const double left = right ? x + 7 : x - 7 - width;
        cairo_set_source_rgba(c, 1, 1, 1, 0.8);
        cairo_rectangle(c, left - 1, y - 6, width + 2, 12);
        cairo_fill(c);
        set_colour(c, accent);
        draw_text(c, left, y + 4, 0, text);
    }
    set_colour(c, accent);
    for (const peak &p : s.peaks) {
        if (!inside(p.frequency)) continue;
        cairo_arc(c, x_of(p.level), y_of(p.frequency * s.bin_width), 3, 0, 2 * std::numbers::pi);
        cairo_fill(c);
    }
    set_font(c, 14);
    set_colour(c, ink);
    draw_text(c, b.x + b.width / 2, b.y + b.height + 44, 0.5, "Average (" + s.level_unit + ")");
}

void draw_colour_scale(cairo_t *c, const box &b, const spectrogram &s, const axis &levels) {
    cairo_pattern_t *pattern = cairo_pattern_create_linear(0, b.y + b.height, 0, b.y);
    for (int i = 0; i <= 64; ++i) {
        const rgb colour = colour_of(i / 64.0);
        cairo_pattern_add_color_stop_rgb(pattern, i / 64.0, colour.r, colour.g, colour.b);
    }
    cairo_set_source(c, pattern);
    cairo_rectangle(c, b.x, b.y, b.width, b.height);
    cairo_fill(c);
    cairo_pattern_destroy(pattern);
    draw_frame(c, b);
    set_font(c, 13);
    double widest = 0;
    for_each_tick(levels, b.height / 50, [&](double value, const std::string &text) {
        const double y = sharp(b.y + b.height * (1 - levels.part(value)));
        stroke_line(c, b.x + b.width, y, b.x + b.width + 5, y);
        draw_text(c, b.x + b.width + 9, y + 4.5, 0, text);
        widest = std::max(widest, text_width(c, text));
    });
    set_font(c, 14);
    draw_upward(c, b.x + b.width + widest + 26, b.y + b.height / 2, "Level (" + s.level_unit + ")");
}

cairo_status_t append_bytes(void *to, const unsigned char *data, unsigned int length) {
    auto *bytes = static_cast<std::string *>(to);
    bytes->append(reinterpret_cast<const char *>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

box inside_of(const picture_size &size) {
    return {margin_left, margin_top, size.width - margin_left - right_of_box,
            size.height - margin_top - margin_bottom};
}

}  // namespace

int picture_columns(const picture_size &size) {
    return static_cast<int>(inside_of(size).width);
}

bool write_picture(const spectrogram &s, const picture_size &size, const std::string &path,
                   std::string &error) {
    const std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, size.width, size.height),
        cairo_surface_destroy);
    const std::unique_ptr<cairo_t, void (*)(cairo_t *)> context(cairo_create(surface.get()),
                                                                cairo_destroy);
    cairo_t *c = context.get();
    set_colour(c, {1, 1, 1});
    cairo_paint(c);

    const box inside = inside_of(size);
    box average = inside;
    average.x += inside.width + average_gap;
    average.width = average_width;
    box scale = average;
    scale.x += average_width + scale_gap;
    scale.width = scale_width;
    const axis levels = level_axis(s);

    set_font(c, 19, true);
    set_colour(c, ink);
    draw_text(c, inside.x, 28, 0, fitted(c, s.title, size.width - inside.x - 20));
    set_font(c, 13);
    set_colour(c, faint);
    draw_text(c, inside.x, 49, 0, fitted(c, s.subtitle, size.width - inside.x - 20));
    draw_levels(c, inside, s, levels);
    draw_time_axis(c, inside, s);
    draw_frequency_axis(c, inside, s);
    draw_average(c, average, s);
    draw_colour_scale(c, scale, s, levels);

    // The picture is made in memory: a file that cannot be written leaves half of none.
    std::string bytes;
    cairo_status_t status = cairo_status(c);
    if (status == CAIRO_STATUS_SUCCESS)
        status = cairo_surface_write_to_png_stream(surface.get(), append_bytes, &bytes);
    if (status != CAIRO_STATUS_SUCCESS) {
        error = std::string("cannot draw the picture: ") + cairo_status_to_string(status);
        return false;
    }
    std::FILE *file = std::fopen(path.c_str(), "wb");
    bool written = file != nullptr;
    if (file != nullptr) {
        written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
        const int first_error = errno;
        if (std::fclose(file) != 0)
            written = false;
        else if (!written)
            errno = first_error;
    }
    if (!written) {
        error = "cannot write " + in_quotes(path) + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace lyr_tools
