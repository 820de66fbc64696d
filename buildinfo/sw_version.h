// Software version responses: internal and display version with the build's date and time.
#pragma once

#include "platform/include/diag.h"

DiagHandler sw_version_handler;      // command 56: internal version
DiagHandler sw_out_version_handler;  // command 60: display version
DiagHandler sw_version_ex_handler;   // command 57: both

extern const DiagDispatchTable sw_version_table;

// Turns "Tue Jan 10 12:34:56 CST 2023" into "20230110" (`date`, 9 bytes) and "123456" (`time`, 7 bytes), terminated.
// The two colons of `text` become blanks. Returns 0, -1 for a wrong length or wrong separators, -2 for an unknown
// month, -3 when the fields cannot be read.
int extract_format_from_linux_date_string(char* text, char* date, char* time);
