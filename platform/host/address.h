// Addresses of the diag service: unix:PATH, tcp:HOST:PORT, tty:PATH, pty:PATH. Shared with the client.
#pragma once

#include <string>

enum class AddressKind { kUnix, kTcp, kTty, kPty };

struct Address {
    AddressKind kind = AddressKind::kUnix;
    std::string path;  // kUnix, kTty, kPty
    std::string host;  // kTcp, without brackets
    std::string port;  // kTcp, decimal
};

// Parses one address. False: `error` says what is wrong with it, in one line.
bool address_parse(const std::string& text, Address* address, std::string* error);

// The text that address_parse reads back.
std::string address_text(const Address& address);
