// Shell commands: /bin/sh in the root, with the phone's program directories first and absolute words below the root.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/posix/programs.h"

namespace {
constexpr double kProgramSeconds = 120;
constexpr int kFirstOwnDescriptor = 3;

// Where a word stands decides how text put before it must be quoted.
enum class Quote : char { kNone = ' ', kSingle = '\'', kDouble = '"' };

bool is_word_character(char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || strchr("/._-+:@%,=", c) != nullptr ||
           static_cast<unsigned char>(c) >= 0x80;
}

std::string quoted(std::string_view text, Quote place) {
    std::string out;
    for (const char c : text) {
        if (place == Quote::kSingle) {
            out += c == '\'' ? std::string("'\\''") : std::string(1, c);
        } else if (place == Quote::kNone && c == '\n') {
            out += "'\n'";
        } else {
            const bool plain = place == Quote::kNone ? is_word_character(c) : strchr("\\\"$`", c) == nullptr;
            out.append(plain ? "" : "\\").append(1, c);
        }
    }
    return out;
}

Quote place_after(Quote place, char c) {
    const auto mark = static_cast<Quote>(c);
    if (place == Quote::kNone) {
        return mark == Quote::kSingle || mark == Quote::kDouble ? mark : place;
    }
    return mark == place ? Quote::kNone : place;
}

std::vector<std::string> child_environment(const std::string& root) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (strncmp(*variable, "VENDORDIAG_ROOT=", 16) != 0 && strncmp(*variable, "PATH=", 5) != 0 &&
            strncmp(*variable, "PWD=", 4) != 0) {
            variables.emplace_back(*variable);
        }
    }
    const char* const path = getenv("PATH");
    variables.push_back("VENDORDIAG_ROOT=" + root);
    variables.push_back("PATH=" + root + "/system/bin:" + root +
                        "/vendor/bin:" + (path != nullptr ? path : "/usr/bin:/bin"));
    variables.push_back("PWD=" + root);
    return variables;
}

// The deadline scales like every delay, but a program always gets as long as a busy host may take to start one.
std::chrono::milliseconds deadline() {
    constexpr double kShortest = 2000;
    constexpr double kLongest = 1e15;
    return std::chrono::milliseconds(
        static_cast<int64_t>(std::clamp(kProgramSeconds * 1000 * host_settings().time_scale, kShortest, kLongest)));
}

int prepare(posix_spawn_file_actions_t* actions, short* /*flags*/) {
    const int error = posix_spawn_file_actions_addchdir_np(actions, host_settings().root.c_str());
    return error != 0 ? error : posix_spawn_file_actions_addclosefrom_np(actions, kFirstOwnDescriptor);
}

ProgramPlan plan_for(const char* command) {
    host_record(std::string("run ") + command);
    const std::string& root = host_settings().root;
    return {program_name(command),
            host_shell_command(command, root),
            {"/bin/sh"},
            child_environment(root),
            deadline(),
            prepare};
}
}  // namespace

std::string host_shell_command(std::string_view command, std::string_view root) {
    std::string out;
    Quote place = Quote::kNone;
    bool word_begins = true;
    for (size_t i = 0; i < command.size(); ++i) {
        const char c = command[i];
        if (word_begins && c == '/') {
            out += quoted(root, place);
        }
        word_begins = c == ' ' || c == '\t';
        out += c;
        if (c == '\\' && place != Quote::kSingle && i + 1 < command.size()) {
            out += command[++i];
            continue;
        }
        place = place_after(place, c);
    }
    return out;
}

int device_system(const char* command) { return command == nullptr ? 1 : program_system(plan_for(command)); }
FILE* device_popen(const char* command, const char* mode) { return program_popen(plan_for(command), mode); }
int device_pclose(FILE* stream) { return program_pclose(stream); }
