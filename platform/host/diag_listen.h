// Opens what VENDORDIAG_LISTEN names: listening sockets and terminals. Pseudo-terminals are in diag_pty.h.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/host/address.h"
#include "platform/include/handles.h"

// A socket that accepts clients.
struct DiagListener {
    UniqueFd fd;
    Address address;        // a picked port filled in
    dev_t file_device = 0;  // of a Unix socket's file
    ino_t file_inode = 0;
};

// Each returns false with one line in `error`.

// A Unix socket of mode 0600. A file left behind by a dead daemon is replaced; a live one is left alone.
bool diag_listen_unix(const Address& address, DiagListener* listener, std::string* error);
bool diag_listen_tcp(const Address& address, DiagListener* listener, std::string* error);
// Whether clients of other machines may reach it: a TCP address that is not on loopback.
bool diag_listener_is_public(const DiagListener& listener);
// Closes, and removes the socket file if it is still this listener's.
void diag_listener_close(DiagListener* listener);

// Opens a terminal in raw mode, non-blocking.
bool diag_open_tty(const std::string& path, UniqueFd* fd, std::string* error);

// Claims the device root for this process, until the descriptor is closed.
bool diag_claim_root(const std::string& root, UniqueFd* fd, std::string* error);

// "what: text of errno", for error lines.
std::string diag_errno_text(const std::string& what);
