// Not built yet.
#include "platform/host/host.h"
#include "platform/include/diag.h"

extern "C" bool Diag_LSM_Init(uint8_t* reserved) { return reserved == nullptr; }

extern "C" bool Diag_LSM_DeInit() { return true; }

std::vector<std::string> host_diag_addresses() { return {}; }
