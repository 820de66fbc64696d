// The daemon's main program: start-up, then the main thread is parked for good.
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "daemon/startup.h"

int main() {
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever keeps these lines sees each as it is written
    if (vendor_diag_start() != 0) {
        return -1;
    }
    for (;;) {
        (void)sleep(UINT_MAX);  // no delay of a command: not to be scaled, so not through the seam
    }
}
