// Users and groups from the phone's own lists.
#include <array>

#include "platform/host/internal.h"
#include "platform/include/device.h"
#include "platform/include/handles.h"

namespace {
// The entry of `file` that `next` reads into `entry` and whose name `name_of` is `name`, or null.
template <typename Entry>
const Entry* find_entry(const char* file, const char* name, char* Entry::*name_of,
                        int (*next)(FILE*, Entry*, char*, size_t, Entry**)) {
    thread_local Entry entry;
    thread_local std::array<char, 4096> texts;
    const UniqueStream stream(device_fopen(file, "re"));
    if (stream == nullptr || name == nullptr) {
        return nullptr;
    }
    Entry* found = nullptr;
    while (next(stream.get(), &entry, texts.data(), texts.size(), &found) == 0) {
        if (std::string_view(found->*name_of) == name) {
            return found;
        }
    }
    return nullptr;
}
}  // namespace

const struct passwd* device_getpwnam(const char* name) {
    return find_entry("/etc/passwd", name, &passwd::pw_name, fgetpwent_r);
}

const struct group* device_getgrnam(const char* name) {
    return find_entry("/etc/group", name, &group::gr_name, fgetgrent_r);
}
