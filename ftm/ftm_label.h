// The electronic network-access label, kept enciphered in two configuration records.
#pragma once

#include "ftm/ftm_command.h"

// The argument is the label's text, 1 to 31 characters; needs an open gate (ftm_auth.h).
FtmCommandHandler ftm_diag_req_cmd_writeDigitalCode;
FtmCommandHandler ftm_diag_req_cmd_readDigitalCode;
