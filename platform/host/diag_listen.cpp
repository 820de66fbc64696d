// Listening sockets and terminals of the diag service.
#include "platform/host/diag_listen.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

namespace {

constexpr mode_t kSocketMode = 0600;

const sockaddr* generic(const void* name) { return static_cast<const sockaddr*>(name); }

// Whether somebody accepts connections at `name`.
bool is_served(const sockaddr_un& name) {
    const UniqueFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return !probe.ok() || connect(probe.get(), generic(&name), sizeof(name)) == 0 || errno != ECONNREFUSED;
}

// Makes room for a socket file at `path`.
bool clear_socket_path(const std::string& path, const sockaddr_un& name, std::string* error) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return true;
    }
    if (!S_ISSOCK(status.st_mode)) {
        *error = "there is a file that is no socket";
        return false;
    }
    if (is_served(name)) {
        *error = "it is served by another process already";
        return false;
    }
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        *error = diag_errno_text("cannot remove the old socket");
        return false;
    }
    return true;
}

// The port that the kernel picked for a bound socket.
std::string bound_port(int fd) {
    sockaddr_storage name{};
    socklen_t size = sizeof(name);
    char port[NI_MAXSERV] = "";
    if (getsockname(fd, static_cast<sockaddr*>(static_cast<void*>(&name)), &size) != 0 ||
        getnameinfo(generic(&name), size, nullptr, 0, port, sizeof(port), NI_NUMERICSERV) != 0) {
        return "0";
    }
    return port;
}

// A socket that listens at one resolved name; not ok: errno says why.
UniqueFd listen_at(const addrinfo& name) {
    UniqueFd fd(socket(name.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!fd.ok() || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0) {
        return UniqueFd();
    }
    if (name.ai_family == AF_INET6 && setsockopt(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof(on)) != 0) {
        return UniqueFd();
    }
    if (bind(fd.get(), name.ai_addr, name.ai_addrlen) != 0 || listen(fd.get(), SOMAXCONN) != 0) {
        return UniqueFd();
    }
    return fd;
}

}  // namespace

std::string diag_errno_text(const std::string& what) {
    return what + ": " + std::error_code(errno, std::generic_category()).message();
}

bool diag_listen_unix(const Address& address, DiagListener* listener, std::string* error) {
    std::error_code ignored;  // a missing directory shows when the socket is bound
    std::filesystem::create_directories(std::filesystem::path(address.path).parent_path(), ignored);
    sockaddr_un name{};
    UniqueFd directory;
    if (!address_unix_name(address.path, &name, &directory)) {
        *error = diag_errno_text("cannot reach its directory");
        return false;
    }
    if (!clear_socket_path(address.path, name, error)) {
        return false;
    }
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The mode is set before the file exists: it is never open to others, whatever the umask.
    struct stat status {};
    if (!fd.ok() || fchmod(fd.get(), kSocketMode) != 0 || bind(fd.get(), generic(&name), sizeof(name)) != 0 ||
        listen(fd.get(), SOMAXCONN) != 0 || lstat(address.path.c_str(), &status) != 0) {
        *error = diag_errno_text("cannot listen");
        return false;
    }
    *listener = DiagListener{std::move(fd), address, status.st_dev, status.st_ino};
    return true;
}

bool diag_listen_tcp(const Address& address, DiagListener* listener, std::string* error) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int result = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &found); result != 0) {
        *error = gai_strerror(result);
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> names(found, &freeaddrinfo);
    for (const addrinfo* name = found; name != nullptr; name = name->ai_next) {
        UniqueFd fd = listen_at(*name);
        if (fd.ok()) {
            Address in_use = address;
            in_use.port = bound_port(fd.get());
            *listener = DiagListener{std::move(fd), in_use};
            return true;
        }
    }
    *error = diag_errno_text("cannot listen");
    return false;
}

bool diag_listener_is_public(const DiagListener& listener) {
    sockaddr_storage name{};
    socklen_t size = sizeof(name);
    if (listener.address.kind != AddressKind::kTcp ||
        getsockname(listener.fd.get(), static_cast<sockaddr*>(static_cast<void*>(&name)), &size) != 0) {
        return false;
    }
    if (name.ss_family == AF_INET6) {
        return IN6_IS_ADDR_LOOPBACK(&static_cast<const sockaddr_in6*>(static_cast<const void*>(&name))->sin6_addr) == 0;
    }
    const auto& inet = *static_cast<const sockaddr_in*>(static_cast<const void*>(&name));
    return ntohl(inet.sin_addr.s_addr) >> 24 != IN_LOOPBACKNET;
}

void diag_listener_close(DiagListener* listener) {
    // A child that is just being started may hold a copy of the descriptor for a moment: it must not accept anybody.
    (void)shutdown(listener->fd.get(), SHUT_RDWR);
    (void)listener->fd.close();
    struct stat status {};
    if (listener->address.kind == AddressKind::kUnix && lstat(listener->address.path.c_str(), &status) == 0 &&
        status.st_dev == listener->file_device && status.st_ino == listener->file_inode) {
        (void)unlink(listener->address.path.c_str());
    }
}

bool diag_open_tty(const std::string& path, UniqueFd* fd, std::string* error) {
    UniqueFd tty(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    termios settings{};
    if (!tty.ok() || tcgetattr(tty.get(), &settings) != 0) {
        *error = diag_errno_text("cannot open the terminal");
        return false;
    }
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    if (tcsetattr(tty.get(), TCSANOW, &settings) != 0) {
        *error = diag_errno_text("cannot set the terminal raw");
        return false;
    }
    *fd = std::move(tty);
    return true;
}

bool diag_claim_root(const std::string& root, UniqueFd* fd, std::string* error) {
    UniqueFd directory(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.ok()) {
        *error = diag_errno_text("cannot open the device root");
        return false;
    }
    if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0) {
        *error = errno == EWOULDBLOCK ? "this device root is served by another process already"
                                      : diag_errno_text("cannot lock the device root");
        return false;
    }
    *fd = std::move(directory);
    return true;
}
