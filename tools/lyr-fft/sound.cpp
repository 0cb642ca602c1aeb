#include "sound.h"

#include <sndfile.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "problem.h"

namespace lyr_tools {

namespace {

struct close_file {
    void operator()(std::FILE *file) const { std::fclose(file); }
    void operator()(SNDFILE *file) const { sf_close(file); }
};

std::string at(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

bool read_samples(SNDFILE *file, const SF_INFO &info, int64_t max_samples, sound &result,
                  std::string &error) {
    constexpr sf_count_t block = 4096;
    if (info.channels < 1 || info.channels > 1024 || info.samplerate < 1) {
        error = "it has no usable format";
        return false;
    }
    std::vector<double> frames(static_cast<size_t>(block * info.channels));
    while (true) {
        const sf_count_t got = sf_readf_double(file, frames.data(), block);
        if (got <= 0) break;
        for (sf_count_t i = 0; i < got; ++i) {
            double sum = 0;
            for (int c = 0; c < info.channels; ++c)
                sum += frames[static_cast<size_t>(i * info.channels + c)];
            if (!std::isfinite(sum)) {
                error = "the sample at " +
                        at(static_cast<double>(result.samples.size()) / info.samplerate) +
                        " is not a finite number";
                return false;
            }
            result.samples.push_back(sum / info.channels);
        }
        if (static_cast<int64_t>(result.samples.size()) > max_samples) {
            error = "it is too long: more than " + std::to_string(max_samples) + " samples";
            return false;
        }
    }
    if (sf_error(file) != SF_ERR_NO_ERROR) {
        error = sf_strerror(file);
        return false;
    }
    result.rate = info.samplerate;
    result.channels = info.channels;
    return true;
}

// The number in the first column of a line.
bool read_number(std::string_view line, double &value) {
    if (line.starts_with('+')) line.remove_prefix(1);
    const auto [stop, status] = std::from_chars(line.data(), line.data() + line.size(), value);
    if (status != std::errc() || !std::isfinite(value)) return false;
    return stop == line.data() + line.size() || std::strchr(" \t,;", *stop) != nullptr;
}

bool read_text(std::FILE *file, int64_t max_samples, sound &result, std::string &error) {
    constexpr size_t longest_line = 65536;
    std::string line;
    bool end = false;
    for (int64_t number = 1; !end; ++number) {
        line.clear();
        int c;
        while ((c = std::getc(file)) != EOF && c != '\n') {
            if (c == '\0' || line.size() >= longest_line) {
                error = "it is neither sound nor a column of numbers";
                return false;
            }
            line += static_cast<char>(c);
        }
        end = c == EOF;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        const std::string_view text(line.data() + first,
                                    line.find_last_not_of(" \t\r") + 1 - first);
        double value;
        if (!read_number(text, value)) {
            error = "it is not sound, and line " + std::to_string(number) +
                    " does not start with a finite number: " + in_quotes(text);
            return false;
        }
        result.samples.push_back(value);
        if (static_cast<int64_t>(result.samples.size()) > max_samples) {
            error = "it is too long: more than " + std::to_string(max_samples) + " numbers";
            return false;
        }
    }
    if (std::ferror(file) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

bool read_any(const std::string &path, double text_rate, int64_t max_samples, sound &result,
              std::string &error) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        error = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "it is no regular file";
        return false;
    }
    if (status.st_size == 0) {
        error = "it is empty";
        return false;
    }
    std::unique_ptr<std::FILE, close_file> text(std::fopen(path.c_str(), "rb"));
    if (!text) {
        error = std::strerror(errno);
        return false;
    }
    SF_INFO info = {};
    const std::unique_ptr<SNDFILE, close_file> file(sf_open(path.c_str(), SFM_READ, &info));
    if (file) {
        if (text_rate != 0) {
            error = "--rate is for columns of numbers, this file has a rate of its own";
            return false;
        }
        if (!read_samples(file.get(), info, max_samples, result, error)) return false;
    } else {
        result.is_text = true;
        result.rate = text_rate != 0 ? text_rate : 1;
        if (!read_text(text.get(), max_samples, result, error)) return false;
    }
    if (result.samples.empty()) {
        error = "it holds no samples";
        return false;
    }
    return true;
}

}  // namespace

bool read_sound(const std::string &path, double text_rate, int64_t max_samples, sound &result,
                std::string &error) {
    std::string reason;
    if (read_any(path, text_rate, max_samples, result, reason)) return true;
    error = "cannot read " + in_quotes(path) + ": " + reason;
    return false;
}

}  // namespace lyr_tools
