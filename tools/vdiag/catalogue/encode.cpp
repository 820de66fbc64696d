// Words to request bytes.
#include <algorithm>

#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/catalogue/shape.h"

namespace vdiag {
namespace {

struct Encoder {
    const std::vector<std::string>& words;
    size_t next = 0;
    Bytes* out;
    std::string* error;
};

void put_number(uint64_t value, size_t size, Bytes* out) {
    for (size_t i = 0; i < size; ++i) {
        out->push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

void put_text(std::string_view text, Bytes* out) { out->insert(out->end(), text.begin(), text.end()); }

bool refuse(const Field& field, const std::string& why, std::string* error) {
    *error = std::string(field.name) + ": " + why;
    return false;
}

bool encode_number(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    std::optional<uint64_t> value = number_parse(word);
    for (const auto& [name, number] : field.words) {
        if (equal_names(name, word)) {
            value = number;
        }
    }
    const uint64_t most = field.limited ? field.high : (uint64_t{1} << (8 * field.size)) - 1;
    if (!value || *value > most || (field.limited && *value < field.low)) {
        return refuse(field, "'" + word + "' is not " + type_text(field), error);
    }
    put_number(*value, field.size, out);
    return true;
}

bool encode_mac(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    std::string digits = word;
    std::replace(digits.begin(), digits.end(), '-', ':');
    const auto bytes = hex_parse(digits);
    if (!bytes || bytes->size() != field.size) {
        return refuse(field, "'" + word + "' is no address such as 00:11:22:aa:bb:cc", error);
    }
    out->insert(out->end(), bytes->begin(), bytes->end());
    return true;
}

bool encode_text(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    const bool exact = field.type == FieldType::kChars || field.type == FieldType::kChar;
    if (exact ? word.size() != field.size : (field.size > 0 && word.size() > field.size)) {
        return refuse(
            field, "'" + word + "' has " + std::to_string(word.size()) + " characters, not " + type_text(field), error);
    }
    put_text(word, out);
    if (field.type == FieldType::kText) {
        out->push_back(0);
    }
    return true;
}

bool encode_counted(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    const size_t most = field.size > 0 ? field.size : 255;
    if (word.size() > most) {
        return refuse(field, "longer than " + std::to_string(most) + " bytes", error);
    }
    out->push_back(static_cast<uint8_t>(word.size()));
    put_text(word, out);
    return true;
}

bool encode_bytes(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    Bytes bytes;
    if (word.starts_with('@')) {
        if (!file_read(word.substr(1), &bytes, error)) {
            return false;
        }
    } else if (const auto digits = bytes_parse(word)) {
        bytes = *digits;
    } else {
        return refuse(field, "'" + word + "' is neither hexadecimal, such as 00ff or 00*128, nor @FILE", error);
    }
    if (field.size > 0 && bytes.size() != field.size) {
        return refuse(field, std::to_string(bytes.size()) + " bytes, not " + std::to_string(field.size), error);
    }
    out->insert(out->end(), bytes.begin(), bytes.end());
    return true;
}

bool put_group(const Field& field, std::string_view text, Bytes* out, std::string* error) {
    if (text.size() > 255) {
        return refuse(field, "a name or value is longer than 255 bytes", error);
    }
    out->push_back(static_cast<uint8_t>(text.size()));
    put_text(text, out);
    return true;
}

// Total length, group count and the groups of the factory information store.
bool encode_groups(const Field& field, Encoder* encoder) {
    constexpr size_t kHeadSize = 10;  // header, total length, group count
    Bytes groups;
    size_t count = 0;
    for (; encoder->next < encoder->words.size(); ++encoder->next, ++count) {
        const std::string_view word = encoder->words[encoder->next];
        const size_t equals = word.find('=');
        const bool pairs = field.type == FieldType::kPairs;
        if (pairs && (equals == std::string_view::npos || equals == 0)) {
            return refuse(field, "'" + std::string(word) + "' is not NAME=VALUE", encoder->error);
        }
        if (!put_group(field, pairs ? word.substr(0, equals) : word, &groups, encoder->error) ||
            (pairs && !put_group(field, word.substr(equals + 1), &groups, encoder->error))) {
            return false;
        }
    }
    if (count == 0) {
        return refuse(field, "missing", encoder->error);
    }
    put_number(kHeadSize + groups.size(), 4, encoder->out);
    put_number(count, 2, encoder->out);
    encoder->out->insert(encoder->out->end(), groups.begin(), groups.end());
    return true;
}

// "hex:" and "text:" in front of a word: its bytes as they are. False: the digits are no hexadecimal.
bool encode_verbatim(const std::string& word, bool* verbatim, Bytes* out) {
    *verbatim = true;
    if (word.starts_with("hex:")) {
        const auto bytes = bytes_parse(word.substr(4));
        if (!bytes) {
            return false;
        }
        out->insert(out->end(), bytes->begin(), bytes->end());
        return true;
    }
    *verbatim = word.starts_with("text:");
    if (*verbatim) {
        put_text(word.substr(5), out);
    }
    return true;
}

bool encode_word(const Field& field, const std::string& word, Bytes* out, std::string* error) {
    bool verbatim = false;
    if (!encode_verbatim(word, &verbatim, out)) {
        return refuse(field, "'" + word + "' is no hexadecimal", error);
    }
    if (verbatim) {
        return true;
    }
    switch (field.type) {
        case FieldType::kUnsigned:
            return encode_number(field, word, out, error);
        case FieldType::kMac:
            return encode_mac(field, word, out, error);
        case FieldType::kCounted:
            return encode_counted(field, word, out, error);
        case FieldType::kBytes:
            return encode_bytes(field, word, out, error);
        default:
            return encode_text(field, word, out, error);
    }
}

bool encode_field(const Field& field, Encoder* encoder) {
    if (field.type == FieldType::kFixed) {
        encoder->out->insert(encoder->out->end(), field.fixed.begin(), field.fixed.end());
        return true;
    }
    if (field.type == FieldType::kKeys || field.type == FieldType::kPairs) {
        return encode_groups(field, encoder);
    }
    if (encoder->next == encoder->words.size()) {
        return field.optional || refuse(field, "missing (" + type_text(field) + ")", encoder->error);
    }
    return encode_word(field, encoder->words[encoder->next++], encoder->out, encoder->error);
}

}  // namespace

bool encode_request(const Command& command, const std::vector<std::string>& arguments, Bytes* request,
                    std::string* error) {
    *request = request_head(command);
    std::vector<Field> fields;
    if (!shape_parse(command.arguments, &fields)) {
        *error = "the catalogue's row is malformed";
        return false;
    }
    Encoder encoder{arguments, 0, request, error};
    for (const Field& field : fields) {
        if (!encode_field(field, &encoder)) {
            return false;
        }
    }
    if (encoder.next < arguments.size()) {
        *error = "'" + arguments[encoder.next] + "' is one argument too many";
        return false;
    }
    return true;
}

bool encode_free(const std::vector<std::string>& arguments, Bytes* out, std::string* error) {
    for (const std::string& word : arguments) {
        bool verbatim = false;
        if (!encode_verbatim(word, &verbatim, out)) {
            *error = "'" + word + "' is no hexadecimal";
            return false;
        }
        if (!verbatim) {
            put_text(word, out);
            out->push_back(0);
        }
    }
    return true;
}

}  // namespace vdiag
