// Hexadecimal, numbers, words of a line, likeness of names, whole files.
#include "tools/vdiag/words/text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "platform/include/handles.h"

namespace vdiag {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool is_gap(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0 || c == ':' || c == ','; }

// Length of the well-formed UTF-8 sequence at the start of `text`; 0 when there is none.
size_t utf8_length(std::string_view text) {
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0}; };
    const auto tail = [&](size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    const uint8_t lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return tail(1) ? 2 : 0;
    }
    if ((lead & 0xF0U) == 0xE0U) {
        const bool overlong = lead == 0xE0 && byte(1) < 0xA0;
        const bool surrogate = lead == 0xED && byte(1) >= 0xA0;
        return tail(1) && tail(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool overlong = lead == 0xF0 && byte(1) < 0x90;
        const bool beyond = lead == 0xF4 && byte(1) >= 0x90;
        return tail(1) && tail(2) && tail(3) && !overlong && !beyond ? 4 : 0;
    }
    return 0;
}

// Ranges of characters that steer a terminal, mark directions or show nothing.
struct Range {
    uint32_t first;
    uint32_t last;
};
constexpr Range kUnseen[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},     {0x061C, 0x061C},  {0x115F, 0x1160},
                             {0x180B, 0x180F}, {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},  {0x3164, 0x3164},
                             {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFB}, {0xE0000, 0xE0FFF}};

// The character of a well-formed sequence.
uint32_t utf8_character(std::string_view text, size_t length) {
    constexpr uint8_t kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    uint32_t out = static_cast<uint8_t>(text[0]) & kLeadBits[length];
    for (size_t i = 1; i < length; ++i) {
        out = out << 6U | (static_cast<uint8_t>(text[i]) & 0x3FU);
    }
    return out;
}

// Length of the character at the start of `text` when it can be shown, else 0.
size_t shown_length(std::string_view text) {
    const size_t length = utf8_length(text);
    const uint32_t character = length > 0 ? utf8_character(text, length) : 0;
    const bool unseen = std::any_of(std::begin(kUnseen), std::end(kUnseen), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
    return unseen ? 0 : length;
}

void append_escaped(uint8_t byte, std::string* out) {
    switch (byte) {
        case '\n':
            *out += "\\n";
            return;
        case '\r':
            *out += "\\r";
            return;
        case '\t':
            *out += "\\t";
            return;
        case '\\':
            *out += "\\\\";
            return;
        default:
            break;
    }
    *out += "\\x";
    *out += kDigits[byte >> 4U];
    *out += kDigits[byte & 15U];
}

bool read_all(int fd, Bytes* content) {
    uint8_t chunk[65536];
    for (;;) {
        const ssize_t got = ::read(fd, chunk, sizeof(chunk));
        if (got > 0) {
            content->insert(content->end(), chunk, chunk + got);
        } else if (got == 0 || errno != EINTR) {
            return got == 0;
        }
    }
}

}  // namespace

std::string hex_text(const uint8_t* data, size_t size, std::string_view separator) {
    std::string out;
    out.reserve(size * (2 + separator.size()));
    for (size_t i = 0; i < size; ++i) {
        if (i > 0) {
            out += separator;
        }
        out += kDigits[data[i] >> 4U];
        out += kDigits[data[i] & 15U];
    }
    return out;
}

std::string hex_text(const Bytes& bytes, std::string_view separator) {
    return hex_text(bytes.data(), bytes.size(), separator);
}

