#include "tests/client/peer.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include "platform/host/hdlc.h"

namespace fs = std::filesystem;

namespace {

// Peers and the test take turns: what a test sets before it runs the client is seen by its peer, and what the peer
// noted is seen by the test afterwards.
std::mutex turn;
void take_turn() { const std::lock_guard<std::mutex> lock(turn); }

std::string temporary_directory() {
    std::string path = (fs::temp_directory_path() / "vdiag-test-XXXXXX").string();
    return mkdtemp(path.data()) != nullptr ? path : "";
}

std::string content(const std::string& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

}  // namespace

ScratchFile::ScratchFile(const std::string& text) : path_((fs::temp_directory_path() / "vdiag-file-XXXXXX").string()) {
    close(mkstemp(path_.data()));
    write(text);
}

ScratchFile::~ScratchFile() { unlink(path_.c_str()); }

void ScratchFile::write(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }

std::string ScratchFile::read() const { return content(path_); }

ClientRun run_client(const std::vector<std::string>& arguments, const std::string& input) {
    take_turn();
    const std::string directory = temporary_directory();
    std::ofstream(directory + "/in", std::ios::binary) << input;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string in = directory + "/in";
    const std::string out = directory + "/out";
    const std::string err = directory + "/err";
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    std::vector<std::string> words = {VDIAG_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    ClientRun run;
    pid_t child = 0;
    int status = 0;
    const auto start = std::chrono::steady_clock::now();
    if (posix_spawn(&child, VDIAG_PROGRAM, &actions, nullptr, argv.data(), environ) == 0) {
        waitpid(child, &status, 0);
    }
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    take_turn();
    posix_spawn_file_actions_destroy(&actions);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    run.out = content(out);
    run.err = content(err);
    fs::remove_all(directory);
    return run;
}

Bytes frame(const Bytes& packet) {
    Bytes out;
    hdlc_encode(packet.data(), packet.size(), &out);
    return out;
}

bool is_mark(const uint8_t* packet, size_t size) {
    return size == 12 && packet[0] == 75 && packet[1] == 255 && packet[2] == 255 && packet[3] == 255;
}

Bytes mark_echo(const uint8_t* packet, size_t size) {
    Bytes echo = {19};
    echo.insert(echo.end(), packet, packet + size);
    return frame(echo);
}

FakePeer::FakePeer(Reply reply) : reply_(std::move(reply)), directory_(temporary_directory()) {
    path_ = directory_ + "/diag";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path_.data(), path_.size());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || listen(listener_, 8) != 0) {
        abort();
    }
    thread_ = std::thread([this] { serve(); });
}

FakePeer::~FakePeer() {
    stopping_ = true;
    thread_.join();
    close(listener_);
    fs::remove_all(directory_);
}

void FakePeer::serve() {
    while (!stopping_) {
        pollfd entry{listener_, POLLIN, 0};
        if (poll(&entry, 1, 20) > 0) {
            const int fd = accept(listener_, nullptr, nullptr);
            ++connections_;
            serve_client(fd);
            close(fd);
        }
    }
}

void FakePeer::send_flood(int fd) const {
    while (send(fd, flood_.data(), flood_.size(), MSG_NOSIGNAL) > 0) {
    }
}

void FakePeer::serve_client(int fd) {
    HdlcDecoder decoder;
    Bytes input(65536);
    while (!stopping_) {
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, 20) <= 0) {
            continue;
        }
        const ssize_t got = read(fd, input.data(), input.size());
        if (got <= 0) {
            return;
        }
        for (size_t used = 0; used < static_cast<size_t>(got);) {
            HdlcEvent event = HdlcEvent::kNone;
            used += hdlc_decode(&decoder, input.data() + used, static_cast<size_t>(got) - used, &event);
            if (event != HdlcEvent::kPacket) {
                continue;
            }
            size_t size = 0;
            const uint8_t* packet = hdlc_packet(decoder, &size);
            bool hang_up = false;
            Bytes answer;
            if (is_mark(packet, size)) {
                answer = mark_echo(packet, size);
            } else {
                const std::lock_guard<std::mutex> lock(turn);
                requests_.emplace_back(packet, packet + size);
                answer = reply_(requests_.back(), &hang_up);
            }
            (void)!send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
            if (!flood_.empty() && !is_mark(packet, size)) {
                send_flood(fd);
                return;
            }
            if (hang_up) {
                return;
            }
        }
    }
}
