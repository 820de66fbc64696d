// The daemon's main program: start-up, then the main thread is parked for good.
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include "daemon/startup.h"
#include "version/version.h"

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        return printf("vendordiag %s\n", version_text()) < 0 ? 1 : 0;
    }
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever keeps these lines sees each as it is written
    if (vendor_diag_start() != 0) {
        return -1;
    }
    for (;;) {
        (void)sleep(UINT_MAX);  // no delay of a command: not to be scaled, so not through the seam
    }
}
