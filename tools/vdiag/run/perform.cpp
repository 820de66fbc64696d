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

constexpr struct {
    const char* name;
    Via via;
} kMaps[] = {{"main", Via::kFtmMain}, {"ext", Via::kFtmExt}, {"battery", Via::kFtmBattery}};

constexpr const char* kToolVerbs[] = {"run", "serve", "probe", "list", "help", "completion"};

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

bool find_map(const std::string& name, Asked* asked, Failure* failure) {
    for (const auto& map : kMaps) {
        if (equal_names(map.name, name)) {
            *asked = {&free_ftm(map.via), nullptr, 1};
            return true;
        }
    }
    return usage("--map is main, ext or battery", failure);
}

bool find_named(const Invocation& invocation, Asked* asked, Failure* failure) {
    if (invocation.words.size() < 2) {
        return usage("ftm: the command's name is missing; 'vdiag list' shows them all", failure);
    }
    if (!invocation.map.empty()) {
        return find_map(invocation.map, asked, failure);
    }
    const std::string& name = invocation.words[1];
    *asked = {find_ftm(name), nullptr, 2};
    return asked->command != nullptr ||
           usage("ftm: no command '" + name + "'" + suggestion(name, ftm_names()) + " (--map sends it all the same)",
                 failure);
}

// The words name nothing; says what might have been meant.
bool find_nothing(const std::vector<std::string>& words, Failure* failure) {
    if (find_ftm(words[0]) != nullptr) {
        return usage("'" + words[0] + "' is an FTM command: vdiag ftm " + find_ftm(words[0])->name, failure);
    }
    if (std::any_of(std::begin(kToolVerbs), std::end(kToolVerbs),
                    [&](const char* verb) { return equal_names(verb, words[0]); })) {
        return usage("'" + words[0] + "' is no request to a phone", failure);
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

bool check_task(const Task& task, const Invocation& invocation, Failure* failure) {
    const bool wanted = task.wanted == nullptr || !(invocation.*task.wanted).empty();
    return (invocation.words.size() == task.words && wanted) ||
           usage(std::string(task.name) + " takes " + (*task.usage != '\0' ? task.usage : "no arguments"), failure);
}

bool prepare(const Invocation& invocation, Prepared* prepared, Failure* failure) {
    const std::vector<std::string>& words = invocation.words;
    Asked asked;
    if (!perform_find(invocation, &asked, failure)) {
        return false;
    }
    if (asked.command == nullptr) {
        return prepare_raw(invocation, prepared, failure);
    }
    const std::vector<std::string> arguments(words.begin() + static_cast<std::ptrdiff_t>(asked.words), words.end());
    const bool by_map = *asked.command->name == '\0';
    std::string error;
    prepared->command = asked.command;
    prepared->title = by_map ? words[1] : asked.command->name;
    prepared->request = answer_head(*asked.command);
    return (by_map ? encode_free(arguments, &prepared->request, &error)
                   : encode_request(*asked.command, arguments, &prepared->request, &error)) ||
           usage(prepared->title + ": " + error, failure);
}

bool carry_out(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    if (const Task* task = find_task(invocation.words)) {
        return check_task(*task, invocation, failure) && task->run(session, invocation, answer, failure);
    }
    Prepared prepared;
    if (!prepare(invocation, &prepared, failure) ||
        !exchange(session, prepared.request, prepared.command, answer, failure)) {
        return false;
    }
    answer->title = prepared.title;
    return true;
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
    const int timeout_ms = session->timeout_ms;
    const unsigned retries = session->retries;
    session->timeout_ms = milliseconds_parse(invocation.timeout).value_or(timeout_ms);
    session->retries = static_cast<unsigned>(number_parse(invocation.retry).value_or(retries));
    const bool done = carry_out(session, invocation, answer, failure);
    session->timeout_ms = timeout_ms;
    session->retries = retries;
    return done;
}

bool perform_find(const Invocation& invocation, Asked* asked, Failure* failure) {
    const std::vector<std::string>& words = invocation.words;
    if (words.empty()) {
        return usage("the command is missing", failure);
    }
    if (equal_names(words[0], "raw")) {
        return true;
    }
    if (equal_names(words[0], "ftm")) {
        return find_named(invocation, asked, failure);
    }
    asked->task = find_task(words);
    if (asked->task != nullptr) {
        return true;
    }
    asked->command = find_words(words, &asked->words);
    return asked->command != nullptr || find_nothing(words, failure);
}

bool perform_check(const Invocation& invocation, Asked* asked, Failure* failure) {
    if (!perform_find(invocation, asked, failure)) {
        return false;
    }
    if (asked->task != nullptr) {
        return check_task(*asked->task, invocation, failure);
    }
    Prepared prepared;
    const bool good = prepare(invocation, &prepared, failure);
    asked->command = good ? prepared.command : asked->command;
    return good;
}

std::vector<std::string> verb_names() {
    std::vector<std::string> names = {"ftm", "raw"};
    names.insert(names.end(), std::begin(kToolVerbs), std::end(kToolVerbs));
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
