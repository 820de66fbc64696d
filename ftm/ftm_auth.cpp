// Network-access authentication: version query, challenge, verification.
#include "ftm/ftm_auth.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "ftm/ftm_auth_key.h"
#include "ftm/ftm_digest.h"
#include "platform/include/log.h"

namespace {

constexpr unsigned char kModeVersion = 1;
constexpr unsigned char kModeChallenge = 2;
constexpr unsigned char kModeVerify = 3;
constexpr unsigned char kProtocolVersion = 4;
constexpr size_t kChallengeSize = 16;
constexpr size_t kDigestTextSize = 64;

// The conversation with the tool. Only the diag thread touches it.
std::string challenge;  // empty until the first challenge request
bool label_gate = false;

struct OpensslFree {
    void operator()(BIO* bio) const { (void)BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(EVP_ENCODE_CTX* context) const { EVP_ENCODE_CTX_free(context); }
};
template <typename T>
using Openssl = std::unique_ptr<T, OpensslFree>;

Openssl<EVP_PKEY> parse_public_key(const char* key_text) {
    const Openssl<BIO> bio(BIO_new_mem_buf(key_text, -1));
    if (!bio) {
        (void)fprintf(stderr, "Failed to create key BIO");
        return nullptr;
    }
    Openssl<EVP_PKEY> key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
    if (!key) {
        (void)fprintf(stderr, "key=%s,keybio=0x%p failed to execute PEM_read_bio_RSA_PUBKEY()\n", key_text,
                      static_cast<void*>(bio.get()));
    }
    return key;
}

std::string draw_challenge() {
    srand(static_cast<unsigned int>(time(nullptr)));
    char digits[16] = {};
    (void)snprintf(digits, sizeof(digits), "%06d", rand() % 1000000);
    std::string digest = sha256_hex(digits, strlen(digits));
    digest.resize(std::min(digest.size(), kChallengeSize));
    return digest;
}

// Base64 as the tool's decoder takes it: lines of 64 characters, each ended by a line feed. `out` has room for the
// text (350 characters for a cipher) and its terminator. False: it could not be encoded.
bool encode_cipher(const unsigned char* cipher, unsigned char* out) {
    const Openssl<EVP_ENCODE_CTX> context(EVP_ENCODE_CTX_new());
    if (!context) {
        return false;
    }
    int length = 0;
    int tail = 0;
    EVP_EncodeInit(context.get());
    (void)EVP_EncodeUpdate(context.get(), out, &length, cipher, kRsaCipherSize);  // fails for no length of ours
    EVP_EncodeFinal(context.get(), out + length, &tail);
    out[length + tail] = 0;
    return true;
}

FtmStatus issue_challenge(const char* name, FtmMessage& message) {
    challenge = draw_challenge();
    unsigned char plain[kChallengeSize] = {};
    (void)challenge.copy(reinterpret_cast<char*>(plain), sizeof(plain));
    unsigned char cipher[kRsaCipherSize] = {};
    const int length = challenge.empty() ? -1 : public_encrypt(plain, sizeof(plain), kAuthPublicKey, cipher);
    if (length < 0) {
        return kFtmFailure;
    }
    ALOGD("%s: rand_encrypted_length: %d\n", name, length);
    return ftm_status(encode_cipher(cipher, message.bytes));
}

// `answer` is the whole argument text: the mode byte, then the digits.
FtmStatus verify_answer(const char* answer) {
    // Kept: the mode byte counts, so 63 digits pass this test and fail the comparison.
    if (strnlen(answer, kDigestTextSize) < kDigestTextSize) {
        return kFtmFailure;
    }
    const std::string expected = sha256_hex(challenge.data(), challenge.size());
    if (expected.size() != kDigestTextSize || strncasecmp(answer + 1, expected.c_str(), kDigestTextSize) != 0) {
        return kFtmFailure;
    }
    label_gate = true;
    return kFtmSuccess;
}

}  // namespace

bool ftm_label_gate_open() { return label_gate; }

int public_encrypt(const unsigned char* data, int length, const char* key_text, unsigned char* output) {
    const Openssl<EVP_PKEY> key = parse_public_key(key_text);
    const Openssl<EVP_PKEY_CTX> context(key ? EVP_PKEY_CTX_new(key.get(), nullptr) : nullptr);
    size_t written = kRsaCipherSize;
    if (!context || length < 0 || EVP_PKEY_encrypt_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1 ||
        EVP_PKEY_size(key.get()) > kRsaCipherSize ||
        EVP_PKEY_encrypt(context.get(), output, &written, data, static_cast<size_t>(length)) != 1) {
        return -1;
    }
    return static_cast<int>(written);
}

FtmStatus ftm_diag_req_cmd_elec_access_network_authen(FtmArgs args, FtmMessage& message) {
    ALOGD("%s: req_args: %d\n", __func__, args[0]);
    switch (args[0]) {
        case kModeVersion:
            message.put(kProtocolVersion);
            return kFtmSuccess;
        case kModeChallenge:
            return issue_challenge(__func__, message);
        case kModeVerify:
            return verify_answer(args.text());
        default:
            return kFtmFailure;
    }
}
