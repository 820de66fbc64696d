// The RDSS chip test: power, antenna switches and the exchanges with the chip.
#pragma once

#include "ftm/ftm_command.h"

FtmCommandHandler ftm_diag_req_cmd_startRchipTest;
FtmCommandHandler ftm_diag_req_cmd_stopRchipTest;
FtmCommandHandler ftm_diag_req_cmd_closeRchipTest;
FtmCommandHandler ftm_diag_req_cmd_sendRchipCN;
FtmCommandHandler ftm_diag_req_cmd_sendRchipNewCN;
FtmCommandHandler ftm_diag_req_cmd_sendRchipCCTCQ;
