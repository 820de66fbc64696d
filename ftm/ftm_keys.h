// Payment and content-protection keys, through the vendor's client programs.
#pragma once

#include "ftm/ftm_command.h"

FtmCommandHandler ftm_diag_req_cmd_GetSoterKey;
FtmCommandHandler ftm_diag_req_cmd_InjectAliPayKey;
FtmCommandHandler ftm_diag_req_cmd_GetEncryptInfo;
FtmCommandHandler ftm_diag_req_cmd_writeHDCP;
FtmCommandHandler ftm_diag_req_cmd_checkHDCP;
FtmCommandHandler ftm_diag_req_cmd_getbrandofwechatKey;
