// JUnit and CSV, made of records.
#include "tools/vdiag/plan/record.h"

namespace vdiag {
namespace {

// A text as it is; everything else as in JSON, but nothing for null.
std::string plain_of(const Record& value) {
    return value.is_string() ? value.get<std::string>() : value.is_null() ? "" : value.dump();
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

std::string attribute(const char* name, const Record& value) {
    return std::string(" ") + name + "=\"" + xml_text(plain_of(value)) + "\"";
}

std::string property(const std::string& name, const Record& value) {
    return "<property" + attribute("name", name) + attribute("value", value) + "/>\n";
}

std::string seconds_text(const Record& record) {
    char text[32];
    (void)snprintf(text, sizeof(text), "%.3f", record["seconds"].get<double>());
    return text;
}

std::string junit_case(const Record& step, const std::string& plan) {
    const std::string title = plain_of(step["case"]);
    std::string out = "    <testcase" + attribute("classname", title.empty() ? plan : plan + ": " + title) +
                      attribute("name", plain_of(step["line"]) + ": " + plain_of(step["request"])) +
                      attribute("time", seconds_text(step)) + attribute("timestamp", step["start"]) + ">\n";
    std::string properties;
    for (const Record& measured : step["measurements"]) {
        for (const char* member : {"value", "unit", "low", "high", "verdict"}) {
            properties += "        " + property(plain_of(measured["name"]) + "." + member, measured[member]);
        }
    }
    out += properties.empty() ? "" : "      <properties>\n" + properties + "      </properties>\n";
    if (step["outcome"] == "skipped") {
        out += "      <skipped/>\n";
    } else if (step["outcome"] == "failed") {
        out += "      <failure" + attribute("type", step["error"]["class"]) +
               attribute("message", step["error"]["text"]) + "/>\n";
    }
    return out + "    </testcase>\n";
}

std::string junit_suite(const Record& run, const std::vector<const Record*>& steps) {
    const std::string plan = plain_of(run["plan"]["name"]);
    std::string out = "  <testsuite" + attribute("name", plan) + attribute("tests", run["steps"]) +
                      attribute("failures", run["failed"]) + attribute("skipped", run["skipped"]) +
                      attribute("time", seconds_text(run)) + attribute("timestamp", run["start"]) +
                      ">\n    <properties>\n";
    out += "      " + property("plan.sha256", run["plan"]["sha256"]);
    for (const char* member : {"run", "client", "address", "serial", "verdict", "aborted"}) {
        out += "      " + property(member, run[member]);
    }
    for (const auto& [name, value] : run["variables"].items()) {
        out += "      " + property("variable." + name, value);
    }
    out += "    </properties>\n";
    for (const Record* step : steps) {
        out += junit_case(*step, plan);
    }
    return out + "  </testsuite>\n";
}

// Calls `take` with each run and its steps: a run's own record is its last.
template <typename Take>
void each_run(const std::vector<Record>& records, const Take& take) {
    std::vector<const Record*> steps;
    for (const Record& record : records) {
        if (record["type"] == "step") {
            steps.push_back(&record);
        } else {
            take(record, steps);
            steps.clear();
        }
    }
}

// A cell of a table. A phone's text that a spreadsheet would carry out begins with an apostrophe.
std::string cell(const Record& value) {
    std::string text = plain_of(value);
    if (value.is_string()) {
        text = printable(text);
        text = !text.empty() && std::string("=+-@").find(text[0]) != std::string::npos ? "'" + text : text;
    }
    if (text.find_first_of(",\"") == std::string::npos) {
        return text;
    }
    std::string out = "\"";
    for (const char c : text) {
        out += c == '"' ? "\"\"" : std::string(1, c);
    }
    return out + "\"";
}

std::string row(const std::vector<Record>& values) {
    std::string out;
    for (const Record& value : values) {
        out += (&value == values.data() ? "" : ",") + cell(value);
    }
    return out + "\r\n";
}

void add_rows(const Record& run, const Record& step, std::string* out) {
    const Record& answer = step["answer"];
    const auto told = [&](const char* member) {
        return answer.is_object() && answer.contains(member) ? answer[member] : Record();
    };
    const std::vector<Record> head = {
        run["run"],       run["plan"]["name"], run["plan"]["sha256"], run["client"],
        run["serial"],    run["verdict"],      step["case"],          step["line"],
        step["request"],  step["outcome"],     step["start"],         step["seconds"],
        step["attempts"], told("status"),      told("status_text"),   step["error"]["text"]};
    const Record none = {
        {{"name", ""}, {"value", nullptr}, {"unit", ""}, {"low", nullptr}, {"high", nullptr}, {"verdict", ""}}};
    for (const Record& measured : step["measurements"].empty() ? none : step["measurements"]) {
        std::vector<Record> values = head;
        for (const char* member : {"name", "value", "unit", "low", "high", "verdict"}) {
            values.push_back(measured[member]);
        }
        *out += row(values);
    }
}

}  // namespace

std::string junit_text(const std::vector<Record>& records) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    each_run(records,
             [&](const Record& run, const std::vector<const Record*>& steps) { out += junit_suite(run, steps); });
    return out + "</testsuites>\n";
}

std::string csv_text(const std::vector<Record>& records) {
    std::string out =
        "run,plan,plan_sha256,client,serial,run_verdict,case,line,request,outcome,start,seconds,attempts,status,"
        "status_text,reason,measurement,value,unit,low,high,verdict\r\n";
    each_run(records, [&](const Record& run, const std::vector<const Record*>& steps) {
        for (const Record* step : steps) {
            add_rows(run, *step, &out);
        }
    });
    return out;
}

}  // namespace vdiag
