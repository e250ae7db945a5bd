// GET /metrics of a fleet, for Prometheus: by site, not by controller.
#pragma once

#include "app/part.h"
#include "fleet_picture/fleet_site.h"
#include "metrics/families.h"

namespace polaiga::web {

// What an overview tells.
Families fleet_families(const fleet::Overview& overview);

class FleetMetrics final : public Part {
 public:
  // It must outlive this.
  explicit FleetMetrics(FleetSite& site) : site_(site) {}

  // While the database is away there are no metrics of alarms, since they would be old ones: polaiga_fleet_database_up
  // is 0 then.
  Response answer(const Request& request, const Caller& caller) override;

 private:
  FleetSite& site_;
};

}  // namespace polaiga::web
