// Modem log capture. Not built yet: nothing is answered.
#include "factory/mdlog.h"

void* factory_diag_log_start(const void*, uint16_t) { return nullptr; }
void* factory_diag_log_stop(const void*, uint16_t) { return nullptr; }
void* factory_diag_log_clear(const void*, uint16_t) { return nullptr; }
int mdlog_init() { return 1; }
