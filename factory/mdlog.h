// Modem log capture: launches and stops the platform's log collector.
#pragma once

#include "platform/include/diag.h"

// Subsystem 253. Responses have a u32 status at 4: 0 done, 1 a request that is too short, 3 a collector that the shell
// did not start or stop.
DiagHandler factory_diag_log_start;  // 7: captures to /cache/logs/factorylog; 0 as well while a capture runs
DiagHandler factory_diag_log_stop;   // 8: 0 as well when none runs
DiagHandler factory_diag_log_clear;  // 9: empties that directory; reports only that it ran

// At start-up: sets the collector's file size and forgets the log directory.
void mdlog_init();
// Sets the log directory (cut at 255 bytes; null: ignored).
void mdlog_set_log_file_path(const char* directory);
// Starts the collector; `selector` names the storage whose root is used when no directory was set.
bool mdlog_start(int selector);
bool mdlog_stop();
// 1 between a successful start and a successful stop, as far as this process knows.
unsigned char mdlog_is_run();
