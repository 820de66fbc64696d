// LED mode, key test and the control command.
#include "peripheral/led_key_control.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

#include "ftm/ftm_power.h"
#include "packet/diag_packet.h"
#include "platform/include/handles.h"
#include "platform/include/log.h"
#include "platform/include/properties.h"

namespace {

constexpr uint8_t kLedSubsystem = 171;
constexpr uint16_t kLedEntryCommand = 518;
constexpr uint16_t kLedExitCommand = 262;
constexpr unsigned int kLedResponse = 5;
constexpr char kLedProperty[] = "debug.entry.ledtest";
constexpr char kLedModeNode[] = "/sys/class/leds/aw9523b_led/device/led_ftm_mode";

constexpr uint8_t kKeySubsystem = 205;
constexpr uint16_t kKeyEntryCommand = 26;
constexpr uint16_t kKeyCheckCommand = 164;
constexpr unsigned int kKeyResponse = 7;
constexpr uint8_t kKeyStarted = 1;  // results of the key entry
constexpr uint8_t kKeyNoThread = 2;
constexpr uint8_t kKeyNotAsked = 3;
constexpr uint8_t kAllKeysSeen = 0xBC;

constexpr uint8_t kControlCommand = 41;
constexpr uint8_t kControlRestart = 2;

constexpr DiagDispatchEntry control_entries[] = {
    {41, 41, control_diag_dispatch},
};
constexpr DiagDispatchEntry led_entries[] = {
    {518, 518, ftm_diag_led_entry_dispatch},
    {262, 262, ftm_diag_led_exit_dispatch},
};
constexpr DiagDispatchEntry key_entries[] = {
    {26, 26, ftm_diag_key_entry_dispatch},
    {164, 164, ftm_diag_key_check_dispatch},
};

// Each dispatcher's own header, for its recovery from an over-long request.
constexpr DiagDispatchTable control_recovery = diag_table(kDiagNoSubsystem, control_entries);
constexpr DiagDispatchTable led_entry_recovery = diag_table(kLedSubsystem, led_entries);
constexpr DiagDispatchTable led_exit_recovery = diag_table(kLedSubsystem, led_entries);
constexpr DiagDispatchTable key_entry_recovery = diag_table(kKeySubsystem, key_entries);
constexpr DiagDispatchTable key_check_recovery = diag_table(kKeySubsystem, key_entries);

// State of the key test. The key thread writes what the handlers read and reset.
std::atomic<uint32_t> key_62_seen{0};  // 0, or the key's code once it has been seen
std::atomic<uint32_t> key_61_seen{0};
std::atomic<uint32_t> key_60_seen{0};
bool key_loop_not_started = true;  // the handlers' own

// The text that a packet carries behind its header, for the log.
std::string packet_text(const void* request, uint16_t length) {
    const RequestView view = request_view(request, length);
    std::string text;
    for (size_t i = kDiagHeaderSize; request_u8(view, i) != 0; ++i) {
        text += static_cast<char>(request_u8(view, i));
    }
    return text;
}

// Writes `size` bytes to the opened mode node. The status of the command.
uint8_t write_led_mode(const char* name, const UniqueFd& node, const void* data, size_t size) {
    if (write(node.get(), data, size) != static_cast<ssize_t>(size)) {
        ALOGE("%s: AW9523B write file failed!\n", name);
        return 1;
    }
    ALOGD("%s: AW9523B open first pach file SUCCESS!\n", name);
    return 0;
}

uint8_t enter_led_mode(const char* name, uint8_t mode) {
    const UniqueFd node(device_open(kLedModeNode, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!node.ok()) {
        ALOGE("%s: aw9523b open file failed\n", name);
        return 2;
    }
    char flag[8] = {};
    ALOGD("%s: aw9523b +++dm+++   arg=0x%d\n", name, mode);  // Kept: decimal behind the 0x
    (void)snprintf(flag, sizeof(flag), "0x%02x\n", mode);
    ALOGD("%s: aw9523b req pkt: flag: %s\n", name, flag);
    return write_led_mode(name, node, flag, strlen(flag));
}

uint8_t leave_led_mode(const char* name) {
    const UniqueFd node(device_open(kLedModeNode, O_WRONLY | O_CLOEXEC));
    if (!node.ok()) {
        ALOGE("%s: open first pach file failed!\n", name);
        return 0;  // Kept: an absent LED driver is no error on the way out
    }
    static constexpr char kExitMode[] = "4";
    return write_led_mode(name, node, kExitMode, sizeof(kExitMode));
}

// Asked for when it is wanted: no press can fall between a key's word and a flag made of all three.
bool keys_complete() { return key_62_seen == 62 && key_61_seen == 61 && key_60_seen == 60; }

// Kept: every key request adds the devices again until the key thread runs.
void watch_keys() {
    if (key_loop_not_started) {
        (void)ev_init(input_key_callback, nullptr);
    }
}

void forget_keys() {
    key_62_seen = 0;
    key_61_seen = 0;
    key_60_seen = 0;
}

// Starts the test, and the key thread with the first one. The result of the key entry.
uint8_t start_key_test(const char* name) {
    forget_keys();
    if (!key_loop_not_started) {
        return kKeyStarted;
    }
    if (start_worker(thread_key_states, nullptr) != 0) {
        return kKeyNoThread;
    }
    ALOGD("%s: creat readKEYthread successful\n", name);
    key_loop_not_started = false;
    device_sleep(1);
    ALOGD("PM_KEY ftmkey entry is success\n");
    return kKeyStarted;
}

void note_key(uint16_t code) {
    switch (code) {
        case 60:
            ALOGD("PM_KEY input_key_callback entry ev_power_on = %d\n", static_cast<int>(key_60_seen.load()));
            key_60_seen = code;
            break;
        case 61:
            key_61_seen = code;
            break;
        case 62:
            key_62_seen = code;
            break;
        default:
            break;
    }
}

}  // namespace

const DiagDispatchTable control_diag_table = diag_table(kDiagNoSubsystem, control_entries);
const DiagDispatchTable ftm_diag_led_table = diag_table(kLedSubsystem, led_entries);
const DiagDispatchTable ftm_diag_key_table = diag_table(kKeySubsystem, key_entries);

void* control_diag_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, control_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = toplevel_response(kControlCommand, length, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    const RequestView view = request_view(request, length);
    request_copy(view, 0, rsp, length);
    if (request_u8(view, 0) == kControlCommand && request_u8(view, 1) == kControlRestart) {
        static char reason[] = "orb";
        (void)start_worker(ftm_reboot_thread, reason);  // the echo is the answer either way
    }
    return rsp;
}

void* ftm_diag_led_entry_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, led_entry_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kLedSubsystem, kLedEntryCommand, kLedResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    (void)property_set(kLedProperty, "1");  // only a hint for the LED service
    ALOGD("%s:aw9523b e\n", __func__);
    ALOGD("%s: aw9523b req pkt: args: %s\n", __func__, packet_text(request, length).c_str());
    ALOGD("%s: AW9523B entry write entry mode!\n", __func__);
    rsp[4] = enter_led_mode(__func__, request_u8(request_view(request, length), kDiagHeaderSize));
    return rsp;
}

