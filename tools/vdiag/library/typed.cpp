// Typed arguments to words.
#include "tools/vdiag/library/typed.h"

#include <algorithm>

namespace vdiag {
namespace {

using libvdiag::Argument;

bool refuse(const Field& field, const std::string& why, std::string* error) {
    *error = std::string(field.name) + ": " + why;
    return false;
}

bool group_words(const Field& field, const libvdiag::Value& value, std::vector<std::string>* words,
                 std::string* error) {
    if (const auto* names = std::get_if<libvdiag::Names>(&value); names != nullptr && field.type == FieldType::kKeys) {
        words->insert(words->end(), names->begin(), names->end());
        return true;
    }
    const auto* pairs = std::get_if<libvdiag::Pairs>(&value);
    if (pairs == nullptr || field.type != FieldType::kPairs) {
        return refuse(field, field.type == FieldType::kKeys ? "no list of names" : "no pairs of name and value", error);
    }
    for (const auto& [name, text] : *pairs) {
        if (name.empty() || name.find('=') != std::string::npos) {
            return refuse(field, "a name is empty or has '='", error);
        }
        std::string word = name;
        words->push_back(word.append("=").append(text));
    }
    return true;
}

bool one_word(const Field& field, const libvdiag::Value& value, std::vector<std::string>* words, std::string* error) {
    const bool as_bytes = field.type == FieldType::kBytes || field.type == FieldType::kMac;
    if (const auto* number = std::get_if<int64_t>(&value)) {
        words->push_back(std::to_string(*number));
    } else if (const auto* bytes = std::get_if<libvdiag::Bytes>(&value)) {
        words->push_back((as_bytes ? "" : "hex:") + hex_text(*bytes));
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        if (text->starts_with("hex:") || text->starts_with("text:")) {
            return refuse(field, "a text that begins with hex: or text: is given as bytes", error);
        }
        words->push_back(*text);
    } else {
        return refuse(field, "neither a number, nor a text, nor bytes", error);
    }
    return true;
}

// The argument for a field: the one with its name, else the next without a name. Null: there is none.
const Argument* take(const Field& field, const std::vector<Argument>& arguments, size_t* next) {
    for (const Argument& argument : arguments) {
        if (!argument.name.empty() && equal_names(argument.name, field.name)) {
            return &argument;
        }
    }
    const bool there = *next < arguments.size() && arguments[*next].name.empty();
    return there ? &arguments[(*next)++] : nullptr;
}

bool names_are_known(const std::vector<Field>& fields, const std::vector<Argument>& arguments, std::string* error) {
    for (const Argument& argument : arguments) {
        const auto same = [&](const Field& field) { return equal_names(field.name, argument.name); };
        if (!argument.name.empty() && std::none_of(fields.begin(), fields.end(), same)) {
            *error = "no argument '" + argument.name + "'";
            return false;
        }
    }
    return true;
}

}  // namespace

const Command* command_of_words(const std::vector<std::string>& words) {
    if (words.size() == 2 && equal_names(words[0], "ftm")) {
        return find_ftm(words[1]);
    }
    size_t used = 0;
    const Command* command = words.empty() ? nullptr : find_words(words, &used);
    return used == words.size() ? command : nullptr;
}

std::vector<Field> argument_fields(const Command& command) {
    std::vector<Field> fields;
    (void)shape_parse(command.arguments, &fields);
    std::erase_if(fields, [](const Field& field) { return field.type == FieldType::kFixed; });
    return fields;
}

bool is_group(const Field& field) { return field.type == FieldType::kKeys || field.type == FieldType::kPairs; }

bool typed_words(const Command* command, const std::vector<Argument>& arguments, std::vector<std::string>* words,
                 std::string* error) {
    const std::vector<Field> fields = command != nullptr ? argument_fields(*command) : std::vector<Field>();
    if (!names_are_known(fields, arguments, error)) {
        return false;
    }
    size_t next = 0;
    bool left_out = false;
    for (const Field& field : fields) {
        const Argument* argument = take(field, arguments, &next);
        if (argument == nullptr) {
            left_out = true;
            if (!field.optional) {
                return refuse(field, "missing (" + type_text(field) + ")", error);
            }
        } else if (left_out) {
            return refuse(field, "an argument in front of it is left out", error);
        } else if (is_group(field) ? !group_words(field, argument->value, words, error)
                                   : !one_word(field, argument->value, words, error)) {
            return false;
        }
    }
    for (; next < arguments.size() && arguments[next].name.empty(); ++next) {
        if (!one_word(Field{}, arguments[next].value, words, error)) {  // one too many, or of an unknown command
            return false;
        }
    }
    return true;
}

}  // namespace vdiag
