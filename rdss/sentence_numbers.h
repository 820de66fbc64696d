// Number readers and the checksum of the RDSS chip's sentences.
#pragma once

#include <cstddef>
#include <string_view>

// Exclusive or of `size` bytes, as the two digits behind a sentence's "*" give it; 0 for none.
unsigned char nmea_checksum(const char* data, size_t size);

// Decimal value of a field, modulo 2^32; 0 for an empty field, -1 when a byte is no digit.
int str2int(std::string_view field);

// Value of a field by str_atof; 0 for a field that is empty or has 16 bytes or more.
double str2float(std::string_view field);

// Value of a terminated text, in single precision: digits before and behind the first "." count, a "-" anywhere before
// it makes the value negative, every other character is skipped. 0 for an empty text.
float str_atof(const char* text);
