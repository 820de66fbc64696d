// A sequence of requests on one fresh phone, whose files change between them. Layout: steps of a selector (odd: a
// change of a file) and what the step takes.
#include "fuzz/fuzz_phone.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr int kMaxSteps = 24;
    FuzzInput input{data, size};
    fuzz_phone_reset();
    for (int step = 0; step < kMaxSteps && !input.empty(); ++step) {
        if ((input.byte() & 1) != 0) {
            fuzz_phone_change(&input);
        } else {
            fuzz_phone_serve(fuzz_request(&input, true));
        }
    }
    return 0;
}
