// /api/v1 of a fleet: what polaiga-web's API has, of all controllers.
#pragma once

#include "app/description.h"
#include "app/part.h"
#include "fleet_api/description_files.h"
#include "fleet_picture/fleet_site.h"

namespace polaiga::web {

class FleetApi final : public Part {
 public:
  // It must outlive this.
  explicit FleetApi(FleetSite& site) : site_(site) {}

  Response answer(const Request& request, const Caller& caller) override;

 private:
  Response route(const Request& request, const Caller& caller);
  Response sites(const Request& request);
  Response controllers(const Request& request);
  Response alarms(const Request& request);
  Response alarm(const Request& request, const std::string& name);
  Response history(const Request& request);
  Response changes(const Request& request);
  Response groups(const Request& request);
  Response group(const Request& request, const std::string& name);
  Response collectors(const Request& request);
  Response status(const Request& request);
  Response me(const Request& request, const Caller& caller) const;
  Response description(const Request& request) const;

  FleetSite& site_;
  const Body description_ = whole_description("fleet_openapi.json", fleet_description_files());
};

}  // namespace polaiga::web
