// One row for each command with special values.
#include "tools/vdiag/catalogue/special.h"

#include <algorithm>

namespace vdiag {
namespace {

// A success to the phone, but nothing that a line could use.
void fail_with(std::string_view text, Answer* answer) {
    answer->status->success = false;
    answer->status->text = text;
    answer->values.clear();
}

// A file without the head of an address file: the number 3 alone. Its lowest bit marks a group: no phone has it.
void explain_address(Answer* answer) {
    static const Bytes kDamaged = {3, 0, 0, 0, 0, 0};
    if (!answer->values.empty() && answer->values[0].bytes == kDamaged) {
        fail_with("the address file is damaged", answer);
    }
}

// The label is deciphered in blocks of 16 bytes, and the first 21 bytes are sent with the padding among them: each byte
// of it is the number of bytes from the label's end to that of its last block.
void explain_label(Answer* answer) {
    constexpr size_t kBlock = 16;
    if (answer->values.empty()) {
        return;
    }
    std::string& text = answer->values[0].text;
    const auto last = static_cast<uint8_t>(text.empty() ? 0 : text.back());
    const size_t whole = text.size() <= kBlock ? kBlock : 2 * kBlock;
    if (last == 0 || last > kBlock || last >= whole || whole - last >= text.size()) {
        return;
    }
    const std::string padding = text.substr(whole - last);
    if (padding.find_first_not_of(text.back()) == std::string::npos) {
        text.resize(whole - last);
    }
}

void explain_patch(Answer* answer) {
    if (!answer->values.empty() && answer->values[0].text == "\xFF") {
        fail_with("no security patch level is set", answer);
    }
}

// Mode 1 answers with the number of the procedure's version, the others with a text or with nothing.
void explain_authentication(Answer* answer) {
    if (answer->values.empty()) {
        return;
    }
    Value& message = answer->values[0];
    if (message.text.empty()) {
        answer->values.clear();
    } else if (message.text.size() == 1) {
        message.kind = Value::Kind::kNumber;
        message.number = static_cast<uint8_t>(message.text[0]);
        message.text.clear();
    }
}

struct Row {
    std::string_view command;
    void (*explain)(Answer*);
};

constexpr Row kRows[] = {
    {"ReadWifimac", explain_address},
    {"ReadBTmac", explain_address},
    {"ReadEdigitalCode", explain_label},
    {"ReadSecPatch", explain_patch},
    {"ElecAccessNetAuthen", explain_authentication},
};

}  // namespace

void explain_special(const Command& command, Answer* answer) {
    for (const Row& row : kRows) {
        if (row.command == command.name && answer->good()) {
            row.explain(answer);
        }
    }
}

}  // namespace vdiag
