// What the program is asked to do.
#pragma once

#include <cstdint>
#include <string>

#include "oids/numbers.h"

namespace polaiga::snmp {

struct Options {
  std::string ledger;
  std::string control;
  std::string agentx = "unix:/var/agentx/master";
  std::uint32_t enterprise = kDocumentationEnterprise;
  int heartbeat = 60;  // seconds; 0: none

  // The path of the master's socket.
  std::string master() const { return agentx.substr(agentx.find(':') + 1); }
};

}  // namespace polaiga::snmp
