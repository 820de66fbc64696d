// The certificate signing request of remote key provisioning. Not built yet: every name answers as an unknown one.
#include "ftm/ftm_csr.h"

int ftm_diag_req_cmd_gen_csr(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_get_csr(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_get_md5_of_csr(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}

int ftm_diag_req_cmd_clear_csr_data(const char*, const unsigned char*, unsigned char*, unsigned char* rsp_status) {
    *rsp_status = kFtmUnknown;
    return 0;
}
