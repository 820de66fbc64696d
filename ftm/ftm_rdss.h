// The commands of the RDSS chip test.
#pragma once

#include "ftm/ftm_message.h"

FtmCommandHandler ftm_diag_req_cmd_startRchipTest;  // status 0: the chip is powered and its port open
FtmCommandHandler ftm_diag_req_cmd_stopRchipTest;   // status 0: the chip has left its test mode
FtmCommandHandler ftm_diag_req_cmd_closeRchipTest;  // status 0: power, port and antennas are off
FtmCommandHandler ftm_diag_req_cmd_sendRchipCN;     // message: text of the carrier-to-noise ratio
FtmCommandHandler ftm_diag_req_cmd_sendRchipNewCN;  // message: text of the ratio by the newer request
FtmCommandHandler ftm_diag_req_cmd_sendRchipCCTCQ;  // status 0: the chip has sent the test message
