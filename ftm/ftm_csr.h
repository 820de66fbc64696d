// The certificate signing request of remote key provisioning.
#pragma once

#include "ftm/ftm_command.h"

FtmCommandHandler ftm_diag_req_cmd_gen_csr;
FtmCommandHandler ftm_diag_req_cmd_get_csr;
FtmCommandHandler ftm_diag_req_cmd_get_md5_of_csr;
FtmCommandHandler ftm_diag_req_cmd_clear_csr_data;
