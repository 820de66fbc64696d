// Running plans.
#include "tools/vdiag/plan/plan_run.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

namespace vdiag {
namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

constexpr size_t kMargin = 21;  // of the second line of a result
constexpr size_t kValuesWidth = 100;
constexpr int kPollPause = 200;  // milliseconds between the repetitions of "within"

double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

void pause_ms(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

struct Runner {
    Session* session;
    Variables variables;
    int exit_status = kExitDone;  // of a failure that ends the plan
};

bool fail(StepResult* result, const std::string& reason) {
    result->outcome = Outcome::kFailed;
    result->reason = reason;
    return false;
}

// What an answer must fulfil without being told: no error and a good status, unless a condition is about them.
bool judge_untold(const PlanStep& step, const Answer& answer, std::string* reason) {
    const auto named = [&](const char* field) {
        return std::any_of(step.conditions.begin(), step.conditions.end(),
                           [&](const Condition& condition) { return equal_names(condition.field, field); });
    };
    if ((answer.error && named("error")) || (answer.fault.empty() && !answer.error && named("status"))) {
        return true;
    }
    *reason = complaint(answer);
    return reason->empty();
}

bool judge(const PlanStep& step, const Variables& variables, const Answer& answer, std::string* reason) {
    if (!judge_untold(step, answer, reason)) {
        return false;
    }
    for (Condition condition : step.conditions) {
        std::string missing;
        (void)substitute(std::string(condition.value), variables, &condition.value, &missing);
        if (!condition_holds(condition, answer, reason)) {
            return false;
        }
    }
    reason->clear();
    return true;
}

bool keep_values(const PlanStep& step, const Answer& answer, Variables* variables, StepResult* result) {
    for (const Keep& keep : step.keeps) {
        Value value;
        if (!answer_field(answer, keep.field, &value)) {
            return fail(result, "the answer has no " + keep.field + " to keep");
        }
        (*variables)[keep.name] = value.kind == Value::Kind::kText ? value.text : value.plain();
    }
    return true;
}

// One request of a step. False: no answer, and the result says so.
bool ask(Runner* runner, const Invocation& invocation, StepResult* result) {
    Failure failure;
    result->answer = Answer();
    result->reason.clear();
    result->answered = perform(runner->session, invocation, &result->answer, &failure);
    if (result->answered) {
        return true;
    }
    if (result->step->silence && failure.exit_status == kExitTimeout) {
        result->outcome = Outcome::kPassed;
        return false;
    }
    if (failure.exit_status == kExitConnect) {
        runner->exit_status = failure.exit_status;
    }
    return fail(result, failure.text);
}

// Options of a single line: time limit and retries.
void line_options(const Invocation& invocation, Session* session) {
    const auto timeout = milliseconds_parse(invocation.timeout);
    const auto retries = number_parse(invocation.retry);
    session->timeout_ms = timeout.value_or(session->timeout_ms);
    session->retries = retries ? static_cast<unsigned>(*retries) : session->retries;
}

bool prepare_line(const PlanStep& step, const Variables& variables, Invocation* invocation, StepResult* result) {
    std::vector<std::string> words;
    std::string error;
    for (const std::string& word : step.words) {
        words.emplace_back();
        if (!substitute(word, variables, &words.back(), &error)) {
            return fail(result, "nobody has set $" + error);
        }
    }
    return invocation_parse(words, invocation, &error) || fail(result, error);
}

void run_request(Runner* runner, StepResult* result) {
    const PlanStep& step = *result->step;
    Invocation invocation;
    if (!prepare_line(step, runner->variables, &invocation, result)) {
        return;
    }
    Session* session = runner->session;
    const int timeout_ms = session->timeout_ms;
    const unsigned retries = session->retries;
    line_options(invocation, session);
    const Deadline deadline = deadline_in(step.within_ms);
    bool good = false;
    while (ask(runner, invocation, result)) {
        good = !step.silence && judge(step, runner->variables, result->answer, &result->reason);
        if (good || milliseconds_left(deadline) == 0) {
            break;
        }
        pause_ms(std::min(kPollPause, milliseconds_left(deadline)));
    }
    session->timeout_ms = timeout_ms;
    session->retries = retries;
    if (good) {
        (void)keep_values(step, result->answer, &runner->variables, result);
    } else if (result->answered) {
        (void)fail(result, step.silence ? "an answer came" : result->reason);
    }
}

// Waits until the phone answers again, as after a restart.
void run_reconnect(Runner* runner, StepResult* result) {
    const Deadline deadline = deadline_in(milliseconds_parse(result->step->words[1]).value_or(0));
    Invocation invocation;
    invocation.words = {"version", "diag"};
    (void)runner->session->link.fd.close();
    result->outcome = Outcome::kSkipped;
    while (!ask(runner, invocation, result) && milliseconds_left(deadline) > 0) {
        pause_ms(std::min(kPollPause, milliseconds_left(deadline)));
    }
    runner->exit_status = result->answered ? kExitDone : kExitConnect;
    result->outcome = result->answered ? Outcome::kPassed : Outcome::kFailed;
    result->reason = result->answered ? "" : result->reason;
}

void set_value(const PlanStep& step, Variables* variables) {
    std::string value;
    std::string missing;  // none: the plan has been checked
    (void)substitute(step.words[2], *variables, &value, &missing);
    (*variables)[step.words[1]] = value;
}

void run_step(Runner* runner, StepResult* result) {
    const PlanStep& step = *result->step;
    const Clock::time_point start = Clock::now();
    result->outcome = Outcome::kPassed;
    switch (step.kind) {
        case StepKind::kRequest:
            run_request(runner, result);
            break;
        case StepKind::kReconnect:
            run_reconnect(runner, result);
            break;
        case StepKind::kWait:
            pause_ms(milliseconds_parse(step.words[1]).value_or(0));
            break;
        case StepKind::kSet:
            set_value(step, &runner->variables);
            break;
        case StepKind::kDefault:
            if (!runner->variables.contains(step.words[1])) {
                set_value(step, &runner->variables);
            }
            break;
    }
    result->seconds = seconds_since(start);
}

constexpr const char* kOutcomeWords[] = {"ok  ", "FAIL", "skip"};
constexpr const char* kOutcomeColours[] = {"\033[32m", "\033[31m", "\033[33m"};

// The values of an answer on one line, cut when it gets long.
std::string values_line(const Answer& answer) {
    std::string line;
    for (const Value& value : answer.values) {
        const bool named = value.kind == Value::Kind::kNumber && !value.text.empty();
        line += (line.empty() ? "" : ", ") + printable(value.name) + " " + (named ? value.text : value.plain());
    }
    if (line.empty() && answer.status && answer.status->value != 0) {
        line = std::string(answer.status->text);
    }
    return line.size() > kValuesWidth ? line.substr(0, kValuesWidth) + "..." : line;
}

std::string step_line(const StepResult& result, const Style& style) {
    const auto outcome = static_cast<size_t>(result.outcome);
    const std::string word = style.colour ? std::string(kOutcomeColours[outcome]) + kOutcomeWords[outcome] + "\033[0m"
                                          : kOutcomeWords[outcome];
    char numbers[64];
    (void)snprintf(numbers, sizeof(numbers), "%4u %8.0f ms  ", result.step->line, result.seconds * 1000);
    std::string line = word + numbers + printable(result.step->text) + "\n";
    const bool full = style.hex && result.answered;
    const std::string second = result.reason.empty() && !full ? values_line(result.answer) : result.reason;
    line += full ? report_answer(result.answer, style) : "";
    line += second.empty() ? "" : std::string(kMargin, ' ') + second + "\n";
    return line;
}

std::string step_json(const PlanResult& plan, const StepResult& result, const Style& style) {
    static constexpr const char* kWords[] = {"passed", "failed", "skipped"};
    Json object;
    object["plan"] = plan.plan.path;
    object["line"] = result.step->line;
    object["request"] = printable(result.step->text);
    object["outcome"] = kWords[static_cast<size_t>(result.outcome)];
    object["seconds"] = result.seconds;
    if (!result.reason.empty()) {
        object["reason"] = printable(result.reason);
    }
    if (result.answered) {
        object["answer"] = Json::parse(report_answer(result.answer, style));
    }
    return object.dump() + "\n";
}

size_t count(const PlanResult& plan, Outcome outcome) {
    return static_cast<size_t>(std::count_if(plan.steps.begin(), plan.steps.end(),
                                             [&](const StepResult& step) { return step.outcome == outcome; }));
}

std::string summary(const PlanResult& plan, const Style& style) {
    const size_t passed = count(plan, Outcome::kPassed);
    const size_t failed = count(plan, Outcome::kFailed);
    const size_t skipped = count(plan, Outcome::kSkipped);
    if (style.json) {
        const Json object = {{"plan", plan.plan.path}, {"steps", plan.steps.size()}, {"passed", passed},
                             {"failed", failed},       {"skipped", skipped},         {"seconds", plan.seconds}};
        return object.dump() + "\n";
    }
    char text[128];
    (void)snprintf(text, sizeof(text), "%zu steps: %zu passed, %zu failed, %zu skipped, %.1f s\n", plan.steps.size(),
                   passed, failed, skipped, plan.seconds);
    return plan.plan.path + ": " + text;
}

void run_plan(Runner* runner, bool stop, const Style& style, int out_fd, PlanResult* result) {
    const Clock::time_point start = Clock::now();
    bool ended = false;
    for (const PlanStep& step : result->plan.steps) {
        result->steps.emplace_back();
        StepResult& outcome = result->steps.back();
        outcome.step = &step;
        if (!ended) {
            run_step(runner, &outcome);
        }
        const bool failed = outcome.outcome == Outcome::kFailed;
        result->exit_status = failed && result->exit_status == kExitDone ? kExitExpectation : result->exit_status;
        ended = ended || runner->exit_status != kExitDone || (failed && stop);
        (void)write_all(out_fd, style.json ? step_json(*result, outcome, style) : step_line(outcome, style));
    }
    result->seconds = seconds_since(start);
    result->exit_status = runner->exit_status != kExitDone ? runner->exit_status : result->exit_status;
    (void)write_all(out_fd, summary(*result, style));
}

std::string xml_text(const std::string& text) {
    std::string out;
    for (const char c : printable(text)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
                break;
        }
    }
    return out;
}

std::string junit_case(const PlanResult& plan, const StepResult& step) {
    char time[32];
    (void)snprintf(time, sizeof(time), "%.3f", step.seconds);
    std::string out = "    <testcase classname=\"" + xml_text(plan.plan.path) + "\" name=\"" +
                      std::to_string(step.step->line) + ": " + xml_text(step.step->text) + "\" time=\"" + time + "\"";
    if (step.outcome == Outcome::kPassed) {
        return out + "/>\n";
    }
    const std::string element =
        step.outcome == Outcome::kSkipped ? "<skipped/>" : "<failure message=\"" + xml_text(step.reason) + "\"/>";
    return out + ">" + element + "</testcase>\n";
}

// Takes the plans and the NAME=VALUE words of the command line apart.
bool load_plans(const Invocation& invocation, Variables* variables, std::vector<PlanResult>* results,
                Failure* failure) {
    std::vector<std::string> paths;
    for (size_t i = 1; i < invocation.words.size(); ++i) {
        const std::string& word = invocation.words[i];
        const size_t equals = word.find('=');
        if (equals == std::string::npos) {
            paths.push_back(word);
        } else {
            (*variables)[word.substr(0, equals)] = word.substr(equals + 1);
        }
    }
    *failure = {kExitUsage, "run: a PLAN is wanted"};
    for (const std::string& path : paths) {
        Bytes content;
        PlanResult result;
        if (!file_read(path, &content, &failure->text)) {
            failure->exit_status = kExitFailure;
            return false;
        }
        const size_t slash = path.rfind('/');
        (*variables)["here"] = slash == std::string::npos ? "." : path.substr(0, slash);
        if (!plan_parse(path, std::string(content.begin(), content.end()), *variables, &result.plan, &failure->text)) {
            return false;
        }
        results->push_back(std::move(result));
    }
    return !paths.empty();
}

}  // namespace

