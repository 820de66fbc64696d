// Plans, taken apart and checked before anything is sent.
#include "tools/vdiag/plan/plan.h"

#include <regex.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

#include "tools/vdiag/plan/plan_check.h"
#include "tools/vdiag/plan/secret.h"

namespace vdiag {
namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr const char* kListName = "line";
constexpr int kShownLines = 40;  // of a list that has not the one that is wanted

bool is_name(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
    });
}

bool parse_condition(const std::string& word, Condition* condition) {
    const size_t at = word.find_first_of("=!~<>");
    if (at == std::string::npos || at == 0) {
        return false;
    }
    const bool two = at + 1 < word.size() && word[at] != '=' && word[at] != '~' &&
                     (word[at + 1] == '=' || (word[at] == '!' && word[at + 1] == '~'));
    condition->field = word.substr(0, at);
    condition->comparison = word.substr(at, two ? 2 : 1);
    condition->value = word.substr(at + (two ? 2 : 1));
    return condition->comparison != "!";
}

bool refuse(const std::string& text, std::string* error) {
    *error = text;
    return false;
}

// "keep FIELD" or "keep FIELD as NAME"; `at` stands behind "keep".
bool parse_keep(const std::vector<std::string>& words, size_t* at, PlanStep* step, std::string* error) {
    if (*at >= words.size()) {
        return refuse("keep what?", error);
    }
    Keep keep{words[*at], words[*at]};
    *at += 1;
    if (*at + 1 < words.size() && words[*at] == "as") {
        keep.name = words[*at + 1];
        *at += 2;
    }
    if (!is_name(keep.name)) {
        return refuse("'" + keep.name + "' is no name for a value", error);
    }
    step->keeps.push_back(std::move(keep));
    return true;
}

bool parse_within(const std::vector<std::string>& words, size_t* at, PlanStep* step, std::string* error) {
    const auto time = *at < words.size() ? milliseconds_parse(words[*at]) : std::nullopt;
    if (!time) {
        return refuse("within takes a time such as 5s", error);
    }
    step->within_ms = *time;
    *at += 1;
    return true;
}

// "measure FIELD [as NAME] [unit UNIT] [from LOW] [to HIGH]"; `at` stands behind "measure".
bool parse_measure(const std::vector<std::string>& words, size_t* at, PlanStep* step, std::string* error) {
    if (*at >= words.size()) {
        return refuse("measure what?", error);
    }
    Measure measure;
    measure.field = measure.name = words[(*at)++];
    const std::pair<const char*, std::string*> kParts[] = {
        {"as", &measure.name}, {"unit", &measure.unit}, {"from", &measure.low}, {"to", &measure.high}};
    for (; *at < words.size(); *at += 2) {
        const auto* const part = std::find_if(std::begin(kParts), std::end(kParts),
                                              [&](const auto& entry) { return words[*at] == entry.first; });
        if (part == std::end(kParts)) {
            break;
        }
        if (*at + 1 == words.size() || words[*at + 1].empty()) {
            return refuse("measure: nothing stands behind " + words[*at], error);
        }
        *part->second = words[*at + 1];
    }
    step->measures.push_back(std::move(measure));
    return true;
}

// The words behind "=>".
bool parse_expectations(const std::vector<std::string>& words, PlanStep* step, std::string* error) {
    for (size_t at = 0; at < words.size();) {
        const std::string& word = words[at++];
        bool good = true;
        Condition condition;
        if (word == "keep") {
            good = parse_keep(words, &at, step, error);
        } else if (word == "within") {
            good = parse_within(words, &at, step, error);
        } else if (word == "measure") {
            good = parse_measure(words, &at, step, error);
        } else if (word == "silence") {
            step->silence = true;
        } else if (parse_condition(word, &condition)) {
            step->conditions.push_back(std::move(condition));
        } else {
            good = refuse("'" + word + "' is no expectation", error);
        }
        if (!good) {
            return false;
        }
    }
    return !step->silence ||
           (step->conditions.empty() && step->keeps.empty() && step->measures.empty() && step->within_ms == 0) ||
           refuse("silence stands alone", error);
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string trimmed(const std::string& text) {
    const auto first = std::find_if_not(text.begin(), text.end(), is_blank);
    return {first, std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), is_blank).base()};
}

