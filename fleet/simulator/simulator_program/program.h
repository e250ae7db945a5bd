#pragma once

namespace polaiga::fleet {

int run_simulator(int argc, const char* const* argv);

}  // namespace polaiga::fleet
