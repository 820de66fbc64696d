// Modem log capture: launches and stops the platform's log collector.
#pragma once

#include "platform/include/diag.h"

DiagHandler factory_diag_log_start;
DiagHandler factory_diag_log_stop;
DiagHandler factory_diag_log_clear;

// At start-up: sets the collector's file size and forgets the log directory.
void mdlog_init();
// Sets the log directory (cut at 255 bytes; null: ignored).
void mdlog_set_log_file_path(const char* directory);
// Starts the collector; `selector` names the storage whose root is used when no directory was set.
bool mdlog_start(int selector);
bool mdlog_stop();
// 1 between a successful start and a successful stop, as far as this process knows.
unsigned char mdlog_is_run();
