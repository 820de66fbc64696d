// Network-access authentication, the digital label and the eSIM unlock password.
#pragma once

#include "ftm/ftm_command.h"

FtmCommandHandler ftm_diag_req_cmd_DeleteUnlockESIMpwd;
FtmCommandHandler ftm_diag_req_cmd_WriteUnlockESIMpwd;
FtmCommandHandler ftm_diag_req_cmd_CheckUnlockESIMpwd;
FtmCommandHandler ftm_diag_req_cmd_elec_access_network_authen;
FtmCommandHandler ftm_diag_req_cmd_writeDigitalCode;
FtmCommandHandler ftm_diag_req_cmd_readDigitalCode;

// Encrypts `length` bytes with the RSA public key of a PEM text (PKCS#1 v1.5 padding). Returns the cipher's length
// (the key's size), or a negative value.
int public_encrypt(const unsigned char* data, int length, const char* key_text, unsigned char* output);

// MD5 of a text as 32 lower-case hexadecimal digits and a terminator (33 bytes).
void ftm_diag_orb_md5(const char* text, char* output);
