// Carrying out a command line.
#include "tools/vdiag/run/perform.h"

#include <unistd.h>

#include <algorithm>

#include "tools/vdiag/run/report.h"

namespace vdiag {
namespace {

// A request, ready to be sent.
struct Prepared {
    Bytes request;
    const Command* command = nullptr;
    std::string title;
};

bool usage(const std::string& text, Failure* failure) {
    *failure = {kExitUsage, text};
    return false;
}

std::string suggestion(const std::string& name, const std::vector<std::string>& names) {
    const std::string best = nearest(name, names);
    return best.empty() ? "" : "; did you mean '" + best + "'?";
}

bool prepare_raw(const Invocation& invocation, Prepared* prepared, Failure* failure) {
    std::string text;
    for (size_t i = 1; i < invocation.words.size(); ++i) {
        text += invocation.words[i] + " ";
    }
    if (!invocation.file.empty() && !text.empty()) {
        return usage("raw: either hexadecimal or --file", failure);
    }
    if (text.empty()) {
        if (invocation.file.empty() && isatty(STDIN_FILENO) != 0) {
            return usage("raw: hexadecimal is missing", failure);
        }
        Bytes content;
        std::string error;
        if (!file_read(invocation.file.empty() ? "-" : invocation.file, &content, &error)) {
            *failure = {kExitFailure, error};
            return false;
        }
        text.assign(content.begin(), content.end());
    }
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    const auto request = bytes_parse(text);
    if (!request || request->empty()) {
        return usage("raw: that is no hexadecimal", failure);
    }
    *prepared = {*request, find_request(*request), "raw"};
    return true;
}

// A name that is sent as it stands.
bool prepare_free_ftm(const Invocation& invocation, Prepared* prepared, Failure* failure) {
    static constexpr struct {
        const char* name;
        Via via;
    } kMaps[] = {{"main", Via::kFtmMain}, {"ext", Via::kFtmExt}, {"battery", Via::kFtmBattery}};
    for (const auto& map : kMaps) {
        if (!equal_names(map.name, invocation.map)) {
            continue;
        }
        const Command& command = free_ftm(map.via);
        prepared->command = &command;
        prepared->title = invocation.words[1];
        prepared->request = answer_head(command);
        std::string error;
        const std::vector<std::string> words(invocation.words.begin() + 1, invocation.words.end());
        return encode_free(words, &prepared->request, &error) || usage(prepared->title + ": " + error, failure);
    }
    return usage("--map is main, ext or battery", failure);
}

bool encode(const Command& command, const std::vector<std::string>& words, size_t used, Prepared* prepared,
            Failure* failure) {
    prepared->command = &command;
    prepared->title = command.name;
    const std::vector<std::string> arguments(words.begin() + static_cast<std::ptrdiff_t>(used), words.end());
    std::string error;
    return encode_request(command, arguments, &prepared->request, &error) ||
           usage(prepared->title + ": " + error, failure);
}

bool prepare_ftm(const Invocation& invocation, Prepared* prepared, Failure* failure) {
    if (invocation.words.size() < 2) {
        return usage("ftm: the command's name is missing; 'vdiag list' shows them all", failure);
    }
    if (!invocation.map.empty()) {
        return prepare_free_ftm(invocation, prepared, failure);
    }
    const std::string& name = invocation.words[1];
    const Command* command = find_ftm(name);
    if (command == nullptr) {
        return usage(
            "ftm: no command '" + name + "'" + suggestion(name, ftm_names()) + " (--map sends it all the same)",
            failure);
    }
    return encode(*command, invocation.words, 2, prepared, failure);
}

bool prepare(const Invocation& invocation, Prepared* prepared, Failure* failure) {
    const std::vector<std::string>& words = invocation.words;
    if (words.empty()) {
        return usage("the command is missing", failure);
    }
    if (equal_names(words[0], "raw")) {
        return prepare_raw(invocation, prepared, failure);
    }
    if (equal_names(words[0], "ftm")) {
        return prepare_ftm(invocation, prepared, failure);
    }
    size_t used = 0;
    const Command* command = find_words(words, &used);
    if (command != nullptr) {
        return encode(*command, words, used, prepared, failure);
    }
    if (find_ftm(words[0]) != nullptr) {
        return usage("'" + words[0] + "' is an FTM command: vdiag ftm " + find_ftm(words[0])->name, failure);
    }
    const std::vector<std::string> seconds = second_words(words[0]);
    if (seconds.empty()) {
        return usage("no command '" + words[0] + "'" + suggestion(words[0], verb_names()), failure);
    }
    std::string list;
    for (const std::string& second : seconds) {
        list += (list.empty() ? "" : ", ") + second;
    }
    return usage(words.size() < 2 ? words[0] + ": one of " + list
                                  : words[0] + ": no command '" + words[1] + "'" + suggestion(words[1], seconds) +
                                        " (there are " + list + ")",
                 failure);
}

void add_once(std::string_view name, std::vector<std::string>* names) {
    if (std::find(names->begin(), names->end(), name) == names->end()) {
        names->emplace_back(name);
    }
}

}  // namespace

const Task* find_task(const std::vector<std::string>& words) {
    for (const Task& task : tasks()) {
        const std::vector<std::string_view> names = split(task.name, ' ');
        if (names.size() <= words.size() && std::equal(names.begin(), names.end(), words.begin(), equal_names)) {
            return &task;
        }
    }
    return nullptr;
}

bool perform(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    if (const Task* task = find_task(invocation.words)) {
        return task->run(session, invocation, answer, failure);
    }
    Prepared prepared;
    if (!prepare(invocation, &prepared, failure) ||
        !exchange(session, prepared.request, prepared.command, answer, failure)) {
        return false;
    }
    answer->title = prepared.title;
    return true;
}

bool perform_check(const Invocation& invocation, Failure* failure) {
    Prepared prepared;
    return find_task(invocation.words) != nullptr || prepare(invocation, &prepared, failure);
}

std::vector<std::string> verb_names() {
    std::vector<std::string> names = {"ftm", "raw", "run", "serve", "probe", "list", "help", "completion"};
    for (const Command& command : catalogue()) {
        if (!is_ftm(command)) {
            add_once(split(command.name, ' ')[0], &names);
        }
    }
    for (const Task& task : tasks()) {
        add_once(split(task.name, ' ')[0], &names);
    }
    return names;
}

std::vector<std::string> ftm_names() {
    std::vector<std::string> names;
    for (const Command& command : catalogue()) {
        if (is_ftm(command)) {
            names.emplace_back(command.name);
        }
    }
    return names;
}

std::vector<std::string> second_words(std::string_view verb) {
    std::vector<std::string> seconds;
    const auto add = [&](std::string_view name) {
        const std::vector<std::string_view> words = split(name, ' ');
        if (words.size() > 1 && equal_names(words[0], verb)) {
            add_once(words[1], &seconds);
        }
    };
    for (const Command& command : catalogue()) {
        if (!is_ftm(command)) {
            add(command.name);
        }
    }
    for (const Task& task : tasks()) {
        add(task.name);
    }
    return seconds;
}

}  // namespace vdiag
