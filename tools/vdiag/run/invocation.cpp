// The table of options and their parsing.
#include "tools/vdiag/run/invocation.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "tools/vdiag/words/text.h"

namespace vdiag {
namespace {

// clang-format off
constexpr OptionRow kOptions[] = {
    {"-c,--connect",  "ADDRESS", nullptr,  "the phone: unix:PATH, tcp:HOST:PORT, tty:PATH", &Invocation::connect,  nullptr},
    {"-t,--timeout",  "TIME",    nullptr,  "wait this long for each answer, such as 2s or 300ms (10s)", &Invocation::timeout, nullptr},
    {"-r,--retry",    "N",       nullptr,  "ask N more times after a timeout, for commands that only read", &Invocation::retry, nullptr},
    {"-j,--json",     nullptr,   nullptr,  "one JSON object for each answer", nullptr, &Invocation::json},
    {"-x,--hex",      nullptr,   nullptr,  "show both packets too", nullptr, &Invocation::hex},
    {"-p,--pcap",     "FILE",    nullptr,  "record every packet for Wireshark; - is standard output", &Invocation::pcap, nullptr},
    {"-q,--quiet",    nullptr,   nullptr,  "no warnings about packets that were dropped", nullptr, &Invocation::quiet},
    {"-h,--help",     nullptr,   nullptr,  "help, also for one command", nullptr, &Invocation::help},
    {"--version",     nullptr,   nullptr,  "version and commit", nullptr, &Invocation::version},
    {"-f,--file",     "FILE",    "raw",    "read the hexadecimal request from FILE; - is standard input", &Invocation::file, nullptr},
    {"-m,--map",      "MAP",     "ftm",    "send the name as it is to this map: main, ext or battery", &Invocation::map, nullptr},
    {"-o,--output",   "FILE",    "csr",    "write the request to FILE; - is standard output", &Invocation::output, nullptr},
    {"-g,--generate", nullptr,   "csr",    "have the phone produce a new request first", nullptr, &Invocation::generate},
    {"-k,--key",      "PEM",     "unlock", "the private key", &Invocation::key, nullptr},
    {"--for",         "TIME",    "keys",   "watch this long (30s)", &Invocation::lasting, nullptr},
    {"-i,--install",  "DEVICE",  "keybox", "install the keybox for this device identifier when it has arrived", &Invocation::device, nullptr},
    {"-l,--listen",   "ADDRESS", "serve",  "serve whoever connects to this Unix socket instead of standard input", &Invocation::listen, nullptr},
    {"--junit",       "FILE",    "run",    "write a JUnit report", &Invocation::junit, nullptr},
    {"-s,--stop",     nullptr,   "run",    "stop at the first failure", nullptr, &Invocation::stop},
    {"--fresh",       nullptr,   "run",    "run each case of a plan on a fresh simulated phone of its own", nullptr, &Invocation::fresh},
    {"--only",        "TEXT",    "run",    "run the cases with this in their title", &Invocation::only, nullptr},
};
// clang-format on

// An option that belongs to other commands than the one that is named.
std::string misplaced(const OptionRow& row, const Invocation& invocation) {
    const bool given = row.flag != nullptr ? invocation.*row.flag : !(invocation.*row.text).empty();
    if (row.verbs == nullptr || !given) {
        return "";
    }
    const std::string verb = invocation.words.empty() ? "" : invocation.words[0];
    for (const std::string_view owner : split(row.verbs, ' ')) {
        if (equal_names(owner, verb)) {
            return "";
        }
    }
    return std::string(row.names) + " belongs to '" + row.verbs + "'";
}

}  // namespace

std::span<const OptionRow> option_rows() { return kOptions; }

bool invocation_parse(const std::vector<std::string>& arguments, Invocation* invocation, std::string* error) {
    CLI::App app;
    app.set_help_flag();
    for (const OptionRow& row : kOptions) {
        if (row.flag != nullptr) {
            app.add_flag(row.names, invocation->*row.flag);
        } else {
            app.add_option(row.names, invocation->*row.text);
        }
    }
    app.add_option("words", invocation->words);
    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(reversed);
    } catch (const CLI::ParseError& problem) {
        *error = problem.what();
        return false;
    }
    for (const OptionRow& row : kOptions) {
        *error = misplaced(row, *invocation);
        if (!error->empty()) {
            return false;
        }
    }
    return true;
}

}  // namespace vdiag
