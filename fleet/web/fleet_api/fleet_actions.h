// /api/v1/actions of a fleet.
#pragma once

#include "access/caller.h"
#include "fleet_picture/fleet_site.h"

namespace polaiga::web {

// POST asks controllers for an action, GET tells what became of such actions.
Response answer_fleet_action(FleetSite& site, const Request& request, const Caller& caller);

}  // namespace polaiga::web
