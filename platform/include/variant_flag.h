// The customer variant flag. Each function returns 1 on success.
#pragma once

constexpr int kVariantFlagSize = 32;  // bytes of the buffer that the getter fills

// Stores the flag's text, terminated, in `flag`; fails when no flag is set.
extern "C" int getCustVariantFlag(char* flag);
extern "C" int setCustVariantFlag(const char* flag);
extern "C" int clearVariantFlag();
