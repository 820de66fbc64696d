// The UART that the RDSS chip hangs on: opening, line settings, autosuspend, sending and timed receiving. What the
// bytes mean is the sentence reader's.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <cerrno>
#include <cstddef>

// The result of a read or write that no signal interrupted.
template <typename Call>
ssize_t uninterrupted(Call call) {
    ssize_t moved = 0;
    do {
        moved = call();
    } while (moved < 0 && errno == EINTR);
    return moved;
}

constexpr const char* kRdssUart = "/dev/ttyHS1";
constexpr unsigned kRdssBaud = 115200;
constexpr const char* kUartAutosuspendNode =
    "/sys/devices/platform/soc/890000.qcom,qup_uart/power/autosuspend_delay_ms";

// The one port of the process.
struct SerialPort {
    int fd;                 // -1: closed
    int saved_autosuspend;  // ms; what the UART had before it was opened, -1 at first
};
extern SerialPort serial_port;

struct SerialOptions {
    unsigned baud;
    int data_bits;  // 5 to 8
    char parity;    // E, N, O or S, of either case
    int stop_bits;  // 1 or 2
    int flow;       // 0: none, 1: RTS/CTS, 2: see the table of flow modes
    int vtime;      // seconds
    int vmin;       // bytes
};

// Opens the device as a raw line of `baud`, 8N1, keeps it from suspending, and makes it the process's port; a port that
// was open before is closed. Returns the descriptor (owned by serial_port), or -1.
int open_ser_com(const char* path, unsigned baud);

// Gives the UART its autosuspend delay back and closes the port. Returns 0 (also when it was closed already), or -1
// when the close failed.
int close_ser_com();

// Applies the options to terminal settings. False, with one log line: an option is not supported.
bool apply_serial_options(const SerialOptions& options, struct termios* settings);

// Applies the options to a line and discards what is pending on it. Returns 0, or -1.
int set_serial_opt(int fd, const SerialOptions& options);

// The UART's autosuspend delay in ms; 0 when the node is empty, -1 when it cannot be opened.
int uart_get_autosuspend_delay();
void uart_set_autosuspend_delay(int delay_ms);

// Sends `size` bytes in one write; the rest of a partial write is not sent. Returns write(2)'s result.
ssize_t port_send(const void* data, size_t size);

// Receives until `wanted` bytes have arrived or the waits of 50 ms add up to `timeout_ms`. Returns the number of bytes
// stored in `buffer`, or -1 on a closed port or a failed line.
int port_recv(char* buffer, int wanted, int timeout_ms);
