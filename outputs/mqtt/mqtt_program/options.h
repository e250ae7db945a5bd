// What the command line says.
#pragma once

#include <string>

#include "broker/settings.h"
#include "messages/payloads.h"
#include "telling/change_window.h"

namespace polaiga::mqtt {

struct Options {
  std::string ledger;
  std::string control;
  Settings settings;
  Origin origin;
  ConfirmedBy confirmed_by = ConfirmedBy::kBroker;
  int heartbeat = 30;            // seconds
  bool accepts_actions = false;  // of operators of the fleet
  bool tells_list = true;        // the pages of the active alarms
};

}  // namespace polaiga::mqtt
