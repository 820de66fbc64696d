// Configuration records: named texts in the vendor configuration store. Results are 1 for success and -1 for failure; 0
// is never a success. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kCfgNameSize = 32;   // bytes of a record's name field: 31 characters and a terminator
constexpr size_t kCfgValueSize = 32;  // bytes of its value field; 32 characters fill it without a terminator

struct CfgRecord;  // one record inside the image; see vendorcfg_record.h

// Copies a record's value into `out` (at least 32 bytes, zeroed by the caller), padded with zeros. On a miss copies the
// default text without its terminator and returns -1.
int cfg_get(const char* name, char* out, const char* default_value);
// Stores a text of at most 32 bytes; the caller refuses longer ones.
int cfg_set(const char* name, const char* value);
// Decimal value of a record; -1 on a miss or a null pointer.
int cfg_get_int(const char* name, int* value);
int cfg_set_int(const char* name, int value);

// True when a name (at most 31 characters) and a value (at most 32 bytes) that came from outside fit a record.
bool cfg_fits(const char* name, const char* value);

CfgRecord* getcfgbyname(const char* name);
CfgRecord* findcfgbyname(const char* name);
int setcfgbyname(const char* name, const char* value);
int setcfgbynamearea(const char* name, const char* value, int area);
int unsetcfgbyname(const char* name);
int insertnewcfg_incache(CfgRecord* record, const char* name, const char* value);
int checkcfgname(const char* name);
int checkdatavalid(const CfgRecord* record);
int vendorcfg_dump();
int vendorcfg_dumpbyarea(int area);

// Erases every record but the reserved ones.
int factoryclean();
// Moves signature records that older software wrote into area 1 to area 2.
int cfg_handle_compatibility();
