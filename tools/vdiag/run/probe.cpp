// Finding out which addresses a phone answers at.
#include "tools/vdiag/run/probe.h"

#include <glob.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "tools/vdiag/run/perform.h"

namespace vdiag {
namespace {

constexpr const char* kSerialDevices[] = {"/dev/ttyUSB*", "/dev/ttyACM*", "/dev/ttyGS*"};

void add_once(const std::string& address, std::vector<std::string>* list) {
    if (std::find(list->begin(), list->end(), address) == list->end()) {
        list->push_back(address);
    }
}

struct Finding {
    bool answers = false;
    std::string text;
};

Finding ask_version(const std::string& address, int timeout_ms) {
    Session session;
    session.address = address;
    session.timeout_ms = timeout_ms;
    session.quiet = true;
    Invocation invocation;
    invocation.words = {"version", "diag"};
    Answer answer;
    Failure failure;
    if (!perform(&session, invocation, &answer, &failure)) {
        return {false, failure.text};
    }
    const Value* model = answer.find("model");
    if (!answer.good() || model == nullptr) {
        return {true, "answers, but not as a phone does: " + complaint(answer)};
    }
    return {true, "model " + model->plain()};
}

}  // namespace

std::vector<std::string> usual_places() {
    std::vector<std::string> places;
    const char* listen = getenv("VENDORDIAG_LISTEN");
    for (const std::string_view address : split(listen != nullptr ? listen : "", ',')) {
        add_once(std::string(address), &places);
    }
    add_once(default_address(), &places);
    for (const char* pattern : kSerialDevices) {
        glob_t found{};
        if (glob(pattern, 0, nullptr, &found) == 0) {
            for (size_t i = 0; i < found.gl_pathc; ++i) {
                add_once(std::string("tty:") + found.gl_pathv[i], &places);
            }
        }
        globfree(&found);
    }
    return places;
}

int probe(const std::vector<std::string>& addresses, int timeout_ms, const Style& style, int out_fd) {
    bool any = false;
    for (const std::string& address : addresses) {
        const Finding finding = ask_version(address, timeout_ms);
        any = any || finding.answers;
        const nlohmann::ordered_json object = {
            {"address", printable(address)}, {"answers", finding.answers}, {"text", printable(finding.text)}};
        const std::string line = style.json ? object.dump(-1, ' ', true) : terminal_text(address + "  " + finding.text);
        (void)write_all(out_fd, line + "\n");
    }
    if (!any) {
        warn("no phone answers");
    }
    return any ? kExitDone : kExitConnect;
}

}  // namespace vdiag
