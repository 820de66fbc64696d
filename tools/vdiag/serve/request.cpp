// From a line of JSON to a command line, and from its outcome to a line of JSON.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/report.h"
#include "tools/vdiag/serve/serve.h"

namespace vdiag {
namespace {

using Json = nlohmann::ordered_json;

// By exit status.
constexpr const char* kClasses[] = {"done",  "failure", "usage",  "connect",    "timeout",
                                    "ended", "error",   "status", "expectation"};

struct Request {
    Json id;  // null: not known
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

bool is_bytes(const Field& field) { return field.type == FieldType::kBytes || field.type == FieldType::kMac; }

// The word that stands for a value. On a command line some beginnings have a meaning; here a text is a text.
bool word_for(const Field& field, const Json& value, std::string* word, std::string* error) {
    const std::string name = std::string(field.name) + ": ";
    if (value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string()) {
        *word = (is_bytes(field) ? "" : "hex:") + value["hex"].get<std::string>();
        return true;
    }
    if (value.is_number_integer()) {
        *word = dump(value);
        return true;
    }
    if (!value.is_string()) {
        return refuse(name + "neither a text, nor a whole number, nor {\"hex\": \"00ff\"}", error);
    }
    *word = value.get<std::string>();
    if (word->starts_with("hex:") || word->starts_with("text:")) {
        return refuse(name + "a text that begins with hex: or text: is given as {\"hex\": \"00ff\"}", error);
    }
    return true;
}

// The words of a list of names, or of pairs.
bool group_words(const Field& field, const Json& value, std::vector<std::string>* words, std::string* error) {
    const bool pairs = field.type == FieldType::kPairs;
    if (pairs ? !value.is_object() : !value.is_array()) {
        return refuse(std::string(field.name) + ": " + (pairs ? "no object of names and values" : "no list of names"),
                      error);
    }
    for (const auto& [name, item] : value.items()) {
        if (!item.is_string() || (pairs && (name.empty() || name.find('=') != std::string::npos))) {
            return refuse(std::string(field.name) + ": names and values are texts, and no name has '='", error);
        }
        words->push_back((pairs ? name + "=" : "") + item.get<std::string>());
    }
    return true;
}

bool is_group(const Field& field) { return field.type == FieldType::kKeys || field.type == FieldType::kPairs; }

bool named_words(const std::vector<Field>& fields, const Json& given, std::vector<std::string>* words,
                 std::string* error) {
    for (const auto& [name, value] : given.items()) {
        const auto same = [&wanted = name](const Field& field) { return equal_names(field.name, wanted); };
        if (std::none_of(fields.begin(), fields.end(), same)) {
            return refuse("no argument '" + name + "'", error);
        }
    }
    bool ended = false;
    for (const Field& field : fields) {
        const auto found = std::find_if(given.items().begin(), given.items().end(),
                                        [&](const auto& item) { return equal_names(item.key(), field.name); });
        if (found == given.items().end()) {
            ended = true;
            if (!field.optional) {
                return refuse(std::string(field.name) + ": missing (" + type_text(field) + ")", error);
            }
            continue;
        }
        std::string word;
        if (ended) {
            return refuse(std::string(field.name) + ": an argument in front of it is left out", error);
        }
        if (is_group(field) ? !group_words(field, (*found).value(), words, error)
                            : !word_for(field, (*found).value(), &word, error)) {
            return false;
        }
        if (!is_group(field)) {
            words->push_back(word);
        }
    }
    return true;
}

bool listed_words(const std::vector<Field>& fields, const Json& given, std::vector<std::string>* words,
                  std::string* error) {
    for (size_t i = 0; i < given.size(); ++i) {
        const Field none;
        const bool known = i < fields.size() && !is_group(fields[i]);
        std::string word;
        if (!word_for(known ? fields[i] : none, given[i], &word, error)) {
            return false;
        }
        words->push_back(word);
    }
    return true;
}

const Command* command_of(const std::vector<std::string>& words) {
    size_t used = 0;
    if (words.size() == 2 && equal_names(words[0], "ftm")) {
        return find_ftm(words[1]);
    }
    const Command* command = find_words(words, &used);
    return used == words.size() ? command : nullptr;
}

bool take_arguments(const Json& given, Request* request, std::string* error) {
    std::vector<std::string>* words = &request->invocation.words;
    std::vector<Field> fields;
    const Command* command = command_of(*words);
    if (command != nullptr) {
        (void)shape_parse(command->arguments, &fields);
        std::erase_if(fields, [](const Field& field) { return field.type == FieldType::kFixed; });
    }
    if (given.is_array()) {
        return listed_words(fields, given, words, error);
    }
    if (!given.is_object()) {
        return refuse("\"arguments\" is neither a list nor an object", error);
    }
    return command != nullptr ? named_words(fields, given, words, error)
                              : refuse("only the arguments of the catalogue's commands have names", error);
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
    request->id = *id;
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

std::string head(const Json& id, int exit_status, const std::string& text) {
    std::string out = "{\"id\":" + dump(id) + ",\"class\":\"" + kClasses[exit_status] + "\"";
    return text.empty() ? out : out + ",\"text\":" + dump(text);
}

std::string failure_record(const Json& id, const Failure& failure) {
    return head(id, failure.exit_status, failure.text) + ",\"ok\":false}\n";
}

// The member's own braces and line end make room for the head.
std::string answer_record(const Json& id, const Answer& answer) {
    Style style;
    style.json = true;
    style.raw = answer.title == "raw";
    return head(id, exit_status_of(answer), complaint(answer)) + "," + report_answer(answer, style).substr(1);
}

}  // namespace

std::string serve_refusal(const std::string& text) { return failure_record(Json(), {kExitUsage, text}); }

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
