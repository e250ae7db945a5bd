// Ctrl-C (SIGINT) asks a command to stop at the next line.
#pragma once

namespace polaiga::engine {

// From now on the first SIGINT is only noted. A second one ends the process, as it
// would without this.
void watch_for_interrupt();

bool interrupted();

// A descriptor that becomes readable on an interrupt, so that poll() can wait for it,
// too. -1 before watch_for_interrupt().
int interrupt_fd();

}  // namespace polaiga::engine
