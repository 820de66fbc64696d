// The RDSS chip's UART: tables of line settings over termios, the autosuspend node, sending and timed receiving.
#include "rdss/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"

SerialPort serial_port = {-1, -1};

namespace {

constexpr int kWaitMs = 50;
constexpr size_t kDelayTextSize = 16;
constexpr const char* kSetOptions = "set_serial_opt";

struct RateRow {
    unsigned baud;
    speed_t speed;
};
constexpr RateRow kRates[] = {
    {2400, B2400},     {4800, B4800},     {9600, B9600},       {115200, B115200},   {230400, B230400},
    {460800, B460800}, {921600, B921600}, {2000000, B2000000}, {3000000, B3000000},
};

// What a value of an option clears and then sets in the control flags, and in the input flags.
struct FlagRow {
    int value;
    tcflag_t clear;
    tcflag_t set;
    tcflag_t input_clear = 0;
    tcflag_t input_set = 0;
};
constexpr FlagRow kFlowModes[] = {
    {0, CRTSCTS, 0},
    {1, 0, CRTSCTS},
    {2, 0, CREAD | IXON | IXANY | IXOFF},  // Kept: input flags, set among the control flags
};
constexpr FlagRow kDataSizes[] = {
    {5, CSIZE, CS5},
    {6, CSIZE, CS6},
    {7, CSIZE, CS7},
    {8, CSIZE, CS8},
};
constexpr FlagRow kParities[] = {
    {'E', PARODD, PARENB, 0, INPCK},
    {'N', PARENB, 0, INPCK, 0},
    {'O', 0, PARENB | PARODD, 0, INPCK},
    {'S', PARENB | CSTOPB, 0},
};
constexpr FlagRow kStopBits[] = {
    {1, CSTOPB, 0},
    {2, 0, CSTOPB},
};

template <size_t N>
bool apply_row(const FlagRow (&rows)[N], int value, struct termios* settings) {
    const FlagRow* row = std::find_if(std::begin(rows), std::end(rows), [&](auto& r) { return r.value == value; });
    if (row == std::end(rows)) {
        return false;
    }
    settings->c_cflag = (settings->c_cflag & ~row->clear) | row->set;
    settings->c_iflag = (settings->c_iflag & ~row->input_clear) | row->input_set;
    return true;
}

bool apply_rate(unsigned baud, struct termios* settings) {
    const RateRow* row = std::find_if(std::begin(kRates), std::end(kRates), [&](auto& r) { return r.baud == baud; });
    return row != std::end(kRates) && cfsetispeed(settings, row->speed) == 0 && cfsetospeed(settings, row->speed) == 0;
}

UniqueFd open_autosuspend_node(const char* caller) {
    UniqueFd node(device_open(kUartAutosuspendNode, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!node.ok()) {
        ALOGE("[%s %d]open: %s failed, err_no: %d\n", caller, __LINE__, kUartAutosuspendNode, errno);
    }
    return node;
}

// Configures the line that has just been opened. Returns false when it cannot be used.
bool configure_line(int fd, unsigned baud) {
    if (fcntl(fd, F_SETFL, 0) < 0) {
        ALOGE("[%s %d] : fcntl F_SETFL Fail\n", "open_ser_com", __LINE__);
        return false;
    }
    serial_port.saved_autosuspend = uart_get_autosuspend_delay();
    uart_set_autosuspend_delay(-1);
    (void)tcflush(fd, TCIOFLUSH);  // stale bytes do no more than delay the first answer
    if (set_serial_opt(
            fd, {.baud = baud, .data_bits = 8, .parity = 'N', .stop_bits = 1, .flow = 0, .vtime = 0, .vmin = 0}) != 0) {
        ALOGE("[%s %d]failed to change baud: %d, err_no: %d\n", "open_ser_com", __LINE__, static_cast<int>(baud),
              errno);
        return false;
    }
    return true;
}

// Waits for input for kWaitMs. Returns 1 when there is some, 0 when not, -1 when the line cannot be waited on.
int wait_readable(int fd) {
    struct pollfd line = {fd, POLLIN, 0};
    if (poll(&line, 1, kWaitMs) < 0) {
        return errno == EINTR ? 0 : -1;
    }
    if ((line.revents & POLLNVAL) != 0) {
        return -1;
    }
    return line.revents != 0 ? 1 : 0;
}

int received(int count) {
    ALOGD("[%s %d]nn=%d\n", "port_recv", __LINE__, count);
    return count;
}

}  // namespace

int open_ser_com(const char* path, unsigned baud) {
    ALOGD("[%s %d]opening device: %s, baud: %d\n", __func__, __LINE__, path, static_cast<int>(baud));
    // Of a port that is still open only the autosuspend delay (-1 by now) reaches the new one; it closes on return.
    const UniqueFd previous(serial_port.fd);
    serial_port.fd = -1;
    UniqueFd line(device_open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!line.ok()) {
        ALOGE("[%s %d]open: %s failed, err_no: %d\n", __func__, __LINE__, path, errno);
        return -1;
    }
    if (!configure_line(line.get(), baud)) {
        return -1;
    }
    serial_port.fd = line.release();
    ALOGD("[%s %d]opening device: %s, mSerialDeviceFd: %d\n", __func__, __LINE__, path, serial_port.fd);
    return serial_port.fd;
}

int close_ser_com() {
    if (serial_port.fd != -1) {
        uart_set_autosuspend_delay(serial_port.saved_autosuspend);
        if (close(serial_port.fd) != 0) {
            ALOGE("close ser fail");
            return -1;
        }
    }
    ALOGD("close ser success");
    serial_port.fd = -1;
    return 0;
}

bool apply_serial_options(const SerialOptions& options, struct termios* settings) {
    cfmakeraw(settings);
    settings->c_cflag |= CLOCAL | CREAD;
    if (!apply_row(kFlowModes, options.flow, settings)) {
        ALOGE("[%s %d]Unsupported flow ctrl\n", kSetOptions, __LINE__);
        return false;
    }
    if (!apply_row(kDataSizes, options.data_bits, settings)) {
        ALOGE("[%s %d]Unsupported data size\n", kSetOptions, __LINE__);
        return false;
    }
    if (!apply_row(kParities, toupper(static_cast<unsigned char>(options.parity)), settings)) {
        ALOGE("[%s %d]Unsupported parity\n", kSetOptions, __LINE__);
        return false;
    }
    if (!apply_rate(options.baud, settings)) {
        ALOGE("[%s %d]Unsupported baud: %d\n", kSetOptions, __LINE__, static_cast<int>(options.baud));
        return false;
    }
    if (!apply_row(kStopBits, options.stop_bits, settings)) {
        ALOGE("[%s %d]Unsupported stop bits: %d\n", kSetOptions, __LINE__, options.stop_bits);
        return false;
    }
    settings->c_cc[VTIME] = static_cast<cc_t>(options.vtime * 10);  // tenths of a second
    settings->c_cc[VMIN] = static_cast<cc_t>(options.vmin);
    settings->c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ECHONL | ISIG | IEXTEN);
    settings->c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY | INLCR | IGNCR | ICRNL);
    settings->c_oflag &= ~static_cast<tcflag_t>(OPOST);
    return true;
}

