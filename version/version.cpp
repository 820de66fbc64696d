#include "version/version.h"

// Written by the host's build; the platform's build system knows no commit.
#if __has_include("generated/version_commit.h")
#include "generated/version_commit.h"
#endif

#ifdef VENDORDIAG_COMMIT
const char* version_text() { return VENDORDIAG_VERSION " (" VENDORDIAG_COMMIT ")"; }
#else
const char* version_text() { return VENDORDIAG_VERSION; }
#endif
