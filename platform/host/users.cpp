// Users and groups from the phone's own lists: "name:password:number:..." lines of any length.
#include <algorithm>
#include <cstdlib>

#include "platform/host/internal.h"
#include "platform/include/device.h"

namespace {
// The first two numbers behind the password of the entry `name` of a list, as far as it has them; false without one.
bool find_entry(const char* file, const char* name, size_t numbers, unsigned long (&out)[2]) {
    const auto content = host_read_file(host_path(file));
    std::string_view rest = content ? *content : std::string_view();
    const std::string head = std::string(name != nullptr ? name : "") + ":";
    while (head.size() > 1 && !rest.empty()) {
        const std::string line(rest.substr(0, rest.find('\n')));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        size_t at = line.compare(0, head.size(), head) == 0 ? line.find(':', head.size()) : std::string::npos;
        size_t found = 0;
        while (at != std::string::npos && found < numbers) {
            char* end = nullptr;
            const char* const digits = line.c_str() + at + 1;
            out[found] = strtoul(digits, &end, 10);
            const bool number = *digits >= '0' && *digits <= '9' && (*end == ':' || *end == '\0');
            at = number ? line.find(':', at + 1) : std::string::npos;
            found += number ? 1 : 0;
        }
        if (found == numbers) {
            return true;
        }
    }
    return false;
}
}  // namespace

const struct passwd* device_getpwnam(const char* name) {
    thread_local struct passwd entry {};
    unsigned long numbers[2] = {};
    if (!find_entry("/etc/passwd", name, 2, numbers)) {
        return nullptr;
    }
    entry.pw_uid = static_cast<uid_t>(numbers[0]);
    entry.pw_gid = static_cast<gid_t>(numbers[1]);
    return &entry;
}

const struct group* device_getgrnam(const char* name) {
    thread_local struct group entry {};
    unsigned long numbers[2] = {};
    if (!find_entry("/etc/group", name, 1, numbers)) {
        return nullptr;
    }
    entry.gr_gid = static_cast<gid_t>(numbers[0]);
    return &entry;
}
