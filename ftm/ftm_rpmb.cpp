// The RPMB key: its status and its provisioning, through the trusted environment's RPMB service.
#include <array>

#include "ftm/ftm_secure.h"
#include "platform/include/log.h"
#include "platform/include/trusted_env.h"

namespace {

constexpr char kCheckName[] = "orb_rpmb_check_smci";
constexpr char kProvisionName[] = "orb_rpmb_provision_key_smci";

// Message byte of the key status.
constexpr unsigned char kKeyOk = 0;
constexpr unsigned char kKeyNotProvisioned = 1;
constexpr unsigned char kKeyMacMismatch = 2;
constexpr unsigned char kKeyOther = 3;

// Lets go of an object; a null one is no object.
void release(Object* object) {
    if (object->invoke != nullptr) {
        (void)object->invoke(object->context, kObjectOpRelease, nullptr, object_counts(0, 0, 0, 0));
        *object = {};
    }
}

int32_t client_env_object(Object* client_env) {
    const int32_t result = TZCom_getClientEnvObject(client_env);
    ALOGD("TZCom_getClientEnvObject\n");
    return result;
}

int32_t open_rpmb_service(const Object& client_env, Object* service) {
    uint32_t uid = kRpmbServiceUid;
    std::array<ObjectArg, 2> args{};
    args[0].bi = {&uid, sizeof(uid)};
    const int32_t result =
        client_env.invoke(client_env.context, kClientEnvOpen, args.data(), object_counts(1, 0, 0, 1));
    ALOGD("IClientEnv_open\n");
    if (result == kObjectOk) {
        *service = args[1].o;
    }
    return result;
}

int32_t check_key(const Object& service) {
    const int32_t status = service.invoke(service.context, kRpmbServiceCheckProv, nullptr, object_counts(0, 0, 0, 0));
    ALOGD("IRPMBService_rpmbCheckProv\n");
    return status;
}

int32_t provision_key(const Object& service) {
    uint32_t zero = 0;
    std::array<ObjectArg, 1> args{};
    args[0].bi = {&zero, sizeof(zero)};
    const int32_t result =
        service.invoke(service.context, kRpmbServiceProvisionKey, args.data(), object_counts(1, 0, 0, 0));
    ALOGD("IRPMBService_rpmbProvisionKey\n");
    return result;
}

// Kept: three of the texts misspell the name.
unsigned char key_message(int32_t status) {
    const auto code = static_cast<unsigned>(status);
    switch (code) {
        case 0:
            ALOGD("RMPB Key status: RPMB_KEY_PROVISIONED_AND_OK (%x)\n", code);
            return kKeyOk;
        case 15:
            ALOGD("RMPB Key status: RPMB_KEY_NOT_PROVISIONED (%x)\n", code);
            return kKeyNotProvisioned;
        case 10:
            ALOGD("RMPB Key status: RPMB_KEY_PROVISIONED_BUT_MAC_MISMATCH (%x)\n", code);
            return kKeyMacMismatch;
        default:
            ALOGD("RPMB Key status: Others (%x)\n", code);
            return kKeyOther;
    }
}

// Stores the key's message byte. False when the service cannot be reached.
bool check_with(Object* client_env, unsigned char* message) {
    int32_t result = client_env_object(client_env);
    if (result != kObjectOk) {
        ALOGE("TZCom_getClientEnvObject failed with err: %d\n", result);
        return false;
    }
    Object service{};
    result = open_rpmb_service(*client_env, &service);
    if (result != kObjectOk) {
        ALOGE("IClientEnv_open failed with err: %d\n", result);
        return false;
    }
    *message = key_message(check_key(service));
    return true;
}

bool provision_with(Object* client_env) {
    int32_t result = client_env_object(client_env);
    if (result != kObjectOk) {
        ALOGE("TZCom_getClientEnvObject failed with err: %d", result);
        return false;
    }
    Object service{};
    result = open_rpmb_service(*client_env, &service);
    if (result != kObjectOk) {
        ALOGE("IClientEnv_open failed with err: %d", result);
        return false;
    }
    result = provision_key(service);
    if (result == kObjectOk) {
        ALOGD("RPMB key provisioning completed\n");
    } else {
        ALOGE("RPMB key provisioning failed with err: %d", result);
    }
    release(&service);
    return result == kObjectOk;
}

}  // namespace

FtmStatus ftm_diag_req_cmd_checkrpmbprovision(FtmArgs, FtmMessage& message) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: start in SMCI\n", kCheckName);
    ALOGD("%s start 1.\n", kCheckName);
    Object client_env{};
    unsigned char key = kKeyOther;
    const bool reached = check_with(&client_env, &key);
    release(&client_env);
    ALOGD("Object_ASSIGN_NULL clientEnv\n");
    ALOGD("NOT Object_ASSIGN_NULL rpmbObj\n");  // Kept: the check leaves the service object unreleased.
    message.put(key);
    ALOGD("%s: end\n", __func__);
    return ftm_status(reached);
}

FtmStatus ftm_diag_req_cmd_dorpmbprovision(FtmArgs, FtmMessage&) {
    ALOGD("%s: e\n", __func__);
    ALOGD("%s: start in SMCI\n", kProvisionName);
    ALOGD("%s start.\n", kProvisionName);
    Object client_env{};
    const bool provisioned = provision_with(&client_env);
    release(&client_env);
    ALOGD("%s: end\n", __func__);
    return ftm_status(provisioned);
}
