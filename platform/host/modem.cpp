// The modem library: EFS items, identities and modem properties as state files, and a journal of every change.
#include "platform/include/modem_api.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <sstream>

#include "platform/host/internal.h"

namespace {
constexpr int kFailure = -1;
constexpr size_t kCardRecordSize = 4;
constexpr size_t kEidSize = 16;

std::string efs_name(int item) { return "modem/efs/" + std::to_string(item); }

void journal(const std::string& line) { (void)host_state_append_line("modem/journal", line); }

// A decimal state file as a value of the given width.
template <typename Value>
int read_number(const char* name, Value* value) {
    const long number = host_state_number(name, kFailure, kFailure, 0, std::numeric_limits<Value>::max());
    if (number < 0 || value == nullptr) {
        return kFailure;
    }
    *value = static_cast<Value>(number);
    return 0;
}

// A state file's text, cut to `size` bytes with its terminator.
int read_text(const std::string& name, char* out, size_t size) {
    const auto content = host_state_read(name);
    if (!content || out == nullptr || size == 0) {
        return kFailure;
    }
    const std::string text = host_trimmed(*content).substr(0, size - 1);
    memcpy(out, text.c_str(), text.size() + 1);
    return 0;
}
}  // namespace

int modem_api_init_qmi_connection(int client, int flags) {
    host_record("connect " + std::to_string(client) + " " + std::to_string(flags));
    return static_cast<int>(host_state_number("modem/qmi", kFailure));
}

int modem_read_efs(int item, void* buffer, int* length) {
    const auto content = host_state_read(efs_name(item));
    if (!content || buffer == nullptr || length == nullptr || *length < 0) {
        return kFailure;
    }
    const size_t size = std::min(content->size(), static_cast<size_t>(*length));
    memcpy(buffer, content->data(), size);
    *length = static_cast<int>(size);
    return 0;
}

int modem_write_efs(int item, const void* buffer, int length) {
    journal("write_efs " + std::to_string(item) + " " + std::to_string(length));
    if (buffer == nullptr || length < 0) {
        return kFailure;
    }
    const std::string content(static_cast<const char*>(buffer), static_cast<size_t>(length));
    return host_state_write(efs_name(item), content) ? 0 : kFailure;
}

int modem_get_prl_version(uint16_t* version) { return read_number("modem/prl", version); }

int modem_get_imei(char* imei, int size) {
    return size > 0 ? read_text("modem/imei", imei, static_cast<size_t>(size)) : kFailure;
}

int modem_get_all_cards_status(uint8_t* record) {
    const auto text = host_state_read("modem/cards");
    if (!text || record == nullptr) {
        return kFailure;
    }
    std::istringstream numbers(*text);
    std::array<unsigned, kCardRecordSize> bytes{};
    for (unsigned& byte : bytes) {
        if (!(numbers >> byte) || byte > UINT8_MAX) {
            return kFailure;
        }
    }
    std::transform(bytes.begin(), bytes.end(), record, [](unsigned byte) { return static_cast<uint8_t>(byte); });
    return 0;
}

int modem_api_get_sim_tray_presence_state(uint8_t* state) { return read_number("modem/sim_tray", state); }

int modem_restore_qcn_data() {
    journal("restore_qcn");
    return static_cast<int>(host_state_number("modem/qcn", kFailure));
}

int modem_write_deft_info(const char* value, int length) {
    const size_t size = value != nullptr && length > 0 ? strnlen(value, static_cast<size_t>(length)) : 0;
    journal("write_deft " + std::string(size > 0 ? value : "", size));
    return static_cast<int>(host_state_number("modem/deft", kFailure));
}

int modem_api_get_uim_eid(uint8_t* eid, int* length) {
    const auto content = host_state_read("modem/eid");
    if (!content || eid == nullptr || length == nullptr || *length < static_cast<int>(kEidSize)) {
        return kFailure;
    }
    const std::string digits = host_trimmed(*content);
    if (digits.size() != 2 * kEidSize) {
        return kFailure;
    }
    std::array<uint8_t, kEidSize> bytes{};
    for (size_t i = 0; i < kEidSize; ++i) {
        const char* const begin = digits.data() + 2 * i;
        if (std::from_chars(begin, begin + 2, bytes[i], 16).ptr != begin + 2) {
            return kFailure;
        }
    }
    memcpy(eid, bytes.data(), bytes.size());
    *length = static_cast<int>(kEidSize);
    return 0;
}

int modem_api_get_modem_property_sync(const char* name, char* value) {
    return name != nullptr && host_plain_name(name)
               ? read_text(std::string("modem/properties/") + name, value, kModemPropertyMax)
               : kFailure;
}

int modem_api_set_modem_property_int_sync(const char* name, int value) {
    const std::string text = std::to_string(value);
    const std::string property = name != nullptr ? name : "";
    journal("set_property " + property + " " + text);
    return host_plain_name(property) && host_state_write("modem/properties/" + property, text) ? 0 : kFailure;
}