// The steps of a line: a semicolon between blanks stands between two, a # at the start or behind a blank begins a
// comment; neither counts inside quotes.
std::vector<std::string> steps_of(const std::string& line) {
    std::vector<std::string> steps(1);
    char quote = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool free = quote == 0 && (i == 0 || is_blank(line[i - 1]));
        if (free && c == '#') {
            break;
        }
        if (free && c == ';' && (i + 1 == line.size() || is_blank(line[i + 1]))) {
            steps.emplace_back();
            continue;
        }
        if (quote != 0 ? c == quote : c == '"' || c == '\'') {
            quote = quote != 0 ? '\0' : c;
        }
        steps.back() += c;
    }
    std::transform(steps.begin(), steps.end(), steps.begin(), trimmed);
    std::erase(steps, "");
    return steps;
}

bool take_phone_line(PlanStep* step, std::string* error) {
    step->kind = StepKind::kPhone;
    const size_t count = step->words.size() - 1;
    return (count >= step->phone->least && count <= step->phone->most) ||
           refuse(std::string("it is written: ") + step->phone->verb + " " + step->phone->usage, error);
}

bool take_directive(PlanStep* step, std::string* error) {
    const std::string verb = step->words[0];
    step->phone = find_phone_line(verb);
    const bool command = step->phone != nullptr && step->phone->most == 0 && step->words.size() > 1;  // "log start"
    if (step->phone != nullptr && !command) {
        return take_phone_line(step, error);
    }
    if (verb == "case") {
        step->kind = StepKind::kCase;
        return step->words.size() > 1 || refuse("case takes a title", error);
    }
    if (verb == "wait" || verb == "reconnect") {
        step->kind = verb == "wait" ? StepKind::kWait : StepKind::kReconnect;
        const bool timed = step->words.size() == 2 && milliseconds_parse(step->words[1]);
        return timed || refuse(verb + " takes a time such as 500ms", error);
    }
    if (verb == "require" || verb == "secret") {
        step->kind = verb == "require" ? StepKind::kRequire : StepKind::kSecret;
        return (step->words.size() == 2 && is_name(step->words[1])) || refuse(verb + " takes a name", error);
    }
    if (verb == "set" || verb == "default") {
        step->kind = verb == "set" ? StepKind::kSet : StepKind::kDefault;
        return (step->words.size() == 3 && is_name(step->words[1])) ||
               refuse(verb + " takes a name and a value", error);
    }
    return true;
}

bool parse_step(PlanStep* step, std::string* error) {
    std::vector<std::string> words;
    if (!split_words(step->text, &words, error)) {
        return false;
    }
    const auto arrow = std::find(words.begin(), words.end(), "=>");
    step->words.assign(words.begin(), arrow);
    const std::vector<std::string> behind(arrow == words.end() ? arrow : arrow + 1, words.end());
    if (step->words.empty()) {
        return refuse("nothing stands before =>", error);
    }
    return parse_expectations(behind, step, error) && take_directive(step, error);
}

// A plan is lines of UTF-8 text.
bool content_good(const std::string& content, std::string* error) {
    if (content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF")) {
        return refuse("UTF-16 text; save it as UTF-8", error);
    }
    return content.find('\0') == std::string::npos || refuse("this is no text file", error);
}

bool matches(const std::string& pattern, const std::string& text) {
    regex_t compiled;
    if (regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        return false;
    }
    const bool found = regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&compiled);
    return found;
}

