// The vendor's utility libraries: board data, manufacture flag, configuration service, storage paths, base64.
#pragma once

constexpr int kBoardRecordSize = 128;  // bytes of the board, MCF and CCF records

// Board data. A getter fills `buffer` (`*length` bytes of room on entry, always kBoardRecordSize and never to be
// exceeded; what it stored on return) and returns 1 on success; a shorter record leaves the rest as it was, which is
// zero. A setter takes kBoardRecordSize bytes and returns 0 on failure, 2 when the data could not be synchronised, any
// other value on success.
extern "C" int get_board_id(unsigned char* buffer, int* length);
extern "C" int set_board_id(const unsigned char* data, int length);
extern "C" int get_mcf(unsigned char* buffer, int* length);
extern "C" int set_mcf(const unsigned char* data, int length);
extern "C" int get_ccf(unsigned char* buffer, int* length);

// The manufacture flag; only the low byte of the getter's result counts, 0 standing for cleared. The setter returns 0
// on success; the daemon only ever clears it.
extern "C" int log_control_get_flag();
extern "C" int log_control_set_flag(int flag);

// Integers of the platform configuration service, 32 bits wide. Negative: not there (`*value` is as it was), or not
// stored.
extern "C" int cfg_service_get_int(const char* name, int* value);
extern "C" int cfg_service_set_int(const char* name, int value);

// Root directory of the storage that `selector` (0: internal) names; static text.
extern "C" const char* sdcard_path_get_internal(int selector);

// Writes the base64 text of `length` bytes, terminated, to `out` (room for 4 * ceil(length / 3) + 1 bytes). Returns the
// text's length, or a negative value on error.
extern "C" int vendor_utils_base64_encode(const unsigned char* data, int length, char* out);
