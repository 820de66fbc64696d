// Version and commit of what was built. The version stands here and nowhere else: the build reads it from this line.
#pragma once

#define VENDORDIAG_VERSION "1.0.0"

// "1.0.0 (15f7c50b1c2d)": the version and the commit it was built from, with "-dirty" when the tree held changes; the
// version alone when the build knew no commit.
const char* version_text();
