// The factory information document: any bytes as the stored one, then keys written into it and read back. Layout:
// number of keys, for each a counted name and value, then the document.
#include "factory/factory_info_document.h"
#include "fuzz/fuzz_phone.h"

namespace {

constexpr char kPath[] = "/persist/factoryinfo.xml";
constexpr size_t kRoom = 8000;

std::vector<FactoryKey> take_keys(FuzzInput* input) {
    std::vector<FactoryKey> keys(input->byte() % 8);
    for (FactoryKey& key : keys) {
        key.name = input->bytes(input->byte());
        key.value = input->bytes(input->byte());
    }
    return keys;
}

// Every key that was written is found, byte for byte: the last one of a name counts.
void require_written(const std::string& document, const std::vector<FactoryKey>& keys) {
    const FactoryKey& last = keys.back();
    std::vector<FactoryKey> found;
    fuzz_require(factory_info_find(document, kPath, {last}, kRoom, &found) == kInfoOk);
    fuzz_require(!found.empty() && found.front().value == last.value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool started = (fuzz_phone_reset(), true);  // a quiet log
    (void)started;
    FuzzInput input{data, size};
    const std::vector<FactoryKey> keys = take_keys(&input);
    const std::string document = input.rest();
    std::vector<FactoryKey> found;
    (void)factory_info_find(document, kPath, keys, kRoom, &found);
    factory_info_for_each(document, kPath, "fuzz", [](const char*, const char*) {});
    std::string updated;
    const bool storable = factory_info_storable(keys);
    for (const std::string* base : {&document, static_cast<const std::string*>(nullptr)}) {
        const FactoryInfoStatus status = factory_info_update(base, keys, &updated);
        if (storable && status == kInfoOk && !keys.empty()) {
            require_written(updated, keys);
        }
        fuzz_require(base != nullptr || !storable || status == kInfoOk);
    }
    return 0;
}