bool equals(const Value& value, const std::string& wanted) {
    if (value.kind == Value::Kind::kNumber) {
        const auto number = number_parse(wanted);
        return equal_names(value.text, wanted) || value.plain() == wanted ||
               (number && value.number >= 0 && *number == static_cast<uint64_t>(value.number));
    }
    if (value.kind == Value::Kind::kBytes) {
        const auto bytes = bytes_parse(wanted);
        return bytes && *bytes == value.bytes;
    }
    return value.text == wanted || value.plain() == wanted;
}

bool compares(const Value& value, const std::string& comparison, const std::string& wanted) {
    const auto limit = number_parse(wanted);
    const auto number = value.kind == Value::Kind::kNumber ? number_parse(value.plain()) : number_parse(value.text);
    if (!limit || !number) {
        return false;
    }
    const bool equal = comparison.size() > 1 && *number == *limit;
    return equal || (comparison[0] == '<' ? *number < *limit : *number > *limit);
}

}  // namespace

bool substitute(const std::string& text, const Variables& variables, std::string* out, std::string* error) {
    out->clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '$' || i + 1 == text.size()) {
            *out += text[i];
            continue;
        }
        if (text[i + 1] == '$') {
            *out += text[++i];
            continue;
        }
        const bool braces = text[i + 1] == '{';
        const size_t start = i + (braces ? 2 : 1);
        size_t end = start;
        while (end < text.size() && is_name(text.substr(end, 1))) {
            ++end;
        }
        const std::string name = text.substr(start, end - start);
        if (name.empty()) {
            *out += text[i];
            continue;
        }
        const auto found = variables.find(name);
        if (found == variables.end()) {
            *error = name;
            return false;
        }
        *out += found->second;
        i = end - (braces && end < text.size() && text[end] == '}' ? 0 : 1);
    }
    return true;
}

std::vector<std::string> variables_in(const std::string& text) {
    std::vector<std::string> names;
    Variables none;
    for (;;) {
        std::string out;
        std::string missing;
        if (substitute(text, none, &out, &missing)) {
            return names;
        }
        names.push_back(missing);
        none[missing] = "";
    }
}

std::optional<long double> decimal_parse(const std::string& text) {
    const bool digits = text.find_first_not_of("0123456789.-") == std::string::npos && !text.empty();
    char* end = nullptr;
    const long double number = digits ? std::strtold(text.c_str(), &end) : 0;
    return digits && *end == '\0' ? std::optional(number) : std::nullopt;
}

namespace {

// Takes a plan's lines apart.
bool parse_lines(const std::string& content, Plan* plan, std::string* error) {
    unsigned number = 0;
    const size_t start = content.starts_with(kByteOrderMark) ? sizeof(kByteOrderMark) - 1 : 0;
    for (size_t at = start, end = 0; at < content.size(); at = end + 1) {
        end = std::min(content.find('\n', at), content.size());
        ++number;
        for (std::string& text : steps_of(content.substr(at, end - at))) {
            plan->steps.emplace_back();
            PlanStep& step = plan->steps.back();
            step.line = number;
            step.text = std::move(text);
            if (!parse_step(&step, error)) {
                *error = plan->path + ":" + std::to_string(number) + ": " + *error;
                return false;
            }
        }
    }
    return !plan->steps.empty() || refuse(plan->path + ": the plan is empty", error);
}

}  // namespace

bool plan_parse(const std::string& path, const std::string& content, const Variables& given, Plan* plan,
                std::string* error) {
    plan->path = path;
    PlanCheck check;
    check.given = given;
    check.values = given;
    if (!content_good(content, error)) {
        *error = path + ": " + *error;
        return false;
    }
    if (!parse_lines(content, plan, error)) {
        return false;
    }
    mark_secrets(plan);
    check.secrets = plan->secrets;
    for (const PlanStep& step : plan->steps) {
        if (!plan_check(step, &check, error)) {
            *error = path + ":" + std::to_string(step.line) + ": " +
                     (step.secret ? "something is wrong with this line; it has a secret, so no more is said" : *error);
            return false;
        }
    }
    plan->names = std::move(check.names);
    return true;
}

