// The device's USB serial number.
#pragma once

#include "platform/include/diag.h"

// Subsystem 11, command 54; the request holds nothing. Response: u16 0 at 4, u16 length of the number at 6, u16 status
// at 8 (0 found, 1 not), from 10 on the number, terminated, at most 31 characters. 43 bytes, and as many more as the
// gadget's node has characters.
DiagHandler get_usb_serialno;

extern const DiagDispatchTable usb_serialno_table;
