// Field lists of the catalogue, taken apart.
#include "tools/vdiag/catalogue/shape.h"

namespace vdiag {
namespace {

struct TypeName {
    std::string_view name;
    FieldType type;
    size_t size;
    bool sized;  // a number in parentheses is its size
};

constexpr TypeName kTypeNames[] = {
    {"u8", FieldType::kUnsigned, 1, false},    {"u16", FieldType::kUnsigned, 2, false},
    {"u32", FieldType::kUnsigned, 4, false},   {"i32", FieldType::kSigned, 4, false},
    {"char", FieldType::kChar, 1, false},      {"mac", FieldType::kMac, 6, false},
    {"text", FieldType::kText, 0, true},       {"chars", FieldType::kChars, 0, true},
    {"counted", FieldType::kCounted, 0, true}, {"bytes", FieldType::kBytes, 0, true},
    {"long", FieldType::kLong, 0, false},      {"keys", FieldType::kKeys, 0, false},
    {"pairs", FieldType::kPairs, 0, false},    {"records", FieldType::kRecords, 0, false},
};

// Cuts "inside" out of "(inside)" at the start of `text`; nothing when the brackets are not there.
std::string_view take_bracket(char open, char close, std::string_view* text) {
    const size_t end = text->find(close);
    if (!text->starts_with(open) || end == std::string_view::npos) {
        return {};
    }
    const std::string_view inside = text->substr(1, end - 1);
    text->remove_prefix(end + 1);
    return inside;
}

bool parse_limits(std::string_view text, Field* field) {
    const size_t dots = text.find("..");
    if (dots == std::string_view::npos) {
        return false;
    }
    const auto low = number_parse(text.substr(0, dots));
    const auto high = number_parse(text.substr(dots + 2));
    field->limited = low && high;
    field->low = low.value_or(0);
    field->high = high.value_or(0);
    return field->limited;
}

bool parse_words(std::string_view text, Field* field) {
    for (const std::string_view word : split(text, ',')) {
        const size_t equals = word.find('=');
        const auto value = equals == std::string_view::npos ? std::nullopt : number_parse(word.substr(equals + 1));
        if (!value) {
            return false;
        }
        field->words.emplace_back(word.substr(0, equals), *value);
    }
    return true;
}

bool parse_type(std::string_view text, Field* field) {
    field->optional = text.ends_with('?');
    field->always = text.ends_with('!');
    text.remove_suffix(field->optional || field->always ? 1 : 0);
    const std::string_view name = text.substr(0, text.find_first_of("({"));
    text.remove_prefix(name.size());
    for (const TypeName& known : kTypeNames) {
        if (known.name != name) {
            continue;
        }
        field->type = known.type;
        field->size = known.size;
        const std::string_view inside = take_bracket('(', ')', &text);
        if (known.sized && !inside.empty()) {
            field->size = static_cast<size_t>(number_parse(inside).value_or(0));
        } else if (!inside.empty() && !parse_limits(inside, field)) {
            return false;
        }
        return parse_words(take_bracket('{', '}', &text), field) && text.empty();
    }
    return false;
}

bool parse_field(std::string_view item, Field* field) {
    if (item.starts_with('=')) {
        field->type = FieldType::kFixed;
        field->fixed = hex_parse(item.substr(1)).value_or(Bytes());
        return !field->fixed.empty();
    }
    if (item.starts_with('-')) {
        field->size = static_cast<size_t>(number_parse(item.substr(1)).value_or(0));
        return item.size() == 1 || field->size > 0;
    }
    const size_t colon = item.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    field->name = item.substr(0, colon);
    return parse_type(item.substr(colon + 1), field);
}

}  // namespace

bool shape_parse(std::string_view list, std::vector<Field>* fields) {
    for (const std::string_view item : split(list, ' ')) {
        Field field;
        if (!parse_field(item, &field)) {
            return false;
        }
        fields->push_back(std::move(field));
    }
    return true;
}

std::vector<Field> answer_fields(const Command& command) {
    std::vector<Field> fields;
    if (is_ftm(command)) {
        (void)shape_parse("status:u8", &fields);
    }
    (void)shape_parse(command.answer, &fields);
    return fields;
}

std::string_view word_of(const Field& field, uint64_t value) {
    for (const auto& [word, number] : field.words) {
        if (number == value) {
            return word;
        }
    }
    return {};
}

std::string type_text(const Field& field) {
    const std::string size = std::to_string(field.size);
    std::string text;
    switch (field.type) {
        case FieldType::kUnsigned:
            text = "u" + std::to_string(field.size * 8);
            break;
        case FieldType::kSigned:
            text = "i32";
            break;
        case FieldType::kChar:
            text = "one character";
            break;
        case FieldType::kMac:
            text = "address, six bytes";
            break;
        case FieldType::kText:
            text = field.size > 0 ? "text, at most " + size + " characters" : "text";
            break;
        case FieldType::kChars:
            text = size + " characters";
            break;
        case FieldType::kCounted:
            text = field.size > 0 ? "length and at most " + size + " bytes" : "length and bytes";
            break;
        case FieldType::kBytes:
            text = field.size > 0 ? size + " bytes" : "bytes";
            break;
        case FieldType::kLong:
            text = "u16 length and bytes";
            break;
        case FieldType::kKeys:
            text = "names";
            break;
        case FieldType::kPairs:
            text = "NAME=VALUE groups";
            break;
        case FieldType::kRecords:
            text = "u16 count, then name and value of each";
            break;
        case FieldType::kFixed:
            text = "always " + hex_text(field.fixed, " ");
            break;
        case FieldType::kSkip:
            text = field.size > 0 ? "nothing" : "padding";
            break;
    }
    if (field.limited) {
        text += ", " + std::to_string(field.low) + " to " + std::to_string(field.high);
    }
    for (const auto& [word, number] : field.words) {
        text += (&word == &field.words.front().first ? ": " : ", ") + std::to_string(number) + " " + std::string(word);
    }
    return text;
}

std::string width_text(const Field& field, bool argument) {
    const std::string size = std::to_string(field.size);
    switch (field.type) {
        case FieldType::kText:
            return argument ? "n + 1" : (field.size > 0 ? size : "n + 1");
        case FieldType::kCounted:
            return "1 + n";
        case FieldType::kLong:
            return "2 + n";
        case FieldType::kFixed:
            return std::to_string(field.fixed.size());
        case FieldType::kKeys:
        case FieldType::kPairs:
        case FieldType::kRecords:
            return "n";
        default:
            return field.size > 0 ? size : "n";
    }
}

}  // namespace vdiag
