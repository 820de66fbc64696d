// The capacity text of a storage chip. Pure functions on text.
#pragma once

#include <cstdint>
#include <string_view>

// Capacity in GiB of a number of 512-byte sectors written in hexadecimal, with or without "0x"; 34 bits are kept.
uint64_t storage_capacity_gib(std::string_view sectors);

// The size that a chip of that capacity is sold under: the next power of two from 4 to 2048. 0 and anything larger stay
// as they are.
uint64_t storage_nominal_gib(uint64_t capacity);
