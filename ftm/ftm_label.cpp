// The electronic network-access label: AES-128-CBC with a key made of the model's name, base64, two configuration
// records.
#include "ftm/ftm_label.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "ftm/ftm_auth.h"
#include "ftm/ftm_digest.h"
#include "platform/include/log.h"
#include "platform/include/properties.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr char kRecordA[] = "orb_digital_label_A";
constexpr char kRecordB[] = "orb_digital_label_B";
constexpr size_t kBlock = 16;
constexpr size_t kMaxCipher = 32;  // a label of 31 characters, padded
constexpr size_t kPartA = 22;      // characters of the base64 text in record A; the rest is in record B
constexpr size_t kMaxBase64 = 52;  // a longer text does not fit the two records
constexpr size_t kReplySize = 21;  // bytes of the deciphered block that the tool gets
constexpr int kEmptyLabel = -2;    // results of the encryption as they are logged
constexpr int kKeySetupFailed = -4;

struct LabelKey {
    std::array<unsigned char, kBlock> key;
    std::array<unsigned char, kBlock> iv;
};

struct Cipher {
    std::array<unsigned char, kMaxCipher> bytes;
    size_t size;
};

struct CipherContextFree {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree>;

struct EncodeContextFree {
    void operator()(EVP_ENCODE_CTX* context) const { EVP_ENCODE_CTX_free(context); }
};
using EncodeContext = std::unique_ptr<EVP_ENCODE_CTX, EncodeContextFree>;

// Address of a buffer as the log shows it; what it holds stays out of the log.
unsigned int address_of(const void* buffer) { return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(buffer)); }

std::string model_name() {
    char model[PROPERTY_VALUE_MAX] = {};
    if (property_get("ro.product.model", model, "0") < 2) {
        (void)property_get("ro.product.vendor.model", model, "0");
    }
    return model;
}

bool make_label_key(const std::string& model, LabelKey* out) {
    const std::string digest = sha256_hex(model.data(), model.size());
    if (model.size() < 2 || digest.size() < 48) {
        return false;
    }
    std::copy_n(digest.begin() + 32, kBlock, out->key.begin());
    std::copy_n(digest.begin(), kBlock, out->iv.begin());
    return true;
}

// Whole blocks in, as many bytes out. 0, or -1 when the key cannot be set up.
int aes_cbc(const LabelKey& key, bool encrypt, const unsigned char* in, size_t size, unsigned char* out) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    int written = 0;
    if (!context ||
        EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key.key.data(), key.iv.data(), encrypt ? 1 : 0) !=
            1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_CipherUpdate(context.get(), out, &written, in, static_cast<int>(size)) != 1) {
        return -1;
    }
    return 0;
}

// A length that the cryptography library takes as an int on a host and as a size_t on a phone.
uint16_t text_length(size_t size) { return static_cast<uint16_t>(size); }

size_t padded_size(size_t length) { return (length + kBlock) / kBlock * kBlock; }

size_t base64_size(size_t size) { return (size + 2) / 3 * 4; }

// Pads by PKCS#7 and enciphers. The label's padded size is at most kMaxCipher.
int encipher(const LabelKey& key, const char* label, size_t length, Cipher* out) {
    out->size = padded_size(length);
    std::array<unsigned char, kMaxCipher> plain = {};
    std::fill_n(plain.begin(), out->size, static_cast<unsigned char>(out->size - length));
    std::copy_n(label, length, plain.begin());
    return aes_cbc(key, true, plain.data(), out->size, out->bytes.data());
}

// Stores both halves of the base64 text. The status of the command.
FtmStatus store_label(const char* name, const Cipher& cipher) {
    unsigned char text[kMaxBase64 + 1] = {};
    (void)EVP_EncodeBlock(text, cipher.bytes.data(), text_length(cipher.size));
    const std::string whole(reinterpret_cast<const char*>(text));
    const std::string part_a = whole.substr(0, kPartA);
    if (cfg_set(kRecordA, part_a.c_str()) < 0) {
        ALOGE("%s value_write_A = %s\n", name, part_a.c_str());
        return kFtmFailure;
    }
    const std::string part_b = whole.substr(kPartA);
    if (cfg_set(kRecordB, part_b.c_str()) < 0) {
        ALOGE("%s value_write_B = %s\n", name, part_b.c_str());
        return kFtmFailure;
    }
    return kFtmSuccess;
}

FtmStatus write_label(const char* name, const char* label) {
    const size_t length = strnlen(label, kFtmArgsMin - 1);
    if (length == 0) {
        ALOGE("%s ret_cbc = %d\n", name, kEmptyLabel);
        return kFtmFailure;
    }
    const std::string model = model_name();
    LabelKey key = {};
    if (!make_label_key(model, &key)) {
        ALOGE("%s nlen_model_prop = %d\n", name, static_cast<int>(model.size()));
        return kFtmFailure;
    }
    // The length decides before the work: what is refused here would not fit the buffers either.
    const size_t text_size = base64_size(padded_size(length));
    if (text_size > kMaxBase64) {
        ALOGE("%s nlen_output_base64111 = %d\n", name, static_cast<int>(text_size));
        return kFtmFailure;
    }
    Cipher cipher = {};
    if (encipher(key, label, length, &cipher) != 0) {
        ALOGE("%s ret_cbc = %d\n", name, kKeySetupFailed);
        return kFtmFailure;
    }
    return store_label(name, cipher);
}

