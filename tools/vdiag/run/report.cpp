// Answers for people and as JSON.
#include "tools/vdiag/run/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/vdiag/words/message.h"

namespace vdiag {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kGreen = "\033[32m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kPlain = "\033[0m";

std::string paint(const std::string& text, const char* colour, const Style& style) {
    return style.colour ? colour + text + kPlain : text;
}

// A text that is no UTF-8 is given as an object with its bytes.
Json json_text(const std::string& text) {
    if (is_utf8(text)) {
        return text;
    }
    return {{"hex", hex_text(Bytes(text.begin(), text.end()))}};
}

Json json_value(const Value& value) {
    if (value.kind == Value::Kind::kText) {
        return json_text(value.text);
    }
    if (value.kind == Value::Kind::kBytes) {
        return value.plain();
    }
    return value.text.empty() ? Json(value.number) : Json(value.text);
}

std::string json_name(const std::string& name) { return is_utf8(name) ? name : printable(name); }

// A name that occurs more than once holds a list.
void add_value(const Value& value, Json* object) {
    const std::string name = json_name(value.name);
    if (!object->contains(name)) {
        (*object)[name] = json_value(value);
        return;
    }
    Json& present = (*object)[name];
    if (!present.is_array()) {
        present = Json::array({present});
    }
    present.push_back(json_value(value));
}

Json json_values(const Answer& answer) {
    Json fields = Json::object();
    for (const Value& value : answer.values) {
        if (!value.record) {
            add_value(value, &fields);
        }
    }
    for (const Value& value : answer.values) {
        if (value.record) {
            add_value(value, &fields["values"]);
        }
    }
    return fields;
}

std::string report_json(const Answer& answer, const Style& style) {
    Json object;
    object["command"] = answer.title;
    object["ok"] = answer.good();
    if (answer.error) {
        object["error"] = {{"code", answer.error->code},
                           {"name", error_name(answer.error->code)},
                           {"request", hex_text(answer.error->echo)}};
    }
    if (answer.status) {
        object["status"] = answer.status->value;
        object["status_text"] = std::string(answer.status->text);
    }
    if (!answer.error && !style.raw) {
        object["fields"] = json_values(answer);
    }
    if (!answer.rest.empty() && !style.raw) {
        object["rest"] = hex_text(answer.rest);
    }
    if (!answer.fault.empty()) {
        object["fault"] = answer.fault;
    }
    if (style.hex || style.raw) {
        object["request_hex"] = hex_text(answer.request);
        object["answer_hex"] = hex_text(answer.response);
    }
    return object.dump(-1, ' ', true) + "\n";
}

std::string status_text(const Answer& answer, const Style& style) {
    if (answer.error) {
        return paint("error " + std::to_string(answer.error->code) + ", " + error_name(answer.error->code), kRed,
                     style);
    }
    if (!answer.status) {
        return paint("answered", kGreen, style);
    }
    const Status& status = *answer.status;
    const std::string number = "status " + std::to_string(status.value);
    const std::string text = number + (status.text.empty() ? "" : ", " + std::string(status.text));
    return paint(text, status.success ? kGreen : kRed, style);
}

std::string value_text(const Value& value) {
    if (value.kind == Value::Kind::kNumber && !value.text.empty()) {
        return value.plain() + " (" + value.text + ")";
    }
    if (value.kind != Value::Kind::kText || value.text.find('\n') == std::string::npos) {
        return value.plain();
    }
    // A text of several lines keeps them, when nothing but its line ends is unprintable.
    std::string out;
    for (const std::string_view line : split(value.text, '\n')) {
        if (!is_printable(line)) {
            return value.plain();
        }
        out += (out.empty() ? "" : "\n    ") + std::string(line);
    }
    return out.empty() ? value.plain() : out;
}

std::string hex_lines(const char* head, const Bytes& bytes, const Style& style) {
    constexpr size_t kPerLine = 32;
    size_t end = bytes.size();
    while (end > kPerLine && bytes[end - 1] == 0) {
        --end;
    }
    std::string out;
    for (size_t at = 0; at < end; at += kPerLine) {
        out += paint(at == 0 ? head : "  ", kDim, style);
        out += hex_text(bytes.data() + at, std::min(kPerLine, end - at), " ") + "\n";
    }
    if (end < bytes.size()) {
        out += "  and " + std::to_string(bytes.size() - end) + " zero bytes\n";
    }
    return out;
}

std::string report_text(const Answer& answer, const Style& style) {
    if (style.raw) {
        return hex_text(answer.response, " ") + "\n";
    }
    std::string out = style.hex ? hex_lines("> ", answer.request, style) + hex_lines("< ", answer.response, style) : "";
    out += answer.title + ": " + status_text(answer, style) + "\n";
    size_t width = 0;
    for (const Value& value : answer.values) {
        width = std::max(width, value.name.size());
    }
    for (const Value& value : answer.values) {
        const std::string name = printable(value.name);
        out += "  " + name + std::string(width - std::min(width, name.size()) + 2, ' ') + value_text(value) + "\n";
    }
    if (answer.error) {
        out += "  request  " + hex_text(answer.error->echo, " ") + "\n";
    }
    if (!answer.rest.empty()) {
        out += "  rest  " + hex_text(answer.rest, " ") + "\n";
    }
    return out;
}

}  // namespace

std::string report_answer(const Answer& answer, const Style& style) {
    return style.json ? report_json(answer, style) : report_text(answer, style);
}

std::string complaint(const Answer& answer) {
    if (answer.error) {
        return answer.title + ": the phone refused the request with error " + std::to_string(answer.error->code) +
               " (" + error_name(answer.error->code) + "), request " + hex_text(answer.error->echo, " ");
    }
    if (!answer.fault.empty()) {
        return answer.title + ": malformed answer: " + answer.fault;
    }
    if (answer.status && !answer.status->success) {
        return answer.title + ": status " + std::to_string(answer.status->value) +
               (answer.status->text.empty() ? "" : ": " + std::string(answer.status->text));
    }
    return "";
}

const char* exit_class(int exit_status) {
    static constexpr const char* kClasses[] = {"done",  "failure", "usage",  "connect",    "timeout",
                                               "ended", "error",   "status", "expectation"};
    return exit_status >= 0 && exit_status < static_cast<int>(std::size(kClasses)) ? kClasses[exit_status] : "aborted";
}

int exit_status_of(const Answer& answer) {
    if (answer.error) {
        return kExitErrorAnswer;
    }
    if (!answer.fault.empty()) {
        return kExitEnded;
    }
    return answer.status && !answer.status->success ? kExitStatus : kExitDone;
}

}  // namespace vdiag
