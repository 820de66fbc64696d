// The built-in public key of the network-access authentication; its value is the build's choice.
#pragma once

// PEM text (SubjectPublicKeyInfo) of a 2048-bit RSA key.
extern const char kAuthPublicKey[];
