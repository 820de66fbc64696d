// Secure provisioning commands: fuses, RPMB key, token backup, Widevine and attestation keyboxes, boot flags. Not built
// yet: every name answers as an unknown one.
#include "ftm/ftm_secure.h"

int ftm_diag_req_cmd_readfuse(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writefuse(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_tokbackup(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_checkrpmbprovision(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_dorpmbprovision(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_installwidevinekey(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_checkwidevinekey(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writeveritycfg(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_rmavbrollback(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_installkeybox(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_checkkeybox(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}
