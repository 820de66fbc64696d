// libcrypto, loaded when it is first used.
#include "tools/vdiag/run/crypto.h"

#include <dlfcn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <memory>

namespace vdiag {
namespace {

constexpr const char* kLibrary = VDIAG_LIBCRYPTO;

// A function of libcrypto; null when library or function are missing.
template <typename Function>
Function load(const char* name) {
    static void* const library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? reinterpret_cast<Function>(dlsym(library, name)) : nullptr;
}

#define VDIAG_CRYPTO(name) load<decltype(&(name))>(#name)

std::string digest_hex(const char* name, std::string_view text) {
    auto* const by_name = VDIAG_CRYPTO(EVP_get_digestbyname);
    auto* const digest = VDIAG_CRYPTO(EVP_Digest);
    if (by_name == nullptr || digest == nullptr) {
        return "";
    }
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    const bool done = digest(text.data(), text.size(), out, &size, by_name(name), nullptr) == 1;
    return done ? hex_text(out, size) : "";
}

// No question is asked on the terminal for an encrypted key.
int no_passphrase(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*user*/) { return -1; }

using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)>;

Key read_key(const Bytes& pem) {
    auto* const new_bio = VDIAG_CRYPTO(BIO_new_mem_buf);
    auto* const free_bio = VDIAG_CRYPTO(BIO_free);
    auto* const read = VDIAG_CRYPTO(PEM_read_bio_PrivateKey);
    BIO* bio = new_bio(pem.data(), static_cast<int>(pem.size()));
    Key key(read(bio, nullptr, no_passphrase, nullptr), VDIAG_CRYPTO(EVP_PKEY_free));
    (void)free_bio(bio);
    return key;
}

bool base64_decode(std::string_view text, Bytes* out) {
    std::string digits;
    for (const char c : text) {
        if (c != '\n' && c != '\r' && c != ' ') {
            digits += c;
        }
    }
    out->resize(digits.size());
    auto* const decode = VDIAG_CRYPTO(EVP_DecodeBlock);
    const int size =
        decode(out->data(), reinterpret_cast<const unsigned char*>(digits.data()), static_cast<int>(digits.size()));
    if (size <= 0) {
        return false;
    }
    const size_t padding = digits.ends_with("==") ? 2 : (digits.ends_with('=') ? 1 : 0);
    out->resize(static_cast<size_t>(size) - padding);
    return true;
}

bool decrypt(EVP_PKEY* key, const Bytes& cipher, std::string* plain) {
    const KeyContext context(VDIAG_CRYPTO(EVP_PKEY_CTX_new)(key, nullptr), VDIAG_CRYPTO(EVP_PKEY_CTX_free));
    size_t size = 0;
    if (context == nullptr || VDIAG_CRYPTO(EVP_PKEY_decrypt_init)(context.get()) != 1 ||
        VDIAG_CRYPTO(EVP_PKEY_CTX_set_rsa_padding)(context.get(), RSA_PKCS1_PADDING) != 1) {
        return false;
    }
    auto* const run = VDIAG_CRYPTO(EVP_PKEY_decrypt);
    if (run(context.get(), nullptr, &size, cipher.data(), cipher.size()) != 1) {
        return false;
    }
    Bytes out(size);
    if (run(context.get(), out.data(), &size, cipher.data(), cipher.size()) != 1) {
        return false;
    }
    plain->assign(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size));
    return true;
}

}  // namespace

std::string sha256_hex(std::string_view text) { return digest_hex("SHA256", text); }
std::string md5_hex(std::string_view text) { return digest_hex("MD5", text); }

bool rsa_decrypt(const std::string& pem_path, std::string_view base64, std::string* plain, std::string* error) {
    Bytes pem;
    if (!file_read(pem_path, &pem, error)) {
        return false;
    }
    if (VDIAG_CRYPTO(EVP_PKEY_decrypt) == nullptr) {
        *error = std::string("this task needs ") + kLibrary;
        return false;
    }
    const Key key = read_key(pem);
    if (key == nullptr) {
        *error = pem_path + " holds no unencrypted private key";
        return false;
    }
    Bytes cipher;
    if (!base64_decode(base64, &cipher)) {
        *error = "the challenge is no base64 text";
        return false;
    }
    if (!decrypt(key.get(), cipher, plain)) {
        *error = "the challenge cannot be decrypted with " + pem_path + ": is it the key of this phone?";
        return false;
    }
    return true;
}

}  // namespace vdiag
