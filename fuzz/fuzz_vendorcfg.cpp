// The configuration image under every record operation. Layout: mode (odd: the image is raw bytes, even: records that
// follow), the image, then operations.
#include <cstring>

#include "fuzz/fuzz_phone.h"
#include "vendorcfg/vendorcfg.h"
#include "vendorcfg/vendorcfg_record.h"

namespace {

constexpr size_t kPartitionSize = 16384;

// Names as callers use them: ordinary, reserved, of area 2, too long, empty.
constexpr const char* kNames[] = {"usbmanutag",
                                  "serialno",
                                  "udid_o",
                                  "deviceid.sign.0",
                                  "deviceid.sign.11",
                                  "auth_type",
                                  "bootmode",
                                  "name-unknown",
                                  "orb_digital_label_B",
                                  "",
                                  "this-name-has-thirty-one-chars-",
                                  "this-name-has-more-than-thirty-one-characters"};

// Slots with a head and a signature, or nearly: slot, name, damage (position), value.
std::string built_image(FuzzInput* input) {
    std::string image(kVendorcfgImageSize, '\0');
    for (size_t left = input->byte() % 80; left > 0; --left) {
        CfgRecord record = {};
        memcpy(record.head, kCfgHead, sizeof(kCfgHead));
        memcpy(record.signature, kCfgSignature, sizeof(kCfgSignature));
        const size_t slot = input->byte() % kCfgRecordCount;
        const std::string name = fuzz_pick(kNames, input->byte());
        memcpy(record.name, name.data(), std::min(name.size(), sizeof(record.name)));
        const size_t damage = input->byte();
        const std::string value = input->bytes(input->byte() % (kCfgValueSize + 1));
        memcpy(record.str, value.data(), value.size());
        auto* bytes = reinterpret_cast<char*>(&record);
        if (damage < sizeof(record)) {
            bytes[damage] = static_cast<char>(bytes[damage] ^ 0x20);
        }
        memcpy(image.data() + slot * sizeof(record), bytes, sizeof(record));
    }
    return image;
}

void set_and_get(const char* name, const std::string& value) {
    if (!cfg_fits(name, value.c_str())) {
        return;
    }
    const int result = cfg_set(name, value.c_str());
    char stored[kCfgValueSize + 1] = {};
    fuzz_require(result == 1 || result == -1);
    // A name that older software wrote into area 1 hides the one that was stored in area 2.
    if (result == 1 && cfg_area_of(name) == kCfgAreaCommon && *name != '\0') {
        fuzz_require(cfg_get(name, stored, nullptr) == 1 && value.c_str() == std::string(stored));
    }
}

void operate(FuzzInput* input) {
    const uint8_t operation = input->byte() % 10;
    const char* name = fuzz_pick(kNames, input->byte());
    char value[kCfgValueSize + 1] = {};
    int number = 0;
    switch (operation) {
        case 0:
            return set_and_get(name, input->bytes(input->byte() % 40));
        case 1:
            return (void)cfg_get(name, value, "0");
        case 2:
            return (void)cfg_get_int(name, &number);
        case 3:
            return cfg_fits(name, "") ? (void)cfg_set_int(name, -static_cast<int>(input->byte())) : (void)0;
        case 4:
            return (void)unsetcfgbyname(name);
        case 5:
            return (void)vendorcfg_dumpbyarea(input->byte() % 4);
        case 6:
            return (void)factoryclean();
        case 7:
            return (void)cfg_handle_compatibility();
        case 8:
            return (void)findcfgbyname(name);
        default:
            return (void)checkcfgname(name);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool started = (fuzz_phone_reset(), true);
    (void)started;
    FuzzInput input{data, size};
    std::string image = (input.byte() & 1) != 0 ? input.bytes(kVendorcfgImageSize) : built_image(&input);
    image.resize(kVendorcfgImageSize);
    std::string partition(kPartitionSize, '\xFF');
    partition.replace(static_cast<size_t>(kVendorcfgImageOffset), image.size(), image);
    fuzz_phone_write("dev/block/by-name/orbcfg", partition);
    for (int step = 0; step < 64 && !input.empty(); ++step) {
        operate(&input);
    }
    return 0;
}
