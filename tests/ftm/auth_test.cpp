// The challenge of the network-access authentication: it comes from a random draw, which a case cannot foresee.
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <algorithm>
#include <ctime>

#include "ftm/ftm_auth.h"
#include "ftm/ftm_digest.h"
#include "tests/support/phone.h"

namespace {

using AuthTest = PhoneTest;

// What the tool does with a challenge: base64, then its private key.
std::string decipher(std::string text) {
    std::erase(text, '\n');
    unsigned char cipher[300] = {};
    EXPECT_EQ(
        EVP_DecodeBlock(cipher, reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())),
        258);
    FILE* file = fopen(VENDORDIAG_SOURCE_DIR "/keys/auth_dev_private.pem", "re");
    EVP_PKEY* key = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr);
    (void)fclose(file);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(key, nullptr);
    unsigned char plain[256] = {};
    size_t size = sizeof(plain);
    EXPECT_EQ(EVP_PKEY_decrypt_init(context), 1);
    EXPECT_EQ(EVP_PKEY_decrypt(context, plain, &size, cipher, kRsaCipherSize), 1);
    EVP_PKEY_CTX_free(context);
    EVP_PKEY_free(key);
    return {reinterpret_cast<char*>(plain), size};
}

TEST_F(AuthTest, ChallengeIsTheStartOfTheDigestOfASixDigitDraw) {
    const time_t begin = time(nullptr);
    const std::string challenge = decipher(ftm("ElecAccessNetAuthen", {2}).text());
    bool found = false;
    for (time_t seed = begin; seed <= time(nullptr); ++seed) {
        srand(static_cast<unsigned>(seed));
        const std::string digits = std::to_string(1000000 + rand() % 1000000).substr(1);
        found = found || challenge == sha256_hex(digits.data(), digits.size()).substr(0, 16);
    }
    EXPECT_TRUE(found) << challenge;
}

}  // namespace
