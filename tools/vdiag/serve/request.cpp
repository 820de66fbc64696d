// From a line of JSON to a command line, and from its outcome to a line of JSON.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/vdiag/library/typed.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/report.h"
#include "tools/vdiag/serve/serve.h"

namespace vdiag {
namespace {

using Json = nlohmann::ordered_json;

struct Request {
    std::string id = "null";  // as JSON; null: not known
    Invocation invocation;
    std::string timeout;
    bool catalogue = false;
};

bool refuse(const std::string& text, std::string* error) {
    *error = text;
    return false;
}

std::string dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// ---- Arguments

// A list of texts, or an object of them.
bool group_of(const Json& value, libvdiag::Value* out) {
    const bool texts = std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_string(); });
    if (value.is_array() && texts) {
        *out = value.get<libvdiag::Names>();
    } else if (value.is_object() && texts) {
        libvdiag::Pairs pairs;
        for (const auto& [name, text] : value.items()) {
            pairs.emplace_back(name, text.get<std::string>());
        }
        *out = pairs;
    }
    return texts && value.is_structured();
}

bool value_of(const Json& value, bool group, libvdiag::Value* out) {
    if (group && value.is_structured()) {
        return group_of(value, out);
    }
    if (value.is_number_integer()) {
        *out = value.get<int64_t>();
        return !value.is_number_unsigned() || value.get<uint64_t>() <= INT64_MAX;
    }
    if (value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string()) {
        const auto bytes = hex_parse(value["hex"].get_ref<const std::string&>());
        *out = bytes.value_or(Bytes());
        return bytes.has_value();
    }
    if (value.is_string()) {
        *out = value.get<std::string>();
    }
    return value.is_string();
}

// Whether a list or an object is wanted for an argument, by its name or its place.
bool wants_group(const std::vector<Field>& fields, const std::string& name, size_t place) {
    const auto named = [&](const Field& field) { return equal_names(field.name, name); };
    const auto found = name.empty() ? fields.begin() + static_cast<std::ptrdiff_t>(std::min(place, fields.size()))
                                    : std::find_if(fields.begin(), fields.end(), named);
    return found != fields.end() && is_group(*found);
}

bool take_arguments(const Json& given, Request* request, std::string* error) {
    std::vector<std::string>* words = &request->invocation.words;
    const Command* command = command_of_words(*words);
    const std::vector<Field> fields = command != nullptr ? argument_fields(*command) : std::vector<Field>();
    if (!given.is_structured()) {
        return refuse("\"arguments\" is neither a list nor an object", error);
    }
    std::vector<libvdiag::Argument> arguments;
    for (const auto& [key, value] : given.items()) {
        const std::string name = given.is_object() ? key : "";
        libvdiag::Argument argument(name, libvdiag::Value());
        if (!value_of(value, wants_group(fields, name, arguments.size()), &argument.value)) {
            return refuse(
                "argument " + key + ": no text, whole number, {\"hex\": \"00ff\"}, or list or object of texts", error);
        }
        arguments.push_back(std::move(argument));
    }
    return typed_words(command, arguments, words, error);
}

// ---- Options

bool take_option(const std::string& name, const Json& value, Invocation* invocation, std::string* error) {
    for (const OptionRow& row : option_rows()) {
        const std::vector<std::string_view> names = split(row.names, ',');
        if (row.verbs == nullptr || names.back() != "--" + name) {
            continue;
        }
        if (row.flag != nullptr && value.is_boolean()) {
            invocation->*row.flag = value.get<bool>();
            return true;
        }
        if (row.flag == nullptr && value.is_string()) {
            invocation->*row.text = value.get<std::string>();
            return true;
        }
    }
    return refuse("no option '" + name + "' of a command with such a value", error);
}

bool take_member(const std::string& name, const Json& value, Request* request, std::string* error) {
    if (name == "options" && value.is_object()) {
        return std::all_of(value.items().begin(), value.items().end(), [&](const auto& item) {
            return take_option(item.key(), item.value(), &request->invocation, error);
        });
    }
    if (name == "timeout" && value.is_string() && milliseconds_parse(value.get<std::string>())) {
        request->timeout = value.get<std::string>();
        return true;
    }
    if (name == "ask" && value == "catalogue") {
        request->catalogue = true;
        return true;
    }
    if (name == "command" && value.is_string()) {
        for (const std::string_view word : split(value.get_ref<const std::string&>(), ' ')) {
            request->invocation.words.emplace_back(word);
        }
        return true;
    }
    return name == "id" || name == "arguments" ||
           refuse("\"" + name + "\" is no member of a request, or has a wrong value", error);
}

bool parse_request(std::string_view line, Request* request, std::string* error) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) {
        return refuse("the line is no JSON object", error);
    }
    const auto id = json.find("id");
    if (id == json.end() || !(id->is_string() || id->is_number_integer())) {
        return refuse("\"id\" is neither a text nor a whole number", error);
    }
    request->id = dump(*id);
    for (const auto& [name, value] : json.items()) {
        if (!take_member(name, value, request, error)) {
            return false;
        }
    }
    if (request->catalogue == !request->invocation.words.empty()) {
        return refuse("one of \"command\" and \"ask\" is wanted", error);
    }
    const auto arguments = json.find("arguments");
    return arguments == json.end() || take_arguments(*arguments, request, error);
}

// ---- Records

std::string head(const std::string& id, int exit_status, const std::string& text) {
    std::string out = "{\"id\":" + id + ",\"class\":\"" + exit_class(exit_status) + "\"";
    return text.empty() ? out : out + ",\"text\":" + dump(text);
}

std::string failure_record(const std::string& id, const Failure& failure) {
    return head(id, failure.exit_status, failure.text) + ",\"ok\":false}\n";
}

// The member's own braces and line end make room for the head.
std::string answer_record(const std::string& id, const Answer& answer) {
    Style style;
    style.json = true;
    style.raw = answer.title == "raw";
    return head(id, exit_status_of(answer), complaint(answer)) + "," + report_answer(answer, style).substr(1);
}

}  // namespace

std::string serve_refusal(const std::string& text) { return failure_record("null", {kExitUsage, text}); }

std::string serve_request(Session* session, std::string_view line) {
    Request request;
    Failure failure{kExitUsage, ""};
    if (!parse_request(line, &request, &failure.text)) {
        return failure_record(request.id, failure);
    }
    if (request.catalogue) {
        return head(request.id, kExitDone, "") + ",\"ok\":true," + catalogue_members() + "}\n";
    }
    const int usual = session->timeout_ms;
    session->timeout_ms = milliseconds_parse(request.timeout).value_or(usual);
    Answer answer;
    failure = Failure{};
    const bool answered = perform(session, request.invocation, &answer, &failure);
    session->timeout_ms = usual;
    return answered ? answer_record(request.id, answer) : failure_record(request.id, failure);
}

}  // namespace vdiag
