// Android properties: values that were set, over the build's own from the property files.
#include "platform/include/properties.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "platform/host/internal.h"
#include "platform/include/device.h"

namespace {
constexpr size_t kValueLimit = PROPERTY_VALUE_MAX - 1;

std::mutex property_mutex;

bool is_read_only(std::string_view name) { return name.substr(0, 3) == "ro."; }

bool is_legal_name(std::string_view name) {
    constexpr std::string_view kLegal = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-@:";
    return !name.empty() && name.front() != '.' && name.back() != '.' && name.find("..") == std::string_view::npos &&
           name.find_first_not_of(kLegal) == std::string_view::npos;
}

std::optional<std::string> build_property(const char* file, const std::string& name) {
    const auto content = host_read_file(host_path(file));
    std::string_view rest = content ? *content : std::string_view();
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const size_t equals = line.find('=');
        if (equals != std::string_view::npos && line.substr(0, equals) == name) {
            return std::string(line.substr(equals + 1));
        }
    }
    return std::nullopt;
}

std::optional<std::string> find_property(const std::string& name) {
    if (!is_legal_name(name)) {
        return std::nullopt;
    }
    if (auto set = host_state_read("properties/" + name)) {
        return set;
    }
    auto built = build_property("/system/build.prop", name);
    return built ? built : build_property("/vendor/build.prop", name);
}
}  // namespace

int property_get(const char* key, char* value, const char* default_value) {
    const auto found = find_property(key != nullptr ? key : "");
    std::string text = found ? *found : "";
    text.resize(std::min(strlen(text.c_str()), kValueLimit));
    if (text.empty() && default_value != nullptr) {
        text.assign(default_value, strnlen(default_value, kValueLimit));
    }
    memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

int property_set(const char* key, const char* value) {
    const std::string name = key != nullptr ? key : "";
    const std::string text = value != nullptr ? value : "";
    const std::scoped_lock lock(property_mutex);
    if (!is_legal_name(name) || (!is_read_only(name) && text.size() > kValueLimit) ||
        (is_read_only(name) && find_property(name))) {
        return -1;
    }
    return host_state_write("properties/" + name, text) ? 0 : -1;
}
