// From results to records.
#include "tools/vdiag/plan/record.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "version/version.h"

namespace vdiag {
namespace {

constexpr int kVersion = 1;  // of the records' form
constexpr const char* kOutcomes[] = {"passed", "failed", "skipped"};

const char* outcome_word(Outcome outcome) { return kOutcomes[static_cast<size_t>(outcome)]; }

std::string text_of(const std::string& text) { return is_utf8(text) ? text : printable(text); }

// "2026-01-31T23:59:59.999Z"
std::string utc_text(WallClock::time_point time) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const time_t seconds = static_cast<time_t>(milliseconds / 1000);
    tm parts{};
    (void)gmtime_r(&seconds, &parts);
    char day[32];
    char text[48];
    (void)strftime(day, sizeof(day), "%Y-%m-%dT%H:%M:%S", &parts);
    (void)snprintf(text, sizeof(text), "%s.%03dZ", day, static_cast<int>(milliseconds % 1000));
    return text;
}

// The end is told by the start and a clock that nobody sets.
void add_times(WallClock::time_point start, double seconds, Record* record) {
    const auto lasted = std::chrono::duration_cast<WallClock::duration>(std::chrono::duration<double>(seconds));
    (*record)["start"] = utc_text(start);
    (*record)["end"] = utc_text(start + lasted);
    (*record)["seconds"] = seconds;
}

// Whole numbers stay exact.
Record number_of(const std::string& text) {
    if (text.empty()) {
        return nullptr;
    }
    char* end = nullptr;
    errno = 0;
    const long long whole = std::strtoll(text.c_str(), &end, 10);
    return *end == '\0' && errno == 0 ? Record(whole) : Record(std::strtod(text.c_str(), nullptr));
}

Record measurements_of(const StepResult& result) {
    Record list = Record::array();
    for (const Measured& measured : result.measured) {
        list.push_back({{"name", text_of(measured.measure->name)},
                        {"field", text_of(measured.measure->field)},
                        {"value", number_of(measured.value)},
                        {"unit", text_of(measured.measure->unit)},
                        {"low", number_of(measured.low)},
                        {"high", number_of(measured.high)},
                        {"verdict", outcome_word(measured.outcome)}});
    }
    return list;
}

Record error_of(int exit_status, const std::string& text) {
    return {{"class", exit_class(exit_status)}, {"number", exit_status}, {"text", text_of(text)}};
}

// What a failed step would be as an exit status.
int step_status(const StepResult& result) {
    if (result.outcome != Outcome::kFailed) {
        return kExitDone;
    }
    if (result.answered && result.failure == kExitDone) {
        return complaint(result.answer) == result.reason ? exit_status_of(result.answer) : kExitExpectation;
    }
    return result.failure != kExitDone ? result.failure : kExitFailure;
}

std::string line_of(const Record& record) {
    return record.dump(-1, ' ', true, Record::error_handler_t::replace) + "\n";
}

bool open_report(const std::string& path, int flags, UniqueFd* fd, std::string* error) {
    if (path.empty()) {
        return true;
    }
    *fd = UniqueFd(path == "-" ? dup(STDOUT_FILENO) : open(path.c_str(), flags | O_CREAT | O_CLOEXEC, 0666));
    *error = "cannot write " + path + ": " + strerror(errno);
    return fd->ok();
}

// A record that a power cut has left without its end gets a line of its own.
void end_last_line(const std::string& path, int fd) {
    const UniqueFd last(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char end = '\n';
    if (last.ok() && lseek(last.get(), -1, SEEK_END) >= 0 && read(last.get(), &end, 1) == 1 && end != '\n') {
        (void)write_all(fd, "\n");
    }
}

}  // namespace

std::string run_id() {
    constexpr size_t kSize = 16;
    uint8_t bytes[kSize] = {};
    (void)!getrandom(bytes, kSize, 0);  // so few bytes cannot fail once the kernel has started
    return hex_text(bytes, kSize);
}

Record step_record(const PlanResult& plan, const StepResult& result, const Style& style) {
    Record record = {{"type", "step"},
                     {"version", kVersion},
                     {"run", plan.id},
                     {"line", result.step->line},
                     {"case", result.title.empty() ? Record() : Record(text_of(result.title))},
                     {"request", text_of(result.step->text)},
                     {"outcome", outcome_word(result.outcome)}};
    if (result.outcome == Outcome::kSkipped) {
        record.update({{"start", nullptr}, {"end", nullptr}, {"seconds", 0}});
    } else {
        add_times(result.start, result.seconds, &record);
    }
    record["attempts"] = result.attempts;
    record["error"] = error_of(step_status(result), result.reason);
    record["measurements"] = measurements_of(result);
    record["answer"] = nullptr;
    if (result.answered) {
        Style json = style;
        json.json = true;
        record["answer"] = Record::parse(report_answer(result.answer, json));
    }
    return record;
}

Record run_record(const PlanResult& plan) {
    Record variables = Record::object();
    for (const auto& [name, value] : plan.given) {
        if (!plan.plan.secrets.contains(name) && plan.plan.names.contains(name)) {
            variables[name] = text_of(value);
        }
    }
    const size_t passed = count(plan, Outcome::kPassed);
    const char* verdict = plan.exit_status != kExitDone ? "failed" : passed > 0 ? "passed" : "skipped";
    Record record = {{"type", "run"},
                     {"version", kVersion},
                     {"run", plan.id},
                     {"plan", {{"name", text_of(plan.plan.path)}, {"sha256", plan.sha256}}},
                     {"client", version_text()},
                     {"address", text_of(plan.address)},
                     {"serial", plan.serial.empty() ? Record() : Record(text_of(plan.serial))},
                     {"variables", variables},
                     {"verdict", verdict},
                     {"aborted", plan.aborted},
                     {"steps", plan.steps.size()},
                     {"passed", passed},
                     {"failed", count(plan, Outcome::kFailed)},
                     {"skipped", count(plan, Outcome::kSkipped)}};
    add_times(plan.start, plan.seconds, &record);
    record["error"] = error_of(plan.exit_status, "");
    return record;
}

bool reports_open(const Invocation& invocation, const Style& style, int out_fd, Reports* reports, std::string* error) {
    reports->shown_fd = style.json ? out_fd : -1;
    if (!open_report(invocation.record, O_WRONLY | O_APPEND, &reports->record, error) ||
        !open_report(invocation.junit, O_WRONLY | O_TRUNC, &reports->junit, error) ||
        !open_report(invocation.csv, O_WRONLY | O_TRUNC, &reports->csv, error)) {
        return false;
    }
    if (reports->record.ok()) {
        end_last_line(invocation.record, reports->record.get());
    }
    reports->wanted = style.json || reports->record.ok() || reports->junit.ok() || reports->csv.ok();
    return true;
}

void reports_add(Reports* reports, Record record) {
    const std::string line = line_of(record);
    if (reports->shown_fd >= 0) {
        (void)write_all(reports->shown_fd, line);
    }
    if (reports->record.ok()) {
        const int fd = reports->record.get();
        const bool durable = record["type"] == "run";
        const bool written = write_all(fd, line) && (!durable || fdatasync(fd) == 0 || errno == EINVAL);
        if (!written && reports->failure.empty()) {
            reports->failure = std::string("cannot write the record: ") + strerror(errno);
        }
    }
    if (reports->junit.ok() || reports->csv.ok()) {
        reports->kept.push_back(std::move(record));
    }
}

bool reports_finish(Reports* reports, std::string* error) {
    *error = reports->failure;
    if (reports->junit.ok() && !write_all(reports->junit.get(), junit_text(reports->kept))) {
        *error = std::string("cannot write the JUnit report: ") + strerror(errno);
    }
    if (reports->csv.ok() && !write_all(reports->csv.get(), csv_text(reports->kept))) {
        *error = std::string("cannot write the table: ") + strerror(errno);
    }
    return error->empty();
}

}  // namespace vdiag
