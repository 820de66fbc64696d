// Hardware information and sensor results; read only. Not built yet: every name answers as an unknown one.
#include "ftm/ftm_hardware.h"

int ftm_diag_req_cmd_get_emmc(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_get_ddr(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readhwver(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readboardid(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readdevice(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_reademmcid(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readeid(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetNfcCplc(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetLightData(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetLightData2(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetTofData(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetProximityNoise(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetVibrateData(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_GetAPPLET(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_SeReset(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readsecpatch(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}
