// Taking secrets out of results.
#include "tools/vdiag/plan/secret.h"

#include <algorithm>
#include <string_view>

namespace vdiag {
namespace {

constexpr std::string_view kHidden = "(secret)";

bool names_secret(const std::string& text, const std::set<std::string>& secrets) {
    const std::vector<std::string> names = variables_in(text);
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return secrets.contains(name); });
}

bool has_secret(const PlanStep& step, const std::set<std::string>& secrets) {
    const auto named = [&](const std::string& text) { return names_secret(text, secrets); };
    return std::any_of(step.words.begin(), step.words.end(), named) ||
           std::any_of(step.conditions.begin(), step.conditions.end(),
                       [&](const Condition& condition) { return named(condition.value); }) ||
           std::any_of(step.measures.begin(), step.measures.end(),
                       [&](const Measure& measure) { return named(measure.low) || named(measure.high); }) ||
           std::any_of(step.keeps.begin(), step.keeps.end(),
                       [&](const Keep& keep) { return secrets.contains(keep.name); });
}

// A secret as a text, and as the bytes that it may stand for.
struct Hidden {
    std::vector<std::string> texts;
    std::vector<Bytes> bytes;
};

Hidden hidden_of(const Plan& plan, const Variables& variables) {
    Hidden hidden;
    for (const std::string& name : plan.secrets) {
        const auto found = variables.find(name);
        if (found == variables.end() || found->second.size() < kShortestSecret) {
            continue;
        }
        const std::string& text = found->second;
        hidden.bytes.emplace_back(text.begin(), text.end());
        const auto meant = bytes_parse(text);
        if (meant && meant->size() >= kShortestSecret) {
            hidden.bytes.push_back(*meant);
        }
        hidden.texts.insert(hidden.texts.end(), {text, printable(text)});
    }
    for (const Bytes& bytes : hidden.bytes) {
        for (const char* separator : {"", " ", ":"}) {
            hidden.texts.push_back(hex_text(bytes, separator));
        }
    }
    return hidden;
}

std::string concealed(std::string text, const Hidden& hidden) {
    for (const std::string& secret : hidden.texts) {
        for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at + kHidden.size())) {
            text.replace(at, secret.size(), kHidden);
        }
    }
    return text;
}

void conceal_bytes(Bytes* bytes, const Hidden& hidden) {
    const bool found = std::any_of(hidden.bytes.begin(), hidden.bytes.end(), [&](const Bytes& secret) {
        return std::search(bytes->begin(), bytes->end(), secret.begin(), secret.end()) != bytes->end();
    });
    if (found) {
        bytes->clear();
    }
}

void conceal_value(Value* value, const Hidden& hidden) {
    const std::string plain = value->kind == Value::Kind::kText ? value->text : value->plain();
    const std::string text = concealed(plain, hidden);
    if (text != plain) {
        value->kind = Value::Kind::kText;
        value->text = text;
        value->bytes.clear();
    }
    value->name = concealed(value->name, hidden);
}

// Nothing of the conversation stays but how it ended.
void conceal_line(StepResult* result) {
    Answer* answer = &result->answer;
    answer->values.clear();
    for (Bytes* bytes : {&answer->request, &answer->response, &answer->rest}) {
        bytes->clear();
    }
    if (answer->error) {
        answer->error->echo.clear();
    }
    if (result->reason.empty() || result->failure == kExitConnect) {
        return;
    }
    const std::string told = result->answered ? complaint(*answer) : "";
    const char* ended = result->failure == kExitTimeout ? "no answer in time"
                        : result->failure == kExitEnded ? "the connection ended"
                        : result->answered              ? "an expectation does not hold"
                                                        : "it failed";
    result->reason = told.empty() ? std::string(ended) + " (the line has a secret, so no more is said)" : told;
}

}  // namespace

void mark_secrets(Plan* plan) {
    for (const PlanStep& step : plan->steps) {
        if (step.kind == StepKind::kSecret) {
            plan->secrets.insert(step.words[1]);
        }
    }
    for (PlanStep& step : plan->steps) {
        step.secret = has_secret(step, plan->secrets);
        if (step.secret && (step.kind == StepKind::kSet || step.kind == StepKind::kDefault)) {
            plan->secrets.insert(step.words[1]);
        }
    }
}

void conceal(const Plan& plan, const Variables& variables, StepResult* result) {
    if (plan.secrets.empty()) {
        return;
    }
    if (result->step->secret) {
        conceal_line(result);
    }
    const Hidden hidden = hidden_of(plan, variables);
    Answer* answer = &result->answer;
    for (Bytes* bytes : {&answer->request, &answer->response, &answer->rest}) {
        conceal_bytes(bytes, hidden);
    }
    if (answer->error) {
        conceal_bytes(&answer->error->echo, hidden);
    }
    for (Value& value : answer->values) {
        conceal_value(&value, hidden);
    }
    for (Measured& measured : result->measured) {
        measured.value = concealed(measured.value, hidden) == measured.value ? measured.value : "";
    }
    result->reason = concealed(result->reason, hidden);
    answer->fault = concealed(answer->fault, hidden);
}

}  // namespace vdiag
