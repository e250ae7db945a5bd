// The program that does for a whole fleet what this one does for a server. It is one of its own beside this one, so
// that a server needs no library of databases.
#pragma once

#include <string>

namespace polaiga::output {

// Whether --fleet is among the words of the command line.
bool is_for_fleet(int argc, const char* const* argv);

// Becomes the program NAME-fleet beside this one, with the same words. Returns only when that is not possible, with the
// exit status.
int run_for_fleet(const std::string& name, char** argv);

}  // namespace polaiga::output
