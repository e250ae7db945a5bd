// The program polaiga-ipmi.
#pragma once

namespace polaiga::ipmi {

// Answers with the exit status.
int run_program(int argc, const char* const* argv);

}  // namespace polaiga::ipmi
