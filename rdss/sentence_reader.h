// Assembles the bytes that the RDSS chip sends into sentences ("$" ... "*hh" CR LF), judges each, and keeps the values
// that the chip test reports. Pure over bytes: knows no port and no time.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int kSentenceMax = 2048;        // bytes of a sentence, "$" and line end included
constexpr size_t kReaderTextSize = 32;    // room of a kept text, terminator included
constexpr int32_t kReaderHasVersion = 1;  // flag: a chip version was received

// The reader's record; zero but for the fields that say otherwise.
struct RdssDataReader {
    int32_t pos;       // bytes collected of the current sentence
    int32_t overflow;  // not zero: bytes are dropped up to and including the next line feed
    uint8_t reserved_ones[8];
    int32_t reserved_minus_one;
    char chip_version[kReaderTextSize];
    char cn[kReaderTextSize];      // carrier-to-noise ratio of the last QXDFTCNQ answer
    char cn_new[kReaderTextSize];  // carrier-to-noise ratio of the last BDPWI answer
    int32_t flags;
    int32_t reserved_minus_one_too;
    char buffer[kSentenceMax + 1];  // the current sentence, from its "$" on
    char reserved[363];
};
static_assert(sizeof(RdssDataReader) == 2536);

// The process's reader.
extern RdssDataReader rdss_data_reader;

// Forgets everything.
void rdss_data_reader_init();

// Takes one received byte (0 to 255). Returns 0 when it completed a sentence that is a positive answer, else -1.
int rdss_data_reader_addc(int c);

// Judges the sentence that the reader has collected and stores its values there. Returns 0 for a positive answer, else
// -1.
int rdss_data_reader_parse(RdssDataReader* reader);

// The kept texts; terminated, empty when no such answer came since the last rdss_data_reader_init.
const char* get_rdss_chip_cn();
const char* get_rdss_chip_cn_new();
