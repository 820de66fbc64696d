// Software version responses: internal and display version with the build's date and time.
#pragma once

#include "platform/include/diag.h"

// Top-level commands; the request holds nothing. A version fills at most 30 bytes, and has no terminator then; a date
// is "YYYYMMDD", a time "HHMMSS", both zeros when ro.build.date is in another form.
DiagHandler sw_version_handler;      // 56: 52 bytes; internal version at 1, date at 31, time at 43
DiagHandler sw_out_version_handler;  // 60: 52 bytes; the same with the display version
DiagHandler sw_version_ex_handler;   // 57: 294 bytes; display version at 1, internal at 31, date at 271, time at 284

extern const DiagDispatchTable sw_version_table;

// Turns "Tue Jan 10 12:34:56 CST 2023" into "20230110" (`date`, 9 bytes) and "123456" (`time`, 7 bytes), terminated.
// The two colons of `text` become blanks. Returns 0, -1 for a wrong length or wrong separators, -2 for an unknown
// month, -3 when the fields cannot be read.
int extract_format_from_linux_date_string(char* text, char* date, char* time);
