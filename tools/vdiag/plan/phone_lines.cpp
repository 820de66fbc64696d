// The lines that prepare a simulated phone and look at it, one row each.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "platform/include/handles.h"
#include "tools/vdiag/plan/phone.h"
#include "tools/vdiag/wire/link.h"

namespace fs = std::filesystem;

namespace vdiag {
namespace {

using Words = std::vector<std::string>;

constexpr int kEndPatience = 10000;  // milliseconds for a daemon to end
constexpr size_t kLogHead = 19;      // "MM-DD HH:MM:SS.mmm " in front of a log line

bool refuse(const std::string& text, std::string* error) {
    *error = text;
    return false;
}

bool failed(const std::string& path, std::string* error) { return refuse(path + ": " + strerror(errno), error); }

std::string host_path(const Phone& phone, const std::string& path) { return phone.root + "/" + path; }

// The content a word stands for: "hex:5a*3+00", "@FILE", else a text with \n, \t, \0, \xNN and \\.
bool content_of(const std::string& word, Bytes* content, std::string* error) {
    if (word.starts_with('@')) {
        return file_read(word.substr(1), content, error);
    }
    if (word.starts_with("hex:")) {
        const auto bytes = bytes_parse(word.substr(4));
        *content = bytes.value_or(Bytes());
        return bytes.has_value() || refuse("'" + word + "' is no hexadecimal", error);
    }
    const auto text = unescape(word);
    if (text) {
        content->assign(text->begin(), text->end());
    }
    return text.has_value() || refuse("'" + word + "' has an unknown escape", error);
}

void make_parents(const std::string& path) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
}

// Writes `content` at `offset`, or in the place of all that is there (`offset` < 0).
bool write_at(const std::string& path, const Bytes& content, int64_t offset, std::string* error) {
    make_parents(path);
    const int how = O_WRONLY | O_CLOEXEC | O_NONBLOCK | (offset < 0 ? O_CREAT | O_TRUNC : 0);
    UniqueFd fd(open(path.c_str(), how, 0644));
    if (!fd.ok() || (offset > 0 && lseek(fd.get(), offset, SEEK_SET) < 0)) {
        return failed(path, error);
    }
    return write_all(fd.get(), {reinterpret_cast<const char*>(content.data()), content.size()}) || failed(path, error);
}

bool run_put(Phone* phone, const Words& words, Answer*, std::string* error) {
    for (size_t i = 1; i < words.size(); i += 2) {
        Bytes content;
        if (!content_of(i + 1 < words.size() ? words[i + 1] : "", &content, error) ||
            !write_at(host_path(*phone, words[i]), content, -1, error)) {
            return false;
        }
    }
    return true;
}

bool run_patch(Phone* phone, const Words& words, Answer*, std::string* error) {
    Bytes content;
    const auto offset = number_parse(words[2]);
    if (!offset) {
        return refuse("'" + words[2] + "' is no offset", error);
    }
    return content_of(words[3], &content, error) &&
           write_at(host_path(*phone, words[1]), content, static_cast<int64_t>(*offset), error);
}

bool run_link(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    make_parents(path);
    std::error_code ignored;
    (void)fs::remove_all(path, ignored);
    return symlink(words[2].c_str(), path.c_str()) == 0 || failed(path, error);
}

bool run_dir(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) {
        (void)fs::remove(path, ignored);
    }
    (void)fs::create_directories(path, ignored);
    return fs::is_directory(path, ignored) || failed(path, error);
}

bool run_fifo(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    make_parents(path);
    std::error_code ignored;
    (void)fs::remove_all(path, ignored);
    return mkfifo(path.c_str(), 0666) == 0 || failed(path, error);
}

bool run_gone(Phone* phone, const Words& words, Answer*, std::string* error) {
    for (size_t i = 1; i < words.size(); ++i) {
        std::error_code problem;
        (void)fs::remove_all(host_path(*phone, words[i]), problem);
        if (problem) {
            return refuse(words[i] + ": " + problem.message(), error);
        }
    }
    return true;
}

