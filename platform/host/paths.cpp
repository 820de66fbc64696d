// Where a device path lies on the host.
#include <algorithm>

#include "platform/host/internal.h"

std::string host_normal_path(const char* path) {
    if (path == nullptr || *path == '\0') {
        return "";
    }
    std::string normal;
    std::string_view rest = path;
    bool directory = rest.back() == '/';
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('/'), rest.size());
        const std::string_view step = rest.substr(0, end);
        directory = directory || (end == rest.size() && (step == "." || step == ".."));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (step == "..") {
            normal.erase(std::min(normal.rfind('/'), normal.size()));
        } else if (!step.empty() && step != ".") {
            normal.append("/").append(step);
        }
    }
    return directory || normal.empty() ? normal + "/" : normal;
}

std::string host_below_root(const std::string& normal) {
    return normal.empty() ? normal : host_settings().root + normal;
}

std::string host_path(const char* path) { return host_below_root(host_normal_path(path)); }