int set_serial_opt(int fd, const SerialOptions& options) {
    struct termios settings = {};
    if (tcgetattr(fd, &settings) != 0) {
        ALOGE("[%s %d]serial port get attribute error: %d\n", __func__, __LINE__, errno);
        return -1;
    }
    if (!apply_serial_options(options, &settings)) {
        return -1;
    }
    (void)tcflush(fd, TCIOFLUSH);  // stale bytes do no more than delay the first answer
    if (tcsetattr(fd, TCSANOW, &settings) != 0) {
        ALOGE("[%s %d]serial atrribute set error: %d\n", __func__, __LINE__, errno);
        return -1;
    }
    return 0;
}

int uart_get_autosuspend_delay() {
    const UniqueFd node = open_autosuspend_node(__func__);
    if (!node.ok()) {
        return -1;
    }
    char text[kDelayTextSize + 1] = {};
    const ssize_t count = read(node.get(), text, kDelayTextSize);
    if (count < 1 || static_cast<size_t>(count) != strlen(text)) {
        ALOGE("failed to get autosuspend_delay\n");
    } else {
        ALOGD("success to get autosuspend_delay: %s\n", text);
    }
    return static_cast<int>(strtol(text, nullptr, 10));
}

void uart_set_autosuspend_delay(int delay_ms) {
    const UniqueFd node = open_autosuspend_node(__func__);
    if (!node.ok()) {
        return;
    }
    char text[kDelayTextSize] = {};
    const int size = snprintf(text, sizeof(text), "%d", delay_ms);
    if (uninterrupted([&] { return write(node.get(), text, static_cast<size_t>(size)); }) != size) {
        ALOGE("failed to set autosuspend_delay\n");
        return;
    }
    // The kernel's node holds what was last written; a file in its place must not keep the tail of a longer number.
    (void)ftruncate(node.get(), size);
    ALOGD("success to set autosuspend_delay: %s\n", text);
}

ssize_t port_send(const void* data, size_t size) {
    const ssize_t sent = uninterrupted([&] { return write(serial_port.fd, data, size); });
    if (sent >= 1) {
        ALOGD("%s: port_send %d bytes\n", __func__, static_cast<int>(sent));
    }
    return sent;
}

int port_recv(char* buffer, int wanted, int timeout_ms) {
    if (serial_port.fd == -1) {
        return -1;
    }
    if (timeout_ms == 0) {
        return received(0);
    }
    int count = 0;
    // Kept: every pass counts as a whole wait, however short it was, and a failed read takes one off the count.
    for (int elapsed_ms = 0; elapsed_ms == 0 || elapsed_ms < timeout_ms; elapsed_ms += kWaitMs) {
        const int ready = wait_readable(serial_port.fd);
        if (ready < 0) {
            return received(-1);
        }
        if (ready > 0) {
            const int have = std::max(count, 0);
            count += static_cast<int>(read(serial_port.fd, buffer + have, static_cast<size_t>(wanted - have)));
        }
        if (count >= wanted) {
            return received(wanted);
        }
    }
    return received(count);
}
