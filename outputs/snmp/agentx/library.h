// libsnmp, kept from everything that a program did not ask it for: configuration files, MIBs, files in which it
// remembers things, and messages of its own.
#pragma once

#include <functional>
#include <string>

namespace polaiga::snmp {

// Prepares the library, once in a process. What it has to say is given to `tell`.
void prepare_library(std::function<void(const std::string&)> tell);

}  // namespace polaiga::snmp
