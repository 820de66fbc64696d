// Pure functions on a store image: areas, finding, filling and clearing records.
#include "vendorcfg/vendorcfg_record.h"

#include <cstdlib>
#include <cstring>

const char* const SecQrcodeList[] = {
    "deviceid.sign.0", "deviceid.sign.1", "deviceid.sign.2", "deviceid.sign.3", "deviceid.sign.4",  "deviceid.sign.5",
    "deviceid.sign.6", "deviceid.sign.7", "deviceid.sign.8", "deviceid.sign.9", "deviceid.sign.10", "deviceid.sign.11",
    "auth_type",       "device_id_type",  "secure.user.id",  nullptr,
};
static_assert(sizeof(SecQrcodeList) / sizeof(SecQrcodeList[0]) == 15 + 1);

CfgRange cfg_area_range(int area) {
    switch (area) {
        case kCfgAreaCommon:
            return {0, kCfgAreaCount};
        case kCfgAreaSecure:
            return {kCfgAreaCount, kCfgAreaCount};
        default:
            return {0, kCfgRecordCount};
    }
}

int cfg_area_of(const char* name) {
    for (const char* const* listed = SecQrcodeList; name != nullptr && *listed != nullptr; ++listed) {
        if (strcmp(*listed, name) == 0) {
            return kCfgAreaSecure;
        }
    }
    return kCfgAreaCommon;
}

// Records are plain characters without alignment, so any byte of an image may begin one.
CfgRecord* cfg_records(uint8_t* image) { return reinterpret_cast<CfgRecord*>(image); }

bool cfg_record_valid(const CfgRecord& record) {
    return memcmp(record.head, kCfgHead, sizeof(kCfgHead)) == 0 &&
           memcmp(record.signature, kCfgSignature, sizeof(kCfgSignature)) == 0;
}

CfgRecord* cfg_find(uint8_t* image, CfgRange range, const char* name) {
    const size_t length = name != nullptr ? strnlen(name, kCfgNameSize) : kCfgNameSize;
    if (length >= kCfgNameSize) {
        return nullptr;
    }
    CfgRecord* const records = cfg_records(image) + range.first;
    for (size_t i = 0; i < range.count; ++i) {
        if (cfg_record_valid(records[i]) && memcmp(records[i].name, name, length + 1) == 0) {
            return &records[i];
        }
    }
    return nullptr;
}

CfgRecord* cfg_find_free(uint8_t* image, CfgRange range) {
    CfgRecord* const records = cfg_records(image) + range.first;
    for (size_t i = 0; i < range.count; ++i) {
        if (!cfg_record_valid(records[i])) {
            return &records[i];
        }
    }
    return nullptr;
}

void cfg_put_texts(CfgRecord* record, const char* name, const char* value) {
    const size_t name_length = strnlen(name, kCfgNameSize);
    if (name_length >= kCfgNameSize) {
        abort();
    }
    memcpy(record->name, name, name_length + 1);
    if (value == nullptr) {
        return;
    }
    const size_t value_length = strnlen(value, kCfgValueSize);
    memcpy(record->str, value, value_length);
    if (value_length < kCfgValueSize) {
        record->str[value_length] = '\0';
    }
}

void cfg_fill(CfgRecord* record, const char* name, const char* value) {
    cfg_put_texts(record, name, value);
    memcpy(record->head, kCfgHead, sizeof(kCfgHead));
    memcpy(record->signature, kCfgSignature, sizeof(kCfgSignature));
}

void cfg_clear(CfgRecord* record) { *record = {}; }
