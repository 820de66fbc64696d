// The commands of the RDSS chip test; see rdss/chip_test.h. Below each command its argument, its message, its statuses
// beyond 0 (done) and 1 (failed), and what it needs on the phone; what is not mentioned it has not. "persist" is
// persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "startrchiptest". 0: the chip is powered and its port open. Needs: the nodes of orb_rchip, /dev/ttyHS1.
FtmCommandHandler ftm_diag_req_cmd_startRchipTest;
// "stopRchiptest". 0: the chip has left its test mode. Needs: a started test, as the ones below.
FtmCommandHandler ftm_diag_req_cmd_stopRchipTest;
// "closerchiptest". 0: power, port and antennas are off.
FtmCommandHandler ftm_diag_req_cmd_closeRchipTest;
// "sendRchipCN". Message: text of the carrier-to-noise ratio, without a terminator of its own.
FtmCommandHandler ftm_diag_req_cmd_sendRchipCN;
// "sendRchipNEWCN". The same by the newer request.
FtmCommandHandler ftm_diag_req_cmd_sendRchipNewCN;
// "sendrchipCCTCQ". 0: the chip has sent the test message.
FtmCommandHandler ftm_diag_req_cmd_sendRchipCCTCQ;
