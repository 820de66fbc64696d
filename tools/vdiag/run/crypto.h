// The little cryptography that tasks need. libcrypto is loaded when it is first used: most requests need none of it.
#pragma once

#include <string>
#include <string_view>

#include "tools/vdiag/words/text.h"

namespace vdiag {

// Decrypts the base64 text of an RSA PKCS#1 v1.5 cipher with the private key in a PEM file. False: `error` says why.
bool rsa_decrypt(const std::string& pem_path, std::string_view base64, std::string* plain, std::string* error);

// Lower-case hexadecimal digests. Empty: libcrypto cannot be loaded.
std::string sha256_hex(std::string_view text);
std::string md5_hex(std::string_view text);

}  // namespace vdiag
