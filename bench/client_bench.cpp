// Processor time of one request by the client, both ends counted, beside that of a ten-line program with the same
// bytes:
//     client_bench VDIAG ECHO [ROUNDS]
// The peer answers each frame with the frame of a good answer. Prints both times and their ratio.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host/hdlc.h"

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double used(int who) {
    rusage usage{};
    (void)getrusage(who, &usage);
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// What answers the frames that have been read: the error answer to a mark (the request that goes ahead of the
// client's), the given answer to any other.
std::vector<uint8_t> answers_to(const uint8_t* bytes, size_t size, const std::vector<uint8_t>& answer) {
    constexpr uint8_t kBadCommand = 19;
    std::vector<uint8_t> out;
    HdlcDecoder decoder;
    for (size_t used = 0; used < size;) {
        HdlcEvent event = HdlcEvent::kNone;
        used += hdlc_decode(&decoder, bytes + used, size - used, &event);
        size_t packet_size = 0;
        const uint8_t* packet = hdlc_packet(decoder, &packet_size);
        if (event == HdlcEvent::kPacket && packet_size > 1 && packet[1] == 255) {
            std::vector<uint8_t> echo = {kBadCommand};
            echo.insert(echo.end(), packet, packet + packet_size);
            hdlc_encode(echo.data(), echo.size(), &out);
        } else if (event == HdlcEvent::kPacket) {
            out.insert(out.end(), answer.begin(), answer.end());
        }
    }
    return out;
}

// Answers what comes in one read on a fresh connection.
void serve_one(int listener, const std::vector<uint8_t>& answer) {
    const int fd = accept(listener, nullptr, nullptr);
    uint8_t bytes[512];
    const ssize_t got = read(fd, bytes, sizeof(bytes));
    const std::vector<uint8_t> wire = answers_to(bytes, got > 0 ? static_cast<size_t>(got) : 0, answer);
    (void)!write(fd, wire.data(), wire.size());
    (void)!read(fd, bytes, sizeof(bytes));
    (void)close(fd);
}

// Mean processor time of a round, of the program and of this process as its peer.
double round_time(std::vector<std::string> words, int listener, const std::vector<uint8_t>& answer, int rounds) {
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const double start = used(RUSAGE_CHILDREN) + used(RUSAGE_SELF);
    for (int i = 0; i < rounds; ++i) {
        pid_t child = 0;
        if (posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            (void)fprintf(stderr, "cannot run %s\n", argv[0]);
            exit(1);
        }
        serve_one(listener, answer);
        (void)waitpid(child, nullptr, 0);
    }
    (void)posix_spawn_file_actions_destroy(&actions);
    return (used(RUSAGE_CHILDREN) + used(RUSAGE_SELF) - start) / rounds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        (void)fprintf(stderr, "usage: %s VDIAG ECHO [ROUNDS]\n", argv[0]);
        return 2;
    }
    const int rounds = argc > 3 ? atoi(argv[3]) : 500;
    const std::string path = "/tmp/client-bench." + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof(address.sun_path) - 1));
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || listen(listener, 1) != 0) {
        perror("bind");
        return 1;
    }
    std::vector<uint8_t> answer = {0x4b, 0x0b, 0xfe, 0x7f};
    answer.resize(256);
    std::vector<uint8_t> frame;
    hdlc_encode(answer.data(), answer.size(), &frame);
    double client = 1e9;
    double echo = 1e9;
    for (int i = 0; i < 5; ++i) {  // the best of five, taken in turns: other programs disturb both alike
        client = std::min(client, round_time({argv[1], "-c", "unix:" + path, "ftm", "UFS"}, listener, frame, rounds));
        echo = std::min(echo, round_time({argv[2], path}, listener, frame, rounds));
    }
    (void)unlink(path.c_str());
    printf("vdiag %.0f us, echo %.0f us, ratio %.2f\n", client * 1e6, echo * 1e6, client / echo);
    return client / echo < 1.3 ? 0 : 1;
}
