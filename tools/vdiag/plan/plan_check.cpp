// Checks of a plan's steps: variables, requests, fields of the answers, the values that are expected of them.
#include "tools/vdiag/plan/plan_check.h"

#include <regex.h>

#include <algorithm>
#include <optional>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/plan/secret.h"

namespace vdiag {
namespace {

bool refuse(const std::string& text, std::string* error) {
    *error = text;
    return false;
}

bool check_variables(const PlanStep& step, PlanCheck* check, std::string* error) {
    std::vector<std::string> texts = step.words;
    for (const Condition& condition : step.conditions) {
        texts.push_back(condition.value);
    }
    for (const Measure& measure : step.measures) {
        texts.insert(texts.end(), {measure.low, measure.high});
    }
    for (const std::string& text : texts) {
        for (const std::string& name : variables_in(text)) {
            check->names.insert(name);
            if (!check->values.contains(name) && !check->kept.contains(name)) {
                return refuse("nobody has set $" + name, error);
            }
        }
    }
    return true;
}

// A text with its variables' values. False: one of them comes from a phone.
bool known_text(const std::string& text, const PlanCheck& check, std::string* out) {
    std::string unknown;
    return substitute(text, check.values, out, &unknown);
}

bool check_regex(const std::string& pattern, std::string* error) {
    regex_t compiled;
    if (regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        return refuse("'" + pattern + "' is no regular expression", error);
    }
    regfree(&compiled);
    return true;
}

// The fields that the answer to a request can have.
struct Answerable {
    std::vector<Field> fields;
    bool records = false;            // and what stands in its lists:
    std::vector<std::string> names;  // these, or any when empty
};

Field plain_field(std::string_view name, FieldType type, size_t size) {
    Field field;
    field.name = name;
    field.type = type;
    field.size = size;
    return field;
}

Answerable answerable_of(const Asked& asked, const std::vector<std::string>& words, bool known) {
    Answerable out;
    if (asked.command != nullptr) {
        out.fields = answer_fields(*asked.command);
    } else if (asked.task != nullptr) {
        (void)shape_parse("status:u8", &out.fields);
        (void)shape_parse(asked.task->answer, &out.fields);
    }
    out.records = std::any_of(out.fields.begin(), out.fields.end(),
                              [](const Field& field) { return field.type == FieldType::kRecords; });
    if (known && asked.words > 0) {
        out.names.assign(words.begin() + static_cast<std::ptrdiff_t>(std::min(asked.words, words.size())), words.end());
    }
    if (asked.task != nullptr || (asked.command != nullptr && is_ftm(*asked.command))) {
        out.fields.push_back(plain_field("message", FieldType::kText, 0));
    }
    out.fields.push_back(plain_field("error", FieldType::kUnsigned, 1));
    out.fields.push_back(plain_field("rest", FieldType::kBytes, 0));
    out.fields.push_back(plain_field("answer", FieldType::kBytes, 0));
    return out;
}

// The field of that name. False: the answer has none; `error` names those it has.
bool find_field(const Answerable& answer, const std::string& name, Field* out, std::string* error) {
    std::vector<std::string> names;
    for (const Field& field : answer.fields) {
        if (!field.name.empty() && equal_names(field.name, name)) {
            *out = field;
            return true;
        }
        if (!field.name.empty()) {
            names.emplace_back(field.name);
        }
    }
    *out = plain_field(name, FieldType::kText, 0);
    const auto asked_for = [&](const std::string& key) { return equal_names(key, name); };
    if (answer.records && (answer.names.empty() || std::any_of(answer.names.begin(), answer.names.end(), asked_for))) {
        return true;
    }
    const std::string best = nearest(name, names);
    return refuse("the answer has no field '" + name + "'" + (best.empty() ? "" : "; did you mean '" + best + "'?"),
                  error);
}

bool is_number(const Field& field) { return field.type == FieldType::kUnsigned || field.type == FieldType::kSigned; }

bool number_fits(const Field& field, std::string_view text) {
    const bool minus = text.starts_with('-');
    text.remove_prefix(minus ? 1 : 0);
    const auto number = number_parse(text);
    const uint64_t most = (uint64_t{1} << (8 * field.size - (field.type == FieldType::kSigned ? 1 : 0))) - 1;
    return number && *number <= most + (minus ? 1 : 0) && (!minus || field.type == FieldType::kSigned);
}

// Whether a field can be equal to a value at all.
bool can_be(const Field& field, const std::string& value) {
    if (is_number(field)) {
        const bool word = std::any_of(field.words.begin(), field.words.end(),
                                      [&](const auto& named) { return equal_names(named.first, value); });
        return word || number_fits(field, value);
    }
    if (field.type == FieldType::kBytes || field.type == FieldType::kMac) {
        const auto bytes = bytes_parse(value);
        return bytes && (field.size == 0 || bytes->size() == field.size);
    }
    if (field.type == FieldType::kChar) {
        return value.size() == 1 || number_parse(value).value_or(256) < 256;
    }
    const bool limited = field.type == FieldType::kText || field.type == FieldType::kCounted;
    return !limited || field.size == 0 || value.size() <= field.size;
}

bool check_value(const Condition& condition, const Field& field, const std::string& value, std::string* error) {
    if (condition.comparison.back() == '~') {
        return check_regex(value, error);
    }
    if (condition.comparison == "=" || condition.comparison == "!=") {
        return can_be(field, value) ||
               refuse(condition.field + " is never '" + value + "': it is " + type_text(field), error);
    }
    const bool bytes = field.type == FieldType::kBytes || field.type == FieldType::kMac;
    return (number_parse(value) && !bytes) ||
           refuse(condition.field + condition.comparison + value + " compares no numbers", error);
}

// Limits are numbers, the lower one first, as far as they are known.
bool check_limits(const Measure& measure, const PlanCheck& check, std::string* error) {
    std::optional<long double> limits[2];
    const std::string* const texts[] = {&measure.low, &measure.high};
    for (size_t i = 0; i < 2; ++i) {
        std::string text;
        const bool known = !texts[i]->empty() && known_text(*texts[i], check, &text);
        limits[i] = known ? decimal_parse(text) : std::nullopt;
        if (known && !limits[i]) {
            return refuse("measure " + measure.field + ": '" + text + "' is no number", error);
        }
    }
    return !limits[0] || !limits[1] || *limits[0] <= *limits[1] ||
           refuse("measure " + measure.field + ": no number lies between its limits", error);
}

bool check_measure(const PlanStep& step, const Measure& measure, const Answerable& answer, const PlanCheck& check,
                   std::string* error) {
    Field field;
    if (step.secret) {
        return refuse("a line with a secret measures nothing", error);
    }
    if (!find_field(answer, measure.field, &field, error)) {
        return false;
    }
    if (field.type == FieldType::kBytes || field.type == FieldType::kMac) {
        return refuse(measure.field + " is no number", error);
    }
    return check_limits(measure, check, error);
}

bool check_expectations(const PlanStep& step, const Answerable& answer, const PlanCheck& check, std::string* error) {
    Field field;
    for (const Condition& condition : step.conditions) {
        std::string value;
        if (!find_field(answer, condition.field, &field, error) ||
            (known_text(condition.value, check, &value) && !check_value(condition, field, value, error))) {
            return false;
        }
    }
    return std::all_of(step.measures.begin(), step.measures.end(),
                       [&](const Measure& measure) { return check_measure(step, measure, answer, check, error); }) &&
           std::all_of(step.keeps.begin(), step.keeps.end(),
                       [&](const Keep& keep) { return find_field(answer, keep.field, &field, error); });
}

// Standard input is nobody's: it would be read while the plan is checked.
bool reads_input(const Invocation& invocation) {
    const bool raw = equal_names(invocation.words[0], "raw");
    return raw && (invocation.file == "-" || (invocation.file.empty() && invocation.words.size() == 1));
}

bool check_request(const PlanStep& step, const PlanCheck& check, std::string* error) {
    std::vector<std::string> words;
    bool known = true;
    for (const std::string& word : step.words) {
        words.emplace_back();
        known = known_text(word, check, &words.back()) && known;
    }
    Invocation invocation;
    Failure failure;
    Asked asked;
    if (!invocation_parse(known ? words : step.words, LineOf::kPlan, &invocation, error)) {
        return false;
    }
    if (!perform_find(invocation, &asked, &failure)) {
        return refuse(failure.text, error);
    }
    if (reads_input(invocation)) {
        return refuse("raw: a plan reads no standard input", error);
    }
    const bool raw = asked.command == nullptr && asked.task == nullptr;
    if (known && !perform_check(invocation, &asked, &failure) && failure.exit_status == kExitUsage) {
        return refuse(failure.text, error);
    }
    if (raw && asked.command == nullptr && !known) {
        return true;  // nobody knows yet whose answer it will be
    }
    return check_expectations(step, answerable_of(asked, invocation.words, known), check, error);
}

// Notes a variable that a line sets.
bool check_set(const PlanStep& step, PlanCheck* check, std::string* error) {
    const std::string& name = step.words[1];
    const bool unless_given = step.kind == StepKind::kDefault;
    std::string value;
    if (check->secrets.contains(name) && !step.secret) {
        return refuse("$" + name + " is secret: its value does not belong into a plan", error);
    }
    if (check->given.contains(name)) {
        check->names.insert(name);
        return unless_given || refuse("$" + name + " is given on the command line, and would be lost here", error);
    }
    if (unless_given) {
        check->names.insert(name);
        if (check->values.contains(name) || check->kept.contains(name)) {
            return true;
        }
    }
    if (known_text(step.words[2], *check, &value)) {
        check->kept.erase(name);
        check->values[name] = value;
    } else {
        check->values.erase(name);
        check->kept.insert(name);
    }
    return true;
}

// A variable that only the station can give.
bool check_require(const std::string& name, PlanCheck* check, std::string* error) {
    check->names.insert(name);
    return check->given.contains(name) || refuse("this plan wants " + name + "=VALUE", error);
}

// A short text would be found in everything that is shown.
bool check_secret(const std::string& name, const PlanCheck& check, std::string* error) {
    const auto given = check.given.find(name);
    return given == check.given.end() || given->second.size() >= kShortestSecret ||
           refuse("$" + name + " is too short to be kept secret", error);
}

// Each case begins with what stands before the first, and knows nothing of the others.
void begin_case(PlanCheck* check) {
    if (!check->in_case) {
        check->common_values = check->values;
        check->common_kept = check->kept;
    }
    check->in_case = true;
    check->values = check->common_values;
    check->kept = check->common_kept;
}

}  // namespace

bool plan_check(const PlanStep& step, PlanCheck* check, std::string* error) {
    if (step.kind == StepKind::kCase) {
        begin_case(check);
        return true;
    }
    if (!check_variables(step, check, error)) {
        return false;
    }
    if (step.kind == StepKind::kRequire) {
        return check_require(step.words[1], check, error);
    }
    if (step.kind == StepKind::kSecret) {
        return check_secret(step.words[1], *check, error);
    }
    if (step.kind == StepKind::kSet || step.kind == StepKind::kDefault) {
        return check_set(step, check, error);
    }
    if (step.kind == StepKind::kRequest && !check_request(step, *check, error)) {
        return false;
    }
    for (const Keep& keep : step.keeps) {
        if (check->given.contains(keep.name)) {
            return refuse("$" + keep.name + " is given on the command line, and would be lost here", error);
        }
        check->values.erase(keep.name);
        check->kept.insert(keep.name);
    }
    return true;
}

}  // namespace vdiag
