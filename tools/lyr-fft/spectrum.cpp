// lyr-fft spectrum: the frequencies in a signal, as a list and as a picture.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

#include "commands.h"
#include "lyr_fft.h"
#include "picture.h"
#include "problem.h"
#include "problem_arguments.h"
#include "short_time.h"
#include "sound.h"

namespace lyr_tools {

namespace {

constexpr int shortest_window = 8;
constexpr int longest_window = 1 << 24;

struct spectrum_arguments {
    std::string file;
    std::string picture;
    int64_t window = 0;  // 0: chosen by rate and length
    int peaks = 10;
    double rate = 0;
    int64_t column = 0;
    double lowest = 0, highest = 0;
    double range = 0;
    std::string size = "1280x720";
    int threads = 1;
};

// A power of two of about 50 ms for sound and whatever has a rate; for other columns of numbers an
// eighth of them. Never longer than the signal.
int64_t usual_window(const sound &s, bool has_rate) {
    const auto length = static_cast<int64_t>(s.samples.size());
    const double wished = has_rate ? s.rate * 0.05 : static_cast<double>(length) / 8;
    int64_t window = has_rate ? 256 : 64;
    while (static_cast<double>(window) * std::sqrt(2.0) < wished && window < 65536) window *= 2;
    return std::min(window, length);
}

std::string printable(const std::string &text) {
    const std::string safe = in_quotes(text);
    return safe.substr(1, safe.size() - 2);
}

bool parse_size(const std::string &text, picture_size &size) {
    char extra;
    return text.size() <= 11 &&
           std::sscanf(text.c_str(), "%5dx%5d%c", &size.width, &size.height, &extra) == 2 &&
           size.width >= 640 && size.width <= 16000 && size.height >= 360 && size.height <= 16000;
}

std::string format_hertz(double hertz) {
    char text[48];
    const double size = std::abs(hertz);
    if (size >= 1 || size == 0)
        std::snprintf(text, sizeof text, "%.2f", hertz);
    else
        std::snprintf(text, sizeof text, "%.5g", hertz);
    return text;
}

// As many digits as a thousandth of a bin needs, at least two.
std::string format_peak(double hertz, double bin_width) {
    const int decimals = static_cast<int>(std::ceil(-std::log10(bin_width / 1000)));
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", std::clamp(decimals, 2, 16), hertz);
    return text;
}

std::string format_duration(double seconds) {
    char text[48];
    const bool usual = seconds >= 0.1 && seconds < 1e7;
    std::snprintf(text, sizeof text,
                  !usual         ? "%.4g s"
                  : seconds < 10 ? "%.3f s"
                                 : "%.1f s",
                  seconds);
    return text;
}

std::string counted(int64_t count, const char *one, const char *more) {
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

std::string sample_count(int64_t count) {
    return counted(count, "sample", "samples");
}

int run_spectrum(const spectrum_arguments &arguments) {
    picture_size size;
    if (!parse_size(arguments.size, size))
        return fail("bad size %s: give WIDTHxHEIGHT, 640x360 to 16000x16000",
                    in_quotes(arguments.size).c_str());
    std::error_code ignored;
    if (!arguments.picture.empty() &&
        std::filesystem::equivalent(arguments.file, arguments.picture, ignored))
        return fail("the picture would overwrite %s", in_quotes(arguments.file).c_str());

    std::string error;
    sound s;
    const sound_choice choice = {arguments.rate, arguments.column,
                                 memory_limit() / static_cast<int64_t>(sizeof(double))};
    if (!read_sound(arguments.file, choice, s, error)) return fail("%s", error.c_str());
    const bool is_input = arguments.file == standard_input;
    const std::string what = is_input ? "standard input" : in_quotes(arguments.file);
    const auto length = static_cast<int64_t>(s.samples.size());
    if (length < shortest_window)
        return fail("%s has only %s, %d are needed", what.c_str(), sample_count(length).c_str(),
                    shortest_window);
    if (arguments.window > length)
        return fail("a window of %lld is longer than the %s of %s",
                    static_cast<long long>(arguments.window), sample_count(length).c_str(),
                    what.c_str());
    const int64_t window = arguments.window != 0
                               ? arguments.window
                               : usual_window(s, !s.is_text || arguments.rate != 0);
    const double nyquist = s.rate / 2;
    const double highest = arguments.highest > 0 ? std::min(arguments.highest, nyquist) : nyquist;
    if (arguments.lowest >= highest)
        return fail("no frequency lies between %s and %s Hz",
                    format_hertz(arguments.lowest).c_str(), format_hertz(highest).c_str());

    // Powers of enormous numbers would overflow: such signals are made smaller, and their levels
    // raised again.
    double largest = 0;
    for (const double x : s.samples) largest = std::max(largest, std::abs(x));
    const int lowered = largest > 1e100 ? std::ilogb(largest) : 0;
    const double raised = 20 * std::log10(2) * lowered;
    if (lowered != 0)
        for (double &x : s.samples) x = std::ldexp(x, -lowered);
    const auto level_of = [raised](double power) {
        const double level = decibels(power);
        return level > lowest_level ? level + raised : level;
    };

    // A constant offset would only show as a line at 0 Hz.
    double mean = 0;
    for (const double x : s.samples) mean += x / static_cast<double>(length);
    for (double &x : s.samples) x -= mean;

    lyr_fft_plan_with_nthreads(arguments.threads);
    progress progress("spectrum");
    const double bin_width = s.rate / static_cast<double>(window);
    const pieces whole = whole_pieces(length, window);
    std::vector<double> average(static_cast<size_t>(window / 2 + 1));
    if (!short_time_power(
            s.samples, whole,
            [&](int64_t i, const double *power) {
                for (size_t k = 0; k < average.size(); ++k)
                    average[k] += power[k] / static_cast<double>(whole.count);
                progress.update(static_cast<double>(i), static_cast<double>(whole.count));
            },
            error))
        return fail("%s", error.c_str());
    // Peaks outside of the wanted band are left out before the strongest are taken.
    std::vector<double> wanted = average;
    for (size_t k = 0; k < wanted.size(); ++k) {
        const double hertz = static_cast<double>(k) * bin_width;
        if (hertz < arguments.lowest || hertz > highest) wanted[k] = 0;
    }
    std::vector<peak> peaks = find_peaks(wanted, arguments.peaks);
    for (peak &p : peaks) p.level += raised;
    progress.clear();

    const char *unit = s.is_text ? "dB" : "dBFS";
    const double duration = static_cast<double>(length) / s.rate;
    char rate[48];
    std::snprintf(rate, sizeof rate, "%.10g Hz", s.rate);
    const std::string facts =
        sample_count(length) + ", " + rate + ", " +
        (s.columns > 1 ? "column " + std::to_string(s.column) + " of " + std::to_string(s.columns)
                       : counted(s.channels, "channel", "channels"));
    const std::string name =
        is_input ? what : printable(std::filesystem::path(arguments.file).filename().string());
    print("%s: %s, %s\n", name.c_str(), format_duration(duration).c_str(), facts.c_str());
    print("Hann window of %s, %s averaged, bins of %s Hz\n", sample_count(window).c_str(),
          counted(whole.count, "spectrum", "spectra").c_str(), format_hertz(bin_width).c_str());
    if (peaks.empty() && arguments.peaks > 0) print("no peaks\n");
    if (!peaks.empty()) print("%14s %10s\n", "frequency Hz", s.is_text ? "level dB" : "level dBFS");
    for (const peak &p : peaks)
        print("%14s %10.1f\n", format_peak(p.frequency * bin_width, bin_width).c_str(),
              std::abs(p.level) < 0.05 ? 0 : p.level);
    if (arguments.picture.empty()) return 0;

    spectrogram picture;
    picture.title = name;
    picture.subtitle =
        format_duration(duration) + ", " + facts + ", Hann window of " + sample_count(window);
    picture.duration = duration;
    picture.lowest = arguments.lowest;
    picture.highest = highest;
    picture.kilohertz = highest >= 2000;
    picture.bin_width = bin_width;
    picture.bins = window / 2 + 1;
    picture.range = arguments.range;
    picture.level_unit = unit;
    picture.peaks = peaks;
    for (const double power : average) picture.average.push_back(level_of(power));

    // At least one spectrum per column of pixels, and no gaps: pieces overlap by three quarters.
    const int64_t columns = picture_columns(size);
    const auto per_column = static_cast<int64_t>(
        std::ceil(4 * static_cast<double>(length) / static_cast<double>(window * columns)));
    pieces drawn;
    drawn.window = window;
    drawn.count = columns * std::max<int64_t>(1, per_column);
    drawn.hop = static_cast<double>(length) / static_cast<double>(drawn.count);
    drawn.centre = drawn.hop / 2;
    picture.columns = columns;
    picture.levels.resize(static_cast<size_t>(columns * picture.bins));
    std::vector<double> column(static_cast<size_t>(picture.bins));
    const int64_t pieces_per_column = drawn.count / columns;
    progress.task = "spectrogram";
    if (!short_time_power(
            s.samples, drawn,
            [&](int64_t i, const double *power) {
                if (i % pieces_per_column == 0) std::fill(column.begin(), column.end(), 0.0);
                for (size_t k = 0; k < column.size(); ++k)
                    column[k] += power[k] / static_cast<double>(pieces_per_column);
                if (i % pieces_per_column != pieces_per_column - 1) return;
                float *to = picture.levels.data() + i / pieces_per_column * picture.bins;
                for (size_t k = 0; k < column.size(); ++k)
                    to[k] = static_cast<float>(level_of(column[k]));
                progress.update(static_cast<double>(i), static_cast<double>(drawn.count));
            },
            error))
        return fail("%s", error.c_str());
    progress.clear();
    if (!write_picture(picture, size, arguments.picture, error)) return fail("%s", error.c_str());
    return 0;
}

}  // namespace

command add_spectrum(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("spectrum", "Analyse a sound or a column of numbers");
    auto values = std::make_shared<spectrum_arguments>();
    arguments->add_option("FILE", values->file, "Sound or lines of numbers; - is standard input")
        ->type_name("")
        ->required();
    arguments->add_option("-o,--output", values->picture, "Write a spectrogram picture (PNG)")
        ->type_name("PICTURE");
    arguments->add_option("-w,--window", values->window, "Samples per spectrum, any number")
        ->check(between(shortest_window, longest_window))
        ->type_name("N");
    arguments->add_option("-k,--peaks", values->peaks, "Strongest frequencies to list [10]")
        ->check(between(0, 1000))
        ->type_name("K");
    arguments->add_option("-r,--rate", values->rate, "Numbers per second, for text [1]")
        ->check(between(1e-9, 1e12))
        ->type_name("R");
    arguments->add_option("-c,--column", values->column, "Column of a text to take [1]")
        ->check(between(1, 65536))
        ->type_name("C");
    arguments->add_option("--lowest", values->lowest, "Leave out lower frequencies [0]")
        ->check(between(0.0, 1e12))
        ->type_name("HZ");
    arguments->add_option("--highest", values->highest, "Leave out higher frequencies")
        ->check(between(1e-9, 1e12))
        ->type_name("HZ");
    arguments->add_option("--range", values->range, "Levels that the colours span")
        ->check(between(1.0, 400.0))
        ->type_name("DB");
    arguments->add_option("--size", values->size, "Pixels of the picture [1280x720]")
        ->type_name("WxH");
    add_threads(*arguments, values->threads);
    arguments->footer(
        "Channels are mixed down. Levels are those of a sine: 0 dB for amplitude 1,\n"
        "which is full scale (dBFS) in sound files.");
    return {arguments, [values] { return run_spectrum(*values); }};
}

}  // namespace lyr_tools
