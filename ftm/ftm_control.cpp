// The control command.
#include "ftm/ftm_control.h"

#include "ftm/ftm_power.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"

namespace {

constexpr uint8_t kControlCommand = 41;
constexpr uint8_t kControlRestart = 2;

constexpr DiagDispatchEntry control_entries[] = {
    {kControlCommand, kControlCommand, guarded<control_diag_dispatch>},
};
// The dispatcher's own header, for its recovery from an over-long request.
constexpr DiagDispatchTable control_recovery = diag_table(kDiagNoSubsystem, control_entries);

}  // namespace

const DiagDispatchTable control_diag_table = diag_table(kDiagNoSubsystem, control_entries);

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
