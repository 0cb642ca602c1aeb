#include "sound.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

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

// The columns of a line that begins and ends with something.
std::vector<std::string_view> split_columns(std::string_view line) {
    constexpr const char *blanks = " \t\r";
    std::vector<std::string_view> columns;
    while (!line.empty()) {
        const size_t end = std::min(line.find_first_of(" \t\r,;"), line.size());
        columns.push_back(line.substr(0, end));
        line.remove_prefix(std::min(line.find_first_not_of(blanks, end), line.size()));
        if (line.empty() || (line[0] != ',' && line[0] != ';')) continue;
        line.remove_prefix(std::min(line.find_first_not_of(blanks, 1), line.size()));
    }
    return columns;
}

bool read_number(std::string_view text, double &value) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [stop, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    return status == std::errc() && std::isfinite(value) && stop == text.data() + text.size();
}

// Commas between digits in a line without a point may be those of decimals.
bool may_be_decimal_comma(std::string_view line) {
    if (line.find('.') != std::string_view::npos) return false;
    for (size_t i = 1; i + 1 < line.size(); ++i) {
        if (line[i] == ',' && std::isdigit(static_cast<unsigned char>(line[i - 1])) != 0 &&
            std::isdigit(static_cast<unsigned char>(line[i + 1])) != 0)
            return true;
    }
    return false;
}

// The number in the wanted column of a line.
bool read_line(std::string_view line, const sound_choice &choice, sound &result, double &value,
               std::string &error) {
    const std::vector<std::string_view> columns = split_columns(line);
    const auto count = static_cast<int64_t>(columns.size());
    if (result.samples.empty()) result.columns = count;
    if (choice.column == 0 && may_be_decimal_comma(line)) {
        error = "has commas between digits, " + in_quotes(line) +
                ": decimals take a point, and which of several columns is wanted says --column";
        return false;
    }
    if (result.column > count) {
        error = "has no column " + std::to_string(result.column) + ": " + in_quotes(line);
        return false;
    }
    const std::string_view text = columns[static_cast<size_t>(result.column - 1)];
    if (read_number(text, value)) return true;
    error = std::string("has no finite number in column ") + std::to_string(result.column) + ": " +
            in_quotes(text);
    return false;
}

bool read_text(std::FILE *file, const sound_choice &choice, sound &result, std::string &error) {
    constexpr size_t longest_line = 65536;
    result.is_text = true;
    result.rate = choice.rate != 0 ? choice.rate : 1;
    result.column = choice.column != 0 ? choice.column : 1;
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
        std::string reason;
        if (!read_line(text, choice, result, value, reason)) {
            error = "it is not sound, and line " + std::to_string(number) + " " + reason;
            return false;
        }
        result.samples.push_back(value);
        if (static_cast<int64_t>(result.samples.size()) > choice.most_samples) {
            error = "it is too long: more than " + std::to_string(choice.most_samples) + " numbers";
            return false;
        }
    }
    if (std::ferror(file) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

using file_pointer = std::unique_ptr<std::FILE, close_file>;

// What can be read from standard input, in a file of its own: sound is looked for before text, and
// a pipe cannot be read twice.
file_pointer copy_of_input(int64_t most_bytes, std::string &error) {
    file_pointer copy(std::tmpfile());
    std::vector<char> block(65536);
    int64_t bytes = 0;
    while (copy) {
        const size_t got = std::fread(block.data(), 1, block.size(), stdin);
        bytes += static_cast<int64_t>(got);
        if (std::fwrite(block.data(), 1, got, copy.get()) != got) break;
        if (bytes > most_bytes) {
            error = "it is too long";
            return nullptr;
        }
        if (got < block.size() && std::ferror(stdin) != 0) break;
        if (got < block.size() && std::feof(stdin) != 0) {
            if (std::fflush(copy.get()) != 0) break;
            std::rewind(copy.get());
            if (bytes == 0) error = "it is empty";
            return bytes == 0 ? nullptr : std::move(copy);
        }
    }
    error = std::strerror(errno);
    return nullptr;
}

file_pointer open_file(const std::string &path, std::string &error) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        error = std::strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "it is no regular file";
    } else if (status.st_size == 0) {
        error = "it is empty";
    } else {
        file_pointer file(std::fopen(path.c_str(), "rb"));
        if (!file) error = std::strerror(errno);
        return file;
    }
    return nullptr;
}

bool read_any(const std::string &path, const sound_choice &choice, sound &result,
              std::string &error) {
    // A number of a text rarely has more characters than this.
    constexpr int64_t bytes_of_number = 32;
    const int64_t most_bytes =
        std::min(choice.most_samples, INT64_MAX / bytes_of_number) * bytes_of_number;
    const bool is_input = path == standard_input;
    const file_pointer opened =
        is_input ? copy_of_input(most_bytes, error) : open_file(path, error);
    if (!opened) return false;
    SF_INFO info = {};
    const std::unique_ptr<SNDFILE, close_file> file(
        is_input ? sf_open_fd(dup(fileno(opened.get())), SFM_READ, &info, SF_TRUE)
                 : sf_open(path.c_str(), SFM_READ, &info));
    if (file) {
        if (choice.rate != 0 || choice.column != 0) {
            error = std::string(choice.rate != 0 ? "--rate" : "--column") +
                    " is for columns of numbers, and this is sound";
            return false;
        }
        if (!read_samples(file.get(), info, choice.most_samples, result, error)) return false;
    } else {
        std::rewind(opened.get());
        if (!read_text(opened.get(), choice, result, error)) return false;
    }
    if (result.samples.empty()) {
        error = "it holds no samples";
        return false;
    }
    return true;
}

}  // namespace

bool read_sound(const std::string &path, const sound_choice &choice, sound &result,
                std::string &error) {
    std::string reason;
    if (read_any(path, choice, result, reason)) return true;
    error = "cannot read " + (path == standard_input ? "standard input" : in_quotes(path)) + ": " +
            reason;
    return false;
}

}  // namespace lyr_tools
