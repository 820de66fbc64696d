// The modem-API library: QMI requests to the modem. Every function returns 0 on success; any other value is a failure,
// which leaves what it should have stored unlooked at. Calls wait for the modem and hold up every request behind them:
// the library's own time limits are the only ones. All come from the diag library's thread, one at a time, but the
// connection of the start-up, which a thread of its own opens while requests may already be served.
#pragma once

#include <cstdint>

// Room for the text of a modem property and its terminator.
constexpr int kModemPropertyMax = 128;

// Opens a QMI connection. The two numbers are the library's own and are passed as its callers fixed them: 228 and 1 by
// the thread of the start-up (up to 20 times, a second apart), 11 and 1 by the commands that read the eUICC identifier
// and the SIM tray, each time anew. Must bear being called while a connection is open; nothing ever closes one.
extern "C" int modem_api_init_qmi_connection(int client, int flags);

// Reads EFS item `item` into `buffer`; `*length` holds the buffer's size (64) on entry and the number of bytes stored
// on success, never more than that size.
extern "C" int modem_read_efs(int item, void* buffer, int* length);

// Replaces EFS item `item` by `length` bytes (what was read before, at most 64; 64 when nothing could be read).
extern "C" int modem_write_efs(int item, const void* buffer, int length);

// Stores the version of the preferred roaming list.
extern "C" int modem_get_prl_version(uint16_t* version);

// Stores the 15 digits of the IMEI, terminated, in `imei` of `size` (16) bytes.
extern "C" int modem_get_imei(char* imei, int size);

// Stores the card-status record: four bytes, the second of slot 1, the third of slot 2.
extern "C" int modem_get_all_cards_status(uint8_t* record);

// Stores the state of the SIM tray, one byte that goes to the tool as it is.
extern "C" int modem_api_get_sim_tray_presence_state(uint8_t* state);

// Restores the modem's QCN data: the one step of the factory reset that cannot be taken back.
extern "C" int modem_restore_qcn_data();

// Hands the DEFT switch text (`length` characters, 1, and a terminator behind them) to the modem.
extern "C" int modem_write_deft_info(const char* value, int length);

// Stores the eUICC identifier; `*length` is 16 on entry (the buffer's size, never to be exceeded) and on success.
extern "C" int modem_api_get_uim_eid(uint8_t* eid, int* length);

// Stores the terminated text of a modem property in `value` (kModemPropertyMax bytes).
extern "C" int modem_api_get_modem_property_sync(const char* name, char* value);

// Sets a modem property to the decimal text of `value`, and returns when the modem has it.
extern "C" int modem_api_set_modem_property_int_sync(const char* name, int value);
