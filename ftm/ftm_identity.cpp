// Device identity: MAC addresses, USB tag, named values, variant flag, DEFT switch, UDID, OMA-DM, country code, LCD
// current. Not built yet: every name answers as an unknown one.
#include "ftm/ftm_identity.h"

int ftm_diag_req_cmd_readwifimac(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writewifimac(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readbtmac(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writebtmac(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readusbtag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writeusbtag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readmhlver(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readvc(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writevc(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readvariantflag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writevariantflag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_clearvariantflag(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readdeft(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writedeft(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readudid(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writeudid(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readomadm(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writeomadm(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writecountrycode(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readcountrycode(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_writelcdcurrent(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_readlcdcurrent(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}
