// The start-up sequence.
#include "daemon/startup.h"

#include "buildinfo/bebiod.h"
#include "buildinfo/sw_version.h"
#include "factory/factory_diag.h"
#include "ftm/ftm_dispatch.h"
#include "platform/include/diag.h"
#include "platform/include/log.h"
#include "support/modem_connection.h"

int vendor_diag_start() {
    vendor_diag_modem_api_init();
    if (!Diag_LSM_Init(nullptr)) {
        ALOGE("Diag_LSM_Init() failed.");
        return -1;
    }
    // A registration that fails does not stop the ones behind it.
    if (!bebiod_diag_init()) {
        ALOGE("bebiod_diag_init failed");
    }
    if (!factory_diag_init()) {
        ALOGE("factory_diag_init failed");
    }
    if (ftm_diag_init() == 0) {
        ALOGE("ftm_diag_init failed");
    }
    orb_ftm_build_info_register_init();
    return 0;
}
