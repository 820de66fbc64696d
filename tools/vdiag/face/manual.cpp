// The manuals, written from the catalogue.
#include <algorithm>

#include "tools/vdiag/catalogue/codec.h"
#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/face/help.h"
#include "tools/vdiag/face/usage.h"
#include "tools/vdiag/plan/phone.h"
#include "tools/vdiag/run/invocation.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/report.h"

namespace vdiag {
namespace {

constexpr const char* kIntroduction =
    "# Commands\n\n"
    "Every request that the daemon serves. This page is written by the client from its catalogue (build target\n"
    "`manuals`); the same rows build the requests and read the answers.\n\n"
    "All integers are little-endian. Requests of a subsystem begin with 75, the subsystem and the command as a u16;\n"
    "answers repeat that head. Commands that are named by text carry their name and a zero byte behind the head; "
    "their\n"
    "answers have a status byte at offset 4 and a message from offset 5 on, and are padded with zeros: 256 bytes for\n"
    "commands of the main map (32766) and the battery command (32765), 4096 for those of the extended map (32767).\n"
    "A request that nobody serves is answered with byte 19 and the request; one of a wrong length, where its command\n"
    "minds, with byte 21 and the request. The answers shown are made up; `vdiag -x` shows real ones.\n\n";

struct Group {
    const char* title;
    Via via;
    const char* prefix;  // of the names, for numbered commands; "" all others
};

std::string field_table(const std::vector<Field>& fields, size_t offset, bool argument) {
    std::string out = "| Offset | Bytes | Field | Content |\n|---|---|---|---|\n";
    bool known = true;
    for (const Field& field : fields) {
        const std::string width = width_text(field, argument);
        const auto number = number_parse(width);
        const std::string name = field.name.empty() ? "" : "`" + std::string(field.name) + "`";
        out.append("| ").append(known ? std::to_string(offset) : "then").append(" | ").append(width).append(" | ");
        out.append(name).append(" | ").append(type_text(field));
        out.append(field.optional ? " (may be left out) |\n" : " |\n");
        known = known && number.has_value();
        offset += number.value_or(0);
    }
    return out;
}

std::string status_table(const Command& command) {
    const std::vector<Status> statuses = statuses_of(command);
    if (statuses.empty()) {
        return "";
    }
    std::string out = "\n| Status | Meaning |\n|---|---|\n";
    for (const Status& status : statuses) {
        out += "| " + std::to_string(status.value) + " | " + std::string(status.text) + " |\n";
    }
    return out + (is_ftm(command) ? "| 255 | the phone does not know this command |\n" : "");
}

struct SampleText {
    std::string_view ending;  // of a field's name
    std::string_view text;
};

constexpr SampleText kSampleTexts[] = {
    {"version", "V1.0.0"},   {"date", "20240605"},     {"time", "080910"},
    {"model", "Orb One"},    {"message", "success\n"}, {"eid", "89049032000000000000000000000001"},
    {"patch", "2024-06-05"}, {"code", "DE"},           {"cn", "41.2"},
    {"", "ABC123"},
};

std::string_view sample_text(const Field& field) {
    const auto* const found =
        std::find_if(std::begin(kSampleTexts), std::end(kSampleTexts),
                     [&](const SampleText& sample) { return field.name.ends_with(sample.ending); });
    return found->text.substr(0, field.size > 0 ? field.size : found->text.size());
}

void put_sample(const Field& field, int64_t success, Bytes* out) {
    const auto put_text = [&](std::string_view text) { out->insert(out->end(), text.begin(), text.end()); };
    const uint64_t number = field.name == "status" ? static_cast<uint64_t>(success)
                            : !field.words.empty() ? field.words.front().second
                                                   : 1;
    const size_t start = out->size();
    switch (field.type) {
        case FieldType::kUnsigned:
        case FieldType::kSigned:
            for (size_t i = 0; i < field.size; ++i) {
                out->push_back(static_cast<uint8_t>(number >> (8 * i)));
            }
            return;
        case FieldType::kChar:
            put_text("1");
            return;
        case FieldType::kMac:
            put_text("\x02\x11\x22\xaa\xbb\xcc");
            return;
        case FieldType::kText:
            put_text(sample_text(field));
            break;
        case FieldType::kCounted:
            put_text(
                "\x04"
                "A1B2");
            return;
        case FieldType::kLong:
            put_text(std::string_view("\x02\x00{}", 4));
            return;
        case FieldType::kRecords:
            put_text(
                std::string_view("\x01\x00\x08operator\x04"
                                 "ABCD",
                                 16));
            return;
        default:
            break;
    }
    if (field.type == FieldType::kText && field.size == 0) {
        out->push_back(0);
    }
    out->resize(std::max(out->size(), start + field.size), 0);
}

// An example's command line, request bytes and a good answer.
std::string example(const Command& command) {
    const std::string line = "vdiag " + typed_name(command) + (*command.example != '\0' ? " " : "") + command.example;
    std::string out = "\n```console\n$ " + line +
                      (std::string_view(command.example).find('@') == std::string_view::npos ? " -x" : "");
    std::vector<std::string> words;
    std::string error;
    Answer answer = decode_answer(request_head(command), sample_answer(command), &command);
    answer.title = command.name;
    const bool shown =
        split_words(command.example, &words, &error) && encode_request(command, words, &answer.request, &error);
    return out + "\n" + report_answer(answer, Style{false, shown, false, false}) + "```\n\n";
}

std::string effect_sentence(Effect effect) {
    std::string text = effect_text(effect);
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text + ".";
}

std::string command_section(const Command& command) {
    std::vector<Field> arguments;
    (void)shape_parse(command.arguments, &arguments);
    std::string out = "### " + std::string(command.name) + "\n\n" + command.help + ". " +
                      effect_sentence(command.effect) + "\n\nSent to " + address_text_of(command) + ": `vdiag " +
                      (is_ftm(command) ? "ftm " : "") + usage_of(command) + "`\n\n";
    out[out.find("\n\n") + 2] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[out.find("\n\n") + 2])));
    if (arguments.empty()) {
        out += "The request carries nothing else.\n";
    } else {
        out += "Request:\n\n" + field_table(arguments, request_head(command).size(), true);
    }
    const std::vector<Field> answer = answer_fields(command);
    if (!answer.empty()) {
        out += "\nAnswer:\n\n" + field_table(answer, answer_head(command).size(), false);
    }
    return out + status_table(command) + example(command);
}

