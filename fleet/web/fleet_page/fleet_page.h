// The page of a fleet. The server draws each view as a list, and scripts add the picture of all controllers, refresh
// what is shown and let operators act.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "app/part.h"
#include "fleet_page/fleet_paint.h"
#include "fleet_picture/fleet_site.h"

namespace polaiga::web {

class FleetPage final : public Part {
 public:
  explicit FleetPage(FleetSite& site);

  Response answer(const Request& request, const Caller& caller) override;

 private:
  struct File {
    Body content;
    std::string etag;
    std::string_view type;
  };

  Response file(const Request& request, const std::string& name) const;
  Response grid(const Request& request);
  Response view(const Request& request, const Caller& caller);
  Response drawn(const Request& request, const FleetPaint& paint);

  FleetSite& site_;
  std::map<std::string, File, std::less<>> files_;

  // The grid of an overview is made once for all who look at it.
  std::mutex making_;
  std::shared_ptr<const fleet::Overview> made_of_;
  std::string grid_etag_;
  Body grid_;
};

}  // namespace polaiga::web
