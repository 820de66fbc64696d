// Power and boot-mode commands: restart, power off, special boot modes, shipping mode, the APDP image. Not built yet:
// every name answers as an unknown one.
#include "ftm/ftm_power.h"

int ftm_diag_req_cmd_reboot(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_poweroff(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_dload(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_factoryresetdata(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_extendpoweroff(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_rebootftm(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_extendreboot(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_rebootedl(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_resetapdpdata(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int reset_apdp_data_from_nonhlos(int) { return -1; }
int ftm_diag_power_usb_present_for_shipmode() { return 1; }
void* ftm_reboot_thread(void*) { return nullptr; }
void* ftm_extendreboot_thread(void*) { return nullptr; }
void* ftm_poweroff_thread(void*) { return nullptr; }
void* ftm_extendpoweroff_thread(void*) { return nullptr; }
void* ftm_reboot_edl_thread(void*) { return nullptr; }
void* ftm_writefactorymode_thread(void*) { return nullptr; }
