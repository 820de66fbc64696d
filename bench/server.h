// Servers of a benchmark: the daemon or a peer, started as a process of its own and spoken to over its Unix socket.
// Whatever fails ends the benchmark with a line on standard error.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct Server {
    std::string path;  // of its socket
    pid_t pid = -1;
};

// Starts `command` with nothing to read its output, and waits until `path` takes connections.
Server start(std::vector<std::string> command, const std::string& path);
void stop(const Server& server);

// A connection to `path`, tried for ten seconds and more; the caller closes it.
int connect_to(const std::string& path);

// Reads until `count` frames have ended.
void read_frames(int fd, size_t count);

// Sends a request, a whole frame, and reads until its answer has ended.
void exchange(int fd, const Bytes& request);
