// Digests as lower-case hexadecimal texts.
#include "ftm/ftm_digest.h"

#include <openssl/evp.h>

namespace {

std::string digest_hex(const EVP_MD* kind, const void* data, size_t size) {
    unsigned char digest[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
    if (EVP_Digest(data, size, digest, &length, kind, nullptr) != 1) {
        return {};
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += kDigits[digest[i] >> 4U];
        text += kDigits[digest[i] & 0xFU];
    }
    return text;
}

}  // namespace

std::string sha256_hex(const void* data, size_t size) { return digest_hex(EVP_sha256(), data, size); }

std::string md5_hex(const void* data, size_t size) { return digest_hex(EVP_md5(), data, size); }
