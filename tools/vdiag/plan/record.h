// Records of runs: JSON objects on a line each, as schema/run-record.schema.json tells them, and what is made of them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/include/handles.h"
#include "tools/vdiag/plan/plan_run.h"

namespace vdiag {

using Record = nlohmann::ordered_json;

// Where the records go.
struct Reports {
    bool wanted = false;  // somebody reads records
    int shown_fd = -1;    // for --json; not ours
    UniqueFd record;
    UniqueFd junit;
    UniqueFd csv;
    std::vector<Record> kept;  // for the reports that are written at the end
    std::string failure;       // the first record that could not be written
};

// Opens what the command line names, before anything is sent. False: `error`.
bool reports_open(const Invocation& invocation, const Style& style, int out_fd, Reports* reports, std::string* error);

// Writes one record, durably when it ends a run.
void reports_add(Reports* reports, Record record);

// Writes the reports that are made of all records. False: `error` says what was not written, now or before.
bool reports_finish(Reports* reports, std::string* error);

// Identifies a run.
std::string run_id();

Record step_record(const PlanResult& plan, const StepResult& result, const Style& style);
Record run_record(const PlanResult& plan);

std::string junit_text(const std::vector<Record>& records);
// A row for each measurement, and one for each step without any.
std::string csv_text(const std::vector<Record>& records);

}  // namespace vdiag
