// What the handlers of the text-named commands fill in: the message, and the status as their last step.
#pragma once

#include "ftm/ftm_command.h"
#include "platform/include/log.h"

// Reads at most 4093 bytes of a file into `area` (2 + 4093 + 2 bytes): a little-endian u16 length, then the data. False
// when the file cannot be opened or read.
bool read_file_content(const char* path, unsigned char* area);

// Copies a terminated text into a message area, cut to kFtmMsgSize - 1 characters.
void message_text(unsigned char* rsp_msg, const char* text);
// Copies the value of a property (default empty) into a message area when it is not empty. Returns its length.
int message_property(unsigned char* rsp_msg, const char* property);

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