bool run_chmod(Phone* phone, const Words& words, Answer*, std::string* error) {
    char* end = nullptr;
    const unsigned long mode = strtoul(words[2].c_str(), &end, 8);
    const std::string path = host_path(*phone, words[1]);
    return (*end == '\0' && chmod(path.c_str(), static_cast<mode_t>(mode)) == 0) || failed(path, error);
}

// Whoever may not give files away cannot see whether the daemon does: the rest of the case is left out then.
bool run_chown(Phone* phone, const Words& words, Answer*, std::string* error) {
    const auto user = number_parse(words[2]);
    const auto group = number_parse(words[3]);
    const std::string path = host_path(*phone, words[1]);
    if (!user || !group) {
        return refuse("chown takes two numbers", error);
    }
    const int result = chown(path.c_str(), static_cast<uid_t>(*user), static_cast<gid_t>(*group));
    phone->left_out = result != 0 && errno == EPERM;
    return result == 0 || phone->left_out || failed(path, error);
}

// The lock that another program would hold on a partition; it goes with the descriptor.
bool run_lock(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    phone->locked = UniqueFd(open(path.c_str(), O_RDWR | O_CLOEXEC));
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(phone->locked.get(), F_OFD_SETLK, &whole) == 0 || failed(path, error);
}

bool run_release(Phone* phone, const Words&, Answer*, std::string*) {
    (void)phone->locked.close();
    return true;
}

// A vendor program that says that it ran: name, arguments and what is asked of its environment go to .sim/programs.
bool run_program(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    const std::string name = words[1].substr(words[1].rfind('/') + 1);
    const std::string script = "#!/bin/sh\nprintf '%s\\n' \"" + name +
                               "${*:+ $*}\" >>\"$VENDORDIAG_ROOT/.sim/programs\"\n" +
                               (words.size() > 2 ? words[2] : "") + "\n";
    if (!write_at(path, Bytes(script.begin(), script.end()), -1, error)) {
        return false;
    }
    return chmod(path.c_str(), 0755) == 0 || failed(path, error);
}

bool run_env(Phone* phone, const Words& words, Answer*, std::string*) {
    phone->environment.insert(phone->environment.end(), words.begin() + 1, words.end());
    return true;
}

bool run_limit(Phone* phone, const Words& words, Answer*, std::string* error) {
    static constexpr struct {
        const char* name;
        int resource;
    } kLimits[] = {{"size", RLIMIT_FSIZE}, {"files", RLIMIT_NOFILE}};
    const auto value = number_parse(words[2]);
    for (const auto& limit : kLimits) {
        if (words[1] != limit.name || !value) {
            continue;
        }
        phone->limits.emplace_back(limit.resource, *value);
        const auto resource = static_cast<__rlimit_resource>(limit.resource);
        rlimit now{};
        (void)prlimit(phone->daemon, resource, nullptr, &now);  // what it may be raised to stays
        now.rlim_cur = *value;
        return phone->daemon < 0 || prlimit(phone->daemon, resource, &now, nullptr) == 0 || failed(words[1], error);
    }
    return refuse("limit takes size or files, and a number", error);
}

bool run_start(Phone* phone, const Words&, Answer*, std::string* error) {
    if (phone->daemon > 0) {
        return refuse("the daemon runs already", error);
    }
    phone->started = false;
    return phone_serve(phone, error);
}

bool run_stop(Phone* phone, const Words&, Answer*, std::string* error) {
    if (phone->daemon < 0 || waitpid(phone->daemon, &phone->end_status, WNOHANG) != 0) {
        return refuse("the daemon does not run", error);
    }
    (void)kill(phone->daemon, SIGKILL);
    (void)waitpid(phone->daemon, &phone->end_status, 0);
    phone->daemon = -1;
    return true;
}

