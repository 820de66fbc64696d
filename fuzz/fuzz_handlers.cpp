// One request through the registered tables, on a phone that has served few others.
#include "fuzz/fuzz_phone.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr unsigned kRequestsOfAPhone = 64;  // laying one out costs more than most requests
    static unsigned served = 0;
    if (served++ % kRequestsOfAPhone == 0) {
        fuzz_phone_reset();
    }
    FuzzInput input{data, size};
    fuzz_phone_serve(fuzz_request(&input, false));
    return 0;
}
