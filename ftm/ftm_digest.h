// Digests as lower-case hexadecimal texts.
#pragma once

#include <cstddef>
#include <string>

// SHA-256 of `size` bytes: 64 digits. Empty when the library refuses.
std::string sha256_hex(const void* data, size_t size);
// MD5 of `size` bytes: 32 digits. Empty when the library refuses.
std::string md5_hex(const void* data, size_t size);
