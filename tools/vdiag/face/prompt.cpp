// The interactive prompt. The line editor is loaded here: a client that asks one question has no use for it.
#include "tools/vdiag/face/prompt.h"

#include <dlfcn.h>
#include <editline/readline.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/words/message.h"

namespace vdiag {
namespace {

constexpr const char* kLibrary = VDIAG_LIBEDIT;
constexpr const char* kPrompt = "vdiag> ";
constexpr int kHistoryLines = 1000;

// The parts of the line editor that are used; null members: it is not installed.
struct Editor {
    decltype(&::readline) readline = nullptr;
    decltype(&::add_history) add_history = nullptr;
    decltype(&::read_history) read_history = nullptr;
    decltype(&::write_history) write_history = nullptr;
    decltype(&::stifle_history) stifle_history = nullptr;
    decltype(&::rl_completion_matches) completion_matches = nullptr;
    decltype(&::rl_attempted_completion_function) completion_function = nullptr;
    decltype(&::rl_line_buffer) line_buffer = nullptr;
};

Editor editor;
std::vector<std::string> offered;  // candidates of the completion under way

template <typename Pointer>
bool load(void* library, const char* name, Pointer* out) {
    *out = reinterpret_cast<Pointer>(dlsym(library, name));
    return *out != nullptr;
}

bool load_editor() {
    void* library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    return library != nullptr && load(library, "readline", &editor.readline) &&
           load(library, "add_history", &editor.add_history) && load(library, "read_history", &editor.read_history) &&
           load(library, "write_history", &editor.write_history) &&
           load(library, "stifle_history", &editor.stifle_history) &&
           load(library, "rl_completion_matches", &editor.completion_matches) &&
           load(library, "rl_attempted_completion_function", &editor.completion_function) &&
           load(library, "rl_line_buffer", &editor.line_buffer);
}

char* next_candidate(const char* text, int state) {
    static size_t at = 0;
    at = state == 0 ? 0 : at;
    const std::string_view begun = text;
    while (at < offered.size()) {
        const std::string& candidate = offered[at++];
        if (equal_names(std::string_view(candidate).substr(0, begun.size()), begun)) {
            return strdup(candidate.c_str());
        }
    }
    return nullptr;
}

char** complete(const char* text, int start, int /*end*/) {
    std::vector<std::string> words;
    std::string error;
    const std::string line(*editor.line_buffer, static_cast<size_t>(start));
    if (split_words(line, &words, &error)) {
        offered = completions(words);
    }
    return editor.completion_matches(text, next_candidate);
}

std::string history_path() {
    const char* home = getenv("HOME");
    return home != nullptr && *home != '\0' ? std::string(home) + "/.vdiag_history" : "";
}

// One line without its end. False: the end of the input.
bool read_line(bool edited, std::string* line) {
    if (!edited) {
        std::cerr << kPrompt;
        return static_cast<bool>(std::getline(std::cin, *line));
    }
    char* text = editor.readline(kPrompt);
    if (text == nullptr) {
        return false;
    }
    *line = text;
    if (!line->empty()) {
        (void)editor.add_history(text);
    }
    free(text);
    return true;
}

bool start_editor() {
    if (!load_editor()) {
        warn(std::string("no line editing: ") + kLibrary + " cannot be loaded");
        return false;
    }
    *editor.completion_function = complete;
    (void)editor.read_history(history_path().c_str());
    (void)editor.stifle_history(kHistoryLines);
    return true;
}

// History may hold what nobody else should read.
void save_history() {
    const std::string path = history_path();
    const mode_t old = umask(0077);
    if (!path.empty()) {
        (void)editor.write_history(path.c_str());
    }
    (void)umask(old);
}

// The values of a command's next argument, where they have names.
std::vector<std::string> argument_words(const Command& command, size_t given) {
    std::vector<Field> fields;
    std::vector<std::string> names;
    (void)shape_parse(command.arguments, &fields);
    std::erase_if(fields, [](const Field& field) { return field.type == FieldType::kFixed; });
    if (given < fields.size()) {
        for (const auto& [word, value] : fields[given].words) {
            names.emplace_back(word);
        }
    }
    return names;
}

}  // namespace

std::vector<std::string> completions(const std::vector<std::string>& words) {
    if (words.empty()) {
        return verb_names();
    }
    if (equal_names(words[0], "ftm") || equal_names(words[0], "help")) {
        const Command* command = words.size() > 1 ? find_ftm(words[1]) : nullptr;
        return words.size() == 1
                   ? ftm_names()
                   : (command != nullptr ? argument_words(*command, words.size() - 2) : std::vector<std::string>());
    }
    std::vector<std::string> seconds = words.size() == 1 ? second_words(words[0]) : std::vector<std::string>();
    if (!seconds.empty()) {
        return seconds;
    }
    size_t used = 0;
    const Command* command = find_words(words, &used);
    return command != nullptr ? argument_words(*command, words.size() - used) : std::vector<std::string>();
}

void prompt_loop(const std::function<void(const std::vector<std::string>&)>& run) {
    const bool edited = start_editor();
    std::string line;
    while (read_line(edited, &line)) {
        std::vector<std::string> words;
        std::string error;
        if (!split_words(line, &words, &error)) {
            warn(error);
            continue;
        }
        if (!words.empty() && (words[0] == "quit" || words[0] == "exit")) {
            break;
        }
        if (edited) {
            save_history();  // now: Ctrl-C ends the program where it is
        }
        if (!words.empty()) {
            run(words);
        }
    }
}

}  // namespace vdiag
