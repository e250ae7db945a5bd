// /api/v1: alarms, history, changes and the rest as JSON, and operators' actions.
#pragma once

#include "app/part.h"
#include "app/site.h"

namespace polaiga::web {

class Api final : public Part {
 public:
  explicit Api(Site& site) : site_(site) {}

  Response answer(const Request& request, const Caller& caller) override;

 private:
  Response alarms(const Request& request);

  Site& site_;
};

}  // namespace polaiga::web
