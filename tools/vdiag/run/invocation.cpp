// The table of options and their parsing.
#include "tools/vdiag/run/invocation.h"

#include <algorithm>

#include "tools/vdiag/wire/serial.h"
#include "tools/vdiag/words/text.h"

namespace vdiag {
namespace {

constexpr uint64_t kMostRetries = 1000;

// clang-format off
constexpr OptionRow kOptions[] = {
    {"-c,--connect",  "ADDRESS", nullptr,  LineOf::kProgram,  "the phone: unix:PATH, tcp:HOST:PORT, tty:PATH, usb:VENDOR:PRODUCT[:SERIAL]", &Invocation::connect,  nullptr},
    {"-t,--timeout",  "TIME",    nullptr,  LineOf::kPlan,     "wait this long for each answer, such as 2s or 300ms (10s)", &Invocation::timeout, nullptr},
    {"-r,--retry",    "N",       nullptr,  LineOf::kPlan,     "ask N more times after a timeout, for commands that only read", &Invocation::retry, nullptr},
    {"-b,--speed",    "RATE",    nullptr,  LineOf::kProgram,  "bits per second of a serial line, such as 115200 (as it is)", &Invocation::speed, nullptr},
    {"-y,--yes",      nullptr,   nullptr,  LineOf::kPrompt,   "no question before what erases, cannot be undone or takes the phone down", nullptr, &Invocation::yes},
    {"-j,--json",     nullptr,   nullptr,  LineOf::kPrompt,   "one JSON object for each answer", nullptr, &Invocation::json},
    {"-x,--hex",      nullptr,   nullptr,  LineOf::kPrompt,   "show both packets too", nullptr, &Invocation::hex},
    {"-p,--pcap",     "FILE",    nullptr,  LineOf::kProgram,  "record every packet for Wireshark; - is standard output", &Invocation::pcap, nullptr},
    {"-q,--quiet",    nullptr,   nullptr,  LineOf::kProgram,  "no warnings about packets that were dropped", nullptr, &Invocation::quiet},
    {"-h,--help",     nullptr,   nullptr,  LineOf::kPrompt,   "help, also for one command", nullptr, &Invocation::help},
    {"--version",     nullptr,   nullptr,  LineOf::kPrompt,   "version and commit", nullptr, &Invocation::version},
    {"-f,--file",     "FILE",    "raw",    LineOf::kPlan,     "read the hexadecimal request from FILE; - is standard input", &Invocation::file, nullptr},
    {"-m,--map",      "MAP",     "ftm",    LineOf::kPlan,     "send the name as it is to this map: main, ext or battery", &Invocation::map, nullptr},
    {"-o,--output",   "FILE",    "csr",    LineOf::kPlan,     "write the request to FILE; - is standard output", &Invocation::output, nullptr},
    {"-g,--generate", nullptr,   "csr",    LineOf::kPlan,     "have the phone produce a new request first", nullptr, &Invocation::generate},
    {"-k,--key",      "PEM",     "unlock",  LineOf::kPlan,     "the private key", &Invocation::key, nullptr},
    {"--for",         "TIME",    "keys",    LineOf::kPlan,     "watch this long (30s)", &Invocation::lasting, nullptr},
    {"-i,--install",  "DEVICE",  "keybox",  LineOf::kPlan,     "install the keybox for this device identifier when it has arrived", &Invocation::device, nullptr},
    {"-l,--listen",   "ADDRESS", "serve",  LineOf::kProgram,  "serve whoever connects to this Unix socket instead of standard input", &Invocation::listen, nullptr},
    {"--junit",       "FILE",    "run",    LineOf::kPrompt,   "write a JUnit report", &Invocation::junit, nullptr},
    {"--csv",         "FILE",    "run",    LineOf::kPrompt,   "write a table of steps and measurements", &Invocation::csv, nullptr},
    {"--record",      "FILE",    "run",    LineOf::kPrompt,   "append JSON records of the run and its steps", &Invocation::record, nullptr},
    {"-s,--stop",     nullptr,   "run",    LineOf::kPrompt,   "stop at the first failure", nullptr, &Invocation::stop},
    {"--fresh",       nullptr,   "run",    LineOf::kPrompt,   "run each case of a plan on a fresh simulated phone of its own", nullptr, &Invocation::fresh},
    {"--only",        "TEXT",    "run",    LineOf::kPrompt,   "run the cases with this in their title", &Invocation::only, nullptr},
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

// "-c" or "--connect" among "-c,--connect".
const OptionRow* find_option(std::string_view name) {
    for (const OptionRow& row : kOptions) {
        const std::vector<std::string_view> names = split(row.names, ',');
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            return &row;
        }
    }
    return nullptr;
}

struct Parser {
    const std::vector<std::string>& arguments;
    LineOf line;
    Invocation* invocation;
    std::string* error;
    size_t next = 0;
};

bool refuse(const std::string& text, std::string* error) {
    *error = text;
    return false;
}

// `value` is what stands in the option's own word; null: nothing does.
bool take_option(const std::string& name, const std::string* value, Parser* parser) {
    const OptionRow* row = find_option(name);
    if (row == nullptr) {
        return refuse("no option '" + name + "' (behind --, every word is an argument)", parser->error);
    }
    if (row->lines > parser->line) {
        return refuse(name + " holds for the whole program: give it on the command line", parser->error);
    }
    if (row->flag != nullptr) {
        parser->invocation->*row->flag = true;
        return value == nullptr || refuse(name + " takes no value", parser->error);
    }
    if (value == nullptr && parser->next == parser->arguments.size()) {
        return refuse(name + " wants a " + row->value, parser->error);
    }
    parser->invocation->*row->text = value != nullptr ? *value : parser->arguments[parser->next++];
    return !(parser->invocation->*row->text).empty() || refuse(name + " wants a " + row->value, parser->error);
}

bool take_long(const std::string& word, Parser* parser) {
    const size_t equals = word.find('=');
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    return take_option(word.substr(0, equals), equals == std::string::npos ? nullptr : &value, parser);
}

// "-jx", "-cADDRESS" or "-c".
bool take_short(const std::string& word, Parser* parser) {
    for (size_t i = 1; i < word.size(); ++i) {
        const std::string name = {'-', word[i]};
        const OptionRow* row = find_option(name);
        const bool valued = row != nullptr && row->flag == nullptr;
        const std::string rest = word.substr(i + 1);
        if (!take_option(name, valued && !rest.empty() ? &rest : nullptr, parser)) {
            return false;
        }
        if (valued) {
            break;
        }
    }
    return true;
}

bool take_all(Parser* parser) {
    bool options = true;
    while (parser->next < parser->arguments.size()) {
        const std::string& word = parser->arguments[parser->next++];
        bool good = true;
        if (options && word == "--") {
            options = false;
        } else if (options && word.starts_with("--")) {
            good = take_long(word, parser);
        } else if (options && word.size() > 1 && word[0] == '-') {
            good = take_short(word, parser);
        } else {
            parser->invocation->words.push_back(word);
        }
        if (!good) {
            return false;
        }
    }
    return true;
}

bool check_values(const Invocation& invocation, std::string* error) {
    const auto retries = number_parse(invocation.retry);
    if (!invocation.timeout.empty() && !milliseconds_parse(invocation.timeout)) {
        return refuse("--timeout takes a time such as 2s or 300ms", error);
    }
    if (!invocation.lasting.empty() && !milliseconds_parse(invocation.lasting)) {
        return refuse("--for takes a time such as 30s", error);
    }
    if (!invocation.speed.empty() &&
        !serial_speed_known(static_cast<unsigned>(number_parse(invocation.speed).value_or(0)))) {
        return refuse("--speed takes a usual rate from 9600 to 4000000", error);
    }
    return invocation.retry.empty() || (retries && *retries <= kMostRetries) ||
           refuse("--retry takes a number up to " + std::to_string(kMostRetries), error);
}

}  // namespace

std::span<const OptionRow> option_rows() { return kOptions; }

bool invocation_parse(const std::vector<std::string>& arguments, LineOf line, Invocation* invocation,
                      std::string* error) {
    Parser parser{arguments, line, invocation, error};
    if (!take_all(&parser) || !check_values(*invocation, error)) {
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
