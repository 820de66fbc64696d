// Network-access authentication: the factory tool proves that it holds the private half of the built-in key.
#pragma once

#include "ftm/ftm_message.h"

// "ElecAccessNetAuthen". Argument: byte, the mode. 1, version query; message: 4. 2, challenge; message: text, base64 of
// the enciphered challenge. 3, verification, and the SHA-256 of the challenge as 64 hexadecimal digits. 1: a failed
// step, another answer or another mode; byte 0 of the message is 0 then. Needs: the product's public key.
FtmCommandHandler ftm_diag_req_cmd_elec_access_network_authen;

// True once a verification has succeeded in this process: the digital label may be written.
bool ftm_label_gate_open();

constexpr int kRsaCipherSize = 256;  // bytes of a cipher by a 2048-bit key

// Encrypts `length` bytes with the RSA public key of a PEM text (PKCS#1 v1.5 padding) into `output` (kRsaCipherSize
// bytes). Returns the cipher's length, or a negative value (also for a key with longer ciphers).
int public_encrypt(const unsigned char* data, int length, const char* key_text, unsigned char* output);
