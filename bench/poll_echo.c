// poll_echo PATH [frames]: the least that a service can do. Listens on a Unix socket and sends back what it reads, from
// one poll loop; with "frames" each frame leaves in a write of its own, as a diag response does.
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

enum { MAX_CLIENTS = 64, BUFFER_SIZE = 16384, FLAG = 0x7E };

static int write_frames(int fd, const char *data, size_t size) {
    while (size > 0) {
        const char *flag = memchr(data, FLAG, size);
        const size_t length = flag != NULL ? (size_t)(flag + 1 - data) : size;
        if (write(fd, data, length) != (ssize_t)length) {
            return -1;
        }
        data += length;
        size -= length;
    }
    return 0;
}

static int echo(int fd, int by_frame) {
    char buffer[BUFFER_SIZE];
    const ssize_t size = read(fd, buffer, sizeof(buffer));
    if (size <= 0) {
        return -1;
    }
    return by_frame ? write_frames(fd, buffer, (size_t)size) : (write(fd, buffer, (size_t)size) == size ? 0 : -1);
}

int main(int argc, char **argv) {
    struct sockaddr_un name = {.sun_family = AF_UNIX};
    struct pollfd polled[1 + MAX_CLIENTS];
    nfds_t count = 1;
    if (argc < 2) {
        return 2;
    }
    (void)snprintf(name.sun_path, sizeof(name.sun_path), "%s", argv[1]);
    polled[0] = (struct pollfd){socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), POLLIN, 0};
    if (bind(polled[0].fd, (struct sockaddr *)&name, sizeof(name)) != 0 || listen(polled[0].fd, MAX_CLIENTS) != 0) {
        perror(argv[1]);
        return 1;
    }
    while (poll(polled, count, -1) > 0) {
        for (nfds_t i = count; i-- > 1;) {
            if (polled[i].revents != 0 && echo(polled[i].fd, argc > 2) != 0) {
                (void)close(polled[i].fd);
                polled[i] = polled[--count];
            }
        }
        if (polled[0].revents != 0 && count <= MAX_CLIENTS) {
            polled[count++] = (struct pollfd){accept(polled[0].fd, NULL, NULL), POLLIN, 0};
        }
    }
    return 0;
}
