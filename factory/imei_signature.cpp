// The hash of the IMEI and the signature over it, which is kept as base64 text in configuration records.
#include <openssl/sha.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "factory/factory_diag.h"
#include "factory/factory_request.h"
#include "packet/diag_packet.h"
#include "platform/include/log.h"
#include "platform/include/modem_api.h"
#include "platform/include/vendor_utils.h"
#include "vendorcfg/vendorcfg.h"

namespace {
constexpr int kImeiBufferSize = 16;
constexpr size_t kImeiDigits = 15;
constexpr int kSignatureSize = 256;
constexpr int kEncodedRoom = 512;                   // bytes of the base64 text, terminator included
constexpr size_t kChunkSize = kCfgNameSize - 1;     // characters of the text in one record
constexpr const char* kStatusName = "imei.sign.1";  // Kept: not one of the names that the signature is written under

constexpr FactoryCommand kHashRead = {
    .code = 19,
    .response_size = kFactoryPayloadOffset + SHA256_DIGEST_LENGTH,
    .shortest = 0,
    .name = "factory_diag_imei_hash_read_func",
    .null_end = " ",
    .no_room_end = "",
};
constexpr FactoryCommand kSignWrite = {
    .code = 20,
    .response_size = 8,
    .shortest = 0,
    .name = "factory_diag_imei_sign_write_func",
    .null_end = " ",
    .no_room_end = "",
};
constexpr FactoryCommand kSignStatusRead = {
    .code = 21,
    .response_size = 12,
    .shortest = kDiagHeaderSize,
    .name = "factory_diag_imei_sign_status_read_func",
    .cleared = 4,
    .null_end = " ",
    .no_room_end = "",
};
constexpr FactoryCommand kSignClean = {
    .code = 22,
    .response_size = 8,
    .shortest = 0,
    .name = "factory_diag_clean_imei_sign_func",
    .null_end = " ",
    .no_room_end = "",
};

// Length of the signature's base64 text in `out` (kEncodedRoom bytes), negative when it has none.
int encode(const unsigned char* signature, int length, char* out) {
    if (length < 0 || length > (kEncodedRoom - 1) / 4 * 3) {
        return -1;
    }
    return vendor_utils_base64_encode(signature, length, out);
}
}  // namespace

int set_imei_sign(const unsigned char* signature, int length) {
    char text[kEncodedRoom] = {};
    const int text_length = encode(signature, length, text);
    if (text_length < 0) {
        ALOGE("vendor_utils_base64_encode has error.");
        return -1;
    }
    // A text that fills its last record whole is followed by an empty one.
    const size_t count = static_cast<size_t>(text_length) / kChunkSize + 1;
    for (size_t i = 0; i < count; ++i) {
        char name[kCfgNameSize];
        (void)snprintf(name, sizeof(name), "imei.sign%d.%d", 0, static_cast<int>(i));
        char chunk[kChunkSize + 1] = {};
        const size_t begin = i * kChunkSize;
        memcpy(chunk, text + begin, std::min(kChunkSize, static_cast<size_t>(text_length) - begin));
        if (cfg_set(name, chunk) == -1) {
            ALOGE("config %s set failed", name);
            return -1;
        }
    }
    return 1;
}

void* factory_diag_imei_hash_read_func(const void* request, uint16_t length) {
    return factory_serve(kHashRead, request, length, [](RequestView, uint8_t* rsp) {
        char imei[kImeiBufferSize] = {};
        if (modem_get_imei(imei, sizeof(imei)) != 0) {
            ALOGE("modem_get_imei error.");
            return kFactoryError;
        }
        (void)SHA256(reinterpret_cast<const unsigned char*>(imei), kImeiDigits, rsp + kFactoryPayloadOffset);
        return kFactoryOk;
    });
}

void* factory_diag_imei_sign_write_func(const void* request, uint16_t length) {
    return factory_serve(kSignWrite, request, length, [](RequestView view, uint8_t*) {
        unsigned char signature[kSignatureSize];
        request_copy(view, kDiagHeaderSize, signature, sizeof(signature));
        return set_imei_sign(signature, kSignatureSize) == 1 ? kFactoryOk : kFactoryError;
    });
}

void* factory_diag_imei_sign_status_read_func(const void* request, uint16_t length) {
    return factory_serve(kSignStatusRead, request, length, [](RequestView, uint8_t* rsp) {
        char value[kCfgValueSize] = {};
        if (cfg_get(kStatusName, value, "") == 1) {
            ALOGD("cfg get has success.");
        } else {
            ALOGE("cfg get has failed.");
        }
        const bool is_unsigned = value[0] == '\0';
        put_u32(rsp + kFactoryPayloadOffset, is_unsigned ? 1 : 0);
        return kFactoryOk;
    });
}

void* factory_diag_clean_imei_sign_func(const void* request, uint16_t length) {
    return factory_serve(kSignClean, request, length, [](RequestView, uint8_t*) {
        (void)factoryclean();  // its result says nothing but whether the last reserved name had a value
        return kFactoryOk;
    });
}
