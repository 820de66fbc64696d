// Software version responses.
#include "buildinfo/sw_version.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "packet/diag_packet.h"
#include "platform/include/properties.h"

namespace {

constexpr const char* kInternalVersion = "ro.build.sw_internal_version";
constexpr const char* kDisplayVersion = "ro.build.display.id";
constexpr const char* kBuildDate = "ro.build.date";
constexpr size_t kVersionField = 30;  // a value that fills it has no terminator
constexpr size_t kDateValue = 92;
constexpr size_t kLinuxDateLength = 28;  // with a zone of three letters

// Where a response carries what; a missing second version has offset 0.
struct VersionLayout {
    uint8_t command;
    unsigned size;
    const char* version[2];
    size_t version_offset[2];
    size_t date_offset;
    size_t time_offset;
};

constexpr VersionLayout kInternalLayout = {56, 52, {kInternalVersion, nullptr}, {1, 0}, 31, 43};
constexpr VersionLayout kDisplayLayout = {60, 52, {kDisplayVersion, nullptr}, {1, 0}, 31, 43};
constexpr VersionLayout kBothLayout = {57, 294, {kDisplayVersion, kInternalVersion}, {1, 31}, 271, 284};

constexpr const char* kMonths[][2] = {
    {"Jan", "01"}, {"Feb", "02"}, {"Mar", "03"}, {"Apr", "04"}, {"May", "05"}, {"Jun", "06"},
    {"Jul", "07"}, {"Aug", "08"}, {"Sep", "09"}, {"Oct", "10"}, {"Nov", "11"}, {"Dec", "12"},
};

const char* month_number(const char* name) {
    const auto* row = std::find_if(std::begin(kMonths), std::end(kMonths),
                                   [name](const auto& month) { return strcmp(month[0], name) == 0; });
    return row != std::end(kMonths) ? (*row)[1] : nullptr;
}

// Copies a property's value without its terminator, at most `room` bytes.
void get_prop_value_assist(const char* property, void* out, size_t room) {
    char value[PROPERTY_VALUE_MAX] = {};
    const size_t length = static_cast<size_t>(std::max(property_get(property, value, ""), 0));
    const size_t copied = std::min(length, room);
    memcpy(out, value, copied);
    printf("\nget_prop_value_assist got: %s : %s : lenRefer:(%zu/%zu) \n", property, value, copied, length);
}

void* version_response(const VersionLayout& layout) {
    uint8_t* rsp = toplevel_response(layout.command, layout.size, kNoLine);
    if (rsp == nullptr) {
        return nullptr;
    }
    memset(rsp + 1, 0, layout.size - 1);
    for (int i = 0; i < 2 && layout.version[i] != nullptr; ++i) {
        get_prop_value_assist(layout.version[i], rsp + layout.version_offset[i], kVersionField);
    }
    char build_date[kDateValue + 1] = {};
    get_prop_value_assist(kBuildDate, build_date, kDateValue);
    // A date in another form leaves the fields zero.
    (void)extract_format_from_linux_date_string(build_date, reinterpret_cast<char*>(rsp + layout.date_offset),
                                                reinterpret_cast<char*>(rsp + layout.time_offset));
    return rsp;
}

constexpr DiagDispatchEntry sw_version_entries[] = {
    {kInternalLayout.command, kInternalLayout.command, guarded<sw_version_handler>},
    {kDisplayLayout.command, kDisplayLayout.command, guarded<sw_out_version_handler>},
    {kBothLayout.command, kBothLayout.command, guarded<sw_version_ex_handler>},
};

}  // namespace

const DiagDispatchTable sw_version_table = diag_table(kDiagNoSubsystem, sw_version_entries);

void* sw_version_handler(const void* /*request*/, uint16_t /*length*/) { return version_response(kInternalLayout); }

void* sw_out_version_handler(const void* /*request*/, uint16_t /*length*/) { return version_response(kDisplayLayout); }

void* sw_version_ex_handler(const void* /*request*/, uint16_t /*length*/) { return version_response(kBothLayout); }

int extract_format_from_linux_date_string(char* text, char* date, char* time) {
    if (strlen(text) != kLinuxDateLength) {
        puts("unexpected date string len");
        return -1;
    }
    if (text[13] != ':' || text[16] != ':') {
        return -1;
    }
    text[13] = ' ';
    text[16] = ' ';
    char weekday[4];
    char month[4];
    char day[3];
    char hour[3];
    char minute[3];
    char second[3];
    char zone[4];
    char year[5];
    if (sscanf(text, "%3s%3s%2s%2s%2s%2s%3s%4s", weekday, month, day, hour, minute, second, zone, year) != 8) {
        printf("format echanged failed %d:\n", -3);
        return -3;
    }
    const char* number = month_number(month);
    if (number == nullptr) {
        puts("month string unmatched");
        return -2;
    }
    (void)snprintf(date, 9, "%4s%2s%2s", year, number, day);
    (void)snprintf(time, 7, "%2s%2s%2s", hour, minute, second);
    printf("format echanged ok: %d\n    %s\n    %s\n", 0, date, time);
    return 0;
}
