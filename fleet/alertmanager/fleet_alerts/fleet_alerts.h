// What Alertmanagers are told of a fleet: one alert for each group of alarms, and one for each alarm that is in none,
// that of a silent controller among them.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "alerts/alert.h"
#include "database/database.h"

namespace polaiga::alertmanager {

// By their labels.
using AlertsByLabels = std::map<std::string, AlertPointer>;

struct FleetAlerts {
  AlertsByLabels alerts;
  bool is_cut = false;  // there are more, and the worst are here
};

// So many groups, and so many alarms that are in none.
inline constexpr std::size_t kMostGroupAlerts = 5'000;
inline constexpr std::size_t kMostAlarmAlerts = 20'000;

// Reads what is active now and silenced by nobody. A new alarm waits until the collectors have looked whether it
// belongs to a group, two minutes at most. `page_url` is that of the fleet's page; "": there is none. Throws
// DatabaseAway and DatabaseRefuses.
FleetAlerts read_fleet_alerts(fleet::Database& database, const std::string& page_url,
                              std::size_t most_groups = kMostGroupAlerts, std::size_t most_alarms = kMostAlarmAlerts);

}  // namespace polaiga::alertmanager
