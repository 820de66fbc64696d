// The start-up sequence.
#include "daemon/startup.h"

#include "daemon/registration.h"
#include "platform/include/diag.h"
#include "platform/include/log.h"
#include "support/modem_connection.h"

int vendor_diag_start() {
    vendor_diag_modem_api_init();
    if (!Diag_LSM_Init(nullptr)) {
        ALOGE("Diag_LSM_Init() failed.");
        return -1;
    }
    register_commands();
    return 0;
}
