// Being told to stop in the middle of a run: what is under way is given up, reports are still written.
#pragma once

namespace vdiag {

// From now on SIGINT and SIGTERM are noted and end every wait; a second one ends the program.
void stop_on_signals();
// The signal that came, or 0.
int stop_signal();

// Waits, but no longer than until a signal comes.
void pause_ms(int milliseconds);

}  // namespace vdiag
