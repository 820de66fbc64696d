// vdiag, the command-line client of the factory-diagnostics daemon.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "tools/vdiag/face/help.h"
#include "tools/vdiag/face/prompt.h"
#include "tools/vdiag/plan/plan_run.h"
#include "tools/vdiag/run/invocation.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/probe.h"
#include "tools/vdiag/run/report.h"
#include "tools/vdiag/serve/serve.h"
#include "version/version.h"

namespace vdiag {
namespace {

constexpr int kProbeTimeout = 1000;  // milliseconds, unless one is given

int fail(const Failure& failure) {
    warn(failure.text);
    return failure.exit_status;
}

int print(const std::string& text, int fd = STDOUT_FILENO) {
    if (!write_all(fd, text)) {
        warn(std::string("cannot write the output: ") + std::strerror(errno));
        return kExitFailure;
    }
    return kExitDone;
}

// With a recording on standard output the answers go to standard error.
int answer_fd(const Invocation& invocation) { return invocation.pcap == "-" ? STDERR_FILENO : STDOUT_FILENO; }

Style style_of(const Invocation& invocation) {
    return {invocation.json, invocation.hex, colours(answer_fd(invocation)), false};
}

// Puts the options into force.
bool configure(const Invocation& invocation, Session* session, Failure* failure) {
    session->address = invocation.connect.empty() ? default_address() : invocation.connect;
    session->quiet = invocation.quiet;
    session->speed = static_cast<unsigned>(number_parse(invocation.speed).value_or(0));
    session->timeout_ms = milliseconds_parse(invocation.timeout).value_or(session->timeout_ms);
    session->retries = static_cast<unsigned>(number_parse(invocation.retry).value_or(0));
    std::string error;
    if (!invocation.pcap.empty() && !pcap_open(invocation.pcap, &session->pcap, &error)) {
        *failure = {kExitFailure, error};
        return false;
    }
    return true;
}

int print_answer(const Answer& answer, const Invocation& invocation) {
    const int fd = answer_fd(invocation);
    Style style = style_of(invocation);
    style.raw = answer.title == "raw";
    if (print(report_answer(answer, style), fd) != kExitDone) {
        return kExitFailure;
    }
    const std::string text = complaint(answer);
    if (!text.empty()) {
        warn(text);
    }
    return exit_status_of(answer);
}

// A person is asked before what cannot be taken back; elsewhere it must have been said. A wrong command line is not
// asked about.
bool agreed(const Invocation& invocation, Failure* failure) {
    Asked asked;
    Failure ignored;
    if (invocation.yes || !perform_check(invocation, &asked, &ignored) || asked.command == nullptr ||
        asked.command->effect < Effect::kFinal) {
        return true;
    }
    const std::string what = invocation.words[0] + (invocation.words.size() > 1 ? " " + invocation.words[1] : "") +
                             ": " + effect_text(asked.command->effect);
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        *failure = {kExitUsage, what + "; --yes sends it"};
        return false;
    }
    std::string answer;
    (void)fprintf(stderr, "%s. Go on? [y/N] ", terminal_text(what).c_str());
    *failure = {kExitUsage, "nothing was sent"};
    return std::getline(std::cin, answer) && (equal_names(answer, "y") || equal_names(answer, "yes"));
}

int ask(Session* session, const Invocation& invocation) {
    Failure failure;
    if (!agreed(invocation, &failure)) {
        return fail(failure);
    }
    Answer answer;
    return perform(session, invocation, &answer, &failure) ? print_answer(answer, invocation) : fail(failure);
}

int run_help(const std::vector<std::string>& words) {
    std::string text;
    if (words.empty()) {
        return print(help_text());
    }
    return help_for(words, &text) ? print(text) : fail({kExitUsage, "no command '" + words[0] + "'"});
}

int run_completion(const Invocation& invocation) {
    const std::string script = invocation.words.size() == 2 ? completion_script(invocation.words[1]) : "";
    return script.empty() ? fail({kExitUsage, "completion takes bash, zsh or fish"}) : print(script);
}

// Writes what the build makes of the catalogue: the manual, its index or the manual page.
int run_generate(const Invocation& invocation) {
    const std::string what = invocation.words.size() == 2 ? invocation.words[1] : "";
    return print(what == "page" ? manual_page() : what == "index" ? manual_index() : manual_markdown());
}

int run_probe(const Invocation& invocation) {
    const std::vector<std::string> given(invocation.words.begin() + 1, invocation.words.end());
    const int timeout = milliseconds_parse(invocation.timeout).value_or(kProbeTimeout);
    return probe(given.empty() ? usual_places() : given, timeout, style_of(invocation), STDOUT_FILENO);
}

int run_prompt(Session* session, const Invocation& options);

int dispatch(Session* session, const Invocation& invocation) {
    const std::string verb = invocation.words.empty() ? "" : invocation.words[0];
    if (invocation.version) {
        return print(std::string("vdiag ") + version_text() + "\n");
    }
    if (invocation.help || verb == "help") {
        const std::ptrdiff_t from = verb == "help" ? 1 : 0;
        return run_help({invocation.words.begin() + from, invocation.words.end()});
    }
    if (verb == "list") {
        return print(list_text());
    }
    if (verb == "completion") {
        return run_completion(invocation);
    }
    if (verb == "generate-manual") {
        return run_generate(invocation);
    }
    if (verb == "serve") {
        return serve(session, invocation.listen);
    }
    if (verb == "probe") {
        return run_probe(invocation);
    }
    if (verb == "run") {
        return run_plans(session, invocation, style_of(invocation), answer_fd(invocation));
    }
    if (verb.empty() && isatty(STDIN_FILENO) != 0) {
        return run_prompt(session, invocation);
    }
    return ask(session, invocation);
}

// Options that were given to the program hold for every line.
int run_prompt(Session* session, const Invocation& options) {
    prompt_loop([&](const std::vector<std::string>& words) {
        Invocation line;
        std::string error;
        if (!invocation_parse(words, LineOf::kPrompt, &line, &error)) {
            warn(error);
            return;
        }
        line.json = line.json || options.json;
        line.hex = line.hex || options.hex;
        line.pcap = options.pcap;
        (void)dispatch(session, line);
    });
    return kExitDone;
}

int run(const std::vector<std::string>& arguments) {
    Invocation invocation;
    Session session;
    Failure failure;
    if (!invocation_parse(arguments, LineOf::kProgram, &invocation, &failure.text)) {
        return fail({kExitUsage, failure.text});
    }
    if (!configure(invocation, &session, &failure)) {
        return fail(failure);
    }
    const int status = dispatch(&session, invocation);
    pcap_close(&session.pcap);
    return status;
}

}  // namespace
}  // namespace vdiag

int main(int argc, char** argv) { return vdiag::run(std::vector<std::string>(argv + 1, argv + argc)); }
