// Writes a phone's Wi-Fi address when one is given, and prints the one it has: address PHONE [ADDRESS]
#include <vdiag/vdiag.h>

#include <cstdio>

namespace {

int fail(const libvdiag::Answer& answer) {
    std::fprintf(stderr, "%s\n", answer.text.c_str());
    return static_cast<int>(answer.outcome);
}

}  // namespace

int main(int argc, char** argv) {
    libvdiag::Phone phone(argc > 1 ? argv[1] : "", std::chrono::seconds(2));
    if (argc > 2) {
        const libvdiag::Answer written = phone.request("ftm WriteWifimac", {{"mac", std::string(argv[2])}});
        if (!written.good()) {
            return fail(written);
        }
    }
    const libvdiag::Answer answer = phone.request("ftm ReadWifimac");
    for (const uint8_t byte : answer.bytes("mac")) {
        std::printf("%02x ", byte);
    }
    return answer.good() ? std::puts("") < 0 : fail(answer);
}
