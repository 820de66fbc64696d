// What the handlers of the peripheral tests share.
#pragma once

#include <cstdint>

#include "platform/include/diag.h"
#include "platform/include/log.h"

// The response of the handler `name`, or null (logged) when the library has none.
inline uint8_t* checked_response(const char* name, void* response) {
    if (response == nullptr) {
        ALOGE("%s: diag pkt alloc failed!\n", name);
    }
    return static_cast<uint8_t*>(response);
}
