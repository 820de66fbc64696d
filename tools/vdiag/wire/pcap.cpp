// Pcap records: IPv4, UDP, GSMTAP, diag packet.
#include "tools/vdiag/wire/pcap.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/vdiag/words/message.h"

namespace vdiag {
namespace {

constexpr uint32_t kMagic = 0xA1B2C3D4;  // microseconds, in the order it is written
constexpr uint32_t kSnapLength = 262144;
constexpr uint32_t kLinkIpv4 = 228;
constexpr uint16_t kGsmtapPort = 4729;
constexpr uint8_t kGsmtapVersion = 2;
constexpr uint8_t kGsmtapDiag = 0x11;
constexpr uint16_t kUplink = 0x4000;
constexpr size_t kGsmtapHead = 16;
constexpr size_t kUdpHead = 8;
constexpr size_t kIpHead = 20;
constexpr size_t kMaxDatagram = 65535;

void little32(uint32_t value, Bytes* out) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        out->push_back(static_cast<uint8_t>(value >> shift));
    }
}

void big16(size_t value, Bytes* out) {
    out->push_back(static_cast<uint8_t>(value >> 8U));
    out->push_back(static_cast<uint8_t>(value));
}

uint16_t ip_checksum(const uint8_t* head) {
    uint32_t sum = 0;
    for (size_t i = 0; i < kIpHead; i += 2) {
        sum += static_cast<uint32_t>(head[i] << 8U) | head[i + 1];
    }
    while (sum > 0xFFFF) {
        sum = (sum & 0xFFFFU) + (sum >> 16U);
    }
    return static_cast<uint16_t>(~sum);
}

// 127.0.0.1 is the tool, 127.0.0.2 the phone.
void ip_head(Direction direction, size_t length, Bytes* out) {
    const auto from = static_cast<uint8_t>(direction == Direction::kToPhone ? 1 : 2);
    const auto to = static_cast<uint8_t>(3 - from);
    const size_t start = out->size();
    out->insert(out->end(), {0x45, 0});
    big16(length, out);
    out->insert(out->end(), {0, 0, 0x40, 0, 64, 17, 0, 0, 127, 0, 0, from, 127, 0, 0, to});
    const uint16_t checksum = ip_checksum(out->data() + start);
    (*out)[start + 10] = static_cast<uint8_t>(checksum >> 8U);
    (*out)[start + 11] = static_cast<uint8_t>(checksum);
}

void gsmtap_head(Direction direction, Bytes* out) {
    out->insert(out->end(), {kGsmtapVersion, kGsmtapHead / 4, kGsmtapDiag, 0});
    big16(direction == Direction::kToPhone ? kUplink : 0, out);
    out->insert(out->end(), kGsmtapHead - 6, 0);
}

bool write_bytes(int fd, const Bytes& bytes) {
    return write_all(fd, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

}  // namespace

Bytes pcap_head() {
    Bytes out;
    little32(kMagic, &out);
    out.insert(out.end(), {2, 0, 4, 0});  // version 2.4
    little32(0, &out);
    little32(0, &out);
    little32(kSnapLength, &out);
    little32(kLinkIpv4, &out);
    return out;
}

Bytes pcap_record(Direction direction, const Bytes& packet, uint32_t seconds, uint32_t microseconds) {
    const size_t full = kIpHead + kUdpHead + kGsmtapHead + packet.size();
    const size_t length = std::min(full, kMaxDatagram);  // a datagram holds no more
    Bytes out;
    little32(seconds, &out);
    little32(microseconds, &out);
    little32(static_cast<uint32_t>(length), &out);
    little32(static_cast<uint32_t>(full), &out);
    ip_head(direction, length, &out);
    big16(kGsmtapPort, &out);
    big16(kGsmtapPort, &out);
    big16(length - kIpHead, &out);
    big16(0, &out);  // no checksum
    gsmtap_head(direction, &out);
    out.insert(out.end(), packet.begin(), packet.end() - static_cast<std::ptrdiff_t>(full - length));
    return out;
}

bool pcap_open(const std::string& path, Pcap* pcap, std::string* error) {
    if (path != "-") {
        pcap->file = UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    }
    pcap->fd = path != "-" ? pcap->file.get() : STDOUT_FILENO;
    if (pcap->fd >= 0 && write_bytes(pcap->fd, pcap_head())) {
        return true;
    }
    *error = "cannot write " + path + ": " + std::strerror(errno);
    pcap_close(pcap);
    return false;
}

void pcap_add(Pcap* pcap, Direction direction, const Bytes& packet) {
    if (pcap->fd < 0) {
        return;
    }
    timeval now{};
    (void)gettimeofday(&now, nullptr);
    const Bytes record =
        pcap_record(direction, packet, static_cast<uint32_t>(now.tv_sec), static_cast<uint32_t>(now.tv_usec));
    if (!write_bytes(pcap->fd, record)) {
        warn(std::string("the recording ends here: ") + std::strerror(errno));
        pcap_close(pcap);
    }
}

void pcap_close(Pcap* pcap) {
    (void)pcap->file.close();
    pcap->fd = -1;
}

}  // namespace vdiag
