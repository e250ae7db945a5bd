// The program polaiga-snmp.
#pragma once

namespace polaiga::snmp {

// Answers with the exit status.
int run_program(int argc, const char* const* argv);

}  // namespace polaiga::snmp