bool in_group(const Command& command, const Group& group) {
    return command.where.via == group.via || (group.via == Via::kSubsystem && command.where.via == Via::kTop);
}

std::string roff(std::string_view text) {
    std::string out;
    for (const char c : text) {
        out += c == '-' ? "\\-" : (c == '\\' ? "\\e" : std::string(1, c));
    }
    return out.starts_with('.') || out.starts_with('\'') ? "\\&" + out : out;
}

std::string roff_item(const std::string& name, std::string_view text) {
    return ".TP\n.B " + roff(name) + "\n" + roff(text) + "\n";
}

std::string roff_options() {
    std::string out;
    for (const OptionRow& option : option_rows()) {
        const std::string names =
            std::string(option.names) + (option.value != nullptr ? " " + std::string(option.value) : "");
        out += roff_item(
            names, std::string(option.help) + (option.verbs != nullptr ? " (" + std::string(option.verbs) + ")" : ""));
    }
    return out;
}

std::string roff_commands() {
    std::string out;
    for (const ToolVerb& tool : tool_verbs()) {
        out += roff_item(std::string(tool.name) + " " + tool.usage, tool.help);
    }
    for (const Task& task : tasks()) {
        out += roff_item(std::string(task.name) + " " + task.usage, task.text);
    }
    for (const Command& command : catalogue()) {
        out += is_ftm(command) ? "" : roff_item(usage_of(command), command.help);
    }
    out += ".SS Commands named by text\n";
    for (const Command& command : catalogue()) {
        out += is_ftm(command) ? roff_item("ftm " + usage_of(command), command.help) : "";
    }
    return out;
}

constexpr const char* kPlansText =
    ".SH PLANS\n"
    "A plan is a text file with one request on a line, written as behind\n.BR vdiag .\n"
    "A # begins a comment; a semicolon between blanks begins another request on the same line. Behind\n.B =>\nstand "
    "expectations:\n"
    ".TP\n.B FIELD=VALUE\nalso != ~ (regular expression) !~ < > <= >=; FIELD is a field of the answer, status, error, "
    "rest or answer\n"
    ".TP\n.B keep FIELD [as NAME]\nthe value is used later as $NAME\n"
    ".TP\n.B within TIME\nthe request is repeated until the expectations hold\n"
    ".TP\n.B silence\nno answer is expected\n"
    ".PP\nA line without an expectation about status, error or answer wants a good answer. Other lines:\n"
    ".BR \"wait TIME\" ,\n.BR \"set NAME VALUE\" ,\n.B default NAME VALUE\n(unless it is set or given),\n.B reconnect "
    "TIME\n(waits until the phone answers again). $here is the plan's folder.\n";

