// Numbered factory commands (subsystem 253): board data, flags, operator and hardware ids, IMEI signature, keybox
// transfer. Offsets count from the packet's start; a response has its status, a u32, at 4 unless its line says
// otherwise: 0 done, 1 for a request that is too short, and what the line says. 7 to 9 are in mdlog.h, 3 and 4 in
// factory_info.h.
#pragma once

#include "platform/include/diag.h"

// 1. Board data. Response: 128 bytes at 8, zeros on failure. 1: not read. Needs: the board library, as all of 1, 2 and
// 16 to 18.
DiagHandler factory_diag_board_read_func;
// 2. Request: 128 bytes at 4, five bytes at least; what is missing is zero. 1: not written, 2: written but not
// synchronised.
DiagHandler factory_diag_board_write_func;
// 5. Response: u8 at 8, 1 when the flag is set; 9 to 11 are unwritten.
DiagHandler factory_diag_manufacture_flag_check_func;
// 6. Reports only that it ran.
DiagHandler factory_diag_manufacture_flag_clear_func;
// 13. Response: u32 at 8, the master operator's id, u32 at 12, the slave's; 0 for one that is not set. 3: no master.
DiagHandler factory_diag_get_operator_info;
// 12. Request: u32 at 4, the master operator's id, u32 at 8, the slave's. Reports only that it ran.
DiagHandler factory_diag_set_operator_info;
// 14. Response: u32 at 8, 0 on failure. 3: the modem has none, the store has another, or does not take it. A store
// without one gets the modem's. Needs: the modem.
DiagHandler factory_diag_get_hw_board_id;
// 15. Request: u32 at 4. 3: the store does not take it, or the modem does not, and then the store has it. Needs: the
// modem.
DiagHandler factory_diag_set_hw_board_id;
// 16. As 1, of the modem configuration (MCF).
DiagHandler factory_diag_mcf_read_func;
// 17. As 2, of the same.
DiagHandler factory_diag_mcf_write_func;
// 18. As 1, of the second one (CCF), which is only read.
DiagHandler factory_diag_ccf_check_func;
// 19. Response: 32 bytes at 8, SHA-256 of the IMEI's 15 digits, unwritten on failure. 3: no IMEI. Needs: the modem.
DiagHandler factory_diag_imei_hash_read_func;
// 20. Request: 256 bytes of signature at 4. 3: not encoded or not stored; what was stored until then stays.
DiagHandler factory_diag_imei_sign_write_func;
// 21. Response: u32 at 8, 1 when no signature is known, which is to say no record imei.sign.1.
DiagHandler factory_diag_imei_sign_status_read_func;
// 22. Erases every record of the store but the reserved ones. Reports only that it ran.
DiagHandler factory_diag_clean_imei_sign_func;
// 23. Request: u32 at 4, the type. Response: u32 at 8, 1 for type 1, else 0.
DiagHandler factory_diag_get_operation_by_type_func;
// 24. Keybox transfer. Request: u32 at 4, 1 to write. Response: u32 handle at 4, u32 status at 8. 3: not opened, or 16
// handles are out; the handle is unwritten then. Another mode gives the handle -1 and status 0.
DiagHandler factory_diag_open_handler;
// 25. Request: u32 handle at 4. 3: no handle of the keybox file, or not durable.
DiagHandler factory_diag_close_handler;
// 26. Request: u32 handle at 4, u32 offset at 8, data from 12 on. Response: handle and offset again, u32 bytes written
// at 12 (-1: not all), u32 status at 16. 3: no handle of the keybox file, or not written.
DiagHandler factory_diag_write_handler;

extern const DiagDispatchTable factory_diag_table;

// Stores `length` bytes of IMEI signature, base64 encoded, in configuration records of 31 characters. 1, or -1.
int set_imei_sign(const unsigned char* signature, int length);
