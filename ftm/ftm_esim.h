// The password that unlocks the eSIM functions: stored as a digest, set once, deleted before it is set anew.
#pragma once

#include "ftm/ftm_command.h"

// Message byte 0 gives the reason of a failure: 1 empty password (or failed removal), 2 longer than 50 bytes, 3 already
// set (write) or none set (check), 4 not stored (write) or another one (check).
FtmCommandHandler ftm_diag_req_cmd_DeleteUnlockESIMpwd;
FtmCommandHandler ftm_diag_req_cmd_WriteUnlockESIMpwd;
FtmCommandHandler ftm_diag_req_cmd_CheckUnlockESIMpwd;

// MD5 of a text as 32 lower-case hexadecimal digits and a terminator (33 bytes).
void ftm_diag_orb_md5(const char* text, char* output);
