// The carrier's return-to-new menu.
#pragma once

#include "platform/include/diag.h"

DiagHandler bebiod_diag_handle;

extern const DiagDispatchTable bebiod_diag_table;

// The menu as a response, and the record written from a request; the response or null.
void* bebiod_diag_get_rtn_menu();
void* bebiod_diag_set_rtn_menu(const void* request, uint16_t length);
