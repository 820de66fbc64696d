// Answer bytes to named values. The bytes come from outside: every read is within the packet, and what cannot be read
// is said and kept.
#include <algorithm>

#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/catalogue/special.h"

namespace vdiag {
namespace {

constexpr uint8_t kSubsystemDispatch = 75;
constexpr size_t kSubsystemHead = 4;

struct ErrorName {
    uint8_t code;
    const char* name;
};

constexpr ErrorName kErrorNames[] = {
    {19, "bad command: nobody on the phone serves it"},
    {20, "bad parameters"},
    {21, "bad length"},
    {22, "bad device"},
    {24, "bad mode: not allowed in the phone's present mode"},
    {66, "locked: the service programming code is missing"},
};

// Reads a packet from front to back.
struct Reader {
    const Bytes& packet;
    size_t at;

    size_t left() const { return packet.size() - at; }
    const uint8_t* data() const { return packet.data() + at; }
    std::string_view text(size_t size) const { return {reinterpret_cast<const char*>(data()), size}; }
    uint64_t number(size_t size) {
        uint64_t value = 0;
        for (size_t i = 0; i < size; ++i) {
            value |= static_cast<uint64_t>(packet[at + i]) << (8 * i);
        }
        at += size;
        return value;
    }
};

bool cut(const Field& field, std::string* fault) {
    *fault = "the answer ends before " + std::string(field.name.empty() ? "its end" : field.name);
    return false;
}

Value text_value(std::string_view name, std::string_view text) {
    Value value;
    value.name = name;
    value.kind = Value::Kind::kText;
    value.text = text;
    return value;
}

Value bytes_value(std::string_view name, const uint8_t* data, size_t size) {
    Value value;
    value.name = name;
    value.kind = Value::Kind::kBytes;
    value.bytes.assign(data, data + size);
    return value;
}

Value number_value(const Field& field, uint64_t number) {
    Value value;
    value.name = field.name;
    value.text = word_of(field, number);
    value.number = field.type == FieldType::kSigned ? static_cast<int32_t>(static_cast<uint32_t>(number))
                                                    : static_cast<int64_t>(number);
    return value;
}

Value char_value(const Field& field, uint8_t byte) {
    if (byte > 0x20 && byte < 0x7F) {
        return text_value(field.name, std::string(1, static_cast<char>(byte)));
    }
    return number_value(field, byte);
}

// A text in a field of `size` bytes, or up to its zero byte; `reader` moves behind field or zero byte.
Value take_text(const Field& field, size_t size, Reader* reader) {
    const std::string_view all = reader->text(size > 0 ? size : reader->left());
    const size_t length = std::min(all.find('\0'), all.size());
    Value value = text_value(field.name, all.substr(0, length));
    reader->at += size > 0 ? size : std::min(length + 1, all.size());
    return value;
}

// A length of `width` bytes and that many bytes, as a text.
bool take_counted(const Field& field, size_t width, Reader* reader, Answer* answer) {
    if (reader->left() < width) {
        return cut(field, &answer->fault);
    }
    const size_t start = reader->at;
    const auto size = static_cast<size_t>(reader->number(width));
    if (size > reader->left()) {
        reader->at = start;
        return cut(field, &answer->fault);
    }
    answer->values.push_back(text_value(field.name, reader->text(size)));
    reader->at += size;
    return true;
}

bool take_records(const Field& field, Reader* reader, Answer* answer) {
    if (reader->left() < 2) {
        return cut(field, &answer->fault);
    }
    const auto count = static_cast<size_t>(reader->number(2));
    for (size_t i = 0; i < count; ++i) {
        Answer group;
        const size_t start = reader->at;
        const bool named = take_counted(field, 1, reader, &group);
        if (!named || !take_counted(field, 1, reader, &group)) {
            reader->at = start;
            answer->fault = "the answer ends in value " + std::to_string(i + 1) + " of " + std::to_string(count);
            return false;
        }
        Value value = text_value(group.values[0].text, group.values[1].text);
        value.record = true;
        answer->values.push_back(std::move(value));
    }
    return true;
}

// Bytes that mean nothing; those that are not zero stay visible.
void skip(size_t size, Reader* reader, Answer* answer) {
    const auto begin = reader->packet.begin() + static_cast<std::ptrdiff_t>(reader->at);
    auto end = begin + static_cast<std::ptrdiff_t>(size);
    while (end != begin && end[-1] == 0) {
        --end;
    }
    answer->rest.insert(answer->rest.end(), begin, end);
    reader->at += size;
}

bool take_field(const Field& field, Reader* reader, Answer* answer) {
    const bool open_end = field.size == 0;
    if (field.type != FieldType::kCounted && field.size > reader->left()) {
        return cut(field, &answer->fault);
    }
    switch (field.type) {
        case FieldType::kUnsigned:
        case FieldType::kSigned:
            answer->values.push_back(number_value(field, reader->number(field.size)));
            return true;
        case FieldType::kChar:
            answer->values.push_back(char_value(field, reader->packet[reader->at++]));
            return true;
        case FieldType::kText:
            answer->values.push_back(take_text(field, field.size, reader));
            return true;
        case FieldType::kCounted:
            return take_counted(field, 1, reader, answer);
        case FieldType::kLong:
            return take_counted(field, 2, reader, answer);
        case FieldType::kRecords:
            return take_records(field, reader, answer);
        case FieldType::kSkip:
            skip(open_end ? reader->left() : field.size, reader, answer);
            return true;
        default:
            break;
    }
    const size_t size = open_end ? reader->left() : field.size;
    answer->values.push_back(bytes_value(field.name, reader->data(), size));
    answer->values.back().address = field.type == FieldType::kMac;
    reader->at += size;
    return true;
}

void take_status(const Command& command, Answer* answer) {
    const Value* status = answer->find("status");
    if (status == nullptr) {
        return;
    }
    answer->status = status_of(command, status->number);
    std::erase_if(answer->values, [](const Value& value) { return value.name == "status" && !value.record; });
}

bool all_zero(const uint8_t* data, size_t size) {
    return std::all_of(data, data + size, [](uint8_t byte) { return byte == 0; });
}

// A failed command's message: a text in the place of the fields, or nothing. A single byte is no text where a number
// would stand.
void take_failure_text(bool texts, size_t width, Reader* reader, Answer* answer) {
    Field message;
    message.name = "message";
    const std::string_view text = reader->text(reader->left());
    const std::string_view words = text.substr(0, text.find('\0'));
    const std::string_view shown = words.substr(0, words.find_last_not_of('\n') + 1);
    if (!words.empty() && (texts || (words.size() > 1 && is_printable(shown)))) {
        answer->values.push_back(take_text(message, 0, reader));
    } else {
        reader->at += std::min(width, reader->left());
    }
}

// Status byte, message fields, padding.
void decode_ftm(const Command& command, std::vector<Field>* fields, Reader* reader, Answer* answer) {
    if (reader->left() == 0) {
        answer->fault = "the answer ends before status";
        return;
    }
    answer->status = status_of(command, static_cast<int64_t>(reader->number(1)));
    const bool told = !fields->empty() && fields->front().always && !all_zero(reader->data(), reader->left());
    if (!answer->status->success && !told) {
        const bool texts = !fields->empty() && fields->front().type == FieldType::kText;
        take_failure_text(texts, fields->empty() ? 0 : fields->front().size, reader, answer);
        fields->clear();
    }
    fields->emplace_back();
}

// What a failed command left unwritten is no value.
void drop_unwritten(const std::vector<Field>& fields, Answer* answer) {
    std::erase_if(answer->values, [&](const Value& value) {
        return !value.record && std::any_of(fields.begin(), fields.end(), [&](const Field& field) {
            return field.name == value.name && !field.always;
        });
    });
}

void decode_fields(const Command& command, Reader* reader, Answer* answer) {
    std::vector<Field> fields;
    (void)shape_parse(command.answer, &fields);  // a test holds that every row is well-formed
    if (is_ftm(command)) {
        decode_ftm(command, &fields, reader, answer);
    }
    for (const Field& field : fields) {
        if (!answer->fault.empty() || !take_field(field, reader, answer)) {
            break;
        }
    }
    if (!is_ftm(command)) {
        take_status(command, answer);
    }
    if (answer->status && !answer->status->success) {
        drop_unwritten(fields, answer);
    }
    answer->rest.insert(answer->rest.end(), reader->data(), reader->data() + reader->left());
}

}  // namespace

std::string Value::plain() const {
    switch (kind) {
        case Kind::kNumber:
            return std::to_string(number);
        case Kind::kText:
            return printable(text);
        case Kind::kBytes:
            break;
    }
    return hex_text(bytes, address ? ":" : "");
}

const Value* Answer::find(std::string_view name) const {
    for (const Value& value : values) {
        if (equal_names(value.name, name)) {
            return &value;
        }
    }
    return nullptr;
}

bool is_error_code(uint8_t code) { return *error_name(code) != '\0'; }

const char* error_name(uint8_t code) {
    for (const ErrorName& error : kErrorNames) {
        if (error.code == code) {
            return error.name;
        }
    }
    return "";
}

Match match_answer(const Bytes& request, const Command* command, const Bytes& packet) {
    if (request.empty() || packet.empty()) {
        return Match::kForeign;
    }
    const bool subsystem = request[0] == kSubsystemDispatch;
    Bytes head(request.begin(),
               request.begin() + static_cast<std::ptrdiff_t>(subsystem ? std::min(kSubsystemHead, request.size()) : 1));
    if (command != nullptr) {
        head = answer_head(*command);
    }
    if (begins_with(packet, head)) {
        return Match::kAnswer;
    }
    const Bytes echo(packet.begin() + 1, packet.end());
    const bool ours = begins_with(request, echo) || begins_with(echo, request);
    return is_error_code(packet[0]) && ours ? Match::kError : Match::kForeign;
}

Answer decode_answer(const Bytes& request, const Bytes& response, const Command* command) {
    Answer answer;
    answer.command = command;
    answer.request = request;
    answer.response = response;
    if (match_answer(request, command, response) == Match::kError) {
        answer.error = ErrorAnswer{response[0], Bytes(response.begin() + 1, response.end())};
        return answer;
    }
    Reader reader{response, 0};
    if (command != nullptr) {
        reader.at = std::min(answer_head(*command).size(), response.size());
        decode_fields(*command, &reader, &answer);
        explain_special(*command, &answer);
        return answer;
    }
    const size_t head = response.empty() ? 0 : (response[0] == kSubsystemDispatch ? kSubsystemHead : 1);
    reader.at = std::min(head, response.size());
    answer.rest.assign(reader.data(), reader.data() + reader.left());
    return answer;
}

}  // namespace vdiag
