// The RDSS chip test: power, antenna switches and the exchanges with the chip. Sentences are the sentence reader's, the
// line is the serial port's.
#include "rdss/chip_test.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/include/device.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "rdss/sentence_reader.h"
#include "rdss/serial_port.h"

namespace {

constexpr const char* kPowerNode = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/power_on";
constexpr const char* kGpsSwitchNode = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/bd_gps_sw";
constexpr const char* kWifiSwitchNode = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/bd_wifi_sw";
constexpr char kOn = '1';
constexpr char kOff = '0';
constexpr char kNeverSet = '2';

constexpr int kAttempts = 3;
constexpr int kAnswerTimeoutMs = 2000;
constexpr int kReceiveSize = 256;
constexpr int kReceiveTimeoutMs = 20;
constexpr unsigned kReceivePauseUs = 200000;
constexpr size_t kShortFrame = 32;
constexpr size_t kLongFrame = 2048;

// "hh" stands where a checksum would be and is sent as it is.
constexpr const char* kStopSentence = "$QXDFTSTOP,01*hh\r\n";
constexpr const char* kCnSentence = "$QXDFTCNQ,01*hh\r\n";
constexpr const char* kCnNewSentence = "$CCPWS,64,3,10*hh\r\n";
constexpr const char* kMessageHead = "$CCTCQ,2031958,1,0,1,0,0,";
constexpr const char* kMessageTail = ",1*hh\r\n";
constexpr int kMessageRepeats = 11;
constexpr char kMessageText[] =
    "高高兴兴高高兴兴开心高高兴兴高高兴兴开心高高兴兴高高兴兴开心"
    "高高兴兴高高兴兴开心高高兴兴高高兴兴开心高高兴兴高高兴兴开心";
static_assert(sizeof(kMessageText) == 180 + 1);

UniqueFd open_node(const char* path) {
    return UniqueFd(device_open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_TRUNC | O_CLOEXEC));
}

// The functions of the test flow are named as they stand in the log lines; those that others call stand there by other
// names.

// Writes a node's one character. The kernel's node holds what was last written; a file in its place must not keep the
// tail of a longer text. The result of the write.
ssize_t write_node(int node, char state) {
    const ssize_t written = uninterrupted([&] { return write(node, &state, 1); });
    if (written > 0) {
        (void)ftruncate(node, written);
    }
    return written;
}

// Writes one character to both antenna switches. Returns 0, or 1 when either cannot be opened.
int switch_antennas(char state) {
    const UniqueFd gps = open_node(kGpsSwitchNode);
    const UniqueFd wifi = open_node(kWifiSwitchNode);
    if (!gps.ok() || !wifi.ok()) {
        const int error = errno;
        ALOGE("failed to open file %s, error = %s", kGpsSwitchNode, strerror(error));
        ALOGE("failed to open file %s, error = %s", kWifiSwitchNode, strerror(error));
        return 1;
    }
    // A switch that refuses shows in the chip's answers.
    (void)write_node(gps.get(), state);
    (void)write_node(wifi.get(), state);
    return 0;
}

int openAntenna() { return switch_antennas(kOn); }

int closeAntenna() { return switch_antennas(kOff); }

int write_power(int node, char wanted) {
    if (lseek(node, 0, SEEK_SET) < 0) {
        ALOGE("failed to seek back to head of file %s, error = %s", kPowerNode, strerror(errno));
        return 1;
    }
    const ssize_t written = write_node(node, wanted);
    if (written < 0) {
        ALOGE("failed to write file %s, error = %s", kPowerNode, strerror(errno));
        return 1;
    }
    if (written == 0) {
        ALOGE("incomplete date written to file %s, written = %d, total = %zu", kPowerNode, 0, sizeof(wanted));
        return 1;
    }
    ALOGD("successfully written %c to %s", wanted, kPowerNode);
    return 0;
}

int update_power(int node, char wanted) {
    char current = kNeverSet;
    const ssize_t count = uninterrupted([&] { return read(node, &current, 1); });
    if (count < 0) {
        ALOGE("failed to read file %s, error = %s", kPowerNode, strerror(errno));
        return 1;
    }
    if (count == 0) {
        ALOGD("read %d bytes from %s, maybe not set before", 0, kPowerNode);
    }
    if (current == wanted) {
        ALOGD("%s: current power state is %c, no need to update", "setRchipPower", current);
        return 0;
    }
    return write_power(node, wanted);
}

