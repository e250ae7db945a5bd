#include "fleet_metrics/fleet_metrics.h"

#include <prometheus/text_serializer.h>

#include "http/answers.h"

namespace polaiga::web {
namespace {

using fleet::Overview;
using fleet::SiteRow;

constexpr const char* kTextFormat = "text/plain; version=0.0.4; charset=utf-8";

// A gauge with one value a site.
template <typename Of>
void add_by_site(const Overview& overview, const char* name, const char* help, Of of, Families& families) {
  auto family = gauge(name, help);
  for (const SiteRow& site : overview.sites) add(family, static_cast<double>(of(site)), {{"site", site.name}});
  families.push_back(std::move(family));
}

void add_alarms(const Overview& overview, Families& families) {
  auto alarms = gauge("polaiga_fleet_alarms",
                      "Active alarms by site and severity, but for those that are shelved or out of service.");
  for (const SiteRow& site : overview.sites) {
    for (std::size_t i = site.counts.of_severity.size() - 1; i > 0; --i) {
      add(alarms, static_cast<double>(site.counts.of_severity.at(i)),
          {{"site", site.name}, {"severity", engine::severity_word(static_cast<engine::Severity>(i))}});
    }
  }
  families.push_back(std::move(alarms));
}

template <typename Of>
void add_by_collector(const Overview& overview, const char* name, const char* help, Of of, Families& families) {
  auto family = counter(name, help);
  for (const fleet::CollectorRow& one : overview.collectors) {
    add(family, static_cast<double>(of(one)), {{"collector", one.name}});
  }
  families.push_back(std::move(family));
}

void add_collectors(const Overview& overview, Families& families) {
  using fleet::CollectorRow;
  add_by_collector(
      overview, "polaiga_fleet_collector_messages_total", "Messages of controllers that a collector took.",
      [](const CollectorRow& one) { return one.messages; }, families);
  add_by_collector(
      overview, "polaiga_fleet_collector_changes_total", "Changes that a collector took into the database.",
      [](const CollectorRow& one) { return one.changes; }, families);
  add_by_collector(
      overview, "polaiga_fleet_collector_repeats_total", "Changes that came again.",
      [](const CollectorRow& one) { return one.repeats; }, families);
  add_by_collector(
      overview, "polaiga_fleet_collector_early_total", "Changes that came before others, and were asked for again.",
      [](const CollectorRow& one) { return one.early; }, families);
  add_by_collector(
      overview, "polaiga_fleet_dead_letters_total",
      "Messages that were not understood, and went to the queue of dead letters.",
      [](const CollectorRow& one) { return one.dead_letters; }, families);
  auto heard =
      gauge("polaiga_fleet_collector_heard_seconds", "When a collector told of itself last; seconds since 1970.");
  for (const CollectorRow& one : overview.collectors) {
    add(heard, static_cast<double>(one.heard), {{"collector", one.name}});
  }
  families.push_back(std::move(heard));
}

}  // namespace

Families fleet_families(const Overview& overview) {
  Families families;
  add_alarms(overview, families);
  add_by_site(
      overview, "polaiga_fleet_alarms_silenced", "Active alarms that are shelved or out of service.",
      [](const SiteRow& site) { return site.counts.silenced; }, families);
  add_by_site(
      overview, "polaiga_fleet_alarms_unacknowledged", "Active alarms that nobody has acknowledged.",
      [](const SiteRow& site) { return site.counts.unacknowledged; }, families);
  add_by_site(
      overview, "polaiga_fleet_controllers", "Controllers that are known.",
      [](const SiteRow& site) { return site.controllers; }, families);
  add_by_site(
      overview, "polaiga_fleet_controllers_silent", "Controllers of which nothing is heard.",
      [](const SiteRow& site) { return site.silent; }, families);
  add_by_site(
      overview, "polaiga_fleet_changes_taken",
      "Sum of the numbers of the last changes that were taken of each controller's present ledger.",
      [](const SiteRow& site) { return site.changes; }, families);
  add_by_site(
      overview, "polaiga_fleet_changes_behind",
      "Changes of which the fleet knows that they were made, and that were not taken yet.",
      [](const SiteRow& site) { return site.behind; }, families);
  auto groups = gauge("polaiga_fleet_groups", "Groups of alarms with at least one that is active, of the latest 100.");
  add(groups, static_cast<double>(overview.groups.size()));
  families.push_back(std::move(groups));
  add_collectors(overview, families);
  return families;
}

Response FleetMetrics::answer(const Request& request, const Caller& caller) {
  if (!caller.may_see()) return problem(401, "Log in first.");
  if (request.target.path.size() != 1) return problem(404, "There is nothing at this address.");
  if (!is_question(request)) return not_allowed("GET, HEAD");
  Families families;
  bool is_up = true;
  try {
    families = fleet_families(*site_.picture.now());
  } catch (const std::runtime_error&) {
    database_problem_text(site_.asking);  // throws again what is no error of the database
    is_up = false;
  }
  auto build = gauge("polaiga_build_info", "1, with the version of this server.");
  add(build, 1, {{"version", POLAIGA_VERSION}});
  families.push_back(std::move(build));
  auto up = gauge("polaiga_fleet_database_up", "1 when the database answers. Else there are no metrics of the fleet.");
  add(up, is_up ? 1 : 0);
  families.push_back(std::move(up));
  return {.headers = {{"Content-Type", kTextFormat}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(prometheus::TextSerializer().Serialize(families))};
}

}  // namespace polaiga::web
