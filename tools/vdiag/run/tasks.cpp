// Tasks that are made of several requests: keybox transfer, certificate request, network-access unlock, key test.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tools/vdiag/run/crypto.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/run/report.h"
#include "tools/vdiag/words/stop.h"

namespace vdiag {
namespace {

constexpr size_t kKeyboxPiece = 8192;  // bytes of the file in one request
constexpr int kWatchDefault = 30000;   // milliseconds
constexpr int kWatchPause = 500;

bool stop(int exit_status, const std::string& text, Failure* failure) {
    *failure = {exit_status, text};
    return false;
}

Value number(const char* name, size_t value) {
    Value out;
    out.name = name;
    out.number = static_cast<int64_t>(value);
    return out;
}

Value text(const char* name, const std::string& value) {
    Value out;
    out.name = name;
    out.kind = Value::Kind::kText;
    out.text = value;
    return out;
}

Answer summary(const char* title, std::vector<Value> values) {
    Answer answer;
    answer.title = title;
    answer.status = Status{0, true, "done"};
    answer.values = std::move(values);
    return answer;
}

// One step of a task: a command line. kAnswered: a good answer; kRefused: another one, which ends the task.
enum class Step { kAnswered, kRefused, kFailed };

Step step(Session* session, const std::vector<std::string>& words, Answer* answer, Failure* failure) {
    Invocation invocation;
    invocation.words = words;
    *answer = Answer();
    if (!perform(session, invocation, answer, failure)) {
        return Step::kFailed;
    }
    return answer->good() ? Step::kAnswered : Step::kRefused;
}

std::string value_text(const Answer& answer, const char* name) {
    const Value* value = answer.find(name);
    return value == nullptr ? "" : (value->kind == Value::Kind::kText ? value->text : value->plain());
}

// A bar on standard error, when that is a terminal.
void show_progress(size_t done, size_t total, bool last) {
    constexpr size_t kWidest = 40;
    winsize window{};
    if (isatty(STDERR_FILENO) == 0) {
        return;
    }
    const std::string numbers = std::to_string(done) + " of " + std::to_string(total) + " bytes";
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    const size_t columns = known ? window.ws_col : 80;
    const size_t taken = numbers.size() + 4;  // brackets, a blank, and the last column, behind which a line would wrap
    const size_t width = columns > taken ? std::min(kWidest, columns - taken) : 0;
    const size_t filled = total == 0 ? width : done * width / total;
    const std::string bar = width > 0
                                ? "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " + numbers
                                : numbers.substr(0, std::max<size_t>(columns, 1) - 1);
    (void)fprintf(stderr, "\r%s%s", bar.c_str(), last ? "\n" : "");
}

// Sends the pieces of a file to an open handle.
Step send_pieces(Session* session, const std::string& handle, const Bytes& content, Answer* answer, Failure* failure) {
    for (size_t at = 0; at < content.size();) {
        const size_t size = std::min(kKeyboxPiece, content.size() - at);
        const std::string piece = "hex:" + hex_text(content.data() + at, size);
        const Step result = step(session, {"keybox", "write", handle, std::to_string(at), piece}, answer, failure);
        if (result != Step::kAnswered) {
            show_progress(at, content.size(), true);
            return result;
        }
        at += size;
        show_progress(at, content.size(), at == content.size());
    }
    return Step::kAnswered;
}

// Opens, writes and closes; the handle is closed after a failure too.
Step send_file(Session* session, const Bytes& content, Answer* answer, Failure* failure) {
    Step result = step(session, {"keybox", "open", "write"}, answer, failure);
    if (result != Step::kAnswered) {
        return result;
    }
    const std::string handle = value_text(*answer, "handle");
    if (handle.starts_with('-')) {
        (void)stop(kExitEnded, "keybox send: the phone gave no file handle", failure);
        return Step::kFailed;
    }
    result = send_pieces(session, handle, content, answer, failure);
    Answer closing;
    Failure ignored;
    const bool sent = result == Step::kAnswered;
    const Step closed = step(session, {"keybox", "close", handle}, sent ? answer : &closing, sent ? failure : &ignored);
    return sent ? closed : result;
}

bool run_keybox_send(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    Bytes content;
    std::string error;
    if (!file_read(invocation.words[2], &content, &error)) {
        return stop(kExitFailure, error, failure);
    }
    Step result = send_file(session, content, answer, failure);
    if (result == Step::kAnswered && !invocation.device.empty()) {
        const std::string md5 = md5_hex({reinterpret_cast<const char*>(content.data()), content.size()});
        std::vector<std::string> words = {"ftm", "InstallKeybox", invocation.device};
        if (!md5.empty()) {
            words.push_back(md5);
        }
        result = step(session, words, answer, failure);
    }
    if (result == Step::kAnswered) {
        *answer = summary("keybox send", {number("bytes", content.size())});
    }
    return result != Step::kFailed;
}

bool finish_csr(const Invocation& invocation, const std::string& csr, const std::string& md5, Answer* answer,
                Failure* failure) {
    const std::string computed = md5_hex(csr);
    if (!computed.empty() && computed != md5) {
        return stop(kExitEnded, "csr fetch: the request that arrived has MD5 " + computed + ", the phone says " + md5,
                    failure);
    }
    std::vector<Value> values = {number("bytes", csr.size()), text("md5", md5)};
    std::string error;
    if (invocation.output.empty()) {
        values.push_back(text("csr", csr));
    } else if (!file_write(invocation.output, csr, &error)) {
        return stop(kExitFailure, error, failure);
    }
    *answer = summary("csr fetch", std::move(values));
    return true;
}

bool run_csr_fetch(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    Step result = Step::kAnswered;
    if (invocation.generate) {
        result = step(session, {"ftm", "GenCSR"}, answer, failure);
    }
    if (result == Step::kAnswered) {
        result = step(session, {"ftm", "GetCSR"}, answer, failure);
    }
    const std::string csr = value_text(*answer, "csr");
    if (result == Step::kAnswered) {
        result = step(session, {"ftm", "GetMd5ofCSR"}, answer, failure);
    }
    if (result != Step::kAnswered) {
        return result == Step::kRefused;
    }
    return finish_csr(invocation, csr, value_text(*answer, "md5"), answer, failure);
}

bool run_unlock(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    Step result = step(session, {"ftm", "ElecAccessNetAuthen", "challenge"}, answer, failure);
    if (result != Step::kAnswered) {
        return result == Step::kRefused;
    }
    std::string challenge;
    std::string error;
    if (!rsa_decrypt(invocation.key, value_text(*answer, "message"), &challenge, &error)) {
        return stop(kExitFailure, "unlock: " + error, failure);
    }
    result = step(session, {"ftm", "ElecAccessNetAuthen", "verify", sha256_hex(challenge)}, answer, failure);
    if (result == Step::kAnswered) {
        *answer = summary("unlock", {});
    } else if (result == Step::kRefused) {
        answer->title = "unlock";
    }
    return result != Step::kFailed;
}

bool run_keys_watch(Session* session, const Invocation& invocation, Answer* answer, Failure* failure) {
    const int lasting = milliseconds_parse(invocation.lasting).value_or(kWatchDefault);
    Step result = step(session, {"keys", "start"}, answer, failure);
    if (result != Step::kAnswered) {
        return result == Step::kRefused;
    }
    if (isatty(STDERR_FILENO) != 0) {
        warn("press each of the three test keys");
    }
    const Deadline deadline = deadline_in(lasting);
    do {
        result = step(session, {"keys", "check"}, answer, failure);
        if (result != Step::kRefused || answer->error || !answer->fault.empty()) {
            break;
        }
        pause_ms(std::min(kWatchPause, milliseconds_left(deadline)));
    } while (milliseconds_left(deadline) > 0 && stop_signal() == 0);
    answer->title = "keys watch";
    return result != Step::kFailed;
}

// clang-format off
constexpr Task kTasks[] = {
    {"keybox send", "FILE [--install DEVICE]",        "send an attestation keybox file, and install it",         run_keybox_send, 3, nullptr, "bytes:u32", "Opens the keybox file on the phone, writes FILE to it piece by piece, closes it and, with --install, has it checked and installed for the device identifier."},
    {"csr fetch",   "[--generate] [--output FILE]",   "fetch the certificate signing request and compare its MD5", run_csr_fetch,   2, nullptr, "bytes:u32 md5:text csr:text", "Reads the request that the phone keeps, compares its MD5 with that of the phone and writes it to a file. With --generate the phone produces a new one first."},
    {"unlock",      "--key PEM",                      "network-access authentication: opens the electronic label", run_unlock,      1, &Invocation::key, "", "Asks the phone for a challenge, decrypts it with the private key and sends its SHA-256 back. The label may then be written until the daemon ends."},
    {"keys watch",  "[--for TIME]",                   "start the key test and wait until all keys were pressed",  run_keys_watch,  2, nullptr, "all_seen:u8{no=0,yes=188}", "Starts the key test and asks every half second, until all three test keys were seen or the time is up."},
};
// clang-format on

}  // namespace

std::span<const Task> tasks() { return kTasks; }

}  // namespace vdiag
