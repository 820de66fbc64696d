// The FTM command service: routing of text-named requests to the handlers of the two command maps.
#include "ftm/ftm_dispatch.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "ftm/ftm_command.h"
#include "ftm/ftm_power.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "support/worker.h"

namespace {

constexpr uint16_t kMainCommand = 32766;
constexpr uint16_t kExtCommand = 32767;
constexpr uint16_t kBattCommand = 32765;
constexpr unsigned kShortResponse = 256;
constexpr unsigned kExtResponse = 4096;
constexpr size_t kStatusOffset = 4;
constexpr size_t kMessageOffset = 5;

constexpr DiagDispatchEntry ftm_entries[] = {
    {kMainCommand, kMainCommand, guarded<ftm_diag_dispatch>},
    {kExtCommand, kExtCommand, guarded<ftm_diag_ext_dispatch>},
    {kBattCommand, kBattCommand, guarded<ftm_diag_batt_dispatch>},
};
// What each dispatcher registers again after an over-long request.
constexpr DiagDispatchTable ftm_again_table = diag_table(kFtmSubsystem, ftm_entries);
constexpr DiagDispatchTable ftm_ext_again_table = diag_table(kFtmSubsystem, ftm_entries);
constexpr DiagDispatchTable ftm_batt_again_table = diag_table(kFtmSubsystem, ftm_entries);

// A request as handlers may read it: a copy of its own, followed by zeros, so that the name ends inside and so does
// every argument that a handler reads.
struct FtmRequest {
    char text[kMaxRequestLength + kFtmArgsMin + 1];  // from the command name on
    const char* cmd;
    FtmArgs args;
};

void ftm_request_copy(const void* req, uint16_t req_len, FtmRequest* request) {
    request_copy(request_view(req, req_len), kDiagHeaderSize, request->text, sizeof(request->text));
    request->cmd = request->text;
    request->args = {reinterpret_cast<const uint8_t*>(request->text) + strlen(request->text) + 1};
}

// What the handlers of one request report through, shared by all that match.
struct FtmResultBlock {
    FtmStatus status;
    FtmMessage message;
};

// Runs a row's handler. The response says that it failed until it has ended.
void run_row(FtmCommandHandler* handler, const FtmRequest& request, FtmResultBlock* result, uint8_t* rsp) {
    rsp[kStatusOffset] = ftm_status_byte(kFtmFailure);
    const FtmStatus status = handler(request.args, result->message);
    result->status = status == kFtmAsFound ? result->status : status;
}

void ftm_diag_req_process(const void* req, uint16_t req_len, uint8_t* rsp) {
    memset(rsp + kDiagHeaderSize, 0, kShortResponse - kDiagHeaderSize);
    ALOGD("%s: e\n", __func__);
    static FtmRequest request;  // one request at a time: not worth 20 KiB of stack
    ftm_request_copy(req, req_len, &request);
    FtmResultBlock result = {};
    ALOGD("%s: req pkt: cmd: %s\n", __func__, request.cmd);
    bool handled = false;
    for (size_t i = 0; i < kFtmMainMapSize; ++i) {
        const FtmCommandEntry& row = ftm_diag_req_cmd_map[i];
        if (strcasecmp(row.cmd, request.cmd) != 0) {
            continue;
        }
        ALOGD(
            "ftm_diag_req_cmd_map[%d].cmd = %s,ftm_diag_req_pkt.cmd = %s,strlen(ftm_diag_req_cmd_map[%d].cmd) = %zu\n",
            static_cast<int>(i), row.cmd, request.cmd, static_cast<int>(i), strlen(row.cmd));
        run_row(row.handler, request, &result, rsp);
        handled = true;
    }
    if (!handled) {
        result.status = kFtmUnknown;
    }
    rsp[kStatusOffset] = ftm_status_byte(result.status);
    rsp[kMessageOffset] = result.message.bytes[0];
    ALOGD("%s: x\n", __func__);
}

// Bytes of the message that a row's copy rule sends.
size_t message_length(FtmCopy copy, const FtmResultBlock& result) {
    constexpr size_t kSixBytes = 6;
    const uint8_t* msg = result.message.bytes;
    const size_t text = strnlen(result.message.text(), kFtmMsgSize);
    const auto counted = static_cast<int16_t>(get_u16(msg) + 2);  // Kept: a signed 16-bit number
    switch (copy) {
        case FtmCopy::kText:
            return text + 1;
        case FtmCopy::kId32:
            return 32;
        case FtmCopy::kVc:
            return text + 2 + msg[text + 1];
        case FtmCopy::kCsr:
            return counted > static_cast<int>(kSixBytes) && result.status == kFtmSuccess ? static_cast<size_t>(counted)
                                                                                         : kSixBytes;
        case FtmCopy::kSix:
            break;
    }
    return kSixBytes;
}

void copy_message(FtmCopy copy, const FtmResultBlock& result, uint8_t* rsp) {
    const size_t room = kExtResponse - kMessageOffset;
    const size_t length = message_length(copy, result);
    memcpy(rsp + kMessageOffset, result.message.bytes, std::min(length, room));
    if (copy == FtmCopy::kText && length > room) {
        rsp[kExtResponse - 1] = '\0';  // a cut text still ends
    }
}

void ftm_diag_req_ext_process(const void* req, uint16_t req_len, uint8_t* rsp) {
    ALOGD("%s: e\n", __func__);
    static FtmRequest request;  // as in ftm_diag_req_process
    ftm_request_copy(req, req_len, &request);
    FtmResultBlock result = {};
    ALOGD("%s: req pkt: cmd: %s\n", __func__, request.cmd);
    bool is_diag_handled = false;
    for (const FtmExtCommandEntry& row : ftm_diag_req_ext_cmd_map) {
        if (strncasecmp(row.cmd, request.cmd, strlen(row.cmd)) != 0) {
            continue;
        }
        run_row(row.handler, request, &result, rsp);
        rsp[kStatusOffset] = ftm_status_byte(result.status);
        copy_message(row.copy, result, rsp);
        is_diag_handled = true;
    }
    if (!is_diag_handled) {
        ALOGD("%s: is_diag_handled not found\n", __func__);
        rsp[kStatusOffset] = ftm_status_byte(kFtmUnknown);
    }
    ALOGD("%s: x\n", __func__);
}

// "setfactorymode": answers at once; the worker waits for the USB cable to go.
void ftm_diag_req_cmd_writefactorymode(uint8_t* rsp) {
    ALOGD("%s: e\n", __func__);
    (void)start_worker(ftm_writefactorymode_thread, nullptr);  // Kept: status 0 even when there is no worker
    ALOGD("%s: x\n", __func__);
    memset(rsp + kStatusOffset, 0, 7);
}

void ftm_diag_req_batt_process(const void* req, uint16_t req_len, uint8_t* rsp) {
    constexpr char kCommand[] = "setfactorymode";
    ALOGD("%s: e\n", __func__);
    static FtmRequest request;  // as in ftm_diag_req_process
    ftm_request_copy(req, req_len, &request);
    rsp[kStatusOffset] = ftm_status_byte(kFtmFailure);  // as in run_row
    ALOGD("%s: req pkt: cmd: %s\n", __func__, request.cmd);
    if (strncasecmp(request.cmd, kCommand, sizeof(kCommand) - 1) == 0) {
        ftm_diag_req_cmd_writefactorymode(rsp);
    } else {
        rsp[kStatusOffset] = ftm_status_byte(kFtmUnknown);
    }
    ALOGD("%s: x\n", __func__);
}

}  // namespace