// Key presses: input records of 24 bytes, type 1, each code pressed (value 1).
bool run_press(Phone* phone, const Words& words, Answer*, std::string* error) {
    Bytes records;
    for (size_t i = 2; i < words.size(); ++i) {
        const auto code = number_parse(words[i]);
        if (!code || *code > 0xFFFF) {
            return refuse("'" + words[i] + "' is no key code", error);
        }
        const size_t at = records.size();
        records.resize(at + 24);
        records[at + 16] = 1;
        records[at + 18] = static_cast<uint8_t>(*code);
        records[at + 19] = static_cast<uint8_t>(*code >> 8U);
        records[at + 20] = 1;
    }
    return write_at(host_path(*phone, words[1]), records, 0, error);
}

bool run_chip(Phone* phone, const Words& words, Answer*, std::string* error) {
    const std::string program = phone_program("rdss-chip", "VDIAG_CHIP");
    std::vector<std::string> arguments = {program, "--root", phone->root};
    arguments.insert(arguments.end(), words.begin() + 1, words.end());
    phone->chip = fork();
    if (phone->chip == 0) {
        const int null = open("/dev/null", O_RDWR);
        (void)dup2(null, STDOUT_FILENO);
        become_program(arguments);
    }
    const Deadline deadline = deadline_in(kEndPatience);
    while (!fs::is_symlink(host_path(*phone, "/dev/ttyHS1"))) {
        if (milliseconds_left(deadline) == 0) {
            return refuse("the chip does not start", error);
        }
        (void)usleep(2000);
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------------- looking

void add_text(const char* name, const std::string& text, Answer* answer) {
    Value value;
    value.name = name;
    value.kind = Value::Kind::kText;
    value.text = text;
    answer->values.push_back(std::move(value));
}

void add_number(const char* name, int64_t number, Answer* answer) {
    Value value;
    value.name = name;
    value.number = number;
    answer->values.push_back(std::move(value));
}

void add_bytes(const char* name, Bytes bytes, Answer* answer) {
    Value value;
    value.name = name;
    value.kind = Value::Kind::kBytes;
    value.bytes = std::move(bytes);
    answer->values.push_back(std::move(value));
}

// Lines as a list, their number, and all of them as one text.
void add_lines(const std::string& text, Answer* answer) {
    int64_t count = 0;
    for (size_t at = 0; at < text.size(); ++count) {
        const size_t end = std::min(text.find('\n', at), text.size());
        add_text("line", text.substr(at, end - at), answer);
        at = end + 1;
    }
    add_number("count", count, answer);
    add_text("text", text, answer);
}

std::string read_text(const std::string& path) {
    Bytes content;
    std::string ignored;
    return file_read(path, &content, &ignored) ? std::string(content.begin(), content.end()) : "";
}

std::string octal(mode_t mode) {
    char text[8];
    (void)snprintf(text, sizeof(text), "%o", static_cast<unsigned>(mode & 07777U));
    return text;
}

std::string kind_of(const struct stat& st) {
    return S_ISREG(st.st_mode)    ? "file"
           : S_ISDIR(st.st_mode)  ? "dir"
           : S_ISLNK(st.st_mode)  ? "link"
           : S_ISFIFO(st.st_mode) ? "fifo"
                                  : "other";
}

std::string link_target(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), target, sizeof(target));
    return {target, size > 0 ? static_cast<size_t>(size) : 0};
}

// The part of a file that a line asks for: PATH [OFFSET [LENGTH]].
bool cut(const Words& words, Bytes* content, std::string* error) {
    const auto offset = words.size() > 2 ? number_parse(words[2]) : 0;
    const auto length = words.size() > 3 ? number_parse(words[3]) : content->size();
    if (!offset || !length) {
        return refuse("file takes a path, an offset and a length", error);
    }
    const size_t from = std::min<size_t>(*offset, content->size());
    const size_t size = std::min<size_t>(*length, content->size() - from);
    *content = Bytes(content->begin() + static_cast<std::ptrdiff_t>(from),
                     content->begin() + static_cast<std::ptrdiff_t>(from + size));
    return true;
}

