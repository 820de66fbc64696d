// The start-up sequence: modem connection, diag service, registration of every table.
#pragma once

// Runs the start-up. Returns 0 with every table registered, or -1 when the diag service cannot be attached.
int vendor_diag_start();
