// Numbered factory commands: board data, flags, operator and hardware ids, IMEI signature, keybox transfer.
#pragma once

#include "platform/include/diag.h"

DiagHandler factory_diag_board_read_func;
DiagHandler factory_diag_board_write_func;
DiagHandler factory_diag_manufacture_flag_check_func;
DiagHandler factory_diag_manufacture_flag_clear_func;
DiagHandler factory_diag_get_operator_info;
DiagHandler factory_diag_set_operator_info;
DiagHandler factory_diag_get_hw_board_id;
DiagHandler factory_diag_set_hw_board_id;
DiagHandler factory_diag_mcf_read_func;
DiagHandler factory_diag_mcf_write_func;
DiagHandler factory_diag_ccf_check_func;
DiagHandler factory_diag_imei_hash_read_func;
DiagHandler factory_diag_imei_sign_write_func;
DiagHandler factory_diag_imei_sign_status_read_func;
DiagHandler factory_diag_clean_imei_sign_func;
DiagHandler factory_diag_get_operation_by_type_func;
DiagHandler factory_diag_open_handler;
DiagHandler factory_diag_close_handler;
DiagHandler factory_diag_write_handler;

extern const DiagDispatchTable factory_diag_table;

// Stores `length` bytes of IMEI signature, base64 encoded, in configuration records of 31 characters. 1, or -1.
int set_imei_sign(const unsigned char* signature, int length);
