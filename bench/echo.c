// The yardstick of the client's benchmark: sends the bytes of one frame to a Unix socket and prints how many came back.
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int argc, char** argv) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    char bytes[512] = "\x4b\x0b\xfe\x7fUFS\0\x3b\x0c\x7e";
    strncpy(address.sun_path, argc > 1 ? argv[1] : "", sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, (struct sockaddr*)&address, sizeof(address)) != 0 || write(fd, bytes, 11) != 11) return 1;
    printf("%zd\n", read(fd, bytes, sizeof(bytes)));
    return 0;
}
