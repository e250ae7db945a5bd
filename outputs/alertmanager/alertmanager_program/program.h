// The program.
#pragma once

namespace polaiga::alertmanager {

// Returns the exit status.
int run_program(int argc, const char* const* argv);

}  // namespace polaiga::alertmanager
