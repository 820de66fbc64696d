// Small text helpers of the client: hexadecimal, numbers, words of a line, likeness of names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vdiag {

using Bytes = std::vector<uint8_t>;

// Lower-case pairs, without or with `separator` between them.
std::string hex_text(const uint8_t* data, size_t size, std::string_view separator = "");
std::string hex_text(const Bytes& bytes, std::string_view separator = "");

// Reads hexadecimal digits in pairs; blanks, line ends, colons and one leading "0x" per word are skipped. No value:
// something else stood there or a digit was left over.
std::optional<Bytes> hex_parse(std::string_view text);

// Hexadecimal pieces, each so many times: "5a*120+6b62". No value: the text is not written so, or stands for more than
// 65535 bytes (a packet holds no more).
std::optional<Bytes> bytes_parse(std::string_view text);

bool begins_with(const Bytes& bytes, const Bytes& head);

// A decimal number or one with a leading 0x, no sign.
std::optional<uint64_t> number_parse(std::string_view text);

// A time such as "2", "0.5", "2s" or "300ms", in milliseconds (seconds without a unit).
std::optional<int> milliseconds_parse(std::string_view text);

bool equal_names(std::string_view left, std::string_view right);  // without regard to case

// Printable form of text from outside: other bytes appear as \n, \t or \xNN, a backslash as two.
std::string printable(std::string_view text);
// The reverse, and \0 for a zero byte. No value: an unknown escape.
std::optional<std::string> unescape(std::string_view text);
bool is_printable(std::string_view text);  // printable ASCII and UTF-8 only

// Text of ours that may hold text from outside, for a terminal: bytes and characters that steer it are escaped, line
// ends stay.
std::string terminal_text(std::string_view text);

// True when every byte sequence is well-formed UTF-8.
bool is_utf8(std::string_view text);

// Splits a line into words as a shell would: blanks, '...', "..." and backslashes. False: a quote is left open.
bool split_words(std::string_view line, std::vector<std::string>* words, std::string* error);

std::vector<std::string_view> split(std::string_view text, char separator);

// The number of single-letter changes between two names, without regard to case.
size_t edit_distance(std::string_view left, std::string_view right);

// The most alike of `names`, or nothing when none is alike.
std::string nearest(std::string_view name, const std::vector<std::string>& names);

// Writes all of it, whatever the pieces. False: errno says why.
bool write_all(int fd, std::string_view content);

// Reads a whole file ("-" is standard input). False: `error` says why.
bool file_read(const std::string& path, Bytes* content, std::string* error);
// Writes a whole file ("-" is standard output).
bool file_write(const std::string& path, std::string_view content, std::string* error);

}  // namespace vdiag
