// The layout of the store image and what can be done to one: pure functions on bytes, no device, no log.
//
// The image is a table of 64 records, 32 of each area. There is no count, index or checksum: a record whose head and
// signature texts are right is taken, every other one is free, and lookups take the first match.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vendorcfg/vendorcfg.h"
#include "vendorcfg/vendorcfg_partition.h"

constexpr size_t kCfgRecordCount = 64;
constexpr size_t kCfgAreaCount = 32;  // records of one area

constexpr int kCfgAreaCommon = 1;  // area number of ordinary names: records 0-31
constexpr int kCfgAreaSecure = 2;  // area number of the signature names: records 32-63
constexpr int kCfgAreaAll = -1;    // any other number: the whole table

constexpr char kCfgHead[] = "this-is-cfg-head";
constexpr char kCfgSignature[] = "cfg-signature-is-here";

// A record as it lies on the partition. Every field is text that ends at a zero byte or at the field's end.
struct CfgRecord {
    char head[32];            // kCfgHead and a zero byte; what follows is never written
    char name[kCfgNameSize];  // at most 31 characters
    char signature[32];       // kCfgSignature and a zero byte; what follows is never written
    char str[kCfgValueSize];  // the value; bytes of an older one may stand behind its terminator
};
static_assert(offsetof(CfgRecord, head) == 0);
static_assert(offsetof(CfgRecord, name) == 32);
static_assert(offsetof(CfgRecord, signature) == 64);
static_assert(offsetof(CfgRecord, str) == 96);
static_assert(sizeof(CfgRecord) == 128 && alignof(CfgRecord) == 1);
static_assert(sizeof(CfgRecord) * kCfgRecordCount == kVendorcfgImageSize);

// A run of records of an image.
struct CfgRange {
    size_t first;
    size_t count;
};
// The records of an area number.
CfgRange cfg_area_range(int area);
// The area that a name belongs to.
int cfg_area_of(const char* name);
// The names of area 2, ended by a null pointer.
extern const char* const SecQrcodeList[];

// The records of an image of kVendorcfgImageSize bytes.
CfgRecord* cfg_records(uint8_t* image);

bool cfg_record_valid(const CfgRecord& record);
// First valid record of that name in the range, or null. A null name or one of 32 or more characters is nobody's.
CfgRecord* cfg_find(uint8_t* image, CfgRange range, const char* name);
// First free record of the range, or null.
CfgRecord* cfg_find_free(uint8_t* image, CfgRange range);

// Replaces a record's name and value; a null value leaves it as it is. Nothing beyond the two fields' texts is touched:
// a value is cut at 32 bytes. A name of 32 or more characters is a programming error that ends the process.
void cfg_put_texts(CfgRecord* record, const char* name, const char* value);
// Makes a free record a valid one of that name and value.
void cfg_fill(CfgRecord* record, const char* name, const char* value);
// Zeroes a record.
void cfg_clear(CfgRecord* record);
