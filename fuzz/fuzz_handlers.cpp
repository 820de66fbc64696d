// One request to a fresh phone, through the registered tables.
#include "fuzz/fuzz_phone.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input{data, size};
    fuzz_phone_reset();
    fuzz_phone_serve(fuzz_request(&input, false));
    return 0;
}