const DiagDispatchTable ftm_diag_table = diag_table(kFtmSubsystem, ftm_entries);

void* ftm_diag_dispatch(const void* req, uint16_t req_len) {
    ALOGD("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, req_len, ftm_again_table)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kFtmSubsystem, kMainCommand, kShortResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    ftm_diag_req_process(req, req_len, rsp);
    ALOGD("%s: x\n", __func__);
    return rsp;
}

void* ftm_diag_ext_dispatch(const void* req, uint16_t req_len) {
    ALOGE("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, req_len, ftm_ext_again_table)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kFtmSubsystem, kExtCommand, kExtResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    ALOGE("%s: diag pkt alloc rsp adress %x\n", __func__, static_cast<unsigned>(reinterpret_cast<uintptr_t>(rsp)));
    memset(rsp + kDiagHeaderSize, 0, kExtResponse - kDiagHeaderSize);
    ftm_diag_req_ext_process(req, req_len, rsp);
    ALOGE("%s: x\n", __func__);
    return rsp;
}

void* ftm_diag_batt_dispatch(const void* req, uint16_t req_len) {
    ALOGE("%s: e\n", __func__);
    if (recovered_from_long_request(__func__, req_len, ftm_batt_again_table)) {
        return nullptr;
    }
    uint8_t* rsp = subsystem_response(kFtmSubsystem, kBattCommand, kShortResponse, {__func__});
    if (rsp == nullptr) {
        return nullptr;
    }
    ftm_diag_req_batt_process(req, req_len, rsp);
    ALOGE("%s: x\n", __func__);
    return rsp;
}
