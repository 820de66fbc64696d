// The carrier's return-to-new menu.
#pragma once

#include "platform/include/diag.h"

// Top-level command 246; request byte 1: 6 resets the phone, 11 asks for the menu, 12 writes the refurbishment record,
// 15 resets the menu. What it does not know, or has no answer to, it echoes.
DiagHandler bebiod_diag_handle;

extern const DiagDispatchTable bebiod_diag_table;

// The menu as a response of 127 bytes, or null. Needs: the modem's item 1009, without which its fields are zero.
void* bebiod_diag_get_rtn_menu();
// Request: u8 status at 2, u8 month at 3, u8 day at 4, u16 year at 5. Response: 246, 12, u8 0 written, 1 not (too
// short, no such day, or the modem does not take it); or null.
void* bebiod_diag_set_rtn_menu(const void* request, uint16_t length);
