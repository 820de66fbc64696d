// Addresses of the diag service, as text and taken apart.
#include "platform/host/address.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

namespace {

constexpr const char* kForms = "not one of unix:PATH, tcp:HOST:PORT, tty:PATH, pty:PATH";
constexpr unsigned kMaxPort = 65535;

struct PathKind {
    const char* prefix;
    AddressKind kind;
};

constexpr PathKind kPathKinds[] = {
    {"unix:", AddressKind::kUnix},
    {"tty:", AddressKind::kTty},
    {"pty:", AddressKind::kPty},
};

bool port_parse(const std::string& text, std::string* port) {
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const unsigned long number = std::stoul(text);
    *port = std::to_string(number);
    return number <= kMaxPort;
}

bool is_ipv4(const std::string& host) {
    in_addr parsed{};
    return host == "localhost" || inet_pton(AF_INET, host.c_str(), &parsed) == 1;
}

bool is_host_name(const std::string& host) {
    constexpr size_t kLongest = 253;
    return !host.empty() && host.size() <= kLongest && host[0] != '-' &&
           std::all_of(host.begin(), host.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_'; });
}

// An IPv6 address, with or without a zone ("fe80::1%eth0").
bool is_ipv6(const std::string& host) {
    in6_addr parsed{};
    return inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &parsed) == 1;
}

// Empty, or what is wrong with the HOST:PORT in `rest`.
std::string tcp_parse(const std::string& rest, AddressHosts hosts, Address* address) {
    const bool bracketed = !rest.empty() && rest[0] == '[';
    const size_t host_end = bracketed ? rest.find(']') : rest.rfind(':');
    const size_t colon = bracketed && host_end != std::string::npos ? host_end + 1 : host_end;
    if (colon == std::string::npos || colon >= rest.size() || rest[colon] != ':') {
        return "no HOST:PORT behind tcp:";
    }
    address->kind = AddressKind::kTcp;
    address->host = bracketed ? rest.substr(1, host_end - 1) : rest.substr(0, host_end);
    if (hosts == AddressHosts::kNamesToo && !bracketed && !is_host_name(address->host)) {
        return "no host name or IPv4 address (an IPv6 address needs brackets)";
    }
    if (bracketed ? !is_ipv6(address->host) : hosts == AddressHosts::kNumbers && !is_ipv4(address->host)) {
        return bracketed ? "no IPv6 address in the brackets" : "no IPv4 address (an IPv6 address needs brackets)";
    }
    if (!port_parse(rest.substr(colon + 1), &address->port)) {
        return "the port is not a number from 0 to 65535";
    }
    return "";
}

std::string parse(const std::string& text, AddressHosts hosts, Address* address) {
    if (text.rfind("tcp:", 0) == 0) {
        return tcp_parse(text.substr(4), hosts, address);
    }
    for (const PathKind& form : kPathKinds) {
        const std::string prefix = form.prefix;
        if (text.rfind(prefix, 0) == 0) {
            address->kind = form.kind;
            address->path = text.substr(prefix.size());
            return address->path.empty() ? "the path is missing" : "";
        }
    }
    return kForms;
}

}  // namespace

bool address_parse(const std::string& text, Address* address, std::string* error, AddressHosts hosts) {
    *address = Address{};
    *error = parse(text, hosts, address);
    return error->empty();
}

std::string address_text(const Address& address) {
    if (address.kind == AddressKind::kTcp) {
        const bool brackets = address.host.find(':') != std::string::npos;
        return "tcp:" + (brackets ? "[" + address.host + "]" : address.host) + ":" + address.port;
    }
    for (const PathKind& form : kPathKinds) {
        if (form.kind == address.kind) {
            return form.prefix + address.path;
        }
    }
    return "";
}

bool address_unix_name(const std::string& path, sockaddr_un* name, UniqueFd* directory) {
    *name = sockaddr_un{};
    name->sun_family = AF_UNIX;
    std::string short_path = path;
    if (path.size() >= sizeof(name->sun_path)) {
        // Too long for a socket name: it is reached through its directory's descriptor.
        const size_t slash = path.rfind('/');
        const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
        *directory = UniqueFd(open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!directory->ok()) {
            return false;
        }
        short_path = "/proc/self/fd/" + std::to_string(directory->get()) + "/" + path.substr(slash + 1);
    }
    if (short_path.size() >= sizeof(name->sun_path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    memcpy(name->sun_path, short_path.data(), short_path.size());
    return true;
}
