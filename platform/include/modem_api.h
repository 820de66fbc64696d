// The modem-API library: QMI requests to the modem. Every function returns 0 on success unless said otherwise.
#pragma once

#include <cstdint>

// Room for the text of a modem property and its terminator.
constexpr int kModemPropertyMax = 128;

// Opens a QMI connection. The two numbers are the library's own and are passed as its callers fixed them.
extern "C" int modem_api_init_qmi_connection(int client, int flags);

// Reads EFS item `item` into `buffer`; `*length` holds the buffer's size on entry and the item's length on success.
extern "C" int modem_read_efs(int item, void* buffer, int* length);

// Replaces EFS item `item` by `length` bytes.
extern "C" int modem_write_efs(int item, const void* buffer, int length);

extern "C" int modem_get_prl_version(uint16_t* version);

// Stores the 15 digits of the IMEI, terminated, in `imei` of `size` (at least 16) bytes.
extern "C" int modem_get_imei(char* imei, int size);

// Stores the card-status record: four bytes, the second of slot 1, the third of slot 2.
extern "C" int modem_get_all_cards_status(uint8_t* record);

extern "C" int modem_api_get_sim_tray_presence_state(uint8_t* state);

// Restores the modem's QCN data.
extern "C" int modem_restore_qcn_data();

// Hands the DEFT switch text (`length` characters) to the modem.
extern "C" int modem_write_deft_info(const char* value, int length);

// Stores the eUICC identifier; `*length` is 16 on entry (the buffer's size) and on success.
extern "C" int modem_api_get_uim_eid(uint8_t* eid, int* length);

// Stores the terminated text of a modem property in `value` (kModemPropertyMax bytes).
extern "C" int modem_api_get_modem_property_sync(const char* name, char* value);

extern "C" int modem_api_set_modem_property_int_sync(const char* name, int value);
