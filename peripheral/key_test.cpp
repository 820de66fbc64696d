// The key test.
#include "peripheral/key_test.h"

#include <atomic>

#include "packet/diag_packet.h"
#include "platform/include/device.h"
#include "platform/include/log.h"

namespace {

constexpr uint8_t kKeySubsystem = 205;
constexpr uint16_t kKeyEntryCommand = 26;
constexpr uint16_t kKeyCheckCommand = 164;
constexpr unsigned int kKeyResponse = 7;
constexpr uint8_t kKeyStarted = 1;  // results of the key entry
constexpr uint8_t kKeyNoThread = 2;
constexpr uint8_t kKeyNotAsked = 3;
constexpr uint8_t kAllKeysSeen = 0xBC;

constexpr DiagDispatchEntry key_entries[] = {
    {kKeyEntryCommand, kKeyEntryCommand, guarded<ftm_diag_key_entry_dispatch>},
    {kKeyCheckCommand, kKeyCheckCommand, guarded<ftm_diag_key_check_dispatch>},
};

// Each dispatcher's own header, for its recovery from an over-long request.
constexpr DiagDispatchTable key_entry_recovery = diag_table(kKeySubsystem, key_entries);
constexpr DiagDispatchTable key_check_recovery = diag_table(kKeySubsystem, key_entries);

// State of the key test. The key thread writes what the handlers read and reset.
std::atomic<uint32_t> key_62_seen{0};  // 0, or the key's code once it has been seen
std::atomic<uint32_t> key_61_seen{0};
std::atomic<uint32_t> key_60_seen{0};
bool key_loop_not_started = true;  // the handlers' own

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

const DiagDispatchTable ftm_diag_key_table = diag_table(kKeySubsystem, key_entries);

void* ftm_diag_key_entry_dispatch(const void* request, uint16_t length) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, length, key_entry_recovery)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kKeySubsystem, kKeyEntryCommand, kKeyResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    rsp[4] = kKeyNoThread;  // until the end says otherwise
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
    rsp[4] = 1;  // as above
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
