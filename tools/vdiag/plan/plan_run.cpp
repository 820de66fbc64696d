// Running plans.
#include "tools/vdiag/plan/plan_run.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <utility>

#include "tools/vdiag/plan/record.h"
#include "tools/vdiag/plan/secret.h"
#include "tools/vdiag/run/crypto.h"
#include "tools/vdiag/words/stop.h"

namespace vdiag {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMargin = 21;  // of the second line of a result
constexpr size_t kValuesWidth = 100;
constexpr int kLookPause = 5;          // milliseconds between two looks at a simulated phone
constexpr int kPollPause = 200;        // milliseconds between the repetitions of "within"
constexpr const char* kHere = "here";  // the variable that holds the plan's folder
constexpr const char* kReconnectTimeout = "1s";

double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

struct Runner {
    Session* session;
    Variables variables;
    Phone phone;
    int exit_status = kExitDone;  // of a failure that ends the plan
};

bool fail(StepResult* result, const std::string& reason) {
    result->outcome = Outcome::kFailed;
    result->reason = reason;
    return false;
}

// What an answer must fulfil without being told: a right form, no error and a good status, unless a condition is about
// them or about all bytes.
bool judge_untold(const PlanStep& step, const Answer& answer, std::string* reason) {
    const auto named = [&](const char* field) {
        return std::any_of(step.conditions.begin(), step.conditions.end(),
                           [&](const Condition& condition) { return equal_names(condition.field, field); });
    };
    if (named("answer") || (answer.error && named("error")) ||
        (answer.fault.empty() && !answer.error && named("status"))) {
        return true;
    }
    *reason = complaint(answer);
    return reason->empty();
}

// What a step is to measure, with the limits as far as their variables are known.
std::vector<Measured> measured_of(const PlanStep& step, const Variables& variables) {
    std::vector<Measured> out;
    for (const Measure& measure : step.measures) {
        Measured measured;
        std::string missing;
        measured.measure = &measure;
        measured.low = substitute(measure.low, variables, &measured.low, &missing) ? measured.low : "";
        measured.high = substitute(measure.high, variables, &measured.high, &missing) ? measured.high : "";
        out.push_back(std::move(measured));
    }
    return out;
}

// Takes one measurement. Returns what is wrong with it; empty: nothing.
std::string take_measurement(const Answer& answer, Measured* measured) {
    const Measure& measure = *measured->measure;
    Value value;
    const bool found = answer_field(answer, measure.field, &value);
    const std::string text = !found                               ? ""
                             : value.kind == Value::Kind::kNumber ? std::to_string(value.number)
                                                                  : value.text;
    const auto number = decimal_parse(text);
    const auto low = decimal_parse(measured->low);
    const auto high = decimal_parse(measured->high);
    measured->outcome = Outcome::kFailed;
    measured->value = number ? text : "";
    if (!number) {
        return measure.name + (found ? " is no number" : " is not in the answer");
    }
    if ((!low && !measured->low.empty()) || (!high && !measured->high.empty())) {
        return "a limit of " + measure.name + " is no number";
    }
    if ((low && *number < *low) || (high && *number > *high)) {
        return measure.name + " is " + text + (measure.unit.empty() ? "" : " " + measure.unit) + ", outside" +
               (low ? " from " + measured->low : "") + (high ? " to " + measured->high : "");
    }
    measured->outcome = Outcome::kPassed;
    return "";
}

// Judges the answer of a step. What is measured is kept whatever else holds. False: `reason`.
bool judge(const Variables& variables, StepResult* result, std::string* reason) {
    const PlanStep& step = *result->step;
    result->measured = measured_of(step, variables);
    if (!judge_untold(step, result->answer, reason)) {
        return false;
    }
    std::string outside;
    for (Measured& measured : result->measured) {
        const std::string wrong = take_measurement(result->answer, &measured);
        outside = outside.empty() ? wrong : outside;
    }
    size_t from = 0;
    for (Condition condition : step.conditions) {
        std::string missing;
        (void)substitute(std::string(condition.value), variables, &condition.value, &missing);
        if (!condition_holds(condition, result->answer, &from, reason)) {
            return false;
        }
    }
    *reason = outside;
    return outside.empty();
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
    ++result->attempts;
    result->answered = perform(runner->session, invocation, &result->answer, &failure);
    result->failure = failure.exit_status;
    if (result->answered) {
        return true;
    }
    const bool silent = failure.exit_status == kExitTimeout || failure.exit_status == kExitEnded;
    if (result->step->silence && silent && stop_signal() == 0) {
        result->outcome = Outcome::kPassed;
        return false;
    }
    if (failure.exit_status == kExitConnect) {
        runner->exit_status = failure.exit_status;
    }
    return fail(result, failure.text);
}

bool fill_words(const PlanStep& step, const Variables& variables, std::vector<std::string>* words, StepResult* result) {
    std::string missing;
    for (const std::string& word : step.words) {
        words->emplace_back();
        if (!substitute(word, variables, &words->back(), &missing)) {
            return fail(result, "nobody has set $" + missing);
        }
    }
    return true;
}

bool prepare_line(const PlanStep& step, const Variables& variables, Invocation* invocation, StepResult* result) {
    std::vector<std::string> words;
    std::string error;
    return fill_words(step, variables, &words, result) &&
           (invocation_parse(words, LineOf::kPlan, invocation, &error) || fail(result, error));
}

// Whether asking again may help: the phone was slow, or away for a moment.
bool may_recover(const Runner& runner, const StepResult& result) {
    return !result.answered && result.outcome == Outcome::kFailed &&
           (result.failure == kExitTimeout || result.failure == kExitEnded || runner.exit_status == kExitConnect);
}

// Asks until the step's conditions hold or its time is up; a request that the end of the time cuts off says nothing.
void ask_within(Runner* runner, const Invocation& invocation, StepResult* result) {
    const Deadline deadline = *runner->session->until;
    StepResult judged;
    for (;;) {
        runner->exit_status = kExitDone;
        result->outcome = Outcome::kPassed;
        if (ask(runner, invocation, result)) {
            if (judge(runner->variables, result, &result->reason)) {
                return;
            }
            (void)fail(result, std::string(result->reason));
            judged = *result;
        } else if (!may_recover(*runner, *result)) {
            return;
        }
        if (milliseconds_left(deadline) == 0 || stop_signal() != 0) {
            break;
        }
        pause_ms(std::min(kPollPause, milliseconds_left(deadline)));
    }
    if (judged.step != nullptr && result->failure == kExitTimeout) {
        judged.attempts = result->attempts;
        *result = std::move(judged);
    }
}

void ask_once(Runner* runner, const Invocation& invocation, StepResult* result) {
    const PlanStep& step = *result->step;
    std::string reason = "an answer came";
    if (ask(runner, invocation, result) && (step.silence || !judge(runner->variables, result, &reason))) {
        (void)fail(result, reason);
    }
}

void run_request(Runner* runner, StepResult* result) {
    const PlanStep& step = *result->step;
    Invocation invocation;
    std::string error;
    if (!prepare_line(step, runner->variables, &invocation, result)) {
        return;
    }
    if (!phone_serve(&runner->phone, &error)) {
        (void)fail(result, error);
        return;
    }
    if (step.within_ms > 0) {
        runner->session->until = deadline_in(step.within_ms);
        ask_within(runner, invocation, result);
        runner->session->until.reset();
    } else {
        ask_once(runner, invocation, result);
    }
    if (result->outcome == Outcome::kPassed && result->answered) {
        (void)keep_values(step, result->answer, &runner->variables, result);
    }
}

// A line that prepares the simulated phone or looks at it, again until what it sees is what is expected.
void run_phone_line(Runner* runner, StepResult* result) {
    const PlanStep& step = *result->step;
    std::vector<std::string> words;
    if (!fill_words(step, runner->variables, &words, result)) {
        return;
    }
    if (step.phone->fresh && runner->phone.directory.empty()) {
        (void)fail(result, std::string(step.phone->verb) + " wants a fresh phone (--fresh)");
        return;
    }
    const Deadline deadline = deadline_in(step.within_ms);
    for (;;) {
        std::string error;
        result->answer = Answer();
        if (!step.phone->run(&runner->phone, words, &result->answer, &error)) {
            (void)fail(result, error);
            return;
        }
        if (step.phone->fresh && runner->phone.daemon < 0) {
            link_close(&runner->session->link);  // the next daemon is another one
        }
        if (judge(runner->variables, result, &result->reason)) {
            (void)keep_values(step, result->answer, &runner->variables, result);
            return;
        }
        if (milliseconds_left(deadline) == 0 || stop_signal() != 0) {
            (void)fail(result, std::string(result->reason));
            return;
        }
        pause_ms(kLookPause);
    }
}

// Waits until the phone answers again, as after a restart.
void run_reconnect(Runner* runner, StepResult* result) {
    Session* session = runner->session;
    const Deadline deadline = deadline_in(milliseconds_parse(result->step->words[1]).value_or(0));
    Invocation invocation;
    invocation.words = {"version", "diag"};
    invocation.timeout = kReconnectTimeout;
    link_close(&session->link);
    session->until = deadline;
    while (!ask(runner, invocation, result) && milliseconds_left(deadline) > 0 && stop_signal() == 0) {
        pause_ms(std::min(kPollPause, milliseconds_left(deadline)));
    }
    session->until.reset();
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

// A signal that came during a step has cut it short.
void note_abortion(StepResult* result) {
    const bool cut = result->outcome == Outcome::kFailed || result->step->kind == StepKind::kWait;
    if (stop_signal() != 0 && cut) {
        result->answered = false;
        result->failure = kExitSignal + stop_signal();
        (void)fail(result, std::string("aborted by ") + (stop_signal() == SIGINT ? "SIGINT" : "SIGTERM") +
                               "; the phone may still carry out what it was asked");
    }
}

void run_step(Runner* runner, StepResult* result) {
    const PlanStep& step = *result->step;
    const Clock::time_point start = Clock::now();
    result->start = WallClock::now();
    result->measured = measured_of(step, runner->variables);
    result->outcome = Outcome::kPassed;
    switch (step.kind) {
        case StepKind::kRequest:
            run_request(runner, result);
            break;
        case StepKind::kPhone:
            run_phone_line(runner, result);
            break;
        case StepKind::kCase:
        case StepKind::kRequire:
        case StepKind::kSecret:
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
    note_abortion(result);
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
    line += second.empty() ? "" : std::string(kMargin, ' ') + terminal_text(second) + "\n";
    return line;
}

std::string summary(const PlanResult& plan) {
    char text[128];
    (void)snprintf(text, sizeof(text), "%zu steps: %zu passed, %zu failed, %zu skipped, %.1f s%s\n", plan.steps.size(),
                   count(plan, Outcome::kPassed), count(plan, Outcome::kFailed), count(plan, Outcome::kSkipped),
                   plan.seconds, plan.aborted ? ", aborted" : "");
    return terminal_text(plan.plan.path) + ": " + text;
}

// How plans are run: the options of "run", and where the results go.
struct Manner {
    const Invocation* options;
    Style style;
    int out_fd;
    Reports* reports;
};

bool wanted(const PlanCase& one, const Invocation& options) {
    return options.only.empty() || one.title.find(options.only) != std::string::npos;
}

// Makes the runner ready for a case. False: the case cannot be run, and `reason` says why; with an empty reason it is
// left out, since it is about a simulated phone and there is none.
bool begin_case(Runner* runner, const PlanCase& one, const Invocation& options, std::string* reason) {
    reason->clear();
    if (!options.fresh) {
        return !one.phone || !runner->phone.root.empty();
    }
    if (!phone_fresh(&runner->phone, reason)) {
        return false;
    }
    link_close(&runner->session->link);
    runner->session->asked.clear();  // of another phone
    runner->session->late = false;
    runner->session->address = "unix:" + runner->phone.root + "/.sim/diag";
    runner->exit_status = kExitDone;
    return true;
}

void end_case(Runner* runner, const PlanCase& one, PlanResult* result) {
    std::string error;
    link_close(&runner->session->link);
    if (!phone_end(&runner->phone, &error)) {
        result->steps.emplace_back();
        result->steps.back().step = one.steps.back();
        result->steps.back().title = one.title;
        result->steps.back().start = WallClock::now();
        (void)fail(&result->steps.back(), error);
    }
}

std::string case_line(const PlanResult& result, size_t from, const PlanCase& one, double seconds, const Style& style) {
    Outcome outcome = Outcome::kSkipped;
    std::string failures;
    for (size_t i = from; i < result.steps.size(); ++i) {
        const StepResult& step = result.steps[i];
        if (step.outcome == Outcome::kFailed) {
            failures += "  " + result.plan.path + ":" + std::to_string(step.step->line) + ": " +
                        printable(step.step->text) + "\n      " + terminal_text(step.reason) + "\n";
        }
        outcome = step.outcome == Outcome::kSkipped || outcome == Outcome::kFailed ? outcome : step.outcome;
    }
    const auto index = static_cast<size_t>(outcome);
    const std::string word =
        style.colour ? std::string(kOutcomeColours[index]) + kOutcomeWords[index] + "\033[0m" : kOutcomeWords[index];
    char time[32];
    (void)snprintf(time, sizeof(time), "%13.0f ms  ", seconds * 1000);
    return word + time + printable(one.title) + "\n" + failures;
}

// Notes the phone's serial number, and tells a step's result to those who want it now.
void tell(const Manner& manner, const StepResult& step, PlanResult* result) {
    const Value* serial = step.answer.find("serial");
    if (step.answered && step.answer.title == "serial" && step.answer.good() && serial != nullptr) {
        result->serial = serial->text;
    }
    if (manner.reports->wanted) {
        reports_add(manner.reports, step_record(*result, step, manner.style));
    }
    if (step.title.empty() && !manner.style.json) {
        (void)write_all(manner.out_fd, step_line(step, manner.style));
    }
}

// Runs the steps of a case. False: nothing more is to be run.
bool run_case(Runner* runner, const PlanCase& one, const Manner& manner, PlanResult* result) {
    const Clock::time_point start = Clock::now();
    const size_t from = result->steps.size();
    std::string reason;
    bool ended = !begin_case(runner, one, *manner.options, &reason);
    bool failed = !reason.empty();
    for (const PlanStep* step : one.steps) {
        if (step->kind == StepKind::kCase) {
            continue;
        }
        result->steps.emplace_back();
        StepResult& outcome = result->steps.back();
        outcome.step = step;
        outcome.title = one.title;
        outcome.measured = measured_of(*step, runner->variables);
        if (!ended) {
            run_step(runner, &outcome);
        } else if (!reason.empty()) {
            outcome.start = WallClock::now();
            (void)fail(&outcome, std::exchange(reason, ""));
        }
        conceal(result->plan, runner->variables, &outcome);
        failed = failed || outcome.outcome == Outcome::kFailed;
        ended = ended || runner->phone.left_out || runner->exit_status != kExitDone ||
                (failed && manner.options->stop) || stop_signal() != 0;
        tell(manner, outcome, result);
    }
    const size_t before = result->steps.size();
    end_case(runner, one, result);
    if (result->steps.size() > before) {
        failed = true;
        tell(manner, result->steps.back(), result);
    }
    if (!one.title.empty() && !manner.style.json) {
        (void)write_all(manner.out_fd, case_line(*result, from, one, seconds_since(start), manner.style));
    }
    result->exit_status = failed && result->exit_status == kExitDone ? kExitExpectation : result->exit_status;
    return manner.options->fresh ? !(failed && manner.options->stop) : !ended || !failed;
}

void run_plan(Runner* runner, const Manner& manner, PlanResult* result) {
    const Clock::time_point start = Clock::now();
    const Variables given = runner->variables;
    result->start = WallClock::now();
    result->id = run_id();
    result->address = manner.options->fresh ? "fresh" : runner->session->address;
    runner->session->quiet = runner->session->quiet || !result->plan.secrets.empty();  // warnings show packets
    bool going = true;
    for (const PlanCase& one : cases_of(result->plan)) {
        if (going && stop_signal() == 0 && wanted(one, *manner.options)) {
            runner->variables = one.title.empty() ? runner->variables : given;
            going = run_case(runner, one, manner, result);
        }
    }
    result->seconds = seconds_since(start);
    result->exit_status =
        runner->exit_status != kExitDone && !manner.options->fresh ? runner->exit_status : result->exit_status;
    result->aborted = stop_signal() != 0;
    result->exit_status = result->aborted ? kExitSignal + stop_signal() : result->exit_status;
    if (manner.reports->wanted) {
        reports_add(manner.reports, run_record(*result));
    }
    if (!manner.style.json) {
        (void)write_all(manner.out_fd, summary(*result));
    }
}

// Every name that was given must be one that a plan has a use for.
bool check_names(const Variables& given, const std::vector<PlanResult>& results, Failure* failure) {
    std::vector<std::string> names;
    for (const PlanResult& result : results) {
        names.insert(names.end(), result.plan.names.begin(), result.plan.names.end());
    }
    for (const auto& [name, value] : given) {
        if (name == kHere || std::find(names.begin(), names.end(), name) == names.end()) {
            const std::string best = nearest(name, names);
            *failure = {kExitUsage,
                        "run: no plan takes '" + name + "'" + (best.empty() ? "" : "; did you mean '" + best + "'?")};
            return false;
        }
    }
    return true;
}

bool load_plan(const std::string& path, const Variables& given, bool hashed, PlanResult* result, Failure* failure) {
    Bytes content;
    if (!file_read(path, &content, &failure->text)) {
        failure->exit_status = kExitFailure;
        return false;
    }
    const std::string text(content.begin(), content.end());
    const size_t slash = path.rfind('/');
    result->sha256 = hashed ? sha256_hex(text) : "";
    if (hashed && result->sha256.empty()) {
        *failure = {kExitFailure, "records need libcrypto for the plan's hash"};
        return false;
    }
    result->given = given;
    result->variables = given;
    result->variables[kHere] = slash == std::string::npos ? "." : path.substr(0, slash);
    return plan_parse(path, text, result->variables, &result->plan, &failure->text);
}

// Takes the plans and the NAME=VALUE words of the command line apart.
bool load_plans(const Invocation& invocation, std::vector<PlanResult>* results, Failure* failure) {
    Variables given;
    std::vector<std::string> paths;
    for (size_t i = 1; i < invocation.words.size(); ++i) {
        const std::string& word = invocation.words[i];
        const size_t equals = word.find('=');
        if (equals == std::string::npos) {
            paths.push_back(word);
        } else {
            given[word.substr(0, equals)] = word.substr(equals + 1);
        }
    }
    const bool hashed =
        invocation.json || !(invocation.record + invocation.junit + invocation.csv).empty();  // records tell it
    *failure = {kExitUsage, "run: a PLAN is wanted"};
    for (const std::string& path : paths) {
        results->emplace_back();
        if (!load_plan(path, given, hashed, &results->back(), failure)) {
            return false;
        }
        if (!invocation.pcap.empty() && !results->back().plan.secrets.empty()) {
            failure->text = "run: --pcap would record the secrets of " + path;
            return false;
        }
    }
    return !paths.empty() && check_names(given, *results, failure);
}

// Runs the plans one after the other. Returns the exit status of the first that is not done.
int run_all(Runner* runner, const Manner& manner, std::vector<PlanResult>* results) {
    int exit_status = kExitDone;
    for (PlanResult& result : *results) {
        runner->variables = result.variables;
        run_plan(runner, manner, &result);
        exit_status = exit_status == kExitDone || result.aborted ? result.exit_status : exit_status;
        if (result.aborted || (manner.options->stop && exit_status != kExitDone)) {
            break;
        }
    }
    return exit_status;
}

}  // namespace

size_t count(const PlanResult& plan, Outcome outcome) {
    return static_cast<size_t>(std::count_if(plan.steps.begin(), plan.steps.end(),
                                             [&](const StepResult& step) { return step.outcome == outcome; }));
}

int run_plans(Session* session, const Invocation& invocation, const Style& style, int out_fd) {
    Runner runner{session, {}, {}, kExitDone};
    phone_of_address(session->address, &runner.phone);
    std::vector<PlanResult> results;
    Reports reports;
    Failure failure;
    if (!load_plans(invocation, &results, &failure)) {
        warn(failure.text);
        return failure.exit_status;
    }
    std::string error;
    if (!reports_open(invocation, style, out_fd, &reports, &error)) {
        warn(error);
        return kExitFailure;
    }
    stop_on_signals();
    const int exit_status = run_all(&runner, {&invocation, style, out_fd, &reports}, &results);
    const bool written = reports_finish(&reports, &error);
    if (!written) {
        warn(error);
        return kExitFailure;
    }
    return exit_status;
}

}  // namespace vdiag
