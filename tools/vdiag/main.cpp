// vdiag, the command-line client of the factory-diagnostics daemon.
#include <unistd.h>

#include <cstdio>

#include "tools/vdiag/invocation.h"
#include "tools/vdiag/perform.h"
#include "tools/vdiag/report.h"

namespace vdiag {
namespace {

// Puts the options into force.
bool configure(const Invocation& invocation, Session* session, Failure* failure) {
    session->address = invocation.connect.empty() ? default_address() : invocation.connect;
    session->quiet = invocation.quiet;
    const auto timeout = milliseconds_parse(invocation.timeout.empty() ? "10s" : invocation.timeout);
    const auto retries = number_parse(invocation.retry.empty() ? "0" : invocation.retry);
    if (!timeout || !retries || *retries > 1000) {
        *failure = {kExitUsage,
                    !timeout ? "--timeout takes a time such as 2s or 300ms" : "--retry takes a number to 1000"};
        return false;
    }
    session->timeout_ms = *timeout;
    session->retries = static_cast<unsigned>(*retries);
    std::string error;
    if (!invocation.pcap.empty() && !pcap_open(invocation.pcap, &session->pcap, &error)) {
        *failure = {kExitFailure, error};
        return false;
    }
    return true;
}

int fail(const Failure& failure) {
    warn(failure.text);
    return failure.exit_status;
}

// With a recording on standard output the answers go to standard error.
int print_answer(const Answer& answer, const Invocation& invocation) {
    const int fd = invocation.pcap == "-" ? STDERR_FILENO : STDOUT_FILENO;
    const bool raw = answer.title == "raw";
    const Style style{invocation.json, invocation.hex, colours(fd), raw};
    if (!write_all(fd, report_answer(answer, style))) {
        return kExitFailure;
    }
    const std::string text = complaint(answer);
    if (!text.empty()) {
        warn(text);
    }
    return exit_status_of(answer);
}

int ask(const Invocation& invocation) {
    Session session;
    Failure failure;
    Answer answer;
    if (!configure(invocation, &session, &failure) || !perform(&session, invocation, &answer, &failure)) {
        return fail(failure);
    }
    return print_answer(answer, invocation);
}

int run(const std::vector<std::string>& arguments) {
    Invocation invocation;
    std::string error;
    if (!invocation_parse(arguments, &invocation, &error)) {
        return fail({kExitUsage, error});
    }
    return ask(invocation);
}

}  // namespace
}  // namespace vdiag

int main(int argc, char** argv) { return vdiag::run(std::vector<std::string>(argv + 1, argv + argc)); }
