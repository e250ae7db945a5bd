// What the command line says.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "delivery/access.h"
#include "delivery/address.h"

namespace polaiga::alertmanager {

struct FleetOptions {
  std::string database;  // URL
  std::vector<Address> alertmanagers;
  std::string page_url;  // "": there is no page
  std::chrono::seconds resend{60};
  std::chrono::seconds every{10};
  AccessFiles files;
};

// Nothing: the program is to end with `status`, since help or the version was asked for, or the options are wrong.
std::optional<FleetOptions> read_fleet_options(int argc, const char* const* argv, int& status);

}  // namespace polaiga::alertmanager