void* ftm_diag_led_exit_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, led_exit_recovery)) {
        return nullptr;
    }
    (void)property_set(kLedProperty, "0");  // the mode ends even when nobody can be told
    uint8_t* rsp = subsystem_response(kLedSubsystem, kLedExitCommand, kLedResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    ALOGD("%s: aw9523b e\n", __func__);
    ALOGD("%s: aw9523b req pkt: cmd: %s\n", __func__, packet_text(request, length).c_str());
    ALOGD("%s: AW9523B entry write exit mode!\n", __func__);
    rsp[4] = leave_led_mode(__func__);
    return rsp;
}

void* ftm_diag_key_entry_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, key_entry_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kKeySubsystem, kKeyEntryCommand, kKeyResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    watch_keys();
    const uint8_t start = request_u8(request_view(request, length), kDiagHeaderSize);
    ALOGD("%s:PM_KEY e\n", __func__);
    ALOGD("%s: PM_KEY entry write entry mode!,flag = %d\n", __func__, start);
    if (start != 1) {
        ALOGE("PM_KEY ftmkey entry is failed too\n");
        rsp[4] = kKeyNotAsked;
        return rsp;
    }
    rsp[4] = start_key_test(__func__);
    return rsp;
}

void* ftm_diag_key_check_dispatch(const void*, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, key_check_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kKeySubsystem, kKeyCheckCommand, kKeyResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    watch_keys();
    ALOGD("%s:PM_KEY e\n", __func__);
    ALOGD("%s: PM_KEY entry write entry mode!\n", __func__);
    const bool complete = keys_complete();
    ALOGD("PM_KEY -----dm-----  ftmkey_success is %s\n", complete ? "true" : "false");
    rsp[4] = complete ? 0 : 1;
    rsp[5] = complete ? kAllKeysSeen : 0;
    rsp[6] = 0;
    ALOGD("PM_KEY ftm_diag_rsp_pkt.status = [0x%x]\n", static_cast<unsigned int>(rsp[4]));
    return rsp;
}

int input_key_callback(int fd, short events, void*) {
    InputEvent event = {};
    if (ev_get_input(fd, events, &event) != 0) {
        ALOGE("PM_KEY input_key_callback return\n");
        return -1;
    }
    if (event.type == kEventTypeKey) {
        note_key(event.code);
    }
    ALOGD("PM_KEY FTM ftmkey_success is %s\n", keys_complete() ? "true" : "false");
    return 0;
}

void* thread_key_states(void*) {
    for (;;) {
        if (ev_wait(-1) == 0) {
            ev_dispatch();
        }
    }
}
