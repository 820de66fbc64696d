// The catalogue for other programs.
#include <nlohmann/json.hpp>

#include "tools/vdiag/catalogue/shape.h"
#include "tools/vdiag/face/usage.h"
#include "tools/vdiag/run/perform.h"
#include "tools/vdiag/serve/serve.h"
#include "version/version.h"

namespace vdiag {
namespace {

using Json = nlohmann::ordered_json;

std::string kind_of(const Field& field) {
    switch (field.type) {
        case FieldType::kUnsigned:
        case FieldType::kSigned:
            return "number";
        case FieldType::kMac:
            return "address";
        case FieldType::kCounted:
        case FieldType::kText:
        case FieldType::kChars:
        case FieldType::kChar:
            return "text";
        case FieldType::kKeys:
            return "names";
        case FieldType::kPairs:
        case FieldType::kRecords:
            return "pairs";
        default:
            return "bytes";
    }
}

Json fields_of(std::string_view list) {
    std::vector<Field> fields;
    (void)shape_parse(list, &fields);
    Json out = Json::array();
    for (const Field& field : fields) {
        if (field.name.empty()) {
            continue;
        }
        Json row = {{"name", field.name}, {"kind", kind_of(field)}, {"help", type_text(field)}};
        row["optional"] = field.optional;
        for (const auto& [word, value] : field.words) {
            row["words"][std::string(word)] = value;
        }
        out.push_back(row);
    }
    return out;
}

Json command_of(const Command& command) {
    static constexpr const char* kEffects[] = {"reads", "uses", "writes", "final", "down"};
    Json row = {{"command", typed_name(command)}, {"help", command.help}, {"usage", usage_of(command)}};
    row["effect"] = kEffects[static_cast<size_t>(command.effect)];
    row["arguments"] = fields_of(command.arguments);
    row["answer"] = fields_of(command.answer);
    row["example"] = command.example;
    row["statuses"] = Json::array();
    for (const Status& status : statuses_of(command)) {
        row["statuses"].push_back({{"value", status.value}, {"success", status.success}, {"text", status.text}});
    }
    return row;
}

}  // namespace

std::string catalogue_members() {
    Json out;
    out["version"] = VENDORDIAG_VERSION;
    for (const Command& command : catalogue()) {
        out["commands"].push_back(command_of(command));
    }
    for (const Task& task : tasks()) {
        out["tasks"].push_back({{"command", task.name}, {"usage", task.usage}, {"help", task.help}});
    }
    const std::string text = out.dump();
    return text.substr(1, text.size() - 2);
}

}  // namespace vdiag
