// Taking the phone down: the kernel's own calls.
#include "platform/include/power.h"

#include <sys/reboot.h>
#include <unistd.h>

int device_reboot(int cmd) { return reboot(cmd); }
void device_sync() { sync(); }
