// Running plans: a table of results as it goes, a summary, records and reports.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/vdiag/plan/plan.h"
#include "tools/vdiag/run/report.h"

namespace vdiag {

using WallClock = std::chrono::system_clock;

enum class Outcome { kPassed, kFailed, kSkipped };

struct Measured {
    const Measure* measure = nullptr;
    Outcome outcome = Outcome::kSkipped;
    std::string value;  // decimal; empty: nothing was measured
    std::string low;    // empty: no limit
    std::string high;
};

struct StepResult {
    const PlanStep* step = nullptr;
    std::string title;  // of the step's case
    Outcome outcome = Outcome::kSkipped;
    std::string reason;  // one line; empty when it passed
    WallClock::time_point start;
    double seconds = 0;
    unsigned attempts = 0;  // how often the line was asked
    bool answered = false;
    int failure = kExitDone;  // why there is no answer
    Answer answer;
    std::vector<Measured> measured;
};

struct PlanResult {
    Plan plan;
    std::string sha256;   // of the plan's text; empty: nobody wants it
    std::string id;       // of this run, told by all its records
    std::string address;  // of the phone
    std::string serial;   // of the phone, when a step has read it
    Variables variables;  // at its beginning
    Variables given;      // by the station
    std::vector<StepResult> steps;
    int exit_status = kExitDone;
    WallClock::time_point start;
    double seconds = 0;
    bool aborted = false;  // by a signal: what was not run is missing or skipped
};

size_t count(const PlanResult& plan, Outcome outcome);

// "vdiag run PLAN... [NAME=VALUE...]". Returns the exit status.
int run_plans(Session* session, const Invocation& invocation, const Style& style, int out_fd);

}  // namespace vdiag