// The text of one record; empty when there is none.
std::string read_record(const char* record) {
    char value[kCfgValueSize + 1] = {};
    return cfg_get(record, value, "0") < 0 ? std::string() : std::string(value);
}

// Decodes a base64 text into exactly `size` bytes. False when it holds fewer, more or none.
bool decode_base64(const std::string& text, unsigned char* out, size_t size) {
    const EncodeContext context(EVP_ENCODE_CTX_new());
    unsigned char bytes[kMaxBase64] = {};
    int length = 0;
    int tail = 0;
    if (!context) {
        return false;
    }
    EVP_DecodeInit(context.get());
    if (EVP_DecodeUpdate(context.get(), bytes, &length, reinterpret_cast<const unsigned char*>(text.data()),
                         text_length(text.size())) < 0 ||
        EVP_DecodeFinal(context.get(), bytes + length, &tail) < 0 || length + tail != static_cast<int>(size)) {
        return false;
    }
    std::copy_n(bytes, size, out);
    return true;
}

// Joins and decodes both records. False when they hold no label.
bool load_label(const char* name, Cipher* out) {
    const std::string part_a = read_record(kRecordA);
    if (part_a.size() < kPartA) {
        return false;
    }
    const std::string part_b = read_record(kRecordB);
    if (part_b.empty()) {
        return false;
    }
    const std::string text = part_a.substr(0, kPartA) + part_b;
    ALOGD("%s nlen_output_base64 = %d\n", name, static_cast<int>(text.size()));
    if (text.size() != base64_size(kBlock) && text.size() != base64_size(kMaxCipher)) {
        return false;
    }
    out->size = text.size() == base64_size(kBlock) ? kBlock : kMaxCipher;
    return decode_base64(text, out->bytes.data(), out->size);
}

int orb_aes128_cbc_decrypt_pkcs7(const LabelKey& key, const Cipher& cipher, unsigned char* plain) {
    ALOGD("%s key = %x\n", __func__, address_of(key.key.data()));
    ALOGD("%s iv = %x\n", __func__, address_of(key.iv.data()));
    ALOGD("%s ciphertext = %x\n", __func__, address_of(cipher.bytes.data()));
    ALOGD("%s ciphertext_size = %d\n", __func__, static_cast<int>(cipher.size));
    ALOGD("%s plaintext = %x\n", __func__, address_of(plain));
    if (aes_cbc(key, false, cipher.bytes.data(), cipher.size, plain) != 0) {
        ALOGE("%s RET = %d\n", __func__, -1);
        return -1;
    }
    return 0;
}

// Length of the text in front of its PKCS#7 padding, or 0 for a bad padding or one without a text.
size_t unpadded_size(const unsigned char* plain, size_t size) {
    const size_t padding = plain[size - 1];
    if (padding == 0 || padding > kBlock) {
        return 0;
    }
    const bool good = std::all_of(plain + size - padding, plain + size, [=](unsigned char c) { return c == padding; });
    return good ? size - padding : 0;
}

FtmStatus read_label(const char* name, FtmMessage& message) {
    Cipher cipher = {};
    LabelKey key = {};
    if (!load_label(name, &cipher) || !make_label_key(model_name(), &key)) {
        return kFtmFailure;
    }
    // Zeros stand behind a single block: the reply takes more bytes than it has.
    unsigned char plain[kMaxCipher] = {};
    if (orb_aes128_cbc_decrypt_pkcs7(key, cipher, plain) != 0) {
        return kFtmFailure;
    }
    const size_t length = unpadded_size(plain, cipher.size);
    if (length == 0) {
        ALOGE("%s plaintext_size222 = %d\n", name, 0);
        ALOGE("%s plaintext_size = %d\n", name, 0);
        return kFtmFailure;
    }
    ALOGD("%s ret222 = %d\n", name, 1);
    ALOGD("%s buffer = %x\n", name, address_of(plain));
    ALOGD("%s plaintext_size = %d\n", name, static_cast<int>(length));
    // Kept: 21 bytes whatever the label's length, so the padding of a shorter one is part of the reply.
    (void)memcpy(message.bytes, plain, kReplySize);
    const size_t reply = strlen(message.text());
    ALOGD("%s: len_original = %d", name, static_cast<int>(reply));
    return ftm_status(reply != 0);
}

}  // namespace

FtmStatus ftm_diag_req_cmd_writeDigitalCode(FtmArgs args, FtmMessage&) {
    ALOGD("%s\n", __func__);
    if (!ftm_label_gate_open()) {
        ALOGE("%s is_digital_random_auth_ok = %d\n", __func__, 0);
        return kFtmFailure;
    }
    return write_label(__func__, args.text());
}

FtmStatus ftm_diag_req_cmd_readDigitalCode(FtmArgs, FtmMessage& message) {
    ALOGD("%s\n", __func__);
    return read_label(__func__, message);
}
