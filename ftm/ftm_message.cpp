// What the handlers of the text-named commands fill in.
#include "ftm/ftm_message.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "packet/diag_packet.h"
#include "platform/include/handles.h"
#include "platform/include/properties.h"
#include "support/files.h"
#include "support/shell.h"

namespace {

constexpr int kResponseFileMax = 4093;

}  // namespace

bool read_file_content(const char* path, uint8_t* area) {
    UniqueFd fd(device_open(path, kReadFlags));
    const UniqueStream file(fd.ok() ? fdopen(fd.get(), "r") : nullptr);
    (void)(file ? fd.release() : 0);  // the stream closes it
    if (!file) {
        ALOGD("%s: failed to open file, reason: %s\n", __func__, strerror(errno));
        return false;
    }
    char* data = reinterpret_cast<char*>(area) + 2;
    uint32_t count = 0;
    if (!fread_file_content(file.get(), data, &count, kResponseFileMax)) {
        return false;
    }
    put_u16(area, static_cast<uint16_t>(count));
    data[count + 1] = '\0';  // Kept: one past the terminator that stands already
    return true;
}

void FtmMessage::put_text(const char* text) {
    const size_t length = std::min(strlen(text), kFtmMsgSize - 1);
    memcpy(bytes, text, length);
    bytes[length] = '\0';
}

int FtmMessage::put_property(const char* property) {
    char value[PROPERTY_VALUE_MAX] = {};
    const int length = property_get(property, value, "");
    if (length > 0) {
        put_text(value);
    }
    return length;
}