std::optional<Bytes> hex_parse(std::string_view text) {
    Bytes out;
    for (size_t i = 0; i < text.size();) {
        if (is_gap(text[i])) {
            ++i;
            continue;
        }
        const bool word_start = i == 0 || is_gap(text[i - 1]);
        if (word_start && text[i] == '0' && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x') {
            i += 2;
            continue;
        }
        const int high = digit_value(text[i]);
        const int low = i + 1 < text.size() ? digit_value(text[i + 1]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        out.push_back(static_cast<uint8_t>(high * 16 + low));
        i += 2;
    }
    return out;
}

std::optional<Bytes> bytes_parse(std::string_view text) {
    constexpr uint64_t kMost = 65535;
    if (auto plain = hex_parse(text)) {
        return plain;
    }
    Bytes out;
    for (const std::string_view piece : split(text, '+')) {
        const size_t star = piece.find('*');
        const auto unit = hex_parse(piece.substr(0, star));
        const auto count =
            star == std::string_view::npos ? std::optional<uint64_t>(1) : number_parse(piece.substr(star + 1));
        if (!unit || !count || *count > kMost || *count * unit->size() + out.size() > kMost) {
            return std::nullopt;
        }
        for (uint64_t i = 0; i < *count; ++i) {
            out.insert(out.end(), unit->begin(), unit->end());
        }
    }
    return out;
}

bool begins_with(const Bytes& bytes, const Bytes& head) {
    return bytes.size() >= head.size() && std::equal(head.begin(), head.end(), bytes.begin());
}

std::optional<uint64_t> number_parse(std::string_view text) {
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<int> milliseconds_parse(std::string_view text) {
    double unit = 1000;
    if (text.ends_with("ms")) {
        unit = 1;
        text.remove_suffix(2);
    } else if (text.ends_with('s')) {
        text.remove_suffix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const double total = value * unit;
    if (error != std::errc() || end != text.data() + text.size() || !(total >= 0 && total <= 1e9)) {
        return std::nullopt;
    }
    const int whole = static_cast<int>(total);
    return total - whole >= 0.5 ? whole + 1 : whole;
}

bool equal_names(std::string_view left, std::string_view right) {
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t length = text[0] == '\\' ? 0 : shown_length(text);
        if (length > 0) {
            out.append(text.substr(0, length));
        } else {
            append_escaped(static_cast<uint8_t>(text[0]), &out);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

std::string terminal_text(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t length = text[0] == '\n' ? 1 : shown_length(text);
        if (length > 0) {
            out.append(text.substr(0, length));
        } else {
            append_escaped(static_cast<uint8_t>(text[0]), &out);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

std::optional<std::string> unescape(std::string_view text) {
    constexpr std::string_view kLetters = "ntr0\\";
    constexpr std::string_view kMeanings{"\n\t\r\0\\", 5};
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        const char letter = ++i < text.size() ? text[i] : '\0';
        const size_t known = kLetters.find(letter);
        const auto digits = letter == 'x' ? hex_parse(text.substr(i + 1, 2)) : std::nullopt;
        if (known == std::string_view::npos && (!digits || digits->size() != 1)) {
            return std::nullopt;
        }
        out += known != std::string_view::npos ? kMeanings[known] : static_cast<char>((*digits)[0]);
        i += known != std::string_view::npos ? 0 : 2;
    }
    return out;
}

bool is_printable(std::string_view text) { return printable(text) == text; }

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool split_words(std::string_view line, std::vector<std::string>* words, std::string* error) {
    std::string word;
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\\' && quote != '\'' && i + 1 < line.size()) {
            word += line[++i];
            in_word = true;
        } else if (quote != 0) {
            if (c == quote) {
                quote = 0;
            } else {
                word += c;
            }
        } else if (c == '"' || c == '\'') {
            quote = c;
            in_word = true;
        } else if (std::isspace(static_cast<unsigned char>(c)) == 0) {
            word += c;
            in_word = true;
        } else if (in_word) {
            words->push_back(std::move(word));
            word.clear();
            in_word = false;
        }
    }
    if (quote != 0) {
        *error = std::string("a ") + quote + " is not closed";
        return false;
    }
    if (in_word) {
        words->push_back(std::move(word));
    }
    return true;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const size_t end = std::min(text.find(separator), text.size());
        if (end > 0) {
            parts.push_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

size_t edit_distance(std::string_view left, std::string_view right) {
    std::vector<size_t> row(right.size() + 1);
    for (size_t j = 0; j < row.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 0; i < left.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < right.size(); ++j) {
            const bool same = equal_names(left.substr(i, 1), right.substr(j, 1));
            const size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string nearest(std::string_view name, const std::vector<std::string>& names) {
    std::string best;
    size_t best_distance = std::max<size_t>(2, name.size() / 2) + 1;
    for (const std::string& candidate : names) {
        const size_t distance = edit_distance(name, candidate);
        if (distance < best_distance) {
            best_distance = distance;
            best = candidate;
        }
    }
    return best;
}

bool write_all(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t put = ::write(fd, content.data(), content.size());
        if (put < 0 && errno != EINTR) {
            return false;
        }
        content.remove_prefix(put > 0 ? static_cast<size_t>(put) : 0);
    }
    return true;
}

bool file_read(const std::string& path, Bytes* content, std::string* error) {
    const bool standard = path == "-";
    const UniqueFd fd(standard ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.ok() && read_all(fd.get(), content)) {
        return true;
    }
    *error = "cannot read " + (standard ? "standard input" : path) + ": " + std::strerror(errno);
    return false;
}

bool file_write(const std::string& path, std::string_view content, std::string* error) {
    const bool standard = path == "-";
    const UniqueFd fd(standard ? ::dup(STDOUT_FILENO)
                               : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (fd.ok() && write_all(fd.get(), content)) {
        return true;
    }
    *error = "cannot write " + (standard ? "standard output" : path) + ": " + std::strerror(errno);
    return false;
}

}  // namespace vdiag
