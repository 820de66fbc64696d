// The first steps that the numbered factory commands share.
#include "factory/factory_request.h"

#include <cstring>

#include "platform/include/log.h"

FactoryReply factory_begin(const FactoryCommand& command, const void* request, uint16_t length) {
    if (request == nullptr && !command.takes_null) {
        ALOGE("%s packed_req_ptr ERR : NULL%s", command.name, command.null_end);
        return {nullptr, false};
    }
    uint8_t* const rsp = subsystem_response(kFactorySubsystem, command.code, command.response_size,
                                            {"rsp_ptr ERR:NULL", command.no_room_end});
    if (rsp == nullptr) {
        return {nullptr, false};
    }
    put_u32(rsp + command.status_offset, kFactoryError);  // until the work has ended
    memset(rsp + kFactoryPayloadOffset, 0, command.cleared);
    if (length < command.shortest) {
        ALOGE("Invalid pkt_len: 0x%x\n", length);
        put_u32(rsp + command.status_offset, kFactoryFailed);
        return {rsp, false};
    }
    return {rsp, true};
}
