// The hardware-version text in its forms.
#include "ftm/hardware_version.h"

#include <algorithm>
#include <climits>

namespace {

constexpr auto kNone = std::string_view::npos;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What follows the first hyphen of an entry; empty without one.
std::string_view behind_hyphen(std::string_view entry) {
    const size_t hyphen = entry.find('-');
    return hyphen == kNone ? std::string_view() : entry.substr(hyphen + 1);
}

}  // namespace

HardwareVersionForm hardware_version_form(std::string_view text) {
    if (text.find('-') != kNone) {
        return text.find('_') != kNone ? HardwareVersionForm::kProjectName : HardwareVersionForm::kNumberName;
    }
    return text.find(',') != kNone ? HardwareVersionForm::kByPosition : HardwareVersionForm::kPlain;
}

int leading_number(std::string_view text) {
    text.remove_prefix(static_cast<size_t>(std::find_if_not(text.begin(), text.end(), is_space) - text.begin()));
    const bool negative = !text.empty() && text[0] == '-';
    if (negative || (!text.empty() && text[0] == '+')) {
        text.remove_prefix(1);
    }
    long long number = 0;
    for (size_t i = 0; i < text.size() && is_digit(text[i]); ++i) {
        number = std::min<long long>(number * 10 + (text[i] - '0'), INT_MAX);
    }
    return static_cast<int>(negative ? -number : number);
}

std::vector<std::string_view> split_at_commas(std::string_view text) {
    std::vector<std::string_view> parts;
    size_t begin = 0;
    for (size_t comma = text.find(','); comma != kNone; comma = text.find(',', begin)) {
        parts.push_back(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

std::string_view version_at_position(std::string_view text, int board) {
    const std::vector<std::string_view> fields = split_at_commas(text);
    const auto position = static_cast<size_t>(board);
    return board >= 0 && position < fields.size() ? fields[position] : std::string_view();
}

NumberedVersion version_by_number(std::string_view text, int board) {
    if (text.empty() || !is_digit(text[0])) {
        return {{}, true};
    }
    const std::vector<std::string_view> entries = split_at_commas(text);
    // The first entry with the number decides, well-formed or not.
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [board](std::string_view e) { return leading_number(e) == board; });
    const bool in_first = entry == entries.begin();
    if (entry == entries.end() || entry->empty() || !is_digit((*entry)[0])) {
        return {{}, in_first};
    }
    return {behind_hyphen(*entry), in_first};
}

ProjectVersion parse_project_version(std::string_view entry) {
    const size_t underscore = entry.find('_');
    if (underscore == kNone) {
        return {entry, {}, {}};
    }
    const std::string_view rest = entry.substr(underscore + 1);
    return {entry.substr(0, underscore), rest.substr(0, rest.find('-')), behind_hyphen(rest)};
}

bool project_version_matches(const ProjectVersion& entry, int board) {
    return !entry.name.empty() && leading_number(entry.project) == ((board >> 8) & 0xFF) &&
           leading_number(entry.hardware) == (board & 0xFF);
}