bool run_file(Phone* phone, const Words& words, Answer* answer, std::string* error) {
    const std::string path = host_path(*phone, words[1]);
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        add_text("kind", "missing", answer);
        return true;
    }
    add_text("kind", kind_of(st), answer);
    add_text("mode", octal(st.st_mode), answer);
    add_text("target", link_target(path), answer);
    add_text("owner", std::to_string(st.st_uid) + ":" + std::to_string(st.st_gid), answer);
    Bytes content;
    std::string ignored;
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || !file_read(path, &content, &ignored)) {
        return true;  // a link to nothing or to a device has no content
    }
    add_number("size", static_cast<int64_t>(content.size()), answer);
    if (!cut(words, &content, error)) {
        return false;
    }
    add_lines(std::string(content.begin(), content.end()), answer);
    add_bytes("bytes", content, answer);
    return true;
}

// One log line without its time, process and thread; the host's paths as the phone's.
std::string log_line(const std::string& line) {
    const size_t at = line.size() > kLogHead ? line.find_first_not_of(" 0123456789", kLogHead) : std::string::npos;
    const bool logged = line.size() > kLogHead && line[2] == '-' && line[kLogHead - 1] == ' ';
    return logged && at != std::string::npos ? line.substr(at) : line;
}

std::string without_root(const Phone& phone, std::string text) {
    for (size_t at = 0; (at = text.find(phone.root + "/", at)) != std::string::npos;) {
        text.erase(at, phone.root.size());
    }
    return text;
}

std::string after(const std::string& text, size_t mark) { return text.substr(std::min(mark, text.size())); }

bool run_log(Phone* phone, const Words&, Answer* answer, std::string*) {
    phone_listen(phone);
    const std::string all = after(phone->log, phone->log_mark);
    std::string text;
    for (const std::string_view line : split(all, '\n')) {
        text += log_line(std::string(line)) + "\n";
    }
    add_lines(text, answer);
    return true;
}

bool run_calls(Phone* phone, const Words&, Answer* answer, std::string*) {
    add_lines(without_root(*phone, after(read_text(phone->root + "/.sim/calls"), phone->calls_mark)), answer);
    return true;
}

bool run_programs(Phone* phone, const Words&, Answer* answer, std::string*) {
    add_lines(without_root(*phone, after(read_text(phone->root + "/.sim/programs"), phone->programs_mark)), answer);
    return true;
}

// Waits for the daemon to end.
bool run_ended(Phone* phone, const Words&, Answer* answer, std::string* error) {
    const Deadline deadline = deadline_in(kEndPatience);
    while (phone->daemon > 0 && waitpid(phone->daemon, &phone->end_status, WNOHANG) == 0) {
        if (milliseconds_left(deadline) == 0) {
            return refuse("the daemon still runs", error);
        }
        (void)usleep(2000);
    }
    phone->daemon = -1;
    phone->end_expected = true;
    add_number(WIFSIGNALED(phone->end_status) ? "signal" : "exit",
               WIFSIGNALED(phone->end_status) ? WTERMSIG(phone->end_status) : WEXITSTATUS(phone->end_status), answer);
    return true;
}

// Everything that a phone has, and the state of its libraries; not what the simulation records.
std::map<std::string, std::string> state_of(const Phone& phone) {
    static const Words kRecords = {"/.sim/calls", "/.sim/programs", "/.sim/power", "/.sim/diag", "/.sim/modem/journal"};
    std::map<std::string, std::string> state;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(phone.root, ignored)) {
        const std::string path = entry.path().string().substr(phone.root.size());
        struct stat st {};
        if (lstat(entry.path().c_str(), &st) != 0 ||
            std::find(kRecords.begin(), kRecords.end(), path) != kRecords.end()) {
            continue;
        }
        state[path] = kind_of(st) + octal(st.st_mode) + link_target(entry.path().string()) +
                      (S_ISREG(st.st_mode) ? read_text(entry.path().string()) : "");
    }
    return state;
}

