// The customer variant flag. Each function returns 1 on success; on failure the flag is as it was, and what the getter
// should have stored is not looked at.
#pragma once

constexpr int kVariantFlagSize = 32;  // bytes of the buffer that the getter fills

// Stores the flag's text, terminated, in `flag` (kVariantFlagSize bytes); fails when no flag is set.
extern "C" int getCustVariantFlag(char* flag);
// Sets the flag: at most kVariantFlagSize - 1 characters, longer texts never get here.
extern "C" int setCustVariantFlag(const char* flag);
// Clears it, whether or not one is set.
extern "C" int clearVariantFlag();