std::string junit_text(const std::vector<PlanResult>& results) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    for (const PlanResult& plan : results) {
        char time[32];
        (void)snprintf(time, sizeof(time), "%.3f", plan.seconds);
        out += "  <testsuite name=\"" + xml_text(plan.plan.path) + "\" tests=\"" + std::to_string(plan.steps.size()) +
               "\" failures=\"" + std::to_string(count(plan, Outcome::kFailed)) + "\" skipped=\"" +
               std::to_string(count(plan, Outcome::kSkipped)) + "\" time=\"" + time + "\">\n";
        for (const StepResult& step : plan.steps) {
            out += junit_case(plan, step);
        }
        out += "  </testsuite>\n";
    }
    return out + "</testsuites>\n";
}

int run_plans(Session* session, const Invocation& invocation, const Style& style, int out_fd) {
    Runner runner{session, {}, kExitDone};
    std::vector<PlanResult> results;
    Failure failure;
    if (!load_plans(invocation, &runner.variables, &results, &failure)) {
        warn(failure.text);
        return failure.exit_status;
    }
    int exit_status = kExitDone;
    for (PlanResult& result : results) {
        const size_t slash = result.plan.path.rfind('/');
        runner.variables["here"] = slash == std::string::npos ? "." : result.plan.path.substr(0, slash);
        run_plan(&runner, invocation.stop, style, out_fd, &result);
        exit_status = exit_status == kExitDone ? result.exit_status : exit_status;
    }
    std::string error;
    if (!invocation.junit.empty() && !file_write(invocation.junit, junit_text(results), &error)) {
        warn(error);
        return kExitFailure;
    }
    return exit_status;
}

}  // namespace vdiag
