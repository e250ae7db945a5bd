// The program polaiga-collector.
#pragma once

namespace polaiga::fleet {

// Its exit status.
int run_collector(int argc, const char* const* argv);

}  // namespace polaiga::fleet
