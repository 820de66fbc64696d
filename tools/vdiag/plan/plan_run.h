// Running plans: a table of results as it goes, a summary, JSON and JUnit reports.
#pragma once

#include <string>
#include <vector>

#include "tools/vdiag/plan/plan.h"
#include "tools/vdiag/run/report.h"

namespace vdiag {

enum class Outcome { kPassed, kFailed, kSkipped };

struct StepResult {
    const PlanStep* step = nullptr;
    Outcome outcome = Outcome::kSkipped;
    std::string reason;  // one line; empty when it passed
    double seconds = 0;
    bool answered = false;
    int failure = kExitDone;  // why there is no answer
    Answer answer;
};

struct PlanResult {
    Plan plan;
    Variables variables;  // at its beginning
    std::vector<StepResult> steps;
    int exit_status = kExitDone;
    double seconds = 0;
    bool aborted = false;  // by a signal: what was not run is missing or skipped
};

// "vdiag run PLAN... [NAME=VALUE...]". Returns the exit status.
int run_plans(Session* session, const Invocation& invocation, const Style& style, int out_fd);

std::string junit_text(const std::vector<PlanResult>& results);

}  // namespace vdiag