bool run_mark(Phone* phone, const Words&, Answer*, std::string*) {
    phone_listen(phone);
    phone->log_mark = phone->log.size();
    phone->calls_mark = read_text(phone->root + "/.sim/calls").size();
    phone->programs_mark = read_text(phone->root + "/.sim/programs").size();
    phone->marked = state_of(*phone);
    return true;
}

bool run_changes(Phone* phone, const Words&, Answer* answer, std::string*) {
    const std::map<std::string, std::string> now = state_of(*phone);
    std::string text;
    for (const auto& [path, state] : now) {
        const auto before = phone->marked.find(path);
        if (before == phone->marked.end() || before->second != state) {
            text += (before == phone->marked.end() ? "new " : "changed ") + path + "\n";
        }
    }
    for (const auto& [path, state] : phone->marked) {
        text += now.contains(path) ? "" : "gone " + path + "\n";
    }
    add_lines(text, answer);
    return true;
}

// clang-format off
constexpr PhoneLine kLines[] = {
    {"put",      1, 99,  "PATH [CONTENT]...",      "a file with this content and nothing else", false, run_put},
    {"patch",    3, 3,   "PATH OFFSET CONTENT",    "bytes in the middle of a file", false, run_patch},
    {"link",     2, 2,   "PATH TARGET",            "a symbolic link: /dev/full has no space, /dev/null cannot be synchronised", false, run_link},
    {"dir",      1, 1,   "PATH",                   "a directory, in the place of a file too", false, run_dir},
    {"fifo",     1, 1,   "PATH",                   "a FIFO", false, run_fifo},
    {"gone",     1, 99,  "PATH...",                "not there, with all that was below", false, run_gone},
    {"chmod",    2, 2,   "PATH MODE",              "the mode of a file, in octal", false, run_chmod},
    {"chown",    3, 3,   "PATH UID GID",           "the owner of a file; without the right to: the case ends here", true, run_chown},
    {"lock",     1, 1,   "PATH",                   "hold the lock of a file, as another program", false, run_lock},
    {"release",  0, 0,   "",                       "let it go", false, run_release},
    {"program",  1, 2,   "PATH [SCRIPT]",          "a vendor program that notes its calls and runs a line of shell", false, run_program},
    {"press",    2, 99,  "PATH CODE...",           "key presses on an input device", false, run_press},
    {"chip",     0, 99,  "[OPTION...]",            "the simulated satellite chip on the serial line", true, run_chip},
    {"env",      1, 99,  "NAME=VALUE...",          "settings of the daemon that is started next", true, run_env},
    {"limit",    2, 2,   "size|files N",           "the largest file or most open files of the daemon", true, run_limit},
    {"start",    0, 0,   "",                       "start the daemon (the first request does)", true, run_start},
    {"stop",     0, 0,   "",                       "kill the daemon", true, run_stop},
    {"ended",    0, 0,   "",                       "wait until the daemon has ended: exit, signal", true, run_ended},
    {"mark",     0, 0,   "",                       "log, calls, programs and changes count from here", false, run_mark},
    {"file",     1, 3,   "PATH [OFFSET [LENGTH]]", "kind, mode, owner, target, size, text, line, bytes", false, run_file},
    {"log",      0, 0,   "",                       "the daemon's log: line, count, text", true, run_log},
    {"calls",    0, 0,   "",                       "what the platform was asked for, in order: line, count, text", false, run_calls},
    {"programs", 0, 0,   "",                       "vendor programs that ran: line, count, text", false, run_programs},
    {"changes",  0, 0,   "",                       "files that differ from the mark: line, count, text", false, run_changes},
};
// clang-format on

}  // namespace

std::span<const PhoneLine> phone_lines() { return kLines; }

const PhoneLine* find_phone_line(const std::string& verb) {
    const auto* const found =
        std::find_if(std::begin(kLines), std::end(kLines), [&](const PhoneLine& line) { return verb == line.verb; });
    return found == std::end(kLines) ? nullptr : found;
}

}  // namespace vdiag
