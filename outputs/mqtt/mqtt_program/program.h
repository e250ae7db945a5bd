// The program polaiga-mqtt.
#pragma once

namespace polaiga::mqtt {

// Answers with the exit status.
int run_program(int argc, const char* const* argv);

}  // namespace polaiga::mqtt
