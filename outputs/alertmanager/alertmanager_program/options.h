// What the command line says.
#pragma once

#include <chrono>
#include <string>

#include "alerts/identity.h"
#include "delivery/access.h"
#include "telling_alerts/telling.h"

namespace polaiga::alertmanager {

struct Options {
  std::string ledger = "/var/lib/polaiga/ledger.db";
  std::string control;
  Peers peers;
  Identity identity;
  std::chrono::seconds resend{60};
  AccessFiles files;
};

}  // namespace polaiga::alertmanager
