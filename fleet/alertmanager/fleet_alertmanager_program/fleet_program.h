// The program polaiga-alertmanager-fleet.
#pragma once

namespace polaiga::alertmanager {

// Answers with the exit status.
int run_fleet_program(int argc, const char* const* argv);

}  // namespace polaiga::alertmanager
