// Help on the terminal.
#include "tools/vdiag/face/help.h"

#include <algorithm>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/face/usage.h"
#include "tools/vdiag/run/invocation.h"
#include "tools/vdiag/run/perform.h"

namespace vdiag {
namespace {

constexpr size_t kColumn = 28;

std::string row(const std::string& left, const std::string& right) {
    const std::string gap =
        left.size() + 2 < kColumn ? std::string(kColumn - left.size() - 2, ' ') : "\n" + std::string(kColumn, ' ');
    return "  " + left + gap + right + "\n";
}

std::string command_rows(bool ftm) {
    std::string out;
    for (const Command& command : catalogue()) {
        if (is_ftm(command) == ftm) {
            out += row(usage_of(command), command.help);
        }
    }
    return out;
}

std::string task_rows() {
    std::string out;
    for (const Task& task : tasks()) {
        out += row(std::string(task.name) + " " + task.usage, task.help);
    }
    return out;
}

std::string option_rows_text(std::string_view verb) {
    std::string out;
    for (const OptionRow& option : option_rows()) {
        const bool shown = verb.empty() ? option.verbs == nullptr : option.verbs != nullptr && verb == option.verbs;
        if (shown) {
            out += row(std::string(option.names) + (option.value != nullptr ? " " + std::string(option.value) : ""),
                       option.help);
        }
    }
    return out;
}

std::string fields_text(const std::vector<Field>& fields) {
    std::string out;
    for (const Field& field : fields) {
        if (!field.name.empty()) {
            out += row("  " + std::string(field.name) + (field.optional ? " (may be left out)" : ""), type_text(field));
        }
    }
    return out;
}

std::string command_help(const Command& command) {
    std::vector<Field> arguments;
    std::vector<Field> answer;
    (void)shape_parse(command.arguments, &arguments);
    (void)shape_parse(command.answer, &answer);
    std::string out = "vdiag " + typed_name(command) + "\n  " + command.help + "\n  " + effect_text(command.effect) +
                      "\n\nusage: vdiag " + (is_ftm(command) ? "ftm " : "") + usage_of(command) + "\n" +
                      fields_text(arguments);
    if (!answer.empty()) {
        out += "\nanswer:\n" + fields_text(answer);
    }
    const std::vector<Status> statuses = statuses_of(command);
    out += statuses.empty() ? "" : "\nstatus:\n";
    for (const Status& status : statuses) {
        out += row("  " + std::to_string(status.value), std::string(status.text));
    }
    return out + "\nsent to: " + address_text_of(command) + "\n";
}

// Everything that begins with a word.
std::string verb_help(const std::string& verb) {
    std::string out;
    for (const Command& command : catalogue()) {
        if (!is_ftm(command) && equal_names(split(command.name, ' ')[0], verb)) {
            out += row(usage_of(command), command.help);
        }
    }
    for (const Task& task : tasks()) {
        if (equal_names(split(task.name, ' ')[0], verb)) {
            out += row(std::string(task.name) + " " + task.usage, task.help);
        }
    }
    for (const ToolVerb& tool : tool_verbs()) {
        if (equal_names(tool.name, verb)) {
            out += row(std::string(tool.name) + " " + tool.usage, tool.help);
        }
    }
    return out.empty() ? out : out + option_rows_text(verb);
}

}  // namespace

std::string help_text() {
    std::string out =
        "vdiag talks to the factory-diagnostics daemon of a phone.\n\nusage: vdiag [OPTION...] COMMAND "
        "[ARGUMENT...]\n\n";
    for (const ToolVerb& tool : tool_verbs()) {
        out += row(std::string(tool.name) + " " + tool.usage, tool.help);
    }
    out += task_rows() + command_rows(false) + "\noptions:\n" + option_rows_text("") + "\nexit status:\n";
    for (const ExitText& text : exit_texts()) {
        out += row(std::to_string(text.status), text.text);
    }
    return out + "\nWithout a command, on a terminal, a prompt opens.\n";
}

std::string list_text() {
    return "commands named by text (vdiag ftm NAME):\n" + command_rows(true) + "\nother commands:\n" +
           command_rows(false) + "\ntasks:\n" + task_rows();
}

bool help_for(const std::vector<std::string>& words, std::string* out) {
    const bool named = words.size() > 1 && equal_names(words[0], "ftm");
    const Command* command = find_ftm(words[named ? 1 : 0]);
    size_t used = 0;
    if (command == nullptr) {
        command = find_words(words, &used);
        command = used == words.size() && second_words(words[0]).empty() ? command : (used > 1 ? command : nullptr);
    }
    if (command != nullptr) {
        *out = command_help(*command);
    } else {
        *out = verb_help(words[0]);
    }
    if (equal_names(words[0], "ftm") && !named) {
        *out += command_rows(true);
    }
    return !out->empty();
}

}  // namespace vdiag
