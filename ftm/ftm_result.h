// The last step of the commands that pass or fail.
#pragma once

#include "ftm/ftm_command.h"
#include "platform/include/log.h"

// Sets the status of the command `name`; one that passed (kFtmSuccess) logs its exit line. Returns 0, as handlers do.
inline int ftm_finish(const char* name, unsigned char* rsp_status, unsigned char status) {
    *rsp_status = status;
    if (status == kFtmSuccess) {
        ALOGD("%s: x\n", name);
    }
    return 0;
}

inline int ftm_finish(const char* name, unsigned char* rsp_status, bool good) {
    return ftm_finish(name, rsp_status, good ? kFtmSuccess : kFtmFailure);
}