constexpr const char* kCasesText =
    ".SH CASES\n"
    "A line\n.B case TITLE\nbegins a case. Lines before the first one come first in each. With\n.B \\-\\-fresh\nevery "
    "case has a fresh simulated phone, whose daemon starts at the first request; else a case with lines about a "
    "simulated phone is left out unless there is one at the address. These lines prepare it or look at it. "
    "Expectations "
    "about\n.B line\nhold of one line each, in their order; != and !~ of all. CONTENT is a text with \\en \\et \\e0 "
    "\\exNN, hex:BYTES or @FILE.\n";

std::string roff_cases() {
    std::string out = kCasesText;
    for (const PhoneLine& line : phone_lines()) {
        out += roff_item(std::string(line.verb) + " " + line.usage, line.help);
    }
    return out;
}

constexpr const char* kArgumentsText =
    ".SH ARGUMENTS\n"
    "Names match without regard to case. Numbers are decimal or begin with 0x. Where bytes are wanted, hexadecimal "
    "(5a*120+00*8: repeated) or\n"
    ".I @FILE\nis given. In front of any argument,\n.B hex:\nand\n.B text:\ngive its bytes as they are, without "
    "length, limit or zero byte.\n";

}  // namespace

Bytes sample_answer(const Command& command) {
    int64_t success = 0;
    for (const Status& status : statuses_of(command)) {
        if (status.success) {
            success = status.value;
            break;
        }
    }
    Bytes out = answer_head(command);
    for (const Field& field : answer_fields(command)) {
        put_sample(field, success, &out);
    }
    return out;
}

namespace {

constexpr Group kGroups[] = {
    {"Numbered commands", Via::kSubsystem, ""},
    {"The battery command", Via::kFtmBattery, ""},
    {"Commands named by text: main map", Via::kFtmMain, ""},
    {"Commands named by text: extended map", Via::kFtmExt, ""},
};

}  // namespace

std::string manual_index() {
    std::string out = "# Commands, a line each\n\nWritten by the client from its catalogue (build target manuals).\n";
    for (const Group& group : kGroups) {
        out += "\n## " + std::string(group.title) + "\n\n";
        for (const Command& command : catalogue()) {
            out += in_group(command, group) ? "- `" + std::string(is_ftm(command) ? "ftm " : "") + usage_of(command) +
                                                  "`: " + command.help + "\n"
                                            : "";
        }
    }
    return out;
}

std::string manual_markdown() {
    std::string out = kIntroduction;
    for (const Group& group : kGroups) {
        out += "## " + std::string(group.title) + "\n\n";
        for (const Command& command : catalogue()) {
            out += in_group(command, group) ? command_section(command) : "";
        }
    }
    while (out.ends_with("\n\n")) {
        out.pop_back();
    }
    return out;
}

std::string manual_page() {
    std::string out =
        ".\\\" Written by the client from its catalogue: build target manuals.\n"
        ".TH VDIAG 1\n.SH NAME\nvdiag \\- talk to the factory\\-diagnostics daemon of a phone\n"
        ".SH SYNOPSIS\n.B vdiag\n[\\fIOPTION\\fR...] [\\fICOMMAND\\fR [\\fIARGUMENT\\fR...]]\n"
        ".SH DESCRIPTION\nSends requests to the daemon and shows its answers. Without a command, on a terminal, a "
        "prompt\n"
        "with history and completion opens. Answers go to standard output, messages to standard error.\n"
        ".SH OPTIONS\n";
    out += roff_options() + ".SH COMMANDS\n" + roff_commands() + kArgumentsText + kPlansText + roff_cases() +
           ".SH EXIT STATUS\n";
    for (const ExitText& text : exit_texts()) {
        out += roff_item(std::to_string(text.status), text.text);
    }
    return out +
           ".SH ENVIRONMENT\n"
           ".TP\n.B VENDORDIAG_LISTEN\nthe default address (its first one, when there are several)\n"
           ".TP\n.B VENDORDIAG_ROOT\nelse: the simulated phone in this folder; else: the folder device beside the "
           "program; else: the phone of vdiag\\-phone\n"
           ".TP\n.B NO_COLOR\nno colours\n"
           ".SH FILES\n.TP\n.I ~/.vdiag_history\nlines given to the prompt\n";
}

}  // namespace vdiag
