// Configuration records by name. Every operation reads the whole image from the partition, works on it and, when it
// changed something, writes the whole image back: there is no cache between calls.
#include "vendorcfg/vendorcfg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#define LOG_TAG "cfgutil-impl"
#include "platform/include/log.h"
#include "vendorcfg/vendorcfg_partition.h"
#include "vendorcfg/vendorcfg_record.h"

namespace {
constexpr CfgRange kWholeTable = {0, kCfgRecordCount};
constexpr char kNotDefined[] = "notdefine";

// The names that survive the factory clean.
constexpr char reservedcfgname[][kCfgNameSize] = {
    "bootmode",
    "cfgdatainited",
    "serialno",
    "orb.last_FW_flash_date",
    "orb_variantflag",
    "orb.emodemenu.lock",
    "factory.cfg.hw_board_id",
    "orb.anti_usb_install",
    "orb.dataReport.switch",
    "orb.vendorcfg_imei",
    "orb_sku",
    "orb_DateofManu",
    "orb_phonecolor",
    "wipe_euicc_flag",
    "deft_register_switch",
    "udid_o",
    "udid_r",
    "udid_b",
    "orb.pid",
    "orb.usb.pc.mac",
    "fanlight",
    "orb_phonehull",
    "device_fold_count",
    "orb_digital_label_A",
    "orb_digital_label_B",
};
constexpr size_t kReservedCount = std::size(reservedcfgname);
static_assert(kReservedCount == 25);

char reservedcfgvalue[kReservedCount][kCfgValueSize];

// Reads the image `times` times in a row; false when a reading was refused or ended short, so that the image may be
// another's, old or torn: nothing is written from it.
bool read_current(int times = 1) {
    bool current = true;
    for (int i = 0; i < times; ++i) {
        current = read_image(vendorcfg_workbuffer) == CfgTransfer::kWhole && current;
    }
    return current;
}

// The callers of this store never learn of a failed write; its line stands in the log.
void write_back(bool current) { (void)write_image(vendorcfg_workbuffer, current); }

// A value field as terminated text.
struct ValueText {
    explicit ValueText(const CfgRecord& record) { memcpy(text, record.str, kCfgValueSize); }
    char text[kCfgValueSize + 1] = {};
};

// The record of a name, or null. A failed reading clears `*current`.
const CfgRecord* look_up(const char* name, bool* current) {
    if (checkcfgname(name) != 1) {
        return nullptr;
    }
    *current = read_current() && *current;
    return cfg_find(vendorcfg_workbuffer, kWholeTable, name);
}

// As cfg_get. A failed reading clears `*current`.
int get_value(const char* name, char* out, const char* default_value, bool* current) {
    if (const CfgRecord* const record = look_up(name, current)) {
        const size_t length = strnlen(record->str, kCfgValueSize);
        memcpy(out, record->str, length);
        memset(out + length, 0, kCfgValueSize - length);
        return 1;
    }
    if (default_value != nullptr) {
        memcpy(out, default_value, strnlen(default_value, kCfgValueSize));
    } else {
        ALOGI("vendorcfg FATAL ERROR, default_value is null!!!");
    }
    return -1;
}

// Zeroes the first valid record of that name in the range. False when there is none, which has been logged.
bool unset_in(CfgRange range, const char* name) {
    bool current = read_current();
    CfgRecord* const record = cfg_find(vendorcfg_workbuffer, range, name);
    current = read_current() && current;
    if (record == nullptr) {
        ALOGI("ERROR:can not unset %s, not found!\n", name);
        return false;
    }
    cfg_clear(record);
    write_back(current);
    return true;
}

// Moves one name's record from area 1 to area 2, unless area 2 has its own.
void move_to_secure_area(const char* name) {
    if (!read_current()) {
        return;  // a value from an old image must not replace anything
    }
    const CfgRecord* const old = cfg_find(vendorcfg_workbuffer, cfg_area_range(kCfgAreaCommon), name);
    if (old == nullptr) {
        return;
    }
    const ValueText value(*old);
    (void)read_current();
    if (cfg_find(vendorcfg_workbuffer, cfg_area_range(kCfgAreaSecure), name) == nullptr) {
        (void)setcfgbynamearea(name, value.text, kCfgAreaSecure);  // a full area has been logged
    }
    (void)unset_in(cfg_area_range(kCfgAreaCommon), name);  // a miss has been logged
}
}  // namespace

int checkcfgname(const char* name) {
    if (strnlen(name, kCfgNameSize) < kCfgNameSize) {
        return 1;
    }
    ALOGI("vendorcfg FATAL ERROR, cfgname is tool long!!!");
    return -1;
}

int checkdatavalid(const CfgRecord* record) { return cfg_record_valid(*record) ? 1 : -1; }