bool answer_field(const Answer& answer, const std::string& field, Value* value) {
    *value = Value();
    value->name = field;
    if (equal_names(field, "status") && answer.status) {
        value->number = answer.status->value;
        return true;
    }
    if (equal_names(field, "error") && answer.error) {
        value->number = answer.error->code;
        return true;
    }
    if (equal_names(field, "rest") || equal_names(field, "answer")) {
        value->kind = Value::Kind::kBytes;
        value->bytes = equal_names(field, "rest") ? answer.rest : answer.response;
        return true;
    }
    const Value* found = answer.find(field);
    if (found != nullptr) {
        *value = *found;
    }
    return found != nullptr;
}

namespace {

bool value_holds(const Value& value, const std::string& comparison, const std::string& wanted) {
    if (comparison == "=" || comparison == "!=") {
        return equals(value, wanted) == (comparison == "=");
    }
    if (comparison == "~" || comparison == "!~") {
        const std::string text = value.kind == Value::Kind::kText ? value.text : value.plain();
        return matches(wanted, text) == (comparison == "~");
    }
    return compares(value, comparison, wanted);
}

std::string expected_text(const Condition& condition) {
    return "expected " + (condition.comparison == "=" ? "" : condition.comparison + " ") + condition.value;
}

// The last of many lines, each behind a line feed.
std::string last_lines(const std::string& lines) {
    size_t at = lines.size();
    for (int left = kShownLines; left > 0 && at > 0; --left) {
        at = lines.rfind('\n', at - 1);
    }
    return at == 0 ? lines : "\n      ..." + lines.substr(at);
}

bool list_holds(const Condition& condition, const Answer& answer, size_t* from, std::string* reason) {
    const bool none = condition.comparison[0] == '!';
    std::string shown;
    for (size_t i = 0; i < answer.values.size(); ++i) {
        const Value& value = answer.values[i];
        if (value.name != kListName) {
            continue;
        }
        shown += "\n" + std::string(i < *from ? "      " : "    > ") + value.plain();
        const bool holds = value_holds(value, condition.comparison, condition.value);
        if (none && !holds) {
            *reason = "there is the line " + value.plain() + ", " + expected_text(condition);
            return false;
        }
        if (!none && holds && i >= *from) {
            *from = i + 1;
            return true;
        }
    }
    *reason = "no such line, " + expected_text(condition) + "; there are" +
              (shown.empty() ? " none" : ":" + last_lines(shown));
    return none;
}

}  // namespace

bool condition_holds(const Condition& condition, const Answer& answer, size_t* from, std::string* reason) {
    if (condition.field == kListName) {
        return list_holds(condition, answer, from, reason);
    }
    Value value;
    if (!answer_field(answer, condition.field, &value)) {
        *reason = "the answer has no " + condition.field;
        return false;
    }
    const std::string found =
        value.plain() + (value.kind == Value::Kind::kNumber && !value.text.empty() ? " (" + value.text + ")" : "");
    *reason = condition.field + " is " + (found.empty() ? "empty" : found) + ", " + expected_text(condition);
    return value_holds(value, condition.comparison, condition.value);
}

std::vector<PlanCase> cases_of(const Plan& plan) {
    PlanCase common;
    std::vector<PlanCase> cases;
    for (const PlanStep& step : plan.steps) {
        if (step.kind == StepKind::kCase) {
            cases.push_back(common);
            cases.back().title = step.text.substr(step.text.find_first_of(" \t") + 1);
        }
        PlanCase& current = cases.empty() ? common : cases.back();
        current.steps.push_back(&step);
        current.phone = current.phone || step.kind == StepKind::kPhone;
    }
    return cases.empty() ? std::vector<PlanCase>{common} : cases;
}

}  // namespace vdiag
