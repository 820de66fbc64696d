// The password that unlocks the eSIM functions: stored as a digest in the record orb.esim.unlock, set once, deleted
// before it is set anew. Below each command its argument, its message, its statuses beyond 0 (done) and 1 (failed), and
// what it needs on the phone; what is not mentioned it has not. "persist" is persist_dir().
#pragma once

#include "ftm/ftm_message.h"

// "DeleteUnlockESIM". Message: 0, or 1 when the record could not be removed. None to remove is a success.
FtmCommandHandler ftm_diag_req_cmd_DeleteUnlockESIMpwd;
// "WriteUnlockESIM". Argument: byte n, n bytes of password. Message: 0, or the reason of a failure: 1 empty, 2 longer
// than 50 bytes, 3 there is one already, 4 not stored.
FtmCommandHandler ftm_diag_req_cmd_WriteUnlockESIMpwd;
// "CheckUnlockESIM". Argument: as above. Message: 0, or the reason of a failure: 1 and 2 as above, 3 there is none, 4
// another one.
FtmCommandHandler ftm_diag_req_cmd_CheckUnlockESIMpwd;

// MD5 of a text as 32 lower-case hexadecimal digits and a terminator (33 bytes).
void ftm_diag_orb_md5(const char* text, char* output);
