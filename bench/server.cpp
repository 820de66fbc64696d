#include "bench/server.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/host/address.h"

int connect_to(const std::string& path) {
    sockaddr_un name{};
    UniqueFd directory;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    for (int attempt = 0; attempt < 100000; ++attempt) {
        if (address_unix_name(path, &name, &directory) &&
            connect(fd, static_cast<sockaddr*>(static_cast<void*>(&name)), sizeof(name)) == 0) {
            return fd;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    (void)fprintf(stderr, "nobody listens on %s\n", path.c_str());
    exit(1);
}

Server start(std::vector<std::string> command, const std::string& path) {
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    (void)posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> words;
    std::transform(command.begin(), command.end(), std::back_inserter(words),
                   [](std::string& word) { return word.data(); });
    words.push_back(nullptr);
    Server server{path};
    if (posix_spawn(&server.pid, words[0], &actions, nullptr, words.data(), environ) != 0) {
        perror(words[0]);
        exit(1);
    }
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)close(connect_to(path));
    return server;
}

void stop(const Server& server) {
    (void)kill(server.pid, SIGKILL);
    (void)waitpid(server.pid, nullptr, 0);
}

// Reads until `count` frames have ended.
void read_frames(int fd, size_t count) {
    uint8_t buffer[65536];
    while (count > 0) {
        const ssize_t size = read(fd, buffer, sizeof(buffer));
        if (size <= 0) {
            (void)fprintf(stderr, "the connection ended\n");
            exit(1);
        }
        count -= std::min<size_t>(count, static_cast<size_t>(std::count(buffer, buffer + size, 0x7E)));
    }
}

void exchange(int fd, const Bytes& request) {
    if (write(fd, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
        read_frames(fd, 1);
    }
}
