// The customer variant flag: one text of library state.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/host/internal.h"
#include "platform/include/variant_flag.h"

namespace {
constexpr const char* kFlagState = "board/variant_flag";
}

int getCustVariantFlag(char* flag) {
    const auto content = host_state_read(kFlagState);
    if (!content || flag == nullptr) {
        return 0;
    }
    const std::string text = host_trimmed(*content).substr(0, kVariantFlagSize - 1);
    memset(flag, 0, kVariantFlagSize);
    memcpy(flag, text.c_str(), text.size() + 1);
    return 1;
}

int setCustVariantFlag(const char* flag) { return flag != nullptr && host_state_write(kFlagState, flag) ? 1 : 0; }

int clearVariantFlag() {
    const std::string file = host_settings().root + "/.sim/" + kFlagState;
    return unlink(file.c_str()) == 0 || errno == ENOENT ? 1 : 0;
}
