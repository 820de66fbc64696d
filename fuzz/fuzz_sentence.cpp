// The sentence reader, byte by byte. Layout: mode; even: bytes from the wire; odd: bodies, one a line, that get their
// "$", checksum and line end here.
#include <cstdio>
#include <cstring>

#include "fuzz/fuzz_phone.h"
#include "rdss/sentence_reader.h"

namespace {

void feed(const std::string& bytes) {
    for (const char c : bytes) {
        (void)rdss_data_reader_addc(static_cast<unsigned char>(c));
        fuzz_require(rdss_data_reader.pos >= 0 && rdss_data_reader.pos <= kSentenceMax);
    }
    for (const char* kept :
         {get_rdss_chip_cn(), get_rdss_chip_cn_new(), static_cast<const char*>(rdss_data_reader.chip_version)}) {
        fuzz_require(strnlen(kept, kReaderTextSize) < kReaderTextSize);
    }
}

std::string sentence(const std::string& body) {
    unsigned checksum = 0;
    for (const char c : body) {
        checksum ^= static_cast<unsigned char>(c);
    }
    char end[8];
    (void)snprintf(end, sizeof(end), "*%02X\r\n", checksum);
    return "$" + body + end;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool started = (fuzz_phone_reset(), true);  // a quiet log
    (void)started;
    FuzzInput input{data, size};
    const bool bodies = (input.byte() & 1) != 0;
    std::string text = input.rest();
    rdss_data_reader_init();
    if (!bodies) {
        feed(text);
        return 0;
    }
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
        feed(sentence(text.substr(0, end)));
        text.erase(0, end + 1);
    }
    feed(sentence(text));
    return 0;
}
