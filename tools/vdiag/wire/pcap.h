// A pcap file of every packet exchanged: GSMTAP (type 0x11, diag) in UDP to port 4729, which Wireshark decodes.
#pragma once

#include <string>

#include "platform/include/handles.h"
#include "tools/vdiag/words/text.h"

namespace vdiag {

enum class Direction { kToPhone, kFromPhone };

struct Pcap {
    int fd = -1;    // none when negative
    UniqueFd file;  // what `fd` is of, unless that is standard output
};

// Creates the file ("-" is standard output) and writes its head. False: `error` says why.
bool pcap_open(const std::string& path, Pcap* pcap, std::string* error);
// Adds one packet, at once. A failure ends the recording with a message.
void pcap_add(Pcap* pcap, Direction direction, const Bytes& packet);
void pcap_close(Pcap* pcap);

// The bytes of the file's head and of one record.
Bytes pcap_head();
Bytes pcap_record(Direction direction, const Bytes& packet, uint32_t seconds, uint32_t microseconds);

}  // namespace vdiag