// Returns 0 when the chip has the wanted state afterwards, else 1.
int setRchipPower(bool on) {
    ALOGD("%s: on = %s", __func__, on ? "true" : "false");
    UniqueFd node = open_node(kPowerNode);
    if (!node.ok()) {
        ALOGE("failed to open file %s, error = %s", kPowerNode, strerror(errno));
        return 1;
    }
    const int result = update_power(node.get(), on ? kOn : kOff);
    if (node.close() != 0) {
        ALOGE("failed to close file %s, error = %s", kPowerNode, strerror(errno));
        return 1;
    }
    return result;
}

// Opens the port with an empty reader behind it and wakes the chip. Returns 0, or -1 without a port.
int rchip_state_init() {
    rdss_data_reader_init();
    const int fd = open_ser_com(kRdssUart, kRdssBaud);
    ALOGD("[%s %d]Serial Port open state->fd = %d\n", __func__, __LINE__, fd);
    if (fd < 0) {
        ALOGE("[%s %d]Open serial port fail: %s(%d), err_no: %d\n", __func__, __LINE__, kRdssUart,
              static_cast<int>(kRdssBaud), errno);
        return -1;
    }
    ALOGD("[%s %d]Serial Port setup finished..OK\n", __func__, __LINE__);
    const char wake_up = 0;
    (void)port_send(&wake_up, sizeof(wake_up));  // a chip that sleeps on shows in its answers
    device_sleep(1);
    return 0;
}

// Feeds what the chip sends to the sentence reader until a positive answer or the end of the time. Kept: any positive
// answer counts, and what was received behind it is dropped. Returns 0 or -1.
int receiveResponse(int timeout_ms) {
    if (serial_port.fd < 0) {
        ALOGE("[%s %d]open serial fail, return\n", __func__, __LINE__);
        return -1;
    }
    const unsigned timeout_us = static_cast<unsigned>(timeout_ms) * 1000;
    for (unsigned elapsed_us = 0; elapsed_us <= timeout_us; elapsed_us += kReceivePauseUs) {
        char received[kReceiveSize];
        const int count = port_recv(received, kReceiveSize, kReceiveTimeoutMs);
        for (int i = 0; i < count; i++) {
            if (rdss_data_reader_addc(static_cast<unsigned char>(received[i])) == 0) {
                ALOGD("%s: ret = %d", __func__, 0);
                return 0;
            }
        }
        device_usleep(kReceivePauseUs);
    }
    return -1;
}

// Sends the sentence, padded with zeros to the whole frame, until the chip answers; `name` stands in the log lines.
// Returns 0 for a positive answer, 1 for none in all attempts, -1 when the port takes nothing.
int exchange(const char* name, const std::string& sentence, size_t frame_size, bool logs_sentence = false) {
    std::string frame = sentence;
    frame.resize(frame_size, '\0');
    for (int attempt = 0; attempt < kAttempts; attempt++) {
        ALOGD("%s send start Request mSerialDeviceFd = %d", name, serial_port.fd);
        if (logs_sentence) {
            ALOGD("%s send start Request cmd_buff = %s", name, sentence.c_str());
        }
        if (port_send(frame.data(), frame.size()) < 1) {
            ALOGE("%s failed to port_send", name);
            return -1;
        }
        const int result = receiveResponse(kAnswerTimeoutMs);
        ALOGE("%s receiveResponse ret = %d", name, result);
        if (result == 0) {
            return 0;
        }
        ALOGE("[%s %d]get receiveResponse fail: %d, continue\n", name, __LINE__, attempt);
    }
    return 1;
}

}  // namespace

int rdss_chip_start() {
    if (openAntenna() != 0) {
        ALOGE("startTest failed to open antenna");
        return 1;
    }
    if (rchip_state_init() != 0) {
        ALOGE("startTest failed to openSerialDevice");
        return -1;
    }
    if (setRchipPower(true) != 0) {
        ALOGE("startTest failed to setRchipPower");
        return 1;
    }
    device_sleep(1);
    return 0;
}

int rdss_chip_stop() { return exchange("stopTest", kStopSentence, kShortFrame); }

int rdss_chip_close() {
    if (setRchipPower(false) != 0) {
        ALOGE("closeTest failed to setRchipPower");
        return 1;
    }
    if (close_ser_com() != 0) {
        ALOGE("closeTest failed to closeSerialDevice");
        return 1;
    }
    if (closeAntenna() != 0) {
        ALOGE("closeTest failed to close antenna");
        return 1;
    }
    return 0;
}

int rdss_chip_query_cn() { return exchange("queryCN", kCnSentence, kShortFrame); }

int rdss_chip_query_cn_new() { return exchange("queryCNNew", kCnNewSentence, kShortFrame, true); }

int rdss_chip_send_message() {
    std::string sentence = kMessageHead;
    for (int i = 0; i < kMessageRepeats; i++) {
        sentence += kMessageText;
    }
    return exchange("queryCCTCQ", sentence + kMessageTail, kLongFrame);
}
