// The field lists of the catalogue, taken apart.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/vdiag/catalogue/catalogue.h"
#include "tools/vdiag/words/text.h"

namespace vdiag {

enum class FieldType : uint8_t {
    kUnsigned,  // `size` bytes
    kSigned,    // four bytes
    kChar,
    kMac,
    kText,     // `size` 0: to the zero byte
    kChars,    // exactly `size`
    kCounted,  // a length byte; at most `size`
    kBytes,    // exactly `size`; 0: all that follow
    kLong,     // a u16 length
    kKeys,
    kPairs,
    kRecords,
    kFixed,  // `fixed`, no argument
    kSkip,   // `size` bytes; 0: padding to the end
};

struct Field {
    std::string_view name;
    FieldType type = FieldType::kSkip;
    size_t size = 0;
    bool optional = false;
    bool always = false;  // counts in a failure too
    bool limited = false;
    uint64_t low = 0;
    uint64_t high = 0;
    std::vector<std::pair<std::string_view, uint64_t>> words;  // names of values
    Bytes fixed;
};

// Takes a field list of the catalogue apart. A malformed one gives false (a test holds that none is).
bool shape_parse(std::string_view list, std::vector<Field>* fields);

// The fields of a command's answer behind its head, the status of those that are named by text included.
std::vector<Field> answer_fields(const Command& command);

// The name of a value, or nothing.
std::string_view word_of(const Field& field, uint64_t value);

// How a field is written in help and manuals, such as "u8 1..12".
std::string type_text(const Field& field);
// Its width on the wire, such as "4", "N+1" or "up to 32+1".
std::string width_text(const Field& field, bool argument);

}  // namespace vdiag