bool cfg_fits(const char* name, const char* value) {
    return name != nullptr && value != nullptr && strnlen(name, kCfgNameSize) < kCfgNameSize &&
           strnlen(value, kCfgValueSize + 1) <= kCfgValueSize;
}

CfgRecord* getcfgbyname(const char* name) { return checkcfgname(name) == 1 ? findcfgbyname(name) : nullptr; }

CfgRecord* findcfgbyname(const char* name) {
    (void)read_current();  // a failed reading shows as a miss
    return cfg_find(vendorcfg_workbuffer, kWholeTable, name);
}

int cfg_get(const char* name, char* out, const char* default_value) {
    bool current = true;
    return get_value(name, out, default_value, &current);
}

int cfg_get_int(const char* name, int* value) {
    const CfgRecord* const record = getcfgbyname(name);
    if (record == nullptr || value == nullptr) {
        return -1;
    }
    *value = static_cast<int>(strtoll(ValueText(*record).text, nullptr, 10));
    return 1;
}

int cfg_set(const char* name, const char* value) { return setcfgbyname(name, value); }

int cfg_set_int(const char* name, int value) {
    char text[sizeof("-2147483648")];
    (void)snprintf(text, sizeof(text), "%d", value);
    return setcfgbyname(name, text);
}

int setcfgbyname(const char* name, const char* value) { return setcfgbynamearea(name, value, cfg_area_of(name)); }

int setcfgbynamearea(const char* name, const char* value, int area) {
    const CfgRange range = cfg_area_range(area);
    bool current = read_current();
    if (CfgRecord* const record = cfg_find(vendorcfg_workbuffer, range, name)) {
        current = read_current() && current;
        cfg_put_texts(record, name, value);
        write_back(current);
        return 1;
    }
    current = read_current(2) && current;
    CfgRecord* const slot = cfg_find_free(vendorcfg_workbuffer, range);
    if (slot == nullptr) {
        ALOGI("FATAL ERROR:cfgdata area is full!\n");
        (void)vendorcfg_dumpbyarea(area);
        return -1;
    }
    (void)insertnewcfg_incache(slot, name, value);  // Kept: without a name or value the unchanged image is written
    write_back(current);
    return 1;
}

int insertnewcfg_incache(CfgRecord* record, const char* name, const char* value) {
    if (record == nullptr || name == nullptr || value == nullptr) {
        return -1;
    }
    cfg_fill(record, name, value);
    return 1;
}

int unsetcfgbyname(const char* name) { return unset_in(kWholeTable, name) ? 1 : -1; }

int vendorcfg_dump() { return vendorcfg_dumpbyarea(kCfgAreaAll); }

int vendorcfg_dumpbyarea(int area) {
    const CfgRange range = cfg_area_range(area);
    (void)read_current();  // a failed reading has been logged
    ALOGI("MAXCOUNT = %d\n", static_cast<int>(range.count));
    ALOGI("===========================================\n");
    for (size_t i = range.first; i < range.first + range.count; ++i) {
        const CfgRecord& record = cfg_records(vendorcfg_workbuffer)[i];
        if (cfg_record_valid(record)) {
            ALOGI("Valid Data: name=%.32s; head=%.32s; str=%.32s;  signature=%.32s\n", record.name, record.head,
                  record.str, record.signature);
        } else {
            ALOGI("Invalid Data: name=%.32s; head=%.32s; str=%.32s; signature=%.32s\n", record.name, record.head,
                  record.str, record.signature);
        }
    }
    return 1;
}

int factoryclean() {
    bool current = true;
    for (size_t i = 0; i < kReservedCount; ++i) {
        // Kept: the default comes without a terminator, so the tail of an earlier clean's longer value may follow it.
        (void)get_value(reservedcfgname[i], reservedcfgvalue[i], kNotDefined, &current);
    }
    // The end state is composed in memory and written once: a process that dies here never loses a reserved record.
    memset(vendorcfg_workbuffer, 0, sizeof(vendorcfg_workbuffer));
    int result = 0;
    for (size_t i = 0; i < kReservedCount; ++i) {
        result = 0;
        if (memcmp(reservedcfgvalue[i], kNotDefined, sizeof(kNotDefined)) != 0) {
            char value[kCfgValueSize + 1] = {};
            memcpy(value, reservedcfgvalue[i], kCfgValueSize);
            result = insertnewcfg_incache(cfg_find_free(vendorcfg_workbuffer, cfg_area_range(kCfgAreaCommon)),
                                          reservedcfgname[i], value);
        }
    }
    write_back(current);
    ALOGI("Clean vendorcfg done!\n");
    return result;
}

int cfg_handle_compatibility() {
    for (const char* const* name = SecQrcodeList; *name != nullptr; ++name) {
        move_to_secure_area(*name);
    }
    return 0;
}
