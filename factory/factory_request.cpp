// The first and last steps that the numbered factory commands share.
#include "factory/factory_request.h"

#include <cstring>

#include "packet/diag_packet.h"
#include "platform/include/log.h"

bool factory_begin(const FactoryCommand& command, const void* request, uint16_t length, uint8_t** rsp) {
    *rsp = nullptr;
    if (request == nullptr && !command.takes_null) {
        ALOGE("%s packed_req_ptr ERR : NULL%s", command.name, command.null_end);
        return false;
    }
    *rsp = static_cast<uint8_t*>(diagpkt_subsys_alloc(kFactorySubsystem, command.code, command.response_size));
    if (*rsp == nullptr) {
        ALOGE("rsp_ptr ERR:NULL%s", command.no_room_end);
        return false;
    }
    memset(*rsp + kFactoryPayloadOffset, 0, command.cleared);
    if (length < command.shortest) {
        ALOGE("Invalid pkt_len: 0x%x\n", length);
        (void)factory_end(*rsp, kFactoryFailed);
        return false;
    }
    return true;
}

void* factory_end(uint8_t* rsp, uint32_t status) {
    put_u32(rsp + kFactoryStatusOffset, status);
    return rsp;
}
