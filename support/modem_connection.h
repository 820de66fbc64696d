// The connection to the modem, opened in the background at start-up.
#pragma once

// Starts the thread that opens the QMI connection (20 attempts, one second apart). A failure is only logged.
void vendor_diag_modem_api_init();

// Body of that thread. Ignores its argument, returns null.
void* vendor_diag_modem_api_init_proc(void* arg);

// 1 once the connection is open, else 0. Never goes back to 0.
unsigned char is_qmi_init_done();
