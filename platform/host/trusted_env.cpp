// The trusted environment: a client environment that opens one service, the RPMB key service.
#include "platform/include/trusted_env.h"

#include <cstring>

#include "platform/host/internal.h"

namespace {
constexpr int32_t kInvalid = 1;  // the object does not know the method or its arguments
constexpr long kKeyNotProvisioned = 15;

// True when the packed input buffer holds exactly `value`.
bool holds_u32(const ObjectArg& arg, uint32_t value) {
    uint32_t given = 0;
    if (arg.bi.size != sizeof given || arg.bi.ptr == nullptr) {
        return false;
    }
    memcpy(&given, arg.bi.ptr, sizeof given);
    return given == value;
}

int32_t provision_key() {
    const auto result = static_cast<int32_t>(host_state_number("secure/provision", 0));
    if (result == 0) {
        (void)host_state_write("secure/rpmb", "0");
    }
    return result;
}

int32_t invoke_rpmb(void* /*context*/, ObjectOp op, ObjectArg* args, ObjectCounts counts) {
    if (op == kObjectOpRelease) {
        host_record("release");
        return kObjectOk;
    }
    if (op == kRpmbServiceCheckProv && counts == object_counts(0, 0, 0, 0)) {
        return static_cast<int32_t>(host_state_number("secure/rpmb", kKeyNotProvisioned));
    }
    if (op == kRpmbServiceProvisionKey && counts == object_counts(1, 0, 0, 0) && holds_u32(args[0], 0)) {
        return provision_key();
    }
    return kInvalid;
}

int32_t invoke_client_env(void* /*context*/, ObjectOp op, ObjectArg* args, ObjectCounts counts) {
    if (op == kObjectOpRelease) {
        host_record("release");
        return kObjectOk;
    }
    if (op != kClientEnvOpen || counts != object_counts(1, 0, 0, 1) || !holds_u32(args[0], kRpmbServiceUid)) {
        return kInvalid;
    }
    const auto result = static_cast<int32_t>(host_state_number("secure/service", 0));
    args[1].o = result == 0 ? Object{invoke_rpmb, nullptr} : Object{nullptr, nullptr};
    return result;
}
}  // namespace

int32_t TZCom_getClientEnvObject(Object* client_env) {
    const auto result = static_cast<int32_t>(host_state_number("secure/client_env", 0));
    *client_env = result == 0 ? Object{invoke_client_env, nullptr} : Object{nullptr, nullptr};
    return result;
}
