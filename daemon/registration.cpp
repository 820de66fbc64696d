// What is registered at start-up. The order decides nothing at dispatch, for no command stands in two tables; the log
// and standard output show it.
#include "daemon/registration.h"

#include <cstdio>
#include <initializer_list>

#include "buildinfo/bebiod.h"
#include "buildinfo/sw_version.h"
#include "factory/ap_commands.h"
#include "factory/factory_diag.h"
#include "factory/factory_info.h"
#include "factory/mdlog.h"
#include "ftm/ftm_control.h"
#include "ftm/ftm_dispatch.h"
#include "ftm/ftm_properties.h"
#include "ftm/ftm_usb_serial.h"
#include "peripheral/key_test.h"
#include "peripheral/led_test.h"
#include "peripheral/nfc_audio.h"
#include "platform/include/diag.h"
#include "platform/include/log.h"

namespace {

constexpr int kPublishAll = 2;  // mode of init_prop_from_xml

void register_tables(std::initializer_list<const DiagDispatchTable*> tables) {
    for (const DiagDispatchTable* table : tables) {
        diagpkt_tbl_reg(table);
    }
}

// Named as it stands in the log.
void ftm_diag_init() {
    ALOGD("%s: e\n", __func__);
    register_tables({
        &ftm_diag_table,
        &ftm_diag_nfc_table,
        &ftm_diag_audio_table,
        &control_diag_table,
        &usb_serialno_table,
        &ftm_diag_led_table,
        &ftm_diag_key_table,
        &diag_factory_info_table,
    });
    init_prop_from_xml(kPublishAll);
    ftm_diag_set_countrycode_prop();
    ftm_diag_set_fanlight_prop();
    ftm_diag_set_lcdcurrent_prop();
    ALOGD("%s: enter loop...\n", __func__);
}

}  // namespace

void register_commands() {
    register_tables({&bebiod_diag_table, &factory_diag_table, &diag_AP_battery_table, &diag_AP_sdcard_table});
    mdlog_init();
    ftm_diag_init();
    puts("\norb_ftm_build_info_register_init called ");
    register_tables({&sw_version_table});
}
