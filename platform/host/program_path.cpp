#include "platform/host/program_path.h"

#include <unistd.h>

#include <climits>

std::string beside_program(const std::string& name) {
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof(path));
    const std::string text(path, size > 0 ? static_cast<size_t>(size) : 0);
    return text.substr(0, text.rfind('/') + 1) + name;
}
