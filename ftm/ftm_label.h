// The electronic network-access label, kept enciphered in the records orb_digital_label_A and orb_digital_label_B. The
// key comes from the model's name: ro.product.model or ro.product.vendor.model must have two characters. Below each
// command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and what it needs on the phone; what
// is not mentioned it has not. "persist" is persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "WriteEdigitalCode". Argument: text, the label, 1 to 31 characters. Needs: an open gate (ftm_auth.h).
FtmCommandHandler ftm_diag_req_cmd_writeDigitalCode;
// "ReadEdigitalCode". Message: text, 21 bytes of the deciphered blocks up to the first zero: a shorter label is
// followed by its padding. Needs: both records.
FtmCommandHandler ftm_diag_req_cmd_readDigitalCode;
