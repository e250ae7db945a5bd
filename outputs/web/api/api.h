// /api/v1: alarms, history, changes and the rest as JSON, and operators' actions.
#pragma once

#include <mutex>

#include "api/description_files.h"
#include "app/catalog.h"
#include "app/description.h"
#include "app/part.h"
#include "app/response_cache.h"
#include "app/site.h"

namespace polaiga::web {

class Api final : public Part {
 public:
  // Both must outlive this.
  Api(Site& site, Catalog& catalog) : site_(site), faults_(catalog) {}

  Response answer(const Request& request, const Caller& caller) override;

 private:
  Response route(const Request& request, const Caller& caller);

  Response alarms(const Request& request);
  Response alarm(const Request& request, const std::string& name);
  Response history(const Request& request);
  Response missed(const Request& request);
  Response explain(const Request& request);
  Response stats(const Request& request);
  Response catalog(const Request& request);
  Response maintenance(const Request& request);
  Response status(const Request& request) const;
  Response me(const Request& request, const Caller& caller) const;
  Response description(const Request& request) const;

  std::shared_ptr<const View> view() const;

  Site& site_;
  const Body description_ = whole_description("openapi.json", description_files());
  Catalog& faults_;
  ResponseCache lists_;  // of alarms
  std::mutex catalog_mutex_;
  Body catalog_;  // made once, since the installed program has the same catalog as long as this server runs
};

}  // namespace polaiga::web
