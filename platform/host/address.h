// Addresses of the diag service: unix:PATH, tcp:HOST:PORT, tty:PATH, pty:PATH. Shared with the client.
#pragma once

#include <sys/un.h>

#include <string>

#include "platform/include/handles.h"

enum class AddressKind { kUnix, kTcp, kTty, kPty };

struct Address {
    AddressKind kind = AddressKind::kUnix;
    std::string path;  // kUnix, kTty, kPty
    std::string host;  // kTcp, without brackets
    std::string port;  // kTcp, decimal
};

// Who may stand behind tcp: a service listens at its own numbers, a client may know it by a name.
enum class AddressHosts { kNumbers, kNamesToo };

// Parses one address. False: `error` says what is wrong with it, in one line that does not repeat the text.
bool address_parse(const std::string& text, Address* address, std::string* error,
                   AddressHosts hosts = AddressHosts::kNumbers);

// The text that address_parse reads back.
std::string address_text(const Address& address);

// The socket name of a Unix socket's path of any length. `directory` must stay open until the name has been used.
// False: errno says why.
bool address_unix_name(const std::string& path, sockaddr_un* name, UniqueFd* directory);
