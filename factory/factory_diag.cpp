// Numbered factory commands: board data, flags, operator and hardware ids, IMEI signature, keybox transfer. Not built
// yet: nothing is answered.
#include "factory/factory_diag.h"

#include "daemon/diag_packet.h"
#include "factory/ap_commands.h"
#include "factory/mdlog.h"

void* factory_diag_board_read_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_board_write_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_manufacture_flag_check_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_manufacture_flag_clear_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_get_operator_info(const void*, uint16_t) { return nullptr; }
void* factory_diag_set_operator_info(const void*, uint16_t) { return nullptr; }
void* factory_diag_get_hw_board_id(const void*, uint16_t) { return nullptr; }
void* factory_diag_set_hw_board_id(const void*, uint16_t) { return nullptr; }
void* factory_diag_mcf_read_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_mcf_write_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_ccf_check_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_imei_hash_read_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_imei_sign_write_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_imei_sign_status_read_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_clean_imei_sign_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_get_operation_by_type_func(const void*, uint16_t) { return nullptr; }
void* factory_diag_open_handler(const void*, uint16_t) { return nullptr; }
void* factory_diag_close_handler(const void*, uint16_t) { return nullptr; }
void* factory_diag_write_handler(const void*, uint16_t) { return nullptr; }

namespace {
constexpr DiagDispatchEntry factory_diag_entries[] = {
    {1, 1, factory_diag_board_read_func},
    {2, 2, factory_diag_board_write_func},
    {5, 5, factory_diag_manufacture_flag_check_func},
    {6, 6, factory_diag_manufacture_flag_clear_func},
    {7, 7, factory_diag_log_start},
    {8, 8, factory_diag_log_stop},
    {9, 9, factory_diag_log_clear},
    {13, 13, factory_diag_get_operator_info},
    {12, 12, factory_diag_set_operator_info},
    {14, 14, factory_diag_get_hw_board_id},
    {15, 15, factory_diag_set_hw_board_id},
    {16, 16, factory_diag_mcf_read_func},
    {17, 17, factory_diag_mcf_write_func},
    {18, 18, factory_diag_ccf_check_func},
    {19, 19, factory_diag_imei_hash_read_func},
    {20, 20, factory_diag_imei_sign_write_func},
    {21, 21, factory_diag_imei_sign_status_read_func},
    {22, 22, factory_diag_clean_imei_sign_func},
    {23, 23, factory_diag_get_operation_by_type_func},
    {24, 24, factory_diag_open_handler},
    {25, 25, factory_diag_close_handler},
    {26, 26, factory_diag_write_handler},
};
constexpr DiagDispatchTable factory_diag_table = diag_table(253, factory_diag_entries);
}  // namespace

bool factory_diag_init() {
    diagpkt_tbl_reg(&factory_diag_table);
    diagpkt_tbl_reg(&diag_AP_battery_table);
    diagpkt_tbl_reg(&diag_AP_sdcard_table);
    mdlog_init();
    return true;
}

int set_imei_sign(const unsigned char*, int) { return -1; }
