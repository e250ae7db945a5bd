#include "fleet_page/grid.h"

#include "report/json_object.h"

namespace polaiga::web {

std::string grid_text(const fleet::Overview& overview) {
  engine::JsonArray sites;
  for (const fleet::SiteRow& site : overview.sites) sites.add(site.name);
  engine::JsonArray columns;
  for (const char* const name : {"site", "name", "worst", "alarms", "unacknowledged", "silent_since"})
    columns.add(name);
  // An array in an array is put together by hand.
  std::string rows;
  std::size_t site = 0;
  for (const fleet::ControllerRow& one : overview.controllers) {
    while (site < overview.sites.size() && overview.sites[site].name != one.site) ++site;
    engine::JsonArray row;
    row.add(site)
        .add(one.name)
        .add(static_cast<int>(one.counts.worst()))
        .add(one.counts.all())
        .add(one.counts.unacknowledged)
        .add(one.silent_since.value_or(0));
    rows.append(rows.empty() ? "" : ",").append(row.text());
  }
  engine::JsonObject body;
  body.add("sites", sites).add("columns", columns);
  std::string text = body.text();
  text.pop_back();
  return text + ",\"rows\":[" + rows + "]}\n";
}

}  // namespace polaiga::web
