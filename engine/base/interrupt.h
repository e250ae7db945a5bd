// Ctrl-C, taken as a wish to stop at the next line.
#pragma once

namespace polaiga::engine {

// From now on SIGINT is noted; a second one kills the process as ever.
void watch_for_interrupt();

bool interrupted();

// Becomes readable on an interrupt, so that a wait can end with it; -1 before
// the watch has begun.
int interrupt_fd();

}  // namespace polaiga::engine
